// Coverage: the closed form for two circles and the grid count for everything else, checked
// against geometry, against the plain reference grid count, and at the grid's edges.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <string>
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

constexpr char kXProp[] = "persist.vendor.udfps.geometry.rect.x_axis_scan_points";
constexpr char kYProp[] = "persist.vendor.udfps.geometry.rect.y_axis_scan_points";
constexpr float kNaN = NAN;

// A shape given by a predicate that remembers every point it was asked about.
class ProbeShape : public IShape {
  public:
    explicit ProbeShape(std::function<bool(const Point&)> inside) : inside_(std::move(inside)) {}
    std::string Print() const override { return "Probe"; }
    bool Contains(const Point& p) const override {
        asked.push_back(p);
        return inside_(p);
    }
    mutable std::vector<Point> asked;

  private:
    std::function<bool(const Point&)> inside_;
};

struct Counts {
    unsigned in_s1 = 0;
    unsigned in_s2 = 0;
    unsigned in_both = 0;
    bool operator==(const Counts& o) const {
        return in_s1 == o.in_s1 && in_s2 == o.in_s2 && in_both == o.in_both;
    }
};

std::ostream& operator<<(std::ostream& os, const Counts& c) {
    return os << "{" << c.in_s1 << ", " << c.in_s2 << ", " << c.in_both << "}";
}

Counts Count(const Rect& rect, const IShape& s1, const IShape& s2) {
    Counts c{7, 7, 7};  // the outputs are set, not added to
    rect.NumOfPointsIn(s1, s2, c.in_s1, c.in_s2, c.in_both);
    return c;
}

Counts ReferenceCount(const Rect& rect, const IShape& s1, const IShape& s2) {
    Counts c;
    testing::ReferenceNumOfPointsIn(rect, s1, s2, c.in_s1, c.in_s2, c.in_both);
    return c;
}

// Overlap area of two circles by fine numerical integration over x, for comparison with the
// closed form.
double IntegratedOverlap(const Circle& a, const Circle& b) {
    const double lo = std::max(a.center.x - a.r, b.center.x - b.r);
    const double hi = std::min(a.center.x + a.r, b.center.x + b.r);
    if (hi <= lo) return 0;
    const int n = 200000;
    double area = 0;
    for (int i = 0; i < n; ++i) {
        const double x = lo + (hi - lo) * (i + 0.5) / n;
        auto half = [x](const Circle& c) {
            const double dx = x - c.center.x;
            return std::sqrt(std::max(0.0, static_cast<double>(c.r) * c.r - dx * dx));
        };
        const double top = std::max(a.center.y - half(a), b.center.y - half(b));
        const double bottom = std::min(a.center.y + half(a), b.center.y + half(b));
        if (bottom > top) area += (bottom - top) * (hi - lo) / n;
    }
    return area;
}

TEST(CircleCoverageClosedForm, SameCircleIsFullyCovered) {
    EXPECT_EQ(Circle(540, 1600, 60).CoverageCoveredBy(Circle(540, 1600, 60)), 100.0f);
    EXPECT_EQ(Circle(0.1f, 0.3f, 7.7f).CoverageCoveredBy(Circle(0.1f, 0.3f, 7.7f)), 100.0f);
}

TEST(CircleCoverageClosedForm, ApartOrTouchingCoversNothing) {
    EXPECT_EQ(Circle(0, 0, 3).CoverageCoveredBy(Circle(8.01f, 0, 5)), 0.0f);
    EXPECT_EQ(Circle(0, 0, 3).CoverageCoveredBy(Circle(100, 100, 5)), 0.0f);
    // Touching at one point goes through the lens formula.
    EXPECT_NEAR(Circle(0, 0, 3).CoverageCoveredBy(Circle(8, 0, 5)), 0.0f, 1e-4f);
    EXPECT_NEAR(Circle(0, 0, 5).CoverageCoveredBy(Circle(0, 8, 3)), 0.0f, 1e-4f);
}

TEST(CircleCoverageClosedForm, NestedCirclesShareTheSmallerArea) {
    const Circle big(10, 10, 10);
    const Circle small(12, 11, 2);
    EXPECT_EQ(small.CoverageCoveredBy(big), 100.0f);
    EXPECT_FLOAT_EQ(big.CoverageCoveredBy(small), 4.0f);  // (2 / 10)^2 of it
    // Touching from inside (d = R - r) still counts as nested.
    EXPECT_EQ(Circle(8, 10, 2).CoverageCoveredBy(big), 100.0f);
    EXPECT_FLOAT_EQ(big.CoverageCoveredBy(Circle(18, 10, 2)), 4.0f);
}

TEST(CircleCoverageClosedForm, LensMatchesIntegratedOverlap) {
    // Two unit circles a radius apart overlap by 2π/3 - √3/2 of r².
    EXPECT_NEAR(Circle(0, 0, 1).CoverageCoveredBy(Circle(1, 0, 1)),
                (2 * M_PI / 3 - std::sqrt(3.0) / 2) / M_PI * 100, 1e-3);
    std::mt19937 gen(32);
    std::uniform_real_distribution<float> pos(-50, 50);
    std::uniform_real_distribution<float> rad(1, 40);
    for (int i = 0; i < 40; ++i) {
        const Circle a(pos(gen), pos(gen), rad(gen));
        const Circle b(pos(gen), pos(gen), rad(gen));
        const double overlap = IntegratedOverlap(a, b);
        const double area_a = M_PI * a.r * a.r;
        const double area_b = M_PI * b.r * b.r;
        // The denominator is always the circle asked about.
        EXPECT_NEAR(a.CoverageCoveredBy(b), overlap / area_a * 100, 0.02) << a.Print() << b.Print();
        EXPECT_NEAR(b.CoverageCoveredBy(a), overlap / area_b * 100, 0.02) << a.Print() << b.Print();
    }
}

TEST(CircleCoverageClosedForm, DegenerateCirclesGiveNaN) {
    EXPECT_TRUE(std::isnan(Circle(0, 0, 0).CoverageCoveredBy(Circle(0, 0, 5))));
    EXPECT_TRUE(std::isnan(Circle(0, 0, kNaN).CoverageCoveredBy(Circle(0, 0, 5))));
    EXPECT_TRUE(std::isnan(Circle(kNaN, 0, 5).CoverageCoveredBy(Circle(0, 0, 5))));
}

TEST(GridCount, DefaultGridHasOnePointPerUnitWithBothEdges) {
    const Rect rect(0, 0, 10, 10);
    EXPECT_EQ(Count(rect, rect, rect), (Counts{121, 121, 121}));
    EXPECT_EQ(rect.CoverageCoveredBy(rect), 100.0f);
    // Points sit at integral coordinates: a strip around x = 3 holds one column.
    ProbeShape strip([](const Point& p) { return p.x > 2.5f && p.x < 3.5f; });
    EXPECT_EQ(Count(rect, rect, strip), (Counts{121, 11, 11}));
    for (const Point& p : strip.asked) {
        EXPECT_EQ(p.x, std::round(p.x));
        EXPECT_EQ(p.y, std::round(p.y));
    }
    // Fractional extents are truncated: 0..2.9 has columns 0, 1.45, 2.9.
    ProbeShape none([](const Point&) { return false; });
    const Rect narrow(0, 0, 2.9f, 0);
    EXPECT_EQ(Count(narrow, none, narrow), (Counts{0, 3, 0}));
    ASSERT_EQ(none.asked.size(), 4u);  // one corner, then the three grid points
    EXPECT_EQ(none.asked[1].x, 0.0f);
    EXPECT_EQ(none.asked[2].x, 1.45f);
    EXPECT_EQ(none.asked[3].x, 2.9f);
}

TEST(GridCount, PropertiesSetTheGridOnEveryCall) {
    const Rect rect(0, 0, 10, 10);
    ProbeShape probe([](const Point&) { return false; });
    {
        ScopedProperty x(kXProp, "3");
        ScopedProperty y(kYProp, "2");
        EXPECT_EQ(Count(rect, rect, probe), (Counts{6, 0, 0}));
        std::vector<std::pair<float, float>> grid;
        for (size_t i = 1; i < probe.asked.size(); ++i) {
            grid.emplace_back(probe.asked[i].x, probe.asked[i].y);
        }
        EXPECT_EQ(grid, (std::vector<std::pair<float, float>>{
                            {0, 0}, {5, 0}, {10, 0}, {0, 10}, {5, 10}, {10, 10}}));
        ScopedProperty x2(kXProp, "5");
        EXPECT_EQ(Count(rect, rect, probe), (Counts{10, 0, 0}));
    }
    EXPECT_EQ(Count(rect, rect, probe), (Counts{121, 0, 0}));
    ScopedProperty bad(kXProp, "many");
    EXPECT_EQ(Count(rect, rect, probe), (Counts{121, 0, 0}));  // unparsable: the default
}

TEST(GridCount, OneColumnOrRowSitsAtTheLeftOrTop) {
    const Rect rect(4, 6, 10, 20);
    ProbeShape probe([](const Point&) { return false; });
    {
        ScopedProperty x(kXProp, "1");
        ScopedProperty y(kYProp, "1");
        Count(rect, rect, probe);
        ASSERT_EQ(probe.asked.size(), 2u);
        EXPECT_EQ(probe.asked[1].x, 4.0f);
        EXPECT_EQ(probe.asked[1].y, 6.0f);
    }
    probe.asked.clear();
    ScopedProperty x(kXProp, "1");
    EXPECT_EQ(Count(rect, rect, probe), (Counts{15, 0, 0}));
    for (size_t i = 1; i < probe.asked.size(); ++i) EXPECT_EQ(probe.asked[i].x, 4.0f);
}

// The last column lies where ten additions of 0.1 end (just past 1), not exactly at 1.
TEST(GridCount, CoordinatesAccumulateByAddition) {
    ScopedProperty x(kXProp, "11");
    ScopedProperty y(kYProp, "11");
    const Rect rect(0, 0, 1, 1);
    EXPECT_EQ(Count(rect, rect, Rect(-1, 0.05f, 1, 2)), (Counts{121, 100, 100}));
}

TEST(GridCount, ZeroScanPointsIsReportedAndCountsNothing) {
    const Rect rect(0, 0, 10, 10);
    for (const char* prop : {kXProp, kYProp}) {
        LogCapture log;
        ScopedProperty zero(prop, "0");
        EXPECT_EQ(Count(rect, rect, rect), (Counts{0, 0, 0}));
        EXPECT_TRUE(std::isnan(rect.CoverageCoveredBy(rect)));
        EXPECT_TRUE(std::isnan(Circle(5, 5, 5).CoverageCoveredBy(Ellipse(5, 5, 10, 10, 0))));
        const std::string text = prop == kXProp ? "[NumOfPointsIn] Invalid scan points(0, 11)"
                                                : "[NumOfPointsIn] Invalid scan points(11, 0)";
        EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, "Geometry", text));
        // Reported, but the corner tests still run.
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s1:1"));
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"));
    }
}

TEST(GridCount, InvertedRectangleHasNoGrid) {
    LogCapture log;
    EXPECT_EQ(Count(Rect(10, 0, 0, 10), Circle(5, 5, 100), Circle(5, 5, 100)), (Counts{0, 0, 0}));
    EXPECT_TRUE(
        log.Contains(ANDROID_LOG_ERROR, "Geometry", "[NumOfPointsIn] Invalid scan points(0, 11)"));
    log.Clear();
    EXPECT_TRUE(std::isnan(Rect(0, kNaN, 10, 10).CoverageCoveredBy(Circle(0, 0, 1))));
    EXPECT_TRUE(
        log.Contains(ANDROID_LOG_ERROR, "Geometry", "[NumOfPointsIn] Invalid scan points(11, 0)"));
}

TEST(GridCount, CornersAreTriedInOrderUntilTheFirstMiss) {
    LogCapture log;
    const Rect rect(1, 2, 3, 4);
    ProbeShape whole([](const Point&) { return true; });
    ProbeShape no_left_bottom([](const Point& p) { return !(p.x == 1 && p.y == 4); });
    EXPECT_EQ(Count(rect, whole, no_left_bottom), (Counts{9, 8, 8}));
    ASSERT_EQ(whole.asked.size(), 4u);  // the corners stand in for the whole grid
    EXPECT_EQ(whole.asked[0].Print(), "Point(1.00, 2.00)");
    EXPECT_EQ(whole.asked[1].Print(), "Point(1.00, 4.00)");
    EXPECT_EQ(whole.asked[2].Print(), "Point(3.00, 2.00)");
    EXPECT_EQ(whole.asked[3].Print(), "Point(3.00, 4.00)");
    ASSERT_EQ(no_left_bottom.asked.size(), 2u + 9u);
    EXPECT_EQ(no_left_bottom.asked[1].Print(), "Point(1.00, 4.00)");
    EXPECT_EQ(log.Lines("Geometry"),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s1:1"},
                  {ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:0"}}));
}

// The corner test stands in for the whole grid even where that is wrong: a ring holds the
// corners but not the middle, and is still counted as holding every point.
TEST(GridCount, ShapeWithAllCornersInsideIsNotAskedAgain) {
    const Rect rect(0, 0, 10, 10);
    ProbeShape ring([](const Point& p) { return std::hypot(p.x - 5, p.y - 5) > 3; });
    ProbeShape nothing([](const Point&) { return false; });
    EXPECT_EQ(Count(rect, nothing, ring), (Counts{0, 121, 0}));
    EXPECT_EQ(ring.asked.size(), 4u);
    // A shape that misses a corner is asked about every point, whether or not the point is
    // in the first shape.
    EXPECT_EQ(nothing.asked.size(), 1u + 121u);
}

TEST(SampledCoverage, CircleIsSampledOverItsBoundingSquare) {
    const Circle sensor(50, 50, 10);
    ProbeShape probe([](const Point&) { return true; });
    // 21 x 21 grid; the circle is asked for every point since its corners lie outside.
    const float coverage = sensor.CoverageCoveredBy(probe);
    EXPECT_EQ(coverage, 100.0f);
    ASSERT_EQ(probe.asked.size(), 4u);
    EXPECT_EQ(probe.asked[0].Print(), "Point(40.00, 40.00)");
    EXPECT_EQ(probe.asked[3].Print(), "Point(60.00, 60.00)");
    // Half the circle (x <= 50 holds 11 of 21 columns).
    const float half = sensor.CoverageCoveredBy(Rect(0, 0, 50, 100));
    unsigned s1, s2, both;
    testing::ReferenceNumOfPointsIn(Rect(40, 40, 60, 60), sensor, Rect(0, 0, 50, 100), s1, s2, both);
    EXPECT_EQ(half, static_cast<float>(both) / static_cast<float>(s1) * 100);
    EXPECT_GT(half, 50.0f);
    EXPECT_LT(half, 56.0f);
    // Sampling two circles approximates the closed form.
    EXPECT_NEAR(sensor.CoverageCoveredBy(static_cast<const IShape&>(Circle(60, 50, 10))),
                sensor.CoverageCoveredBy(Circle(60, 50, 10)), 3.0f);
}

TEST(SampledCoverage, RectangleByEllipse) {
    const Rect sensor(0, 0, 100, 100);
    EXPECT_EQ(sensor.CoverageCoveredBy(Ellipse(50, 50, 400, 300, 0.3f)), 100.0f);
    EXPECT_EQ(sensor.CoverageCoveredBy(Ellipse(500, 50, 40, 30, 0.3f)), 0.0f);
    // An ellipse wholly inside holds about as many points as its area (π·20·10), out of
    // 101 x 101.
    EXPECT_NEAR(sensor.CoverageCoveredBy(Ellipse(50, 50, 40, 20, 1.0f)), M_PI * 200 / 10201 * 100,
                0.05);
}

const IShape& PickShape(std::mt19937& gen, const Rect& area, Circle& c, Ellipse& e, Rect& r,
                        ProbeShape& ring) {
    std::uniform_real_distribution<float> x(area.left_top.x - 20, area.right_bottom.x + 20);
    std::uniform_real_distribution<float> y(area.left_top.y - 20, area.right_bottom.y + 20);
    std::uniform_real_distribution<float> size(0, 80);
    switch (gen() % 5) {
        case 0:
            c = Circle(x(gen), y(gen), size(gen));
            return c;
        case 1:
            e = Ellipse(x(gen), y(gen), size(gen), size(gen), size(gen) - 40);
            return e;
        case 2: {
            const float l = x(gen);
            const float t = y(gen);
            r = Rect(l, t, l + size(gen), t + size(gen));
            return r;
        }
        case 3:
            // Covers the whole area, so the corner shortcut applies.
            r = Rect(area.left_top.x - 1, area.left_top.y - 1, area.right_bottom.x + 1,
                     area.right_bottom.y + 1);
            return r;
        default:
            return ring;
    }
}

// The library's grid count against the plain one, over random and degenerate rectangles,
// every pairing of shapes and a range of grid properties.
TEST(GridCount, SameCountsAsThePlainGridWalk) {
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> pos(-100, 100);
    std::uniform_real_distribution<float> ext(0, 60);
    const char* grid_values[] = {"", "", "", "0", "1", "2", "3", "17", "x"};
    ProbeShape ring([](const Point& p) { return std::fmod(std::fabs(p.x + p.y), 7.0f) < 3; });
    const Rect edge_rects[] = {
        Rect(0, 0, 0, 0),           Rect(5, 5, 4, 9),       Rect(0, 0, 10, -0.5f),
        Rect(kNaN, 0, 10, 10),      Rect(0, 0, 10, kNaN),   Rect(-0.5f, -0.5f, 0.5f, 0.5f),
        Rect(0, 0, 1e-6f, 1e-6f),   Rect(0, 0, 0.999f, 30), Rect(1e6f, 1e6f, 1e6f + 40, 1e6f + 3),
        Rect(0.1f, 0.2f, 0.3f, 40), Rect(-3, -3, 3, 3),     Rect(0, 0, 49.99f, 50.01f),
    };
    for (int i = 0; i < 3000; ++i) {
        Rect area;
        if (i < 12 * 20) {
            area = edge_rects[i % 12];
        } else {
            const float l = pos(gen);
            const float t = pos(gen);
            area = Rect(l, t, l + ext(gen), t + ext(gen));
        }
        ScopedProperty x(kXProp, grid_values[gen() % 9]);
        ScopedProperty y(kYProp, grid_values[gen() % 9]);
        Circle c1, c2;
        Ellipse e1, e2;
        Rect r1, r2;
        const IShape& s1 = PickShape(gen, area, c1, e1, r1, ring);
        const IShape& s2 = PickShape(gen, area, c2, e2, r2, ring);
        ASSERT_EQ(Count(area, s1, s2), ReferenceCount(area, s1, s2))
            << area.Print() << " " << s1.Print() << " " << s2.Print();
        const Counts self = ReferenceCount(area, area, s2);
        const float expected =
            static_cast<float>(self.in_both) / static_cast<float>(self.in_s1) * 100;
        const float got = area.CoverageCoveredBy(s2);
        ASSERT_TRUE(got == expected || (std::isnan(got) && std::isnan(expected))) << area.Print();
        const Circle circle(area.left_top.x, area.left_top.y, area.right_bottom.x - area.left_top.x);
        const Rect square(circle.center.x - circle.r, circle.center.y - circle.r,
                          circle.center.x + circle.r, circle.center.y + circle.r);
        const Counts in_circle = ReferenceCount(square, circle, s2);
        const float circle_expected =
            static_cast<float>(in_circle.in_both) / static_cast<float>(in_circle.in_s1) * 100;
        const float circle_got = circle.CoverageCoveredBy(s2);
        ASSERT_TRUE(circle_got == circle_expected ||
                    (std::isnan(circle_got) && std::isnan(circle_expected)))
            << circle.Print() << " " << s2.Print();
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
