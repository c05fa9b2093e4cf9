// The touch handler on the host's touch device stand-in, which answers its ioctl calls and
// hands it batches of raw records; the worker is a real thread.
#include "fp_utils/fps_touch_handler.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <thread>
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
constexpr char kSupported[] = "persist.vendor.udfps.fps_touch_handler_supported";

std::vector<RawTouchRecord> Records(size_t n) {  // stamped 1, 2, ... n
    std::vector<RawTouchRecord> v(n);
    for (size_t i = 0; i < n; ++i) v[i].timestamp = i + 1;
    return v;
}

// A handler made with scaling factor 2 (read when it is made) on a fresh device.
class FpsTouchHandlerTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(host::CreateTouchDevice());
        handler_ = std::make_unique<FpsTouchHandler>();
        handler_->SetTouchEventCallback([this](const TouchEvent& e) { OnEvent(e); });
    }
    void TearDown() override {
        StopWithinTheBound();
        host::ClearTouchIoctls();
        host::ClearTouchIoctlFailures();
    }
    virtual void OnEvent(const TouchEvent& e) {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(e);
        worker_tid_ = static_cast<pid_t>(syscall(SYS_gettid));
    }
    void ConfigureAndStart() {
        ASSERT_TRUE(handler_->Configure({5, 6, 7, 8}));
        ASSERT_TRUE(handler_->Start());
    }
    // Writes `batch`, then an empty one, which the worker reads only once it has handed over
    // every event of `batch`. Moves the events handed over so far into delivered_; their stamps.
    Stamps Deliver(const std::string& batch) {
        EXPECT_TRUE(host::WriteTouchBatch(batch));
        EXPECT_TRUE(host::WriteTouchBatch(EncodeTouchBatch({})));
        EXPECT_TRUE(host::WaitTouchBatchRead());
        std::lock_guard<std::mutex> lock(mutex_);
        delivered_ = std::exchange(events_, {});
        Stamps stamps;
        for (const TouchEvent& e : delivered_) stamps.push_back(e.timestamp);
        return stamps;
    }
    // Stops on a thread of its own, waiting at most kWait. A Stop that hangs ends the process
    // with the failure: its worker still uses this case's members, so nothing can follow.
    void StopWithinTheBound() {
        auto stopped = std::make_shared<std::promise<bool>>();
        std::future<bool> result = stopped->get_future();
        std::thread([stopped, handler = handler_.get()] {
            stopped->set_value(handler->Stop());
        }).detach();
        if (result.wait_for(testing::kWait) == std::future_status::ready) {
            EXPECT_TRUE(result.get());
            return;
        }
        ADD_FAILURE() << "Stop hangs";
        fflush(stdout);
        _exit(1);
    }
    bool Logged(int priority, const std::string& text) const {
        return log_.Contains(priority, kTag, text);
    }

    ScopedProperty scaling_{"persist.vendor.udfps.fth.touch_resolution_scaling_factor", "2"};
    std::mutex mutex_;
    std::vector<TouchEvent> events_, delivered_;
    pid_t worker_tid_ = 0;
    std::unique_ptr<FpsTouchHandler> handler_;
};

// The flag is read once per process, so the case runs in a child.
TEST_F(FpsTouchHandlerTest, ConfigureFailsWhereTheHandlerIsNotSupported) {
    testing::InChild([&] {
        ScopedProperty off(kSupported, "false");
        EXPECT_FALSE(handler_->Configure({1, 2, 3, 4}));
        ScopedProperty on(kSupported, "true");  // too late: the flag was read
        EXPECT_FALSE(handler_->Configure({1, 2, 3, 4}));
        EXPECT_FALSE(handler_->Start());
        EXPECT_EQ(log_.Count(kTag, "opening device"), 0u);
        EXPECT_TRUE(Logged(kE, "Configure: FpsTouchHandler is not supported on this device"));
    });
}

TEST_F(FpsTouchHandlerTest, ConfigureFailsOnAMissingDevice) {
    ScopedProperty path("persist.vendor.udfps.fth.touch_dev_path", "/dev/fth_other");
    EXPECT_FALSE(handler_->Configure({1, 2, 3, 4}));
    EXPECT_TRUE(
        Logged(kE, "OpenTouchDevice: could not open /dev/fth_other, No such file or directory\n"));
    EXPECT_TRUE(Logged(kE, "Configure: failed to open touch device"));
}

TEST_F(FpsTouchHandlerTest, ConfigureFailsWhenTheAreaRequestIsRefused) {
    host::FailTouchIoctl(FpsTouchHandler::kIoctlSetArea, EIO);
    EXPECT_FALSE(handler_->Configure({1, 2, 3, 4}));
    EXPECT_TRUE(Logged(kE, "Configure: fth ioctl 115 error -1"));
}

TEST_F(FpsTouchHandlerTest, StartAndLptwSwitchFailBeforeAConfiguration) {
    EXPECT_FALSE(handler_->Start());
    EXPECT_FALSE(handler_->EnableLptwEventReport(true));
    EXPECT_TRUE(Logged(kE, "Start: configuration has not been completed"));
    EXPECT_TRUE(Logged(kE, "EnableLptwEventReport: configuration has not been completed"));
}

// Code 6, enable 1, then left -2, top 4, right 6 and bottom INT32_MIN (the product wraps at
// 32 bits), little-endian.
TEST_F(FpsTouchHandlerTest, AreaGoesOutScaledInTheDriversLayout) {
    ASSERT_TRUE(handler_->Configure({-1, 2, 3, 0x40000000}));
    const std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].request, FpsTouchHandler::kIoctlSetArea);
    EXPECT_FALSE(calls[0].null_argument);
    const std::array<uint8_t, 32> command{6, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF,
                                          4, 0, 0, 0, 6, 0, 0, 0, 0,    0,    0,    0x80};
    EXPECT_EQ(calls[0].argument, command);
    EXPECT_TRUE(Logged(kD, "Configure: left:-2, right:6, top:4, bottom:-2147483648"));
}

TEST_F(FpsTouchHandlerTest, DeviceIsOpenedOnceAndLptwSwitchesCarryNoArgument) {
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    ASSERT_TRUE(handler_->Configure({5, 6, 7, 8}));
    EXPECT_TRUE(handler_->EnableLptwEventReport(true));
    EXPECT_TRUE(handler_->EnableLptwEventReport(false));
    EXPECT_EQ(testing::TouchRequests(), (std::vector<unsigned long>{115, 115, 102, 103}));
    const std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    for (size_t i = 1; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].fd, calls[0].fd) << "call " << i;
        EXPECT_EQ(calls[i].null_argument, i >= 2) << "call " << i;
    }
    EXPECT_EQ(log_.Count(kTag, "OpenTouchDevice: opening device: /dev/fth_fd"), 1u);
    EXPECT_TRUE(Logged(kD, "EnableLptwEventReport:1"));
}

TEST_F(FpsTouchHandlerTest, LptwSwitchFailsWhenItsRequestIsRefused) {
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    host::FailTouchIoctl(FpsTouchHandler::kIoctlLptwDisable, EINVAL);
    EXPECT_FALSE(handler_->EnableLptwEventReport(false));
    EXPECT_TRUE(Logged(kE, "EnableLptwEventReport: fth ioctl 103 error -1"));
}

TEST_F(FpsTouchHandlerTest, StopBeforeStartDoesNothingAndTwoStartsRunOneWorker) {
    ASSERT_TRUE(handler_->Configure({5, 6, 7, 8}));
    EXPECT_TRUE(handler_->Stop());
    EXPECT_TRUE(handler_->Start());
    EXPECT_TRUE(handler_->Start());
    EXPECT_EQ(Deliver(EncodeTouchBatch(Records(1))), Stamps{1});
    EXPECT_EQ(log_.Count(kTag, "threadLoop starting"), 1u);
    EXPECT_EQ(log_.Count(kTag, "write cancel event"), 0u);
}

TEST_F(FpsTouchHandlerTest, LastEventIsInvalidBeforeAnyRecord) {
    EXPECT_EQ(handler_->GetLastTouchEvent().touch_state, 0xFFFFFFFFu);
}

// The batch's count is 32 bits wide and at most 128 slots are read.
TEST_F(FpsTouchHandlerTest, BatchCountSaysHowManySlotsAreRead) {
    ConfigureAndStart();
    const struct {
        const char* what;
        std::string batch;
        size_t delivered;
    } cases[] = {{"count with high bits only", EncodeTouchBatch(0, Records(3), ~0u), 0},
                 {"one of three", EncodeTouchBatch(1, Records(3)), 1},
                 {"all 128", EncodeTouchBatch(Records(128)), 128},
                 {"200 asked, 128 slots", EncodeTouchBatch(200, Records(128)), 128}};
    for (const auto& c : cases) {
        Stamps want;
        for (uint64_t i = 1; i <= c.delivered; ++i) want.push_back(i);
        EXPECT_EQ(Deliver(c.batch), want) << c.what;
    }
}

// touch_value holds the bits of -1.0f; only bit 0 of the valid byte counts.
TEST_F(FpsTouchHandlerTest, RecordIsConvertedBackIntoPanelUnits) {
    ConfigureAndStart();
    RawTouchRecord raw{0x0123456789ABCDEFull, {}, -7, 65535, 4096, 5, 2, 0xBF800000, 0x81};
    memcpy(raw.extra, "\x11\x22\x33\x44\x55\x66\x77\x88", 8);
    raw.flag_a = 0xA5;
    raw.flag_b = 0x5A;
    for (int i = 0; i < 20; ++i) raw.coords[i / 4][i % 4] = static_cast<uint16_t>(100 + 25 * i);
    ASSERT_EQ(Deliver(EncodeTouchBatch({raw})).size(), 1u);
    const TouchEvent& e = delivered_[0];
    const float* coords[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(coords[i / 4][i % 4], raw.coords[i / 4][i % 4] / 2.0f) << "coordinate " << i;
    }
    EXPECT_EQ(e.point_x, -3.5f);
    EXPECT_EQ(e.point_y, 32767.5f);
    EXPECT_EQ(e.orientation, 1.5707964f);
    EXPECT_EQ(e.timestamp, 0x0123456789ABCDEFull);
    EXPECT_EQ(e.touch_id, 5u);
    EXPECT_EQ(e.touch_state, 2u);
    EXPECT_EQ(e.touch_value, 0xBF800000u);
    EXPECT_EQ(e.flag_a, 0xA5);
    EXPECT_EQ(e.flag_b, 0x5A);
    EXPECT_EQ(memcmp(raw.extra, e.extra, 8), 0);
}

TEST_F(FpsTouchHandlerTest, UnscaledRecordKeepsPanelUnitsAndAnUnknownStateIsInvalid) {
    ConfigureAndStart();
    ASSERT_EQ(Deliver(EncodeTouchBatch({{1, {{100}}, -7, 0, -2048, 0xFFFFFFFF, 3}})).size(), 1u);
    const TouchEvent& e = delivered_[0];
    EXPECT_EQ(e.coords_0[0], 100.0f);
    EXPECT_EQ(e.point_x, -7.0f);
    EXPECT_EQ(e.orientation, -0.78539819f);
    EXPECT_EQ(e.touch_state, 0xFFFFFFFFu);
}

TEST_F(FpsTouchHandlerTest, SlotWithoutValidBitIsSkippedAndLogged) {
    ConfigureAndStart();
    const RawTouchRecord skipped{2, {}, 0, 0, 0, 0, 0, 0, 0xFE};
    EXPECT_EQ(Deliver(EncodeTouchBatch({skipped, {3}, skipped})), Stamps{3});
    EXPECT_TRUE(Logged(kE, "ReadTouchEvent: invalid event"));
}

TEST_F(FpsTouchHandlerTest, StopWakesTheWorkerFromItsPoll) {
    ConfigureAndStart();
    Deliver(EncodeTouchBatch(Records(1)));
    const std::string syscall = "/proc/self/task/" + std::to_string(worker_tid_) + "/syscall";
    ASSERT_TRUE(testing::WaitUntil([&] {  // until the worker blocks, and poll is all it can block
        std::string nr;                   // in now; the kernel may not tell
        return !(std::ifstream(syscall) >> nr) || nr != "running";
    }));
    StopWithinTheBound();
    EXPECT_TRUE(Logged(kI, "WriteCancelEvent: write cancel event"));
    EXPECT_TRUE(Logged(kI, "pollFds: received cancel event"));
    EXPECT_TRUE(Logged(kD, "threadLoop exiting"));
}

// A Stop comes while the worker is in the callback of record 1001, with 1002 waiting; Stop
// holds the lock while it waits for the worker, then a new Start follows.
class StopInCallbackTest : public FpsTouchHandlerTest {
  protected:
    void OnEvent(const TouchEvent& e) override {
        if (e.timestamp == 1001) {  // held here until the Stop has been asked for
            testing::WaitUntil([&] { return log_.Count(kTag, "write cancel event") > 0; });
            switched_ = handler_->EnableLptwEventReport(true);
        }
        if (e.timestamp == 1002) cancel_seen_first_ = log_.Count(kTag, "received cancel event") > 0;
        FpsTouchHandlerTest::OnEvent(e);  // after the flags: its lock hands them over
    }
    void StopInCallbackThenRestart() {
        ConfigureAndStart();
        ASSERT_TRUE(host::WriteTouchBatch(EncodeTouchBatch({{1001}})));
        ASSERT_TRUE(host::WriteTouchBatch(EncodeTouchBatch({{1002}})));  // once 1001 is read
        StopWithinTheBound();
        ASSERT_TRUE(handler_->Start());
        EXPECT_EQ(Deliver(EncodeTouchBatch({})), (Stamps{1001, 1002}));
    }
    bool switched_ = true;
    bool cancel_seen_first_ = false;
};

TEST_F(StopInCallbackTest, CallbacksLptwSwitchGivesUpRatherThanWaitForTheLock) {
    StopInCallbackThenRestart();
    EXPECT_FALSE(switched_);
    EXPECT_TRUE(Logged(kE, "EnableLptwEventReport: touch handler is stopping"));
}

TEST_F(StopInCallbackTest, CancelLeftInThePipeWinsOverAWaitingRecordAtTheNextStart) {
    StopInCallbackThenRestart();
    EXPECT_TRUE(cancel_seen_first_);
}

TEST_F(FpsTouchHandlerTest, ValidRecordWithoutCallbackAborts) {
    handler_->SetTouchEventCallback(nullptr);
    ConfigureAndStart();
    EXPECT_EXIT(
        {  // the child runs the case again up to here, with a worker of its own
            host::WriteTouchBatch(EncodeTouchBatch(Records(1)));
            std::this_thread::sleep_for(testing::kWait);  // a bound, not an ordering
            exit(0);
        },
        ::testing::KilledBySignal(SIGABRT), "");
}

TEST(TouchPollingWorkerThread, CancelPipeIsNonBlockingDrainedAndClosed) {
    testing::LogCapture log;
    FpsTouchHandler handler;
    sp<TouchPollingWorkerThread> thread = new TouchPollingWorkerThread(&handler);
    ASSERT_TRUE(thread->Init());
    const int fds[2] = {thread->cancel_read_fd(), thread->cancel_write_fd()};
    for (int fd : fds) EXPECT_TRUE(fcntl(fd, F_GETFL) & O_NONBLOCK) << "fd " << fd;
    for (int i = 0; i < 39; ++i) thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();  // two rounds of 16, then 7
    char byte;
    EXPECT_EQ(read(fds[0], &byte, 1), -1) << "drained";
    thread.clear();
    EXPECT_TRUE(log.Contains(kD, kTag, "~TouchPollingWorkerThread"));
    for (int fd : fds) EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "fd " << fd << " left open";
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
