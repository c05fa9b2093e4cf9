// android.hardware.thermal-V1-ndk on a host: descriptors, binders of service objects, and the
// client stubs, which call the service object directly.
#include <aidl/android/hardware/thermal/BnThermal.h>
#include <aidl/android/hardware/thermal/BnThermalChangedCallback.h>
#include <aidl/android/hardware/thermal/IThermal.h>
#include <aidl/android/hardware/thermal/IThermalChangedCallback.h>

#include "host/binder_control.h"

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

using ::android::fp_utils::host::CallService;

const char* IThermal::descriptor = "android.hardware.thermal.IThermal";
const char* IThermalChangedCallback::descriptor =
    "android.hardware.thermal.IThermalChangedCallback";

namespace {

// Calls never travel as transactions on this host.
binder_status_t NoTransactions(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
    return STATUS_UNKNOWN_TRANSACTION;
}

AIBinder_Class* ThermalClass() {
    static AIBinder_Class* clazz =
        ::ndk::ICInterface::defineClass(IThermal::descriptor, NoTransactions);
    return clazz;
}

AIBinder_Class* CallbackClass() {
    static AIBinder_Class* clazz =
        ::ndk::ICInterface::defineClass(IThermalChangedCallback::descriptor, NoTransactions);
    return clazz;
}

class BpThermal : public ::ndk::BpCInterface<IThermal> {
  public:
    explicit BpThermal(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}

    ::ndk::ScopedAStatus getCoolingDevices(std::vector<CoolingDevice>* out) override {
        return Call([&](IThermal& s) { return s.getCoolingDevices(out); });
    }
    ::ndk::ScopedAStatus getCoolingDevicesWithType(CoolingType type,
                                                   std::vector<CoolingDevice>* out) override {
        return Call([&](IThermal& s) { return s.getCoolingDevicesWithType(type, out); });
    }
    ::ndk::ScopedAStatus getTemperatures(std::vector<Temperature>* out) override {
        return Call([&](IThermal& s) { return s.getTemperatures(out); });
    }
    ::ndk::ScopedAStatus getTemperaturesWithType(TemperatureType type,
                                                 std::vector<Temperature>* out) override {
        return Call([&](IThermal& s) { return s.getTemperaturesWithType(type, out); });
    }
    ::ndk::ScopedAStatus getTemperatureThresholds(std::vector<TemperatureThreshold>* out) override {
        return Call([&](IThermal& s) { return s.getTemperatureThresholds(out); });
    }
    ::ndk::ScopedAStatus getTemperatureThresholdsWithType(
        TemperatureType type, std::vector<TemperatureThreshold>* out) override {
        return Call([&](IThermal& s) { return s.getTemperatureThresholdsWithType(type, out); });
    }
    ::ndk::ScopedAStatus registerThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) override {
        return Call([&](IThermal& s) { return s.registerThermalChangedCallback(callback); });
    }
    ::ndk::ScopedAStatus registerThermalChangedCallbackWithType(
        const std::shared_ptr<IThermalChangedCallback>& callback, TemperatureType type) override {
        return Call(
            [&](IThermal& s) { return s.registerThermalChangedCallbackWithType(callback, type); });
    }
    ::ndk::ScopedAStatus unregisterThermalChangedCallback(
        const std::shared_ptr<IThermalChangedCallback>& callback) override {
        return Call([&](IThermal& s) { return s.unregisterThermalChangedCallback(callback); });
    }
    binder_status_t dump(int fd, const char** args, uint32_t numArgs) override {
        binder_status_t result = STATUS_OK;
        ::ndk::ScopedAStatus status = Call([&](IThermal& s) {
            result = s.dump(fd, args, numArgs);
            return ::ndk::ScopedAStatus::ok();
        });
        return status.isOk() ? result : status.getStatus();
    }

  private:
    template <typename Fn>
    ::ndk::ScopedAStatus Call(Fn&& fn) {
        return CallService<IThermal>(asBinder().get(), std::forward<Fn>(fn));
    }
};

class BpThermalChangedCallback : public ::ndk::BpCInterface<IThermalChangedCallback> {
  public:
    explicit BpThermalChangedCallback(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}

    ::ndk::ScopedAStatus notifyThrottling(const Temperature& temperature) override {
        return CallService<IThermalChangedCallback>(
            asBinder().get(),
            [&](IThermalChangedCallback& c) { return c.notifyThrottling(temperature); });
    }
};

}  // namespace

std::shared_ptr<IThermal> IThermal::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (binder.get() == nullptr || !AIBinder_associateClass(binder.get(), ThermalClass())) {
        return nullptr;
    }
    return ::ndk::SharedRefBase::make<BpThermal>(binder);
}

std::shared_ptr<IThermalChangedCallback> IThermalChangedCallback::fromBinder(
    const ::ndk::SpAIBinder& binder) {
    if (binder.get() == nullptr || !AIBinder_associateClass(binder.get(), CallbackClass())) {
        return nullptr;
    }
    return ::ndk::SharedRefBase::make<BpThermalChangedCallback>(binder);
}

::ndk::SpAIBinder BnThermal::createBinder() {
    return ::ndk::SpAIBinder(AIBinder_new(ThermalClass(), static_cast<::ndk::ICInterface*>(this)));
}

::ndk::SpAIBinder BnThermalChangedCallback::createBinder() {
    return ::ndk::SpAIBinder(AIBinder_new(CallbackClass(), static_cast<::ndk::ICInterface*>(this)));
}

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
