#include "geometry/grid_walk.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace android {
namespace fp_utils {
namespace {

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

}  // namespace

GridCounts CountGridPoints(const SamplingGrid& grid, const IShape& s1, bool all_in_s1,
                           const IShape& s2, bool all_in_s2) {
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
    GridCounts counts;
    counts.in_s1 = static_cast<unsigned>(total.in_s1);
    counts.in_s2 = static_cast<unsigned>(total.in_s2);
    counts.in_both = static_cast<unsigned>(total.in_both);
    return counts;
}

}  // namespace fp_utils
}  // namespace android
