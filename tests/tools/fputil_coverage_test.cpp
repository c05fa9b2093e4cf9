// fputil coverage as a user runs it: its figures for inputs worked out by hand, an empty grid
// as a finding, and bad arguments refused with their reason, the usage line and exit status 2.
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>

#include "tests/tools/run_tool.h"

namespace android::fp_utils {
namespace {

#define SHAPES "--sensor circle:5,5,5 --touch circle:5,5,5 "

testing::ToolRun Coverage(const std::string& line) {  // the arguments split at blanks
    std::istringstream words("coverage " + line);
    return testing::RunTool(FPUTIL_PATH, {std::istream_iterator<std::string>(words), {}});
}

// Two unit circles a radius apart overlap by (2π/3 - √3/2) / π of each. The 3 x 3 grid over
// 0..4 has points at 0, 2 and 4; the upright ellipse holds (0, 0) and (0, 2) of them.
TEST(FputilCoverage, FiguresAndFindings) {
    const struct {
        const char* line;
        int status;
        const char *out, *err;
    } runs[] = {
        {"--sensor circle:0,0,1 --touch circle:1,0,1", 0,
         "method:     closed form\ncovered:    39.10%\n", ""},
        {"--sensor rect:0,0,4,4 --touch ellipse:0,0,4,2,0 --prop x_axis_scan_points=3 --prop "
         "persist.vendor.udfps.geometry.rect.y_axis_scan_points=3",
         0, "in sensor:  9\nin touch:   2\nin both:    2\ncovered:    22.22%\n", ""},
        {SHAPES "--sample --prop y_axis_scan_points=0", 1,
         "sensor:     Circle(x:5.00, y:5.00, r:5.00)\ntouch:      Circle(x:5.00, y:5.00, "
         "r:5.00)\nmethod:     sampling\ngrid:       11 x 0 over Rect(0.00, 0.00 - 10.00, "
         "10.00)\nin sensor:  0\nin touch:   0\nin both:    0\n"
         "covered:    nan (no grid point lies in the sensor)\n",
         "Invalid scan points(11, 0)"},
        {"--sensor circle:0,0,0 --touch circle:0,0,1", 1,
         "covered:    nan (no share can be given for these circles)\n", ""},
        {SHAPES "--sample --prop x_axis_scan_points=4194304 --prop y_axis_scan_points=4", 0,
         "grid:       4194304 x 4", ""},
    };
    for (const auto& run : runs) {
        const testing::ToolRun r = Coverage(run.line);
        EXPECT_EQ(r.status, run.status) << run.line << "\n" << r.err;
        EXPECT_NE(r.out.find(run.out), std::string::npos) << run.line << "\n" << r.out;
        EXPECT_NE(r.err.find(run.err), std::string::npos) << run.line << "\n" << r.err;
        EXPECT_EQ(r.err.find("usage:"), std::string::npos) << run.line;
    }
}

TEST(FputilCoverage, BadArgumentsAreRefusedWithTheirReasonAndTheUsageLine) {
    const struct {
        const char *line, *reason;
    } runs[] = {{"--touch circle:5,5,5", "--sensor is missing"},
                {"--sensor circle:5,5,5 --touch", "--touch needs a value"},
                {SHAPES "extra", "unknown argument 'extra'"},
                {"--sensor ellipse:1,2,3,4,5 --touch circle:5,5,5", "shape must be circle or rect"},
                {"--sensor circle:1,2 --touch circle:5,5,5", "expected circle:X,Y,R"},
                {"--sensor circle:1,,3 --touch circle:5,5,5", "Y '' is not a finite number"},
                {"--sensor circle:1,2,3mm --touch circle:5,5,5", "R '3mm' is not a finite number"},
                {"--sensor circle:1,2,-3 --touch circle:5,5,5", "R must not be negative"},
                {"--sensor rect:0,5,1,4 --touch circle:5,5,5", "RIGHT, nor TOP BOTTOM"},
                {SHAPES "--prop x_axis_scan_points", "expected NAME=VALUE"},
                {SHAPES "--prop scan=3", "unknown property 'scan'"},
                {SHAPES "--prop x_axis_scan_points=3x", "VALUE must be a whole number"},
                // Grids above 4096 x 4096 points are refused before any point is sampled.
                {"--sensor circle:0,0,3e38 --touch circle:0,0,1 --sample", "a grid of 4294967295"},
                {SHAPES "--sample --prop x_axis_scan_points=4194305 --prop y_axis_scan_points=4",
                 "4194305 x 4 points is above the 16777216"}};
    for (const auto& run : runs) {
        const testing::ToolRun r = Coverage(run.line);
        EXPECT_EQ(r.status, 2) << run.line;
        EXPECT_EQ(r.out, "") << run.line;
        const size_t usage = r.err.find("\nusage: fputil coverage --sensor");
        EXPECT_NE(usage, std::string::npos) << run.line << "\n" << r.err;
        EXPECT_LT(r.err.find(run.reason), usage) << run.line << "\n" << r.err;
    }
}

}  // namespace
}  // namespace android::fp_utils
