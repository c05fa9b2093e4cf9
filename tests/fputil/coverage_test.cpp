// fputil coverage, run as a user runs it: its output against the library's own answers, and
// every kind of bad argument ending with a clear message and exit status 2.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "fp_utils/geometry.h"
#include "tests/support/properties.h"
#include "tests/support/temp_root.h"

extern char** environ;

namespace android {
namespace fp_utils {
namespace {

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string Slurp(const std::string& path) {
    std::string text;
    FILE* f = fopen(path.c_str(), "r");
    if (f == nullptr) return text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), f)) > 0) text.append(buf, n);
    fclose(f);
    return text;
}

Result RunCoverage(std::vector<std::string> args) {
    testing::TempRoot dir(testing::TempRoot::kBare);
    const std::string out_path = dir.dir() + "/out";
    const std::string err_path = dir.dir() + "/err";
    args.insert(args.begin(), {FPUTIL_PATH, "coverage"});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out_path.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err_path.c_str(), O_WRONLY | O_CREAT, 0600);
    Result r;
    pid_t pid;
    if (posix_spawn(&pid, FPUTIL_PATH, &actions, nullptr, argv.data(), environ) == 0) {
        int status;
        if (waitpid(pid, &status, 0) == pid && WIFEXITED(status)) r.status = WEXITSTATUS(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    r.out = Slurp(out_path);
    r.err = Slurp(err_path);
    return r;
}

std::string Percent(float value) {
    char buf[32];
    snprintf(buf, sizeof(buf), "%.2f%%", static_cast<double>(value));
    return buf;
}

TEST(FputilCoverage, TwoCirclesInClosedForm) {
    const Result r =
        RunCoverage({"--sensor", "circle:540,1600,60", "--touch", "circle:560,1600,60"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "sensor:     Circle(x:540.00, y:1600.00, r:60.00)\n"
              "touch:      Circle(x:560.00, y:1600.00, r:60.00)\n"
              "method:     closed form\n"
              "covered:    " +
                  Percent(Circle(540, 1600, 60).CoverageCoveredBy(Circle(560, 1600, 60))) + "\n");
}

TEST(FputilCoverage, RectangleByEllipseIsSampled) {
    const Result r =
        RunCoverage({"--touch", "ellipse:50,50,70,40,0.4", "--sensor", "rect:0,0,100,100"});
    ASSERT_EQ(r.status, 0) << r.err;
    const Rect sensor(0, 0, 100, 100);
    const Ellipse touch(50, 50, 70, 40, 0.4f);
    unsigned in_s1, in_s2, in_both;
    sensor.NumOfPointsIn(sensor, touch, in_s1, in_s2, in_both);
    EXPECT_EQ(r.out,
              "sensor:     Rect(0.00, 0.00 - 100.00, 100.00)\n"
              "touch:      Ellipse(x:50.00, y:50.00, M:70.00, m:40.00, o:0.40)\n"
              "method:     sampling\n"
              "grid:       101 x 101 over Rect(0.00, 0.00 - 100.00, 100.00)\n"
              "in sensor:  10201\n"
              "in touch:   " +
                  std::to_string(in_s2) +
                  "\n"
                  "in both:    " +
                  std::to_string(in_both) +
                  "\n"
                  "covered:    " +
                  Percent(sensor.CoverageCoveredBy(touch)) + "\n");
}

TEST(FputilCoverage, PropertiesSetTheGridOfACircleSensor) {
    const Result r =
        RunCoverage({"--sensor", "circle:540,1600,60", "--touch", "ellipse:560,1610,90,60,0.3",
                     "--prop", "x_axis_scan_points=41", "--prop",
                     "persist.vendor.udfps.geometry.rect.y_axis_scan_points=21"});
    ASSERT_EQ(r.status, 0) << r.err;
    const Circle sensor(540, 1600, 60);
    const Ellipse touch(560, 1610, 90, 60, 0.3f);
    testing::ScopedProperty x("persist.vendor.udfps.geometry.rect.x_axis_scan_points", "41");
    testing::ScopedProperty y("persist.vendor.udfps.geometry.rect.y_axis_scan_points", "21");
    unsigned in_s1, in_s2, in_both;
    Rect(480, 1540, 600, 1660).NumOfPointsIn(sensor, touch, in_s1, in_s2, in_both);
    EXPECT_NE(r.out.find("grid:       41 x 21 over Rect(480.00, 1540.00 - 600.00, 1660.00)\n"
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
                         Percent(sensor.CoverageCoveredBy(touch)) + "\n"),
              std::string::npos)
        << r.out;
}

TEST(FputilCoverage, SampleOptionSamplesTwoCircles) {
    const Result r =
        RunCoverage({"--sensor", "circle:0,0,10", "--touch", "circle:5,0,10", "--sample"});
    ASSERT_EQ(r.status, 0) << r.err;
    const Circle sensor(0, 0, 10);
    const IShape& touch = Circle(5, 0, 10);
    EXPECT_NE(
        r.out.find(
            "method:     sampling\ngrid:       21 x 21 over Rect(-10.00, -10.00 - 10.00, 10.00)\n"),
        std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("covered:    " + Percent(sensor.CoverageCoveredBy(touch)) + "\n"),
              std::string::npos)
        << r.out;
}

TEST(FputilCoverage, EmptyGridIsAFinding) {
    const Result r = RunCoverage({"--sensor", "rect:0,0,10,10", "--touch", "circle:5,5,5", "--prop",
                                  "y_axis_scan_points=0"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("grid:       11 x 0 over"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("in sensor:  0\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("covered:    nan (no grid point lies in the sensor)\n"), std::string::npos);
    EXPECT_NE(r.err.find("Invalid scan points(11, 0)"), std::string::npos) << r.err;
}

TEST(FputilCoverage, EmptyPropertyValueRestoresTheDefault) {
    const Result r = RunCoverage({"--sensor", "rect:0,0,10,10", "--touch", "circle:5,5,5", "--prop",
                                  "x_axis_scan_points=3", "--prop", "x_axis_scan_points="});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("grid:       11 x 11 over"), std::string::npos) << r.out;
}

TEST(FputilCoverage, HelpGoesToStdout) {
    const Result r = RunCoverage({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("usage: fputil coverage --sensor", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("persist.vendor.udfps.geometry.rect.x_axis_scan_points"),
              std::string::npos);
}

struct BadCase {
    std::vector<std::string> args;
    std::string message;
};

TEST(FputilCoverage, BadArgumentsAreRefusedWithTheirReason) {
    const std::string circle = "circle:5,5,5";
    const BadCase cases[] = {
        {{"--touch", circle}, "--sensor is missing"},
        {{"--sensor", circle}, "--touch is missing"},
        {{"--sensor", circle, "--touch"}, "--touch needs a value"},
        {{"--sensor", circle, "--touch", circle, "extra"}, "unknown argument 'extra'"},
        {{"--sensor", "ellipse:1,2,3,4,5", "--touch", circle}, "the shape must be circle or rect"},
        {{"--sensor", circle, "--touch", "rect:0,0,1,1"}, "the shape must be ellipse or circle"},
        {{"--sensor", "circle", "--touch", circle}, "expected circle:X,Y,R"},
        {{"--sensor", "circle:1,2", "--touch", circle}, "expected circle:X,Y,R"},
        {{"--sensor", "rect:1,2,3,4,5", "--touch", circle}, "expected rect:LEFT,TOP,RIGHT,BOTTOM"},
        {{"--sensor", circle, "--touch", "ellipse:1,2,3,4"},
         "expected ellipse:X,Y,MAJOR,MINOR,ORIENT"},
        {{"--sensor", "circle:1,,3", "--touch", circle}, "Y '' is not a finite number"},
        {{"--sensor", "circle:1,2,3mm", "--touch", circle}, "R '3mm' is not a finite number"},
        {{"--sensor", "circle:nan,2,3", "--touch", circle}, "X 'nan' is not a finite number"},
        {{"--sensor", "circle:1,2,1e39", "--touch", circle}, "R '1e39' is not a finite number"},
        {{"--sensor", circle, "--touch", "ellipse:1,2,3,4,inf"},
         "ORIENT 'inf' is not a finite number"},
        {{"--sensor", "circle:1,2,-3", "--touch", circle}, "R must not be negative"},
        {{"--sensor", circle, "--touch", "ellipse:1,2,-3,4,0"},
         "MAJOR and MINOR must not be negative"},
        {{"--sensor", "rect:3,0,1,5", "--touch", circle},
         "LEFT must not exceed RIGHT, nor TOP BOTTOM"},
        {{"--sensor", "rect:0,5,1,4", "--touch", circle},
         "LEFT must not exceed RIGHT, nor TOP BOTTOM"},
        {{"--sensor", circle, "--touch", circle, "--prop", "x_axis_scan_points"},
         "expected NAME=VALUE"},
        {{"--sensor", circle, "--touch", circle, "--prop", "scan=3"}, "unknown property 'scan'"},
        {{"--sensor", circle, "--touch", circle, "--prop", "x_axis_scan_points=-1"},
         "VALUE must be a whole number from 0 to 4294967295"},
        {{"--sensor", circle, "--touch", circle, "--prop", "y_axis_scan_points=4294967296"},
         "VALUE must be a whole number from 0 to 4294967295"},
        {{"--sensor", circle, "--touch", circle, "--prop", "y_axis_scan_points=1.5"},
         "VALUE must be a whole number from 0 to 4294967295"},
    };
    for (const BadCase& c : cases) {
        const Result r = RunCoverage(c.args);
        std::string joined;
        for (const std::string& a : c.args) joined += a + " ";
        EXPECT_EQ(r.status, 2) << joined;
        EXPECT_EQ(r.out, "") << joined;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << joined << "\n" << r.err;
        EXPECT_NE(r.err.find("usage: fputil coverage --sensor"), std::string::npos) << joined;
    }
    // The largest grid count is accepted.
    EXPECT_EQ(RunCoverage({"--sensor", "rect:0,0,1,1", "--touch", "circle:0,0,5", "--prop",
                           "x_axis_scan_points=4294967295", "--prop", "y_axis_scan_points=0"})
                  .status,
              1);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
