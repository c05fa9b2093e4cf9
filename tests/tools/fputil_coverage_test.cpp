// fputil coverage as a user runs it: its figures against the library's own answers, and bad
// arguments refused with their reason and exit status 2.
#include <gtest/gtest.h>

#include <cstdio>

#include "fp_utils/geometry.h"
#include "tests/support/properties.h"
#include "tests/tools/run_tool.h"

namespace android {
namespace fp_utils {
namespace {

using testing::RunTool;
using testing::ToolRun;

ToolRun Coverage(std::vector<std::string> args) {
    args.insert(args.begin(), "coverage");
    return RunTool(FPUTIL_PATH, args);
}

std::string Percent(float value) {
    char buf[32];
    snprintf(buf, sizeof(buf), "%.2f%%", static_cast<double>(value));
    return buf;
}

TEST(FputilCoverage, TwoCirclesInClosedForm) {
    const ToolRun r = Coverage({"--sensor", "circle:540,1600,60", "--touch", "circle:560,1600,60"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "sensor:     Circle(x:540.00, y:1600.00, r:60.00)\n"
              "touch:      Circle(x:560.00, y:1600.00, r:60.00)\n"
              "method:     closed form\n"
              "covered:    " +
                  Percent(Circle(540, 1600, 60).CoverageCoveredBy(Circle(560, 1600, 60))) + "\n");
}

TEST(FputilCoverage, SampledWithTheGridThePropertiesSet) {
    const ToolRun r =
        Coverage({"--sensor", "circle:540,1600,60", "--touch", "ellipse:560,1610,90,60,0.3",
                  "--prop", "x_axis_scan_points=41", "--prop",
                  "persist.vendor.udfps.geometry.rect.y_axis_scan_points=21"});
    ASSERT_EQ(r.status, 0) << r.err;
    testing::ScopedProperty x("persist.vendor.udfps.geometry.rect.x_axis_scan_points", "41");
    testing::ScopedProperty y("persist.vendor.udfps.geometry.rect.y_axis_scan_points", "21");
    const Circle sensor(540, 1600, 60);
    const Ellipse touch(560, 1610, 90, 60, 0.3f);
    unsigned in_s1, in_s2, in_both;
    Rect(480, 1540, 600, 1660).NumOfPointsIn(sensor, touch, in_s1, in_s2, in_both);
    EXPECT_EQ(r.out,
              "sensor:     Circle(x:540.00, y:1600.00, r:60.00)\n"
              "touch:      Ellipse(x:560.00, y:1610.00, M:90.00, m:60.00, o:0.30)\n"
              "method:     sampling\n"
              "grid:       41 x 21 over Rect(480.00, 1540.00 - 600.00, 1660.00)\n"
              "in sensor:  " +
                  std::to_string(in_s1) +
                  "\n"
                  "in touch:   " +
                  std::to_string(in_s2) +
                  "\n"
                  "in both:    " +
                  std::to_string(in_both) +
                  "\n"
                  "covered:    " +
                  Percent(sensor.CoverageCoveredBy(touch)) + "\n");
}

TEST(FputilCoverage, EmptyGridIsAFinding) {
    const ToolRun r = Coverage({"--sensor", "circle:5,5,5", "--touch", "circle:5,5,5", "--sample",
                                "--prop", "y_axis_scan_points=0"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(
        r.out.find("grid:       11 x 0 over Rect(0.00, 0.00 - 10.00, 10.00)\nin sensor:  0\n"),
        std::string::npos);
    EXPECT_NE(r.out.find("covered:    nan (no grid point lies in the sensor)\n"), std::string::npos);
    EXPECT_NE(r.err.find("Invalid scan points(11, 0)"), std::string::npos) << r.err;
}

TEST(FputilCoverage, BadArgumentsAreRefusedWithTheirReason) {
    const std::string c = "circle:5,5,5";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--touch", c}, "--sensor is missing"},
        {{"--sensor", c, "--touch"}, "--touch needs a value"},
        {{"--sensor", c, "--touch", c, "extra"}, "unknown argument 'extra'"},
        {{"--sensor", "ellipse:1,2,3,4,5", "--touch", c}, "the shape must be circle or rect"},
        {{"--sensor", "circle:1,2", "--touch", c}, "expected circle:X,Y,R"},
        {{"--sensor", c, "--touch", "ellipse:1,2,3,4"}, "expected ellipse:X,Y,MAJOR,MINOR,ORIENT"},
        {{"--sensor", "circle:1,,3", "--touch", c}, "Y '' is not a finite number"},
        {{"--sensor", "circle:1,2,3mm", "--touch", c}, "R '3mm' is not a finite number"},
        {{"--sensor", "circle:nan,2,3", "--touch", c}, "X 'nan' is not a finite number"},
        {{"--sensor", "circle:1,2,1e39", "--touch", c}, "R '1e39' is not a finite number"},
        {{"--sensor", "circle:1,2,-3", "--touch", c}, "R must not be negative"},
        {{"--sensor", c, "--touch", "ellipse:1,2,-3,4,0"}, "MAJOR and MINOR must not be negative"},
        {{"--sensor", "rect:0,5,1,4", "--touch", c}, "LEFT must not exceed RIGHT, nor TOP BOTTOM"},
        {{"--sensor", c, "--touch", c, "--prop", "x_axis_scan_points"}, "expected NAME=VALUE"},
        {{"--sensor", c, "--touch", c, "--prop", "scan=3"}, "unknown property 'scan'"},
        {{"--sensor", c, "--touch", c, "--prop", "x_axis_scan_points=-1"}, "VALUE must be"},
        {{"--sensor", c, "--touch", c, "--prop", "y_axis_scan_points=4294967296"}, "VALUE must be"},
    };
    for (const auto& [args, message] : cases) {
        const ToolRun r = Coverage(args);
        EXPECT_EQ(r.status, 2) << message;
        EXPECT_EQ(r.out, "") << message;
        EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("usage: fputil coverage --sensor"), std::string::npos) << message;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
