// Fake thermal services for tests and the simulator: FakeHidlThermal, the HIDL thermal 2.0
// service, and FakeAidlThermal, the AIDL one.
//
// Each answers from what was set: the temperatures, thresholds and cooling devices (a call
// that filters by type gets the entries of that type, in the order set) and a status for every
// call. Registered change callbacks are kept and can be notified on demand. All members are
// safe to call from any thread; answers and notices are given without the fake's lock held.
#pragma once

#include <aidl/android/hardware/thermal/BnThermal.h>
#include <android/binder_status.h>
#include <android/hardware/thermal/2.0/IThermal.h>
#include <utils/StrongPointer.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace host {

class FakeHidlThermal : public hardware::thermal::V2_0::IThermal {
  public:
    using Temperature = hardware::thermal::V2_0::Temperature;
    using TemperatureThreshold = hardware::thermal::V2_0::TemperatureThreshold;
    using CoolingDevice = hardware::thermal::V2_0::CoolingDevice;
    using TemperatureType = hardware::thermal::V2_0::TemperatureType;
    using CoolingType = hardware::thermal::V2_0::CoolingType;

    struct Registration {
        sp<hardware::thermal::V2_0::IThermalChangedCallback> callback;
        bool filter_type;
        TemperatureType type;
    };

    void SetTemperatures(std::vector<Temperature> temperatures);
    void SetThresholds(std::vector<TemperatureThreshold> thresholds);
    void SetCoolingDevices(std::vector<CoolingDevice> devices);
    // Every later call answers with this status (FAILURE: with empty lists, and a registration
    // is not kept).
    void SetStatus(hardware::thermal::V1_0::ThermalStatusCode code, std::string message = "");
    // How many calls of the thermal interface arrived.
    size_t Calls() const;
    std::vector<Registration> Registrations() const;
    // Sends `temperature` to every registered callback whose filter lets its type through, on
    // the calling thread; returns how many were notified.
    size_t NotifyThrottling(const Temperature& temperature);

    hardware::Return<void> getTemperatures(getTemperatures_cb _hidl_cb) override;
    hardware::Return<void> getCpuUsages(getCpuUsages_cb _hidl_cb) override;
    hardware::Return<void> getCoolingDevices(getCoolingDevices_cb _hidl_cb) override;
    hardware::Return<void> getCurrentTemperatures(bool filterType, TemperatureType type,
                                                  getCurrentTemperatures_cb _hidl_cb) override;
    hardware::Return<void> getTemperatureThresholds(bool filterType, TemperatureType type,
                                                    getTemperatureThresholds_cb _hidl_cb) override;
    hardware::Return<void> registerThermalChangedCallback(
        const sp<hardware::thermal::V2_0::IThermalChangedCallback>& callback, bool filterType,
        TemperatureType type, registerThermalChangedCallback_cb _hidl_cb) override;
    hardware::Return<void> unregisterThermalChangedCallback(
        const sp<hardware::thermal::V2_0::IThermalChangedCallback>& callback,
        unregisterThermalChangedCallback_cb _hidl_cb) override;
    hardware::Return<void> getCurrentCoolingDevices(bool filterType, CoolingType type,
                                                    getCurrentCoolingDevices_cb _hidl_cb) override;

  private:
    // Counts the call; the status it is to answer.
    hardware::thermal::V1_0::ThermalStatus Count();
    template <typename Entry, typename Type, typename Callback>
    void Answer(const std::vector<Entry>& all, bool filter_type, Type type,
                const Callback& callback);

    mutable std::mutex mutex_;
    std::vector<Temperature> temperatures_;
    std::vector<TemperatureThreshold> thresholds_;
    std::vector<CoolingDevice> cooling_devices_;
    hardware::thermal::V1_0::ThermalStatus status_;
    size_t calls_ = 0;
    std::vector<Registration> registrations_;
};

// A FakeHidlThermal registered as the HIDL thermal 2.0 instance "default".
sp<FakeHidlThermal> StartFakeHidlThermal();

// The instance name under which the HAL looks for the AIDL thermal service.
constexpr char kAidlThermalInstance[] = "android.hardware.thermal.IThermal/default";

class FakeAidlThermal : public ::aidl::android::hardware::thermal::BnThermal {
  public:
    using Temperature = ::aidl::android::hardware::thermal::Temperature;
    using TemperatureThreshold = ::aidl::android::hardware::thermal::TemperatureThreshold;
    using CoolingDevice = ::aidl::android::hardware::thermal::CoolingDevice;
    using TemperatureType = ::aidl::android::hardware::thermal::TemperatureType;
    using CoolingType = ::aidl::android::hardware::thermal::CoolingType;
    using IThermalChangedCallback = ::aidl::android::hardware::thermal::IThermalChangedCallback;

    struct Registration {
        std::shared_ptr<IThermalChangedCallback> callback;
        bool with_type;
        TemperatureType type;
    };

    void SetTemperatures(std::vector<Temperature> temperatures);
    void SetThresholds(std::vector<TemperatureThreshold> thresholds);
    void SetCoolingDevices(std::vector<CoolingDevice> devices);
    // Every later call answers with this exception and message (EX_NONE: OK again). A failed
    // call returns no results and keeps or drops no registration.
    void SetStatus(binder_exception_t exception, std::string message = "");
    // How many calls of the thermal interface arrived (dump included).
    size_t Calls() const;
    std::vector<Registration> Registrations() const;
    // The arguments of every dump, in order. Each dump also writes its arguments, one line
    // with spaces between them, to the descriptor it was given.
    std::vector<std::vector<std::string>> Dumps() const;
    // Sends `temperature` to every registered callback whose type filter lets it through, from
    // a thread of its own as a binder thread would, and returns once all were called; how many
    // were notified.
    size_t NotifyThrottling(const Temperature& temperature);

    ::ndk::ScopedAStatus getCoolingDevices(std::vector<CoolingDevice>* _aidl_return) override;
    ::ndk::ScopedAStatus getCoolingDevicesWithType(CoolingType type,
                                                   std::vector<CoolingDevice>* _aidl_return) override;
    ::ndk::ScopedAStatus getTemperatures(std::vector<Temperature>* _aidl_return) override;
    ::ndk::ScopedAStatus getTemperaturesWithType(TemperatureType type,
                                                 std::vector<Temperature>* _aidl_return) override;
    ::ndk::ScopedAStatus getTemperatureThresholds(
        std::vector<TemperatureThreshold>* _aidl_return) override;
    ::ndk::ScopedAStatus getTemperatureThresholdsWithType(
        TemperatureType type, std::vector<TemperatureThreshold>* _aidl_return) override;
    ::ndk::ScopedAStatus registerThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) override;
    ::ndk::ScopedAStatus registerThermalChangedCallbackWithType(
        const std::shared_ptr<IThermalChangedCallback>& callback, TemperatureType type) override;
    ::ndk::ScopedAStatus unregisterThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) override;
    binder_status_t dump(int fd, const char** args, uint32_t numArgs) override;

  private:
    // Counts the call; true when it is to succeed, else `status` is the failure.
    bool Succeeds(::ndk::ScopedAStatus* status);
    template <typename Entry, typename Type>
    ::ndk::ScopedAStatus Answer(const std::vector<Entry>& all, bool filter_type, Type type,
                                std::vector<Entry>* out);
    ::ndk::ScopedAStatus Register(const std::shared_ptr<IThermalChangedCallback>& callback,
                                  bool with_type, TemperatureType type);

    mutable std::mutex mutex_;
    std::vector<Temperature> temperatures_;
    std::vector<TemperatureThreshold> thresholds_;
    std::vector<CoolingDevice> cooling_devices_;
    binder_exception_t exception_ = EX_NONE;
    std::string message_;
    size_t calls_ = 0;
    std::vector<Registration> registrations_;
    std::vector<std::vector<std::string>> dumps_;
};

// A FakeAidlThermal, declared and registered as kAidlThermalInstance.
std::shared_ptr<FakeAidlThermal> StartFakeAidlThermal();

}  // namespace host
}  // namespace fp_utils
}  // namespace android
