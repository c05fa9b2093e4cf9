// Service side of the display HAL's interface: a display service derives from BnDisplay and
// implements the operations of IDisplay.
#pragma once

#include <aidl/com/kestro/hardware/orvex/display/IDisplay.h>
#include <android/binder_interface_utils.h>

namespace aidl::com::kestro::hardware::orvex::display {

class BnDisplay : public ndk::BnCInterface<IDisplay> {
  public:
    BnDisplay();
    virtual ~BnDisplay();

    ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) final;

  protected:
    ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::com::kestro::hardware::orvex::display
