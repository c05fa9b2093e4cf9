// Dynamic exposure: moves the sensor's exposure time one step up or down when the recent
// authentication attempts are mostly rejected with poor, too dark or too bright images.
//
// The controller computes the new exposure and hands it to the HAL's callback; it never
// drives the sensor. The feature and its eight tunables are read once per process, from
// "persist.vendor.udfps.dynamic_exposure_supported" and the
// "persist.vendor.udfps.dynamic.exposure." properties. No operation locks: the HAL calls them
// from one thread at a time. FeedAuthAttempt needs the feature to be supported.
#pragma once

#include <android-base/properties.h>

#include <cstdint>
#include <memory>

#include "fp_utils/auth_event.h"
#include "fp_utils/auth_stats.h"
#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

// Whether the device enables dynamic exposure. The property is read on the first call only;
// every caller in the process shares the answer.
inline bool IsDynamicExposureSupported() {
    static const bool supported =
        android::base::GetBoolProperty("persist.vendor.udfps.dynamic_exposure_supported", false);
    return supported;
}

enum StepAdjustment : int32_t {
    kStepDown = -1,
    kStepKeep = 0,
    kStepUp = 1,
};

class FP_UTILS_EXPORT DynamicExposure {
  public:
    // Receives the new exposure time and exposure base, both in milliseconds.
    using ExpoChangedCallback = void (*)(void* ctx, float expo, float base);

    // The process's controller, built on the first call and destroyed at exit.
    static DynamicExposure& GetInstance();

    ~DynamicExposure();
    DynamicExposure(const DynamicExposure&) = delete;
    DynamicExposure& operator=(const DynamicExposure&) = delete;

    // Stores a new calibration (milliseconds). Steps taken so far are applied again on top of
    // it, and the result passed to the callback, unless no step has been taken.
    void UpdateCaliExpo(float cali_expo, float cali_expo_base);
    // Moves the exposure by one step (kStepKeep: recomputes it for the current steps) and
    // reports it to the callback. A step up beyond the upper bound, or down below the lower
    // bound, is refused; a recomputation is never bounded. Needs a calibration and a callback.
    void AdjustExposure(StepAdjustment step);
    // Replaces the callback and its context.
    void SetExpoChangedCallback(void* ctx, ExpoChangedCallback cb);
    // Adds one attempt to the statistics and steps the exposure when they call for it.
    void FeedAuthAttempt(std::shared_ptr<AuthEventG7> event);
    void Dump(int fd);

    const bool supported;
    // Fixed at construction from their properties.
    const uint32_t kNumberOfAttempts;
    const uint32_t kExpoChangeUnitDenominator;
    const uint32_t kFrrThreshold;
    const uint32_t kIqThreshold;
    const uint32_t kHighRawMeanThreshold;
    const uint32_t kLowRawMeanThreshold;
    const uint32_t kExpoUpperBoundUs;
    const uint32_t kExpoLowerBoundUs;

    float cali_expo = 0;       // ms; 0 until calibrated
    float cali_expo_base = 0;  // ms; 0 until calibrated
    int32_t adjustment_step = 0;
    ExpoChangedCallback expo_changed_cb = nullptr;
    void* expo_changed_cb_ctx = nullptr;
    // The last kNumberOfAttempts attempts; only when supported, else null.
    std::unique_ptr<AuthStatsG7> auth_stats;

  private:
    DynamicExposure();
};

}  // namespace fp_utils
}  // namespace android
