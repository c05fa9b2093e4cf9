#include "fp_utils/auth_event.h"

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;

constexpr time_t kTime = 0x67a1b2c3;  // 2025-02-04 06:25:07 UTC
constexpr char kStamp[] = "2025-02-04 06:25:07 ";

AuthEvent Base(int8_t info, bool ok, int32_t fid, int32_t latency, int32_t iq) {
    AuthEvent e;
    e.time = kTime;
    e.acquired_info = info;
    e.auth_successful = ok;
    e.fid = fid;
    e.latency = latency;
    e.iq = iq;
    return e;
}

AuthEventG7 FullG7() {
    AuthEventG7 e;
    e.time = kTime;
    e.acquired_info = 1;
    e.auth_successful = true;
    e.fid = -7;
    e.latency = 150;
    e.iq = 60;
    e.t_cov = 87.256f;
    e.t_dist = 1.5f;
    e.lptw = 4000000000u;
    e.rc = 0;
    e.rawmean_delta = -250;
    e.metric_1 = 225220215;
    e.metric_2 = 83205205;
    e.metric_3 = -5;
    e.metric_4 = 12;
    e.foreign_matter = 1;
    e.match_score = 4321;
    for (int i = 0; i < 5; ++i) {
        e.stitch_img_num_[i] = i + 1;
        e.stitch_img_area_[i] = -(i + 10);
    }
    return e;
}

TEST(AuthEventDebug, GoodCapturesShowMatchFiguresOthersTheAcquisitionError) {
    EXPECT_EQ(Base(1, true, 2, 150, 60).ToDebugString(),
              std::string(kStamp) + "auth_successful:1, fid:2, latency:150, iq:60");
    EXPECT_EQ(Base(1, false, 0, 156, 46).ToDebugString(),
              std::string(kStamp) + "auth_successful:0, fid:0, latency:156, iq:46");
    EXPECT_EQ(Base(3, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:INSUFFICIENT");
    EXPECT_EQ(Base(0, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:UNKNOWN");
    EXPECT_EQ(Base(14, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:POWER_PRESS");
    EXPECT_EQ(Base(15, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:15");
    EXPECT_EQ(Base(20, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:20");
    EXPECT_EQ(Base(-2, false, 0, 0, 0).ToDebugString(),
              std::string(kStamp) + "acquisition_error:-2");
}

TEST(AuthEventDebug, LineIsCutAt127Characters) {
    std::string line =
        Base(1, true, -2147483647 - 1, -2147483647 - 1, -2147483647 - 1).ToDebugString();
    EXPECT_LE(line.size(), 127u);
    EXPECT_EQ(line, std::string(kStamp) +
                        "auth_successful:1, fid:-2147483648, latency:-2147483648, iq:-2147483648");
}

TEST(AuthEventBackup, FormatsHexFieldsAndSignExtendsTheCode) {
    EXPECT_EQ(Base(1, true, 2, 0x96, 0x3c).ToBackupString(), "0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c");
    EXPECT_EQ(Base(-2, false, -1, 0, 0).ToBackupString(),
              "0x67a1b2c3,0xfffffffe,0x0,0xffffffff,0x0,0x0");
}

TEST(AuthEventBackup, RoundTripRestoresEveryFieldAndConsumesTheText) {
    for (const AuthEvent& original : {Base(1, true, 2, 150, 60), Base(-2, false, -1, -3, 99)}) {
        std::string text = original.ToBackupString();
        AuthEvent loaded;
        ASSERT_TRUE(loaded.LoadFromBackupString(text));
        EXPECT_EQ(text, "");
        EXPECT_EQ(loaded.time, original.time);
        EXPECT_EQ(loaded.acquired_info, original.acquired_info);
        EXPECT_EQ(loaded.auth_successful, original.auth_successful);
        EXPECT_EQ(loaded.fid, original.fid);
        EXPECT_EQ(loaded.latency, original.latency);
        EXPECT_EQ(loaded.iq, original.iq);
    }
}

TEST(AuthEventBackup, NonZeroSuccessValueAndLowByteOfTheCode) {
    std::string text = "0x1,0x1ff,0x7,0x0,0x0,0x0,tail";
    AuthEvent e;
    ASSERT_TRUE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.acquired_info, -1);
    EXPECT_TRUE(e.auth_successful);
    EXPECT_EQ(text, ",tail");
}

TEST(AuthEventBackup, ShortTextIsRejectedWithTheParseLog) {
    LogCapture log;
    AuthEvent e = Base(1, true, 5, 6, 7);
    std::string text = "0x67a1b2c3,0x1,0x0,0x9";
    EXPECT_FALSE(e.LoadFromBackupString(text));
    // Only the leading fields the scan reached changed; time, code and flag stay.
    EXPECT_EQ(e.time, kTime);
    EXPECT_TRUE(e.auth_successful);
    EXPECT_EQ(e.fid, 9);
    EXPECT_EQ(e.latency, 6);
    EXPECT_EQ(text, "0x67a1b2c3,0x1,0x0,0x9");
    auto lines = log.Lines("AuthEvent");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);
    EXPECT_EQ(
        lines[0].text.rfind("[virtual bool android::fp_utils::AuthEvent::LoadFromBackupString("
                            "std::string &)] failed to parse str:'0x67a1b2c3,0x1,0x0,0x9' "
                            "with error ",
                            0),
        0u);
}

TEST(AuthEventG7Debug, ShowsStitchFiguresOrTheReasonByResultCode) {
    AuthEventG7 e = FullG7();
    std::string head = std::string(kStamp) +
                       "auth_successful:1, fid:-7, latency:150, iq:60, rc:0, lptw:4000000000";
    EXPECT_EQ(e.ToDebugString(),
              head +
                  ", t_cov:87%, t_dist:1.5mm, rawmean_delta:-250, match_score:4321"
                  ", stitch_img_num_:1_2_3_4_5, stitch_img_area_:-10_-11_-12_-13_-14");
    e.rc = 1014;
    EXPECT_EQ(
        e.ToDebugString(),
        std::string(kStamp) +
            "auth_successful:1, fid:-7, latency:150, iq:60, rc:1014, lptw:4000000000, "
            "t_cov:87%, t_dist:1.5mm, rawmean_delta:-250, match_score:4321, reason:Low quality");
    e.acquired_info = 2;
    EXPECT_EQ(e.ToDebugString(),
              std::string(kStamp) +
                  "acquisition_error:PARTIAL, rc:1014, lptw:4000000000, t_cov:87%, "
                  "t_dist:1.5mm");
    e.acquired_info = 3;
    EXPECT_EQ(e.ToDebugString(),
              std::string(kStamp) + "acquisition_error:INSUFFICIENT, rc:1014, lptw:4000000000");
}

TEST(AuthEventG7Reason, ResultCodesWinInOrder) {
    AuthEventG7 e;
    struct Case {
        uint32_t rc;
        int32_t rawmean_delta;
        const char* reason;
    } cases[] = {
        {1164, 0, "reason:Too Dark"},
        {1013, -1001, "reason:Too Dark"},
        {1013, -1000, "reason:Image Partial"},
        {1014, 0, "reason:Low quality"},
        {1137, 0, "reason:Spoof"},
        {1138, 0, "reason:Residual"},
        {1513, 0, "reason:Too bright"},
        {0, 0, "reason:Off target"},
        {7, -5000, "reason:Too Dark"},
    };
    for (const Case& c : cases) {
        e.rc = c.rc;
        e.rawmean_delta = c.rawmean_delta;
        EXPECT_EQ(e.GetAuthFailureReason(), c.reason)
            << "rc " << c.rc << " delta " << c.rawmean_delta;
    }
}

TEST(AuthEventG7Reason, ImageTestOnPackedMetrics) {
    AuthEventG7 e;
    e.rc = 1;
    e.metric_1 = 225220215;
    e.metric_2 = 83205205;
    e.metric_3 = 119999999;
    EXPECT_EQ(e.GetAuthFailureReason(), "reason:Partial off target");
    e.metric_3 = 120000000;
    EXPECT_EQ(e.GetAuthFailureReason(), "reason:Unknown");
    e.foreign_matter = 1;
    EXPECT_EQ(e.GetAuthFailureReason(), "reason:Foreign matter");
    e.foreign_matter = 0;
    // Each of the six thresholds, one below.
    for (int32_t* metric : {&e.metric_1, &e.metric_2}) {
        for (int32_t delta : {1000000, 1000, 1}) {
            int32_t saved = *metric;
            *metric -= delta;
            EXPECT_EQ(e.GetAuthFailureReason(), "reason:Off target") << *metric;
            *metric = saved;
        }
    }
    // A negative part counts as very large, so it passes its threshold.
    e.metric_3 = 0;
    e.metric_1 = -225220215;
    EXPECT_EQ(e.GetAuthFailureReason(), "reason:Partial off target");
}

TEST(AuthEventG7Backup, RoundTripKeepsTwoDecimalsOfTheFloats) {
    AuthEventG7 original = FullG7();
    original.rc = 1138;
    std::string text = original.ToBackupString();
    EXPECT_EQ(text,
              "0x67a1b2c3,0x1,0x1,0xfffffff9,0x96,0x3c,87.26,1.50,4000000000,0x472,0xffffff06,"
              "0xd6c9677,0x4f59c55,0xfffffffb,0xc,0x1,0x10e1,0x1,0x2,0x3,0x4,0x5,0xfffffff6,"
              "0xfffffff5,0xfffffff4,0xfffffff3,0xfffffff2");
    AuthEventG7 loaded;
    ASSERT_TRUE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(loaded.ToBackupString(), original.ToBackupString());
    EXPECT_FLOAT_EQ(loaded.t_cov, 87.26f);
    EXPECT_EQ(loaded.lptw, original.lptw);
    EXPECT_EQ(loaded.metric_3, -5);
    EXPECT_EQ(loaded.stitch_img_area_[4], -14);
    EXPECT_EQ(loaded.fid, -7);
}

TEST(AuthEventG7Backup, MissingStitchValueFailsAfterTheBasePart) {
    LogCapture log;
    std::string text = FullG7().ToBackupString();
    text.erase(text.rfind(','));
    AuthEventG7 loaded;
    EXPECT_FALSE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(loaded.time, kTime);  // the base part loaded
    auto lines = log.Lines("AuthEventG7");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);
    EXPECT_EQ(
        lines[0].text.find("[virtual bool android::fp_utils::AuthEventG7::LoadFromBackupString("
                           "std::string &)] failed to parse str:',87.26,"),
        0u);
}

TEST(AuthEventG7Backup, BaseFailureIsReportedByBothParsers) {
    LogCapture log;
    std::string text = "garbage";
    AuthEventG7 loaded;
    EXPECT_FALSE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(log.Lines("AuthEvent").size(), 1u);
    EXPECT_TRUE(log.Contains(ANDROID_LOG_ERROR, "AuthEventG7",
                             "[virtual bool android::fp_utils::AuthEventG7::LoadFromBackupString("
                             "std::string &)] AuthEvent failed to load 'garbage'"));
}

TEST(AuthEventClassName, NamesTheDynamicType) {
    AuthEventG7 g7;
    AuthEvent& as_base = g7;
    EXPECT_EQ(as_base.GetClassName(), "AuthEventG7");
    AuthEvent base;
    EXPECT_EQ(base.GetClassName(), "AuthEvent");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
