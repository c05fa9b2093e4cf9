// The sampling grid of a rectangle, shared by the coverage estimation and fputil.
//
// The grid has nx columns and ny rows. Each count comes from its property when that is set
// to a number up to 4294967295, and otherwise is the rectangle's extent plus one, truncated
// (so one point per unit, both edges included); a negative or NaN extent gives 0. The
// properties are read on every call, so a device can be retuned at run time.
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

// Reads x first, then y.
ScanGrid ReadScanGrid(const Rect& rect);

}  // namespace fp_utils
}  // namespace android
