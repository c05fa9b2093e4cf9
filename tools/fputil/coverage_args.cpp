#include "tools/fputil/coverage_args.h"

#include <android-base/properties.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "geometry/sampling.h"

namespace fputil {
namespace {

using android::fp_utils::kXScanPointsProperty;
using android::fp_utils::kYScanPointsProperty;

// Parses one finite float that makes up the whole of `text`.
bool ParseNumber(const std::string& text, float* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    const float v = strtof(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(v)) return false;
    *value = v;
    return true;
}

}  // namespace

bool ParseShape(const char* option, const std::string& text,
                const std::vector<ShapeArg::Kind>& allowed, ShapeArg* out, std::string* error) {
    struct KindInfo {
        ShapeArg::Kind kind;
        const char* name;
        const char* fields[5];
        size_t count;
    };
    static const KindInfo kKinds[] = {
        {ShapeArg::kCircle, "circle", {"X", "Y", "R"}, 3},
        {ShapeArg::kEllipse, "ellipse", {"X", "Y", "MAJOR", "MINOR", "ORIENT"}, 5},
        {ShapeArg::kRect, "rect", {"LEFT", "TOP", "RIGHT", "BOTTOM"}, 4},
    };
    const size_t colon = text.find(':');
    const std::string kind_name = text.substr(0, colon);
    const KindInfo* info = nullptr;
    for (const KindInfo& k : kKinds) {
        for (ShapeArg::Kind a : allowed) {
            if (k.kind == a && kind_name == k.name) info = &k;
        }
    }
    std::string kinds;
    for (ShapeArg::Kind a : allowed) {
        for (const KindInfo& k : kKinds) {
            if (k.kind == a) kinds += (kinds.empty() ? "" : " or ") + std::string(k.name);
        }
    }
    if (info == nullptr) {
        *error = std::string(option) + " '" + text + "': the shape must be " + kinds;
        return false;
    }
    std::string format = info->name + std::string(":");
    for (size_t i = 0; i < info->count; ++i)
        format += (i ? "," : "") + std::string(info->fields[i]);

    std::vector<std::string> parts;
    if (colon != std::string::npos) {
        size_t start = colon + 1;
        while (true) {
            const size_t comma = text.find(',', start);
            parts.push_back(text.substr(start, comma - start));
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
    }
    if (parts.size() != info->count) {
        *error = std::string(option) + " '" + text + "': expected " + format;
        return false;
    }
    float v[5] = {};
    for (size_t i = 0; i < info->count; ++i) {
        if (!ParseNumber(parts[i], &v[i])) {
            *error = std::string(option) + " '" + text + "': " + info->fields[i] + " '" + parts[i] +
                     "' is not a finite number";
            return false;
        }
    }
    out->kind = info->kind;
    switch (info->kind) {
        case ShapeArg::kCircle:
            if (v[2] < 0) {
                *error = std::string(option) + " '" + text + "': R must not be negative";
                return false;
            }
            out->circle = Circle(v[0], v[1], v[2]);
            break;
        case ShapeArg::kEllipse:
            if (v[2] < 0 || v[3] < 0) {
                *error =
                    std::string(option) + " '" + text + "': MAJOR and MINOR must not be negative";
                return false;
            }
            out->ellipse = Ellipse(v[0], v[1], v[2], v[3], v[4]);
            break;
        case ShapeArg::kRect:
            if (v[0] > v[2] || v[1] > v[3]) {
                *error = std::string(option) + " '" + text +
                         "': LEFT must not exceed RIGHT, nor TOP BOTTOM";
                return false;
            }
            out->rect = Rect(v[0], v[1], v[2], v[3]);
            break;
    }
    return true;
}

bool SetScanProperty(const std::string& assignment, std::string* error) {
    const size_t eq = assignment.find('=');
    if (eq == std::string::npos) {
        *error = "--prop '" + assignment + "': expected NAME=VALUE";
        return false;
    }
    std::string name = assignment.substr(0, eq);
    const std::string value = assignment.substr(eq + 1);
    const std::string x_short = "x_axis_scan_points";
    const std::string y_short = "y_axis_scan_points";
    if (name == x_short) name = kXScanPointsProperty;
    if (name == y_short) name = kYScanPointsProperty;
    if (name != kXScanPointsProperty && name != kYScanPointsProperty) {
        *error = "--prop '" + assignment + "': unknown property '" + name +
                 "' (known: " + kXScanPointsProperty + ", " + kYScanPointsProperty + ")";
        return false;
    }
    if (!value.empty()) {
        bool digits = value.size() <= 10;
        for (char c : value) digits = digits && c >= '0' && c <= '9';
        if (!digits || strtoull(value.c_str(), nullptr, 10) > UINT32_MAX) {
            *error = "--prop '" + assignment +
                     "': VALUE must be a whole number from 0 to 4294967295, or empty";
            return false;
        }
    }
    android::base::SetProperty(name, value);
    return true;
}

}  // namespace fputil
