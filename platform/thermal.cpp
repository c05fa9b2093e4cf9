#include "fp_utils/thermal.h"

#include <aidl/android/hardware/thermal/IThermal.h>
#include <android/binder_manager.h>
#include <android/hardware/thermal/2.0/IThermal.h>
#include <android/log.h>

#include <cerrno>
#include <string>

#include "fp_utils/thermal_hidl_wrapper.h"

#define LOG_TAG "FpThermal"
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, LOG_TAG, __VA_ARGS__)
#define LOGW(...) __android_log_print(ANDROID_LOG_WARN, LOG_TAG, __VA_ARGS__)
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, __VA_ARGS__)

namespace android {
namespace fp_utils {

using hardware::hidl_vec;
using hardware::Return;
using hardware::thermal::V1_0::ThermalStatus;
using hardware::thermal::V1_0::ThermalStatusCode;
using hardware::thermal::V2_0::Temperature;
using hardware::thermal::V2_0::TemperatureType;
using hardware::thermal::V2_0::ThrottlingSeverity;
using AidlThermal = ::aidl::android::hardware::thermal::IThermal;

Thermal& Thermal::GetInstance() {
    static Thermal instance;
    return instance;
}

Thermal::Thermal() = default;
Thermal::~Thermal() = default;

bool Thermal::ConnectThermalHal() {
    if (thermal_service_ != nullptr) return true;

    const std::string aidl_instance = std::string(AidlThermal::descriptor) + "/default";
    if (AServiceManager_isDeclared(aidl_instance.c_str())) {
        ndk::SpAIBinder binder(AServiceManager_waitForService(aidl_instance.c_str()));
        std::shared_ptr<AidlThermal> aidl_service = AidlThermal::fromBinder(binder);
        if (aidl_service != nullptr) {
            thermal_service_ =
                new ::aidl::android::hardware::thermal::ThermalHidlWrapper(std::move(aidl_service));
        } else {
            LOGE("Unable to get Thermal AIDL service");
        }
    } else {
        LOGW("Thermal AIDL service is not declared");
    }

    if (thermal_service_ == nullptr) {
        thermal_service_ = hardware::thermal::V2_0::IThermal::getService("default", false);
        if (thermal_service_ == nullptr) {
            LOGE("[%s] Failed to connect to Thermal HAL service", __func__);
            return false;
        }
    }
    LOGD("[%s] Successfully connected to Thermal service.", __func__);
    return true;
}

int Thermal::GetCpuSeverity() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!ConnectThermalHal()) {
        LOGE("[%s] Failed to connect to Thermal HAL", __func__);
        return -ENODEV;
    }

    int severity = static_cast<int>(ThrottlingSeverity::NONE);
    // The skin sensors tell how hot the device feels, which is what the HAL adapts to.
    Return<void> ret = thermal_service_->getCurrentTemperatures(
        true, TemperatureType::SKIN,
        [&severity](const ThermalStatus& status, const hidl_vec<Temperature>& temperatures) {
            if (status.code != ThermalStatusCode::SUCCESS || temperatures.size() == 0) return;
            const Temperature& first = temperatures[0];
            LOGD("Name: %s", first.name.c_str());
            LOGD("value: %f", first.value);
            LOGD("ThrottlingSeverity: %d", static_cast<int>(first.throttlingStatus));
            severity = static_cast<int>(first.throttlingStatus);
        });
    // A HIDL service that died stays connected; its calls fail here and report NONE.
    if (!ret.isOk()) {
        LOGE("[%s] Thermal HAL call failed: %s", __func__, ret.description().c_str());
    }
    return severity;
}

}  // namespace fp_utils
}  // namespace android
