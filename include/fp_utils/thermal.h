// How strongly the device is being thermally throttled, as the thermal HAL sees it.
//
// Thermal::GetInstance() is the process's one monitor, made on first use and destroyed at
// exit. GetCpuSeverity() reports the throttling severity of the first skin temperature sensor
// (ThrottlingSeverity: NONE 0, LIGHT 1, MODERATE 2, SEVERE 3, CRITICAL 4, EMERGENCY 5,
// SHUTDOWN 6): 0 when the thermal HAL reports a failure, an empty list, or cannot be called;
// -19 (-ENODEV) when no thermal service can be reached. The service is looked up on the first
// call: the declared AIDL service "android.hardware.thermal.IThermal/default" (waited for
// while it starts), otherwise the HIDL thermal 2.0 service "default". While neither is found,
// every call looks again; once connected the monitor keeps that service for good. Calls from
// any thread are serialised; each may block while a declared AIDL service is awaited.
// Log tag "FpThermal".
#pragma once

#include <stdint.h>
#include <utils/StrongPointer.h>

#include <mutex>

#include "fp_utils/export.h"

namespace android {
namespace hardware {
namespace thermal {
namespace V2_0 {
struct IThermal;
}  // namespace V2_0
}  // namespace thermal
}  // namespace hardware

namespace fp_utils {

class FP_UTILS_EXPORT Thermal {
  public:
    static Thermal& GetInstance();

    int GetCpuSeverity();

    Thermal(const Thermal&) = delete;
    Thermal& operator=(const Thermal&) = delete;

  private:
    Thermal();
    ~Thermal();
    // Connects unless connected; called with mutex_ held.
    bool ConnectThermalHal();

    std::mutex mutex_;
    sp<hardware::thermal::V2_0::IThermal> thermal_service_;
};

}  // namespace fp_utils
}  // namespace android
