// The conversion of one raw touch record written plainly from the record's layout: every
// coordinate divided by the divisor, whatever it is. The library's conversion must give the
// same bytes.
#pragma once

#include <cstdint>

#include "fp_utils/fps_touch_handler.h"

namespace android {
namespace fp_utils {
namespace testing {

void ReferenceConvertRawTouchRecord(const uint8_t* raw, uint32_t scaling_factor, TouchEvent* e);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
