// Coverage: the closed form for two circles, and the grid count for everything else checked
// at the grid's edges and against the plain reference grid walk.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"
#include "tests/support/log_capture.h"
#include "tests/support/properties.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;
using testing::ScopedProperty;
using Counts = std::vector<unsigned>;  // in s1, in s2, in both

constexpr char kXProp[] = "persist.vendor.udfps.geometry.rect.x_axis_scan_points";
constexpr char kYProp[] = "persist.vendor.udfps.geometry.rect.y_axis_scan_points";
constexpr float kNaN = NAN;

// A shape given by a predicate that writes down every point it is asked about.
struct ProbeShape : IShape {
    explicit ProbeShape(std::function<bool(const Point&)> f) : inside(std::move(f)) {}
    std::string Print() const override { return "Probe"; }
    bool Contains(const Point& p) const override { return asked += p.Print(), inside(p); }
    std::function<bool(const Point&)> inside;
    mutable std::string asked;
};

Counts Count(const Rect& rect, const IShape& s1, const IShape& s2, bool reference = false) {
    Counts c{7, 7, 7};  // the outputs are set, not added to
    if (reference) testing::ReferenceNumOfPointsIn(rect, s1, s2, c[0], c[1], c[2]);
    if (!reference) rect.NumOfPointsIn(s1, s2, c[0], c[1], c[2]);
    return c;
}

TEST(Coverage, CirclesInClosedForm) {
    const Circle big(10, 10, 10), small(12, 11, 2), a(3, 4, 5), b(9, 1, 3);
    const struct {
        Circle self, other;
        float want, tolerance;
    } cases[] = {
        {Circle(0.1f, 0.3f, 7.7f), Circle(0.1f, 0.3f, 7.7f), 100, 0},
        {Circle(0, 0, 3), Circle(8.01f, 0, 5), 0, 0},
        {Circle(0, 0, 3), Circle(8, 0, 5), 0, 1e-4f},  // touching: through the lens formula
        {small, big, 100, 0},
        {big, small, 4, 1e-5f},            // (2 / 10)^2 of it
        {Circle(18, 10, 2), big, 100, 0},  // touching from inside is still nested
        // Two unit circles a radius apart overlap by 2π/3 - √3/2 of r².
        {Circle(0, 0, 1), Circle(1, 0, 1),
         static_cast<float>((2 * M_PI / 3 - std::sqrt(3.0) / 2) / M_PI * 100), 1e-3f},
        {Circle(0, 0, 0), big, kNaN, 0},
        {Circle(0, 0, kNaN), big, kNaN, 0},
    };
    for (const auto& c : cases) {
        const float got = c.self.CoverageCoveredBy(c.other);
        EXPECT_TRUE(std::isnan(c.want) ? std::isnan(got) : std::fabs(got - c.want) <= c.tolerance)
            << got << " " << c.self.Print() << c.other.Print();
    }
    // A lens between unequal circles is the same area whichever is asked, divided by that
    // circle's area, and agrees with counting points.
    EXPECT_NEAR(a.CoverageCoveredBy(b) * 25, b.CoverageCoveredBy(a) * 9, 1e-2);
    EXPECT_NEAR(a.CoverageCoveredBy(b), a.CoverageCoveredBy(static_cast<const IShape&>(b)), 1.0);
    EXPECT_NEAR(b.CoverageCoveredBy(a), b.CoverageCoveredBy(static_cast<const IShape&>(a)), 2.0);
}

// By default one point per unit plus one, both edges included; else as the properties say at
// each call. Coordinates accumulate by addition, so ten steps of 0.1 end
// just past 1. A zero count is reported and counts nothing.
TEST(Coverage, GridCount) {
    const Rect rect(0, 0, 10, 10), unit(0, 0, 1, 1), from_005(-1, 0.05f, 1, 2);
    const ProbeShape strip([](const Point& p) { return p.x > 2.5f && p.x < 3.5f; });
    const struct {
        const char *x, *y;
        const Rect& area;
        const IShape &s1, &s2;
        Counts want;
        const char* error;
    } cases[] = {
        {"11", "11", unit, unit, from_005, {121, 100, 100}, ""},
        {"", "", rect, rect, rect, {121, 121, 121}, ""},
        {"many", "", rect, rect, strip, {121, 11, 11}, ""},
        {"0", "", rect, rect, rect, {0, 0, 0}, "[NumOfPointsIn] Invalid scan points(0, 11)"},
        {"", "0", rect, rect, rect, {0, 0, 0}, "[NumOfPointsIn] Invalid scan points(11, 0)"},
    };
    for (const auto& c : cases) {
        LogCapture log;
        ScopedProperty x(kXProp, c.x), y(kYProp, c.y);
        EXPECT_EQ(Count(c.area, c.s1, c.s2), c.want) << c.x << " " << c.y << c.area.Print();
        EXPECT_EQ(log.Count("Geometry", "Invalid"), *c.error ? 1u : 0u) << c.error;
        EXPECT_EQ(log.Contains(ANDROID_LOG_ERROR, "Geometry", c.error), *c.error != 0);
    }
    LogCapture log;
    ScopedProperty zero(kXProp, "0");
    EXPECT_TRUE(std::isnan(rect.CoverageCoveredBy(rect)));  // yet the corners are tried
    EXPECT_TRUE(log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"));
    EXPECT_TRUE(std::isnan(Circle(5, 5, 5).CoverageCoveredBy(Ellipse(5, 5, 10, 10, 0))));
}

// Corners in a fixed order up to the first miss: a shape holding all four stands for the
// whole grid, even a ring that misses a grid point, and is not asked again; a shape missing
// one is asked about every point, whatever the other says. The grid runs row by row.
TEST(Coverage, CornerTestThenGridPoints) {
    LogCapture log;
    ScopedProperty x(kXProp, "2"), y(kYProp, "3");
    const Rect rect(1, 2, 3, 4);
    const std::string grid =
        "Point(1.00, 2.00)Point(3.00, 2.00)Point(1.00, 3.00)Point(3.00, 3.00)Point(1.00, 4.00)"
        "Point(3.00, 4.00)";
    ProbeShape ring([](const Point& p) { return std::hypot(p.x - 1, p.y - 3) > 0.5f; });
    EXPECT_EQ(Count(rect, ring, rect), (Counts{6, 6, 6}));
    EXPECT_EQ(ring.asked, "Point(1.00, 2.00)Point(1.00, 4.00)Point(3.00, 2.00)Point(3.00, 4.00)");
    ProbeShape no_left_bottom([](const Point& p) { return !(p.x == 1 && p.y == 4); });
    ProbeShape no_right_top([](const Point& p) { return !(p.x == 3 && p.y == 2); });
    EXPECT_EQ(Count(rect, no_left_bottom, no_right_top), (Counts{5, 5, 4}));
    EXPECT_EQ(no_left_bottom.asked, "Point(1.00, 2.00)Point(1.00, 4.00)" + grid);
    EXPECT_EQ(no_right_top.asked, "Point(1.00, 2.00)Point(1.00, 4.00)Point(3.00, 2.00)" + grid);
    const int kDebug = ANDROID_LOG_DEBUG;
    EXPECT_EQ(
        log.Lines("Geometry"),
        (std::vector<testing::LogLine>{{kDebug, "Geometry", "[NumOfPointsIn] all_points_in_s1:1"},
                                       {kDebug, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"},
                                       {kDebug, "Geometry", "[NumOfPointsIn] all_points_in_s1:0"},
                                       {kDebug, "Geometry", "[NumOfPointsIn] all_points_in_s2:0"}}));
}

// The library's grid count and both sampled coverages against the plain grid walk, over
// random and degenerate rectangles, every pairing of shapes and a range of grid properties.
TEST(Coverage, SameAnswersAsThePlainGridWalk) {
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> pos(-100, 100), size(0, 60);
    const char* grid_values[] = {"", "", "", "0", "1", "2", "17", "x"};
    ProbeShape stripes([](const Point& p) { return std::fmod(std::fabs(p.x + p.y), 7.0f) < 3; });
    // Empty, inverted either way, NaN, tiny, under one unit wide, far out, thin.
    const float edges[][4] = {{0, 0, 0, 0},
                              {5, 5, 4, 9},
                              {0, 0, 10, -0.5f},
                              {kNaN, 0, 10, 10},
                              {0, 0, 1e-6f, 1e-6f},
                              {0, 0, 0.999f, 30},
                              {1e6f, 1e6f, 1e6f + 40, 1e6f + 3},
                              {0.1f, 0.2f, 0.3f, 40}};
    auto share = [](const Counts& c) {
        return static_cast<float>(c[2]) / static_cast<float>(c[0]) * 100;
    };
    auto same = [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    for (int i = 0; i < 3000; ++i) {
        const float l = pos(gen), t = pos(gen);
        const float* e = edges[i % 8];
        const Rect area =
            i < 160 ? Rect(e[0], e[1], e[2], e[3]) : Rect(l, t, l + size(gen), t + size(gen));
        ScopedProperty x(kXProp, grid_values[gen() % 8]), y(kYProp, grid_values[gen() % 8]);
        const Circle circle(pos(gen), pos(gen), size(gen));
        const Ellipse ellipse(pos(gen), pos(gen), size(gen), size(gen), size(gen) - 30);
        const Rect cover(area.left_top.x - 1, area.left_top.y - 1, area.right_bottom.x + 1,
                         area.right_bottom.y + 1);  // holds all corners
        const IShape* shapes[] = {&circle, &ellipse, &cover, &stripes, &area};
        const IShape& s1 = *shapes[gen() % 5];
        const IShape& s2 = *shapes[gen() % 5];
        ASSERT_EQ(Count(area, s1, s2), Count(area, s1, s2, true))
            << area.Print() << " " << s1.Print() << " " << s2.Print();
        ASSERT_TRUE(same(area.CoverageCoveredBy(s2), share(Count(area, area, s2, true))));
        const Rect square(circle.center.x - circle.r, circle.center.y - circle.r,
                          circle.center.x + circle.r, circle.center.y + circle.r);
        ASSERT_TRUE(same(circle.CoverageCoveredBy(s2), share(Count(square, circle, s2, true))))
            << circle.Print() << " " << s2.Print();
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
