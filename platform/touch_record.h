// The driver's raw touch record and its conversion into a TouchEvent in panel units.
//
// A record slot is 88 bytes, little-endian: timestamp u64 at 0; five groups of four u16
// coordinates at 8; point x and y (i32) at 48 and 52; orientation (i32, 4096 = a quarter
// turn) at 56; touch id u32 at 60; touch state u32 at 64; touch value at 68; the valid byte
// (bit 0) at 72; eight bytes of extra data at 73; flags a and b at 81 and 82; padding to 88.
// Coordinates and points are divided by the scaling factor, except for records whose touch
// id is 0xFFFFFFFF, which are already in panel units.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fp_utils/fps_touch_handler.h"

namespace android {
namespace fp_utils {

constexpr size_t kRawTouchValidOffset = 72;

// How a record's coordinates are brought to panel units for one scaling factor. A factor
// that is a power of two as a float (1 included) is applied by multiplying with its exact
// reciprocal, which gives the quotient bit for bit; any other factor (0 included) divides.
class TouchScaling {
  public:
    explicit TouchScaling(uint32_t scaling_factor);

    float divisor() const { return divisor_; }
    bool exact_reciprocal() const { return exact_reciprocal_; }
    float reciprocal() const { return reciprocal_; }

  private:
    float divisor_;
    bool exact_reciprocal_;
    float reciprocal_;
};

// Converts the valid record at `raw` into `event`, which is cleared first.
void ConvertRawTouchRecord(const uint8_t* raw, const TouchScaling& scaling, TouchEvent* event);

}  // namespace fp_utils
}  // namespace android
