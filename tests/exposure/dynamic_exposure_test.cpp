// Dynamic exposure. The controller and its properties are read once per process, so every
// case runs in a fresh child process with its properties set before the first read.
#include "fp_utils/dynamic_exposure.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/log_capture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;
using Props = std::vector<std::pair<std::string, std::string>>;

constexpr char kTag[] = "DynamicExposure";
const Props kSupported = {{"persist.vendor.udfps.dynamic_exposure_supported", "true"}};
const char* const kTunables[] = {"number_of_attempts",      "expo_change_unit_denominator",
                                 "frr_threshold",           "image_quality_threshold",
                                 "high_raw_mean_threshold", "low_raw_mean_threshold",
                                 "upper_bound_us",          "lower_bound_us"};

// Failed checks in the child, written where the parent shows them.
class FailuresToStderr : public ::testing::EmptyTestEventListener {
    void OnTestPartResult(const ::testing::TestPartResult& r) override {
        if (r.failed()) fprintf(stderr, "%s:%d: %s\n", r.file_name(), r.line_number(), r.message());
    }
};

[[noreturn]] void RunChild(const Props& props, const std::function<void()>& body) {
    ::testing::UnitTest::GetInstance()->listeners().Append(new FailuresToStderr);
    for (const auto& p : props) android::base::SetProperty(p.first, p.second);
    body();
    fflush(stdout);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
}

// The case fails when any check inside `body` fails (the child reports them).
void InFreshProcess(const Props& props, const std::function<void()>& body) {
    EXPECT_EXIT(RunChild(props, body), ::testing::ExitedWithCode(0), "");
}

struct Calls {
    std::vector<std::pair<float, float>> seen;  // (expo, base)
    static void Record(void* ctx, float expo, float base) {
        static_cast<Calls*>(ctx)->seen.emplace_back(expo, base);
    }
};

std::shared_ptr<AuthEventG7> Attempt(bool ok, int32_t iq, int32_t raw, int8_t acquired = 1) {
    auto e = std::make_shared<AuthEventG7>();
    e->acquired_info = acquired;
    e->auth_successful = ok;
    e->iq = iq;
    e->rawmean_delta = raw;
    return e;
}

std::string DumpText() {
    FILE* f = tmpfile();
    DynamicExposure::GetInstance().Dump(fileno(f));
    std::string text(4096, '\0');
    rewind(f);
    text.resize(fread(text.data(), 1, text.size(), f));
    fclose(f);
    return text;
}

constexpr char kNoStats[] =
    "  Stats of last 0 attempts:\n    FRR: 0.00%\n    Avg IQ: 0.00\n    Avg raw mean: 0.00\n  \n";

std::string FullDump(const std::vector<unsigned>& v, const std::string& stats = kNoStats) {
    std::string s = "DynamicExposureSupported:1\nDynamicExposure:\n";
    const char* names[] = {"kNumberOfAttempts",     "kExpoChangeUnitDenominator",
                           "kFrrThreshold",         "kIqThreshold",
                           "kHighRawMeanThreshold", "kLowRawMeanThreshold",
                           "kExpoUpperBoundUs",     "kExpoLowerBoundUs"};
    for (int i = 0; i < 8; ++i)
        s += "  " + std::string(names[i]) + ": " + std::to_string(v[i]) + "\n";
    return s + stats;
}

const std::vector<unsigned> kDefaults = {10, 60, 20, 28, 2500, 1500, 150000, 10000};

TEST(DynamicExposureSettings, OffByDefaultAndReadOnce) {
    InFreshProcess({}, [] {
        LogCapture log;
        EXPECT_FALSE(IsDynamicExposureSupported());
        android::base::SetProperty("persist.vendor.udfps.dynamic_exposure_supported", "true");
        EXPECT_FALSE(IsDynamicExposureSupported());
        DynamicExposure& de = DynamicExposure::GetInstance();
        EXPECT_EQ(DumpText(), "DynamicExposureSupported:0\n");
        EXPECT_EQ(de.auth_stats, nullptr);
        de.FeedAuthAttempt(Attempt(false, 0, 0));  // refused, not a crash
        EXPECT_EQ(log.Count(kTag, "[FeedAuthAttempt] dynamic exposure is not supported"), 1u);
        // Steps still work without statistics.
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        de.AdjustExposure(kStepUp);
        EXPECT_EQ(calls.seen.size(), 1u);
    });
}

TEST(DynamicExposureSettings, EveryTunableHasItsDefault) {
    InFreshProcess(kSupported, [] {
        EXPECT_TRUE(IsDynamicExposureSupported());
        EXPECT_EQ(DumpText(), FullDump(kDefaults));
        EXPECT_EQ(DynamicExposure::GetInstance().auth_stats->max_attempts_, 10u);
    });
    // Unparsable or out of range: the default.
    Props bad = kSupported;
    const char* values[] = {"abc", "-1", "4294967296", "12x", "", "1.5", " ", "0x"};
    for (int i = 0; i < 8; ++i) {
        bad.emplace_back(std::string("persist.vendor.udfps.dynamic.exposure.") + kTunables[i],
                         values[i]);
    }
    InFreshProcess(bad, [] { EXPECT_EQ(DumpText(), FullDump(kDefaults)); });
}

TEST(DynamicExposureSettings, EveryTunableIsReadFromItsProperty) {
    const std::vector<unsigned> set = {3, 7, 33, 41, 2600, 1400, 90000, 20000};
    Props props = kSupported;
    for (int i = 0; i < 8; ++i) {
        props.emplace_back(std::string("persist.vendor.udfps.dynamic.exposure.") + kTunables[i],
                           std::to_string(set[i]));
    }
    InFreshProcess(props, [&set] {
        EXPECT_EQ(DumpText(), FullDump(set));
        EXPECT_EQ(DynamicExposure::GetInstance().auth_stats->max_attempts_, 3u);
    });
}

TEST(DynamicExposureAdjust, OneStepUpFromTwenty) {
    InFreshProcess({}, [] {
        LogCapture log;
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        EXPECT_TRUE(calls.seen.empty());  // no step yet: only stored
        de.AdjustExposure(kStepUp);
        ASSERT_EQ(calls.seen.size(), 1u);
        EXPECT_NEAR(calls.seen[0].first, 36.667f, 5e-4f);
        EXPECT_EQ(calls.seen[0].first, calls.seen[0].second);
        EXPECT_EQ(
            log.Lines(kTag),
            (std::vector<testing::LogLine>{
                {ANDROID_LOG_INFO, kTag, "UpdateCaliExpo: cali_expo:20.000, cali_expo_base:20.000"},
                {ANDROID_LOG_INFO, kTag, "[AdjustExposure] adjustment step:1, unit:16.667"},
                {ANDROID_LOG_INFO, kTag, "[AdjustExposure] cali expo:20.000, base:20.000"},
                {ANDROID_LOG_INFO, kTag, "[AdjustExposure] adjust to expo:36.667, base:36.667"}}));
    });
}

// The exposure is (cali_expo × base) / cali_expo_base in float, in that order; for this
// calibration the other orders round differently.
TEST(DynamicExposureAdjust, FloatArithmeticInTheStatedOrder) {
    InFreshProcess({}, [] {
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        const float cali = 10.1479998f;
        const float cali_base = 12.1160002f;
        de.UpdateCaliExpo(cali, cali_base);
        de.AdjustExposure(kStepUp);
        de.AdjustExposure(kStepUp);
        de.AdjustExposure(kStepDown);
        ASSERT_EQ(calls.seen.size(), 3u);
        const int steps[] = {1, 2, 1};
        for (int i = 0; i < 3; ++i) {
            const float base = cali_base + (static_cast<float>(steps[i]) * 1000.0f) / 60.0f;
            EXPECT_EQ(calls.seen[i].second, base);
            EXPECT_EQ(calls.seen[i].first, (cali * base) / cali_base);
        }
        EXPECT_NE(calls.seen[0].first, cali * (calls.seen[0].second / cali_base));
    });
}

TEST(DynamicExposureAdjust, NeedsCalibrationAndCallback) {
    InFreshProcess({}, [] {
        LogCapture log;
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.AdjustExposure(kStepUp);
        de.UpdateCaliExpo(20, 0);
        de.AdjustExposure(kStepUp);
        EXPECT_EQ(log.Count(kTag, "[AdjustExposure] cali_expo is not initialized"), 2u);
        de.UpdateCaliExpo(20, 20);
        de.SetExpoChangedCallback(nullptr, nullptr);
        de.AdjustExposure(kStepUp);
        EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, kTag,
                                 "[AdjustExposure] expo changed cb is not registered"));
        EXPECT_EQ(de.adjustment_step, 0);
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.AdjustExposure(kStepUp);
        EXPECT_EQ(calls.seen.size(), 1u);
        EXPECT_EQ(de.adjustment_step, 1);
    });
}

// A step is refused only beyond the bound it moves towards; a recalculation after a new
// calibration is passed on whatever it gives.
TEST(DynamicExposureAdjust, BoundsOnlyInTheDirectionOfTheMove) {
    InFreshProcess({}, [] {
        LogCapture log;
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(12, 12);
        de.AdjustExposure(kStepDown);
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_ERROR, kTag,
                         "[AdjustExposure] target expo(-4.667) < lower bound(10.000), skip"));
        de.UpdateCaliExpo(140, 140);
        de.AdjustExposure(kStepUp);
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_ERROR, kTag,
                         "[AdjustExposure] target expo(156.667) > upper bound(150.000), skip"));
        EXPECT_EQ(de.adjustment_step, 0);
        EXPECT_TRUE(calls.seen.empty());
        de.UpdateCaliExpo(2, 20);  // already below the lower bound: up is still allowed
        de.AdjustExposure(kStepUp);
        de.AdjustExposure(kStepUp);
        ASSERT_EQ(calls.seen.size(), 2u);
        EXPECT_LT(calls.seen[1].first, 10.0f);
        de.UpdateCaliExpo(140, 140);  // two steps re-applied: 173.333, above the upper bound
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_INFO, kTag, "UpdateCaliExpo: recalculate new exposure time"));
        ASSERT_EQ(calls.seen.size(), 3u);
        EXPECT_NEAR(calls.seen[2].first, 173.333f, 1e-3f);
        EXPECT_EQ(de.adjustment_step, 2);
    });
}

TEST(DynamicExposureAdjust, BoundsThemselvesAreAllowed) {
    const Props one_ms = {
        {"persist.vendor.udfps.dynamic.exposure.expo_change_unit_denominator", "1000"}};
    InFreshProcess(one_ms, [] {
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(149, 149);
        de.AdjustExposure(kStepUp);  // to 150 ms exactly
        de.UpdateCaliExpo(11, 11);   // recalculated: 12 ms
        de.AdjustExposure(kStepDown);
        de.AdjustExposure(kStepDown);  // to 10 ms exactly
        ASSERT_EQ(calls.seen.size(), 4u);
        EXPECT_EQ(calls.seen[0].first, 150.0f);
        EXPECT_EQ(calls.seen[1].first, 12.0f);
        EXPECT_EQ(calls.seen[3].first, 10.0f);
    });
}

// With defaults: ten attempts held, more than 20 % rejected, mean IQ below 28, mean raw mean
// below 1500 (up) or above 2500 (down); afterwards the statistics start afresh.
TEST(DynamicExposureFeed, StepsWhenTheLastAttemptsCallForIt) {
    InFreshProcess(kSupported, [] {
        LogCapture log;
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        for (int i = 0; i < 9; ++i) de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_TRUE(calls.seen.empty());
        de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_TRUE(log.Contains(ANDROID_LOG_INFO, kTag, "[FeedAuthAttempt] Adjust exposure UP"));
        ASSERT_EQ(calls.seen.size(), 1u);
        EXPECT_EQ(de.auth_stats->total_attempts_, 0u);
        EXPECT_EQ(de.auth_stats->avg_rawmean_delta_, 0.0f);
        for (int i = 0; i < 9; ++i) de.FeedAuthAttempt(Attempt(false, 10, 3000));
        EXPECT_EQ(calls.seen.size(), 1u);
        de.FeedAuthAttempt(Attempt(true, 10, 3000));
        EXPECT_TRUE(log.Contains(ANDROID_LOG_INFO, kTag, "[FeedAuthAttempt] Adjust exposure DOWN"));
        ASSERT_EQ(calls.seen.size(), 2u);
        EXPECT_EQ(de.adjustment_step, 0);
    });
}

// Each threshold must be passed, not met: FRR of exactly 20 %, a mean raw mean of exactly
// 1500 or 2500, a mean IQ of exactly 28 (even with every attempt rejected) change nothing.
TEST(DynamicExposureFeed, ThresholdsMustBePassed) {
    InFreshProcess(kSupported, [] {
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        auto feed = [&de](int rejects, int iq, int raw) {
            de.auth_stats->Reset();
            for (int i = 0; i < 10; ++i) de.FeedAuthAttempt(Attempt(i >= rejects, iq, raw));
        };
        feed(2, 10, 1000);
        feed(10, 10, 1500);
        feed(10, 10, 2500);
        feed(10, 28, 1000);
        EXPECT_TRUE(calls.seen.empty());
        feed(3, 27, 1000);
        EXPECT_EQ(calls.seen.size(), 1u);
        feed(10, 10, 2501);
        EXPECT_EQ(calls.seen.size(), 2u);
    });
}

// Captures that never reached matching count as held attempts but not in the rate or means.
TEST(DynamicExposureFeed, UnmatchedCapturesCountOnlyAsHeld) {
    InFreshProcess(kSupported, [] {
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        for (int i = 0; i < 8; ++i) de.FeedAuthAttempt(Attempt(false, 90, 9000, 2));
        de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_TRUE(calls.seen.empty());
        de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_EQ(calls.seen.size(), 1u);
    });
}

// A step that could not be taken keeps the statistics, so the next attempt tries again.
TEST(DynamicExposureFeed, StatisticsKeptWhenNoStepIsTaken) {
    InFreshProcess(kSupported, [] {
        LogCapture log;
        DynamicExposure& de = DynamicExposure::GetInstance();
        for (int i = 0; i < 11; ++i) de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_EQ(log.Count(kTag, "cali_expo is not initialized"), 2u);
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(149, 149);
        de.FeedAuthAttempt(Attempt(false, 10, 1000));
        EXPECT_EQ(log.Count(kTag, "> upper bound(150.000), skip"), 1u);
        EXPECT_EQ(de.auth_stats->total_attempts_, 10u);
        EXPECT_EQ(DumpText(), FullDump(kDefaults,
                                       "  Stats of last 10 attempts:\n    FRR: 100.00%\n"
                                       "    Avg IQ: 10.00\n    Avg raw mean: 1000.00\n  \n"));
    });
}

TEST(DynamicExposureFeed, TunablesDriveTheDecision) {
    Props props = kSupported;
    const char* values[] = {"4", "1000", "50", "60", "200", "100"};
    for (int i = 0; i < 6; ++i) {
        props.emplace_back(std::string("persist.vendor.udfps.dynamic.exposure.") + kTunables[i],
                           values[i]);
    }
    InFreshProcess(props, [] {
        DynamicExposure& de = DynamicExposure::GetInstance();
        Calls calls;
        de.SetExpoChangedCallback(&calls, Calls::Record);
        de.UpdateCaliExpo(20, 20);
        // 75 % rejected, IQ 50 and raw mean 250: poor and too bright only by these settings.
        for (int i = 0; i < 4; ++i) de.FeedAuthAttempt(Attempt(i == 0, 50, 250));
        ASSERT_EQ(calls.seen.size(), 1u);
        EXPECT_EQ(calls.seen[0].second, 19.0f);  // one step of 1 ms down
    });
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
