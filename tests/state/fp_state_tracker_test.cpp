// The process's HAL state: stamps of the finger-down and mark states, waits for a state from
// other threads, and the finger state's switch of the touch driver's LPTW report.
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

#include "fp_utils/fps_touch_handler.h"
#include "tests/support/fixture.h"
#include "tests/support/touch.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpStateTracker";
constexpr int kD = ANDROID_LOG_DEBUG;

std::string Text(const timeval& tv) {  // the local time of `tv` as the tracker prints it
    char buf[24];
    strftime(buf, sizeof(buf), "%Y-%m-%d-%H-%M-%S-", localtime(&tv.tv_sec));
    return buf + std::to_string(1000 + tv.tv_usec / 1000).substr(1);
}

// The tracker is one per process; each case uses states of its own.
class FpStateTrackerTest : public testing::FpUtilsTest {
  protected:
    std::future<int> WaitInThread(fp_state_t state) {
        return std::async(std::launch::async, [this, state] {
            return tracker_.WaitForState(state, 30000);  // bounds the case if never woken
        });
    }
    FpStateTracker& tracker_ = FpStateTracker::GetInstance();
    char buf_[32] = {};
};

// A child's tracker is fresh.
TEST_F(FpStateTrackerTest, FingerDownTimeIsTheEpochBeforeAnyFingerDown) {
    testing::InChild([&] {
        EXPECT_EQ(tracker_.GetFingerDownTime(buf_, sizeof(buf_)), 23);
        EXPECT_EQ(Text({}), buf_);
    });
}

TEST_F(FpStateTrackerTest, FingerDownStatesPrintTheLocalTimeOfTheLastDown) {
    for (fp_state_t down : {FP_STATE_FINGER_DOWN_1, FP_STATE_FINGER_DOWN_2}) {
        SCOPED_TRACE(down);
        timeval before, after;
        gettimeofday(&before, nullptr);
        tracker_.UpdateState(down);
        gettimeofday(&after, nullptr);
        ASSERT_EQ(tracker_.GetFingerDownTime(buf_, sizeof(buf_)), 23);
        EXPECT_LE(Text(before), buf_);  // such texts sort as the times do
        EXPECT_GE(Text(after), buf_);
    }
}

TEST_F(FpStateTrackerTest, FingerDownTimeIsCutToTheBufferAndTheFullLengthReturned) {
    tracker_.UpdateState(FP_STATE_FINGER_DOWN_1);
    EXPECT_EQ(tracker_.GetFingerDownTime(buf_, 5), 23);
    EXPECT_EQ(std::string(buf_).size(), 4u);
}

TEST_F(FpStateTrackerTest, FingerDownAndMarkStampTheSteadyClock) {
    const nsecs_t before = systemTime();
    tracker_.UpdateState(FP_STATE_FINGER_DOWN_2);
    const nsecs_t after = systemTime();
    tracker_.UpdateState(fp_state_t{0x320});  // stamps nothing
    tracker_.UpdateState(FP_STATE_MARK);
    EXPECT_LE(before, tracker_.GetFingerDownSteadyNs());
    EXPECT_LE(tracker_.GetFingerDownSteadyNs(), after);
    EXPECT_LE(after, tracker_.GetMarkSteadyNs());
}

TEST_F(FpStateTrackerTest, ZeroTimeOutNeverWaits) {
    tracker_.UpdateState(fp_state_t{0x300});
    EXPECT_EQ(tracker_.WaitForState(fp_state_t{0x300}, 0), 0);
    EXPECT_EQ(tracker_.WaitForState(fp_state_t{0x301}, 0), -ETIMEDOUT);
    EXPECT_TRUE(log_.Contains(kD, kTag, "UpdateState: state_:0x300"));
    EXPECT_TRUE(log_.Contains(kD, kTag, "WaitForState: state is already 0x300"));
    EXPECT_EQ(log_.Count(kTag, "waiting for state:"), 0u);
}

TEST_F(FpStateTrackerTest, WaitRunsOutWhileNoOneChangesTheState) {
    tracker_.UpdateState(fp_state_t{0x300});
    const int64_t start = android::elapsedRealtime();
    EXPECT_EQ(tracker_.WaitForState(fp_state_t{0x301}, 30), -110);
    EXPECT_GE(android::elapsedRealtime() - start, 30);
    EXPECT_TRUE(log_.Contains(kD, kTag, "WaitForState: waiting for state: 0x301"));
    EXPECT_TRUE(log_.Contains(kD, kTag, "WaitForState: state is changed to 0x300"));
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "WaitForState: Timeout waiting for state change"));
}

TEST_F(FpStateTrackerTest, AnotherStateWakesEveryWaiterWhichWaitsOn) {
    auto first = WaitInThread(fp_state_t{0x312}), second = WaitInThread(fp_state_t{0x312});
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "for state: 0x312") > 1; }));
    tracker_.UpdateState(fp_state_t{0x311});
    EXPECT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "changed to 0x311") > 1; }));
    EXPECT_NE(first.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    tracker_.UpdateState(fp_state_t{0x312});  // lets both go
}

TEST_F(FpStateTrackerTest, WantedStateEndsEveryWait) {
    auto first = WaitInThread(fp_state_t{0x313}), second = WaitInThread(fp_state_t{0x313});
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "for state: 0x313") > 1; }));
    tracker_.UpdateState(fp_state_t{0x313});
    ASSERT_EQ(first.wait_for(testing::kWait), std::future_status::ready);
    ASSERT_EQ(second.wait_for(testing::kWait), std::future_status::ready);
    EXPECT_EQ(first.get(), 0);
    EXPECT_EQ(second.get(), 0);
}

class FingerStateTest : public testing::FpUtilsTest {
  protected:
    // The process's handler is configured once: it keeps its descriptor, on which the
    // stand-in keeps answering after the root it was made in is gone.
    void SetUp() override {
        static const bool configured =
            host::CreateTouchDevice() && handler_->Configure({0, 0, 9, 9});
        ASSERT_TRUE(configured);
        host::ClearTouchIoctls();
    }
    void TearDown() override {
        handler_->SetTouchEventCallback(nullptr);  // it refers to this case's finger state
        host::ClearTouchIoctlFailures();
    }
    FpsTouchHandler* handler_ = FpsTouchHandler::GetInstance();
    FingerState finger_;
};

TEST_F(FingerStateTest, DownWithoutEventTimeHasNoLatencyAndWithoutLptwNoSwitch) {
    finger_.Set(true, -20, Ellipse(), false);
    EXPECT_EQ(finger_.GetDownEventTime(), -20);
    EXPECT_EQ(finger_.GetDownLatencyMs(), 0u);
    EXPECT_TRUE(testing::TouchRequests().empty());
}

TEST_F(FingerStateTest, RepeatedDownKeepsTheFirstTimesAndSwitchButTakesTheNewEllipse) {
    const int64_t event_time = android::uptimeMillis() - 35;
    finger_.Set(true, event_time, Ellipse(), true);
    const int64_t down = finger_.GetDownUptimeMs();
    finger_.Set(true, event_time - 1000, Ellipse(5, 6, 7, 8, -0.2f), false);
    EXPECT_EQ(finger_.GetDownEventTime(), event_time);
    EXPECT_EQ(finger_.GetDownUptimeMs(), down);
    EXPECT_EQ(finger_.GetDownLatencyMs(), static_cast<uint32_t>(down - event_time));
    EXPECT_EQ(finger_.GetUpUptimeMs(), 0);
    EXPECT_TRUE(finger_.IsLptwRequested());
    EXPECT_TRUE(finger_.IsLptwEnabled());
    EXPECT_EQ(finger_.GetEllipse().Print(), Ellipse(5, 6, 7, 8, -0.2f).Print());
    EXPECT_EQ(testing::TouchRequests(), std::vector<unsigned long>{102});
}

TEST_F(FingerStateTest, UpUndoesTheSwitchAndClearsTheEllipse) {
    finger_.Set(true, 0, Ellipse(), true);
    const int64_t down = finger_.GetDownUptimeMs();
    finger_.Set(false, 0, Ellipse(1, 2, 3, 4, 5), true);
    EXPECT_FALSE(finger_.IsFingerDown());
    EXPECT_FALSE(finger_.IsLptwEnabled());
    EXPECT_GE(finger_.GetUpUptimeMs(), down);
    EXPECT_EQ(finger_.GetEllipse().Print(), Ellipse().Print());
    EXPECT_EQ(testing::TouchRequests(), (std::vector<unsigned long>{102, 103}));
}

// The events carry point_x 200 and no event time; the switch on is refused yet counts as made.
TEST_F(FingerStateTest, WorkerThreadSwitchesAtTheEdgesAndTheUpClearsTheLastEvent) {
    host::FailTouchIoctl(FpsTouchHandler::kIoctlLptwEnable, EIO);
    handler_->SetTouchEventCallback(
        [&](const TouchEvent& e) { finger_.Set(e.touch_state == 1, 0, Ellipse(), true); });
    ASSERT_TRUE(handler_->Start());
    for (uint32_t state : {1u, 1u, 0u}) {
        SCOPED_TRACE(state);
        ASSERT_TRUE(host::WriteTouchBatch(host::EncodeTouchBatch({{0, {}, 200, 0, 0, 0, state}})));
        EXPECT_TRUE(testing::WaitUntil([&] { return finger_.IsFingerDown() == (state == 1); }));
        ASSERT_TRUE(host::WaitTouchBatchRead());
    }
    EXPECT_TRUE(handler_->Stop());
    EXPECT_EQ(testing::TouchRequests(), (std::vector<unsigned long>{102, 103}));
    EXPECT_EQ(handler_->GetLastTouchEvent().touch_state, 0xFFFFFFFFu);
    EXPECT_EQ(handler_->GetLastTouchEvent().point_x, 0.0f);
    EXPECT_EQ(finger_.GetDownLatencyMs(), 0u);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
