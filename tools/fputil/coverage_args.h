// The shapes and scan-point settings of fputil coverage's command line.
#pragma once

#include <string>
#include <vector>

#include "fp_utils/geometry.h"

namespace fputil {

using android::fp_utils::Circle;
using android::fp_utils::Ellipse;
using android::fp_utils::IShape;
using android::fp_utils::Rect;

// A shape given on the command line. Only the member matching `kind` is used.
struct ShapeArg {
    enum Kind { kCircle, kEllipse, kRect } kind;
    Circle circle;
    Ellipse ellipse;
    Rect rect;

    const IShape& shape() const {
        if (kind == kCircle) return circle;
        if (kind == kEllipse) return ellipse;
        return rect;
    }
};

// Parses "KIND:N1,N2,..." (every number finite; radii and axes not negative; a rectangle's
// left not beyond its right, nor its top beyond its bottom) into `out`, for the kinds
// `allowed`. False with `error` set otherwise; `option` names the option in the message.
bool ParseShape(const char* option, const std::string& text,
                const std::vector<ShapeArg::Kind>& allowed, ShapeArg* out, std::string* error);

// Applies "NAME=VALUE" to the property store of this process, NAME being a scan-point
// property (or its last part) and VALUE a whole number up to 4294967295, or empty to unset it.
// False with `error` set otherwise.
bool SetScanProperty(const std::string& assignment, std::string* error);

}  // namespace fputil
