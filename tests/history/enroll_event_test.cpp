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

constexpr char kPath[] = "/data/vendor/fingerprint/EnrollEventContainer";
const std::string kStamp = "2024-03-05 14:07:31 ";
// A failed "Area Small" addition at kStamp: the base part, then the G7 part.
const std::string kBase = "0x65e72723,0,0x0,0x0,0xfffffff9,0x3,18.20,0x1";
const std::string kG7 = ",0x1,-3.50,0x1,0x0,0x0,0x2,0x0,0x28,0x0,0x0,0x4b,0x0";
const std::string kAddText = kStamp + "op:ADD, enroll_successful:0, gid:0, fid:-7, capture_count:3";
const std::string kG7Text =
    ", rc:1, rawmean_delta:-3.50, stitch_img_num_:1_0_0_2_0, "
    "stitch_img_area_:40_0_0_75_0, reason:Area Small";
const std::string kSig = "[virtual bool android::fp_utils::EnrollEvent";
const std::string kLoad = "::LoadFromBackupString(std::string &)] ";
const std::string kHistory = "android::fp_utils::EnrollEventContainer::";
// A successful addition of finger `fid`, `fid` seconds after kStamp.
constexpr char kBody[] =
    "0x%x,0,0x1,0x0,0x%x,0xe,52.37,0x2,0x0,1.50,0x1,0x2,0x3,0x4,0x5,0xa,0x14,0x1e,0x28,0x32";

EnrollEventG7 AreaSmall() {
    EnrollEventG7 e;
    std::string text = kBase + kG7;
    EXPECT_TRUE(e.LoadFromBackupString(text));
    return e;
}

class EnrollEventTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { history_.event_type_ = "EnrollEventG7"; }
    std::string LastLog() const { return log_.Lines("EnrollEventContainer").back().text; }
    EnrollEventContainer history_;
};

TEST(EnrollEventText, BackupStringRoundTrips) {
    EXPECT_EQ(AreaSmall().ToBackupString(), kBase + kG7);
}

TEST(EnrollEventText, AdditionShowsItsFiguresThenTheG7Part) {
    EXPECT_EQ(AreaSmall().ToDebugString(),
              kAddText + ", iq_avg:18.20, enrolled_fingers_count:1" + kG7Text);
}

TEST(EnrollEventText, BasePartIsCutAt127CharactersAndTheG7PartFollows) {
    EnrollEventG7 e = AreaSmall();
    e.iq_avg = 1e30f;
    EXPECT_EQ(e.ToDebugString(),
              kAddText + ", iq_avg:1000000015047466219876688855040.00, enr" + kG7Text);
}

TEST(EnrollEventText, UnknownOperationShowsTheTimeAndTheG7Part) {
    EnrollEventG7 e = AreaSmall();
    e.op = static_cast<EnrollOp>(7);
    EXPECT_EQ(e.ToDebugString(), kStamp + kG7Text);
}

TEST(EnrollEventText, DeletionShowsTheCodeAloneEvenWhenFailed) {
    EnrollEventG7 e = AreaSmall();
    e.op = DEL;
    EXPECT_EQ(e.ToDebugString(), kStamp + "op:DEL, gid:0, fid:-7, rc:1");
}

TEST(EnrollEventText, FailureReasonByCodeWithUnknownAboveThree) {
    const std::string reasons[] = {"Unknown", "Area Small", "Foreign Matter", "Low Image Quality",
                                   "Unknown"};
    EnrollEventG7 e;
    for (e.rc = 0; e.rc < 5; ++e.rc) {
        EXPECT_EQ(e.GetEnrollFailureReason(), "reason:" + reasons[e.rc]) << "rc " << e.rc;
    }
}

// The base part is cut off the text only where its whole pattern matched.
TEST_F(EnrollEventTest, G7ReaderLogsWhatIsLeftOfARefusedText) {
    const std::string cut = kG7.substr(0, kG7.size() - 4);
    const std::string nan = kBase.substr(0, 36) + "nan,0x1" + kG7;
    const std::string negative = "0x65e72723,-1" + kBase.substr(12) + kG7;
    const struct {
        const char* what;
        std::string input, left;
    } cases[] = {{"no G7 part", kBase, ""},
                 {"G7 part one value short", kBase + cut, cut},
                 {"negative operation", negative, negative},
                 {"NaN mean quality", nan, nan}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        log_.Clear();
        errno = EINVAL;
        std::string input = c.input;
        EXPECT_FALSE(EnrollEventG7().LoadFromBackupString(input));
        EXPECT_TRUE(log_.Contains(
            ANDROID_LOG_ERROR, "EnrollEventG7",
            kSig + "G7" + kLoad + "failed to parse str:'" + c.left + "' with error -22"));
    }
}

TEST_F(EnrollEventTest, NewEventIsStampedWithTheCurrentTime) {
    EXPECT_NEAR(history_.CreateEvent()->time, time(nullptr), 2);
}

TEST_F(EnrollEventTest, UnknownEventTypeMakesNoEventAndIsLogged) {
    history_.event_type_ = "EnrollEvent";
    EXPECT_EQ(history_.CreateEvent(), nullptr);
    EXPECT_EQ(LastLog(), "[std::shared_ptr<EnrollEvent> " + kHistory +
                             "CreateEvent()] Unknown event_type:EnrollEvent");
}

TEST_F(EnrollEventTest, ConcurrentAddersKeepTheLast50AndSaveNothingBeforeInit) {
    EXPECT_EQ(testing::DumpText(history_), "Enroll Events:\n");
    auto event = history_.CreateEvent();
    testing::OnThreads(4, [&](int) {
        for (int i = 0; i < 100000; ++i) history_.AddEvent(event);
    });
    EXPECT_EQ(history_.events_.size(), 50u);
    EXPECT_FALSE(root_.Exists(kPath));
}

class EnrollEventLoadTest : public EnrollEventTest {
  protected:
    // A refused record first, then fingers 1 to 57 of which 56 has a spoilt checksum.
    void SetUp() override {
        EnrollEventTest::SetUp();
        file_ = testing::BackupRecordOf(kRefused);
        for (int fid = 1; fid <= 57; ++fid) {
            file_ += testing::BackupRecordOf(base::StringPrintf(kBody, 0x65e72723 + fid, fid),
                                             fid == 56);
        }
        root_.WriteFile(kPath, file_);
        history_.Init("EnrollEventG7");
    }
    const std::string kRefused = kBase.substr(0, kBase.size() - 4);
    std::string file_;
};

TEST_F(EnrollEventLoadTest, KeepsTheLast50GoodRecordsBeforeTheBadChecksum) {
    const std::string dump = testing::DumpText(history_);
    EXPECT_EQ(dump.substr(0, dump.find("  #001")),
              "Enroll Events:\n  #000 2024-03-05 14:07:37 op:ADD, enroll_successful:1, gid:0, "
              "fid:6, capture_count:14, iq_avg:52.37, enrolled_fingers_count:2, rc:0, "
              "rawmean_delta:1.50, stitch_img_num_:1_2_3_4_5, stitch_img_area_:10_20_30_40_50\n");
    EXPECT_EQ(dump.substr(dump.rfind("  #"), 27), "  #049 2024-03-05 14:08:26 ");
    EXPECT_EQ(LastLog(),
              "[void " + kHistory + "LoadEventsFromBackupFile()] Crc checksum didn't match!");
}

TEST_F(EnrollEventLoadTest, RefusedRecordIsLoggedByBothReadersAndSkipped) {
    EXPECT_EQ(log_.Count("EnrollEvent", kSig + kLoad + "failed to parse str:'" + kRefused + "'"),
              1u);
    EXPECT_EQ(log_.Count("EnrollEventG7", "G7" + kLoad + "EnrollEvent failed to load '" + kRefused),
              1u);
}

TEST_F(EnrollEventLoadTest, LoadingWritesNothingAndAnAdditionSavesTheHistory) {
    EXPECT_EQ(root_.ReadFile(kPath), file_);
    history_.AddEvent(history_.CreateEvent());
    EXPECT_EQ(root_.ReadFile(kPath), testing::BackupFileOf(history_.events_));
}

}  // namespace
}  // namespace android::fp_utils
