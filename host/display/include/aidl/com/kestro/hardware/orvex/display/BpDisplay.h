// Client stub of the display HAL's interface, as IDisplay::fromBinder makes it.
#pragma once

#include <aidl/com/kestro/hardware/orvex/display/IDisplay.h>
#include <android/binder_interface_utils.h>

namespace aidl::com::kestro::hardware::orvex::display {

class BpDisplay : public ndk::BpCInterface<IDisplay> {
  public:
    explicit BpDisplay(const ndk::SpAIBinder& binder);
    virtual ~BpDisplay();

    ndk::ScopedAStatus setLhbmState(bool in_enabled) override;
    ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
};

}  // namespace aidl::com::kestro::hardware::orvex::display
