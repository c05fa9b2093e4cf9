// Enrollment records and the history of the last 50 of them with its backup file.
#include "fp_utils/enroll_event.h"

#include <android-base/stringprintf.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "fp_utils/enroll_event_container.h"
#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

using EnrollEventTest = testing::FpUtilsTest;

constexpr char kPath[] = "/data/vendor/fingerprint/EnrollEventContainer";
const std::string kBase = "0x65e72723,0,0x0,0x0,0xfffffff9,0x3,18.20,0x1";  // 2024-03-05 14:07:31
const std::string kG7 = ",0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,0x4b,0x0";
const std::string kSig = "[virtual bool android::fp_utils::EnrollEvent";
const std::string kLoad = "::LoadFromBackupString(std::string &)] ";
// A successful addition of finger `fid`, `fid` seconds after kBase's time.
constexpr char kBody[] =
    "0x%x,0,0x1,0x0,0x%x,0xe,52.37,0x2,0x0,1.50,0x1,0x2,0x3,0x4,0x5,0xa,0x14,0x1e,0x28,0x32";
const std::string kHistory = "android::fp_utils::EnrollEventContainer::";

TEST_F(EnrollEventTest, TextsWhatTheReaderRefusesAndAHistoryOfTheLast50SavedOnceInitialised) {
    EnrollEventG7 e;  // a failed "Area Small" addition
    std::string text = kBase + kG7, stamp = "2024-03-05 14:07:31 ";
    ASSERT_TRUE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.ToBackupString(), kBase + kG7);
    const std::string add = stamp + "op:ADD, enroll_successful:0, gid:0, fid:-7, capture_count:3",
                      g7 = ", rc:1, rawmean_delta:-3.50, stitch_img_num_:1_0_0_2_0, "
                           "stitch_img_area_:40_0_0_75_0, reason:Area Small";
    EXPECT_EQ(e.ToDebugString(), add + ", iq_avg:18.20, enrolled_fingers_count:1" + g7);
    e.iq_avg = 1e30f;  // the base line is cut at 127 characters; the G7 figures follow
    EXPECT_EQ(e.ToDebugString(), add + ", iq_avg:1000000015047466219876688855040.00, enr" + g7);
    e.op = static_cast<EnrollOp>(7);  // only the time, yet the figures follow
    EXPECT_EQ(e.ToDebugString(), stamp + g7);
    e.op = DEL;  // the code alone, even for a failure
    EXPECT_EQ(e.ToDebugString(), stamp + "op:DEL, gid:0, fid:-7, rc:1");
    const std::string reasons[] = {"Unknown", "Area Small", "Foreign Matter", "Low Image Quality"};
    for (e.rc = 0; e.rc < 5; ++e.rc)  // 4 and above are unknown too
        EXPECT_EQ(e.GetEnrollFailureReason(), "reason:" + reasons[e.rc % 4]);

    const std::string cut = kG7.substr(0, kG7.size() - 4), nan = kBase.substr(0, 36) + "nan,0x1";
    const std::string neg = "0x65e72723,-1" + kBase.substr(12) + kG7, failed = kSig + "G7" + kLoad;
    // What the G7 reader is left with: the base part is cut off only where the pattern matches.
    const std::pair<std::string, std::string> cases[] = {
        {kBase, ""}, {kBase + cut, cut}, {neg, neg}, {nan + kG7, nan + kG7}};
    for (auto [input, left] : cases) {
        errno = EINVAL;
        EXPECT_FALSE(EnrollEventG7().LoadFromBackupString(input)) << input;
        EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "EnrollEventG7",
                                  failed + "failed to parse str:'" + left + "' with error -22"));
    }

    // The history of the last 50 records.
    EnrollEventContainer history;
    history.event_type_ = "EnrollEventG7";
    auto event = history.CreateEvent();
    auto last_log = [this] { return log_.Lines("EnrollEventContainer").back().text; };
    EXPECT_NEAR(event->time, time(nullptr), 2) << "stamped when made";
    EXPECT_EQ(testing::DumpText(history), "Enroll Events:\n");
    testing::OnThreads(4, [&](int) {
        for (int i = 0; i < 400000; ++i) history.AddEvent(event);
    });
    EXPECT_EQ(history.events_.size(), 50u) << "all kept";
    // Refused (one value short) but skipped, then fingers 1 to 57; 56's checksum is spoilt.
    std::string bad = kBase.substr(0, kBase.size() - 4), file = testing::BackupRecordOf(bad);
    for (int fid = 1; fid <= 57; ++fid)
        file += testing::BackupRecordOf(base::StringPrintf(kBody, 0x65e72723 + fid, fid), fid == 56);
    root_.WriteFile(kPath, file);
    history.Init("EnrollEventG7");
    EXPECT_EQ(root_.ReadFile(kPath), file) << "saved neither before Init nor by it";
    EXPECT_EQ(log_.Count("EnrollEvent", kSig + kLoad + "failed to parse str:'" + bad + "'"), 1u);
    EXPECT_EQ(log_.Count("EnrollEventG7", "G7" + kLoad + "EnrollEvent failed to load '" + bad), 1u);
    EXPECT_EQ(last_log(),
              "[void " + kHistory + "LoadEventsFromBackupFile()] Crc checksum didn't match!");
    // Fingers 6 to 55: the last 50 good records before the spoilt checksum.
    text = testing::DumpText(history);
    EXPECT_EQ(text.substr(0, text.find("  #001")),
              "Enroll Events:\n  #000 2024-03-05 14:07:37 op:ADD, enroll_successful:1, gid:0, "
              "fid:6, capture_count:14, iq_avg:52.37, enrolled_fingers_count:2, rc:0, "
              "rawmean_delta:1.50, stitch_img_num_:1_2_3_4_5, stitch_img_area_:10_20_30_40_50\n");
    EXPECT_EQ(text.substr(text.rfind("  #"), 27), "  #049 2024-03-05 14:08:26 ");

    history.AddEvent(event);
    EXPECT_EQ(root_.ReadFile(kPath), testing::BackupFileOf(history.events_));
    history.event_type_ = "EnrollEvent";
    EXPECT_EQ(history.CreateEvent(), nullptr);
    EXPECT_EQ(last_log(), "[std::shared_ptr<EnrollEvent> " + kHistory +
                              "CreateEvent()] Unknown event_type:EnrollEvent");
}

}  // namespace
}  // namespace android::fp_utils
