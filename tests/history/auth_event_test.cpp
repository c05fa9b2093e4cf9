// Authentication records: their texts, failure reasons, and backup strings both ways.
#include "fp_utils/auth_event.h"

#include <gtest/gtest.h>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr time_t kTime = 0x67a1b2c3;  // 2025-02-04 06:25:07 UTC
const std::string kStamp = "2025-02-04 06:25:07 ";
const std::string kSig = "[virtual bool android::fp_utils::AuthEvent";
const std::string kLoad = "::LoadFromBackupString(std::string &)] ";

AuthEventG7 Event(int8_t info, bool ok = false, uint32_t rc = 0) {
    AuthEventG7 e;
    e.time = kTime;
    e.acquired_info = info;
    e.auth_successful = ok;
    e.rc = rc;
    e.fid = -7;
    e.latency = 150;
    e.iq = 60;
    e.t_cov = 87.256f;
    e.t_dist = 1.5f;
    e.lptw = 4000000000u;
    e.rawmean_delta = -250;
    e.metric_3 = -5;
    e.match_score = 4321;
    for (int i = 0; i < 5; ++i) {
        e.stitch_img_num_[i] = i + 1;
        e.stitch_img_area_[i] = -(i + 10);
    }
    return e;
}

TEST(AuthEventText, BaseLineByAcquiredInfo) {
    const struct {
        int8_t info;
        bool ok;
        std::string tail;
    } cases[] = {
        {1, true, "auth_successful:1, fid:-7, latency:150, iq:60"},
        {1, false, "auth_successful:0, fid:-7, latency:150, iq:60"},
        {0, false, "acquisition_error:UNKNOWN"},
        {3, false, "acquisition_error:INSUFFICIENT"},
        {14, false, "acquisition_error:POWER_PRESS"},
        {15, false, "acquisition_error:15"},
        {-2, false, "acquisition_error:-2"},
    };
    for (const auto& c : cases) {
        AuthEvent base = Event(c.info, c.ok);
        EXPECT_EQ(base.AuthEvent::ToDebugString(), kStamp + c.tail) << "info " << int{c.info};
    }
}

TEST(AuthEventText, G7LineShowsTheStitchFiguresOnASuccessElseTheReason) {
    const std::string head = kStamp + "auth_successful:1, fid:-7, latency:150, iq:60, rc:";
    const std::string figures =
        ", lptw:4000000000, t_cov:87%, t_dist:1.5mm, rawmean_delta:-250, match_score:4321";
    const struct {
        const char* what;
        AuthEventG7 event;
        std::string line;
    } cases[] = {
        {"match", Event(1, true),
         head + "0" + figures + ", stitch_img_num_:1_2_3_4_5, stitch_img_area_:-10_-11_-12_-13_-14"},
        {"match with a code", Event(1, true, 1014),
         head + "1014" + figures + ", reason:Low quality"},
        {"partial", Event(2, false, 1014),
         kStamp + "acquisition_error:PARTIAL, rc:1014, lptw:4000000000, t_cov:87%, "
                  "t_dist:1.5mm"},
        {"insufficient", Event(3), kStamp + "acquisition_error:INSUFFICIENT, rc:0, lptw:4000000000"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.event.ToDebugString(), c.line) << c.what;
}

TEST(AuthEventReason, ByCodeAndRawMeanInOrder) {
    const struct {
        uint32_t rc;
        int32_t delta;
        std::string reason;
    } cases[] = {
        {1164, 0, "Too Dark"},    {1013, -1001, "Too Dark"}, {1013, -1000, "Image Partial"},
        {1014, 0, "Low quality"}, {1137, 0, "Spoof"},        {1138, 0, "Residual"},
        {1513, 0, "Too bright"},  {0, 0, "Off target"}};
    for (const auto& c : cases) {
        AuthEventG7 e;
        e.rc = c.rc;
        e.rawmean_delta = c.delta;
        EXPECT_EQ(e.GetAuthFailureReason(), "reason:" + c.reason) << c.rc << " " << c.delta;
    }
}

// Each metric packs three parts; one below any of the six thresholds is off target, and a
// negative part counts as large.
TEST(AuthEventReason, MetricsTellOffTargetPartialAndForeignMatter) {
    constexpr int32_t m1 = 225220215, m2 = 83205205;
    const struct {
        const char* what;
        int32_t metric_1, metric_2, metric_3;
        uint32_t foreign;
        std::string reason;
    } cases[] = {
        {"third metric below its limit", m1, m2, 119999999, 0, "Partial off target"},
        {"third metric at its limit", m1, m2, 120000000, 0, "Unknown"},
        {"foreign matter", m1, m2, 120000000, 1, "Foreign matter"},
        {"first high part below", m1 - 1000000, m2, 120000000, 1, "Off target"},
        {"first middle part below", m1 - 1000, m2, 120000000, 1, "Off target"},
        {"first low part below", m1 - 1, m2, 120000000, 1, "Off target"},
        {"second high part below", m1, m2 - 1000000, 120000000, 1, "Off target"},
        {"second middle part below", m1, m2 - 1000, 120000000, 1, "Off target"},
        {"second low part below", m1, m2 - 1, 120000000, 1, "Off target"},
        {"negative first metric", -m1, m2, 120000000, 1, "Foreign matter"},
    };
    for (const auto& c : cases) {
        AuthEventG7 e;
        e.rc = 7;
        e.metric_1 = c.metric_1;
        e.metric_2 = c.metric_2;
        e.metric_3 = c.metric_3;
        e.foreign_matter = c.foreign;
        EXPECT_EQ(e.GetAuthFailureReason(), "reason:" + c.reason) << c.what;
    }
}

TEST(AuthEventBackup, BaseStringIsHexFields) {
    AuthEvent base = Event(-2, true);
    base.fid = 2;
    EXPECT_EQ(base.AuthEvent::ToBackupString(), "0x67a1b2c3,0xfffffffe,0x1,0x2,0x96,0x3c");
}

TEST(AuthEventBackup, G7StringRoundTripsWithTwoDecimals) {
    const std::string text = Event(1, true, 1138).ToBackupString();
    EXPECT_EQ(text,
              "0x67a1b2c3,0x1,0x1,0xfffffff9,0x96,0x3c,87.26,1.50,4000000000,0x472,0xffffff06,"
              "0x0,0x0,0xfffffffb,0x0,0x0,0x10e1,0x1,0x2,0x3,0x4,0x5,0xfffffff6,0xfffffff5,"
              "0xfffffff4,0xfffffff3,0xfffffff2");
    AuthEventG7 loaded;
    std::string input = text;
    ASSERT_TRUE(loaded.LoadFromBackupString(input));
    EXPECT_EQ(loaded.ToBackupString(), text);
    EXPECT_FLOAT_EQ(loaded.t_cov, 87.26f);
    EXPECT_EQ(loaded.GetClassName(), "AuthEventG7");
}

TEST(AuthEventBackup, BaseParserTakesTheLowByteAnyNonZeroFlagAndCutsItsPart) {
    std::string rest = "0x1,0x1ff,0x7,0x0,0x0,0x0,tail";
    AuthEvent plain;
    ASSERT_TRUE(plain.LoadFromBackupString(rest));
    EXPECT_EQ(plain.acquired_info, -1);
    EXPECT_TRUE(plain.auth_successful);
    EXPECT_EQ(rest, ",tail");
    EXPECT_EQ(plain.GetClassName(), "AuthEvent");
}

class AuthEventRefusedTest : public ::testing::Test {
  protected:
    // The text of the one error line logged under `tag`.
    std::string OnlyError(const char* tag) {
        const auto lines = log_.Lines(tag);
        EXPECT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.empty() ? 0 : lines[0].priority, ANDROID_LOG_ERROR);
        return lines.empty() ? "" : lines[0].text;
    }
    testing::LogCapture log_;
};

// Time, code and flag stay; the fields the scan reached changed.
TEST_F(AuthEventRefusedTest, BaseTextTooShortKeepsWhatWasNotScanned) {
    AuthEvent e = Event(1, true);
    std::string text = "0x1,0x3,0x0,0x9";
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.time, kTime);
    EXPECT_TRUE(e.auth_successful);
    EXPECT_EQ(e.fid, 9);
    EXPECT_EQ(OnlyError("AuthEvent")
                  .rfind(kSig + kLoad +
                             "failed to parse str:'0x1,0x3,0x0,0x9' "
                             "with error ",
                         0),
              0u);
}

TEST_F(AuthEventRefusedTest, G7TextOneStitchValueShortLoadsTheBasePart) {
    std::string text = Event(1).ToBackupString();
    text.erase(text.rfind(','));
    AuthEventG7 g7;
    EXPECT_FALSE(g7.LoadFromBackupString(text));
    EXPECT_EQ(g7.time, kTime);
    EXPECT_EQ(OnlyError("AuthEventG7").find(kSig + "G7" + kLoad + "failed to parse str:',87.26,"),
              0u);
}

TEST_F(AuthEventRefusedTest, G7TextTheBaseRefusesNamesTheBase) {
    std::string text = "garbage";
    EXPECT_FALSE(AuthEventG7().LoadFromBackupString(text));
    EXPECT_EQ(OnlyError("AuthEventG7"), kSig + "G7" + kLoad + "AuthEvent failed to load 'garbage'");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
