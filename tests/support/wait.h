// Bounded waits for tests that run real threads.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace android {
namespace fp_utils {
namespace testing {

// The longest a test waits for another thread before it calls the wait a failure.
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

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
