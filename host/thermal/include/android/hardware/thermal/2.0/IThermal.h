// Host stand-in of the HIDL thermal 2.0 interface.
//
// A service registers itself with registerAsService; getService returns a proxy of the
// registered object (null when none is registered: no declaration is consulted, and this host
// has no passthrough implementations, so getStub = true gives null). Calls through the proxy
// reach the object synchronously on the caller's thread until the service is killed
// (host/hidl_control.h); from then on they fail with DEAD_OBJECT.
#pragma once

#include <android/hardware/thermal/1.0/IThermal.h>
#include <android/hardware/thermal/2.0/IThermalChangedCallback.h>
#include <android/hardware/thermal/2.0/types.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Errors.h>

#include <functional>
#include <string>

namespace android {
namespace hardware {
namespace thermal {
namespace V2_0 {

struct IThermal : public ::android::hardware::thermal::V1_0::IThermal {
    static const char* descriptor;

    using ThermalStatus = ::android::hardware::thermal::V1_0::ThermalStatus;
    using getCurrentTemperatures_cb =
        std::function<void(const ThermalStatus&, const ::android::hardware::hidl_vec<Temperature>&)>;
    using getTemperatureThresholds_cb = std::function<void(
        const ThermalStatus&, const ::android::hardware::hidl_vec<TemperatureThreshold>&)>;
    using registerThermalChangedCallback_cb = std::function<void(const ThermalStatus&)>;
    using unregisterThermalChangedCallback_cb = std::function<void(const ThermalStatus&)>;
    using getCurrentCoolingDevices_cb =
        std::function<void(const ThermalStatus&, const ::android::hardware::hidl_vec<CoolingDevice>&)>;

    virtual ::android::hardware::Return<void> getCurrentTemperatures(
        bool filterType, TemperatureType type, getCurrentTemperatures_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> getTemperatureThresholds(
        bool filterType, TemperatureType type, getTemperatureThresholds_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> registerThermalChangedCallback(
        const ::android::sp<IThermalChangedCallback>& callback, bool filterType,
        TemperatureType type, registerThermalChangedCallback_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> unregisterThermalChangedCallback(
        const ::android::sp<IThermalChangedCallback>& callback,
        unregisterThermalChangedCallback_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<void> getCurrentCoolingDevices(
        bool filterType, CoolingType type, getCurrentCoolingDevices_cb _hidl_cb) = 0;

    ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;

    static ::android::sp<IThermal> getService(const std::string& serviceName = "default",
                                              bool getStub = false);
    static ::android::sp<IThermal> getService(const char serviceName[], bool getStub = false) {
        return getService(std::string(serviceName), getStub);
    }
    static ::android::sp<IThermal> getService(bool getStub) {
        return getService(std::string("default"), getStub);
    }
    ::android::status_t registerAsService(const std::string& serviceName = "default");
};

}  // namespace V2_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
