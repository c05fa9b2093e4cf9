// Coverage by sampling: the grid over a rectangle, the points of it that fall in two shapes,
// and the share those counts give. The library's coverage estimation and fputil use the same
// result, so the tool shows exactly the figures the HAL would get.
//
// The grid has nx columns and ny rows. Each count comes from its property when that is set
// to a number up to 4294967295, and otherwise is the rectangle's extent plus one, truncated
// (so one point per unit, both edges included); a negative or NaN extent gives 0. The
// properties are read on every sampling, so a device can be retuned at run time.
#pragma once

#include "fp_utils/geometry.h"

namespace android {
namespace fp_utils {

constexpr char kXScanPointsProperty[] = "persist.vendor.udfps.geometry.rect.x_axis_scan_points";
constexpr char kYScanPointsProperty[] = "persist.vendor.udfps.geometry.rect.y_axis_scan_points";

struct ScanGrid {
    unsigned nx;
    unsigned ny;
};

// Reads the grid for `rect` from the properties: x first, then y.
ScanGrid ReadScanGrid(const Rect& rect);

// What sampling two shapes over a rectangle found.
struct Sampling {
    ScanGrid grid;  // as read for this sampling
    unsigned in_s1 = 0;
    unsigned in_s2 = 0;
    unsigned in_both = 0;

    // The share of s1's points that also lie in s2, in percent; NaN when none lies in s1.
    float Covered() const;
};

// Counts the grid points over `area` that fall in s1, in s2 and in both, as
// Rect::NumOfPointsIn does (with its log lines).
Sampling Sample(const Rect& area, const IShape& s1, const IShape& s2);

// The square a circle's coverage is sampled over.
Rect BoundingSquare(const Circle& circle);

}  // namespace fp_utils
}  // namespace android
