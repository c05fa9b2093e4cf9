// Shapes: their texts and their containment tests at the edges.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <string>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"

namespace android {
namespace fp_utils {
namespace {

constexpr float kPi = 3.14159265358979f;
constexpr float kNaN = NAN;

TEST(ShapesPrint, TwoDecimalsPerField) {
    EXPECT_EQ(Point(1.5f, -2.25f).Print(), "Point(1.50, -2.25)");
    EXPECT_EQ(Circle(10, 20.125f, 3).Print(), "Circle(x:10.00, y:20.12, r:3.00)");
    EXPECT_EQ(Ellipse(1, 2, 30, 20, 0.5f).Print(),
              "Ellipse(x:1.00, y:2.00, M:30.00, m:20.00, o:0.50)");
    EXPECT_EQ(Rect(1, 2, 3, 4).Print(), "Rect(1.00, 2.00 - 3.00, 4.00)");
    EXPECT_EQ(Point(kNaN, -INFINITY).Print(), "Point(nan, -inf)");
}

TEST(ShapesPrint, LongTextIsCutAt127Characters) {
    const std::string big = "340282346638528859811704183484516925440.00";  // FLT_MAX
    const std::string full =
        "Ellipse(x:" + big + ", y:" + big + ", M:" + big + ", m:" + big + ", o:" + big + ")";
    EXPECT_EQ(Ellipse(FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX).Print(), full.substr(0, 127));
    const std::string rect = Rect(FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX).Print();
    EXPECT_EQ(rect, ("Rect(" + big + ", " + big + " - " + big + ", " + big + ")").substr(0, 127));
}

TEST(CircleContains, RimIsInsideAndJustBeyondIsNot) {
    const Circle c(10, 20, 5);
    EXPECT_TRUE(c.Contains(Point(10, 20)));
    EXPECT_TRUE(c.Contains(Point(13, 24)));  // 3-4-5: exactly on the rim
    EXPECT_TRUE(c.Contains(Point(5, 20)));
    EXPECT_FALSE(c.Contains(Point(13, 24.001f)));
    EXPECT_FALSE(c.Contains(Point(15.001f, 20)));
    EXPECT_TRUE(Circle(0, 0, 0).Contains(Point(0, 0)));
    EXPECT_FALSE(Circle(0, 0, -1).Contains(Point(0, 0)));
}

// The distance is rounded by the square root before the comparison: this point's squared
// distance is one step above 1, yet its distance rounds to exactly 1, so it is on the rim.
TEST(CircleContains, ComparesTheRootedDistance) {
    EXPECT_TRUE(Circle(0, 0, 1).Contains(Point(1, 0.0003f)));
}

TEST(CircleContains, NaNIsNeverInside) {
    EXPECT_FALSE(Circle(0, 0, 5).Contains(Point(kNaN, 0)));
    EXPECT_FALSE(Circle(0, 0, 5).Contains(Point(0, kNaN)));
    EXPECT_FALSE(Circle(kNaN, 0, 5).Contains(Point(0, 0)));
    EXPECT_FALSE(Circle(0, 0, kNaN).Contains(Point(0, 0)));
    EXPECT_FALSE(Circle(INFINITY, 0, 5).Contains(Point(INFINITY, 0)));  // inf - inf
}

TEST(EllipseContains, VerticalMajorAxisAtZeroOrientation) {
    const Ellipse e(0, 0, 20, 10, 0);
    EXPECT_TRUE(e.Contains(Point(0, -10)));
    EXPECT_TRUE(e.Contains(Point(0, 10)));
    EXPECT_TRUE(e.Contains(Point(5, 0)));
    EXPECT_TRUE(e.Contains(Point(-5, 0)));
    EXPECT_FALSE(e.Contains(Point(0, 10.5f)));
    EXPECT_FALSE(e.Contains(Point(5.5f, 0)));
}

TEST(EllipseContains, QuarterTurnLaysTheMajorAxisAlongX) {
    const Ellipse e(0, 0, 20, 10, kPi / 2);
    EXPECT_TRUE(e.Contains(Point(10, 0)));
    EXPECT_TRUE(e.Contains(Point(-9.99f, 0)));
    EXPECT_FALSE(e.Contains(Point(0, -10)));
    EXPECT_TRUE(e.Contains(Point(0, 4.99f)));
}

// A positive angle turns the major axis from "up" (-y) towards +x: its end lies along
// (sin o, -cos o) from the centre. Mirrored conventions put that point outside.
TEST(EllipseContains, PositiveAngleTurnsTheMajorAxisTowardsPlusX) {
    const float o = 0.6f;
    const Ellipse e(100, 200, 40, 8, o);
    const float s = std::sin(o);
    const float c = std::cos(o);
    EXPECT_TRUE(e.Contains(Point(100 + 19.5f * s, 200 - 19.5f * c)));
    EXPECT_TRUE(e.Contains(Point(100 - 19.5f * s, 200 + 19.5f * c)));
    EXPECT_FALSE(e.Contains(Point(100 + 19.5f * s, 200 + 19.5f * c)));
    EXPECT_FALSE(e.Contains(Point(100 - 19.5f * s, 200 - 19.5f * c)));
    EXPECT_TRUE(e.Contains(Point(100 + 3.9f * c, 200 + 3.9f * s)));
    EXPECT_FALSE(e.Contains(Point(100 + 4.1f * c, 200 + 4.1f * s)));
}

// Points within a rounding step of the boundary, where a sum formed in float would decide
// the other way.
TEST(EllipseContains, SumIsFormedInDouble) {
    const Ellipse e(0, 0, 20, 10, 0);
    EXPECT_TRUE(e.Contains(Point(1.18044484f, 9.71731472f)));
    EXPECT_FALSE(e.Contains(Point(1.51166296f, 9.53202534f)));
    EXPECT_FALSE(e.Contains(Point(4.23155451f, 5.32689333f)));
}

TEST(EllipseContains, ZeroAxisOrNaNContainsNothing) {
    EXPECT_FALSE(Ellipse(0, 0, 0, 10, 0).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 0, 0).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 0, 0).Contains(Point(0, 5)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 10, kNaN).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, kNaN, 10, 0).Contains(Point(0, 0)));
    EXPECT_FALSE(Ellipse(0, 0, 20, 10, 0).Contains(Point(kNaN, 0)));
}

// Fields assigned after construction take effect at once.
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
    EXPECT_FALSE(d.Contains(Point(0, 0)));
    d.major = 20;
    d.minor = 10;
    d.center = Point(50, 50);
    EXPECT_TRUE(d.Contains(Point(50, 40)));
    EXPECT_FALSE(d.Contains(Point(40, 50)));

    const Ellipse copy = e;
    EXPECT_TRUE(copy.Contains(Point(0, -15)));
    Ellipse assigned(1, 1, 1, 1, 1);
    assigned = d;
    EXPECT_TRUE(assigned.Contains(Point(50, 40)));
}

// Whatever the ellipse and however its fields came to be, Contains decides exactly as the
// plain per-call computation does.
TEST(EllipseContains, AgreesWithPlainComputation) {
    std::mt19937 gen(4);
    std::uniform_real_distribution<float> pos(-200, 200);
    std::uniform_real_distribution<float> len(0, 120);
    std::uniform_real_distribution<float> angle(-10, 10);
    const float specials[] = {0.0f, -0.0f, kNaN, INFINITY, -INFINITY, FLT_MIN, 1e-30f, 1e30f};
    unsigned inside = 0;
    for (int i = 0; i < 2000; ++i) {
        Ellipse e(pos(gen), pos(gen), len(gen), len(gen), angle(gen));
        if (i % 10 == 1) e.orientation = angle(gen);
        if (i % 10 == 2) e.major = len(gen);
        if (i % 10 == 3) e.minor = specials[i / 10 % 8];
        if (i % 10 == 4) e.orientation = specials[i / 10 % 8];
        for (int j = 0; j < 100; ++j) {
            // Half the points near the boundary, where rounding decides.
            Point p(pos(gen), pos(gen));
            if (j % 2 == 0) {
                const float t = angle(gen);
                const float k = 0.5f * (1 + (j % 7 - 3) * 1e-6f);
                p = Point(e.center.x + k * (e.major * std::sin(e.orientation) * std::cos(t) +
                                            e.minor * std::cos(e.orientation) * std::sin(t)),
                          e.center.y + k * (-e.major * std::cos(e.orientation) * std::cos(t) +
                                            e.minor * std::sin(e.orientation) * std::sin(t)));
            }
            const bool expected = testing::ReferenceEllipseContains(e, p);
            ASSERT_EQ(e.Contains(p), expected) << e.Print() << " " << p.Print();
            inside += expected;
        }
    }
    EXPECT_GT(inside, 20000u);  // the boundary points do fall on both sides
    EXPECT_LT(inside, 180000u);
}

TEST(RectContains, EdgesAndCornersAreInside) {
    const Rect r(1, 2, 3, 4);
    for (const Point& p : {Point(1, 2), Point(3, 2), Point(1, 4), Point(3, 4), Point(2, 2),
                           Point(1, 3), Point(3, 3), Point(2, 4), Point(2, 3)}) {
        EXPECT_TRUE(r.Contains(p)) << p.Print();
    }
    for (const Point& p :
         {Point(std::nextafter(1.0f, 0.0f), 3), Point(std::nextafter(3.0f, 9.0f), 3),
          Point(2, std::nextafter(2.0f, 0.0f)), Point(2, std::nextafter(4.0f, 9.0f))}) {
        EXPECT_FALSE(r.Contains(p)) << p.Print();
    }
    EXPECT_TRUE(Rect(5, 5, 5, 5).Contains(Point(5, 5)));
}

TEST(RectContains, InvertedOrNaNContainsNothing) {
    EXPECT_FALSE(Rect(3, 2, 1, 4).Contains(Point(2, 3)));
    EXPECT_FALSE(Rect(3, 2, 1, 4).Contains(Point(3, 3)));
    EXPECT_FALSE(Rect(1, 4, 3, 2).Contains(Point(2, 3)));
    EXPECT_FALSE(Rect(1, 2, 3, 4).Contains(Point(kNaN, 3)));
    EXPECT_FALSE(Rect(1, 2, 3, 4).Contains(Point(2, kNaN)));
    EXPECT_FALSE(Rect(kNaN, 2, 3, 4).Contains(Point(2, 3)));
    EXPECT_TRUE(Rect(-INFINITY, -INFINITY, INFINITY, INFINITY).Contains(Point(1e30f, -1e30f)));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
