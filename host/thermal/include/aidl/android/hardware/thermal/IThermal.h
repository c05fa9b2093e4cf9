// Host stand-in of the AIDL thermal HAL interface (version 1).
//
// fromBinder gives a client whose calls reach the service object synchronously on the
// caller's thread, and fail with STATUS_DEAD_OBJECT once the service was killed
// (host/binder_control.h).
#pragma once

#include <aidl/android/hardware/thermal/CoolingDevice.h>
#include <aidl/android/hardware/thermal/CoolingType.h>
#include <aidl/android/hardware/thermal/IThermalChangedCallback.h>
#include <aidl/android/hardware/thermal/Temperature.h>
#include <aidl/android/hardware/thermal/TemperatureThreshold.h>
#include <aidl/android/hardware/thermal/TemperatureType.h>
#include <android/binder_interface_utils.h>

#include <memory>
#include <vector>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

class IThermal : public ::ndk::ICInterface {
  public:
    static const char* descriptor;

    // A client of the service behind `binder`, or null when it is null or of another interface.
    static std::shared_ptr<IThermal> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus getCoolingDevices(std::vector<CoolingDevice>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getCoolingDevicesWithType(
        CoolingType type, std::vector<CoolingDevice>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getTemperatures(std::vector<Temperature>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getTemperaturesWithType(TemperatureType type,
                                                         std::vector<Temperature>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getTemperatureThresholds(
        std::vector<TemperatureThreshold>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getTemperatureThresholdsWithType(
        TemperatureType type, std::vector<TemperatureThreshold>* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus registerThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) = 0;
    virtual ::ndk::ScopedAStatus registerThermalChangedCallbackWithType(
        const std::shared_ptr<IThermalChangedCallback>& callback, TemperatureType type) = 0;
    virtual ::ndk::ScopedAStatus unregisterThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) = 0;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
