#include "tests/geometry/reference_geometry.h"

#include <android-base/properties.h>

#include <cmath>
#include <cstdint>

namespace android {
namespace fp_utils {
namespace testing {

bool ReferenceEllipseContains(const Ellipse& e, const Point& p) {
    float s;
    float c;
    sincosf(e.orientation, &s, &c);
    const float dx = p.x - e.center.x;
    const float dy = p.y - e.center.y;
    const float u = dx * s - dy * c;
    const float v = dx * c + dy * s;
    const float a = e.major * 0.5f;
    const float b = e.minor * 0.5f;
    const double q = std::pow(u, 2) / std::pow(a, 2) + std::pow(v, 2) / std::pow(b, 2);
    return static_cast<float>(q) <= 1.0;
}

namespace {

// Width plus one, truncated; nothing for a negative (or NaN) width.
unsigned DefaultCount(float low, float high) {
    const double n = high - low + 1.0;
    if (!(n > 0)) return 0;
    if (n >= 4294967296.0) return UINT32_MAX;
    return static_cast<unsigned>(n);
}

}  // namespace

void ReferenceNumOfPointsIn(const Rect& rect, const IShape& s1, const IShape& s2, unsigned& in_s1,
                            unsigned& in_s2, unsigned& in_both) {
    in_s1 = 0;
    in_s2 = 0;
    in_both = 0;
    const float left = rect.left_top.x;
    const float top = rect.left_top.y;
    const float right = rect.right_bottom.x;
    const float bottom = rect.right_bottom.y;
    const unsigned nx = android::base::GetUintProperty<unsigned>(
        "persist.vendor.udfps.geometry.rect.x_axis_scan_points", DefaultCount(left, right),
        UINT32_MAX);
    const unsigned ny = android::base::GetUintProperty<unsigned>(
        "persist.vendor.udfps.geometry.rect.y_axis_scan_points", DefaultCount(top, bottom),
        UINT32_MAX);
    const Point corners[] = {Point(left, top), Point(left, bottom), Point(right, top),
                             Point(right, bottom)};
    bool all_in_s1 = true;
    for (const Point& p : corners) all_in_s1 = all_in_s1 && s1.Contains(p);
    bool all_in_s2 = true;
    for (const Point& p : corners) all_in_s2 = all_in_s2 && s2.Contains(p);
    if (ny == 0) return;
    const float step_x = (right - left) / static_cast<float>(nx - 1);
    const float step_y = (bottom - top) / static_cast<float>(ny - 1);
    float py = top;
    for (unsigned row = 0; row < ny; ++row) {
        float px = left;
        for (unsigned col = 0; col < nx; ++col) {
            const bool in1 = all_in_s1 || s1.Contains(Point(px, py));
            const bool in2 = all_in_s2 || s2.Contains(Point(px, py));
            if (in1) ++in_s1;
            if (in2) ++in_s2;
            if (in1 && in2) ++in_both;
            px += step_x;
        }
        py += step_y;
    }
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
