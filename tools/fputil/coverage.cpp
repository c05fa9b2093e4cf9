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
#include "tools/fputil/coverage_args.h"

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
// The most grid points sampled (4096 x 4096): a second or so of work. Far more than any sensor
// needs, far less than the hours a grid from a huge shape or scan-point property would take.
constexpr uint64_t kMaxGridPoints = 16777216;

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
            "A grid of more than %llu points is refused.\n"
            "Exit status: 0 done, 1 no coverage can be given (the grid holds no point of the\n"
            "sensor, or the sensor circle has no area), 2 bad arguments or a grid too large.\n",
            kCoverageUsage, kXScanPointsProperty, kYScanPointsProperty,
            static_cast<unsigned long long>(kMaxGridPoints));
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

    const bool closed_form =
        sensor.kind == ShapeArg::kCircle && touch.kind == ShapeArg::kCircle && !sample;
    // The grid lies over the sensor rectangle, or over a sensor circle's bounding square.
    const Rect area = sensor.kind == ShapeArg::kCircle
                          ? android::fp_utils::BoundingSquare(sensor.circle)
                          : sensor.rect;
    if (!closed_form) {
        const android::fp_utils::ScanGrid grid = android::fp_utils::ReadScanGrid(area);
        if (static_cast<uint64_t>(grid.nx) * grid.ny > kMaxGridPoints) {
            const std::string message = "a grid of " + std::to_string(grid.nx) + " x " +
                                        std::to_string(grid.ny) + " points is above the " +
                                        std::to_string(kMaxGridPoints) +
                                        " that fputil samples; give fewer scan points with --prop";
            return UsageError(kName, message.c_str());
        }
    }

    printf("sensor:     %s\n", sensor.shape().Print().c_str());
    printf("touch:      %s\n", touch.shape().Print().c_str());
    if (closed_form) {
        printf("method:     closed form\n");
        const float covered = sensor.circle.CoverageCoveredBy(touch.circle);
        if (std::isnan(covered)) {
            // A sensor without area, or radii whose squares overflow.
            printf("covered:    nan (no share can be given for these circles)\n");
            return kExitFinding;
        }
        printf("covered:    %.2f%%\n", static_cast<double>(covered));
        return kExitOk;
    }

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
