// The AIDL thermal service presented as the HIDL thermal 2.0 interface.
//
// Code written against android::hardware::thermal::V2_0::IThermal uses a device's AIDL thermal
// service through this wrapper. Every HIDL call answers its callback exactly once, on the
// calling thread, before it returns:
// - the 1.0 operations (getTemperatures, getCpuUsages, getCoolingDevices) have no AIDL
//   counterpart and always fail with "Operation unsupported by Thermal HIDL wrapper";
// - the 2.0 operations call the AIDL service (the ...WithType variant when filterType is set)
//   and convert the answer; an AIDL failure becomes FAILURE with the AIDL status's message and
//   empty results; without an AIDL client they fail with "Thermal AIDL HAL client used by HIDL
//   wrapper was not initialized".
//
// Conversions: AIDL temperature types beyond the HIDL range (0 to 9) become UNKNOWN, cooling
// types beyond 0 to 5 become COMPONENT. A threshold keeps the first 7 hot and 7 cold values of
// the AIDL arrays; where an array holds fewer, the missing entries are NaN.
// vrThrottlingThreshold, which AIDL lacks, is always NaN.
//
// A HIDL change callback is registered at most once (compared with interfacesEqual); the AIDL
// service gets a wrapper callback that forwards each throttling notice, on the binder thread
// that delivers it, to the HIDL callback. A registration that the AIDL service refuses is not
// kept, an unregistration it refuses keeps the entry.
//
// debug(handle, options) hands the handle's first descriptor and the options to the AIDL
// service's dump; a null handle or one without descriptors does nothing.
#pragma once

#include <aidl/android/hardware/thermal/IThermal.h>
#include <android/hardware/thermal/2.0/IThermal.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <memory>
#include <mutex>
#include <vector>

#include "fp_utils/export.h"

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

class FP_UTILS_EXPORT ThermalHidlWrapper : public ::android::hardware::thermal::V2_0::IThermal {
  public:
    using TemperatureType_2_0 = ::android::hardware::thermal::V2_0::TemperatureType;
    using CoolingType_2_0 = ::android::hardware::thermal::V2_0::CoolingType;
    using IThermalChangedCallback_2_0 = ::android::hardware::thermal::V2_0::IThermalChangedCallback;

    // `thermal_service` may be null: every operation then fails as not initialized.
    explicit ThermalHidlWrapper(
        std::shared_ptr<::aidl::android::hardware::thermal::IThermal> thermal_service);
    ~ThermalHidlWrapper() override;

    // HIDL 1.0
    ::android::hardware::Return<void> getTemperatures(getTemperatures_cb _hidl_cb) override;
    ::android::hardware::Return<void> getCpuUsages(getCpuUsages_cb _hidl_cb) override;
    ::android::hardware::Return<void> getCoolingDevices(getCoolingDevices_cb _hidl_cb) override;

    // HIDL 2.0
    ::android::hardware::Return<void> getCurrentTemperatures(
        bool filterType, TemperatureType_2_0 type, getCurrentTemperatures_cb _hidl_cb) override;
    ::android::hardware::Return<void> getTemperatureThresholds(
        bool filterType, TemperatureType_2_0 type, getTemperatureThresholds_cb _hidl_cb) override;
    ::android::hardware::Return<void> registerThermalChangedCallback(
        const ::android::sp<IThermalChangedCallback_2_0>& callback, bool filterType,
        TemperatureType_2_0 type, registerThermalChangedCallback_cb _hidl_cb) override;
    ::android::hardware::Return<void> unregisterThermalChangedCallback(
        const ::android::sp<IThermalChangedCallback_2_0>& callback,
        unregisterThermalChangedCallback_cb _hidl_cb) override;
    ::android::hardware::Return<void> getCurrentCoolingDevices(
        bool filterType, CoolingType_2_0 type, getCurrentCoolingDevices_cb _hidl_cb) override;

    ::android::hardware::Return<void> debug(
        const ::android::hardware::hidl_handle& handle,
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) override;

    // The AIDL callback that forwards notices to one HIDL callback.
    class IThermalChangedCallbackWrapper;

  private:
    std::shared_ptr<::aidl::android::hardware::thermal::IThermal> thermal_service_;
    std::mutex callback_wrappers_mutex_;
    std::vector<std::shared_ptr<IThermalChangedCallbackWrapper>> callback_wrappers_;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
