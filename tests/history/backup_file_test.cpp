// The backup file as the authentication history reads and writes it: byte layout, checksum
// guard, and what survives a damaged file.
#include "history/backup_file.h"

#include <gtest/gtest.h>

#include <csignal>

#include "fp_utils/auth_stats.h"
#include "fp_utils/crc32.h"
#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::BackupRecordOf;
using testing::TempRoot;

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.backup_test";
const std::string kBody1 = "0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c";
const std::string kBody2 = "0x67a1b2d0,0x1,0x0,0x0,0x9c,0x2e";
const std::string kBody3 = "0x67a1b2e0,0x3,0x0,0x0,0x0,0x0";

class BackupFileTest : public testing::FpUtilsTest {
  protected:
    // The backup strings the HAL holds after starting with `file` as its backup file.
    std::vector<std::string> Load(const std::string& file) {
        root_.WriteFile(kPath, file);
        stats_ = std::make_unique<AuthStats>("backup_test", 0xFFFFFFFF, true);
        stats_->Init();
        std::vector<std::string> out;
        for (const auto& e : stats_->attempts_) out.push_back(e->ToBackupString());
        return out;
    }
    bool LoggedMismatch() const {
        return log_.Contains(ANDROID_LOG_ERROR, "AuthStats",
                             "[backup_test][void android::fp_utils::AuthStats::"
                             "LoadAttemptsFromBackupFile()] Crc checksum didn't match!");
    }
    std::unique_ptr<AuthStats> stats_;
};

const std::string kTwoRecords =
    "0x67a13bd5,0x20,0x67a1b2c3,0x1,0x1,0x2,0x96,0x3c"
    "0x6df05a86,0x20,0x67a1b2d0,0x1,0x0,0x0,0x9c,0x2e";

TEST_F(BackupFileTest, SaveWritesEachRecordAfterItsChecksumAndLength) {
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    for (std::string text : {kBody1, kBody2}) {
        auto event = stats.CreateAttempt();
        ASSERT_TRUE(event->LoadFromBackupString(text));
        stats.AddAttempt(event);
    }
    stats.SaveAttemptsToBackupFile();
    EXPECT_EQ(root_.ReadFile(kPath), kTwoRecords);
}

TEST_F(BackupFileTest, LoadReadsEveryRecordWithoutALogLine) {
    EXPECT_EQ(Load(kTwoRecords), (std::vector<std::string>{kBody1, kBody2}));
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(BackupFileTest, DamagedFilesKeepWhatPrecedesTheDamage) {
    const std::string one = BackupRecordOf(kBody1), two = one + BackupRecordOf(kBody2);
    const std::string flipped = BackupRecordOf(kBody2, 1);
    const struct {
        const char* what;
        std::string file;
        std::vector<std::string> kept;
        bool mismatch;
    } cases[] = {
        {"empty", "", {}, false},
        {"cut inside a head", one + "0x12,0x", {kBody1}, false},
        {"garbage after the records", two + "junk", {kBody1, kBody2}, false},
        {"cut inside a body", two.substr(0, two.size() - 3), {kBody1}, true},
        {"bad checksum in the middle", one + flipped + BackupRecordOf(kBody3), {kBody1}, true},
        {"a record the parser refuses",
         one + BackupRecordOf("a,b") + BackupRecordOf(kBody3),
         {kBody1, kBody3},
         false},
        // The missing tail is still in the shared buffer from the previous, equal body.
        {"cut short, completed by stale bytes",
         one + one.substr(0, one.size() - 3),
         {kBody1, kBody1},
         false},
        // Its last byte is set to NUL before the checksum: it never loads.
        {"length of 1024", one + BackupRecordOf(std::string(1024, 'a')), {kBody1}, true},
    };
    for (const auto& c : cases) {
        log_.Clear();
        EXPECT_EQ(Load(c.file), c.kept) << c.what;
        EXPECT_EQ(LoggedMismatch(), c.mismatch) << c.what;
    }
}

TEST_F(BackupFileTest, SaveAfterADamagedLoadDropsTheRecordsAfterTheDamage) {
    Load(BackupRecordOf(kBody1) + BackupRecordOf(kBody2, 1) + BackupRecordOf(kBody3));
    stats_->SaveAttemptsToBackupFile();
    EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf(kBody1));
}

TEST_F(BackupFileTest, LengthAbove1024TerminatesTheProcess) {
    // The log capture holds the fatal line in the child; the abort is what counts.
    EXPECT_EXIT(Load(BackupRecordOf(kBody1) + "0x0,0x401," + std::string(1025, 'a')),
                ::testing::KilledBySignal(SIGABRT), "");
}

const std::string kOpenFailed = "Failed to open \"" + std::string(kPath) + "\" with error 2.";

TEST_F(BackupFileTest, InitMakesTheMissingDirectoryAndLogsTheMissingFile) {
    root_.Remove("/data/vendor/fingerprint");
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    EXPECT_TRUE(root_.Exists("/data/vendor/fingerprint"));
    EXPECT_EQ(log_.Lines(),
              (std::vector<testing::LogLine>{{ANDROID_LOG_ERROR, "AuthStats",
                                              "[LoadAttemptsFromBackupFile] " + kOpenFailed}}));
}

TEST_F(BackupFileTest, WithoutItsParentDirectoryTheHistoryLogsEachStep) {
    TempRoot bare(TempRoot::kBare);
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    stats.SaveAttemptsToBackupFile();
    EXPECT_EQ(log_.Lines(),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, "AuthStats",
                   "[Init] Failed to create directory \"/data/vendor/fingerprint/\" with "
                   "error 2."},
                  {ANDROID_LOG_ERROR, "AuthStats", "[LoadAttemptsFromBackupFile] " + kOpenFailed},
                  {ANDROID_LOG_ERROR, "AuthStats", "[SaveAttemptsToBackupFile] " + kOpenFailed}}));
}

TEST_F(BackupFileTest, ASaveThatCannotReplaceTheFileLogsItAndLeavesNoNewFile) {
    root_.WriteFile(std::string(kPath) + "/kept", "x");  // a directory where the file belongs
    AuthStats stats("backup_test", 10, true);
    stats.Init();
    log_.Clear();
    auto event = stats.CreateAttempt();
    event->acquired_info = 1;
    event->auth_successful = true;
    stats.AddAttempt(event);  // a match saves
    EXPECT_EQ(log_.Lines(),
              (std::vector<testing::LogLine>{{ANDROID_LOG_ERROR, "AuthStats",
                                              "[SaveAttemptsToBackupFile] Failed to write \"" +
                                                  std::string(kPath) + "\" with error 21."}}));
    EXPECT_EQ(root_.ReadFile(std::string(kPath) + "/kept"), "x");
    EXPECT_FALSE(root_.Exists("/data/vendor/fingerprint/.AuthStats.backup_test.new"));
}

TEST_F(BackupFileTest, NameWithASlashChangesTheDirectory) {
    root_.MakeDirs("/data/vendor/fingerprint/AuthStats.sub");
    AuthStats stats("sub/dir", 10, true);
    stats.Init();
    EXPECT_EQ(stats.backup_path_, "/data/vendor/fingerprint/AuthStats.sub/dir");
    stats.SaveAttemptsToBackupFile();
    EXPECT_TRUE(root_.Exists("/data/vendor/fingerprint/AuthStats.sub/dir"));
}

TEST(BackupFileName, KindAndNameOfAFileName) {
    const struct {
        const char* file;
        const BackupFileKind* kind;
        std::string name;
    } cases[] = {{"AuthStats.x.y", &kAuthStatsBackupKind, "x.y"},
                 {"EnrollEventContainer", &kEnrollEventsBackupKind, ""},
                 {"FingerSizes.thumb", &kFingerSizesBackupKind, "thumb"},
                 {"AuthStats", nullptr, "-"},
                 {"AuthStats.", nullptr, "-"},
                 {"EnrollEventContainer.x", nullptr, "-"},
                 {"notes", nullptr, "-"}};
    for (const auto& c : cases) {
        std::string name = "-";
        EXPECT_EQ(BackupKindOfFileName(c.file, &name), c.kind) << c.file;
        EXPECT_EQ(name, c.name) << c.file;
    }
    EXPECT_EQ(BackupFilePath(kEnrollEventsBackupKind, "/d", "ignored"), "/d/EnrollEventContainer");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
