// How much of one shape another covers: in closed form for two circles, otherwise by counting
// the points of a regular grid over a rectangle that fall in each shape.
#include <android-base/properties.h>
#include <android/log.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "fp_utils/geometry.h"
#include "geometry/grid_walk.h"
#include "geometry/scan_grid.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "Geometry";
constexpr double kPi = 3.141592653589793;

float CircleArea(float r) {
    return static_cast<float>(static_cast<double>(r) * static_cast<double>(r) * kPi);
}

// The extent plus one, truncated toward zero. Out-of-range values are clamped rather than
// converted (which would be undefined): nothing below zero, at most 4294967295.
unsigned DefaultScanPoints(float low, float high) {
    const double n = high - low + 1.0;
    if (!(n > 0)) return 0;
    if (n >= 4294967296.0) return std::numeric_limits<uint32_t>::max();
    return static_cast<unsigned>(n);
}

bool CornersInside(const IShape& s, float left, float top, float right, float bottom) {
    return s.Contains(Point(left, top)) && s.Contains(Point(left, bottom)) &&
           s.Contains(Point(right, top)) && s.Contains(Point(right, bottom));
}

float Share(unsigned part, unsigned whole) {
    if (whole == 0) return std::numeric_limits<float>::quiet_NaN();
    return static_cast<float>(part) / static_cast<float>(whole) * 100.0f;
}

}  // namespace

ScanGrid ReadScanGrid(const Rect& rect) {
    ScanGrid grid;
    grid.nx = android::base::GetUintProperty<unsigned>(
        kXScanPointsProperty, DefaultScanPoints(rect.left_top.x, rect.right_bottom.x),
        std::numeric_limits<uint32_t>::max());
    grid.ny = android::base::GetUintProperty<unsigned>(
        kYScanPointsProperty, DefaultScanPoints(rect.left_top.y, rect.right_bottom.y),
        std::numeric_limits<uint32_t>::max());
    return grid;
}

// A shape whose four corners lie inside is taken to hold every grid point (true of convex
// shapes) and is not asked again. Otherwise every grid point is asked of it, whatever the
// other shape answered. A grid with no columns or rows is reported and counts nothing.
void Rect::NumOfPointsIn(const IShape& s1, const IShape& s2, unsigned& in_s1, unsigned& in_s2,
                         unsigned& in_both) const {
    in_s1 = 0;
    in_s2 = 0;
    in_both = 0;
    const float left = left_top.x;
    const float top = left_top.y;
    const float right = right_bottom.x;
    const float bottom = right_bottom.y;
    const ScanGrid scan = ReadScanGrid(*this);
    if (scan.nx == 0 || scan.ny == 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] Invalid scan points(%u, %u)",
                            "NumOfPointsIn", scan.nx, scan.ny);
    }
    const bool all_in_s1 = CornersInside(s1, left, top, right, bottom);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "[%s] all_points_in_s1:%d", "NumOfPointsIn",
                        all_in_s1 ? 1 : 0);
    const bool all_in_s2 = CornersInside(s2, left, top, right, bottom);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "[%s] all_points_in_s2:%d", "NumOfPointsIn",
                        all_in_s2 ? 1 : 0);
    if (scan.nx == 0 || scan.ny == 0) return;

    SamplingGrid grid;
    grid.left = left;
    grid.top = top;
    grid.step_x = (right - left) / static_cast<float>(scan.nx - 1);
    grid.step_y = (bottom - top) / static_cast<float>(scan.ny - 1);
    grid.nx = scan.nx;
    grid.ny = scan.ny;
    // A shape known to hold every point counts them all at once (modulo 2^32, as counting
    // one by one would); otherwise the grid is walked a block of points at a time.
    if (all_in_s1 && all_in_s2) {
        in_s1 = in_s2 = in_both = scan.nx * scan.ny;
        return;
    }
    const GridCounts counts = CountGridPoints(grid, s1, all_in_s1, s2, all_in_s2);
    in_s1 = counts.in_s1;
    in_s2 = counts.in_s2;
    in_both = counts.in_both;
}

float Rect::CoverageCoveredBy(const IShape& other) const {
    unsigned in_s1;
    unsigned in_s2;
    unsigned in_both;
    NumOfPointsIn(*this, other, in_s1, in_s2, in_both);
    return Share(in_both, in_s1);
}

// Sampled over the circle's bounding square.
float Circle::CoverageCoveredBy(const IShape& other) const {
    const Rect square(center.x - r, center.y - r, center.x + r, center.y + r);
    unsigned in_s1;
    unsigned in_s2;
    unsigned in_both;
    square.NumOfPointsIn(*this, other, in_s1, in_s2, in_both);
    return Share(in_both, in_s1);
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
