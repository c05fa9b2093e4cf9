// Grid sampling of two shapes over a rectangle; see sampling.h.
#include "geometry/sampling.h"

#include <android-base/properties.h>
#include <android/log.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
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
// the step, so the last column and row land where the additions end. The x coordinates are
// the same in every row.
struct Grid {
    float left;
    float top;
    float step_x;
    float step_y;
    unsigned nx;
    unsigned ny;
};

// Points per block: the x and y coordinates and two flag arrays stay on the stack (20 KiB).
constexpr size_t kBlockPoints = 2048;

struct BlockCounts {
    uint64_t in_s1 = 0;
    uint64_t in_s2 = 0;
    uint64_t in_both = 0;
};

// Sums 0/1 flags eight at a time: each byte of the accumulator counts one lane, and is folded
// into the total before it can pass 255.
void CountFlags(const uint8_t* f1, const uint8_t* f2, size_t n, BlockCounts* out) {
    size_t i = 0;
    while (n - i >= 8) {
        uint64_t acc1 = 0;
        uint64_t acc2 = 0;
        uint64_t both = 0;
        const size_t words = std::min<size_t>((n - i) / 8, 255);
        for (size_t w = 0; w < words; ++w, i += 8) {
            uint64_t a;
            uint64_t b;
            memcpy(&a, f1 + i, sizeof(a));
            memcpy(&b, f2 + i, sizeof(b));
            acc1 += a;
            acc2 += b;
            both += a & b;
        }
        auto fold = [](uint64_t acc) {
            acc = (acc & 0x00FF00FF00FF00FFull) + ((acc >> 8) & 0x00FF00FF00FF00FFull);
            return (acc * 0x0001000100010001ull) >> 48;
        };
        out->in_s1 += fold(acc1);
        out->in_s2 += fold(acc2);
        out->in_both += fold(both);
    }
    for (; i < n; ++i) {
        out->in_s1 += f1[i];
        out->in_s2 += f2[i];
        out->in_both += f1[i] & f2[i];
    }
}

// Counts the grid points in s1, in s2 and in both, asking each shape about a block of points
// at a time (IShape::ContainsGrid); a shape flagged as holding every point is not asked. Counts
// wrap modulo 2^32, as counting one by one in unsigned integers would.
void CountGridPoints(const Grid& grid, const IShape& s1, bool all_in_s1, const IShape& s2,
                     bool all_in_s2, Sampling* result) {
    float xs[kBlockPoints];
    float ys[kBlockPoints];
    uint8_t in1[kBlockPoints];
    uint8_t in2[kBlockPoints];
    BlockCounts total;
    // A shape that holds every point answers 1 for all of them.
    auto ask = [&](size_t cols, size_t rows) {
        const size_t n = cols * rows;
        if (all_in_s1) {
            memset(in1, 1, n);
        } else {
            s1.ContainsGrid(xs, cols, ys, rows, in1);
        }
        if (all_in_s2) {
            memset(in2, 1, n);
        } else {
            s2.ContainsGrid(xs, cols, ys, rows, in2);
        }
        CountFlags(in1, in2, n, &total);
    };

    float py = grid.top;
    if (grid.nx <= kBlockPoints) {
        // Short rows: the x coordinates are the same in every row, so whole rows go in blocks.
        float px = grid.left;
        for (unsigned col = 0; col < grid.nx; ++col, px += grid.step_x) xs[col] = px;
        const size_t rows_per_block = kBlockPoints / grid.nx;
        for (unsigned row = 0; row < grid.ny;) {
            const size_t rows = std::min<size_t>(rows_per_block, grid.ny - row);
            for (size_t r = 0; r < rows; ++r, py += grid.step_y) ys[r] = py;
            ask(grid.nx, rows);
            row += static_cast<unsigned>(rows);
        }
    } else {
        // Long rows go a piece at a time, the x coordinates accumulated afresh in every row.
        for (unsigned row = 0; row < grid.ny; ++row, py += grid.step_y) {
            ys[0] = py;
            float px = grid.left;
            for (unsigned col = 0; col < grid.nx;) {
                const size_t cols = std::min<size_t>(kBlockPoints, grid.nx - col);
                for (size_t c = 0; c < cols; ++c, px += grid.step_x) xs[c] = px;
                ask(cols, 1);
                col += static_cast<unsigned>(cols);
            }
        }
    }
    result->in_s1 = static_cast<unsigned>(total.in_s1);
    result->in_s2 = static_cast<unsigned>(total.in_s2);
    result->in_both = static_cast<unsigned>(total.in_both);
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
    // Shapes known to hold every point count them all at once (modulo 2^32, as counting one
    // by one would); otherwise the grid is walked.
    if (all_in_s1 && all_in_s2) {
        in_s1 = in_s2 = in_both = scan.nx * scan.ny;
    } else {
        CountGridPoints(grid, s1, all_in_s1, s2, all_in_s2, &result);
    }
    return result;
}

}  // namespace fp_utils
}  // namespace android
