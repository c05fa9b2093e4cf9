// Host stand-in of the HIDL thermal 1.0 interface.
#pragma once

#include <android/hardware/thermal/1.0/types.h>
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <functional>

namespace android {
namespace hardware {
namespace thermal {
namespace V1_0 {

struct IThermal : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    using getTemperatures_cb =
        std::function<void(const ThermalStatus&, const ::android::hardware::hidl_vec<Temperature>&)>;
    using getCpuUsages_cb =
        std::function<void(const ThermalStatus&, const ::android::hardware::hidl_vec<CpuUsage>&)>;
    using getCoolingDevices_cb =
        std::function<void(const ThermalStatus&, const ::android::hardware::hidl_vec<CoolingDevice>&)>;

    virtual ::android::hardware::Return<void> getTemperatures(getTemperatures_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> getCpuUsages(getCpuUsages_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> getCoolingDevices(getCoolingDevices_cb _hidl_cb) = 0;

    ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;
};

}  // namespace V1_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
