// How much of one shape another covers: in closed form for two circles, otherwise by counting
// the points of a regular grid over a rectangle that fall in each shape (geometry/sampling.h).
#include <cmath>

#include "fp_utils/geometry.h"
#include "geometry/sampling.h"

namespace android {
namespace fp_utils {
namespace {

constexpr double kPi = 3.141592653589793;

float CircleArea(float r) {
    return static_cast<float>(static_cast<double>(r) * static_cast<double>(r) * kPi);
}

}  // namespace

void Rect::NumOfPointsIn(const IShape& s1, const IShape& s2, unsigned& in_s1, unsigned& in_s2,
                         unsigned& in_both) const {
    const Sampling sampling = Sample(*this, s1, s2);
    in_s1 = sampling.in_s1;
    in_s2 = sampling.in_s2;
    in_both = sampling.in_both;
}

float Rect::CoverageCoveredBy(const IShape& other) const {
    return Sample(*this, *this, other).Covered();
}

// Sampled over the circle's bounding square.
float Circle::CoverageCoveredBy(const IShape& other) const {
    return Sample(BoundingSquare(*this), *this, other).Covered();
}

// The overlap is 0 apart, the smaller circle's area when one holds the other, and the lens
// area otherwise; it is always divided by this circle's area.
float Circle::CoverageCoveredBy(const Circle& other) const {
    const float dx = other.center.x - center.x;
    const float dy = other.center.y - center.y;
    const float d = sqrtf(dx * dx + dy * dy);
    float big;
    float small;
    if (other.r < r) {
        big = r;
        small = other.r;
    } else {
        big = other.r;
        small = r;
    }
    float area;
    if (d > r + other.r) {
        area = 0;
    } else if (d <= big - small) {
        area = CircleArea(small);
    } else {
        const float a1 = acosf((small * small + d * d - big * big) / (small * 2 * d));
        const float a2 = acosf((big * big + d * d - small * small) / (big * 2 * d));
        const float k =
            (big + d - small) * ((big + small - d) * (small + d - big)) * (big + small + d);
        area = (small * small * a1 + big * big * a2) + (-0.5f * sqrtf(k));
    }
    return area / CircleArea(r) * 100.0f;
}

}  // namespace fp_utils
}  // namespace android
