#include "fp_utils/fps_touch_handler.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <tuple>
#include <utility>

#include "host/touch_device.h"
#include "platform/touch_polling_worker_thread.h"
#include "tests/support/fixture.h"
#include "tests/support/touch.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace {

using host::EncodeTouchBatch;
using host::RawTouchRecord;
using testing::ScopedProperty;
using Stamps = std::vector<uint64_t>;

constexpr char kTag[] = "FpsTouchHandler";
constexpr int kD = ANDROID_LOG_DEBUG, kI = ANDROID_LOG_INFO, kE = ANDROID_LOG_ERROR;

std::vector<RawTouchRecord> Records(size_t n) {  // stamped 1, 2, ... n
    std::vector<RawTouchRecord> v(n);
    for (size_t i = 0; i < n; ++i) v[i].timestamp = i + 1;
    return v;
}

class FpsTouchHandlerTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { ASSERT_TRUE(host::CreateTouchDevice()); }
    void TearDown() override {
        if (handler_) handler_->Stop();
        host::ClearTouchIoctls();
        host::ClearTouchIoctlFailures();
    }
    void Add(const TouchEvent& e) {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(e);
        worker_tid_ = static_cast<pid_t>(syscall(SYS_gettid));
    }
    // Writes `batch`, then an empty one, which the worker reads only once it has handed over
    // every event of `batch`. Moves the events handed over so far into delivered_; their stamps.
    Stamps Deliver(const std::string& batch) {
        EXPECT_TRUE(host::WriteTouchBatch(batch) && host::WriteTouchBatch(EncodeTouchBatch({})) &&
                    host::WaitTouchBatchRead());
        std::lock_guard<std::mutex> lock(mutex_);
        delivered_ = std::exchange(events_, {});
        Stamps stamps;
        for (const TouchEvent& e : delivered_) stamps.push_back(e.timestamp);
        return stamps;
    }

    void ExpectLogged(int priority, std::initializer_list<const char*> texts) {
        for (const char* text : texts) EXPECT_TRUE(log_.Contains(priority, kTag, text)) << text;
    }

    std::mutex mutex_;
    std::vector<TouchEvent> events_, delivered_;
    pid_t worker_tid_ = 0;
    std::unique_ptr<FpsTouchHandler> handler_;
};

// The handler's life on one device with scaling factor 2 (read when the handler is made). Until a
// Configure succeeds (it fails where the feature is not supported, on a missing device and on a
// refused area request) Start and the LPTW switch fail too. The area goes out scaled (products
// wrap at 32 bits) on the device opened once; Stop before any Start does nothing; two Starts run
// one worker, which reads each batch and converts its valid records back into panel units; Stop
// wakes the worker from its poll. A Stop that comes while the worker is in the callback waits
// for it, and the callback's LPTW switch gives up rather than wait for the lock that Stop holds;
// the cancel byte stays in the pipe and, at the next start, wins over the record already waiting.
TEST_F(FpsTouchHandlerTest, ConfigureStartFeedStopAndRestart) {
    ScopedProperty scaling("persist.vendor.udfps.fth.touch_resolution_scaling_factor", "2");
    bool switched = true, cancel_seen_first = false;
    FpsTouchHandler& handler = *(handler_ = std::make_unique<FpsTouchHandler>());
    handler.SetTouchEventCallback([&](const TouchEvent& e) {
        if (e.timestamp == 1001) {  // held here until the second Stop waits for this thread
            testing::WaitUntil([&] { return log_.Count(kTag, "write cancel event") > 1; });
            switched = handler.EnableLptwEventReport(true);
        }
        if (e.timestamp == 1002) cancel_seen_first = log_.Count(kTag, "received cancel event") > 1;
        Add(e);  // after the flags: its lock hands them over
    });
    auto unsupported = [&] {  // the flag is read once per process, so this runs in a child
        ScopedProperty off("persist.vendor.udfps.fps_touch_handler_supported", "false");
        const bool refused = !handler.Configure({1, 2, 3, 4});
        ScopedProperty on("persist.vendor.udfps.fps_touch_handler_supported", "true");
        return refused && !handler.Configure({1, 2, 3, 4}) && !handler.Start() &&
               log_.Count(kTag, "opening device") == 0 &&
               log_.Contains(kE, kTag, "Configure: FpsTouchHandler is not supported on this device");
    };
    EXPECT_EXIT(exit(unsupported() ? 0 : 1), ::testing::ExitedWithCode(0), "");
    {
        ScopedProperty path("persist.vendor.udfps.fth.touch_dev_path", "/dev/fth_other");
        EXPECT_FALSE(handler.Configure({1, 2, 3, 4}));
    }
    host::FailTouchIoctl(115, EIO);
    EXPECT_FALSE(handler.Configure({1, 2, 3, 4}) || handler.Start() ||
                 handler.EnableLptwEventReport(true));
    host::ClearTouchIoctlFailures();
    ASSERT_TRUE(handler.Configure({-1, 2, 3, 0x40000000}) && handler.Configure({5, 6, 7, 8}));
    EXPECT_TRUE(handler.EnableLptwEventReport(true) && handler.EnableLptwEventReport(false));
    host::FailTouchIoctl(103, EINVAL);
    EXPECT_FALSE(handler.EnableLptwEventReport(false));
    ASSERT_EQ((std::vector<unsigned long>{115, 115, 115, 102, 103, 103}), testing::TouchRequests());
    const std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    for (const auto& c : calls)
        EXPECT_TRUE(c.fd == calls[0].fd && c.null_argument == (c.request != 115));
    // Code 6, enable 1, then left -2, top 4, right 6 and bottom INT32_MIN, little-endian.
    const std::array<uint8_t, 32> command{6, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF,
                                          4, 0, 0, 0, 6, 0, 0, 0, 0,    0,    0,    0x80};
    EXPECT_EQ(command, calls[1].argument);

    EXPECT_TRUE(handler.Stop() && handler.Start() && handler.Start());
    EXPECT_EQ(0xFFFFFFFFu, handler.GetLastTouchEvent().touch_state);     // before any record
    EXPECT_TRUE(Deliver(EncodeTouchBatch(0, Records(3), ~0u)).empty());  // the count is 32 bits
    EXPECT_EQ(Stamps{1}, Deliver(EncodeTouchBatch(1, Records(3))));
    const Stamps all = Deliver(EncodeTouchBatch(Records(128)));
    EXPECT_TRUE(all.size() == 128 && all.front() == 1 && all.back() == 128);
    EXPECT_EQ(all, Deliver(EncodeTouchBatch(200, Records(128))));  // 128 slots per read

    // touch_value holds the bits of -1.0f; only bit 0 of the valid byte counts.
    RawTouchRecord raw{0x0123456789ABCDEFull, {}, -7, 65535, 4096, 5, 2, 0xBF800000, 0x81};
    memcpy(raw.extra, "\x11\x22\x33\x44\x55\x66\x77\x88", 8);
    std::tie(raw.flag_a, raw.flag_b) = std::make_pair(0xA5, 0x5A);
    for (int i = 0; i < 20; ++i) raw.coords[i / 4][i % 4] = static_cast<uint16_t>(100 + 25 * i);
    const RawTouchRecord unscaled{1, {{100}}, -7, 0, -2048, 0xFFFFFFFF, 3};  // in panel units
    const RawTouchRecord skipped{2, {}, 0, 0, 0, 0, 0, 0, 0xFE};
    ASSERT_EQ(2u, Deliver(EncodeTouchBatch({skipped, raw, skipped, unscaled})).size());
    const TouchEvent& e = delivered_[0];
    const float* coords[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (int i = 0; i < 20; ++i) EXPECT_EQ(raw.coords[i / 4][i % 4] / 2.0f, coords[i / 4][i % 4]);
    EXPECT_EQ(std::make_tuple(-3.5f, 32767.5f, 1.5707964f, 0x0123456789ABCDEFull, 5u, 2u,
                              0xBF800000u, 0xA5, 0x5A),
              std::make_tuple(e.point_x, e.point_y, e.orientation, e.timestamp, e.touch_id,
                              e.touch_state, e.touch_value, int{e.flag_a}, int{e.flag_b}));
    EXPECT_EQ(0, memcmp(raw.extra, e.extra, 8));
    const TouchEvent& u = delivered_[1];
    EXPECT_EQ(std::make_tuple(100.0f, -7.0f, -0.78539819f, 0xFFFFFFFFu),
              std::make_tuple(u.coords_0[0], u.point_x, u.orientation, u.touch_state));

    EXPECT_EQ(0u, log_.Count(kTag, "write cancel event"));
    EXPECT_EQ(1u, log_.Count(kTag, "threadLoop starting"));
    const std::string syscall = "/proc/self/task/" + std::to_string(worker_tid_) + "/syscall";
    ASSERT_TRUE(testing::WaitUntil([&] {  // until the worker blocks, and poll is all it can block
        std::string nr;                   // in now; the kernel may not tell
        return !(std::ifstream(syscall) >> nr) || nr != "running";
    }));
    auto stopped = std::async(std::launch::async, [&] { return handler.Stop(); });
    ASSERT_TRUE(stopped.wait_for(testing::kWait) == std::future_status::ready && stopped.get())
        << "Stop hangs";
    ASSERT_TRUE(handler.Start() && host::WriteTouchBatch(EncodeTouchBatch({{1001}})) &&
                host::WriteTouchBatch(EncodeTouchBatch({{1002}})));  // once 1001 is read
    stopped = std::async(std::launch::async, [&] { return handler.Stop(); });
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "deadlock";
    ASSERT_TRUE(handler.Start());
    EXPECT_EQ((Stamps{1001, 1002}), Deliver(EncodeTouchBatch({})));
    EXPECT_TRUE(!switched && cancel_seen_first);
    ExpectLogged(kE,
                 {"OpenTouchDevice: could not open /dev/fth_other, No such file or directory\n",
                  "Configure: failed to open touch device", "Configure: fth ioctl 115 error -1",
                  "Start: configuration has not been completed",
                  "EnableLptwEventReport: configuration has not been completed",
                  "EnableLptwEventReport: fth ioctl 103 error -1", "ReadTouchEvent: invalid event",
                  "EnableLptwEventReport: touch handler is stopping"});
    ExpectLogged(kD,
                 {"EnableLptwEventReport:1", "OpenTouchDevice: opening device: /dev/fth_fd",
                  "Configure: left:-2, right:6, top:4, bottom:-2147483648", "threadLoop exiting"});
    ExpectLogged(kI, {"WriteCancelEvent: write cancel event", "pollFds: received cancel event"});
}

TEST_F(FpsTouchHandlerTest, ValidRecordWithoutCallbackAborts) {
    handler_ = std::make_unique<FpsTouchHandler>();
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}) && handler_->Start());
    EXPECT_EXIT(
        {  // the child runs the case again up to here, with a worker of its own
            host::WriteTouchBatch(EncodeTouchBatch(Records(1)));
            std::this_thread::sleep_for(testing::kWait);  // a bound, not an ordering
            exit(0);
        },
        ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(FpsTouchHandlerTest, CancelPipeIsNonBlockingDrainedAndClosed) {
    FpsTouchHandler handler;
    sp<TouchPollingWorkerThread> thread = new TouchPollingWorkerThread(&handler);
    thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();
    ExpectLogged(kE, {"WriteCancelEvent: invalid fd\n", "ReadAndClearCancelEvent: invalid fd\n"});
    ASSERT_TRUE(thread->Init());
    const int fds[2] = {thread->cancel_read_fd(), thread->cancel_write_fd()};
    ASSERT_TRUE(fcntl(fds[0], F_GETFL) & fcntl(fds[1], F_GETFL) & O_NONBLOCK);
    for (int i = 0; i < 39; ++i) thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();  // two rounds of 16, then 7
    char byte;
    EXPECT_EQ(-1, read(fds[0], &byte, 1));  // drained
    thread.clear();
    EXPECT_TRUE(log_.Contains(kD, kTag, "~TouchPollingWorkerThread") &&
                fcntl(fds[0], F_GETFD) == -1 && fcntl(fds[1], F_GETFD) == -1);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
