// The touch handler started and stopped a thousand times while records flow and the callback
// switches the LPTW report (taking the handler's lock from the worker while a Stop may hold
// it). Every record read is handed over, and no thread or descriptor outlives its cycle.
#include <dirent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "fp_utils/fps_touch_handler.h"
#include "host/touch_device.h"
#include "tests/support/fixture.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace {

constexpr int kCycles = 1000;
constexpr size_t kRecordsPerBatch = 3;

// Entries of a /proc/self directory: threads ("task") or open descriptors ("fd").
size_t CountEntries(const char* dir) {
    size_t n = 0;
    std::unique_ptr<DIR, int (*)(DIR*)> d(opendir(dir), closedir);
    if (d == nullptr) return 0;
    while (struct dirent* entry = readdir(d.get())) n += entry->d_name[0] != '.';
    return n;
}

// Ends the process with a message unless Disarm() is called within `limit`: a Stop that never
// returns fails the run instead of hanging it.
class Watchdog {
  public:
    explicit Watchdog(std::chrono::seconds limit)
        : thread_([this, limit] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (!done_cv_.wait_for(lock, limit, [this] { return done_; })) {
                  fprintf(stderr, "start/stop cycles still running after %llds\n",
                          static_cast<long long>(limit.count()));
                  abort();
              }
          }) {}
    void Disarm() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done_ = true;
        }
        done_cv_.notify_all();
        thread_.join();
    }

  private:
    std::mutex mutex_;
    std::condition_variable done_cv_;
    bool done_ = false;
    std::thread thread_;
};

using TouchStressTest = testing::FpUtilsTest;

TEST_F(TouchStressTest, AThousandStartStopCyclesWithRecordsFlowingLoseNothingAndLeakNothing) {
    ASSERT_TRUE(host::CreateTouchDevice());
    FpsTouchHandler handler;
    std::atomic<size_t> delivered{0};
    handler.SetTouchEventCallback(
        [&](const TouchEvent&) { handler.EnableLptwEventReport(delivered.fetch_add(1) % 2 == 0); });
    ASSERT_TRUE(handler.Configure({0, 0, 100, 100}));
    // A first cycle, before counting: the device and the cancel pipe stay open by design from
    // here on, and a sanitizer's runtime starts its own thread with the first worker.
    ASSERT_TRUE(handler.Start());
    ASSERT_TRUE(handler.Stop());
    // The first worker may still be ending as it is counted: fewer threads later is fine.
    const size_t threads = CountEntries("/proc/self/task");
    const size_t descriptors = CountEntries("/proc/self/fd");
    const std::string batch =
        host::EncodeTouchBatch(std::vector<host::RawTouchRecord>(kRecordsPerBatch));

    Watchdog watchdog(std::chrono::seconds(60));
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        ASSERT_TRUE(handler.Start());
        // A batch every cycle: read in this cycle when waited for, otherwise maybe in the next.
        ASSERT_TRUE(host::WriteTouchBatch(batch)) << cycle;
        if (cycle % 2 == 0) {
            ASSERT_TRUE(host::WaitTouchBatchRead()) << cycle;
        }
        ASSERT_TRUE(handler.Stop());
    }
    ASSERT_TRUE(handler.Start());
    ASSERT_TRUE(host::WaitTouchBatchRead());
    ASSERT_TRUE(handler.Stop());
    watchdog.Disarm();

    // A worker hands over its whole batch before it ends, so everything written arrived.
    EXPECT_EQ(delivered.load(), kCycles * kRecordsPerBatch);
    EXPECT_TRUE(testing::WaitUntil([&] { return CountEntries("/proc/self/task") <= threads; }))
        << CountEntries("/proc/self/task") << " threads, " << threads << " before";
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
