// Switches the panel's local high-brightness mode (LHBM, the bright spot that lights the finger
// for an optical capture) through the display HAL's IDisplay service.
//
// The controller connects on the first switch that changes the state, remembers the last state
// it set (off at start) so that a repeated request costs no call, and reports how long each
// switch took, connection included. A failed switch-on is also recorded in CriticalErrors as
// "*failed to enable lhbm". When the display HAL dies the connection is forgotten, not the
// state; the next change connects again.
//
// Any HAL thread may call; one mutex serialises the calls and the death notice, and is held
// across the binder call and the wait for the service, so a slow display HAL holds up the
// other callers. Results are Android status codes: 0, -19 (no display service) or
// 0x80000002 (FAILED_TRANSACTION: the display HAL refused or failed the call).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "fp_utils/export.h"

struct AIBinder_DeathRecipient;

namespace aidl::com::kestro::hardware::orvex::display {
class IDisplay;
}  // namespace aidl::com::kestro::hardware::orvex::display

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT DisplayController {
  public:
    DisplayController();
    // Unlinks from the service's death. The owner must not destroy the controller while a
    // death notice is being delivered to it.
    ~DisplayController();
    DisplayController(const DisplayController&) = delete;
    DisplayController& operator=(const DisplayController&) = delete;

    // Switches LHBM on or off. `elapsed_ms` (may be null) receives the time of a successful
    // switch in whole milliseconds, and 0 on every other path, a request equal to the current
    // state included (answered 0 without a call).
    int SetLhbm(bool enable, uint32_t* elapsed_ms);
    // Connects to the display HAL unless connected. 0 also when the service is not declared on
    // this device (then nothing is connected and SetLhbm answers -19); -19 when the declared
    // service cannot be reached. Blocks while the declared service is not up.
    int ConnectDisplayHal();
    // The death notice of the display HAL: forgets the service, keeps the LHBM state.
    void BinderDied();
    // What the binder runtime calls, with the controller as cookie.
    static void BinderOnDeath(void* cookie);

  private:
    int ConnectDisplayHalLocked();

    std::mutex mutex_;
    std::shared_ptr<::aidl::com::kestro::hardware::orvex::display::IDisplay> display_service_;
    AIBinder_DeathRecipient* death_recipient_ = nullptr;
    int lhbm_state_ = 0;
};

}  // namespace fp_utils
}  // namespace android
