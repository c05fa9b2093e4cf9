#include "fp_utils/fps_touch_handler.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>
#include <memory>

#include "host/touch_device.h"
#include "tests/platform/touch_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using host::RawTouchRecord;
using testing::EventSink;
using testing::Gate;
using testing::ScopedProperty;
using testing::WaitForLog;

constexpr char kTag[] = "FpsTouchHandler";
constexpr char kScalingProperty[] = "persist.vendor.udfps.fth.touch_resolution_scaling_factor";
constexpr uint64_t kMarker = 0xFEEDFACECAFEF00Dull;

RawTouchRecord Record(uint64_t timestamp, uint8_t valid = 1) {
    RawTouchRecord r;
    r.timestamp = timestamp;
    r.valid = valid;
    return r;
}

std::vector<RawTouchRecord> Records(size_t n) {
    std::vector<RawTouchRecord> v;
    for (size_t i = 0; i < n; ++i) v.push_back(Record(i + 1));
    return v;
}

std::vector<uint64_t> Timestamps(const std::vector<TouchEvent>& events) {
    std::vector<uint64_t> out;
    for (const TouchEvent& e : events) out.push_back(e.timestamp);
    return out;
}

class FpsTouchHandlerTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(host::CreateTouchDevice());
        host::ClearTouchIoctls();
        host::ClearTouchIoctlFailures();
    }
    void TearDown() override {
        if (handler_) handler_->Stop();
        host::RemoveTouchDevice();
        host::ClearTouchIoctlFailures();
    }

    // A handler that delivers into sink_; the scaling factor property is read here.
    FpsTouchHandler& MakeHandler() {
        handler_ = std::make_unique<FpsTouchHandler>();
        handler_->SetTouchEventCallback(sink_.Callback());
        return *handler_;
    }
    void StartHandler() {
        MakeHandler();
        ASSERT_TRUE(handler_->Configure({10, 20, 30, 40}));
        ASSERT_TRUE(handler_->Start());
    }

    // Writes `batch`, then a marker record, and returns what arrived before the marker: all
    // that `batch` produced, since the worker handles batches in order.
    std::vector<TouchEvent> Deliver(const std::string& batch) {
        const size_t before = sink_.Events().size();
        EXPECT_TRUE(host::WriteTouchBatch(batch));
        EXPECT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({Record(kMarker)})));
        EXPECT_TRUE(sink_.WaitFor([before](const std::vector<TouchEvent>& v) {
            return v.size() > before && v.back().timestamp == kMarker;
        }));
        std::vector<TouchEvent> events = sink_.Events();
        if (events.size() <= before) return {};
        return std::vector<TouchEvent>(events.begin() + before, events.end() - 1);
    }
    TouchEvent DeliverOne(const RawTouchRecord& record) {
        std::vector<TouchEvent> events = Deliver(host::EncodeTouchBatch({record}));
        EXPECT_EQ(1u, events.size());
        return events.empty() ? TouchEvent{} : events[0];
    }

    EventSink sink_;
    std::unique_ptr<FpsTouchHandler> handler_;
};

// The 32 bytes the driver expects for the area request.
std::array<uint8_t, 32> AreaCommand(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    std::array<uint8_t, 32> bytes{};
    const uint32_t code = 6;
    memcpy(&bytes[0], &code, 4);
    bytes[4] = 1;
    memcpy(&bytes[8], &left, 4);
    memcpy(&bytes[12], &top, 4);
    memcpy(&bytes[16], &right, 4);
    memcpy(&bytes[20], &bottom, 4);
    return bytes;
}

// ---- Configure, LPTW switching, the device and its requests ----

TEST_F(FpsTouchHandlerTest, ConfigureSendsTheScaledAreaWithWrappingProducts) {
    ScopedProperty scaling(kScalingProperty, "3");
    FpsTouchHandler& handler = MakeHandler();
    ASSERT_TRUE(handler.Configure({-1, 2, 3, 0x40000000}));

    std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(115u, calls[0].request);
    EXPECT_EQ(AreaCommand(-3, 6, 9, INT32_MIN + 0x40000000), calls[0].argument);
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_DEBUG, kTag, "OpenTouchDevice: opening device: /dev/fth_fd"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag,
                              "Configure: left:-3, right:9, top:6, bottom:-1073741824"));
}

TEST_F(FpsTouchHandlerTest, SecondConfigureReusesTheOpenDevice) {
    FpsTouchHandler& handler = MakeHandler();
    ASSERT_TRUE(handler.Configure({1, 2, 3, 4}));
    ASSERT_TRUE(handler.Configure({5, 6, 7, 8}));
    std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(calls[0].fd, calls[1].fd);
    EXPECT_EQ(AreaCommand(5, 6, 7, 8), calls[1].argument);
    EXPECT_EQ(1u, log_.Count(kTag, "opening device"));
}

TEST_F(FpsTouchHandlerTest, MissingDeviceFailsConfigureUntilItAppears) {
    host::RemoveTouchDevice();
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_FALSE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              "OpenTouchDevice: could not open /dev/fth_fd, No such file or "
                              "directory\n"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "Configure: failed to open touch device"));
    EXPECT_FALSE(handler.Start());
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "Start: configuration has not been completed"));

    ASSERT_TRUE(host::CreateTouchDevice());
    EXPECT_TRUE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(handler.Start());
}

TEST_F(FpsTouchHandlerTest, DevicePathComesFromTheProperty) {
    ScopedProperty path("persist.vendor.udfps.fth.touch_dev_path", "/dev/fth_other");
    ASSERT_TRUE(host::CreateTouchDevice("/dev/fth_other"));
    EXPECT_TRUE(MakeHandler().Configure({1, 2, 3, 4}));
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_DEBUG, kTag, "OpenTouchDevice: opening device: /dev/fth_other"));
    EXPECT_EQ(1u, host::TouchIoctls().size());
    host::RemoveTouchDevice("/dev/fth_other");
}

TEST_F(FpsTouchHandlerTest, RefusedAreaLeavesTheHandlerUnconfigured) {
    host::FailTouchIoctl(115, EIO);
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_FALSE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "Configure: fth ioctl 115 error -1"));
    EXPECT_FALSE(handler.Start());
    EXPECT_FALSE(handler.EnableLptwEventReport(true));

    host::ClearTouchIoctlFailures();
    EXPECT_TRUE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(handler.Start());
}

TEST_F(FpsTouchHandlerTest, EnableLptwEventReportSendsNullArgumentRequests) {
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_FALSE(handler.EnableLptwEventReport(true));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "EnableLptwEventReport:1"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              "EnableLptwEventReport: configuration has not been completed"));
    EXPECT_TRUE(host::TouchIoctls().empty());

    ASSERT_TRUE(handler.Configure({1, 2, 3, 4}));
    host::ClearTouchIoctls();
    EXPECT_TRUE(handler.EnableLptwEventReport(true));
    EXPECT_TRUE(handler.EnableLptwEventReport(false));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "EnableLptwEventReport:0"));
    std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(102u, calls[0].request);
    EXPECT_EQ(103u, calls[1].request);
    EXPECT_TRUE(calls[0].null_argument);
    EXPECT_TRUE(calls[1].null_argument);

    host::FailTouchIoctl(103, EINVAL);
    EXPECT_FALSE(handler.EnableLptwEventReport(false));
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "EnableLptwEventReport: fth ioctl 103 error -1"));
    EXPECT_TRUE(handler.EnableLptwEventReport(true));
}

// Runs in a child: it uses up the descriptors of the process. Returns the exit status.
int CancelPipeFailureCase(FpsTouchHandler& handler, const testing::LogCapture& log) {
    // A limit just above the highest descriptor in use (the process may have inherited many).
    rlim_t highest = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        highest = std::max<rlim_t>(highest, std::stoul(entry.path().filename().string()));
    }
    struct rlimit limit = {highest + 16, highest + 16};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 2;
    std::vector<int> filler;
    for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) filler.push_back(fd);
    if (filler.empty()) return 3;
    close(filler.back());  // room for the device, none for the pipe
    filler.pop_back();
    bool ok = !handler.Configure({1, 2, 3, 4});
    ok &= log.Contains(ANDROID_LOG_ERROR, kTag,
                       "CreateCancelPipe: could not create stop pipe: Too many open files");
    ok &= log.Contains(ANDROID_LOG_ERROR, kTag, "Init: failed to create stop pipe");
    ok &= log.Contains(ANDROID_LOG_ERROR, kTag,
                       "Configure: failed to init touch_polling_worker_thread_");
    ok &= host::TouchIoctls().empty();
    for (int fd : filler) close(fd);
    ok &= handler.Configure({1, 2, 3, 4}) && handler.Start() && handler.Stop();
    return ok ? 0 : 1;
}

TEST_F(FpsTouchHandlerTest, CancelPipeFailureDropsTheWorkerAndIsRetried) {
    EXPECT_EXIT(exit(CancelPipeFailureCase(MakeHandler(), log_)), ::testing::ExitedWithCode(0), "");
}

// The supported flag is read once per process, so the whole case runs in a child.
int UnsupportedCase(FpsTouchHandler& handler, const testing::LogCapture& log) {
    ScopedProperty off("persist.vendor.udfps.fps_touch_handler_supported", "false");
    bool ok = !FpsTouchHandler::IsFpsTouchHandlerSupported();
    ScopedProperty on("persist.vendor.udfps.fps_touch_handler_supported", "true");
    ok &= !FpsTouchHandler::IsFpsTouchHandlerSupported();
    ok &= !handler.Configure({1, 2, 3, 4});
    ok &= log.Contains(ANDROID_LOG_ERROR, kTag,
                       "Configure: FpsTouchHandler is not supported on this device");
    ok &= log.Count(kTag, "opening device") == 0 && host::TouchIoctls().empty();
    ok &= !handler.Start();
    ok &= log.Contains(ANDROID_LOG_ERROR, kTag, "Start: configuration has not been completed");
    return ok ? 0 : 1;
}

TEST_F(FpsTouchHandlerTest, UnsupportedDeviceNeverOpensTheTouchDevice) {
    EXPECT_EXIT(exit(UnsupportedCase(MakeHandler(), log_)), ::testing::ExitedWithCode(0), "");
}

TEST(FpsTouchHandlerSupportTest, SupportedByDefault) {
    EXPECT_TRUE(FpsTouchHandler::IsFpsTouchHandlerSupported());
}

// ---- Start and Stop ----

TEST_F(FpsTouchHandlerTest, StopBeforeStartDoesNothing) {
    FpsTouchHandler& handler = MakeHandler();
    EXPECT_TRUE(handler.Stop());  // before Configure too
    ASSERT_TRUE(handler.Configure({1, 2, 3, 4}));
    EXPECT_TRUE(handler.Stop());
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "Stop"));
    EXPECT_EQ(0u, log_.Count(kTag, "write cancel event"));
    EXPECT_EQ(0u, log_.Count(kTag, "threadLoop"));
}

TEST_F(FpsTouchHandlerTest, StartTwiceRunsOneWorkerAndRestartRunsANewOne) {
    StartHandler();
    EXPECT_TRUE(handler_->Start());
    EXPECT_EQ(1u, Deliver(host::EncodeTouchBatch({Record(1)})).size());
    EXPECT_EQ(1u, log_.Count(kTag, "threadLoop starting"));

    EXPECT_TRUE(handler_->Stop());
    EXPECT_EQ(1u, log_.Count(kTag, "threadLoop exiting"));
    EXPECT_TRUE(handler_->Start());
    EXPECT_EQ(1u, Deliver(host::EncodeTouchBatch({Record(2)})).size());
    EXPECT_EQ(2u, log_.Count(kTag, "threadLoop starting"));
}

TEST_F(FpsTouchHandlerTest, StopWakesTheWorkerBlockedInPoll) {
    StartHandler();
    ASSERT_EQ(1u, Deliver(host::EncodeTouchBatch({Record(1)})).size());
    ASSERT_TRUE(testing::WaitBlockedInPoll(sink_.worker_tid()));

    auto stopped = std::async(std::launch::async, [this] { return handler_->Stop(); });
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "Stop hangs";
    EXPECT_TRUE(stopped.get());
    std::vector<testing::LogLine> expected = {
        {ANDROID_LOG_DEBUG, kTag, "Stop"},
        {ANDROID_LOG_INFO, kTag, "WriteCancelEvent: write cancel event"},
        {ANDROID_LOG_INFO, kTag, "pollFds: received cancel event"},
        {ANDROID_LOG_DEBUG, kTag, "threadLoop exiting"},
    };
    std::vector<testing::LogLine> lines = log_.Lines(kTag);
    auto it = lines.begin();
    for (const testing::LogLine& line : expected) {
        it = std::find(it, lines.end(), line);
        EXPECT_NE(lines.end(), it) << "missing or out of order: " << line;
    }
}

// A Stop that comes while the worker is in the callback waits for it; the cancel byte stays in
// the pipe and, at the next start, wins over the records already waiting on the device.
TEST_F(FpsTouchHandlerTest, StopDuringCallbackAndCancelWinsAtRestart) {
    Gate in_callback, release;
    bool cancel_seen_first = false;
    MakeHandler();
    handler_->SetTouchEventCallback([&](const TouchEvent& e) {
        if (e.timestamp == 1) {
            in_callback.Open();
            release.Wait();
        } else if (e.timestamp == 2) {
            cancel_seen_first =
                log_.Contains(ANDROID_LOG_INFO, kTag, "pollFds: received cancel event");
        }
        sink_.Add(e);
    });
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    ASSERT_TRUE(handler_->Start());
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({Record(1)})));
    ASSERT_TRUE(in_callback.Wait());
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({Record(2)})));

    auto stopped = std::async(std::launch::async, [this] { return handler_->Stop(); });
    ASSERT_TRUE(WaitForLog(log_, ANDROID_LOG_INFO, kTag, "WriteCancelEvent: write cancel event"));
    release.Open();
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "Stop hangs";
    EXPECT_EQ(0u, log_.Count(kTag, "received cancel event"));
    EXPECT_FALSE(host::WaitTouchBatchRead(std::chrono::milliseconds(0))) << "record 2 was read";

    ASSERT_TRUE(handler_->Start());
    ASSERT_TRUE(sink_.WaitForCount(2));
    EXPECT_EQ((std::vector<uint64_t>{1, 2}), Timestamps(sink_.Events()));
    EXPECT_TRUE(cancel_seen_first);
}

// ---- The callback ----

TEST_F(FpsTouchHandlerTest, CallbackMaySwitchLptwReport) {
    bool switched = false;
    MakeHandler();
    handler_->SetTouchEventCallback([&](const TouchEvent& e) {
        if (e.timestamp == 7) switched = handler_->EnableLptwEventReport(true);
        sink_.Add(e);
    });
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    ASSERT_TRUE(handler_->Start());
    host::ClearTouchIoctls();
    Deliver(host::EncodeTouchBatch({Record(7)}));
    EXPECT_TRUE(switched);
    ASSERT_EQ(1u, host::TouchIoctls().size());
    EXPECT_EQ(102u, host::TouchIoctls()[0].request);
}

TEST_F(FpsTouchHandlerTest, CallbackSwitchingLptwWhileStopWaitsDoesNotDeadlock) {
    Gate in_callback, release;
    std::promise<bool> switched;
    MakeHandler();
    handler_->SetTouchEventCallback([&](const TouchEvent&) {
        in_callback.Open();
        release.Wait();
        switched.set_value(handler_->EnableLptwEventReport(true));
    });
    ASSERT_TRUE(handler_->Configure({1, 2, 3, 4}));
    ASSERT_TRUE(handler_->Start());
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({Record(1)})));
    ASSERT_TRUE(in_callback.Wait());

    auto stopped = std::async(std::launch::async, [this] { return handler_->Stop(); });
    // Logged under the lock, which Stop then keeps until the worker has ended.
    ASSERT_TRUE(WaitForLog(log_, ANDROID_LOG_INFO, kTag, "WriteCancelEvent: write cancel event"));
    release.Open();
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(testing::kWait)) << "deadlock";
    EXPECT_FALSE(switched.get_future().get());
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "EnableLptwEventReport: touch handler is stopping"));
}

// Runs in a child, which the worker aborts. Returns only when it did not.
int NoCallbackCase(FpsTouchHandler& handler) {
    if (!handler.Configure({1, 2, 3, 4}) || !handler.Start()) return 1;
    host::WriteTouchBatch(host::EncodeTouchBatch({Record(1, 0)}));  // invalid: harmless
    host::WriteTouchBatch(host::EncodeTouchBatch({Record(2)}));
    std::this_thread::sleep_for(testing::kWait);  // a bound, not an ordering
    return 0;
}

TEST_F(FpsTouchHandlerTest, ValidRecordWithoutCallbackAborts) {
    handler_ = std::make_unique<FpsTouchHandler>();
    EXPECT_EXIT(exit(NoCallbackCase(*handler_)), ::testing::KilledBySignal(SIGABRT), "");
}

// ---- Batches ----

TEST_F(FpsTouchHandlerTest, BatchesOfZeroOneAndAFullRead) {
    StartHandler();
    EXPECT_TRUE(Deliver(host::EncodeTouchBatch({})).empty());
    EXPECT_TRUE(Deliver(host::EncodeTouchBatch(0, Records(3))).empty());
    EXPECT_EQ((std::vector<uint64_t>{1}), Timestamps(Deliver(host::EncodeTouchBatch(Records(1)))));

    std::vector<uint64_t> expected;
    for (uint64_t i = 1; i <= 128; ++i) expected.push_back(i);
    EXPECT_EQ(expected, Timestamps(Deliver(host::EncodeTouchBatch(Records(128)))));
}

TEST_F(FpsTouchHandlerTest, CountBeyondOneReadStopsAtTheLastSlot) {
    StartHandler();
    std::vector<TouchEvent> events = Deliver(host::EncodeTouchBatch(200, Records(128)));
    ASSERT_EQ(128u, events.size());
    EXPECT_EQ(128u, events.back().timestamp);
}

TEST_F(FpsTouchHandlerTest, CountBelowTheSlotsWrittenAndHeaderTailIgnored) {
    StartHandler();
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3}),
              Timestamps(Deliver(host::EncodeTouchBatch(3, Records(5), 0xFFFFFFFF))));
}

TEST_F(FpsTouchHandlerTest, SlotsWithoutTheValidBitAreSkipped) {
    StartHandler();
    std::vector<RawTouchRecord> slots = {Record(1, 0), Record(2, 1), Record(3, 0xFE),
                                         Record(4, 0xFF), Record(5, 0)};
    EXPECT_EQ((std::vector<uint64_t>{2, 4}), Timestamps(Deliver(host::EncodeTouchBatch(slots))));
    EXPECT_EQ(3u, log_.Count(kTag, "ReadTouchEvent: invalid event"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "ReadTouchEvent: invalid event"));
}

// ---- Conversion of one record ----

RawTouchRecord FullRecord(uint32_t touch_id) {
    RawTouchRecord r = Record(0x0123456789ABCDEFull);
    for (int g = 0; g < 5; ++g) {
        for (int k = 0; k < 4; ++k) r.coords[g][k] = static_cast<uint16_t>(100 * (k + 1) + 2 * g);
    }
    r.point_x = -7;
    r.point_y = 65535;
    r.touch_id = touch_id;
    r.touch_state = 2;
    r.touch_value = 0xBF800000;  // bits of -1.0f
    const uint8_t extra[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    memcpy(r.extra, extra, 8);
    r.flag_a = 0xA5;
    r.flag_b = 0x5A;
    memset(r.padding, 0xEE, sizeof(r.padding));
    r.valid = 0x81;
    return r;
}

TEST_F(FpsTouchHandlerTest, RecordIsDividedIntoPanelUnitsUnlessUnscaled) {
    ScopedProperty scaling(kScalingProperty, "2");
    StartHandler();
    const RawTouchRecord raw = FullRecord(5);
    const TouchEvent e = DeliverOne(raw);
    const float* groups[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (int g = 0; g < 5; ++g) {
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(raw.coords[g][k] / 2.0f, groups[g][k]) << "coords_" << g << "[" << k << "]";
        }
    }
    EXPECT_EQ(50.0f, e.coords_0[0]);
    EXPECT_EQ(200.0f, e.coords_0[3]);
    EXPECT_EQ(-3.5f, e.point_x);
    EXPECT_EQ(32767.5f, e.point_y);
    EXPECT_EQ(0x0123456789ABCDEFull, e.timestamp);
    EXPECT_EQ(5u, e.touch_id);
    EXPECT_EQ(2u, e.touch_state);
    EXPECT_EQ(0xBF800000u, e.touch_value);
    EXPECT_EQ(0, memcmp(raw.extra, e.extra, 8));
    EXPECT_EQ(0xA5, e.flag_a);
    EXPECT_EQ(0x5A, e.flag_b);
    EXPECT_EQ(0.0f, e.orientation);

    const TouchEvent unscaled = DeliverOne(FullRecord(0xFFFFFFFF));
    EXPECT_EQ(100.0f, unscaled.coords_0[0]);
    EXPECT_EQ(408.0f, unscaled.coords_4[3]);
    EXPECT_EQ(-7.0f, unscaled.point_x);
    EXPECT_EQ(0xFFFFFFFFu, unscaled.touch_id);
}

TEST_F(FpsTouchHandlerTest, OrientationBecomesRadians) {
    StartHandler();
    const struct {
        int32_t raw;
        float radians;
    } cases[] = {
        {4096, 1.5707964f}, {-4096, -1.5707964f}, {-2048, -0.78539819f},
        {0, 0.0f},          {1, 3.8349521e-4f},   {8192, 3.1415927f},
    };
    for (const auto& c : cases) {
        RawTouchRecord r = Record(1);
        r.orientation = c.raw;
        EXPECT_FLOAT_EQ(c.radians, DeliverOne(r).orientation) << c.raw;
    }
    RawTouchRecord r = Record(1);
    r.orientation = 4096;
    EXPECT_EQ(static_cast<float>(M_PI / 2), DeliverOne(r).orientation);
}

TEST_F(FpsTouchHandlerTest, TouchStateAboveTwoBecomesUnknown) {
    StartHandler();
    const std::pair<uint32_t, uint32_t> cases[] = {{0, 0},
                                                   {1, 1},
                                                   {2, 2},
                                                   {3, 0xFFFFFFFF},
                                                   {0x80000000u, 0xFFFFFFFF},
                                                   {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto& c : cases) {
        RawTouchRecord r = Record(1);
        r.touch_state = c.first;
        EXPECT_EQ(c.second, DeliverOne(r).touch_state) << c.first;
    }
}

bool IsInitialEvent(const TouchEvent& e) {
    const float* groups[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (const float* g : groups) {
        for (int k = 0; k < 4; ++k) {
            if (g[k] != 0) return false;
        }
    }
    const uint8_t no_extra[8] = {};
    return e.touch_state == 0xFFFFFFFF && e.touch_value == 0 && e.touch_id == 0 &&
           memcmp(e.extra, no_extra, 8) == 0 && e.flag_a == 0 && e.flag_b == 0 && e.point_x == 0 &&
           e.point_y == 0 && e.orientation == 0 && e.timestamp == 0;
}

TEST_F(FpsTouchHandlerTest, LastEventStartsAndResetsToUnknownState) {
    StartHandler();
    EXPECT_TRUE(IsInitialEvent(handler_->GetLastTouchEvent()));
    RawTouchRecord marker = FullRecord(5);
    marker.timestamp = kMarker;
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({marker})));
    ASSERT_TRUE(sink_.WaitForCount(1));
    EXPECT_FALSE(IsInitialEvent(handler_->GetLastTouchEvent()));
    handler_->ResetLastTouchEvent();
    EXPECT_TRUE(IsInitialEvent(handler_->GetLastTouchEvent()));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
