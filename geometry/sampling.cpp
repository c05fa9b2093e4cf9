// Grid sampling of two shapes over a rectangle; see sampling.h.
#include "geometry/sampling.h"

#include <android-base/properties.h>
#include <android/log.h>

#include <cstdint>
#include <limits>

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "Geometry";

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

// The grid is walked row by row from (left, top); coordinates grow by repeated addition of
// the step, so the last column and row land where the additions end.
struct Grid {
    float left;
    float top;
    float step_x;
    float step_y;
    unsigned nx;
    unsigned ny;
};

unsigned CountIn(const IShape& s, const Grid& g) {
    unsigned n = 0;
    Point p(g.left, g.top);
    for (unsigned row = 0; row < g.ny; ++row) {
        p.x = g.left;
        for (unsigned col = 0; col < g.nx; ++col) {
            n += s.Contains(p) ? 1 : 0;
            p.x += g.step_x;
        }
        p.y += g.step_y;
    }
    return n;
}

void CountInEach(const IShape& s1, const IShape& s2, const Grid& g, unsigned& in_s1,
                 unsigned& in_s2, unsigned& in_both) {
    Point p(g.left, g.top);
    for (unsigned row = 0; row < g.ny; ++row) {
        p.x = g.left;
        for (unsigned col = 0; col < g.nx; ++col) {
            const bool in1 = s1.Contains(p);
            const bool in2 = s2.Contains(p);
            in_s1 += in1 ? 1 : 0;
            in_s2 += in2 ? 1 : 0;
            in_both += (in1 && in2) ? 1 : 0;
            p.x += g.step_x;
        }
        p.y += g.step_y;
    }
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

float Sampling::Covered() const {
    if (in_s1 == 0) return std::numeric_limits<float>::quiet_NaN();
    return static_cast<float>(in_both) / static_cast<float>(in_s1) * 100.0f;
}

Rect BoundingSquare(const Circle& circle) {
    const Point& c = circle.center;
    return Rect(c.x - circle.r, c.y - circle.r, c.x + circle.r, c.y + circle.r);
}

// A shape whose four corners lie inside is taken to hold every grid point (true of convex
// shapes) and is not asked again. Otherwise every grid point is asked of it, whatever the
// other shape answered. A grid with no columns or rows is reported and counts nothing.
Sampling Sample(const Rect& area, const IShape& s1, const IShape& s2) {
    Sampling result;
    unsigned& in_s1 = result.in_s1;
    unsigned& in_s2 = result.in_s2;
    unsigned& in_both = result.in_both;
    const float left = area.left_top.x;
    const float top = area.left_top.y;
    const float right = area.right_bottom.x;
    const float bottom = area.right_bottom.y;
    result.grid = ReadScanGrid(area);
    const ScanGrid& scan = result.grid;
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
    if (scan.nx == 0 || scan.ny == 0) return result;

    Grid grid;
    grid.left = left;
    grid.top = top;
    grid.step_x = (right - left) / static_cast<float>(scan.nx - 1);
    grid.step_y = (bottom - top) / static_cast<float>(scan.ny - 1);
    grid.nx = scan.nx;
    grid.ny = scan.ny;
    // A shape known to hold every point counts them all at once (modulo 2^32, as counting
    // one by one would); only the other shape is walked, if any.
    const unsigned all = scan.nx * scan.ny;
    if (all_in_s1 && all_in_s2) {
        in_s1 = all;
        in_s2 = all;
        in_both = all;
    } else if (all_in_s1) {
        in_s1 = all;
        in_s2 = CountIn(s2, grid);
        in_both = in_s2;
    } else if (all_in_s2) {
        in_s2 = all;
        in_s1 = CountIn(s1, grid);
        in_both = in_s1;
    } else {
        CountInEach(s1, s2, grid, in_s1, in_s2, in_both);
    }
    return result;
}

}  // namespace fp_utils
}  // namespace android
