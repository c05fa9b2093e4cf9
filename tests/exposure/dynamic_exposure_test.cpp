// Dynamic exposure. The feature flag and the tunables are read once per process, so every
// case runs in a child process whose properties are set before the first read.
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
using testing::LogLine;
using Seen = std::vector<std::pair<float, float>>;  // (expo, base) per callback

constexpr char kTag[] = "DynamicExposure";
constexpr char kFlag[] = "persist.vendor.udfps.dynamic_exposure_supported";
constexpr int kInfo = ANDROID_LOG_INFO;
constexpr int kError = ANDROID_LOG_ERROR;

const struct {
    const char* prop;   // after "persist.vendor.udfps.dynamic.exposure."
    const char* label;  // in the dump
    unsigned def;
} kTunables[] = {{"number_of_attempts", "kNumberOfAttempts", 10},
                 {"expo_change_unit_denominator", "kExpoChangeUnitDenominator", 60},
                 {"frr_threshold", "kFrrThreshold", 20},
                 {"image_quality_threshold", "kIqThreshold", 28},
                 {"high_raw_mean_threshold", "kHighRawMeanThreshold", 2500},
                 {"low_raw_mean_threshold", "kLowRawMeanThreshold", 1500},
                 {"upper_bound_us", "kExpoUpperBoundUs", 150000},
                 {"lower_bound_us", "kExpoLowerBoundUs", 10000}};

// Runs `body` in a child process with the feature `on` and the tunables set to `values`.
void InChild(bool on, const std::vector<std::string>& values, const std::function<void()>& body) {
    EXPECT_EXIT(
        {
            if (on) android::base::SetProperty(kFlag, "true");
            for (size_t i = 0; i < values.size(); ++i) {
                android::base::SetProperty(
                    std::string("persist.vendor.udfps.dynamic.exposure.") + kTunables[i].prop,
                    values[i]);
            }
            body();
            // The child's failures, written where the parent shows them.
            const auto& r = *::testing::UnitTest::GetInstance()->current_test_info()->result();
            for (int i = 0; i < r.total_part_count(); ++i) {
                const auto& part = r.GetTestPartResult(i);
                fprintf(stderr, "%s:%d: %s\n", part.file_name(), part.line_number(), part.message());
            }
            _exit(r.Failed() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

// The process's controller with a recording callback.
struct Session {
    Session() { de.SetExpoChangedCallback(&seen, Record); }
    static void Record(void* ctx, float expo, float base) {
        static_cast<Seen*>(ctx)->emplace_back(expo, base);
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
    Seen seen;
};

std::string DumpText() {
    FILE* f = tmpfile();
    DynamicExposure::GetInstance().Dump(fileno(f));
    char text[2048] = {};
    EXPECT_GT(pread(fileno(f), text, sizeof(text) - 1, 0), 0);
    fclose(f);
    return text;
}

// The dump of the supported feature with tunables `v` (empty: the defaults).
std::string Dumped(const std::vector<unsigned>& v,
                   const char* stats =
                       "0 attempts:\n    FRR: 0.00%\n    Avg IQ: 0.00\n"
                       "    Avg raw mean: 0.00\n") {
    std::string s = "DynamicExposureSupported:1\nDynamicExposure:\n";
    for (size_t i = 0; i < 8; ++i) {
        s += std::string("  ") + kTunables[i].label + ": " +
             std::to_string(v.empty() ? kTunables[i].def : v[i]) + "\n";
    }
    return s + "  Stats of last " + stats + "  \n";
}

// Off unless the flag says so at the first read, and then without statistics; the steps
// work all the same. A step needs a calibration and a callback and is bounded only in the
// direction it moves; a recalibration re-applies the steps taken, unbounded.
TEST(DynamicExposure, StepsWithTheFeatureOff) {
    InChild(false, {}, [] {
        LogCapture log;
        EXPECT_FALSE(IsDynamicExposureSupported());
        android::base::SetProperty(kFlag, "true");
        DynamicExposure::GetInstance().AdjustExposure(kStepUp);  // neither calibration nor cb
        Session s;
        EXPECT_EQ(DumpText(), "DynamicExposureSupported:0\n");
        s.Feed(1, false, 0, 0);
        s.de.UpdateCaliExpo(20, 0);
        s.de.AdjustExposure(kStepUp);
        s.de.UpdateCaliExpo(20, 20);
        s.de.SetExpoChangedCallback(nullptr, nullptr);
        s.de.AdjustExposure(kStepUp);
        s.de.SetExpoChangedCallback(&s.seen, Session::Record);
        s.de.AdjustExposure(kStepUp);
        EXPECT_EQ(log.Lines(kTag),
                  (std::vector<LogLine>{
                      {kError, kTag, "[AdjustExposure] cali_expo is not initialized"},
                      {kError, kTag,
                       "[FeedAuthAttempt] dynamic exposure is not supported, attempt ignored"},
                      {kInfo, kTag, "UpdateCaliExpo: cali_expo:20.000, cali_expo_base:0.000"},
                      {kError, kTag, "[AdjustExposure] cali_expo is not initialized"},
                      {kInfo, kTag, "UpdateCaliExpo: cali_expo:20.000, cali_expo_base:20.000"},
                      {kError, kTag, "[AdjustExposure] expo changed cb is not registered"},
                      {kInfo, kTag, "[AdjustExposure] adjustment step:1, unit:16.667"},
                      {kInfo, kTag, "[AdjustExposure] cali expo:20.000, base:20.000"},
                      {kInfo, kTag, "[AdjustExposure] adjust to expo:36.667, base:36.667"}}));
        s.de.UpdateCaliExpo(2, 20);      // step 1 re-applied: 3.667, below the lower bound
        s.de.AdjustExposure(kStepUp);    // 5.333: moving up, so not refused
        s.de.UpdateCaliExpo(140, 140);   // 173.333, above the upper bound
        s.de.AdjustExposure(kStepDown);  // 156.667: moving down, so not refused
        const float want[] = {36.667f, 36.667f,  3.667f,   36.667f,  5.333f,  // (expo, base)
                              53.333f, 173.333f, 173.333f, 156.667f, 156.667f};
        for (size_t i = 0; i < 5; ++i) {
            EXPECT_NEAR(s.seen.at(i).first, want[2 * i], 1e-3f) << i;
            EXPECT_NEAR(s.seen.at(i).second, want[2 * i + 1], 1e-3f) << i;
        }
        // Float arithmetic in the stated order: at step 1 this calibration rounds differently
        // in any other order.
        const float cali = 10.1479998f, cali_base = 12.1160002f;
        s.de.UpdateCaliExpo(cali, cali_base);
        const float base = cali_base + (1 * 1000.0f) / 60.0f;
        EXPECT_EQ(s.seen.at(5), std::make_pair((cali * base) / cali_base, base));
        EXPECT_EQ(s.de.adjustment_step, 1);
        EXPECT_EQ(log.Count(kTag, "UpdateCaliExpo: recalculate new exposure time"), 3u);
    });
}

// Set tunables drive the step, the bounds (reached exactly, refused one step beyond) and the
// decision: 4 attempts, over 50 % rejected, IQ below 60 and raw mean above 200 is too bright.
TEST(DynamicExposure, TunablesReadFromTheirProperties) {
    InChild(true, {"4", "1000", "50", "60", "200", "100", "120000", "8000"}, [] {
        LogCapture log;
        EXPECT_EQ(DumpText(), Dumped({4, 1000, 50, 60, 200, 100, 120000, 8000}));
        Session s;
        s.de.UpdateCaliExpo(119, 119);
        EXPECT_EQ(s.de.auth_stats->max_attempts_, 4u);
        s.de.AdjustExposure(kStepUp);  // 120: the bound itself
        s.de.AdjustExposure(kStepUp);
        s.de.UpdateCaliExpo(9, 9);  // 10
        s.de.AdjustExposure(kStepDown);
        s.de.AdjustExposure(kStepDown);  // 8: the bound itself
        s.de.AdjustExposure(kStepDown);
        EXPECT_TRUE(log.Contains(
            kError, kTag, "[AdjustExposure] target expo(121.000) > upper bound(120.000), skip"));
        EXPECT_TRUE(log.Contains(kError, kTag,
                                 "[AdjustExposure] target expo(7.000) < lower bound(8.000), skip"));
        s.de.UpdateCaliExpo(20, 20);  // step -1: 19
        s.Feed(1, true, 50, 250);
        s.Feed(3, false, 50, 250);
        EXPECT_EQ(s.seen, (Seen{{120, 120}, {10, 10}, {9, 9}, {8, 8}, {19, 19}, {18, 18}}));
    });
}

// Defaults (unparsable or out-of-range values count as unset): ten attempts held, more than
// 20 % rejected, mean IQ below 28, mean raw mean below 1500 (up) or above 2500 (down); each
// threshold must be passed, not met. A step not taken keeps the statistics, one taken clears
// them.
TEST(DynamicExposure, FeedStepsOnlyPastEveryThreshold) {
    InChild(true, {"abc", "-1", "4294967296", "12x", "", "1.5", " ", "0x"}, [] {
        LogCapture log;
        EXPECT_EQ(DumpText(), Dumped({}));
        Session s;
        s.Feed(11, false, 10, 1000);  // the 10th and 11th call for a step: no calibration
        EXPECT_EQ(log.Count(kTag, "cali_expo is not initialized"), 2u);
        s.de.UpdateCaliExpo(149, 149);
        s.Feed(1, false, 10, 1000);  // up to 165.667: beyond the bound
        EXPECT_EQ(DumpText(), Dumped({},
                                     "10 attempts:\n    FRR: 100.00%\n    Avg IQ: 10.00\n"
                                     "    Avg raw mean: 1000.00\n"));
        s.de.UpdateCaliExpo(50, 50);
        s.Feed(1, false, 10, 1000);
        EXPECT_TRUE(log.Contains(kInfo, kTag, "[FeedAuthAttempt] Adjust exposure UP"));
        EXPECT_EQ(DumpText(), Dumped({}));
        s.Feed(9, false, 10, 3000);
        s.Feed(1, true, 10, 3000);
        EXPECT_TRUE(log.Contains(kInfo, kTag, "[FeedAuthAttempt] Adjust exposure DOWN"));
        EXPECT_EQ(s.seen.size(), 2u);
        // Each threshold met but not passed, then passed, over ten fresh attempts.
        const struct {
            int rejects, iq, raw;
            size_t steps;
        } cases[] = {{2, 10, 1000, 2},  {10, 10, 1500, 2}, {10, 10, 2500, 2},
                     {10, 28, 1000, 2}, {3, 27, 1000, 3},  {10, 10, 2501, 4}};
        for (const auto& c : cases) {
            s.de.auth_stats->Reset();
            s.Feed(c.rejects, false, c.iq, c.raw);
            s.Feed(10 - c.rejects, true, c.iq, c.raw);
            EXPECT_EQ(s.seen.size(), c.steps) << c.rejects << " " << c.iq << " " << c.raw;
        }
        s.Feed(8, true, 90, 2000, 2);  // never reached matching: held, not counted in the FRR
        s.Feed(2, false, 10, 1000);
        EXPECT_EQ(s.seen.size(), 5u);
    });
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
