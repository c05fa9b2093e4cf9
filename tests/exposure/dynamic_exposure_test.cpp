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
const std::vector<unsigned> kDefaults = {10, 60, 20, 28, 2500, 1500, 150000, 10000};

// The eight tunables, in the order of the dump, set to `values`.
Props Tunables(const std::vector<std::string>& values, Props props = kSupported) {
    const char* names[] = {"number_of_attempts",      "expo_change_unit_denominator",
                           "frr_threshold",           "image_quality_threshold",
                           "high_raw_mean_threshold", "low_raw_mean_threshold",
                           "upper_bound_us",          "lower_bound_us"};
    for (size_t i = 0; i < values.size(); ++i) {
        props.emplace_back(std::string("persist.vendor.udfps.dynamic.exposure.") + names[i],
                           values[i]);
    }
    return props;
}

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

void InFreshProcess(const Props& props, const std::function<void()>& body) {
    EXPECT_EXIT(RunChild(props, body), ::testing::ExitedWithCode(0), "");
}

// The process's controller with a recording callback, calibrated unless `cali` is 0.
struct Session {
    explicit Session(float cali = 20, float cali_base = 20) {
        de.SetExpoChangedCallback(this, Record);
        if (cali != 0) de.UpdateCaliExpo(cali, cali_base);
    }
    static void Record(void* ctx, float expo, float base) {
        static_cast<Session*>(ctx)->seen.emplace_back(expo, base);
    }
    void Feed(int n, bool ok, int32_t iq, int32_t raw, int8_t acquired = 1) {
        for (int i = 0; i < n; ++i) {
            auto e = std::make_shared<AuthEventG7>();
            e->acquired_info = acquired;
            e->auth_successful = ok;
            e->iq = iq;
            e->rawmean_delta = raw;
            de.FeedAuthAttempt(e);
        }
    }
    DynamicExposure& de = DynamicExposure::GetInstance();
    std::vector<std::pair<float, float>> seen;  // (expo, base) per callback
};

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
    const char* names[] = {"kNumberOfAttempts",     "kExpoChangeUnitDenominator",
                           "kFrrThreshold",         "kIqThreshold",
                           "kHighRawMeanThreshold", "kLowRawMeanThreshold",
                           "kExpoUpperBoundUs",     "kExpoLowerBoundUs"};
    std::string s = "DynamicExposureSupported:1\nDynamicExposure:\n";
    for (int i = 0; i < 8; ++i)
        s += "  " + std::string(names[i]) + ": " + std::to_string(v[i]) + "\n";
    return s + stats;
}

TEST(DynamicExposureSettings, OffByDefaultAndReadOnce) {
    InFreshProcess({}, [] {
        LogCapture log;
        EXPECT_FALSE(IsDynamicExposureSupported());
        android::base::SetProperty("persist.vendor.udfps.dynamic_exposure_supported", "true");
        EXPECT_FALSE(IsDynamicExposureSupported());
        Session s;
        EXPECT_EQ(DumpText(), "DynamicExposureSupported:0\n");
        EXPECT_EQ(s.de.auth_stats, nullptr);
        s.Feed(1, false, 0, 0);  // refused, not a crash
        EXPECT_EQ(log.Count(kTag, "[FeedAuthAttempt] dynamic exposure is not supported"), 1u);
        s.de.AdjustExposure(kStepUp);  // steps still work without statistics
        EXPECT_EQ(s.seen.size(), 1u);
    });
}

TEST(DynamicExposureSettings, EveryTunableHasItsDefault) {
    InFreshProcess(kSupported, [] {
        EXPECT_TRUE(IsDynamicExposureSupported());
        EXPECT_EQ(DumpText(), FullDump(kDefaults));
        EXPECT_EQ(DynamicExposure::GetInstance().auth_stats->max_attempts_, 10u);
    });
    // Unparsable or out of range: the default.
    InFreshProcess(Tunables({"abc", "-1", "4294967296", "12x", "", "1.5", " ", "0x"}),
                   [] { EXPECT_EQ(DumpText(), FullDump(kDefaults)); });
}

TEST(DynamicExposureSettings, EveryTunableIsReadFromItsProperty) {
    InFreshProcess(Tunables({"3", "7", "33", "41", "2600", "1400", "90000", "20000"}), [] {
        EXPECT_EQ(DumpText(), FullDump({3, 7, 33, 41, 2600, 1400, 90000, 20000}));
        EXPECT_EQ(DynamicExposure::GetInstance().auth_stats->max_attempts_, 3u);
    });
}

TEST(DynamicExposureAdjust, OneStepUpFromTwenty) {
    InFreshProcess({}, [] {
        LogCapture log;
        Session s;
        EXPECT_TRUE(s.seen.empty());  // no step yet: the calibration is only stored
        s.de.AdjustExposure(kStepUp);
        ASSERT_EQ(s.seen.size(), 1u);
        EXPECT_NEAR(s.seen[0].first, 36.667f, 5e-4f);
        EXPECT_EQ(s.seen[0].first, s.seen[0].second);
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
// calibration other orders round differently.
TEST(DynamicExposureAdjust, FloatArithmeticInTheStatedOrder) {
    InFreshProcess({}, [] {
        const float cali = 10.1479998f;
        const float cali_base = 12.1160002f;
        Session s(cali, cali_base);
        s.de.AdjustExposure(kStepUp);
        s.de.AdjustExposure(kStepUp);
        s.de.AdjustExposure(kStepDown);
        ASSERT_EQ(s.seen.size(), 3u);
        const int steps[] = {1, 2, 1};
        for (int i = 0; i < 3; ++i) {
            const float base = cali_base + (static_cast<float>(steps[i]) * 1000.0f) / 60.0f;
            EXPECT_EQ(s.seen[i].second, base);
            EXPECT_EQ(s.seen[i].first, (cali * base) / cali_base);
        }
        EXPECT_NE(s.seen[0].first, cali * (s.seen[0].second / cali_base));
    });
}

TEST(DynamicExposureAdjust, NeedsCalibrationAndCallback) {
    InFreshProcess({}, [] {
        LogCapture log;
        Session s(0);
        s.de.AdjustExposure(kStepUp);
        s.de.UpdateCaliExpo(20, 0);
        s.de.AdjustExposure(kStepUp);
        EXPECT_EQ(log.Count(kTag, "[AdjustExposure] cali_expo is not initialized"), 2u);
        s.de.UpdateCaliExpo(20, 20);
        s.de.SetExpoChangedCallback(nullptr, nullptr);
        s.de.AdjustExposure(kStepUp);
        EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, kTag,
                                 "[AdjustExposure] expo changed cb is not registered"));
        EXPECT_EQ(s.de.adjustment_step, 0);
        s.de.SetExpoChangedCallback(&s, Session::Record);
        s.de.AdjustExposure(kStepUp);
        EXPECT_EQ(s.seen.size(), 1u);
        EXPECT_EQ(s.de.adjustment_step, 1);
    });
}

// A step is refused only beyond the bound it moves towards; a recalculation after a new
// calibration is passed on whatever it gives.
TEST(DynamicExposureAdjust, BoundsOnlyInTheDirectionOfTheMove) {
    InFreshProcess({}, [] {
        LogCapture log;
        Session s(12, 12);
        s.de.AdjustExposure(kStepDown);
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_ERROR, kTag,
                         "[AdjustExposure] target expo(-4.667) < lower bound(10.000), skip"));
        s.de.UpdateCaliExpo(140, 140);
        s.de.AdjustExposure(kStepUp);
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_ERROR, kTag,
                         "[AdjustExposure] target expo(156.667) > upper bound(150.000), skip"));
        EXPECT_EQ(s.de.adjustment_step, 0);
        EXPECT_TRUE(s.seen.empty());
        s.de.UpdateCaliExpo(2, 20);  // below the lower bound already: up is still allowed
        s.de.AdjustExposure(kStepUp);
        s.de.AdjustExposure(kStepUp);
        ASSERT_EQ(s.seen.size(), 2u);
        EXPECT_LT(s.seen[1].first, 10.0f);
        s.de.UpdateCaliExpo(140, 140);  // two steps re-applied: 173.333, above the upper bound
        EXPECT_TRUE(
            log.Contains(ANDROID_LOG_INFO, kTag, "UpdateCaliExpo: recalculate new exposure time"));
        ASSERT_EQ(s.seen.size(), 3u);
        EXPECT_NEAR(s.seen[2].first, 173.333f, 1e-3f);
        EXPECT_EQ(s.de.adjustment_step, 2);
    });
}

TEST(DynamicExposureAdjust, BoundsThemselvesAreAllowed) {
    InFreshProcess(Tunables({"10", "1000"}, {}), [] {  // one step is 1 ms
        Session s(149, 149);
        s.de.AdjustExposure(kStepUp);  // to 150 ms exactly
        s.de.UpdateCaliExpo(11, 11);   // recalculated: 12 ms
        s.de.AdjustExposure(kStepDown);
        s.de.AdjustExposure(kStepDown);  // to 10 ms exactly
        ASSERT_EQ(s.seen.size(), 4u);
        EXPECT_EQ(s.seen[0].first, 150.0f);
        EXPECT_EQ(s.seen[1].first, 12.0f);
        EXPECT_EQ(s.seen[3].first, 10.0f);
    });
}

// With defaults: ten attempts held, more than 20 % rejected, mean IQ below 28, mean raw mean
// below 1500 (up) or above 2500 (down); afterwards the statistics start afresh.
TEST(DynamicExposureFeed, StepsWhenTheLastAttemptsCallForIt) {
    InFreshProcess(kSupported, [] {
        LogCapture log;
        Session s;
        s.Feed(9, false, 10, 1000);
        EXPECT_TRUE(s.seen.empty());
        s.Feed(1, false, 10, 1000);
        EXPECT_TRUE(log.Contains(ANDROID_LOG_INFO, kTag, "[FeedAuthAttempt] Adjust exposure UP"));
        ASSERT_EQ(s.seen.size(), 1u);
        EXPECT_EQ(s.de.auth_stats->total_attempts_, 0u);
        EXPECT_EQ(s.de.auth_stats->avg_rawmean_delta_, 0.0f);
        s.Feed(9, false, 10, 3000);
        EXPECT_EQ(s.seen.size(), 1u);
        s.Feed(1, true, 10, 3000);
        EXPECT_TRUE(log.Contains(ANDROID_LOG_INFO, kTag, "[FeedAuthAttempt] Adjust exposure DOWN"));
        ASSERT_EQ(s.seen.size(), 2u);
        EXPECT_EQ(s.de.adjustment_step, 0);
    });
}

// Each threshold must be passed, not met: FRR of exactly 20 %, a mean raw mean of exactly
// 1500 or 2500, a mean IQ of exactly 28 (even with every attempt rejected) change nothing.
// Captures that never reached matching count as held attempts only.
TEST(DynamicExposureFeed, ThresholdsMustBePassed) {
    InFreshProcess(kSupported, [] {
        Session s(50, 50);  // room for a step either way
        auto ten = [&s](int rejects, int iq, int raw) {
            s.de.auth_stats->Reset();
            s.Feed(rejects, false, iq, raw);
            s.Feed(10 - rejects, true, iq, raw);
        };
        ten(2, 10, 1000);
        ten(10, 10, 1500);
        ten(10, 10, 2500);
        ten(10, 28, 1000);
        EXPECT_TRUE(s.seen.empty());
        ten(3, 27, 1000);
        EXPECT_EQ(s.seen.size(), 1u);
        ten(10, 10, 2501);
        EXPECT_EQ(s.seen.size(), 2u);
        s.Feed(8, true, 90, 2000, 2);
        s.Feed(1, false, 10, 1000);
        EXPECT_EQ(s.seen.size(), 2u);
        s.Feed(1, false, 10, 1000);
        EXPECT_EQ(s.seen.size(), 3u);
    });
}

// A step that could not be taken keeps the statistics, so the next attempt tries again.
TEST(DynamicExposureFeed, StatisticsKeptWhenNoStepIsTaken) {
    InFreshProcess(kSupported, [] {
        LogCapture log;
        Session s(0);
        s.Feed(11, false, 10, 1000);
        EXPECT_EQ(log.Count(kTag, "cali_expo is not initialized"), 2u);
        s.de.UpdateCaliExpo(149, 149);
        s.Feed(1, false, 10, 1000);
        EXPECT_EQ(log.Count(kTag, "> upper bound(150.000), skip"), 1u);
        EXPECT_EQ(DumpText(), FullDump(kDefaults,
                                       "  Stats of last 10 attempts:\n    FRR: 100.00%\n"
                                       "    Avg IQ: 10.00\n    Avg raw mean: 1000.00\n  \n"));
    });
}

TEST(DynamicExposureFeed, TunablesDriveTheDecision) {
    InFreshProcess(Tunables({"4", "1000", "50", "60", "200", "100"}), [] {
        Session s;
        // 75 % rejected, IQ 50 and raw mean 250: poor and too bright only by these settings.
        s.Feed(1, true, 50, 250);
        s.Feed(3, false, 50, 250);
        ASSERT_EQ(s.seen.size(), 1u);
        EXPECT_EQ(s.seen[0].second, 19.0f);  // one step of 1 ms down
    });
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
