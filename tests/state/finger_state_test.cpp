#include <android/log.h>
#include <gtest/gtest.h>
#include <utils/SystemClock.h>

#include <cerrno>

#include "fp_utils/fp_state_tracker.h"
#include "fp_utils/fps_touch_handler.h"
#include "host/touch_device.h"
#include "tests/platform/touch_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

// The process's touch handler, configured once. The device node is made under the first
// test's root; the handler keeps its descriptor and the stand-in keeps answering on it after
// that root is gone.
FpsTouchHandler* ConfiguredTouchHandler() {
    static bool configured =
        host::CreateTouchDevice() && FpsTouchHandler::GetInstance()->Configure({0, 0, 9, 9});
    EXPECT_TRUE(configured);
    return FpsTouchHandler::GetInstance();
}

std::vector<unsigned long> Requests() {
    std::vector<unsigned long> out;
    for (const host::TouchIoctl& call : host::TouchIoctls()) out.push_back(call.request);
    return out;
}

void ExpectEllipse(const Ellipse& e, float x, float y, float major, float minor, float o) {
    EXPECT_EQ(x, e.center.x);
    EXPECT_EQ(y, e.center.y);
    EXPECT_EQ(major, e.major);
    EXPECT_EQ(minor, e.minor);
    EXPECT_EQ(o, e.orientation);
}

class FingerStateTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override {
        ConfiguredTouchHandler();
        host::ClearTouchIoctls();
        host::ClearTouchIoctlFailures();
    }
    void TearDown() override { host::ClearTouchIoctlFailures(); }
    FingerState finger_;
};

TEST_F(FingerStateTest, DownWithLptwSwitchesTheReportOnAndUpSwitchesItOff) {
    const int64_t event_time = android::uptimeMillis() - 35;
    finger_.Set(true, event_time, Ellipse(120.5f, 340.25f, 60, 40, 0.5f), true);
    const int64_t after_down = android::uptimeMillis();

    EXPECT_TRUE(finger_.IsFingerDown());
    EXPECT_EQ(event_time, finger_.GetDownEventTime());
    EXPECT_GE(finger_.GetDownUptimeMs(), event_time + 35);
    EXPECT_LE(finger_.GetDownUptimeMs(), after_down);
    EXPECT_EQ(finger_.GetDownUptimeMs() - event_time, finger_.GetDownLatencyMs());
    EXPECT_EQ(0, finger_.GetUpUptimeMs());
    ExpectEllipse(finger_.GetEllipse(), 120.5f, 340.25f, 60, 40, 0.5f);
    EXPECT_TRUE(finger_.IsLptwRequested());
    EXPECT_TRUE(finger_.IsLptwEnabled());
    EXPECT_EQ((std::vector<unsigned long>{102}), Requests());

    finger_.Set(false, 0, Ellipse(1, 2, 3, 4, 5), true);
    EXPECT_FALSE(finger_.IsFingerDown());
    EXPECT_GE(finger_.GetUpUptimeMs(), finger_.GetDownUptimeMs());
    ExpectEllipse(finger_.GetEllipse(), 0, 0, 0, 0, 0);
    EXPECT_FALSE(finger_.IsLptwEnabled());
    EXPECT_TRUE(finger_.IsLptwRequested());  // kept until the next finger-down
    EXPECT_EQ((std::vector<unsigned long>{102, 103}), Requests());
}

TEST_F(FingerStateTest, DownWithoutLptwOrEventTimeLeavesTheReportAlone) {
    finger_.Set(true, 0, Ellipse(1, 2, 3, 4, 5), false);
    EXPECT_EQ(0u, finger_.GetDownLatencyMs());
    EXPECT_FALSE(finger_.IsLptwEnabled());
    finger_.Set(false, 0, Ellipse(), false);
    finger_.Set(true, -20, Ellipse(1, 2, 3, 4, 5), false);
    EXPECT_EQ(0u, finger_.GetDownLatencyMs());
    EXPECT_EQ(-20, finger_.GetDownEventTime());
    EXPECT_TRUE(Requests().empty());
}

TEST_F(FingerStateTest, RepeatedDownKeepsTheFirstTimesButTakesTheNewEllipse) {
    finger_.Set(true, android::uptimeMillis(), Ellipse(1, 2, 3, 4, 0.1f), true);
    const int64_t event_time = finger_.GetDownEventTime();
    const int64_t down = finger_.GetDownUptimeMs();
    const uint32_t latency = finger_.GetDownLatencyMs();

    finger_.Set(true, event_time - 1000, Ellipse(5, 6, 7, 8, -0.2f), false);
    EXPECT_EQ(event_time, finger_.GetDownEventTime());
    EXPECT_EQ(down, finger_.GetDownUptimeMs());
    EXPECT_EQ(latency, finger_.GetDownLatencyMs());
    EXPECT_TRUE(finger_.IsLptwRequested());
    EXPECT_TRUE(finger_.IsLptwEnabled());
    ExpectEllipse(finger_.GetEllipse(), 5, 6, 7, 8, -0.2f);

    finger_.Set(false, 0, Ellipse(), false);
    const int64_t up = finger_.GetUpUptimeMs();
    finger_.Set(false, 0, Ellipse(), true);
    EXPECT_EQ(up, finger_.GetUpUptimeMs());
    EXPECT_EQ((std::vector<unsigned long>{102, 103}), Requests());
}

TEST_F(FingerStateTest, RefusedSwitchStillCountsAsEnabled) {
    host::FailTouchIoctl(102, EIO);
    finger_.Set(true, 0, Ellipse(), true);
    EXPECT_TRUE(finger_.IsLptwEnabled());
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "FpsTouchHandler",
                              "EnableLptwEventReport: fth ioctl 102 error -1"));
    finger_.Set(false, 0, Ellipse(), true);
    EXPECT_FALSE(finger_.IsLptwEnabled());
    EXPECT_EQ((std::vector<unsigned long>{102, 103}), Requests());
}

// The HAL's own flow: the touch callback reports the finger, which switches the report on the
// worker thread; the finger-up clears the handler's last event.
TEST_F(FingerStateTest, FingerFromTheTouchCallback) {
    FpsTouchHandler* handler = ConfiguredTouchHandler();
    testing::EventSink sink;
    handler->SetTouchEventCallback([&](const TouchEvent& e) {
        finger_.Set(e.touch_state == 1, 0,
                    Ellipse(e.point_x, e.point_y, e.coords_0[0], e.coords_0[1], e.orientation),
                    true);
        sink.Add(e);
    });
    struct StopAtEnd {
        FpsTouchHandler* handler;
        ~StopAtEnd() {
            handler->Stop();
            handler->SetTouchEventCallback(nullptr);
        }
    } stop_at_end{handler};
    ASSERT_TRUE(handler->Start());
    host::RawTouchRecord down;
    down.touch_state = 1;
    down.point_x = 200;
    down.point_y = 300;
    down.coords[0][0] = 50;
    down.coords[0][1] = 30;
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({down})));
    ASSERT_TRUE(sink.WaitForCount(1));
    EXPECT_TRUE(finger_.IsFingerDown());
    ExpectEllipse(finger_.GetEllipse(), 200, 300, 50, 30, 0);
    EXPECT_EQ((std::vector<unsigned long>{102}), Requests());
    EXPECT_EQ(1u, handler->GetLastTouchEvent().touch_state);

    host::RawTouchRecord up = down;
    up.touch_state = 0;
    up.timestamp = 99;
    ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({up})));
    ASSERT_TRUE(sink.WaitForCount(2));
    EXPECT_TRUE(handler->Stop());
    EXPECT_FALSE(finger_.IsFingerDown());
    EXPECT_EQ((std::vector<unsigned long>{102, 103}), Requests());
    const TouchEvent last = handler->GetLastTouchEvent();
    EXPECT_EQ(0xFFFFFFFFu, last.touch_state);
    EXPECT_EQ(0u, last.timestamp);
    EXPECT_EQ(0.0f, last.point_x);
}

// Runs in a child, whose touch handler was never configured.
int UnconfiguredHandlerCase() {
    FingerState finger;
    finger.Set(true, 0, Ellipse(), true);
    if (!finger.IsLptwEnabled()) return 1;
    finger.Set(false, 0, Ellipse(), true);
    if (finger.IsLptwEnabled()) return 2;
    return host::TouchIoctls().empty() ? 0 : 3;
}

TEST(FingerStateUnconfiguredTest, SwitchIsRecordedEvenWhenTheHandlerRefuses) {
    testing::LogCapture log;
    EXPECT_EXIT(exit(UnconfiguredHandlerCase()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
