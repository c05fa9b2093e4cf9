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
using testing::FpUtilsTest;
using testing::TempRoot;

constexpr char kPath[] = "/data/vendor/fingerprint/EnrollEventContainer";
constexpr char kTag[] = "EnrollEventContainer";
constexpr char kLoadSignature[] =
    "void android::fp_utils::EnrollEventContainer::LoadEventsFromBackupFile()";
constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC

// A G7 backup string of a successful addition of finger `fid`, `fid` seconds after kTime.
std::string G7Body(int fid) {
    char buf[160];
    snprintf(buf, sizeof(buf),
             "0x%lx,0,0x1,0x0,0x%x,0xe,52.37,0x2,0x0,1.50,0x1,0x2,0x3,0x4,0x5,0xa,0x14,0x1e,0x28,"
             "0x32",
             static_cast<unsigned long>(kTime + fid), static_cast<unsigned>(fid));
    return buf;
}

std::shared_ptr<EnrollEvent> NewEvent(EnrollEventContainer& container, int fid) {
    std::shared_ptr<EnrollEvent> event = container.CreateEvent();
    std::string body = G7Body(fid);
    if (event != nullptr) event->LoadFromBackupString(body);
    return event;
}

std::vector<int> Fids(const EnrollEventContainer& container) {
    std::vector<int> out;
    for (const auto& e : container.events_) out.push_back(e->fid);
    return out;
}

std::string Dump(EnrollEventContainer& container) {
    return DumpText([&container](int fd) { container.Dump(fd, nullptr, 0); });
}

class EnrollEventContainerTest : public FpUtilsTest {
  protected:
    void WriteBodies(const std::vector<std::string>& bodies) {
        std::string file;
        for (const auto& body : bodies) file += BackupRecordOf(body);
        root_.WriteFile(kPath, file);
    }
    // A container initialised for G7 events on whatever file is in place.
    std::unique_ptr<EnrollEventContainer> Started(const char* type = "EnrollEventG7") {
        auto container = std::make_unique<EnrollEventContainer>();
        container->Init(type);
        return container;
    }
};

TEST_F(EnrollEventContainerTest, CreatesStampedZeroedG7EventsOnly) {
    EnrollEventContainer container;
    container.Init("EnrollEventG7");
    EXPECT_EQ(container.backup_path_, kPath);
    time_t before = time(nullptr);
    std::shared_ptr<EnrollEvent> event = container.CreateEvent();
    ASSERT_NE(event, nullptr);
    EXPECT_GE(event->time, before);
    EXPECT_LE(event->time, time(nullptr));
    event->time = kTime;
    // Twenty fields: the G7 form, with every counter zero.
    EXPECT_EQ(event->ToBackupString(),
              "0x65e72723,0,0x0,0x0,0x0,0x0,0.00,0x0,0x0,0.00,0x0,0x0,0x0,0x0,0x0,0x0,0x0,0x0,0x0,"
              "0x0");
}

TEST_F(EnrollEventContainerTest, UnknownEventTypeYieldsNothing) {
    for (const char* type : {"", "EnrollEvent", "EnrollEventG7 ", "enrolleventg7"}) {
        EnrollEventContainer container;
        container.Init(type);
        log_.Clear();
        EXPECT_EQ(container.CreateEvent(), nullptr) << type;
        EXPECT_EQ(log_.Lines(),
                  (std::vector<testing::LogLine>{
                      {ANDROID_LOG_ERROR, kTag,
                       std::string("[std::shared_ptr<EnrollEvent> android::fp_utils::"
                                   "EnrollEventContainer::CreateEvent()] Unknown event_type:") +
                           type}}));
    }
}

TEST_F(EnrollEventContainerTest, KeepsTheLast50AndDumpsThemNumberedFromZero) {
    auto container = Started();
    EXPECT_EQ(Dump(*container), "Enroll Events:\n");
    for (int fid = 1; fid <= 51; ++fid) container->AddEvent(NewEvent(*container, fid));
    ASSERT_EQ(container->events_.size(), 50u);
    EXPECT_EQ(container->events_.front()->fid, 2);
    EXPECT_EQ(container->events_.back()->fid, 51);

    std::string dump = Dump(*container);
    EXPECT_EQ(dump.rfind("Enroll Events:\n  #000 2024-03-05 14:07:33 op:ADD, enroll_successful:1, "
                         "gid:0, fid:2, capture_count:14, iq_avg:52.37, enrolled_fingers_count:2, "
                         "rc:0, rawmean_delta:1.50, stitch_img_num_:1_2_3_4_5, "
                         "stitch_img_area_:10_20_30_40_50\n  #001 ",
                         0),
              0u);
    EXPECT_NE(dump.find("\n  #049 2024-03-05 14:08:22 op:ADD, enroll_successful:1, gid:0, fid:51,"),
              std::string::npos);
    EXPECT_EQ(dump.find("#050"), std::string::npos);
}

TEST_F(EnrollEventContainerTest, EveryAdditionAfterInitRewritesTheWholeFile) {
    EnrollEventContainer container;
    container.event_type_ = "EnrollEventG7";
    container.AddEvent(NewEvent(container, 1));
    EXPECT_EQ(container.events_.size(), 1u);
    EXPECT_FALSE(root_.Exists(kPath)) << "nothing is saved before Init";

    container.Init("EnrollEventG7");
    EXPECT_FALSE(root_.Exists(kPath)) << "Init loads, it does not save";
    ASSERT_EQ(container.events_.size(), 1u);
    auto del = container.CreateEvent();
    del->time = kTime;
    del->op = DEL;
    del->fid = 9;
    container.AddEvent(del);
    EXPECT_EQ(root_.ReadFile(kPath),
              BackupRecordOf(G7Body(1)) +
                  BackupRecordOf("0x65e72723,1,0x0,0x0,0x9,0x0,0.00,0x0,0x0,0.00,0x0,0x0,0x0,0x0,"
                                 "0x0,0x0,0x0,0x0,0x0,0x0"));
}

TEST_F(EnrollEventContainerTest, SavedHistoryLoadsBackInOrderWithoutRewriting) {
    {
        auto writer = Started();
        for (int fid = 1; fid <= 3; ++fid) writer->AddEvent(NewEvent(*writer, fid));
    }
    std::string saved = root_.ReadFile(kPath);
    log_.Clear();
    auto reader = Started();
    EXPECT_EQ(Fids(*reader), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(reader->events_[2]->ToBackupString(), G7Body(3));
    EXPECT_EQ(root_.ReadFile(kPath), saved);
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(EnrollEventContainerTest, LoadingMoreThan50KeepsTheLast50) {
    std::vector<std::string> bodies;
    for (int fid = 1; fid <= 60; ++fid) bodies.push_back(G7Body(fid));
    WriteBodies(bodies);
    auto container = Started();
    ASSERT_EQ(container->events_.size(), 50u);
    EXPECT_EQ(container->events_.front()->fid, 11);
    EXPECT_EQ(container->events_.back()->fid, 60);
}

TEST_F(EnrollEventContainerTest, BadChecksumOnTheThirdRecordStopsTheLoad) {
    root_.WriteFile(kPath, BackupRecordOf(G7Body(1)) + BackupRecordOf(G7Body(2)) +
                               BackupRecordOf(G7Body(3), 1) + BackupRecordOf(G7Body(4)));
    auto container = Started();
    EXPECT_EQ(Fids(*container), (std::vector<int>{1, 2}));
    EXPECT_EQ(log_.Lines(kTag),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, kTag,
                   std::string("[") + kLoadSignature + "] Crc checksum didn't match!"}}));
    // The next addition saves only what was loaded.
    container->AddEvent(NewEvent(*container, 5));
    EXPECT_EQ(root_.ReadFile(kPath),
              BackupRecordOf(G7Body(1)) + BackupRecordOf(G7Body(2)) + BackupRecordOf(G7Body(5)));
}

TEST_F(EnrollEventContainerTest, RecordsTheParserRejectsAreSkipped) {
    WriteBodies({G7Body(1), "0x65e726a3,0,0x1,0x0,0x4d2,0xe,52.37,0x2", "junk", G7Body(4)});
    auto container = Started();
    EXPECT_EQ(Fids(*container), (std::vector<int>{1, 4}));
    EXPECT_EQ(log_.Count("EnrollEventG7", "failed"), 2u);
    EXPECT_TRUE(log_.Lines(kTag).empty());
}

TEST_F(EnrollEventContainerTest, UnknownTypeLoadsNothingAndReportsEveryRecord) {
    WriteBodies({G7Body(1), G7Body(2)});
    std::string before = root_.ReadFile(kPath);
    auto container = Started("EnrollEvent");
    EXPECT_TRUE(container->events_.empty());
    EXPECT_EQ(log_.Count(kTag, "Unknown event_type:EnrollEvent"), 2u);
    EXPECT_EQ(log_.Count(kTag, "Failed to create event!"), 2u);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              std::string("[") + kLoadSignature + "] Failed to create event!"));
    EXPECT_EQ(root_.ReadFile(kPath), before);
}

TEST_F(EnrollEventContainerTest, MissingFileIsLoggedAndEmptyHistorySavesAnEmptyFile) {
    auto container = Started();
    EXPECT_TRUE(container->events_.empty());
    EXPECT_EQ(log_.Lines(),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, kTag,
                   "[LoadEventsFromBackupFile] Failed to open "
                   "\"/data/vendor/fingerprint/EnrollEventContainer\" with error 2."}}));
    container->SaveEventsToBackupFile();
    EXPECT_TRUE(root_.Exists(kPath));
    EXPECT_EQ(root_.ReadFile(kPath), "");
}

TEST_F(EnrollEventContainerTest, WithoutItsDirectoryTheHistoryWorksInMemory) {
    TempRoot bare(TempRoot::kBare);
    log_.Clear();
    auto container = Started();
    EXPECT_TRUE(container->initialized_);
    EXPECT_TRUE(log_.Contains(
        ANDROID_LOG_ERROR, kTag,
        "[Init] Failed to create directory \"/data/vendor/fingerprint/\" with error 2."));
    container->AddEvent(NewEvent(*container, 1));
    container->AddEvent(NewEvent(*container, 2));
    EXPECT_EQ(Fids(*container), (std::vector<int>{1, 2}));
    EXPECT_EQ(log_.Count(kTag,
                         "[SaveEventsToBackupFile] Failed to open "
                         "\"/data/vendor/fingerprint/EnrollEventContainer\" with error 2."),
              2u);
}

TEST_F(EnrollEventContainerTest, EmptyEventIsRefused) {
    auto container = Started();
    container->AddEvent(nullptr);
    EXPECT_TRUE(container->events_.empty());
    EXPECT_FALSE(root_.Exists(kPath));
    EXPECT_EQ(Dump(*container), "Enroll Events:\n");
}

TEST_F(EnrollEventContainerTest, ConcurrentAdditionsKeepFileAndMemoryInStep) {
    auto container = Started();
    auto add = [&container](int first) {
        for (int fid = first; fid < first + 60; ++fid) {
            container->AddEvent(NewEvent(*container, fid));
        }
    };
    std::thread a(add, 1000), b(add, 2000);
    a.join();
    b.join();
    ASSERT_EQ(container->events_.size(), 50u);
    std::string expected;
    for (const auto& e : container->events_) expected += BackupRecordOf(e->ToBackupString());
    EXPECT_EQ(root_.ReadFile(kPath), expected);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
