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

constexpr char kXProp[] = "persist.vendor.udfps.geometry.rect.x_axis_scan_points";
constexpr char kYProp[] = "persist.vendor.udfps.geometry.rect.y_axis_scan_points";
constexpr float kNaN = NAN;

// A shape given by a predicate that remembers every point it is asked about.
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

using Counts = std::vector<unsigned>;  // in s1, in s2, in both

Counts Count(const Rect& rect, const IShape& s1, const IShape& s2, bool reference = false) {
    Counts c{7, 7, 7};  // the outputs are set, not added to
    if (reference) {
        testing::ReferenceNumOfPointsIn(rect, s1, s2, c[0], c[1], c[2]);
    } else {
        rect.NumOfPointsIn(s1, s2, c[0], c[1], c[2]);
    }
    return c;
}

TEST(CircleCoverageClosedForm, SameApartAndNested) {
    EXPECT_EQ(Circle(0.1f, 0.3f, 7.7f).CoverageCoveredBy(Circle(0.1f, 0.3f, 7.7f)), 100.0f);
    EXPECT_EQ(Circle(0, 0, 3).CoverageCoveredBy(Circle(8.01f, 0, 5)), 0.0f);
    // Touching at one point goes through the lens formula.
    EXPECT_NEAR(Circle(0, 0, 3).CoverageCoveredBy(Circle(8, 0, 5)), 0.0f, 1e-4f);
    const Circle big(10, 10, 10);
    EXPECT_EQ(Circle(12, 11, 2).CoverageCoveredBy(big), 100.0f);
    EXPECT_FLOAT_EQ(big.CoverageCoveredBy(Circle(12, 11, 2)), 4.0f);  // (2 / 10)^2 of it
    // Touching from inside (d = R - r) still counts as nested.
    EXPECT_EQ(Circle(18, 10, 2).CoverageCoveredBy(big), 100.0f);
    EXPECT_TRUE(std::isnan(Circle(0, 0, 0).CoverageCoveredBy(big)));
    EXPECT_TRUE(std::isnan(Circle(0, 0, kNaN).CoverageCoveredBy(big)));
}

TEST(CircleCoverageClosedForm, LensIsShareOfThisCircle) {
    // Two unit circles a radius apart overlap by 2π/3 - √3/2 of r².
    EXPECT_NEAR(Circle(0, 0, 1).CoverageCoveredBy(Circle(1, 0, 1)),
                (2 * M_PI / 3 - std::sqrt(3.0) / 2) / M_PI * 100, 1e-3);
    // The overlap is the same area whichever circle is asked, divided by that circle's area.
    const Circle a(3, 4, 5);
    const Circle b(9, 1, 3);
    EXPECT_NEAR(a.CoverageCoveredBy(b) * 25, b.CoverageCoveredBy(a) * 9, 1e-2);
    // And it agrees with counting points.
    EXPECT_NEAR(a.CoverageCoveredBy(b), a.CoverageCoveredBy(static_cast<const IShape&>(b)), 1.0);
    EXPECT_NEAR(b.CoverageCoveredBy(a), b.CoverageCoveredBy(static_cast<const IShape&>(a)), 2.0);
}

TEST(GridCount, DefaultGridHasOnePointPerUnitWithBothEdges) {
    const Rect rect(0, 0, 10, 10);
    EXPECT_EQ(Count(rect, rect, rect), (Counts{121, 121, 121}));
    EXPECT_EQ(rect.CoverageCoveredBy(rect), 100.0f);
    ProbeShape strip([](const Point& p) { return p.x > 2.5f && p.x < 3.5f; });
    EXPECT_EQ(Count(rect, rect, strip), (Counts{121, 11, 11}));
    // Extents are truncated: 0..2.9 has columns 0, 1.45, 2.9.
    ProbeShape none([](const Point&) { return false; });
    const Rect narrow(0, 0, 2.9f, 0);
    EXPECT_EQ(Count(narrow, none, narrow), (Counts{0, 3, 0}));
    ASSERT_EQ(none.asked.size(), 4u);  // one corner, then the three grid points
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
        EXPECT_EQ(probe.asked[3].Print(), "Point(10.00, 0.00)");
        EXPECT_EQ(probe.asked[4].Print(), "Point(0.00, 10.00)");
    }
    EXPECT_EQ(Count(rect, rect, probe), (Counts{121, 0, 0}));
    ScopedProperty bad(kXProp, "many");
    EXPECT_EQ(Count(rect, rect, probe), (Counts{121, 0, 0}));
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
        EXPECT_TRUE(std::isnan(Circle(5, 5, 5).CoverageCoveredBy(Ellipse(5, 5, 10, 10, 0))));
        EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, "Geometry",
                                 prop == kXProp ? "[NumOfPointsIn] Invalid scan points(0, 11)"
                                                : "[NumOfPointsIn] Invalid scan points(11, 0)"));
        // Reported, but the corner tests still run.
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:1"));
    }
    LogCapture log;
    EXPECT_TRUE(std::isnan(Rect(10, 0, 0, 10).CoverageCoveredBy(rect)));  // negative width
    EXPECT_TRUE(
        log.Contains(ANDROID_LOG_ERROR, "Geometry", "[NumOfPointsIn] Invalid scan points(0, 11)"));
}

// Corners are tried in a fixed order up to the first miss. A shape holding all four stands
// for the whole grid and is not asked again, even a ring that misses the middle; a shape
// missing one is asked about every point, whatever the other shape says.
TEST(GridCount, CornerTestStandsInForTheGrid) {
    LogCapture log;
    const Rect rect(1, 2, 3, 4);
    ProbeShape ring([](const Point& p) { return std::hypot(p.x - 2, p.y - 3) > 0.5f; });
    ProbeShape no_left_bottom([](const Point& p) { return !(p.x == 1 && p.y == 4); });
    EXPECT_EQ(Count(rect, ring, no_left_bottom), (Counts{9, 8, 8}));
    ASSERT_EQ(ring.asked.size(), 4u);
    EXPECT_EQ(ring.asked[0].Print(), "Point(1.00, 2.00)");
    EXPECT_EQ(ring.asked[1].Print(), "Point(1.00, 4.00)");
    EXPECT_EQ(ring.asked[2].Print(), "Point(3.00, 2.00)");
    EXPECT_EQ(ring.asked[3].Print(), "Point(3.00, 4.00)");
    EXPECT_EQ(no_left_bottom.asked.size(), 2u + 9u);
    EXPECT_EQ(log.Lines("Geometry"),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s1:1"},
                  {ANDROID_LOG_DEBUG, "Geometry", "[NumOfPointsIn] all_points_in_s2:0"}}));
}

// The library's grid count and both sampled coverages against the plain grid walk, over
// random and degenerate rectangles, every pairing of shapes and a range of grid properties.
TEST(GridCount, SameAnswersAsThePlainGridWalk) {
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> pos(-100, 100);
    std::uniform_real_distribution<float> size(0, 60);
    const char* grid_values[] = {"", "", "", "0", "1", "2", "17", "x"};
    ProbeShape stripes([](const Point& p) { return std::fmod(std::fabs(p.x + p.y), 7.0f) < 3; });
    const Rect edge_rects[] = {Rect(0, 0, 0, 0),
                               Rect(5, 5, 4, 9),
                               Rect(0, 0, 10, -0.5f),
                               Rect(kNaN, 0, 10, 10),
                               Rect(0, 0, 1e-6f, 1e-6f),
                               Rect(0, 0, 0.999f, 30),
                               Rect(1e6f, 1e6f, 1e6f + 40, 1e6f + 3),
                               Rect(0.1f, 0.2f, 0.3f, 40)};
    auto share = [](const Counts& c) {
        return static_cast<float>(c[2]) / static_cast<float>(c[0]) * 100;
    };
    auto same = [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    for (int i = 0; i < 3000; ++i) {
        const float l = pos(gen);
        const float t = pos(gen);
        const Rect area = i < 160 ? edge_rects[i % 8] : Rect(l, t, l + size(gen), t + size(gen));
        ScopedProperty x(kXProp, grid_values[gen() % 8]);
        ScopedProperty y(kYProp, grid_values[gen() % 8]);
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
