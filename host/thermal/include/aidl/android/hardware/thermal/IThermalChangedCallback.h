// Host stand-in of the AIDL thermal change callback (a oneway notice).
#pragma once

#include <aidl/android/hardware/thermal/Temperature.h>
#include <android/binder_interface_utils.h>

#include <memory>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

class IThermalChangedCallback : public ::ndk::ICInterface {
  public:
    static const char* descriptor;

    // A client of the callback behind `binder`, or null when it is null or of another interface.
    static std::shared_ptr<IThermalChangedCallback> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus notifyThrottling(const Temperature& temperature) = 0;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
