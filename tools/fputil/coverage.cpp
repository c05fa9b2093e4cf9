// fputil coverage: how much of the sensor area a touch covers, worked out by the library as
// the HAL would ask it. Two circles are compared in closed form (unless --sample), any other
// pair by counting grid points; the grid follows the scan-point properties, which --prop
// sets for this run.
#include <android-base/properties.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fp_utils/geometry.h"
#include "geometry/sampling.h"
#include "tools/fputil/commands.h"

namespace fputil {
namespace {

using android::fp_utils::Circle;
using android::fp_utils::Ellipse;
using android::fp_utils::IShape;
using android::fp_utils::kXScanPointsProperty;
using android::fp_utils::kYScanPointsProperty;
using android::fp_utils::Rect;
using android::fp_utils::Sample;
using android::fp_utils::Sampling;

constexpr char kName[] = "coverage";

void PrintHelp(FILE* out) {
    fprintf(out,
            "usage: fputil %s\n"
            "\n"
            "Prints the share of the sensor area that a touch covers, in percent.\n"
            "\n"
            "  --sensor circle:X,Y,R | rect:LEFT,TOP,RIGHT,BOTTOM   the sensor area\n"
            "  --touch  ellipse:X,Y,MAJOR,MINOR,ORIENT | circle:X,Y,R   the touch\n"
            "           MAJOR and MINOR are full axis lengths; ORIENT is the major axis's angle\n"
            "           in radians, 0 vertical, positive turning it towards +x\n"
            "  --sample     estimate on the grid even for two circles\n"
            "  --prop NAME=VALUE   set a scan-point property for this run (repeatable):\n"
            "           %s\n"
            "           %s\n"
            "           (or just x_axis_scan_points / y_axis_scan_points); an empty VALUE\n"
            "           unsets it, which gives one grid point per unit plus one\n"
            "\n"
            "Two circles are compared in closed form; any other pair by counting the grid\n"
            "points that fall in each shape (over the sensor's bounding square for a circle).\n"
            "Exit status: 0 done, 1 the grid holds no point of the sensor (no coverage can be\n"
            "given), 2 bad arguments.\n",
            kCoverageUsage, kXScanPointsProperty, kYScanPointsProperty);
}

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

// Parses one finite float that makes up the whole of `text`.
bool ParseNumber(const std::string& text, float* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    const float v = strtof(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(v)) return false;
    *value = v;
    return true;
}

// Parses "KIND:N1,N2,..." into `out` for the kinds `allowed` (by name). Fills `error` on
// failure.
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

// Applies "NAME=VALUE" to the property store of this process.
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

}  // namespace

const char kCoverageUsage[] =
    "coverage --sensor circle:X,Y,R|rect:LEFT,TOP,RIGHT,BOTTOM "
    "--touch ellipse:X,Y,MAJOR,MINOR,ORIENT|circle:X,Y,R [--sample] [--prop NAME=VALUE]...";

int RunCoverage(int argc, char** argv) {
    ShapeArg sensor{};
    ShapeArg touch{};
    bool have_sensor = false;
    bool have_touch = false;
    bool sample = false;
    std::vector<std::string> props;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            PrintHelp(stdout);
            return kExitOk;
        }
        if (arg == "--sample") {
            sample = true;
            continue;
        }
        if (arg != "--sensor" && arg != "--touch" && arg != "--prop") {
            return UsageError(kName, ("unknown argument '" + arg + "'").c_str());
        }
        if (i + 1 >= argc) return UsageError(kName, (arg + " needs a value").c_str());
        const std::string value = argv[++i];
        std::string error;
        if (arg == "--sensor") {
            if (!ParseShape("--sensor", value, {ShapeArg::kCircle, ShapeArg::kRect}, &sensor,
                            &error)) {
                return UsageError(kName, error.c_str());
            }
            have_sensor = true;
        } else if (arg == "--touch") {
            if (!ParseShape("--touch", value, {ShapeArg::kEllipse, ShapeArg::kCircle}, &touch,
                            &error)) {
                return UsageError(kName, error.c_str());
            }
            have_touch = true;
        } else {
            props.push_back(value);
        }
    }
    if (!have_sensor || !have_touch) {
        return UsageError(kName, have_sensor ? "--touch is missing" : "--sensor is missing");
    }
    for (const std::string& p : props) {
        std::string error;
        if (!SetScanProperty(p, &error)) return UsageError(kName, error.c_str());
    }

    printf("sensor:     %s\n", sensor.shape().Print().c_str());
    printf("touch:      %s\n", touch.shape().Print().c_str());
    if (sensor.kind == ShapeArg::kCircle && touch.kind == ShapeArg::kCircle && !sample) {
        printf("method:     closed form\n");
        printf("covered:    %.2f%%\n",
               static_cast<double>(sensor.circle.CoverageCoveredBy(touch.circle)));
        return kExitOk;
    }

    // The grid lies over the sensor rectangle, or over a sensor circle's bounding square.
    const Rect area = sensor.kind == ShapeArg::kCircle
                          ? android::fp_utils::BoundingSquare(sensor.circle)
                          : sensor.rect;
    const Sampling sampling = Sample(area, sensor.shape(), touch.shape());
    printf("method:     sampling\n");
    printf("grid:       %u x %u over %s\n", sampling.grid.nx, sampling.grid.ny,
           area.Print().c_str());
    printf("in sensor:  %u\n", sampling.in_s1);
    printf("in touch:   %u\n", sampling.in_s2);
    printf("in both:    %u\n", sampling.in_both);
    if (sampling.in_s1 == 0) {
        printf("covered:    nan (no grid point lies in the sensor)\n");
        return kExitFinding;
    }
    printf("covered:    %.2f%%\n", static_cast<double>(sampling.Covered()));
    return kExitOk;
}

}  // namespace fputil
