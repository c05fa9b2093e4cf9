// Host stand-in of the service side of the AIDL thermal HAL interface.
#pragma once

#include <aidl/android/hardware/thermal/IThermal.h>
#include <android/binder_interface_utils.h>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

class BnThermal : public ::ndk::BnCInterface<IThermal> {
  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
