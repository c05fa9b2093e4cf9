// Client of the fingerprint touch device ("fth") of the touch controller driver.
//
// The HAL installs a callback, configures the fingerprint area once the panel is known, and
// starts the worker thread, which waits on the device, reads batches of raw touch records and
// hands every valid one to the callback as a TouchEvent in panel units. Configure, Start, Stop
// and EnableLptwEventReport may be called from any HAL thread. The callback runs on the worker
// thread without the handler's lock held, so it may call EnableLptwEventReport; it must not
// call Stop, and it must copy what it keeps: the TouchEvent it is given is reused.
//
// The whole feature is switched by "persist.vendor.udfps.fps_touch_handler_supported" (read
// once per process). The device node comes from "persist.vendor.udfps.fth.touch_dev_path" and
// the factor between panel units and device resolution from
// "persist.vendor.udfps.fth.touch_resolution_scaling_factor" (read when the handler is made).
#pragma once

// <stdint.h> before the platform's StrongPointer.h, which uses uintptr_t without including it.
#include <stdint.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

// The fingerprint area in panel units, before scaling to the device's resolution.
struct FP_UTILS_EXPORT TouchConfig {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

// One touch record of the driver, converted to panel units; orientation in radians (+-pi/2
// at the extremes). touch_state is 0, 1 or 2, or 0xFFFFFFFF for anything else.
struct FP_UTILS_EXPORT TouchEvent {
    uint32_t touch_state;
    uint32_t touch_value;
    uint32_t touch_id;
    float coords_0[4];
    float coords_1[4];
    float coords_2[4];
    float coords_3[4];
    float coords_4[4];
    uint8_t extra[8];
    uint8_t flag_a;
    uint8_t flag_b;
    float point_x;
    float point_y;
    float orientation;
    uint64_t timestamp;
};

using TouchEventCallback = std::function<void(const TouchEvent&)>;

class TouchPollingWorkerThread;

class FP_UTILS_EXPORT FpsTouchHandler {
  public:
    // Driver requests. They are plain numbers, not encoded with a direction and size.
    static constexpr unsigned long kIoctlLptwEnable = 102;
    static constexpr unsigned long kIoctlLptwDisable = 103;
    static constexpr unsigned long kIoctlSetArea = 115;
    // One read fetches a header and up to kMaxEventsPerRead slots.
    static constexpr size_t kReadHeaderSize = 8;
    static constexpr size_t kRawEventSize = 88;
    static constexpr size_t kMaxEventsPerRead = 128;
    static constexpr size_t kReadBufferSize = kReadHeaderSize + kRawEventSize * kMaxEventsPerRead;

    // The process-wide handler, made on first use and never destroyed.
    static FpsTouchHandler* GetInstance();
    // Whether this device has a fingerprint touch device; read once per process.
    static bool IsFpsTouchHandlerSupported();

    FpsTouchHandler();
    // Releases the callback and the thread reference only: it neither stops the worker (call
    // Stop first) nor closes the device.
    ~FpsTouchHandler();
    FpsTouchHandler(const FpsTouchHandler&) = delete;
    FpsTouchHandler& operator=(const FpsTouchHandler&) = delete;

    // Must be called before Start. A valid record with no callback installed aborts.
    void SetTouchEventCallback(TouchEventCallback callback);
    // Opens the device (first time), makes the worker (first time) and sends the fingerprint
    // area. May be repeated to send a new area.
    bool Configure(const TouchConfig& config);
    // Launches the worker unless it runs already; false until Configure has succeeded once.
    bool Start();
    // Wakes the worker and waits for it to end. Always true.
    bool Stop();
    // Switches the driver's low-power touch-wake event report; false when not configured or
    // when the driver refuses.
    bool EnableLptwEventReport(bool enable);
    // Puts the last converted event back to its initial value (touch_state 0xFFFFFFFF, all else
    // zero). Takes no lock: call it when no record is being converted.
    void ResetLastTouchEvent();
    // A copy of the last converted event (same caveat as ResetLastTouchEvent).
    TouchEvent GetLastTouchEvent() const { return last_event_; }

  private:
    friend class TouchPollingWorkerThread;

    bool OpenTouchDevice();
    // Worker side: one read of the device, then conversion and callbacks without the lock.
    void ReadTouchEvent();
    void ConvertRawEvent(const uint8_t* raw);

    sp<TouchPollingWorkerThread> touch_polling_worker_thread_;
    std::timed_mutex mutex_;
    std::atomic<bool> configured_{false};
    bool started_ = false;
    TouchEventCallback touch_event_callback_;
    int fd_ = -1;
    uint32_t touch_resolution_scaling_factor_ = 1;
    TouchEvent last_event_;
    // Set while Stop holds the lock and waits for the worker.
    std::atomic<bool> stopping_{false};
};

}  // namespace fp_utils
}  // namespace android
