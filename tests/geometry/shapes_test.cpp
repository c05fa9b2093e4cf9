// Shapes: their texts and their containment tests at the edges.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"

namespace android {
namespace fp_utils {
namespace {

constexpr float kPi = 3.14159265358979f;
constexpr float kNaN = NAN;

TEST(ShapesPrint, TwoDecimalsPerFieldCutAt127Characters) {
    EXPECT_EQ(Point(1.5f, -2.25f).Print(), "Point(1.50, -2.25)");
    EXPECT_EQ(Circle(10, 20.125f, 3).Print(), "Circle(x:10.00, y:20.12, r:3.00)");
    EXPECT_EQ(Ellipse(1, 2, 30, 20, 0.5f).Print(),
              "Ellipse(x:1.00, y:2.00, M:30.00, m:20.00, o:0.50)");
    EXPECT_EQ(Rect(1, 2, 3, 4).Print(), "Rect(1.00, 2.00 - 3.00, 4.00)");
    const std::string big = "340282346638528859811704183484516925440.00";  // FLT_MAX
    EXPECT_EQ(Ellipse(FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX).Print(),
              ("Ellipse(x:" + big + ", y:" + big + ", M:" + big + ", m:" + big).substr(0, 127));
}

TEST(CircleContains, RimIsInsideAndNaNNever) {
    const Circle c(10, 20, 5);
    EXPECT_TRUE(c.Contains(Point(13, 24)));  // 3-4-5: exactly on the rim
    EXPECT_TRUE(c.Contains(Point(5, 20)));
    EXPECT_FALSE(c.Contains(Point(13, 24.001f)));
    EXPECT_FALSE(Circle(0, 0, -1).Contains(Point(0, 0)));
    // The distance is rounded by the square root before the comparison: this point's squared
    // distance is one step above 1, yet its distance rounds to exactly 1.
    EXPECT_TRUE(Circle(0, 0, 1).Contains(Point(1, 0.0003f)));
    EXPECT_FALSE(c.Contains(Point(kNaN, 20)));
    EXPECT_FALSE(Circle(10, 20, kNaN).Contains(Point(10, 20)));
    EXPECT_FALSE(Circle(INFINITY, 0, 5).Contains(Point(INFINITY, 0)));  // inf - inf
}

TEST(EllipseContains, OrientationZeroIsVerticalAndTurnsTowardsPlusX) {
    const Ellipse upright(0, 0, 20, 10, 0);
    EXPECT_TRUE(upright.Contains(Point(0, -10)));
    EXPECT_TRUE(upright.Contains(Point(5, 0)));
    EXPECT_FALSE(upright.Contains(Point(0, 10.5f)));
    EXPECT_FALSE(upright.Contains(Point(5.5f, 0)));
    const Ellipse lying(0, 0, 20, 10, kPi / 2);
    EXPECT_TRUE(lying.Contains(Point(10, 0)));
    EXPECT_FALSE(lying.Contains(Point(0, -10)));
    // The major axis's end lies along (sin o, -cos o); mirrored conventions put it outside.
    const float o = 0.6f;
    const Ellipse e(100, 200, 40, 8, o);
    EXPECT_TRUE(e.Contains(Point(100 + 19.5f * std::sin(o), 200 - 19.5f * std::cos(o))));
    EXPECT_FALSE(e.Contains(Point(100 + 19.5f * std::sin(o), 200 + 19.5f * std::cos(o))));
    EXPECT_FALSE(e.Contains(Point(100 - 19.5f * std::sin(o), 200 - 19.5f * std::cos(o))));
}

// Points within a rounding step of the boundary, where a sum formed in float decides the
// other way.
TEST(EllipseContains, SumIsFormedInDouble) {
    const Ellipse e(0, 0, 20, 10, 0);
    EXPECT_TRUE(e.Contains(Point(1.18044484f, 9.71731472f)));
    EXPECT_FALSE(e.Contains(Point(1.51166296f, 9.53202534f)));
}

TEST(EllipseContains, ZeroAxisOrNaNContainsNothing) {
    EXPECT_FALSE(Ellipse(0, 0, 0, 10, 0).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 0, 0).Contains(Point(0, 5)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 10, kNaN).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 10, 0).Contains(Point(kNaN, 0)));
}

TEST(EllipseContains, FollowsFieldsAssignedAfterConstruction) {
    Ellipse e(0, 0, 20, 10, 0);
    ASSERT_TRUE(e.Contains(Point(0, -10)));
    e.orientation = kPi / 2;
    EXPECT_FALSE(e.Contains(Point(0, -10)));
    EXPECT_TRUE(e.Contains(Point(10, 0)));
    e.major = 10;
    EXPECT_FALSE(e.Contains(Point(10, 0)));
    e.minor = 30;
    EXPECT_TRUE(e.Contains(Point(0, -15)));
    Ellipse d;
    d = e;
    EXPECT_TRUE(d.Contains(Point(0, -15)));
}

// Whatever the ellipse and however its fields came to be, Contains decides exactly as the
// plain per-call computation does, most of all near the boundary.
TEST(EllipseContains, AgreesWithPlainComputation) {
    std::mt19937 gen(4);
    std::uniform_real_distribution<float> pos(-200, 200);
    std::uniform_real_distribution<float> len(0, 120);
    std::uniform_real_distribution<float> angle(-10, 10);
    const float odd_values[] = {0.0f, -0.0f, kNaN, INFINITY, FLT_MIN, 1e30f};
    unsigned inside = 0;
    for (int i = 0; i < 2000; ++i) {
        Ellipse e(pos(gen), pos(gen), len(gen), len(gen), angle(gen));
        if (i % 8 == 1) e.orientation = angle(gen);
        if (i % 8 == 2) e.major = len(gen);
        if (i % 8 == 3) e.minor = odd_values[i / 8 % 6];
        if (i % 8 == 4) e.orientation = odd_values[i / 8 % 6];
        const float s = std::sin(e.orientation);
        const float c = std::cos(e.orientation);
        for (int j = 0; j < 100; ++j) {
            const float t = angle(gen);
            const float k = 0.5f * (1 + (j % 7 - 3) * 1e-6f);  // on the boundary, or a hair off
            const Point p =
                j % 2
                    ? Point(pos(gen), pos(gen))
                    : Point(
                          e.center.x + k * (e.major * s * std::cos(t) + e.minor * c * std::sin(t)),
                          e.center.y + k * (-e.major * c * std::cos(t) + e.minor * s * std::sin(t)));
            const bool expected = testing::ReferenceEllipseContains(e, p);
            ASSERT_EQ(e.Contains(p), expected) << e.Print() << " " << p.Print();
            inside += expected;
        }
    }
    EXPECT_GT(inside, 20000u);  // the boundary points do fall on both sides
    EXPECT_LT(inside, 180000u);
}

TEST(RectContains, EdgesAreInsideInvertedOrNaNNothing) {
    const Rect r(1, 2, 3, 4);
    for (const Point& p : {Point(1, 2), Point(3, 2), Point(1, 4), Point(3, 4), Point(3, 3)}) {
        EXPECT_TRUE(r.Contains(p)) << p.Print();
    }
    for (const Point& p : {Point(std::nextafter(1.0f, 0.0f), 3),
                           Point(2, std::nextafter(4.0f, 9.0f)), Point(kNaN, 3), Point(2, kNaN)}) {
        EXPECT_FALSE(r.Contains(p)) << p.Print();
    }
    EXPECT_FALSE(Rect(3, 2, 1, 4).Contains(Point(2, 3)));
    EXPECT_FALSE(Rect(1, 4, 3, 2).Contains(Point(2, 3)));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
