// Touch geometry: the shapes' texts and containment tests at the edges; coverage in closed
// form for two circles, and the grid count for everything else, at the grid's edges and
// through each of its corner shortcuts.
#include "fp_utils/geometry.h"

#include <android/log.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "tests/geometry/reference_geometry.h"
#include "tests/support/log_capture.h"
#include "tests/support/properties.h"

namespace android::fp_utils {
namespace {

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

Counts Count(const Rect& rect, const IShape& s1, const IShape& s2) {
    Counts c{7, 7, 7};  // the outputs are set, not added to
    rect.NumOfPointsIn(s1, s2, c[0], c[1], c[2]);
    return c;
}

TEST(Shapes, PrintTwoDecimalsPerFieldCutAt127Characters) {
    const std::string big = "340282346638528859811704183484516925440.00";  // FLT_MAX
    const std::pair<std::string, std::string> cases[] = {
        {Point(1.5f, -2.25f).Print(), "Point(1.50, -2.25)"},
        {Circle(10, 20.125f, 3).Print(), "Circle(x:10.00, y:20.12, r:3.00)"},
        {Ellipse(1, 2, 30, 20, 0.5f).Print(), "Ellipse(x:1.00, y:2.00, M:30.00, m:20.00, o:0.50)"},
        {Rect(1, 2, 3, 4).Print(), "Rect(1.00, 2.00 - 3.00, 4.00)"},
        {Ellipse(FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX).Print(),
         ("Ellipse(x:" + big + ", y:" + big + ", M:" + big + ", m:" + big).substr(0, 127)},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(text, want);
}

// Every boundary is inside. NaN, a negative radius, a zero-length axis and an inverted
// rectangle hold nothing. An ellipse's axes and angle count as they are at the call, also
// when assigned after construction.
TEST(Shapes, ContainsAtTheEdges) {
    const Circle c(10, 20, 5), unit(0, 0, 1), negative(0, 0, -1), nan_r(10, 20, kNaN);
    const Ellipse upright(0, 0, 20, 10, 0), tilted(100, 200, 40, 8, 0.6f);
    Ellipse lying = upright, no_major = upright, no_minor = upright, nan_o = upright;
    lying.orientation = static_cast<float>(M_PI / 2);
    no_major.major = no_minor.minor = 0;
    nan_o.orientation = kNaN;
    const Rect r(1, 2, 3, 4), inverted(3, 2, 1, 4);
    const float s = 19.5f * std::sin(0.6f), k = 19.5f * std::cos(0.6f);
    const struct {
        const IShape& shape;
        std::vector<Point> in, out;
    } cases[] = {
        // (13, 24) lies on the rim; (1, 0.0003) has a squared distance just above 1, but its
        // root rounds to 1.
        {c, {{13, 24}, {5, 20}}, {{13, 24.001f}, {kNaN, 20}}},
        {unit, {{1, 0.0003f}}, {}},
        // The last point of each list lies a rounding step off the boundary, where a sum formed
        // in float, or of terms rounded to float, decides the other way.
        {upright,
         {{0, -10}, {5, 0}, {4.9906f, 0.6129f}},
         {{0, 10.5f}, {5.5f, 0}, {kNaN, 0}, {4.8197f, 2.6612f}}},
        {lying, {{10, 0}}, {{0, -10}}},
        // The major axis's end lies along (sin o, -cos o), mirrored conventions miss it; the
        // minor axis's along (cos o, sin o).
        {tilted,
         {{100 + s, 200 - k}, {100 + 0.2046f * k, 200 + 0.2046f * s}},
         {{100 + s, 200 + k}, {100 - s, 200 - k}}},
        {r,
         {{1, 2}, {3, 2}, {1, 4}, {3, 4}, {3, 3}},
         {{std::nextafter(1.0f, 0.0f), 3}, {2, std::nextafter(4.0f, 9.0f)}, {kNaN, 3}, {2, kNaN}}},
    };
    for (const auto& t : cases) {
        for (const Point& p : t.in)
            EXPECT_TRUE(t.shape.Contains(p)) << t.shape.Print() << p.Print();
        for (const Point& p : t.out)
            EXPECT_FALSE(t.shape.Contains(p)) << t.shape.Print() << p.Print();
    }
    const Circle far(INFINITY, 0, 5);  // at (inf, 0) the distance is inf - inf
    const IShape* empties[] = {&negative, &nan_r, &far, &no_major, &no_minor, &nan_o, &inverted};
    for (const IShape* empty : empties) {
        for (const Point& p :
             {Point(0, 0), Point(0, 5), Point(2, 3), Point(10, 20), Point(INFINITY, 0)})
            EXPECT_FALSE(empty->Contains(p)) << empty->Print() << p.Print();
    }
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
    // circle's area, and agrees with counting points over the circle's bounding square.
    EXPECT_NEAR(a.CoverageCoveredBy(b) * 25, b.CoverageCoveredBy(a) * 9, 1e-2);
    EXPECT_NEAR(a.CoverageCoveredBy(b), a.CoverageCoveredBy(static_cast<const IShape&>(b)), 1.0);
    EXPECT_NEAR(b.CoverageCoveredBy(a), b.CoverageCoveredBy(static_cast<const IShape&>(a)), 2.0);
}

// By default one point per unit plus one, truncated, both edges included, none for a negative
// extent; else as the properties say at each call. Coordinates accumulate by addition, so ten
// steps of 0.1 end just past 1, outside a rectangle that ends at 1, in either direction. A zero
// count is reported and counts nothing.
TEST(Coverage, GridCount) {
    const Rect rect(0, 0, 10, 10), unit(0, 0, 1, 1), inner(0.05f, 0.05f, 1, 1);
    const Rect odd(0, 0, 2.9f, 1.5f), inverted(5, 0, 3, 10);
    const ProbeShape strip([](const Point& p) { return p.x > 2.5f && p.x < 3.5f; });
    const struct {
        const char *x, *y;
        const Rect& area;
        const IShape &s1, &s2;
        Counts want;
        const char* error;
    } cases[] = {
        {"11", "11", unit, unit, inner, {121, 81, 81}, ""},
        {"11", "11", unit, inner, inner, {81, 81, 81}, ""},
        {"", "", rect, rect, rect, {121, 121, 121}, ""},
        {"many", "", rect, rect, strip, {121, 11, 11}, ""},
        {"", "", rect, strip, rect, {11, 121, 11}, ""},
        {"", "", odd, odd, odd, {6, 6, 6}, ""},
        {"", "", inverted, rect, rect, {0, 0, 0}, "[NumOfPointsIn] Invalid scan points(0, 11)"},
        {"", "0", rect, rect, rect, {0, 0, 0}, "[NumOfPointsIn] Invalid scan points(11, 0)"},
    };
    for (const auto& c : cases) {
        testing::LogCapture log;
        testing::ScopedProperty x(kXProp, c.x), y(kYProp, c.y);
        EXPECT_EQ(Count(c.area, c.s1, c.s2), c.want) << c.x << " " << c.y << c.area.Print();
        EXPECT_EQ(log.Count("Geometry", "Invalid"), *c.error ? 1u : 0u) << c.error;
        EXPECT_EQ(log.Contains(ANDROID_LOG_ERROR, "Geometry", c.error), *c.error != 0);
    }
    EXPECT_FLOAT_EQ(rect.CoverageCoveredBy(strip), 100.0f * 11 / 121);
    testing::LogCapture log;
    testing::ScopedProperty zero(kXProp, "0");
    EXPECT_TRUE(std::isnan(rect.CoverageCoveredBy(rect)));  // yet the corners are tried
    EXPECT_TRUE(log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"));
    EXPECT_TRUE(std::isnan(Circle(5, 5, 5).CoverageCoveredBy(Ellipse(5, 5, 10, 10, 0))));
}

// Corners in a fixed order up to the first miss: a shape holding all four stands for the
// whole grid, even a ring that misses a grid point, and is not asked again; a shape missing
// one is asked about every point, row by row, whatever the other says.
TEST(Coverage, CornerTestThenGridPoints) {
    testing::LogCapture log;
    testing::ScopedProperty x(kXProp, "2"), y(kYProp, "3");
    const Rect rect(1, 2, 3, 4);
    const std::string corners =
        "Point(1.00, 2.00)Point(1.00, 4.00)Point(3.00, 2.00)Point(3.00, 4.00)";
    const std::string grid =
        "Point(1.00, 2.00)Point(3.00, 2.00)Point(1.00, 3.00)Point(3.00, 3.00)Point(1.00, 4.00)"
        "Point(3.00, 4.00)";
    ProbeShape ring([](const Point& p) { return std::hypot(p.x - 1, p.y - 3) > 0.5f; });
    ProbeShape no_left_bottom([](const Point& p) { return !(p.x == 1 && p.y == 4); });
    ProbeShape no_right_top([](const Point& p) { return !(p.x == 3 && p.y == 2); });
    EXPECT_EQ(Count(rect, ring, ring), (Counts{6, 6, 6}));
    EXPECT_EQ(Count(rect, no_left_bottom, no_right_top), (Counts{5, 5, 4}));
    EXPECT_EQ(Count(rect, no_left_bottom, ring), (Counts{5, 6, 5}));
    EXPECT_EQ(Count(rect, ring, no_right_top), (Counts{6, 5, 5}));
    EXPECT_EQ(ring.asked, corners + corners + corners + corners);
    const std::string two = corners.substr(0, 34) + grid, three = corners.substr(0, 51) + grid;
    EXPECT_EQ(no_left_bottom.asked, two + two);
    EXPECT_EQ(no_right_top.asked, three + three);
    std::vector<testing::LogLine> want;
    for (const char* flag : {"s1:1", "s2:1", "s1:0", "s2:0", "s1:0", "s2:1", "s1:1", "s2:0"})
        want.push_back(
            {ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_" + std::string(flag)});
    EXPECT_EQ(log.Lines("Geometry"), want);
}

// The library's sampling skips work that does not change from point to point; the plain
// versions do all of it. Both must give the same answers on random and edge inputs.
TEST(GeometryDifferential, SamplingMatchesThePlainVersions) {
    std::mt19937 rng(20261121);
    auto uniform = [&rng](float lo, float hi) {
        return std::uniform_real_distribution<float>(lo, hi)(rng);
    };
    for (int i = 0; i < 2000; ++i) {
        Ellipse e(uniform(-50, 50), uniform(-50, 50), uniform(0, 60), uniform(0, 40),
                  uniform(-7, 7));
        if (i % 10 == 0) e.minor = 0;  // degenerate: nothing inside
        for (int k = 0; k < 50; ++k) {
            // Points around the boundary, where a changed rounding would show.
            float t = uniform(0, 6.3f), scale = k % 2 ? 0.5f : uniform(0.98f, 1.02f);
            Point p(e.center.x + scale * e.major * std::sin(e.orientation) * std::cos(t),
                    e.center.y + scale * e.minor * std::sin(t) - scale * e.major * std::cos(t));
            ASSERT_EQ(e.Contains(p), testing::ReferenceEllipseContains(e, p))
                << e.Print() << p.Print();
        }
    }
    const char* counts[] = {"", "0", "1", "2", "7", "33"};
    for (int i = 0; i < 300; ++i) {
        float left = uniform(-20, 20), top = uniform(-20, 20);
        Rect rect(left, top, left + uniform(0, 30), top + uniform(0, 30));
        Ellipse touch(left + uniform(-5, 35), top + uniform(-5, 35), uniform(1, 80), uniform(1, 60),
                      uniform(-3, 3));
        Circle round(left + uniform(0, 30), top + uniform(0, 30), uniform(0, 40));
        testing::ScopedProperty x(kXProp, counts[rng() % 6]), y(kYProp, counts[rng() % 6]);
        for (const IShape* s2 : std::vector<const IShape*>{&touch, &round, &rect}) {
            Counts fast(3), plain(3);
            rect.NumOfPointsIn(rect, *s2, fast[0], fast[1], fast[2]);
            testing::ReferenceNumOfPointsIn(rect, rect, *s2, plain[0], plain[1], plain[2]);
            ASSERT_EQ(fast, plain) << rect.Print() << " " << s2->Print();
        }
    }
}

}  // namespace
}  // namespace android::fp_utils
