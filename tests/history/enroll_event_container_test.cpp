#include "fp_utils/enroll_event_container.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::BackupRecordOf;
using testing::DumpText;
using testing::LogLine;

constexpr char kPath[] = "/data/vendor/fingerprint/EnrollEventContainer";
constexpr char kTag[] = "EnrollEventContainer";
const std::string kLoadSig =
    "[void android::fp_utils::EnrollEventContainer::LoadEventsFromBackupFile()] ";

// The backup string of a successful addition of finger `fid`, `fid` seconds after
// 2024-03-05 14:07:31 UTC.
std::string Body(int fid) {
    char buf[128];
    snprintf(buf, sizeof(buf), "0x%x,0,0x1,0x0,0x%x,0xe,52.37,0x2,0x0,1.50,%s", 0x65e72723 + fid,
             fid, "0x1,0x2,0x3,0x4,0x5,0xa,0x14,0x1e,0x28,0x32");
    return buf;
}

class EnrollEventContainerTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { container_.event_type_ = "EnrollEventG7"; }
    void Add(int fid) {
        auto event = container_.CreateEvent();
        std::string body = Body(fid);
        ASSERT_TRUE(event->LoadFromBackupString(body));
        container_.AddEvent(event);
    }
    // Starts the container on a file of these records.
    void StartOn(const std::string& file, const char* type = "EnrollEventG7") {
        root_.WriteFile(kPath, file);
        container_.Init(type);
    }
    std::vector<int> Fids() const {
        std::vector<int> out;
        for (const auto& e : container_.events_) out.push_back(e->fid);
        return out;
    }
    EnrollEventContainer container_;
};

TEST_F(EnrollEventContainerTest, CreatesStampedG7EventsForTheOneKnownType) {
    time_t before = time(nullptr);
    auto event = container_.CreateEvent();
    ASSERT_NE(event, nullptr);
    EXPECT_GE(event->time, before);
    event->time = 0;
    EXPECT_EQ(event->ToBackupString(),
              "0x0,0,0x0,0x0,0x0,0x0,0.00,0x0,0x0,0.00,0x0,0x0,0x0,0x0,0x0,0x0,0x0,0x0,0x0,0x0");
    for (const char* type : {"", "EnrollEvent", "EnrollEventG7 "}) {
        log_.Clear();
        container_.event_type_ = type;
        EXPECT_EQ(container_.CreateEvent(), nullptr);
        EXPECT_EQ(
            log_.Lines(),
            (std::vector<LogLine>{{ANDROID_LOG_ERROR, kTag,
                                   std::string("[std::shared_ptr<EnrollEvent> android::fp_utils::"
                                               "EnrollEventContainer::CreateEvent()] Unknown "
                                               "event_type:") +
                                       type}}));
    }
}

TEST_F(EnrollEventContainerTest, KeepsTheLast50AndSavesEachAdditionOnlyOnceInitialised) {
    Add(1);
    EXPECT_FALSE(root_.Exists(kPath)) << "not initialised";
    container_.Init("EnrollEventG7");
    EXPECT_EQ(container_.backup_path_, kPath);
    EXPECT_FALSE(root_.Exists(kPath)) << "Init loads, it does not save";
    for (int fid = 2; fid <= 51; ++fid) Add(fid);
    EXPECT_EQ(container_.events_.size(), 50u);
    std::string file;
    for (int fid = 2; fid <= 51; ++fid) file += BackupRecordOf(Body(fid));
    EXPECT_EQ(root_.ReadFile(kPath), file);

    std::string dump = DumpText([this](int fd) { container_.Dump(fd, nullptr, 0); });
    EXPECT_EQ(dump.substr(0, dump.find("  #001")),
              "Enroll Events:\n  #000 2024-03-05 14:07:33 op:ADD, enroll_successful:1, gid:0, "
              "fid:2, capture_count:14, iq_avg:52.37, enrolled_fingers_count:2, rc:0, "
              "rawmean_delta:1.50, stitch_img_num_:1_2_3_4_5, stitch_img_area_:10_20_30_40_50\n");
    EXPECT_EQ(dump.find("#050"), std::string::npos);
}

TEST_F(EnrollEventContainerTest, LoadKeepsTheLast50GoodRecordsUpToABadChecksum) {
    std::string file = BackupRecordOf(Body(0)) + BackupRecordOf("junk");
    for (int fid = 1; fid <= 55; ++fid) file += BackupRecordOf(Body(fid));
    StartOn(file + BackupRecordOf(Body(56), 1) + BackupRecordOf(Body(57)));
    EXPECT_EQ(container_.events_.size(), 50u);
    EXPECT_EQ(container_.events_.front()->fid, 6);
    EXPECT_EQ(container_.events_.back()->fid, 55);
    EXPECT_EQ(
        log_.Lines(kTag),
        (std::vector<LogLine>{{ANDROID_LOG_ERROR, kTag, kLoadSig + "Crc checksum didn't match!"}}));
    EXPECT_EQ(log_.Count("EnrollEventG7", "EnrollEvent failed to load 'junk'"), 1u);
}

TEST_F(EnrollEventContainerTest, UnknownTypeLoadsNothingAndReportsEveryRecord) {
    StartOn(BackupRecordOf(Body(1)) + BackupRecordOf(Body(2)), "EnrollEvent");
    EXPECT_TRUE(container_.events_.empty());
    EXPECT_EQ(log_.Count(kTag, "Unknown event_type:EnrollEvent"), 2u);
    auto failed = LogLine{ANDROID_LOG_ERROR, kTag, kLoadSig + "Failed to create event!"};
    EXPECT_EQ(log_.Lines(kTag)[1], failed);
    EXPECT_EQ(log_.Lines(kTag)[3], failed);
}

TEST_F(EnrollEventContainerTest, FileFailuresAreLoggedAndTheHistoryStaysInMemory) {
    container_.Init("EnrollEventG7");
    EXPECT_EQ(log_.Lines(), (std::vector<LogLine>{{ANDROID_LOG_ERROR, kTag,
                                                   "[LoadEventsFromBackupFile] Failed to open "
                                                   "\"/data/vendor/fingerprint/"
                                                   "EnrollEventContainer\" with error 2."}}));
    container_.SaveEventsToBackupFile();
    EXPECT_EQ(root_.ReadFile(kPath), "") << "an empty history saves an empty file";

    testing::TempRoot bare(testing::TempRoot::kBare);
    EnrollEventContainer orphan;
    orphan.Init("EnrollEventG7");
    EXPECT_TRUE(log_.Contains(
        ANDROID_LOG_ERROR, kTag,
        "[Init] Failed to create directory \"/data/vendor/fingerprint/\" with error 2."));
    orphan.AddEvent(orphan.CreateEvent());
    orphan.AddEvent(nullptr);  // refused: the dump and the save read every event
    EXPECT_EQ(orphan.events_.size(), 1u);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              "[SaveEventsToBackupFile] Failed to open "
                              "\"/data/vendor/fingerprint/EnrollEventContainer\" with error 2."));
}

TEST_F(EnrollEventContainerTest, ConcurrentAdditionsKeepFileAndMemoryInStep) {
    container_.Init("EnrollEventG7");
    auto add = [this](int first) {
        for (int fid = first; fid < first + 40; ++fid) Add(fid);
    };
    std::thread a(add, 1000), b(add, 2000);
    a.join();
    b.join();
    std::string expected;
    for (const auto& e : container_.events_) expected += BackupRecordOf(e->ToBackupString());
    EXPECT_EQ(container_.events_.size(), 50u);
    EXPECT_EQ(root_.ReadFile(kPath), expected);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
