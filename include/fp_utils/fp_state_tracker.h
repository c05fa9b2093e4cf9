// The HAL's state as seen from outside, and the finger's down/up record.
//
// FpStateTracker holds the HAL's current state code for the whole process: one thread
// publishes changes with UpdateState, others may block in WaitForState until a wanted state is
// current or a time-out passes (the wait looks at the current state only, so a state entered
// and left between two looks is missed). Entering a finger-down state stamps the time, which
// GetFingerDownTime prints. The stamps are written by the updating thread without a lock: read
// them from that thread, or after it has been joined.
//
// FingerState records whether a finger is on the sensor, when it arrived and left, and its
// contact ellipse; at the finger's arrival it switches the touch handler's low-power
// touch-wake report on (when asked to), at its departure off again, and clears the handler's
// last touch event. Set and the accessors may be called from any thread.
#pragma once

#include <sys/time.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "fp_utils/export.h"
#include "fp_utils/geometry.h"

namespace android {
namespace fp_utils {

// HAL state codes. The HAL defines many; only these three have an effect here.
enum fp_state_t : uint32_t {
    FP_STATE_FINGER_DOWN_1 = 0x101,
    FP_STATE_FINGER_DOWN_2 = 0x201,
    FP_STATE_MARK = 0x205,
};

class FP_UTILS_EXPORT FpStateTracker {
  public:
    // The process's tracker; every field starts at 0.
    static FpStateTracker& GetInstance();

    // Publishes `state` and wakes every waiter; stamps the finger-down or mark time.
    void UpdateState(fp_state_t state);
    // 0 once `state` is current (at once when it is already), -ETIMEDOUT after `timeout_ms`
    // milliseconds otherwise. The deadline runs on the monotonic clock.
    int WaitForState(fp_state_t state, unsigned int timeout_ms);
    // The wall time of the last finger-down as "YYYY-MM-DD-hh-mm-ss-mmm" in local time; returns
    // what snprintf returns. Before any finger-down it is second 0 of 1970.
    int GetFingerDownTime(char* buf, size_t size);

    fp_state_t GetState();
    // Monotonic clock (nanoseconds) of the last finger-down and of the last mark state.
    int64_t GetFingerDownSteadyNs() const { return finger_down_steady_; }
    int64_t GetMarkSteadyNs() const { return mark_steady_; }

  private:
    FpStateTracker() = default;
    FpStateTracker(const FpStateTracker&) = delete;
    FpStateTracker& operator=(const FpStateTracker&) = delete;

    fp_state_t state_ = static_cast<fp_state_t>(0);
    std::mutex mutex_;
    std::condition_variable cond_;
    struct timeval finger_down_time_ = {};
    std::atomic<int64_t> finger_down_steady_{0};
    std::atomic<int64_t> mark_steady_{0};
};

class FP_UTILS_EXPORT FingerState {
  public:
    // `event_time` is the uptime (ms) of the finger-down event; not positive means unknown.
    // `lptw` asks for the touch handler's low-power touch-wake report while the finger is down.
    void Set(bool finger_down, long event_time, const Ellipse& ellipse, bool lptw);

    bool IsFingerDown() const;
    int64_t GetDownEventTime() const;
    // Uptime at the finger-down minus its event time; 0 when the event time was unknown.
    uint32_t GetDownLatencyMs() const;
    int64_t GetDownUptimeMs() const;
    // 0 while the finger is down.
    int64_t GetUpUptimeMs() const;
    // All zero while no finger is down.
    Ellipse GetEllipse() const;
    bool IsLptwRequested() const;
    // Whether this record switched the report on and has not switched it off yet.
    bool IsLptwEnabled() const;

  private:
    mutable std::mutex mutex_;
    bool finger_down_ = false;
    int64_t down_event_time_ = 0;
    uint32_t down_latency_ms_ = 0;
    int64_t down_uptime_ms_ = 0;
    int64_t up_uptime_ms_ = 0;
    Ellipse ellipse_{0, 0, 0, 0, 0};
    bool lptw_requested_ = false;
    bool lptw_enabled_ = false;
};

}  // namespace fp_utils
}  // namespace android
