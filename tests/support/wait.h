// Bounded waits for tests that run real threads: a test looks until a condition holds, and
// fails after kWait instead of hanging. Never used to decide an ordering.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace android {
namespace fp_utils {
namespace testing {

constexpr std::chrono::seconds kWait(10);

// Looks every millisecond until `done` holds; false after kWait.
inline bool WaitUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
