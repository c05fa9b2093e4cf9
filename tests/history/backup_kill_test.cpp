// A HAL killed while it saves: a child process saves an authentication history in a loop and
// is killed at random moments. Whatever the moment, the file must hold the history before or
// after the save in progress, byte for byte, and the next start must load it.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "fp_utils/auth_stats.h"
#include "history/backup_file.h"
#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.kill";
constexpr uint32_t kCapacity = 400;
constexpr int kKills = 200;
constexpr time_t kFirstTime = 0x60000000;
constexpr uint64_t kMostSavesPerChild = 100000;  // a child that is never killed ends anyway

// The attempt numbered `k` (from 1): every one a match, so every addition saves.
std::shared_ptr<AuthEventG7> Attempt(uint64_t k) {
    auto event = std::make_shared<AuthEventG7>();
    event->time = kFirstTime + static_cast<time_t>(k);
    event->acquired_info = 1;
    event->auth_successful = true;
    event->iq = static_cast<int32_t>(k % 97);
    return event;
}

// The file after the save of attempt `k`: the last kCapacity attempts up to k.
std::string FileAfterSave(uint64_t k) {
    std::string file;
    for (uint64_t i = k > kCapacity ? k - kCapacity + 1 : 1; i <= k; ++i) {
        file += testing::BackupRecordOf(Attempt(i)->ToBackupString());
    }
    return file;
}

// Loads the history from the file, announces itself on `ready_fd`, then adds and saves
// attempts until it is killed, counting finished saves in `saved`.
[[noreturn]] void SaveUntilKilled(std::atomic<uint64_t>* saved, int ready_fd) {
    AuthStatsG7 stats("kill", kCapacity, true);
    stats.Init();
    uint64_t k = stats.attempts_.empty() ? 0 : stats.attempts_.back()->time - kFirstTime;
    saved->store(k);
    if (write(ready_fd, "r", 1) != 1) _exit(3);
    for (uint64_t n = 0; n < kMostSavesPerChild; ++n) {
        stats.AddAttempt(Attempt(++k));
        saved->store(k);
    }
    _exit(0);
}

class BackupKillTest : public testing::FpUtilsTest {};

TEST_F(BackupKillTest, KillDuringSavesLosesNothingOlderThanTheSaveInProgress) {
    void* shared = mmap(nullptr, sizeof(std::atomic<uint64_t>), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto* saved = new (shared) std::atomic<uint64_t>(0);
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    // A kill comes after the child's first 0 to 2 saves (so while it saves, not while it
    // loads), and then at any moment within about the time of a save of 18 KB.
    std::uniform_int_distribution<int> saves_before(0, 2);
    std::uniform_int_distribution<int> delay_us(0, 1000);
    const std::string new_file = BackupWriter::NewFilePath(root_.Path(kPath));

    // A full history to begin with: every save evicts the oldest attempt and rewrites it all.
    uint64_t last = kCapacity;
    root_.WriteFile(kPath, FileAfterSave(last));
    int mid_save = 0;
    for (int kill_count = 0; kill_count < kKills; ++kill_count) {
        SCOPED_TRACE("kill " + std::to_string(kill_count) + ", seed " + std::to_string(seed));
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(ready[0]);
            SaveUntilKilled(saved, ready[1]);
        }
        close(ready[1]);
        pollfd p = {ready[0], POLLIN, 0};
        const bool started = poll(&p, 1, 10000) == 1;
        close(ready[0]);
        if (started) {
            const uint64_t target = saved->load() + saves_before(random);
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
            while (saved->load() < target && std::chrono::steady_clock::now() < deadline) {
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
            std::this_thread::sleep_for(std::chrono::microseconds(delay_us(random)));
        }
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(started) << "the child did not load the history within 10 s";
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;

        // The child started from what the previous kill left.
        const uint64_t done = saved->load();
        ASSERT_GE(done, last);
        const std::string file = root_.ReadFile(kPath);
        if (file == FileAfterSave(done + 1)) {
            last = done + 1;
        } else {
            ASSERT_EQ(file, FileAfterSave(done)) << "after " << done << " saves";
            last = done;
        }
        if (access(new_file.c_str(), F_OK) == 0) ++mid_save;
    }
    munmap(shared, sizeof(std::atomic<uint64_t>));
    RecordProperty("kills_during_a_save", mid_save);
    RecordProperty("saves", static_cast<int>(last - kCapacity));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
