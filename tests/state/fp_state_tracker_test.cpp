#include "fp_utils/fp_state_tracker.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <utils/SystemClock.h>
#include <utils/Timers.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <future>
#include <tuple>

#include "fp_utils/fps_touch_handler.h"
#include "tests/support/fixture.h"
#include "tests/support/touch.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace {

using FpStateTrackerTest = testing::FpUtilsTest;
constexpr char kTag[] = "FpStateTracker";

std::string Text(const timeval& tv) {  // the local time of `tv` as the tracker prints it
    char buf[24];
    strftime(buf, sizeof(buf), "%Y-%m-%d-%H-%M-%S-", localtime(&tv.tv_sec));
    return buf + std::to_string(1000 + tv.tv_usec / 1000).substr(1);
}

// Before any finger-down the printed time is the epoch (checked in a child, whose tracker is
// fresh). Both finger-down states stamp the wall and the steady clock and print the local time
// of the last; the mark state stamps only its own steady time, other states nothing. A time-out
// of 0 never waits, a longer one runs out while no one changes the state. Another state wakes
// every waiter, which waits on; the wanted one ends the waits long before their time-out (which
// only bounds the case when a waiter is not woken).
TEST_F(FpStateTrackerTest, WaitAndStamps) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    char buf[32];
    EXPECT_EXIT(exit(tracker.GetFingerDownTime(buf, sizeof(buf)) == 23 && Text({}) == buf ? 0 : 1),
                ::testing::ExitedWithCode(0), "");
    nsecs_t t1 = 0, t2 = 0;  // the steady clock
    for (fp_state_t down : {FP_STATE_FINGER_DOWN_1, FP_STATE_FINGER_DOWN_2}) {
        timeval before, after;
        gettimeofday(&before, nullptr);
        t1 = systemTime();
        tracker.UpdateState(down);
        t2 = systemTime();
        gettimeofday(&after, nullptr);
        ASSERT_EQ(23, tracker.GetFingerDownTime(buf, sizeof(buf)));
        EXPECT_TRUE(Text(before) <= buf && buf <= Text(after)) << buf;  // sorts like the time
    }
    EXPECT_TRUE(tracker.GetFingerDownTime(buf, 5) == 23 && std::string(buf).size() == 4);

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
          "WaitForState: waiting for state: 0x301", "WaitForState: state is changed to 0x300"})
        EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, text)) << text;

    auto wait = [&] { return tracker.WaitForState(fp_state_t{0x312}, 30000); };
    auto first = std::async(std::launch::async, wait), second = std::async(std::launch::async, wait);
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "for state: 0x312") > 1; }));
    tracker.UpdateState(fp_state_t{0x311});
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "changed to 0x311") >= 2; }));
    EXPECT_NE(std::future_status::ready, first.wait_for(std::chrono::seconds(0)));
    tracker.UpdateState(fp_state_t{0x312});
    ASSERT_TRUE(first.wait_for(testing::kWait) == std::future_status::ready &&
                second.wait_for(testing::kWait) == std::future_status::ready);
    EXPECT_EQ(std::make_pair(0, 0), std::make_pair(first.get(), second.get()));

    tracker.UpdateState(FP_STATE_MARK);
    const int64_t down = tracker.GetFingerDownSteadyNs();
    EXPECT_TRUE(t1 <= down && down <= t2 && t2 <= tracker.GetMarkSteadyNs());
}

// The switch is made at the edges only, also from the worker thread when the touch callback
// reports the finger; a refused switch still counts as made and is undone at the finger-up,
// which also clears the ellipse and the handler's last event.
TEST_F(FpStateTrackerTest, FingerStateSwitchesTheLptwReport) {
    FpsTouchHandler* handler = FpsTouchHandler::GetInstance();
    // Configured once per process: the handler keeps its descriptor, on which the stand-in
    // keeps answering after the root it was made in is gone.
    static const bool configured = host::CreateTouchDevice() && handler->Configure({0, 0, 9, 9});
    ASSERT_TRUE(configured);
    host::ClearTouchIoctls();
    FingerState finger;
    finger.Set(true, -20, Ellipse(), false);  // no event time: no latency; no LPTW: no switch
    EXPECT_TRUE(finger.GetDownEventTime() == -20 && finger.GetDownLatencyMs() == 0u);
    finger.Set(false, 0, Ellipse(), false);
    const int64_t event_time = android::uptimeMillis() - 35;
    finger.Set(true, event_time, Ellipse(), true);
    const int64_t down = finger.GetDownUptimeMs();
    // A repeated finger-down keeps the first times and the switch but takes the new ellipse.
    finger.Set(true, event_time - 1000, Ellipse(5, 6, 7, 8, -0.2f), false);
    EXPECT_EQ(
        std::make_tuple(event_time, down, static_cast<uint32_t>(down - event_time), 0L, true, true),
        std::make_tuple(finger.GetDownEventTime(), finger.GetDownUptimeMs(),
                        finger.GetDownLatencyMs(), finger.GetUpUptimeMs(), finger.IsLptwRequested(),
                        finger.IsLptwEnabled()));
    EXPECT_EQ(Ellipse(5, 6, 7, 8, -0.2f).Print(), finger.GetEllipse().Print());
    finger.Set(false, 0, Ellipse(1, 2, 3, 4, 5), true);
    EXPECT_TRUE(!finger.IsFingerDown() && !finger.IsLptwEnabled() && finger.GetUpUptimeMs() >= down);
    EXPECT_EQ(Ellipse().Print(), finger.GetEllipse().Print());

    // The worker's switch on is refused: it still counts as made. The events carry point_x 200 and
    // an event time of 0 (no latency).
    host::FailTouchIoctl(102, EIO);
    handler->SetTouchEventCallback(
        [&](const TouchEvent& e) { finger.Set(e.touch_state == 1, 0, Ellipse(), true); });
    ASSERT_TRUE(handler->Start());
    for (uint32_t state : {1u, 0u})
        EXPECT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({{0, {}, 200, 0, 0, 0, state}})) &&
                    testing::WaitUntil([&] { return finger.IsFingerDown() == (state == 1); }));
    EXPECT_TRUE(handler->Stop());
    EXPECT_EQ((std::vector<unsigned long>{102, 103, 102, 103}), testing::TouchRequests());
    const TouchEvent last = handler->GetLastTouchEvent();
    EXPECT_EQ(std::make_tuple(0xFFFFFFFFu, 0.0f, 0u),
              std::make_tuple(last.touch_state, last.point_x, finger.GetDownLatencyMs()));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
