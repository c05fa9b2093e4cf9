// Touch geometry: the shapes' texts and containment tests at the edges; coverage in closed
// form for two circles, and the grid count for everything else, at the grid's edges and
// through each of its corner shortcuts.
#include "fp_utils/geometry.h"

#include <android-base/stringprintf.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "tests/geometry/reference_geometry.h"
#include "tests/support/fixture.h"
#include "tests/support/properties.h"

namespace android::fp_utils {
namespace {

using Counts = std::vector<unsigned>;  // in s1, in s2, in both

constexpr char kXProp[] = "persist.vendor.udfps.geometry.rect.x_axis_scan_points";
constexpr char kYProp[] = "persist.vendor.udfps.geometry.rect.y_axis_scan_points";
constexpr float kNaN = NAN;

// A shape given by a predicate that writes down every point it is asked about, as "x,y ".
struct ProbeShape : IShape {
    explicit ProbeShape(std::function<bool(const Point&)> f) : inside(std::move(f)) {}
    std::string Print() const override { return "Probe"; }
    bool Contains(const Point& p) const override {
        asked += android::base::StringPrintf("%g,%g ", p.x, p.y);
        return inside(p);
    }
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
    EXPECT_EQ(Point(1.5f, -2.25f).Print(), "Point(1.50, -2.25)");
    EXPECT_EQ(Circle(10, 20.125f, 3).Print(), "Circle(x:10.00, y:20.12, r:3.00)");
    EXPECT_EQ(Ellipse(1, 2, 30, 20, 0.5f).Print(),
              "Ellipse(x:1.00, y:2.00, M:30.00, m:20.00, o:0.50)");
    EXPECT_EQ(Rect(1, 2, 3, 4).Print(), "Rect(1.00, 2.00 - 3.00, 4.00)");
    EXPECT_EQ(Ellipse(FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX).Print(),
              ("Ellipse(x:" + big + ", y:" + big + ", M:" + big + ", m:" + big).substr(0, 127));
}

// Every boundary is inside. An ellipse's axes and angle count as they are at the call, also
// when assigned after construction.
TEST(Shapes, BoundaryIsInside) {
    const Circle c(10, 20, 5);
    const Ellipse upright(0, 0, 20, 10, 0), tilted(9, 0, 40, 8, 0.6f);
    Ellipse lying = upright;
    lying.orientation = static_cast<float>(M_PI / 2);
    const Rect r(1, 2, 3, 4);
    const float s = 19.5f * std::sin(0.6f), k = 19.5f * std::cos(0.6f);
    const std::tuple<const IShape&, std::vector<Point>, std::vector<Point>> cases[] = {
        // (13, 24) lies on the rim; (15, 20.0015) has a squared distance just above 25, but its
        // root rounds to 5.
        {c, {{13, 24}, {5, 20}, {15, 20.0015f}}, {{13, 24.001f}, {kNaN, 20}}},
        // The last point of each list lies a rounding step off the boundary, where a sum formed
        // in float, or of terms rounded to float, decides the other way.
        {upright,
         {{0, -10}, {5, 0}, {4.9906f, 0.6129f}},
         {{0, 10.5f}, {5.5f, 0}, {kNaN, 0}, {4.8197f, 2.6612f}}},
        {lying, {{10, 0}}, {{0, -10}}},
        // The major axis's end lies along (sin o, -cos o), mirrored conventions miss it; the
        // minor axis's along (cos o, sin o).
        {tilted, {{9 + s, -k}, {9 + 0.2046f * k, 0.2046f * s}}, {{9 + s, k}, {9 - s, -k}}},
        {r,
         {{1, 2}, {3, 2}, {1, 4}, {3, 4}, {3, 3}},
         {{std::nextafter(1.0f, 0.0f), 3}, {2, std::nextafter(4.0f, 9.0f)}, {kNaN, 3}, {2, kNaN}}},
    };
    for (const auto& [shape, in, out] : cases) {
        for (const Point& p : in) EXPECT_TRUE(shape.Contains(p)) << shape.Print() << p.Print();
        for (const Point& p : out) EXPECT_FALSE(shape.Contains(p)) << shape.Print() << p.Print();
    }
}

// NaN, a negative radius, a zero-length axis and an inverted rectangle hold nothing; at
// (inf, 0) the distance to `far` is inf - inf.
TEST(Shapes, DegenerateShapesHoldNothing) {
    const Circle negative(0, 0, -1), nan_r(10, 20, kNaN), far(INFINITY, 0, 5);
    const Ellipse no_minor(0, 0, 20, 0, 0), nan_o(0, 0, 20, 10, kNaN);
    Ellipse no_major(0, 0, 20, 10, 0);
    no_major.major = 0;  // after construction
    const Rect inverted(3, 2, 1, 4);
    const IShape* empties[] = {&negative, &nan_r, &far, &no_major, &no_minor, &nan_o, &inverted};
    for (const IShape* empty : empties)
        for (Point p : {Point(0, 0), Point(0, 5), Point(2, 3), Point(10, 20), Point(INFINITY, 0)})
            EXPECT_FALSE(empty->Contains(p)) << empty->Print() << p.Print();
}

TEST(Coverage, CirclesInClosedForm) {
    const Circle big(10, 10, 10), small(12, 11, 2);
    const std::tuple<Circle, Circle, float, float> cases[] = {
        // this, other, coverage, tolerance
        {Circle(0, 0, 3), Circle(8.01f, 0, 5), 0, 0},
        {Circle(0, 0, 3), Circle(8, 0, 5), 0, 1e-4f},  // touching: through the lens formula
        {small, big, 100, 0},
        {big, small, 4, 1e-5f},            // (2 / 10)^2 of it
        {Circle(18, 10, 2), big, 100, 0},  // touching from inside is still nested
        // Two unit circles a radius apart overlap by 2π/3 - √3/2 of r².
        {Circle(0, 0, 1), Circle(1, 0, 1),
         static_cast<float>((2 * M_PI / 3 - std::sqrt(3.0) / 2) / M_PI * 100), 1e-3f},
    };
    for (const auto& [self, other, want, tolerance] : cases)
        EXPECT_NEAR(self.CoverageCoveredBy(other), want, tolerance) << self.Print() << other.Print();
}

TEST(Coverage, EmptyCircleIsCoveredByNaN) {
    for (const Circle& empty : {Circle(0, 0, 0), Circle(0, 0, kNaN)})  // 0 / 0
        EXPECT_TRUE(std::isnan(empty.CoverageCoveredBy(Circle(10, 10, 10)))) << empty.Print();
}

// A lens between unequal circles is the same area whichever is asked, divided by that
// circle's area, and agrees with counting points over the circle's bounding square.
TEST(Coverage, LensOfUnequalCirclesAgreesBothWaysAndWithTheGrid) {
    const Circle a(3, 4, 5), b(9, 1, 3);
    EXPECT_NEAR(a.CoverageCoveredBy(b) * 25, b.CoverageCoveredBy(a) * 9, 1e-2);
    EXPECT_NEAR(a.CoverageCoveredBy(b), a.CoverageCoveredBy(static_cast<const IShape&>(b)), 1.0);
    EXPECT_NEAR(b.CoverageCoveredBy(a), b.CoverageCoveredBy(static_cast<const IShape&>(a)), 2.0);
}

// By default one point per unit plus one, truncated, both edges included, none for a negative
// extent; else as the properties say at each call. Coordinates accumulate by addition, so ten
// steps of 0.1 end just past 1, outside a rectangle that ends at 1, in either direction.
TEST(Coverage, GridCountAtTheGridsEdges) {
    const Rect rect(0, 0, 10, 10), unit(0, 0, 1, 1), inner(0.05f, 0.05f, 1, 1);
    const Rect odd(0, 0, 2.9f, 1.5f), inverted(5, 0, 3, 10);
    const ProbeShape strip([](const Point& p) { return p.x > 2.5f && p.x < 3.5f; });
    const struct {
        const char* what;
        const char *nx, *ny;
        const Rect& area;
        const IShape &s1, &s2;
        Counts counts;
    } cases[] = {
        {"steps of 0.1 overshoot", "11", "11", unit, inner, inner, {81, 81, 81}},
        {"unparsable count", "many", "", rect, rect, strip, {121, 11, 11}},
        {"default count", "", "", rect, strip, rect, {11, 121, 11}},
        {"extent truncated", "", "", odd, odd, odd, {6, 6, 6}},
        {"negative extent", "", "", inverted, rect, rect, {0, 0, 0}},
    };
    for (const auto& c : cases) {
        testing::ScopedProperty x(kXProp, c.nx), y(kYProp, c.ny);
        EXPECT_EQ(Count(c.area, c.s1, c.s2), c.counts) << c.what;
    }
    EXPECT_FLOAT_EQ(rect.CoverageCoveredBy(strip), 100.0f * 11 / 121);
}

TEST(Coverage, ZeroCountIsLoggedAndCountsNothing) {
    const Rect rect(0, 0, 10, 10);
    for (const char* prop : {kXProp, kYProp}) {
        SCOPED_TRACE(prop);
        testing::LogCapture log;
        testing::ScopedProperty zero(prop, "0");
        EXPECT_EQ(Count(rect, rect, rect), (Counts{0, 0, 0}));
        EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, "Geometry",
                                 std::string("[NumOfPointsIn] Invalid scan points") +
                                     (prop == kXProp ? "(0, 11)" : "(11, 0)")));
    }
}

TEST(Coverage, EmptyGridCoversNaNYetTheCornersAreTried) {
    testing::LogCapture log;
    testing::ScopedProperty zero(kXProp, "0");
    EXPECT_TRUE(std::isnan(Rect(0, 0, 10, 10).CoverageCoveredBy(Rect(0, 0, 10, 10))));
    EXPECT_TRUE(log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"));
    EXPECT_TRUE(std::isnan(Circle(5, 5, 5).CoverageCoveredBy(Ellipse(5, 5, 10, 10, 0))));
}

// Corners in a fixed order up to the first miss: a shape holding all four stands for the
// whole grid, even a ring that misses a grid point, and is not asked again; a shape missing
// one is asked about every point, row by row, whatever the other says.
class CornerTest : public ::testing::Test {
  protected:
    testing::LogCapture log_;
    testing::ScopedProperty x_{kXProp, "2"}, y_{kYProp, "3"};
    const Rect rect_{1, 2, 3, 4};
    const std::string corners_ = "1,2 1,4 3,2 3,4 ", grid_ = "1,2 3,2 1,3 3,3 1,4 3,4 ";
    ProbeShape ring_{[](const Point& p) { return std::hypot(p.x - 1, p.y - 3) > 0.5f; }};
    ProbeShape no_left_bottom_{[](const Point& p) { return !(p.x == 1 && p.y == 4); }};
    ProbeShape no_right_top_{[](const Point& p) { return !(p.x == 3 && p.y == 2); }};
};

TEST_F(CornerTest, ShapeHoldingAllCornersStandsForTheWholeGrid) {
    EXPECT_EQ(Count(rect_, ring_, no_right_top_), (Counts{6, 5, 5}));
    EXPECT_EQ(ring_.asked, corners_);
    EXPECT_EQ(no_right_top_.asked, corners_.substr(0, 12) + grid_);
}

TEST_F(CornerTest, ShapeMissingACornerIsAskedAboutEveryPointWhateverTheOtherSays) {
    EXPECT_EQ(Count(rect_, no_left_bottom_, ring_), (Counts{5, 6, 5}));
    EXPECT_EQ(Count(rect_, no_left_bottom_, no_right_top_), (Counts{5, 5, 4}));
    EXPECT_EQ(no_left_bottom_.asked, corners_.substr(0, 8) + grid_ + corners_.substr(0, 8) + grid_);
}

TEST_F(CornerTest, CornerResultsAreLoggedForBothShapes) {
    Count(rect_, ring_, no_right_top_);
    Count(rect_, no_left_bottom_, ring_);
    std::vector<testing::LogLine> want;
    for (std::string flag : {"s1:1", "s2:0", "s1:0", "s2:1"})
        want.push_back({ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_" + flag});
    EXPECT_EQ(log_.Lines("Geometry"), want);
}

// The library's sampling skips work that does not change from point to point; the plain
// versions do all of it. Both must give the same answers on random and edge inputs.
TEST(GeometryDifferential, SamplingMatchesThePlainVersions) {
    std::mt19937 rng(20261121);
    auto u = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); };
    for (int i = 0; i < 2000; ++i) {
        Ellipse e(u(-50, 50), u(-50, 50), u(0, 60), u(0, 40), u(-7, 7));
        if (i % 10 == 0) e.minor = 0;  // degenerate: nothing inside
        const float s = std::sin(e.orientation), c = std::cos(e.orientation);
        for (int k = 0; k < 50; ++k) {
            // Points within a few rounding steps of the boundary, where a changed rounding would
            // show, and others from the centre to just outside: a and b along the two axes.
            const float t = u(0, 6.3f), scale = k % 4 ? 1 + u(-1e-6f, 1e-6f) : u(0, 1.02f);
            const float a = e.major / 2 * scale * std::cos(t), b = e.minor / 2 * scale * std::sin(t);
            const Point p(e.center.x + a * s + b * c, e.center.y - a * c + b * s);
            ASSERT_EQ(e.Contains(p), testing::ReferenceEllipseContains(e, p))
                << e.Print() << p.Print();
        }
    }
    const char* counts[] = {"", "0", "1", "2", "7", "33"};
    for (int i = 0; i < 300; ++i) {
        float left = u(-20, 20), top = u(-20, 20);
        Rect rect(left, top, left + u(0, 30), top + u(0, 30));
        Ellipse touch(left + u(-5, 35), top + u(-5, 35), u(1, 80), u(1, 60), u(-3, 3));
        Circle round(left + u(0, 30), top + u(0, 30), u(0, 40));
        testing::ScopedProperty x(kXProp, counts[rng() % 6]), y(kYProp, counts[rng() % 6]);
        for (const IShape* s2 : std::vector<const IShape*>{&touch, &round, &rect}) {
            Counts plain(3);
            testing::ReferenceNumOfPointsIn(rect, rect, *s2, plain[0], plain[1], plain[2]);
            ASSERT_EQ(Count(rect, rect, *s2), plain) << rect.Print() << " " << s2->Print();
        }
    }
}

}  // namespace
}  // namespace android::fp_utils
