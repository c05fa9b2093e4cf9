// Counting the points of a sampling grid that lie in two shapes, a block of points at a time.
//
// The grid has nx columns and ny rows. Its x coordinates start at `left` and grow by adding
// `step_x` once per column, the same for every row; its y coordinates start at `top` and grow
// by adding `step_y` once per row. Each shape is asked about a block of grid points at once
// (IShape::ContainsGrid), unless it is flagged as holding every point, when it is not asked at
// all. Counts wrap modulo 2^32, as counting one by one in unsigned integers would.
#pragma once

#include "fp_utils/geometry.h"

namespace android {
namespace fp_utils {

struct SamplingGrid {
    float left;
    float top;
    float step_x;
    float step_y;
    unsigned nx;
    unsigned ny;
};

struct GridCounts {
    unsigned in_s1 = 0;
    unsigned in_s2 = 0;
    unsigned in_both = 0;
};

GridCounts CountGridPoints(const SamplingGrid& grid, const IShape& s1, bool all_in_s1,
                           const IShape& s2, bool all_in_s2);

}  // namespace fp_utils
}  // namespace android
