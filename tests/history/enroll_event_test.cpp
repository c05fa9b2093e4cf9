#include "fp_utils/enroll_event.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "tests/support/log_capture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;
using testing::LogLine;

constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC
const std::string kStamp = "2024-03-05 14:07:31 ";
const std::string kAdd =
    "op:ADD, enroll_successful:0, gid:0, fid:0, capture_count:3, iq_avg:18.20, "
    "enrolled_fingers_count:1";
const std::string kImage =
    ", rawmean_delta:-3.50, stitch_img_num_:1_0_0_2_0, stitch_img_area_:40_0_0_75_0";
const std::string kBaseBody = "0x65e72723,0,0x0,0x0,0x0,0x3,18.20,0x1";
const std::string kG7Body = kBaseBody + ",0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,0x4b,0x0";
const std::string kG7Sig =
    "[virtual bool android::fp_utils::EnrollEventG7::LoadFromBackupString(std::string &)] ";

// A failed "Area Small" addition: the record of kG7Body.
EnrollEventG7 Failed() {
    EnrollEventG7 e;
    e.time = kTime;
    e.capture_count = 3;
    e.iq_avg = 18.2f;
    e.enrolled_fingers_count = 1;
    e.rc = 1;
    e.rawmean_delta = -3.5f;
    e.stitch_img_num_[0] = 1;
    e.stitch_img_num_[3] = 2;
    e.stitch_img_area_[0] = 40;
    e.stitch_img_area_[3] = 75;
    return e;
}

TEST(EnrollEventText, DebugLinesByOpAndOutcome) {
    EnrollEventG7 e = Failed();
    EXPECT_EQ(e.EnrollEvent::ToDebugString(), kStamp + kAdd);
    EXPECT_EQ(e.ToDebugString(), kStamp + kAdd + ", rc:1" + kImage + ", reason:Area Small");
    e.enroll_successful = true;  // no reason
    EXPECT_EQ(e.ToDebugString(),
              kStamp + "op:ADD, enroll_successful:1" + kAdd.substr(27) + ", rc:1" + kImage);
    e.op = static_cast<EnrollOp>(7);  // only the time, but the image figures still follow
    EXPECT_EQ(e.ToDebugString(), kStamp + ", rc:1" + kImage);
    e.op = DEL;  // the code alone, even for a failure
    e.enroll_successful = false;
    e.gid = 3;
    e.fid = -7;
    EXPECT_EQ(e.ToDebugString(), kStamp + "op:DEL, gid:3, fid:-7, rc:1");

    const char* reasons[] = {"Unknown", "Area Small", "Foreign Matter", "Low Image Quality",
                             "Unknown"};
    for (uint32_t rc = 0; rc < 5; ++rc) {
        e.rc = rc;
        EXPECT_EQ(e.GetEnrollFailureReason(), std::string("reason:") + reasons[rc]);
    }
}

TEST(EnrollEventText, TextsAreCutAtTheir128ByteBuffers) {
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    EnrollEventG7 e;
    e.time = kTime;
    e.gid = e.fid = e.capture_count = e.enrolled_fingers_count = kMin;
    e.iq_avg = -1e6f;
    std::string full = kStamp +
                       "op:ADD, enroll_successful:0, gid:-2147483648, fid:-2147483648, "
                       "capture_count:-2147483648, iq_avg:-1000000.00, "
                       "enrolled_fingers_count:-2147483648";
    // The base line is cut; the G7 figures are appended after the cut.
    EXPECT_EQ(e.ToDebugString(), full.substr(0, 127) + ", rc:0, rawmean_delta:0.00, " +
                                     "stitch_img_num_:0_0_0_0_0, stitch_img_area_:0_0_0_0_0, " +
                                     "reason:Unknown");
    e.rawmean_delta = -3e38f;
    e.rc = 0xFFFFFFFFu;
    for (int i = 0; i < 5; ++i) e.stitch_img_num_[i] = e.stitch_img_area_[i] = -1;
    std::string text = e.ToBackupString();
    EXPECT_EQ(text.size(), e.EnrollEvent::ToBackupString().size() + 127);
    LogCapture log;
    EXPECT_FALSE(EnrollEventG7().LoadFromBackupString(text)) << "a cut string does not reload";
}

TEST(EnrollEventBackup, ExactFormsAndRoundTrip) {
    EnrollEventG7 e = Failed();
    EXPECT_EQ(e.ToBackupString(), kG7Body);
    e.op = DEL;
    e.enroll_successful = true;
    e.gid = -1;
    e.iq_avg = 52.376f;
    e.stitch_img_area_[4] = -2;
    std::string text = e.ToBackupString();
    EXPECT_EQ(text.substr(0, 46), "0x65e72723,1,0x1,0xffffffff,0x0,0x3,52.38,0x1,");

    EnrollEventG7 loaded;
    ASSERT_TRUE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(loaded.ToBackupString(), e.ToBackupString());
    EXPECT_FLOAT_EQ(loaded.iq_avg, 52.38f);

    // The base reader cuts exactly its own part off for the derived reader.
    text = "0x65E726A3,0,0x7,0xA,0xB,0xC,52,0xD,rest";
    EnrollEvent base;
    ASSERT_TRUE(base.LoadFromBackupString(text));
    EXPECT_EQ(text, ",rest");
    EXPECT_TRUE(base.enroll_successful);
    EXPECT_EQ(base.enrolled_fingers_count, 13);
}

TEST(EnrollEventBackup, RejectedTextsAndTheirLogLines) {
    auto nan = Failed();
    nan.iq_avg = std::numeric_limits<float>::quiet_NaN();
    std::string negative_op = "0x65e72723,-1" + kG7Body.substr(12);
    struct Case {
        std::string text;
        std::vector<LogLine> lines;
    } cases[] = {
        {"0x1,0,0x0,0x63",
         {{ANDROID_LOG_ERROR, "EnrollEvent",
           "[virtual bool android::fp_utils::EnrollEvent::LoadFromBackupString(std::string &)] "
           "failed to parse str:'0x1,0,0x0,0x63' with error -22"},
          {ANDROID_LOG_ERROR, "EnrollEventG7",
           kG7Sig + "EnrollEvent failed to load '0x1,0,0x0,0x63'"}}},
        // The base part passes and is cut off; nothing is left for the G7 part.
        {kBaseBody,
         {{ANDROID_LOG_ERROR, "EnrollEventG7", kG7Sig + "failed to parse str:'' with error -22"}}},
        {kG7Body.substr(0, kG7Body.size() - 4), {}},
        // Scanned but not matched by the base pattern: nothing is cut, the G7 part fails.
        {negative_op,
         {{ANDROID_LOG_ERROR, "EnrollEventG7",
           kG7Sig + "failed to parse str:'" + negative_op + "' with error -22"}}},
        {nan.ToBackupString(), {}},
    };
    for (auto& c : cases) {
        LogCapture log;
        EnrollEventG7 e;
        errno = EINVAL;
        EXPECT_FALSE(e.LoadFromBackupString(c.text)) << c.text;
        if (!c.lines.empty()) {
            EXPECT_EQ(log.Lines(), c.lines);
        }
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
