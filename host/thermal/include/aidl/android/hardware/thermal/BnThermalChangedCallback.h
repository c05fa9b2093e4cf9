// Host stand-in of the service side of the AIDL thermal change callback.
#pragma once

#include <aidl/android/hardware/thermal/IThermalChangedCallback.h>
#include <android/binder_interface_utils.h>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

class BnThermalChangedCallback : public ::ndk::BnCInterface<IThermalChangedCallback> {
  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
