// Enrollment records and the history of the last 50 of them with its backup file.
#include "fp_utils/enroll_event.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "fp_utils/enroll_event_container.h"
#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

using testing::BackupRecordOf;

constexpr char kPath[] = "/data/vendor/fingerprint/EnrollEventContainer";
const std::string kBase = "0x65e72723,0,0x0,0x0,0xfffffff9,0x3,18.20,0x1";  // 2024-03-05 14:07:31
const std::string kG7 = ",0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,0x4b,0x0";
const std::string kSig = "[virtual bool android::fp_utils::EnrollEvent";
const std::string kLoad = "::LoadFromBackupString(std::string &)] ";

TEST(EnrollEvent, TextsByOpAndOutcomeAndWhatTheReaderRefuses) {
    EnrollEventG7 e;  // a failed "Area Small" addition
    std::string text = kBase + kG7;
    ASSERT_TRUE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.ToBackupString(), kBase + kG7);
    const std::string stamp = "2024-03-05 14:07:31 ";
    const std::string add = stamp + "op:ADD, enroll_successful:0, gid:0, fid:-7, capture_count:3";
    const std::string g7 =
        ", rc:1, rawmean_delta:-3.50, stitch_img_num_:1_0_0_2_0, "
        "stitch_img_area_:40_0_0_75_0, reason:Area Small";
    EXPECT_EQ(e.ToDebugString(), add + ", iq_avg:18.20, enrolled_fingers_count:1" + g7);
    e.iq_avg = 1e30f;  // the base line is cut at 127 characters; the G7 figures follow
    EXPECT_EQ(e.ToDebugString(), add + ", iq_avg:1000000015047466219876688855040.00, enr" + g7);
    e.op = static_cast<EnrollOp>(7);  // only the time, yet the figures follow
    EXPECT_EQ(e.ToDebugString(), stamp + g7);
    e.op = DEL;  // the code alone, even for a failure
    EXPECT_EQ(e.ToDebugString(), stamp + "op:DEL, gid:0, fid:-7, rc:1");
    const char* reasons[] = {"Unknown", "Area Small", "Foreign Matter", "Low Image Quality"};
    for (e.rc = 0; e.rc < 5; ++e.rc)  // 4 and above are unknown too
        EXPECT_EQ(e.GetEnrollFailureReason(), "reason:" + std::string(reasons[e.rc % 4]));

    const std::string cut = kG7.substr(0, kG7.size() - 4), nan = kBase.substr(0, 36) + "nan,0x1";
    const std::string negative_op = "0x65e72723,-1" + kBase.substr(12) + kG7;
    // What the G7 reader is left with: the base part is cut off only where the pattern matches.
    const std::pair<std::string, std::string> cases[] = {
        {kBase, ""}, {kBase + cut, cut}, {negative_op, negative_op}, {nan + kG7, nan + kG7}};
    for (auto [input, left] : cases) {
        testing::LogCapture log;
        errno = EINVAL;
        EXPECT_FALSE(EnrollEventG7().LoadFromBackupString(input)) << input;
        EXPECT_TRUE(log.Contains(
            ANDROID_LOG_ERROR, "EnrollEventG7",
            kSig + "G7" + kLoad + "failed to parse str:'" + left + "' with error -22"));
    }
}

// The backup string of a successful addition of finger `fid`, `fid` seconds after kBase's time.
std::string Body(int fid) {
    char buf[128];
    snprintf(buf, sizeof(buf), "0x%x,0,0x1,0x0,0x%x,0xe,52.37,0x2,0x0,1.50,%s", 0x65e72723 + fid,
             fid, "0x1,0x2,0x3,0x4,0x5,0xa,0x14,0x1e,0x28,0x32");
    return buf;
}

class EnrollHistoryTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { history_.event_type_ = "EnrollEventG7"; }
    void Add(int fid, int times = 1) {
        auto event = history_.CreateEvent();
        std::string body = Body(fid);
        ASSERT_TRUE(event->LoadFromBackupString(body));
        for (int i = 0; i < times; ++i) history_.AddEvent(event);
    }
    EnrollEventContainer history_;
};

TEST_F(EnrollHistoryTest, KeepsTheLast50AndSavesEveryAdditionOnceInitialised) {
    EXPECT_NEAR(history_.CreateEvent()->time, time(nullptr), 2) << "stamped when made";
    EXPECT_EQ(testing::DumpText(history_), "Enroll Events:\n");
    testing::OnThreads(4, [this](int t) { Add(1000 + t, 400000); });  // kept, not saved
    EXPECT_EQ(history_.events_.size(), 50u);
    std::string file;
    for (int fid = 1; fid <= 55; ++fid) file += BackupRecordOf(Body(fid));
    const std::string bad = kBase.substr(0, kBase.size() - 4);  // one value short: refused
    file += BackupRecordOf(bad) + BackupRecordOf(Body(56), 1) + BackupRecordOf(Body(57));
    root_.WriteFile(kPath, file);
    history_.Init("EnrollEventG7");
    EXPECT_EQ(root_.ReadFile(kPath), file) << "saved neither before Init nor by it";
    EXPECT_EQ(log_.Count("EnrollEvent", kSig + kLoad + "failed to parse str:'" + bad + "'"), 1u);
    EXPECT_EQ(log_.Count("EnrollEventG7", "G7" + kLoad + "EnrollEvent failed to load '" + bad), 1u);
    EXPECT_EQ(log_.Lines("EnrollEventContainer").back().text,
              "[void android::fp_utils::EnrollEventContainer::LoadEventsFromBackupFile()] Crc "
              "checksum didn't match!");
    // Fingers 6 to 55: the last 50 good records before the spoilt checksum.
    std::string text = testing::DumpText(history_);
    EXPECT_EQ(text.substr(0, text.find("  #001")),
              "Enroll Events:\n  #000 2024-03-05 14:07:37 op:ADD, enroll_successful:1, gid:0, "
              "fid:6, capture_count:14, iq_avg:52.37, enrolled_fingers_count:2, rc:0, "
              "rawmean_delta:1.50, stitch_img_num_:1_2_3_4_5, stitch_img_area_:10_20_30_40_50\n");
    EXPECT_EQ(text.substr(text.rfind("  #"), 27), "  #049 2024-03-05 14:08:26 ");

    Add(99);
    EXPECT_EQ(root_.ReadFile(kPath), testing::BackupFileOf(history_.events_));

    history_.event_type_ = "EnrollEvent";
    EXPECT_EQ(history_.CreateEvent(), nullptr);
    EXPECT_EQ(
        log_.Lines("EnrollEventContainer").back().text,
        "[std::shared_ptr<EnrollEvent> android::fp_utils::EnrollEventContainer::CreateEvent()] "
        "Unknown event_type:EnrollEvent");
}

}  // namespace
}  // namespace android::fp_utils
