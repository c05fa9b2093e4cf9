// Helpers for tests that run FpsTouchHandler's worker on the touch device stand-in.
#pragma once

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "host/touch_device.h"

namespace android {
namespace fp_utils {
namespace testing {

constexpr std::chrono::seconds kWait(10);

// Looks every millisecond until `done` holds; false after kWait. Never decides an ordering.
inline bool WaitUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// The requests made on the touch device since the last clear, oldest first.
inline std::vector<unsigned long> TouchRequests() {
    std::vector<unsigned long> out;
    for (const host::TouchIoctl& call : host::TouchIoctls()) out.push_back(call.request);
    return out;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
