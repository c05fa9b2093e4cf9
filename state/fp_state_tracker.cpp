#include "fp_utils/fp_state_tracker.h"

#include <android/log.h>
#include <utils/SystemClock.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpStateTracker";

int64_t SteadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

FpStateTracker& FpStateTracker::GetInstance() {
    static FpStateTracker instance;
    return instance;
}

fp_state_t FpStateTracker::GetState() {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_;
}

void FpStateTracker::UpdateState(fp_state_t state) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        state_ = state;
        __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: state_:0x%x", "UpdateState",
                            static_cast<unsigned>(state));
    }
    cond_.notify_all();

    // Only the HAL's state thread writes the stamps, so they need no lock.
    if (state == FP_STATE_FINGER_DOWN_1 || state == FP_STATE_FINGER_DOWN_2) {
        gettimeofday(&finger_down_time_, nullptr);
        finger_down_steady_ = SteadyNowNs();
    } else if (state == FP_STATE_MARK) {
        mark_steady_ = SteadyNowNs();
    }
}

int FpStateTracker::WaitForState(fp_state_t state, unsigned int timeout_ms) {
    const int64_t start = android::elapsedRealtime();
    std::unique_lock<std::mutex> lock(mutex_);
    if (state_ == state) {
        __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: state is already 0x%x", "WaitForState",
                            static_cast<unsigned>(state));
        return 0;
    }
    for (;;) {
        const int64_t elapsed = android::elapsedRealtime() - start;
        if (static_cast<int64_t>(timeout_ms) <= elapsed) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: Timeout waiting for state change",
                                "WaitForState");
            return -ETIMEDOUT;
        }
        const int64_t remaining = static_cast<int64_t>(timeout_ms) - elapsed;
        __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: waiting for state: 0x%x", "WaitForState",
                            static_cast<unsigned>(state));
        // The deadline is taken on the steady (monotonic) clock; a remaining time of at most
        // 2^32 ms cannot overflow it.
        cond_.wait_for(lock, std::chrono::milliseconds(remaining));
        __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: state is changed to 0x%x", "WaitForState",
                            static_cast<unsigned>(state_));
        if (state_ == state) return 0;
    }
}

int FpStateTracker::GetFingerDownTime(char* buf, size_t size) {
    struct tm local = {};  // all zero should the time not convert
    time_t seconds = finger_down_time_.tv_sec;
    localtime_r(&seconds, &local);
    return snprintf(buf, size, "%04d-%02d-%02d-%02d-%02d-%02d-%03ld", local.tm_year + 1900,
                    local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                    static_cast<long>(finger_down_time_.tv_usec / 1000));
}

}  // namespace fp_utils
}  // namespace android
