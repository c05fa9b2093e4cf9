#include "fp_utils/fps_touch_handler.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <tuple>
#include <utility>

#include "host/touch_device.h"
#include "platform/touch_polling_worker_thread.h"
#include "tests/platform/touch_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using host::EncodeTouchBatch;
using host::RawTouchRecord;
using testing::ScopedProperty;

constexpr char kTag[] = "FpsTouchHandler";
constexpr char kScaling[] = "persist.vendor.udfps.fth.touch_resolution_scaling_factor";
constexpr char kSupported[] = "persist.vendor.udfps.fps_touch_handler_supported";
constexpr uint64_t kMarker = 0xFEEDFACECAFEF00Dull;
using Stamps = std::vector<uint64_t>;
constexpr int kD = ANDROID_LOG_DEBUG, kI = ANDROID_LOG_INFO, kE = ANDROID_LOG_ERROR;

RawTouchRecord Record(uint64_t timestamp, uint8_t valid = 1) {
    RawTouchRecord r;
    r.timestamp = timestamp;
    r.valid = valid;
    return r;
}

std::vector<RawTouchRecord> Records(size_t n) {  // stamped 1..n
    std::vector<RawTouchRecord> v;
    for (size_t i = 1; i <= n; ++i) v.push_back(Record(i));
    return v;
}

class FpsTouchHandlerTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(host::CreateTouchDevice());
        host::ClearTouchIoctls();
    }
    void TearDown() override {
        if (handler_) handler_->Stop();
        host::RemoveTouchDevice();
        host::ClearTouchIoctlFailures();
    }
    // A handler that delivers into `callback`, or Add(); the scaling factor is read here.
    FpsTouchHandler& MakeHandler(TouchEventCallback callback = nullptr) {
        if (!callback) callback = [this](const TouchEvent& e) { Add(e); };
        handler_ = std::make_unique<FpsTouchHandler>();
        handler_->SetTouchEventCallback(callback);
        return *handler_;
    }
    bool StartHandler() { return MakeHandler().Configure({10, 20, 30, 40}) && handler_->Start(); }
    void Add(const TouchEvent& e) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (e.timestamp != kMarker) events_.push_back(e);
        worker_tid_ = static_cast<pid_t>(syscall(SYS_gettid));
    }
    std::vector<TouchEvent> Events(bool clear = false) {
        std::lock_guard<std::mutex> lock(mutex_);
        return clear ? std::exchange(events_, {}) : events_;
    }
    // Writes `batch`, then a marker batch. The worker reads the marker only once it has handed
    // over all events of `batch`: their stamps are returned, the events kept in Events().
    Stamps Deliver(const std::string& batch) {
        Events(true);
        EXPECT_TRUE(host::WriteTouchBatch(batch) &&
                    host::WriteTouchBatch(EncodeTouchBatch({Record(kMarker)})) &&
                    host::WaitTouchBatchRead());
        Stamps stamps;
        for (const TouchEvent& e : Events()) stamps.push_back(e.timestamp);
        return stamps;
    }

    std::mutex mutex_;
    std::vector<TouchEvent> events_;
    pid_t worker_tid_ = 0;
    std::unique_ptr<FpsTouchHandler> handler_;
};

TEST_F(FpsTouchHandlerTest, ConfigureSendsTheScaledAreaAndReusesTheDevice) {
    ScopedProperty scaling(kScaling, "3");
    ASSERT_TRUE(MakeHandler().Configure({-1, 2, 3, 0x40000000}));  // the last product wraps
    ASSERT_TRUE(handler_->Configure({5, 6, 7, 8}));
    const std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(2u, calls.size());
    std::array<uint8_t, 32> command{6, 0, 0, 0, 1};  // code 6, enable 1, then the area
    const int32_t area[4] = {-3, 6, 9, INT32_MIN + 0x40000000};
    memcpy(&command[8], area, sizeof(area));
    EXPECT_EQ(command, calls[0].argument);
    EXPECT_TRUE(calls[0].request == 115 && calls[1].request == 115 && calls[0].fd == calls[1].fd);
    EXPECT_TRUE(log_.Contains(kD, kTag, "OpenTouchDevice: opening device: /dev/fth_fd"));
    EXPECT_TRUE(log_.Contains(kD, kTag, "Configure: left:-3, right:9, top:6, bottom:-1073741824"));
}

TEST_F(FpsTouchHandlerTest, FailedConfigureLeavesTheHandlerUnconfigured) {
    ScopedProperty path("persist.vendor.udfps.fth.touch_dev_path", "/dev/fth_other");
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_FALSE(handler.Configure({1, 2, 3, 4}));
    ASSERT_TRUE(host::CreateTouchDevice("/dev/fth_other"));
    host::FailTouchIoctl(115, EIO);
    EXPECT_FALSE(handler.Configure({1, 2, 3, 4}));
    EXPECT_FALSE(handler.Start());
    for (const char* text :
         {"OpenTouchDevice: could not open /dev/fth_other, No such file or directory\n",
          "Configure: failed to open touch device", "Start: configuration has not been completed",
          "Configure: fth ioctl 115 error -1"}) {
        EXPECT_TRUE(log_.Contains(kE, kTag, text)) << text;
    }
    host::ClearTouchIoctlFailures();
    EXPECT_TRUE(handler.Configure({1, 2, 3, 4}) && handler.Start() && handler.Stop());
    host::RemoveTouchDevice("/dev/fth_other");
}

TEST_F(FpsTouchHandlerTest, EnableLptwEventReportSendsNullArgumentRequests) {
    EXPECT_FALSE(MakeHandler().EnableLptwEventReport(true));
    EXPECT_TRUE(log_.Contains(kD, kTag, "EnableLptwEventReport:1"));
    EXPECT_TRUE(
        log_.Contains(kE, kTag, "EnableLptwEventReport: configuration has not been completed"));
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    host::ClearTouchIoctls();
    EXPECT_TRUE(handler_->EnableLptwEventReport(true) && handler_->EnableLptwEventReport(false));
    host::FailTouchIoctl(103, EINVAL);
    EXPECT_FALSE(handler_->EnableLptwEventReport(false));
    EXPECT_TRUE(log_.Contains(kE, kTag, "EnableLptwEventReport: fth ioctl 103 error -1"));
    EXPECT_EQ((std::vector<unsigned long>{102, 103, 103}), testing::TouchRequests());
    for (const host::TouchIoctl& call : host::TouchIoctls()) EXPECT_TRUE(call.null_argument);
}

// The supported flag is read once per process, so the case runs in a child.
TEST_F(FpsTouchHandlerTest, UnsupportedDeviceNeverOpensTheTouchDevice) {
    auto run = [this] {
        ScopedProperty off(kSupported, "false");
        bool ok = !FpsTouchHandler::IsFpsTouchHandlerSupported();
        ScopedProperty on(kSupported, "true");
        ok &= !FpsTouchHandler::IsFpsTouchHandlerSupported() &&
              !MakeHandler().Configure({1, 2, 3, 4});
        ok &= !handler_->Start() && log_.Count(kTag, "opening device") == 0;
        ok &= log_.Contains(kE, kTag, "Configure: FpsTouchHandler is not supported on this device");
        return ok && log_.Contains(kE, kTag, "Start: configuration has not been completed");
    };
    EXPECT_EXIT(exit(run() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

// Start twice runs one worker; Stop wakes it from its poll; a new Start runs a new one.
TEST_F(FpsTouchHandlerTest, StopBeforeStartStartTwiceStopAndRestart) {
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_TRUE(handler.Stop());
    ASSERT_TRUE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(handler.Stop());
    EXPECT_EQ(0u, log_.Count(kTag, "write cancel event"));
    EXPECT_TRUE(handler.Start() && handler.Start());
    ASSERT_EQ(1u, Deliver(EncodeTouchBatch({Record(1)})).size());
    EXPECT_EQ(1u, log_.Count(kTag, "threadLoop starting"));

    const std::string syscall = "/proc/self/task/" + std::to_string(worker_tid_) + "/syscall";
    ASSERT_TRUE(testing::WaitUntil([&] {
        std::string nr;
        if (!(std::ifstream(syscall) >> nr)) return true;  // the kernel does not tell
#if defined(SYS_poll)
        if (nr == std::to_string(SYS_poll)) return true;
#endif
        return nr == std::to_string(SYS_ppoll);
    }));
    auto stopped = std::async(std::launch::async, [&] { return handler.Stop(); });
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "Stop hangs";
    EXPECT_TRUE(stopped.get());
    EXPECT_TRUE(log_.Contains(kI, kTag, "WriteCancelEvent: write cancel event"));
    EXPECT_TRUE(log_.Contains(kI, kTag, "pollFds: received cancel event"));
    EXPECT_TRUE(log_.Contains(kD, kTag, "threadLoop exiting"));

    EXPECT_TRUE(handler.Start());
    EXPECT_EQ(1u, Deliver(EncodeTouchBatch({Record(2)})).size());
    EXPECT_EQ(2u, log_.Count(kTag, "threadLoop starting"));
}

// A Stop that comes while the worker is in the callback waits for it, and the callback's LPTW
// switch gives up rather than wait for the lock that Stop holds. The cancel byte stays in the
// pipe and, at the next start, wins over the record already waiting on the device.
TEST_F(FpsTouchHandlerTest, StopDuringTheCallback) {
    bool switched = true, cancel_seen_first = false;
    MakeHandler([&](const TouchEvent& e) {
        Add(e);
        if (e.timestamp == 1) {  // held here until Stop waits for this thread
            testing::WaitUntil(
                [&] { return log_.Contains(kI, kTag, "WriteCancelEvent: write cancel event"); });
            switched = handler_->EnableLptwEventReport(true);
        } else if (e.timestamp == 2) {
            cancel_seen_first = log_.Contains(kI, kTag, "pollFds: received cancel event");
        }
    });
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}) && handler_->Start());
    ASSERT_TRUE(host::WriteTouchBatch(EncodeTouchBatch({Record(1)})));
    ASSERT_TRUE(testing::WaitUntil([&] { return !Events().empty(); }));
    ASSERT_TRUE(host::WriteTouchBatch(EncodeTouchBatch({Record(2)})));
    auto stopped = std::async(std::launch::async, [this] { return handler_->Stop(); });
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "deadlock";
    EXPECT_FALSE(switched);
    EXPECT_TRUE(log_.Contains(kE, kTag, "EnableLptwEventReport: touch handler is stopping"));

    ASSERT_TRUE(handler_->Start());
    EXPECT_EQ(Stamps{2}, Deliver(EncodeTouchBatch({})));
    EXPECT_TRUE(cancel_seen_first);
}

TEST_F(FpsTouchHandlerTest, ValidRecordWithoutCallbackAborts) {
    handler_ = std::make_unique<FpsTouchHandler>();
    EXPECT_EXIT(
        {
            if (handler_->Configure({1, 2, 3, 4}) && handler_->Start()) {
                host::WriteTouchBatch(EncodeTouchBatch({Record(2)}));
                std::this_thread::sleep_for(testing::kWait);  // a bound, not an ordering
            }
            exit(0);
        },
        ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(FpsTouchHandlerTest, BatchesUpToOneFullReadSkippingInvalidSlots) {
    ASSERT_TRUE(StartHandler());
    Stamps all(128);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_TRUE(Deliver(EncodeTouchBatch({})).empty());
    EXPECT_TRUE(Deliver(EncodeTouchBatch(0, Records(3))).empty());
    EXPECT_EQ(Stamps{1}, Deliver(EncodeTouchBatch(Records(1))));
    EXPECT_EQ(all, Deliver(EncodeTouchBatch(Records(128))));
    EXPECT_EQ(all, Deliver(EncodeTouchBatch(200, Records(128))));  // 128 slots per read
    // A count below the slots written, with the header's second word set.
    EXPECT_EQ((Stamps{1, 2, 3}), Deliver(EncodeTouchBatch(3, Records(5), ~0u)));
    EXPECT_EQ(Stamps{2}, Deliver(EncodeTouchBatch({Record(1, 0), Record(2), Record(3, 0xFE)})));
    EXPECT_EQ(2u, log_.Count(kTag, "invalid event"));
    EXPECT_TRUE(log_.Contains(kE, kTag, "ReadTouchEvent: invalid event"));
}

TEST_F(FpsTouchHandlerTest, RecordsAreConvertedIntoPanelUnits) {
    ScopedProperty scaling(kScaling, "2");
    ASSERT_TRUE(StartHandler());
    EXPECT_EQ(0xFFFFFFFFu, handler_->GetLastTouchEvent().touch_state);  // before any record
    RawTouchRecord raw = Record(0x0123456789ABCDEFull, 0x81);
    for (int i = 0; i < 20; ++i) raw.coords[i / 4][i % 4] = static_cast<uint16_t>(100 + 25 * i);
    raw.point_x = -7;
    raw.point_y = 65535;
    raw.orientation = 4096;
    raw.touch_id = 5;
    raw.touch_state = 2;
    raw.touch_value = 0xBF800000;  // the bits of -1.0f
    memcpy(raw.extra, "\x11\x22\x33\x44\x55\x66\x77\x88", 8);
    raw.flag_a = 0xA5;
    raw.flag_b = 0x5A;
    RawTouchRecord unscaled = raw;  // already in panel units
    unscaled.touch_id = 0xFFFFFFFF;
    unscaled.touch_state = 3;
    unscaled.orientation = -2048;
    ASSERT_EQ(2u, Deliver(EncodeTouchBatch({raw, unscaled})).size());
    const std::vector<TouchEvent> events = Events();
    const TouchEvent& e = events[0];
    const float* coords[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (int i = 0; i < 20; ++i) EXPECT_EQ(raw.coords[i / 4][i % 4] / 2.0f, coords[i / 4][i % 4]);
    EXPECT_EQ(std::make_tuple(-3.5f, 32767.5f, 1.5707964f),
              std::make_tuple(e.point_x, e.point_y, e.orientation));
    EXPECT_EQ(std::make_tuple(0x0123456789ABCDEFull, 5u, 2u, 0xBF800000u, 0xA5, 0x5A),
              std::make_tuple(e.timestamp, e.touch_id, e.touch_state, e.touch_value, int{e.flag_a},
                              int{e.flag_b}));
    EXPECT_EQ(0, memcmp(raw.extra, e.extra, 8));
    const TouchEvent& u = events[1];
    EXPECT_EQ(std::make_tuple(100.0f, 575.0f, -7.0f, 0xFFFFFFFFu),
              std::make_tuple(u.coords_0[0], u.coords_4[3], u.point_x, u.touch_state));
    EXPECT_FLOAT_EQ(-0.78539819f, u.orientation);
}

TEST_F(FpsTouchHandlerTest, CancelPipeIsNonBlockingDrainedAndClosed) {
    sp<TouchPollingWorkerThread> thread = new TouchPollingWorkerThread(&MakeHandler());
    thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();
    EXPECT_TRUE(log_.Contains(kE, kTag, "WriteCancelEvent: invalid fd\n"));
    EXPECT_TRUE(log_.Contains(kE, kTag, "ReadAndClearCancelEvent: invalid fd\n"));
    ASSERT_TRUE(thread->Init());
    const int fds[2] = {thread->cancel_read_fd(), thread->cancel_write_fd()};
    EXPECT_TRUE(fcntl(fds[0], F_GETFL) & fcntl(fds[1], F_GETFL) & O_NONBLOCK);
    for (int i = 0; i < 39; ++i) thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();  // two rounds of 16, then 7
    int waiting = -1;  // FIONREAD on a pipe: the stand-in's ioctl passes it to the C library
    EXPECT_TRUE(ioctl(fds[0], FIONREAD, &waiting) == 0 && waiting == 0);
    thread.clear();
    EXPECT_TRUE(log_.Contains(kD, kTag, "~TouchPollingWorkerThread"));
    EXPECT_TRUE(fcntl(fds[0], F_GETFD) == -1 && fcntl(fds[1], F_GETFD) == -1);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
