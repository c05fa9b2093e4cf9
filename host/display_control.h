// A ready display HAL service for tests and the simulator, on the host binder.
//
// StartFakeDisplay() declares "com.kestro.hardware.orvex.display.IDisplay/default" and
// registers a FakeDisplay under it; clients then reach it as on a device. The fake records
// every setLhbmState call, fails the next calls on request, and can make each call take a set
// time or hold calls until released, so that a switch can be made slow, failing or caught in
// the middle. KillService(kDisplayInstance) (host/binder_control.h) kills it. All members are
// safe to call from any thread.
#pragma once

#include <aidl/com/kestro/hardware/orvex/display/BnDisplay.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace android {
namespace fp_utils {
namespace host {

constexpr char kDisplayInstance[] = "com.kestro.hardware.orvex.display.IDisplay/default";

class FakeDisplay : public ::aidl::com::kestro::hardware::orvex::display::BnDisplay {
  public:
    struct LhbmCall {
        bool enabled;
        bool failed;  // answered with the failure asked for by FailNextCalls
    };

    ndk::ScopedAStatus setLhbmState(bool in_enabled) override;

    // Every setLhbmState call so far, oldest first.
    std::vector<LhbmCall> Calls() const;
    // The next `count` calls fail with EX_ILLEGAL_STATE (after their set time).
    void FailNextCalls(int count);
    // Each later call takes `duration` before it answers.
    void SetCallDuration(std::chrono::milliseconds duration);
    // Later calls wait inside the service until ReleaseCalls().
    void HoldCalls();
    void ReleaseCalls();
    // Waits until `count` calls have reached the service (held ones included); false on a
    // time-out.
    bool WaitForCalls(size_t count,
                      std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<LhbmCall> calls_;
    size_t entered_ = 0;
    int failures_left_ = 0;
    std::chrono::milliseconds duration_{0};
    bool holding_ = false;
};

// Declares kDisplayInstance and registers a new FakeDisplay under it, replacing what was
// registered there.
std::shared_ptr<FakeDisplay> StartFakeDisplay();

}  // namespace host
}  // namespace fp_utils
}  // namespace android
