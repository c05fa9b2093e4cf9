#include "tests/geometry/reference_geometry.h"

#include <android-base/properties.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace android {
namespace fp_utils {
namespace testing {

bool ReferenceEllipseContains(const Ellipse& e, const Point& p) {
    float s, c;
    sincosf(e.orientation, &s, &c);
    const float dx = p.x - e.center.x, dy = p.y - e.center.y;
    const float u = dx * s - dy * c, v = dx * c + dy * s;
    const float a = e.major * 0.5f, b = e.minor * 0.5f;
    const double q = std::pow(u, 2) / std::pow(a, 2) + std::pow(v, 2) / std::pow(b, 2);
    return static_cast<float>(q) <= 1.0;
}

// The property, else the extent plus one, truncated; nothing for a negative (or NaN) extent.
static unsigned ScanPoints(const char* axis, float low, float high) {
    const double n = high - low + 1.0;
    const unsigned fallback = n > 0 ? static_cast<unsigned>(std::min(n, 4294967295.0)) : 0;
    return android::base::GetUintProperty<unsigned>(
        std::string("persist.vendor.udfps.geometry.rect.") + axis + "_axis_scan_points", fallback,
        UINT32_MAX);
}

void ReferenceNumOfPointsIn(const Rect& rect, const IShape& s1, const IShape& s2, unsigned& in_s1,
                            unsigned& in_s2, unsigned& in_both) {
    in_s1 = in_s2 = in_both = 0;
    const float left = rect.left_top.x, top = rect.left_top.y;
    const float right = rect.right_bottom.x, bottom = rect.right_bottom.y;
    const unsigned nx = ScanPoints("x", left, right), ny = ScanPoints("y", top, bottom);
    const Point corners[] = {{left, top}, {left, bottom}, {right, top}, {right, bottom}};
    bool all_in_s1 = true, all_in_s2 = true;
    for (const Point& p : corners) all_in_s1 = all_in_s1 && s1.Contains(p);
    for (const Point& p : corners) all_in_s2 = all_in_s2 && s2.Contains(p);
    if (ny == 0) return;
    const float step_x = (right - left) / static_cast<float>(nx - 1);
    const float step_y = (bottom - top) / static_cast<float>(ny - 1);
    float py = top;
    for (unsigned row = 0; row < ny; ++row, py += step_y) {
        float px = left;
        for (unsigned col = 0; col < nx; ++col, px += step_x) {
            const bool in1 = all_in_s1 || s1.Contains(Point(px, py));
            const bool in2 = all_in_s2 || s2.Contains(Point(px, py));
            in_s1 += in1;
            in_s2 += in2;
            in_both += in1 && in2;
        }
    }
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
