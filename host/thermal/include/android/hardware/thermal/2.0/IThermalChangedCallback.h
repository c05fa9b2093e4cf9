// Host stand-in of the HIDL thermal 2.0 change callback (a oneway notice).
#pragma once

#include <android/hardware/thermal/2.0/types.h>
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/Status.h>

namespace android {
namespace hardware {
namespace thermal {
namespace V2_0 {

struct IThermalChangedCallback : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> notifyThrottling(const Temperature& temperature) = 0;

    ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;
};

}  // namespace V2_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
