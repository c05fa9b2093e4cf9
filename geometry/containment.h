// The exact steps of the containment tests that both the one-point tests (Contains) and the
// many-point tests (ContainsGrid) take, so that both give the same answer for every point.
#pragma once

#include <cmath>

namespace android {
namespace fp_utils {

// An ellipse holds the point whose coordinates along its axes are u and v (floats) when
// u^2/a^2 + v^2/b^2, formed in double and rounded to float, is at most 1.
inline bool EllipseSumInside(float u, float v, double a2, double b2) {
    const double uu = static_cast<double>(u) * static_cast<double>(u);
    const double vv = static_cast<double>(v) * static_cast<double>(v);
    return static_cast<float>(uu / a2 + vv / b2) <= 1.0f;
}

// The largest float s with sqrtf(s) <= r: a circle holds the points whose squared distance
// dx*dx + dy*dy (in float) is at most this, exactly when it holds them by the square root of
// that distance, since the correctly rounded square root never decreases. -1 (nothing
// inside) for a negative or NaN radius.
float CircleSquaredDistanceLimit(float r);

// A cheap estimate of the ellipse's normalised sum: u*u/a^2 + v*v/b^2 in float, with the
// reciprocals rounded to float. With semi-axes between 1e-15 and 1e15 every step stays a
// normal float or overflows only where the exact sum is far above 1, and the estimate is
// within a relative 1e-6 of the exact sum; the point is then surely inside below
// kSurelyInside and surely outside above kSurelyOutside. Between the two, or for NaN, only the
// exact test decides.
struct EllipseEstimate {
    static constexpr float kSurelyInside = 1.0f - 1e-5f;
    static constexpr float kSurelyOutside = 1.0f + 1e-5f;

    EllipseEstimate(double a2, double b2)
        : usable(a2 >= 1e-30 && a2 <= 1e30 && b2 >= 1e-30 && b2 <= 1e30),
          inverse_a2(usable ? static_cast<float>(1.0 / a2) : 0),
          inverse_b2(usable ? static_cast<float>(1.0 / b2) : 0) {}

    bool usable;
    float inverse_a2;
    float inverse_b2;
};

}  // namespace fp_utils
}  // namespace android
