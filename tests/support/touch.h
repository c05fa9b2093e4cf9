// Helpers for tests that run FpsTouchHandler's worker on the touch device stand-in (the
// touch handler's and the state tracker's).
#pragma once

#include <vector>

#include "host/touch_device.h"

namespace android {
namespace fp_utils {
namespace testing {

// The requests made on the touch device since the last clear, oldest first.
inline std::vector<unsigned long> TouchRequests() {
    std::vector<unsigned long> out;
    for (const host::TouchIoctl& call : host::TouchIoctls()) out.push_back(call.request);
    return out;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
