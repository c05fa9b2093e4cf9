// Shapes: their texts and their containment tests at the edges.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"

namespace android {
namespace fp_utils {
namespace {

constexpr float kPi = 3.14159265358979f;
constexpr float kNaN = NAN;

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
// rectangle hold nothing.
TEST(Shapes, ContainsAtTheEdges) {
    const Circle c(10, 20, 5), unit(0, 0, 1), negative(0, 0, -1), nan_r(10, 20, kNaN);
    const Ellipse upright(0, 0, 20, 10, 0), lying(0, 0, 20, 10, kPi / 2);
    const Ellipse tilted(100, 200, 40, 8, 0.6f), no_major(0, 0, 0, 10, 0);
    const Ellipse no_minor(0, 0, 20, 0, 0), nan_o(0, 0, 20, 10, kNaN);
    const Rect r(1, 2, 3, 4), inverted_x(3, 2, 1, 4), inverted_y(1, 4, 3, 2);
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
        // in float decides the other way.
        {upright,
         {{0, -10}, {5, 0}, {1.18044484f, 9.71731472f}},
         {{0, 10.5f}, {5.5f, 0}, {kNaN, 0}, {1.51166296f, 9.53202534f}}},
        {lying, {{10, 0}}, {{0, -10}}},
        // The major axis's end lies along (sin o, -cos o); mirrored conventions miss it.
        {tilted, {{100 + s, 200 - k}}, {{100 + s, 200 + k}, {100 - s, 200 - k}}},
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
    const IShape* empties[] = {&negative, &nan_r, &far,        &no_major,
                               &no_minor, &nan_o, &inverted_x, &inverted_y};
    for (const IShape* empty : empties) {
        for (const Point& p :
             {Point(0, 0), Point(0, 5), Point(2, 3), Point(10, 20), Point(INFINITY, 0)})
            EXPECT_FALSE(empty->Contains(p)) << empty->Print() << p.Print();
    }
}

// Whatever the ellipse and however its fields came to be (some assigned after construction),
// Contains decides exactly as the plain per-call computation does: on the boundary, a hair
// off it, and anywhere.
TEST(Shapes, EllipseAgreesWithPlainComputation) {
    std::mt19937 gen(4);
    std::uniform_real_distribution<float> pos(-200, 200), len(0, 120), angle(-10, 10);
    const float odd_values[] = {0.0f, -0.0f, kNaN, INFINITY, FLT_MIN, 1e30f};
    unsigned inside = 0;
    for (int i = 0; i < 2000; ++i) {
        Ellipse e(pos(gen), pos(gen), len(gen), len(gen), angle(gen));
        if (i % 8 == 1) e.orientation = angle(gen);
        if (i % 8 == 2) e.major = len(gen);
        if (i % 8 == 3) e.minor = odd_values[i / 8 % 6];
        if (i % 8 == 4) e.orientation = odd_values[i / 8 % 6];
        const float s = std::sin(e.orientation), c = std::cos(e.orientation);
        for (int j = 0; j < 100; ++j) {
            const float t = angle(gen), k = 0.5f * (1 + (j % 7 - 3) * 1e-6f);
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

}  // namespace
}  // namespace fp_utils
}  // namespace android
