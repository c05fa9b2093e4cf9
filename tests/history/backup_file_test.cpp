// The backup file as the authentication history reads and writes it: byte layout, checksum
// guard, and what survives a damaged file.
#include "history/backup_file.h"

#include <gtest/gtest.h>

#include <csignal>

#include "fp_utils/auth_stats.h"
#include "fp_utils/crc32.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::FpUtilsTest;
using testing::TempRoot;

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.backup_test";
constexpr char kBody1[] = "0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c";
constexpr char kBody2[] = "0x67a1b2d0,0x1,0x0,0x0,0x9c,0x2e";
constexpr char kBody3[] = "0x67a1b2e0,0x3,0x0,0x0,0x0,0x0";

std::string Record(const std::string& body) {
    char head[40];
    snprintf(head, sizeof(head), "0x%x,0x%zx,", crc32(body.data(), body.size()), body.size());
    return head + body;
}

class BackupFileTest : public FpUtilsTest {
  protected:
    // What the HAL holds after starting with `file` as its backup file.
    std::unique_ptr<AuthStats> Load(const std::string& file, uint32_t max = 0xFFFFFFFF) {
        root_.WriteFile(kPath, file);
        auto stats = std::make_unique<AuthStats>("backup_test", max, true);
        stats->Init();
        return stats;
    }
    static std::vector<std::string> Bodies(const AuthStats& stats) {
        std::vector<std::string> out;
        for (const auto& e : stats.attempts_) out.push_back(e->ToBackupString());
        return out;
    }
    bool LoggedMismatch() const {
        return log_.Contains(ANDROID_LOG_ERROR, "AuthStats",
                             "[backup_test][void android::fp_utils::AuthStats::"
                             "LoadAttemptsFromBackupFile()] Crc checksum didn't match!");
    }
};

TEST_F(BackupFileTest, TwoRecordsAreWrittenByteForByte) {
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    std::string text1 = kBody1, text2 = kBody2;
    for (std::string* text : {&text1, &text2}) {
        auto event = stats.CreateAttempt();
        ASSERT_TRUE(event->LoadFromBackupString(*text));
        stats.AddAttempt(event);
    }
    stats.SaveAttemptsToBackupFile();
    EXPECT_EQ(root_.ReadFile(kPath),
              "0x67a13bd5,0x20,0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c"
              "0x6df05a86,0x20,0x67a1b2d0,0x1,0x0,0x0,0x9c,0x2e");
    EXPECT_EQ(FormatBackupRecord(kBody1), "0x67a13bd5,0x20,0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c");
}

TEST_F(BackupFileTest, WrittenFileLoadsBackInOrder) {
    auto stats = Load(Record(kBody1) + Record(kBody2) + Record(kBody3));
    EXPECT_EQ(Bodies(*stats), (std::vector<std::string>{kBody1, kBody2, kBody3}));
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(BackupFileTest, EmptyOrMissingFileGivesAnEmptyHistory) {
    EXPECT_TRUE(Load("")->attempts_.empty());
    EXPECT_TRUE(log_.Lines().empty());

    root_.Remove(kPath);
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    EXPECT_TRUE(stats.attempts_.empty());
    EXPECT_TRUE(stats.initialized_);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "AuthStats",
                              "[LoadAttemptsFromBackupFile] Failed to open "
                              "\"/data/vendor/fingerprint/AuthStats.backup_test\" with error 2."));
}

TEST_F(BackupFileTest, FileCutInsideAHeadEndsQuietly) {
    std::string whole = Record(kBody1) + Record(kBody2);
    auto stats = Load(whole.substr(0, Record(kBody1).size() + 7));
    EXPECT_EQ(Bodies(*stats), std::vector<std::string>{kBody1});
    EXPECT_FALSE(LoggedMismatch());
}

TEST_F(BackupFileTest, FileCutInsideABodyStopsWithAMismatch) {
    std::string whole = Record(kBody1) + Record(kBody2);
    auto stats = Load(whole.substr(0, whole.size() - 3));
    EXPECT_EQ(Bodies(*stats), std::vector<std::string>{kBody1});
    EXPECT_TRUE(LoggedMismatch());
}

TEST_F(BackupFileTest, BadRecordInTheMiddleLosesEverythingAfterItAtTheNextSave) {
    std::string bad = Record(kBody2);
    bad[bad.size() - 1] = 'f';  // body changed, checksum kept
    auto stats = Load(Record(kBody1) + bad + Record(kBody3));
    EXPECT_EQ(Bodies(*stats), std::vector<std::string>{kBody1});
    EXPECT_TRUE(LoggedMismatch());
    stats->SaveAttemptsToBackupFile();
    EXPECT_EQ(root_.ReadFile(kPath), Record(kBody1));
}

TEST_F(BackupFileTest, RecordTheParserRejectsIsSkipped) {
    auto stats = Load(Record(kBody1) + Record("not,a,record") + Record(kBody3));
    EXPECT_EQ(Bodies(*stats), (std::vector<std::string>{kBody1, kBody3}));
    EXPECT_EQ(log_.Lines("AuthEvent").size(), 1u);
    EXPECT_FALSE(LoggedMismatch());
}

TEST_F(BackupFileTest, ReaderKeepsStaleBytesOfTheSharedBuffer) {
    // The second head declares a longer body than the file holds: the tail of the buffer
    // still has the first body's bytes. A checksum made over exactly those bytes matches.
    std::string short_body = "0x1,0x1";
    std::string expected_buffer = short_body + std::string(kBody1).substr(short_body.size());
    char head[40];
    snprintf(head, sizeof(head), "0x%x,0x%zx,",
             crc32(expected_buffer.data(), expected_buffer.size()), expected_buffer.size());
    root_.WriteFile(kPath, Record(kBody1) + head + short_body);
    FILE* file = fopen(root_.Path(kPath).c_str(), "r");
    ASSERT_NE(file, nullptr);
    BackupReader reader(file);
    BackupRecord record;
    ASSERT_EQ(reader.Next(&record), BackupReader::kRecord);
    EXPECT_EQ(record.offset, 0);
    ASSERT_EQ(reader.Next(&record), BackupReader::kRecord);
    EXPECT_EQ(record.offset, static_cast<long>(Record(kBody1).size()));
    EXPECT_TRUE(record.CrcMatches());
    EXPECT_EQ(record.body, expected_buffer);
    EXPECT_EQ(reader.Next(&record), BackupReader::kEnd);
    fclose(file);
}

TEST_F(BackupFileTest, LengthOf1024NeverLoads) {
    std::string body(1024, 'a');
    auto stats = Load(Record(kBody1) + Record(body) + Record(kBody3));
    EXPECT_EQ(Bodies(*stats), std::vector<std::string>{kBody1});
    EXPECT_TRUE(LoggedMismatch());
}

TEST_F(BackupFileTest, LengthOf1023IsReadWhole) {
    std::string body = std::string(kBody3) + std::string(1023 - strlen(kBody3), ' ');
    FILE* file = fmemopen(nullptr, 4096, "w+");
    ASSERT_NE(file, nullptr);
    std::string text = Record(body);
    fwrite(text.data(), 1, text.size(), file);
    rewind(file);
    BackupReader reader(file);
    BackupRecord record;
    ASSERT_EQ(reader.Next(&record), BackupReader::kRecord);
    EXPECT_EQ(record.length, 1023u);
    EXPECT_TRUE(record.CrcMatches());
    fclose(file);
}

TEST_F(BackupFileTest, LengthAbove1024TerminatesTheProcess) {
    std::string file = Record(kBody1) + "0x0,0x401," + std::string(1025, 'a');
    // The log capture holds the fatal line in the child; the abort is what counts.
    EXPECT_EXIT(Load(file), ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(BackupFileTest, NameWithSlashChangesTheDirectory) {
    root_.MakeDirs("/data/vendor/fingerprint/AuthStats.sub");
    AuthStats stats("sub/dir", 10, true);
    stats.Init();
    EXPECT_EQ(stats.backup_path_, "/data/vendor/fingerprint/AuthStats.sub/dir");
    auto event = stats.CreateAttempt();
    event->acquired_info = 1;
    event->auth_successful = true;
    stats.AddAttempt(event);
    EXPECT_TRUE(root_.Exists("/data/vendor/fingerprint/AuthStats.sub/dir"));
}

TEST_F(BackupFileTest, DirectoryIsMadeWhenMissingAndFailuresAreLogged) {
    root_.Remove("/data/vendor/fingerprint");
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    EXPECT_TRUE(root_.Exists("/data/vendor/fingerprint"));
    EXPECT_TRUE(log_.Lines("AuthStats").size() == 1u);  // only the missing file

    TempRoot bare(TempRoot::kBare);  // no /data/vendor at all
    log_.Clear();
    AuthStats orphan("backup_test", 10, true);
    orphan.Init();
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, "AuthStats",
                      "[Init] Failed to create directory \"/data/vendor/fingerprint/\" with "
                      "error 2."));
    EXPECT_TRUE(orphan.initialized_);
    auto event = orphan.CreateAttempt();
    event->acquired_info = 1;
    event->auth_successful = true;
    orphan.AddAttempt(event);
    EXPECT_EQ(orphan.total_attempts_, 1u);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "AuthStats",
                              "[SaveAttemptsToBackupFile] Failed to open "
                              "\"/data/vendor/fingerprint/AuthStats.backup_test\" with error 2."));
}

TEST(BackupFileKinds, FileNamesAndPaths) {
    std::string name;
    EXPECT_EQ(BackupKindOfFileName("AuthStats.x.y", &name), &kAuthStatsBackupKind);
    EXPECT_EQ(name, "x.y");
    EXPECT_EQ(BackupKindOfFileName("EnrollEventContainer", &name), &kEnrollEventsBackupKind);
    EXPECT_EQ(name, "");
    EXPECT_EQ(BackupKindOfFileName("FingerSizes.thumb", &name), &kFingerSizesBackupKind);
    EXPECT_EQ(name, "thumb");
    EXPECT_EQ(BackupKindOfFileName("AuthStats", nullptr), nullptr);
    EXPECT_EQ(BackupKindOfFileName("AuthStats.", nullptr), nullptr);
    EXPECT_EQ(BackupKindOfFileName("EnrollEventContainer.x", nullptr), nullptr);
    EXPECT_EQ(BackupFilePath(kFingerSizesBackupKind, "/d", "thumb"), "/d/FingerSizes.thumb");
    EXPECT_EQ(BackupFilePath(kEnrollEventsBackupKind, "/d/", "ignored"), "/d/EnrollEventContainer");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
