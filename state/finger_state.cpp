#include <utils/SystemClock.h>

#include "fp_utils/fp_state_tracker.h"
#include "fp_utils/fps_touch_handler.h"

namespace android {
namespace fp_utils {

void FingerState::Set(bool finger_down, long event_time, const Ellipse& ellipse, bool lptw) {
    std::lock_guard<std::mutex> lock(mutex_);
    const bool previous = finger_down_;
    finger_down_ = finger_down;

    if (finger_down && !previous) {
        lptw_requested_ = lptw;
        const int64_t now = android::uptimeMillis();
        down_event_time_ = event_time;
        down_uptime_ms_ = now;
        up_uptime_ms_ = 0;
        down_latency_ms_ = event_time > 0 ? static_cast<uint32_t>(now - event_time) : 0;
        if (lptw_requested_) {
            // The touch handler is called under this record's lock; it takes only its own.
            FpsTouchHandler::GetInstance()->EnableLptwEventReport(true);
            lptw_enabled_ = true;
        }
    } else if (!finger_down && previous) {
        up_uptime_ms_ = android::uptimeMillis();
        if (lptw_enabled_) {
            FpsTouchHandler::GetInstance()->EnableLptwEventReport(false);
            lptw_enabled_ = false;
        }
        FpsTouchHandler::GetInstance()->ResetLastTouchEvent();
    }

    if (finger_down) {
        ellipse_.center.x = ellipse.center.x;
        ellipse_.center.y = ellipse.center.y;
        ellipse_.major = ellipse.major;
        ellipse_.minor = ellipse.minor;
        ellipse_.orientation = ellipse.orientation;
    } else {
        ellipse_.center.x = 0;
        ellipse_.center.y = 0;
        ellipse_.major = 0;
        ellipse_.minor = 0;
        ellipse_.orientation = 0;
    }
}

bool FingerState::IsFingerDown() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return finger_down_;
}

int64_t FingerState::GetDownEventTime() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return down_event_time_;
}

uint32_t FingerState::GetDownLatencyMs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return down_latency_ms_;
}

int64_t FingerState::GetDownUptimeMs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return down_uptime_ms_;
}

int64_t FingerState::GetUpUptimeMs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return up_uptime_ms_;
}

Ellipse FingerState::GetEllipse() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ellipse_;
}

bool FingerState::IsLptwRequested() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lptw_requested_;
}

bool FingerState::IsLptwEnabled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lptw_enabled_;
}

}  // namespace fp_utils
}  // namespace android
