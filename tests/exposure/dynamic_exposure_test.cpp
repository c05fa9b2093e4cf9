// Dynamic exposure. The feature flag and the tunables are read once per process, so every
// case runs in a child process whose properties are set before the first read.
#include "fp_utils/dynamic_exposure.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

constexpr char kTag[] = "DynamicExposure", kPrefix[] = "persist.vendor.udfps.dynamic.exposure.";
constexpr char kFlag[] = "persist.vendor.udfps.dynamic_exposure_supported";
constexpr int kInfo = ANDROID_LOG_INFO, kError = ANDROID_LOG_ERROR;
const char* const kProps[] = {"number_of_attempts",      "expo_change_unit_denominator",
                              "frr_threshold",           "image_quality_threshold",
                              "high_raw_mean_threshold", "low_raw_mean_threshold",
                              "upper_bound_us",          "lower_bound_us"};  // after kPrefix
// The dump with the feature on: the tunables in the order above, then the statistics.
constexpr char kDumpOn[] =
    "DynamicExposureSupported:1\nDynamicExposure:\n  kNumberOfAttempts: %u\n"
    "  kExpoChangeUnitDenominator: %u\n  kFrrThreshold: %u\n  kIqThreshold: %u\n"
    "  kHighRawMeanThreshold: %u\n  kLowRawMeanThreshold: %u\n  kExpoUpperBoundUs: %u\n"
    "  kExpoLowerBoundUs: %u\n  Stats of last %s  \n";

std::vector<std::pair<float, float>> seen;  // (expo, base) of each callback
void Record(void* ctx, float expo, float base) {
    static_cast<decltype(seen)*>(ctx)->emplace_back(expo, base);
}

// Runs `body` in a child with the feature `on`, the tunables set to `values` and Record as the
// callback.
void InChild(bool on, const std::vector<std::string>& values, void (*body)(DynamicExposure&)) {
    testing::InChild([&] {
        android::base::SetProperty(kFlag, on ? "true" : "");
        for (size_t i = 0; i < values.size(); ++i)
            android::base::SetProperty(kPrefix + std::string(kProps[i]), values[i]);
        DynamicExposure::GetInstance().SetExpoChangedCallback(&seen, Record);
        body(DynamicExposure::GetInstance());
    });
}

void Feed(int n, bool ok, int32_t iq, int32_t raw, int8_t acquired = 1) {
    auto e = std::make_shared<AuthEventG7>();
    e->acquired_info = acquired;
    e->auth_successful = ok;
    e->iq = iq;
    e->rawmean_delta = raw;
    for (int i = 0; i < n; ++i) DynamicExposure::GetInstance().FeedAuthAttempt(e);
}

// A new calibration, then `steps` one by one.
void Calibrate(float cali, float cali_base, std::initializer_list<StepAdjustment> steps = {}) {
    DynamicExposure::GetInstance().UpdateCaliExpo(cali, cali_base);
    for (StepAdjustment step : steps) DynamicExposure::GetInstance().AdjustExposure(step);
}

// Checks the dump: with tunables `v` the feature is on and `stats` follows them; else it is off.
void ExpectDump(const std::vector<unsigned>& v, const char* stats = "") {
    char want[1024] = "DynamicExposureSupported:0\n", got[1024] = {};
    if (!v.empty())
        snprintf(want, sizeof want, kDumpOn, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], stats);
    FILE* f = tmpfile();
    DynamicExposure::GetInstance().Dump(fileno(f));
    EXPECT_GT(pread(fileno(f), got, sizeof got - 1, 0), 0);
    fclose(f);
    EXPECT_EQ(std::string(got), want);
}

const std::vector<std::string> kTunables = {"4", "500", "50", "60", "200", "100", "120000", "8000"};
// Unparsable or out-of-range values count as unset.
const std::vector<std::string> kUnparsable = {"abc", "-1",  "4294967296", "12x",
                                              "",    "1.5", " ",          "0x"};

std::vector<std::pair<float, float>> Moves(std::initializer_list<float> expos) {
    std::vector<std::pair<float, float>> out;
    for (float expo : expos) out.emplace_back(expo, expo);
    return out;
}

TEST(DynamicExposure, FlagSetAfterTheFirstReadLeavesTheFeatureOff) {
    InChild(false, {}, [](auto&) {
        android::base::SetProperty(kFlag, "true");
        EXPECT_FALSE(IsDynamicExposureSupported());
        ExpectDump({});
    });
}

// This calibration rounds differently at step 1 in any other order of the arithmetic.
TEST(DynamicExposure, StepWorksWithTheFeatureOffInFloatArithmetic) {
    InChild(false, {}, [](auto&) {
        const float cali = 10.1479998f, cali_base = 12.1160002f, base = cali_base + 1000.0f / 60;
        Calibrate(cali, cali_base, {kStepUp});
        EXPECT_EQ(seen, (decltype(seen){{(cali * base) / cali_base, base}}));
    });
}

TEST(DynamicExposure, DumpShowsTheTunablesReadFromTheirProperties) {
    InChild(true, kTunables, [](auto& de) {
        ExpectDump({4, 500, 50, 60, 200, 100, 120000, 8000},
                   "0 attempts:\n    FRR: 0.00%\n    Avg IQ: 0.00\n    Avg raw mean: 0.00\n");
        EXPECT_EQ(de.auth_stats->max_attempts_, 4u);
    });
}

TEST(DynamicExposure, StepNeedsACalibrationAndACallback) {
    InChild(true, kTunables, [](auto& de) {
        testing::LogCapture log;
        de.SetExpoChangedCallback(nullptr, nullptr);
        Calibrate(118, 0, {kStepUp});
        Calibrate(118, 118, {kStepUp});
        EXPECT_EQ(log.Lines(kTag),
                  (std::vector<testing::LogLine>{
                      {kInfo, kTag, "UpdateCaliExpo: cali_expo:118.000, cali_expo_base:0.000"},
                      {kError, kTag, "[AdjustExposure] cali_expo is not initialized"},
                      {kInfo, kTag, "UpdateCaliExpo: cali_expo:118.000, cali_expo_base:118.000"},
                      {kError, kTag, "[AdjustExposure] expo changed cb is not registered"}}));
    });
}

TEST(DynamicExposure, StepOntoTheUpperBoundIsTakenAndBeyondItRefused) {
    InChild(true, kTunables, [](auto&) {
        testing::LogCapture log;
        Calibrate(118, 118, {kStepUp, kStepUp});
        EXPECT_EQ(seen, Moves({120}));
        EXPECT_EQ(log.Lines(kTag),
                  (std::vector<testing::LogLine>{
                      {kInfo, kTag, "UpdateCaliExpo: cali_expo:118.000, cali_expo_base:118.000"},
                      {kInfo, kTag, "[AdjustExposure] adjustment step:1, unit:2.000"},
                      {kInfo, kTag, "[AdjustExposure] cali expo:118.000, base:118.000"},
                      {kInfo, kTag, "[AdjustExposure] adjust to expo:120.000, base:120.000"},
                      {kError, kTag,
                       "[AdjustExposure] target expo(122.000) > upper bound(120.000), skip"}}));
    });
}

TEST(DynamicExposure, StepBelowTheLowerBoundIsRefused) {
    InChild(true, kTunables, [](auto&) {
        testing::LogCapture log;
        Calibrate(12, 12, {kStepDown, kStepDown, kStepDown});
        EXPECT_EQ(seen, Moves({10, 8}));
        EXPECT_TRUE(log.Contains(kError, kTag,
                                 "[AdjustExposure] target expo(6.000) < lower bound(8.000), skip"));
    });
}

// Only the direction of a step is bounded, and a recalibration re-applies the steps taken.
TEST(DynamicExposure, RecalibrationAndStepsAwayFromABoundAreNotBounded) {
    InChild(true, kTunables, [](auto&) {
        testing::LogCapture log;
        Calibrate(10, 10, {kStepDown});  // step -1
        Calibrate(6, 6, {kStepUp});      // 4 at step -1, then 6
        Calibrate(118, 118, {kStepUp});  // at step 0 nothing to re-apply; then 120
        Calibrate(130, 130, {kStepDown});
        EXPECT_EQ(seen, Moves({8, 4, 6, 120, 132, 130}));
        EXPECT_TRUE(log.Contains(kInfo, kTag, "UpdateCaliExpo: recalculate new exposure time"));
    });
}

// Four attempts, over 50 % rejected, IQ below 60 and raw mean above 200 is too bright; the
// step clears the statistics, so the three fresh attempts after it are too few.
TEST(DynamicExposure, FeedStepsDownWhenTooBrightAndTheStepClearsTheStatistics) {
    InChild(true, kTunables, [](auto&) {
        Calibrate(20, 20);
        Feed(7, false, 50, 250);
        EXPECT_EQ(seen, Moves({18}));
    });
}

// Unparsable tunables fall back to the defaults, which the dump shows.
TEST(DynamicExposure, RefusedStepKeepsTheStatistics) {
    InChild(true, kUnparsable, [](auto&) {
        Calibrate(149, 149);
        Feed(10, false, 10, 900);  // up to 165.667: beyond the bound
        EXPECT_TRUE(seen.empty());
        ExpectDump({10, 60, 20, 28, 2500, 1500, 150000, 10000},
                   "10 attempts:\n    FRR: 100.00%\n    Avg IQ: 10.00\n    Avg raw mean: 900.00\n");
    });
}

// Defaults: ten attempts held, more than 20 % rejected, mean IQ below 28, mean raw mean below
// 1500 (up) or above 2500 (down); each threshold must be passed, not met.
TEST(DynamicExposure, FeedStepsOnlyPastEveryThreshold) {
    InChild(true, kUnparsable, [](auto& de) {
        testing::LogCapture log;
        Calibrate(50, 50);
        enum Step { kNone, kUp, kDown };
        const struct {
            const char* what;
            int rejects, iq, raw_mean, others_acquired;
            Step step;
        } cases[] = {
            {"rejection rate at its threshold", 2, 10, 1000, 1, kNone},
            {"raw mean at the low threshold", 10, 10, 1500, 1, kNone},
            {"raw mean at the high threshold", 10, 10, 2500, 1, kNone},
            {"quality at its threshold", 10, 28, 1000, 1, kNone},
            {"too dark", 3, 27, 1000, 1, kUp},
            {"too bright", 3, 27, 2501, 1, kDown},
            // Held, but left out of the rejection rate.
            {"others never reached matching", 2, 10, 1000, 2, kUp},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(c.what);
            de.auth_stats->Reset();
            log.Clear();
            const size_t moves = seen.size();
            Feed(c.rejects, false, c.iq, c.raw_mean);
            Feed(10 - c.rejects, true, c.iq, c.raw_mean, c.others_acquired);
            EXPECT_EQ(seen.size() - moves, c.step == kNone ? 0u : 1u);
            EXPECT_EQ(log.Count(kTag, "[FeedAuthAttempt] Adjust exposure UP"), c.step == kUp);
            EXPECT_EQ(log.Count(kTag, "[FeedAuthAttempt] Adjust exposure DOWN"), c.step == kDown);
        }
    });
}

}  // namespace
}  // namespace android::fp_utils
