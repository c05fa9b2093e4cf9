#include "fp_utils/fp_state_tracker.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <utils/SystemClock.h>
#include <utils/Timers.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <future>
#include <tuple>

#include "fp_utils/fps_touch_handler.h"
#include "tests/platform/touch_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::TouchRequests;
using testing::WaitUntil;
using FpStateTrackerTest = testing::FpUtilsTest;
using Requests = std::vector<unsigned long>;
constexpr char kTag[] = "FpStateTracker";

TEST_F(FpStateTrackerTest, WaitWithNoOneToChangeTheState) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(fp_state_t{0x300});
    EXPECT_EQ(0, tracker.WaitForState(fp_state_t{0x300}, 0));  // already there: no time needed
    EXPECT_EQ(-ETIMEDOUT, tracker.WaitForState(fp_state_t{0x301}, 0));
    EXPECT_EQ(0u, log_.Count(kTag, "waiting for state:"));  // a time-out of 0 never waits
    const int64_t start = android::elapsedRealtime();
    EXPECT_EQ(-110, tracker.WaitForState(fp_state_t{0x301}, 30));
    EXPECT_GE(android::elapsedRealtime() - start, 30);
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "WaitForState: Timeout waiting for state change"));
    for (const char* text :
         {"UpdateState: state_:0x300", "WaitForState: state is already 0x300",
          "WaitForState: waiting for state: 0x301", "WaitForState: state is changed to 0x300"}) {
        EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, text)) << text;
    }
}

// Another state wakes every waiter, which waits on; the wanted one ends the waits long before
// their time-out (which only bounds the case when a waiter is not woken).
TEST_F(FpStateTrackerTest, StateSetFromAnotherThreadEndsEveryWait) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(fp_state_t{0x310});
    auto wait = [&] { return tracker.WaitForState(fp_state_t{0x312}, 30000); };
    auto first = std::async(std::launch::async, wait), second = std::async(std::launch::async, wait);
    ASSERT_TRUE(WaitUntil([&] { return log_.Count(kTag, "waiting for state") >= 2; }));
    tracker.UpdateState(fp_state_t{0x311});
    ASSERT_TRUE(WaitUntil([&] { return log_.Count(kTag, "changed to 0x311") >= 2; }));
    EXPECT_NE(std::future_status::ready, first.wait_for(std::chrono::seconds(0)));
    tracker.UpdateState(fp_state_t{0x312});
    ASSERT_EQ(std::future_status::ready, first.wait_for(testing::kWait));
    ASSERT_EQ(std::future_status::ready, second.wait_for(testing::kWait));
    EXPECT_EQ(std::make_pair(0, 0), std::make_pair(first.get(), second.get()));
}

std::string Text(const timeval& tv) {
    struct tm t;
    localtime_r(&tv.tv_sec, &t);
    char buf[32];
    const size_t n = strftime(buf, sizeof(buf), "%Y-%m-%d-%H-%M-%S", &t);
    snprintf(buf + n, sizeof(buf) - n, "-%03d", static_cast<int>(tv.tv_usec / 1000));
    return buf;
}

// Before any finger-down the printed time is the epoch (checked in a child, whose tracker is
// fresh; tests run in UTC), after one the local time of the last. The mark state stamps only its
// own time, other states none.
TEST_F(FpStateTrackerTest, FingerDownAndMarkStamps) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    char buf[32];
    auto epoch = [&] {
        return tracker.GetFingerDownTime(buf, sizeof(buf)) == 23 &&
               std::string(buf) == "1970-01-01-00-00-00-000" &&
               tracker.GetFingerDownTime(buf, 5) == 23 && std::string(buf) == "1970";
    };
    EXPECT_EXIT(exit(epoch() ? 0 : 1), ::testing::ExitedWithCode(0), "");
    struct timeval before, after;
    gettimeofday(&before, nullptr);
    tracker.UpdateState(FP_STATE_FINGER_DOWN_1);
    gettimeofday(&after, nullptr);
    ASSERT_EQ(23, tracker.GetFingerDownTime(buf, sizeof(buf)));
    EXPECT_LE(Text(before), std::string(buf));  // the fixed-width text sorts like the time
    EXPECT_GE(Text(after), std::string(buf));

    const nsecs_t t1 = systemTime();  // the steady clock
    tracker.UpdateState(FP_STATE_FINGER_DOWN_2);
    const nsecs_t t2 = systemTime();
    tracker.UpdateState(fp_state_t{0x204});
    tracker.UpdateState(FP_STATE_MARK);
    const int64_t down = tracker.GetFingerDownSteadyNs();
    EXPECT_TRUE(t1 <= down && down <= t2 && t2 <= tracker.GetMarkSteadyNs());
}

auto Fields(const Ellipse& e) {
    return std::make_tuple(e.center.x, e.center.y, e.major, e.minor, e.orientation);
}

class FingerStateTest : public testing::FpUtilsTest {
  protected:
    // The process's touch handler is configured once, on a device made under the first test's
    // root; it keeps its descriptor, and the stand-in keeps answering on it, after that root.
    void SetUp() override {
        static bool configured =
            host::CreateTouchDevice() && FpsTouchHandler::GetInstance()->Configure({0, 0, 9, 9});
        ASSERT_TRUE(configured);
        host::ClearTouchIoctls();
    }
    void TearDown() override { host::ClearTouchIoctlFailures(); }
    FingerState finger_;
};

TEST_F(FingerStateTest, EdgesRecordTheTimesAndSwitchTheReport) {
    for (long no_time : {0L, -20L}) {  // no event time: no latency; no LPTW: no switch
        finger_.Set(true, no_time, Ellipse(), false);
        EXPECT_EQ(std::make_tuple(no_time, 0u),
                  std::make_tuple(finger_.GetDownEventTime(), finger_.GetDownLatencyMs()));
        finger_.Set(false, 0, Ellipse(), false);
    }
    EXPECT_TRUE(TouchRequests().empty());

    const int64_t event_time = android::uptimeMillis() - 35;
    finger_.Set(true, event_time, Ellipse(), true);
    const int64_t down = finger_.GetDownUptimeMs();
    EXPECT_TRUE(finger_.IsFingerDown() && finger_.IsLptwRequested() && finger_.IsLptwEnabled());
    EXPECT_GE(finger_.GetDownLatencyMs(), 35u);
    // A repeated finger-down keeps the first times and the switch but takes the new ellipse.
    finger_.Set(true, event_time - 1000, Ellipse(5, 6, 7, 8, -0.2f), false);
    EXPECT_TRUE(finger_.IsLptwRequested() && finger_.IsLptwEnabled());
    EXPECT_EQ(std::make_tuple(event_time, down, static_cast<uint32_t>(down - event_time), 0L),
              std::make_tuple(finger_.GetDownEventTime(), finger_.GetDownUptimeMs(),
                              finger_.GetDownLatencyMs(), finger_.GetUpUptimeMs()));
    EXPECT_EQ(Fields(Ellipse(5, 6, 7, 8, -0.2f)), Fields(finger_.GetEllipse()));

    finger_.Set(false, 0, Ellipse(1, 2, 3, 4, 5), true);
    const int64_t up = finger_.GetUpUptimeMs();
    EXPECT_FALSE(finger_.IsFingerDown() || finger_.IsLptwEnabled());
    EXPECT_GE(up, down);
    EXPECT_EQ(Fields(Ellipse()), Fields(finger_.GetEllipse()));
    finger_.Set(false, 0, Ellipse(), true);
    EXPECT_EQ(up, finger_.GetUpUptimeMs());

    host::FailTouchIoctl(102, EIO);  // a refused switch still counts as made: it is undone
    finger_.Set(true, 0, Ellipse(), true);
    finger_.Set(false, 0, Ellipse(), true);
    EXPECT_EQ((Requests{102, 103, 102, 103}), TouchRequests());
}

// The HAL's own flow: the touch callback reports the finger, which switches the report from the
// worker thread; the finger-up resets the handler's last event.
TEST_F(FingerStateTest, FingerFromTheTouchCallback) {
    FpsTouchHandler* handler = FpsTouchHandler::GetInstance();
    handler->SetTouchEventCallback([&](const TouchEvent& e) {
        finger_.Set(e.touch_state == 1, 0, Ellipse(e.point_x, 0, 50, 30, 0), true);
    });
    ASSERT_TRUE(handler->Start());
    host::RawTouchRecord record;
    record.touch_state = 1;
    record.point_x = 200;
    EXPECT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({record})) &&
                WaitUntil([&] { return finger_.IsFingerDown(); }));
    EXPECT_EQ(200.0f, finger_.GetEllipse().center.x);
    EXPECT_EQ(1u, handler->GetLastTouchEvent().touch_state);
    record.touch_state = 0;
    EXPECT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({record})) &&
                WaitUntil([&] { return !finger_.IsFingerDown(); }));
    EXPECT_TRUE(handler->Stop());
    handler->SetTouchEventCallback(nullptr);
    EXPECT_EQ((Requests{102, 103}), TouchRequests());
    const TouchEvent last = handler->GetLastTouchEvent();
    EXPECT_EQ(std::make_tuple(0xFFFFFFFFu, 0.0f), std::make_tuple(last.touch_state, last.point_x));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
