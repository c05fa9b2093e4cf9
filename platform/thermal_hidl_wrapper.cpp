#include "fp_utils/thermal_hidl_wrapper.h"

#include <aidl/android/hardware/thermal/BnThermalChangedCallback.h>

#include <cmath>
#include <string>
#include <utility>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::interfacesEqual;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::thermal::V1_0::ThermalStatus;
using ::android::hardware::thermal::V1_0::ThermalStatusCode;

namespace hidl_2_0 = ::android::hardware::thermal::V2_0;
using AidlThermal = ::aidl::android::hardware::thermal::IThermal;

namespace {

constexpr char kUnsupported[] = "Operation unsupported by Thermal HIDL wrapper";
constexpr char kNotInitialized[] =
    "Thermal AIDL HAL client used by HIDL wrapper was not initialized";
constexpr char kNullCallback[] = "Invalid nullptr callback";
constexpr char kAlreadyRegistered[] = "The callback was already registered through wrapper";
constexpr char kNotRegistered[] = "The callback was not registered through wrapper before";

// The HIDL range of each type; anything else maps to the fallback.
constexpr int32_t kLastHidlTemperatureType = static_cast<int32_t>(hidl_2_0::TemperatureType::NPU);
constexpr int32_t kLastKeptCoolingType = static_cast<int32_t>(hidl_2_0::CoolingType::NPU);

ThermalStatus Success() {
    return {ThermalStatusCode::SUCCESS, ""};
}

ThermalStatus Failure(const char* message) {
    return {ThermalStatusCode::FAILURE, message == nullptr ? "" : message};
}

hidl_2_0::TemperatureType ToHidl(TemperatureType type) {
    int32_t value = static_cast<int32_t>(type);
    if (value < 0 || value > kLastHidlTemperatureType) return hidl_2_0::TemperatureType::UNKNOWN;
    return static_cast<hidl_2_0::TemperatureType>(value);
}

hidl_2_0::CoolingType ToHidl(CoolingType type) {
    int32_t value = static_cast<int32_t>(type);
    if (value < 0 || value > kLastKeptCoolingType) return hidl_2_0::CoolingType::COMPONENT;
    return static_cast<hidl_2_0::CoolingType>(value);
}

hidl_2_0::Temperature ToHidl(const Temperature& in) {
    hidl_2_0::Temperature out;
    out.type = ToHidl(in.type);
    out.name = in.name;
    out.value = in.value;
    out.throttlingStatus = static_cast<hidl_2_0::ThrottlingSeverity>(in.throttlingStatus);
    return out;
}

template <size_t N>
void CopyThresholds(const std::vector<float>& in, ::android::hardware::hidl_array<float, N>& out) {
    for (size_t i = 0; i < N; ++i) out[i] = i < in.size() ? in[i] : NAN;
}

hidl_2_0::TemperatureThreshold ToHidl(const TemperatureThreshold& in) {
    hidl_2_0::TemperatureThreshold out;
    out.type = ToHidl(in.type);
    out.name = in.name;
    CopyThresholds(in.hotThrottlingThresholds, out.hotThrottlingThresholds);
    CopyThresholds(in.coldThrottlingThresholds, out.coldThrottlingThresholds);
    out.vrThrottlingThreshold = NAN;
    return out;
}

hidl_2_0::CoolingDevice ToHidl(const CoolingDevice& in) {
    hidl_2_0::CoolingDevice out;
    out.type = ToHidl(in.type);
    out.name = in.name;
    out.value = static_cast<uint64_t>(in.value);
    return out;
}

// Answers a converted operation once: the AIDL call's results converted, or its failure, or
// the not-initialized failure without an AIDL client.
template <typename AidlEntry, typename Call, typename Callback>
void Convert(const std::shared_ptr<AidlThermal>& service, const Call& call,
             const Callback& callback) {
    using HidlEntry = decltype(ToHidl(std::declval<AidlEntry>()));
    hidl_vec<HidlEntry> converted;
    if (service == nullptr) {
        callback(Failure(kNotInitialized), converted);
        return;
    }
    std::vector<AidlEntry> results;
    ndk::ScopedAStatus status = call(*service, &results);
    if (!status.isOk()) {
        callback(Failure(status.getMessage()), converted);
        return;
    }
    converted.resize(results.size());
    for (size_t i = 0; i < results.size(); ++i) converted[i] = ToHidl(results[i]);
    callback(Success(), converted);
}

}  // namespace

class ThermalHidlWrapper::IThermalChangedCallbackWrapper : public BnThermalChangedCallback {
  public:
    explicit IThermalChangedCallbackWrapper(sp<IThermalChangedCallback_2_0> callback)
        : callback_(std::move(callback)) {}

    ndk::ScopedAStatus notifyThrottling(const Temperature& temperature) override {
        // A notice the HIDL client cannot take is its own loss; the AIDL service is told OK.
        (void)callback_->notifyThrottling(ToHidl(temperature)).isOk();
        return ndk::ScopedAStatus::ok();
    }

    const sp<IThermalChangedCallback_2_0>& callback() const { return callback_; }

  private:
    const sp<IThermalChangedCallback_2_0> callback_;
};

ThermalHidlWrapper::ThermalHidlWrapper(
    std::shared_ptr<::aidl::android::hardware::thermal::IThermal> thermal_service)
    : thermal_service_(std::move(thermal_service)) {}

ThermalHidlWrapper::~ThermalHidlWrapper() = default;

Return<void> ThermalHidlWrapper::getTemperatures(getTemperatures_cb _hidl_cb) {
    _hidl_cb(Failure(kUnsupported), {});
    return Void();
}

Return<void> ThermalHidlWrapper::getCpuUsages(getCpuUsages_cb _hidl_cb) {
    _hidl_cb(Failure(kUnsupported), {});
    return Void();
}

Return<void> ThermalHidlWrapper::getCoolingDevices(getCoolingDevices_cb _hidl_cb) {
    _hidl_cb(Failure(kUnsupported), {});
    return Void();
}

Return<void> ThermalHidlWrapper::getCurrentTemperatures(bool filterType, TemperatureType_2_0 type,
                                                        getCurrentTemperatures_cb _hidl_cb) {
    Convert<Temperature>(
        thermal_service_,
        [&](AidlThermal& service, std::vector<Temperature>* out) {
            return filterType
                       ? service.getTemperaturesWithType(static_cast<TemperatureType>(type), out)
                       : service.getTemperatures(out);
        },
        _hidl_cb);
    return Void();
}

Return<void> ThermalHidlWrapper::getTemperatureThresholds(bool filterType, TemperatureType_2_0 type,
                                                          getTemperatureThresholds_cb _hidl_cb) {
    Convert<TemperatureThreshold>(
        thermal_service_,
        [&](AidlThermal& service, std::vector<TemperatureThreshold>* out) {
            return filterType ? service.getTemperatureThresholdsWithType(
                                    static_cast<TemperatureType>(type), out)
                              : service.getTemperatureThresholds(out);
        },
        _hidl_cb);
    return Void();
}

Return<void> ThermalHidlWrapper::getCurrentCoolingDevices(bool filterType, CoolingType_2_0 type,
                                                          getCurrentCoolingDevices_cb _hidl_cb) {
    Convert<CoolingDevice>(
        thermal_service_,
        [&](AidlThermal& service, std::vector<CoolingDevice>* out) {
            return filterType
                       ? service.getCoolingDevicesWithType(static_cast<CoolingType>(type), out)
                       : service.getCoolingDevices(out);
        },
        _hidl_cb);
    return Void();
}

Return<void> ThermalHidlWrapper::registerThermalChangedCallback(
    const sp<IThermalChangedCallback_2_0>& callback, bool filterType, TemperatureType_2_0 type,
    registerThermalChangedCallback_cb _hidl_cb) {
    ThermalStatus answer = Success();
    if (thermal_service_ == nullptr) {
        answer = Failure(kNotInitialized);
    } else if (callback == nullptr) {
        answer = Failure(kNullCallback);
    } else {
        std::lock_guard<std::mutex> lock(callback_wrappers_mutex_);
        for (const auto& wrapper : callback_wrappers_) {
            if (interfacesEqual(wrapper->callback(), callback)) {
                answer = Failure(kAlreadyRegistered);
                break;
            }
        }
        if (answer.code == ThermalStatusCode::SUCCESS) {
            auto wrapper = ndk::SharedRefBase::make<IThermalChangedCallbackWrapper>(callback);
            ndk::ScopedAStatus status =
                filterType ? thermal_service_->registerThermalChangedCallbackWithType(
                                 wrapper, static_cast<TemperatureType>(type))
                           : thermal_service_->registerThermalChangedCallback(wrapper);
            if (status.isOk()) {
                callback_wrappers_.push_back(std::move(wrapper));
            } else {
                answer = Failure(status.getMessage());
            }
        }
    }
    _hidl_cb(answer);
    return Void();
}

Return<void> ThermalHidlWrapper::unregisterThermalChangedCallback(
    const sp<IThermalChangedCallback_2_0>& callback, unregisterThermalChangedCallback_cb _hidl_cb) {
    ThermalStatus answer = Success();
    if (thermal_service_ == nullptr) {
        answer = Failure(kNotInitialized);
    } else if (callback == nullptr) {
        answer = Failure(kNullCallback);
    } else {
        std::lock_guard<std::mutex> lock(callback_wrappers_mutex_);
        auto it = callback_wrappers_.begin();
        while (it != callback_wrappers_.end() && !interfacesEqual((*it)->callback(), callback)) {
            ++it;
        }
        if (it == callback_wrappers_.end()) {
            answer = Failure(kNotRegistered);
        } else {
            ndk::ScopedAStatus status = thermal_service_->unregisterThermalChangedCallback(*it);
            if (status.isOk()) {
                callback_wrappers_.erase(it);
            } else {
                answer = Failure(status.getMessage());
            }
        }
    }
    _hidl_cb(answer);
    return Void();
}

Return<void> ThermalHidlWrapper::debug(const hidl_handle& handle,
                                       const hidl_vec<hidl_string>& options) {
    if (thermal_service_ == nullptr || handle == nullptr || handle->numFds < 1) return Void();
    std::vector<std::string> copies(options.begin(), options.end());
    std::vector<const char*> args;
    for (const std::string& option : copies) args.push_back(option.c_str());
    (void)thermal_service_->dump(handle->data[0], args.data(), static_cast<uint32_t>(args.size()));
    return Void();
}

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
