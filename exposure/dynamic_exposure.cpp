// Dynamic exposure control.
#include "fp_utils/dynamic_exposure.h"

#include <android/log.h>
#include <stdio.h>

#include <cstdint>
#include <limits>

#include "history/false_rejection.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "DynamicExposure";
constexpr char kProp[] = "persist.vendor.udfps.dynamic.exposure.";

uint32_t ReadTunable(const char* name, uint32_t default_value) {
    return android::base::GetUintProperty<unsigned int>(std::string(kProp) + name, default_value,
                                                        std::numeric_limits<uint32_t>::max());
}

}  // namespace

DynamicExposure& DynamicExposure::GetInstance() {
    static DynamicExposure instance;
    return instance;
}

// The tunables are read in the order the members are declared.
DynamicExposure::DynamicExposure()
    : supported(IsDynamicExposureSupported()),
      kNumberOfAttempts(ReadTunable("number_of_attempts", 10)),
      kExpoChangeUnitDenominator(ReadTunable("expo_change_unit_denominator", 60)),
      kFrrThreshold(ReadTunable("frr_threshold", 20)),
      kIqThreshold(ReadTunable("image_quality_threshold", 28)),
      kHighRawMeanThreshold(ReadTunable("high_raw_mean_threshold", 2500)),
      kLowRawMeanThreshold(ReadTunable("low_raw_mean_threshold", 1500)),
      kExpoUpperBoundUs(ReadTunable("upper_bound_us", 150000)),
      kExpoLowerBoundUs(ReadTunable("lower_bound_us", 10000)) {
    if (supported) {
        // Kept in memory only: these statistics never touch a backup file.
        auth_stats = std::make_unique<AuthStatsG7>("DynamicExposure", kNumberOfAttempts, false);
        auth_stats->Init();
    }
}

DynamicExposure::~DynamicExposure() = default;

void DynamicExposure::UpdateCaliExpo(float new_cali_expo, float new_cali_expo_base) {
    __android_log_print(ANDROID_LOG_INFO, kTag, "%s: cali_expo:%.3f, cali_expo_base:%.3f",
                        "UpdateCaliExpo", static_cast<double>(new_cali_expo),
                        static_cast<double>(new_cali_expo_base));
    cali_expo = new_cali_expo;
    cali_expo_base = new_cali_expo_base;
    if (adjustment_step != 0) {
        __android_log_print(ANDROID_LOG_INFO, kTag, "%s: recalculate new exposure time",
                            "UpdateCaliExpo");
        AdjustExposure(kStepKeep);
    }
}

// The exposure scales with the base: expo / cali_expo = base / cali_expo_base, where each
// step moves the base by 1000 / kExpoChangeUnitDenominator ms. Every figure is a float and
// worked out in the order written, so the HAL sees the same values on every device.
void DynamicExposure::AdjustExposure(StepAdjustment step) {
    if (cali_expo == 0 || cali_expo_base == 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] cali_expo is not initialized",
                            "AdjustExposure");
        return;
    }
    if (expo_changed_cb == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] expo changed cb is not registered",
                            "AdjustExposure");
        return;
    }
    const int32_t old_step = adjustment_step;
    const int32_t new_step = old_step + step;
    adjustment_step = new_step;
    const float offset =
        (static_cast<float>(new_step) * 1000.0f) / static_cast<float>(kExpoChangeUnitDenominator);
    const float base = cali_expo_base + offset;
    const float expo = (cali_expo * base) / cali_expo_base;
    // Only the direction of the move is bounded.
    if (step == kStepDown && expo * 1000.0f < static_cast<float>(kExpoLowerBoundUs)) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "[%s] target expo(%.3f) < lower bound(%.3f), skip", "AdjustExposure",
                            static_cast<double>(expo), kExpoLowerBoundUs / 1000.0);
        adjustment_step = old_step;
        return;
    }
    if (step == kStepUp && expo * 1000.0f > static_cast<float>(kExpoUpperBoundUs)) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "[%s] target expo(%.3f) > upper bound(%.3f), skip", "AdjustExposure",
                            static_cast<double>(expo), kExpoUpperBoundUs / 1000.0);
        adjustment_step = old_step;
        return;
    }
    __android_log_print(ANDROID_LOG_INFO, kTag, "[%s] adjustment step:%d, unit:%.3f",
                        "AdjustExposure", new_step, 1000.0 / kExpoChangeUnitDenominator);
    __android_log_print(ANDROID_LOG_INFO, kTag, "[%s] cali expo:%.3f, base:%.3f", "AdjustExposure",
                        static_cast<double>(cali_expo), static_cast<double>(cali_expo_base));
    __android_log_print(ANDROID_LOG_INFO, kTag, "[%s] adjust to expo:%.3f, base:%.3f",
                        "AdjustExposure", static_cast<double>(expo), static_cast<double>(base));
    expo_changed_cb(expo_changed_cb_ctx, expo, base);
    // The next decision rests only on attempts taken with the new exposure.
    if (auth_stats) auth_stats->Reset();
}

void DynamicExposure::SetExpoChangedCallback(void* ctx, ExpoChangedCallback cb) {
    expo_changed_cb = cb;
    expo_changed_cb_ctx = ctx;
}

// Steps only when the statistics hold kNumberOfAttempts attempts, more than kFrrThreshold
// percent of them rejected, their mean image quality below kIqThreshold and their mean raw
// mean outside [kLowRawMeanThreshold, kHighRawMeanThreshold]: up when too dark, down when too
// bright.
void DynamicExposure::FeedAuthAttempt(std::shared_ptr<AuthEventG7> event) {
    if (!auth_stats) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "[%s] dynamic exposure is not supported, attempt ignored",
                            "FeedAuthAttempt");
        return;
    }
    if (!event) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] no attempt given", "FeedAuthAttempt");
        return;
    }
    auth_stats->AddAttempt(event);
    const uint32_t held = auth_stats->total_attempts_;
    const float frr = FalseRejectionRate(*auth_stats);
    const float avg_iq = auth_stats->avg_iq_;
    const float avg_raw_mean = auth_stats->avg_rawmean_delta_;
    const bool not_ready = frr <= static_cast<float>(kFrrThreshold) || held < kNumberOfAttempts;
    if (avg_iq >= static_cast<float>(kIqThreshold)) return;
    if (avg_raw_mean > static_cast<float>(kHighRawMeanThreshold)) {
        if (not_ready) return;
    } else if (avg_raw_mean >= static_cast<float>(kLowRawMeanThreshold) || not_ready) {
        return;
    }
    const StepAdjustment direction =
        avg_raw_mean < static_cast<float>(kLowRawMeanThreshold) ? kStepUp : kStepDown;
    __android_log_print(ANDROID_LOG_INFO, kTag, "[%s] Adjust exposure %s", "FeedAuthAttempt",
                        direction == kStepUp ? "UP" : "DOWN");
    AdjustExposure(direction);
}

void DynamicExposure::Dump(int fd) {
    dprintf(fd, "DynamicExposureSupported:%d\n", supported ? 1 : 0);
    if (!supported || !auth_stats) return;
    dprintf(fd, "DynamicExposure:\n");
    dprintf(fd, "  kNumberOfAttempts: %d\n", static_cast<int>(kNumberOfAttempts));
    dprintf(fd, "  kExpoChangeUnitDenominator: %d\n", static_cast<int>(kExpoChangeUnitDenominator));
    dprintf(fd, "  kFrrThreshold: %d\n", static_cast<int>(kFrrThreshold));
    dprintf(fd, "  kIqThreshold: %d\n", static_cast<int>(kIqThreshold));
    dprintf(fd, "  kHighRawMeanThreshold: %d\n", static_cast<int>(kHighRawMeanThreshold));
    dprintf(fd, "  kLowRawMeanThreshold: %d\n", static_cast<int>(kLowRawMeanThreshold));
    dprintf(fd, "  kExpoUpperBoundUs: %d\n", static_cast<int>(kExpoUpperBoundUs));
    dprintf(fd, "  kExpoLowerBoundUs: %d\n", static_cast<int>(kExpoLowerBoundUs));
    dprintf(fd, "  Stats of last %d attempts:\n", static_cast<int>(auth_stats->total_attempts_));
    dprintf(fd, "    FRR: %.2f%%\n", static_cast<double>(FalseRejectionRate(*auth_stats)));
    dprintf(fd, "    Avg IQ: %.2f\n", static_cast<double>(auth_stats->avg_iq_));
    dprintf(fd, "    Avg raw mean: %.2f\n", static_cast<double>(auth_stats->avg_rawmean_delta_));
    dprintf(fd, "  \n");
}

}  // namespace fp_utils
}  // namespace android
