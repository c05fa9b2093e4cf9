#include "fp_utils/enroll_event.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "tests/support/log_capture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;

constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC
constexpr char kStamp[] = "2024-03-05 14:07:31 ";
constexpr char kBaseSignature[] =
    "[virtual bool android::fp_utils::EnrollEvent::LoadFromBackupString(std::string &)] ";
constexpr char kG7Signature[] =
    "[virtual bool android::fp_utils::EnrollEventG7::LoadFromBackupString(std::string &)] ";

template <typename Event>
Event Make(EnrollOp op, bool ok, int32_t gid, int32_t fid, int32_t captures, float iq,
           int32_t enrolled) {
    Event e;
    e.time = kTime;
    e.op = op;
    e.enroll_successful = ok;
    e.gid = gid;
    e.fid = fid;
    e.capture_count = captures;
    e.iq_avg = iq;
    e.enrolled_fingers_count = enrolled;
    return e;
}

// The failed addition the HAL's engineers know from the dump of an "Area Small" enrollment.
EnrollEventG7 FailedG7() {
    auto e = Make<EnrollEventG7>(ADD, false, 0, 0, 3, 18.2f, 1);
    e.rc = 1;
    e.rawmean_delta = -3.5f;
    const int32_t num[5] = {1, 0, 0, 2, 0}, area[5] = {40, 0, 0, 75, 0};
    for (int i = 0; i < 5; ++i) {
        e.stitch_img_num_[i] = num[i];
        e.stitch_img_area_[i] = area[i];
    }
    return e;
}

constexpr char kFailedG7Figures[] =
    ", rc:1, rawmean_delta:-3.50, stitch_img_num_:1_0_0_2_0, stitch_img_area_:40_0_0_75_0";

TEST(EnrollEventDebug, EachOpHasItsLineAndUnknownOpsOnlyTheTime) {
    EXPECT_EQ(Make<EnrollEvent>(ADD, true, 0, 1234, 14, 52.37f, 2).ToDebugString(),
              std::string(kStamp) +
                  "op:ADD, enroll_successful:1, gid:0, fid:1234, capture_count:14, "
                  "iq_avg:52.37, enrolled_fingers_count:2");
    EXPECT_EQ(Make<EnrollEvent>(DEL, true, 3, -7, 14, 52.37f, 2).ToDebugString(),
              std::string(kStamp) + "op:DEL, gid:3, fid:-7");
    for (int op : {2, -1, 1000}) {
        EXPECT_EQ(Make<EnrollEvent>(static_cast<EnrollOp>(op), true, 3, 7, 1, 1, 1).ToDebugString(),
                  kStamp)
            << "op " << op;
    }
}

TEST(EnrollEventDebug, LineIsCutAt127CharactersAndG7AppendsAfterTheCut) {
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    std::string full = std::string(kStamp) +
                       "op:ADD, enroll_successful:0, gid:-2147483648, fid:-2147483648, "
                       "capture_count:-2147483648, iq_avg:-1000000.00, "
                       "enrolled_fingers_count:-2147483648";
    ASSERT_GT(full.size(), 127u);
    EXPECT_EQ(Make<EnrollEvent>(ADD, false, kMin, kMin, kMin, -1e6f, kMin).ToDebugString(),
              full.substr(0, 127));

    auto g7 = Make<EnrollEventG7>(ADD, false, kMin, kMin, kMin, -1e6f, kMin);
    g7.rc = 4000000000u;
    EXPECT_EQ(g7.ToDebugString(),
              full.substr(0, 127) +
                  ", rc:4000000000, rawmean_delta:0.00, stitch_img_num_:0_0_0_0_0, "
                  "stitch_img_area_:0_0_0_0_0, reason:Unknown");
}

TEST(EnrollEventG7Debug, FailedAdditionShowsImageFiguresAndTheReason) {
    EXPECT_EQ(FailedG7().ToDebugString(),
              std::string(kStamp) +
                  "op:ADD, enroll_successful:0, gid:0, fid:0, capture_count:3, iq_avg:18.20, "
                  "enrolled_fingers_count:1" +
                  kFailedG7Figures + ", reason:Area Small");
}

TEST(EnrollEventG7Debug, SuccessHidesTheReasonDeletionHidesAllButTheCode) {
    EnrollEventG7 ok = FailedG7();
    ok.enroll_successful = true;
    EXPECT_EQ(ok.ToDebugString(),
              std::string(kStamp) +
                  "op:ADD, enroll_successful:1, gid:0, fid:0, capture_count:3, iq_avg:18.20, "
                  "enrolled_fingers_count:1" +
                  kFailedG7Figures);

    EnrollEventG7 del = FailedG7();
    del.op = DEL;
    del.fid = 5;
    del.rc = 2;
    EXPECT_EQ(del.ToDebugString(), std::string(kStamp) + "op:DEL, gid:0, fid:5, rc:2");
}

TEST(EnrollEventG7Debug, UnknownOpStillShowsTheCodeAndImageFigures) {
    EnrollEventG7 odd = FailedG7();
    odd.op = static_cast<EnrollOp>(7);
    EXPECT_EQ(odd.ToDebugString(), std::string(kStamp) + kFailedG7Figures + ", reason:Area Small");
}

TEST(EnrollEventG7Debug, FailureReasonByResultCode) {
    EnrollEventG7 e;
    const std::pair<uint32_t, const char*> cases[] = {
        {0, "reason:Unknown"},           {1, "reason:Area Small"}, {2, "reason:Foreign Matter"},
        {3, "reason:Low Image Quality"}, {4, "reason:Unknown"},    {0xFFFFFFFFu, "reason:Unknown"},
    };
    for (const auto& [rc, text] : cases) {
        e.rc = rc;
        EXPECT_EQ(e.GetEnrollFailureReason(), text) << "rc " << rc;
    }
}

TEST(EnrollEventBackup, BaseAndG7StringsHaveTheirExactForms) {
    auto base = Make<EnrollEvent>(ADD, true, 0, 1234, 14, 52.37f, 2);
    base.time = 0x65e726a3;
    EXPECT_EQ(base.ToBackupString(), "0x65e726a3,0,0x1,0x0,0x4d2,0xe,52.37,0x2");
    EXPECT_EQ(Make<EnrollEvent>(DEL, false, -1, -2, 0, -3.456f, 0).ToBackupString(),
              "0x65e72723,1,0x0,0xffffffff,0xfffffffe,0x0,-3.46,0x0");

    EnrollEventG7 g7 = FailedG7();
    g7.stitch_img_area_[4] = -1;
    EXPECT_EQ(g7.ToBackupString(),
              "0x65e72723,0,0x0,0x0,0x0,0x3,18.20,0x1,0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,"
              "0x4b,0xffffffff");
}

TEST(EnrollEventBackup, G7RoundTripKeepsEveryFieldWithTwoDecimals) {
    EnrollEventG7 original = FailedG7();
    original.op = DEL;
    original.enroll_successful = true;
    original.gid = -5;
    original.fid = 0x7fffffff;
    original.iq_avg = 52.376f;
    original.rawmean_delta = -1234.567f;
    original.rc = 0xFFFFFFFFu;
    for (int i = 0; i < 5; ++i) original.stitch_img_num_[i] = -(i + 1);

    std::string text = original.ToBackupString();
    EnrollEventG7 loaded;
    ASSERT_TRUE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(loaded.ToBackupString(), original.ToBackupString());
    EXPECT_EQ(loaded.time, original.time);
    EXPECT_EQ(loaded.op, DEL);
    EXPECT_TRUE(loaded.enroll_successful);
    EXPECT_EQ(loaded.gid, -5);
    EXPECT_EQ(loaded.fid, 0x7fffffff);
    EXPECT_EQ(loaded.capture_count, 3);
    EXPECT_FLOAT_EQ(loaded.iq_avg, 52.38f);
    EXPECT_EQ(loaded.enrolled_fingers_count, 1);
    EXPECT_EQ(loaded.rc, 0xFFFFFFFFu);
    EXPECT_FLOAT_EQ(loaded.rawmean_delta, -1234.57f);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(loaded.stitch_img_num_[i], -(i + 1));
        EXPECT_EQ(loaded.stitch_img_area_[i], original.stitch_img_area_[i]);
    }
}

TEST(EnrollEventBackup, BaseReaderCutsItsPartOffForTheDerivedReader) {
    std::string text = "0x65e726a3,0,0x1,0x0,0x4d2,0xe,52,0x2,0x1,rest";
    EnrollEvent e;
    ASSERT_TRUE(e.LoadFromBackupString(text));
    EXPECT_EQ(text, ",0x1,rest");
    EXPECT_EQ(e.time, 0x65e726a3);
    EXPECT_EQ(e.fid, 1234);
    EXPECT_FLOAT_EQ(e.iq_avg, 52.0f);

    // Upper-case digits and a non-zero flag other than 1 are accepted.
    text = "0x65E726A3,1,0x7,0xA,0xB,0xC,-0.50,0xD";
    ASSERT_TRUE(e.LoadFromBackupString(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(e.op, DEL);
    EXPECT_TRUE(e.enroll_successful);
    EXPECT_EQ(e.enrolled_fingers_count, 13);
}

TEST(EnrollEventBackup, ShortTextIsRejectedAndOnlyTheScannedFieldsChange) {
    LogCapture log;
    auto e = Make<EnrollEvent>(DEL, true, 5, 6, 7, 8.0f, 9);
    std::string text = "0x1,0,0x0,0x63";
    errno = EINVAL;
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(text, "0x1,0,0x0,0x63");
    EXPECT_EQ(e.time, kTime);
    EXPECT_EQ(e.op, DEL);
    EXPECT_TRUE(e.enroll_successful);
    EXPECT_EQ(e.gid, 99);
    EXPECT_EQ(e.fid, 6);
    EXPECT_EQ(log.Lines(), (std::vector<testing::LogLine>{
                               {ANDROID_LOG_ERROR, "EnrollEvent",
                                std::string(kBaseSignature) +
                                    "failed to parse str:'0x1,0,0x0,0x63' with error -22"}}));
}

TEST(EnrollEventG7Backup, BaseFailureIsReportedByBothReaders) {
    LogCapture log;
    std::string text = "garbage";
    EnrollEventG7 e;
    errno = 0;
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(log.Lines(),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, "EnrollEvent",
                   std::string(kBaseSignature) + "failed to parse str:'garbage' with error 0"},
                  {ANDROID_LOG_ERROR, "EnrollEventG7",
                   std::string(kG7Signature) + "EnrollEvent failed to load 'garbage'"}}));
}

TEST(EnrollEventG7Backup, BaseOnlyTextPassesTheBaseStepAndFailsTheSuffix) {
    LogCapture log;
    std::string text = "0x65e726a3,0,0x1,0x0,0x4d2,0xe,52.37,0x2";
    EnrollEventG7 e;
    errno = 0;
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.time, 0x65e726a3);
    EXPECT_EQ(log.Lines(),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, "EnrollEventG7",
                   std::string(kG7Signature) + "failed to parse str:'' with error 0"}}));

    // Eleven of the twelve suffix values are not enough either.
    text = std::string("0x65e726a3,0,0x1,0x0,0x4d2,0xe,52.37,0x2") +
           ",0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,0x4b";
    EXPECT_FALSE(e.LoadFromBackupString(text));
}

TEST(EnrollEventG7Backup, NegativeOpIsScannedButNotCutSoTheSuffixFails) {
    LogCapture log;
    EnrollEventG7 source = FailedG7();
    source.op = static_cast<EnrollOp>(-1);
    std::string text = source.ToBackupString();
    ASSERT_EQ(text.rfind("0x65e72723,-1,", 0), 0u);
    const std::string whole = text;
    EnrollEventG7 e;
    errno = 0;
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(text, whole);
    EXPECT_TRUE(log.Lines("EnrollEvent").empty());
    EXPECT_TRUE(log.Contains(
        ANDROID_LOG_ERROR, "EnrollEventG7",
        std::string(kG7Signature) + "failed to parse str:'" + whole + "' with error 0"));
}

TEST(EnrollEventG7Backup, NonNumericImageQualityCannotBeReloaded) {
    LogCapture log;
    for (float iq :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        EnrollEventG7 source = FailedG7();
        source.iq_avg = iq;
        std::string text = source.ToBackupString();
        EXPECT_TRUE(text.find(",0x3,nan,0x1,") != std::string::npos ||
                    text.find(",0x3,inf,0x1,") != std::string::npos)
            << text;
        EnrollEventG7 e;
        EXPECT_FALSE(e.LoadFromBackupString(text)) << text;
    }
}

TEST(EnrollEventG7Backup, OverlongSuffixIsCutAt127CharactersAndDoesNotReload) {
    LogCapture log;
    EnrollEventG7 e = FailedG7();
    e.rawmean_delta = -3e38f;
    e.rc = 0xFFFFFFFFu;
    for (int i = 0; i < 5; ++i) e.stitch_img_num_[i] = e.stitch_img_area_[i] = -1;
    std::string base = e.EnrollEvent::ToBackupString();
    std::string text = e.ToBackupString();
    ASSERT_EQ(text.compare(0, base.size(), base), 0);
    EXPECT_EQ(text.size(), base.size() + 127);
    EnrollEventG7 reloaded;
    EXPECT_FALSE(reloaded.LoadFromBackupString(text));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
