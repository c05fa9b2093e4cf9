#include "fp_utils/fp_state_tracker.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <utils/SystemClock.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <future>

#include "tests/platform/touch_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpStateTracker";

fp_state_t State(uint32_t v) {
    return static_cast<fp_state_t>(v);
}

int64_t SteadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

using FpStateTrackerTest = testing::FpUtilsTest;

TEST_F(FpStateTrackerTest, UpdatePublishesAndLogsTheState) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x3a));
    EXPECT_EQ(State(0x3a), tracker.GetState());
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "UpdateState: state_:0x3a"));
    EXPECT_EQ(&tracker, &FpStateTracker::GetInstance());
}

TEST_F(FpStateTrackerTest, WaitForTheCurrentStateReturnsAtOnceEvenWithZeroTimeOut) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x300));
    EXPECT_EQ(0, tracker.WaitForState(State(0x300), 0));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "WaitForState: state is already 0x300"));
    EXPECT_EQ(0u, log_.Count(kTag, "waiting for state:"));
}

TEST_F(FpStateTrackerTest, ZeroTimeOutForAnotherStateFailsWithoutWaiting) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x301));
    EXPECT_EQ(-ETIMEDOUT, tracker.WaitForState(State(0x302), 0));
    EXPECT_EQ(-110, -ETIMEDOUT);
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "WaitForState: Timeout waiting for state change"));
    EXPECT_EQ(0u, log_.Count(kTag, "waiting for state:"));
}

TEST_F(FpStateTrackerTest, TimeOutComesAfterTheGivenTime) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x303));
    const int64_t start = android::elapsedRealtime();
    EXPECT_EQ(-ETIMEDOUT, tracker.WaitForState(State(0x304), 30));
    EXPECT_GE(android::elapsedRealtime() - start, 30);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "WaitForState: waiting for state: 0x304"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "WaitForState: state is changed to 0x303"));
}

// Another state wakes the waiter, which keeps waiting; the wanted one ends the wait long before
// its time-out.
TEST_F(FpStateTrackerTest, StateSetFromAnotherThreadEndsTheWait) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x310));
    const int64_t start = android::elapsedRealtime();
    auto waiter =
        std::async(std::launch::async, [&] { return tracker.WaitForState(State(0x312), 600000); });

    ASSERT_TRUE(testing::WaitForLog(log_, ANDROID_LOG_DEBUG, kTag,
                                    "WaitForState: waiting for state: 0x312"));
    tracker.UpdateState(State(0x311));
    ASSERT_TRUE(testing::WaitForLog(log_, ANDROID_LOG_DEBUG, kTag,
                                    "WaitForState: state is changed to 0x311"));
    EXPECT_NE(std::future_status::ready, waiter.wait_for(std::chrono::seconds(0)));
    tracker.UpdateState(State(0x312));

    ASSERT_EQ(std::future_status::ready, waiter.wait_for(testing::kWait));
    EXPECT_EQ(0, waiter.get());
    EXPECT_LT(android::elapsedRealtime() - start, 60000);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "WaitForState: state is changed to 0x312"));
}

TEST_F(FpStateTrackerTest, EveryWaiterIsWoken) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(State(0x320));
    auto wait = [&] { return tracker.WaitForState(State(0x321), 600000); };
    auto first = std::async(std::launch::async, wait);
    auto second = std::async(std::launch::async, wait);
    const auto deadline = std::chrono::steady_clock::now() + testing::kWait;
    while (log_.Count(kTag, "waiting for state: 0x321") < 2) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    tracker.UpdateState(State(0x321));
    ASSERT_EQ(std::future_status::ready, first.wait_for(testing::kWait));
    ASSERT_EQ(std::future_status::ready, second.wait_for(testing::kWait));
    EXPECT_EQ(0, first.get());
    EXPECT_EQ(0, second.get());
}

TEST_F(FpStateTrackerTest, FingerDownAndMarkStatesStampTheirTimes) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(FP_STATE_FINGER_DOWN_2);
    const int64_t first = tracker.GetFingerDownSteadyNs();
    const int64_t between = SteadyNowNs();
    tracker.UpdateState(FP_STATE_FINGER_DOWN_2);
    const int64_t second = tracker.GetFingerDownSteadyNs();
    EXPECT_LE(first, between);
    EXPECT_GE(second, between);  // the later stamp wins
    EXPECT_GT(first, 0);

    const int64_t before_mark = SteadyNowNs();
    const int64_t mark_before = tracker.GetMarkSteadyNs();
    tracker.UpdateState(State(0x204));
    EXPECT_EQ(mark_before, tracker.GetMarkSteadyNs());
    tracker.UpdateState(FP_STATE_MARK);
    EXPECT_GE(tracker.GetMarkSteadyNs(), before_mark);
    EXPECT_EQ(second, tracker.GetFingerDownSteadyNs());  // neither 0x204 nor 0x205 stamps it

    const int64_t before_down1 = SteadyNowNs();
    tracker.UpdateState(FP_STATE_FINGER_DOWN_1);
    EXPECT_GE(tracker.GetFingerDownSteadyNs(), before_down1);
}

std::string LocalText(time_t seconds, long millis) {
    struct tm t;
    localtime_r(&seconds, &t);
    char buf[64];
    strftime(buf, sizeof(buf), "%Y-%m-%d-%H-%M-%S", &t);
    char ms[8];
    snprintf(ms, sizeof(ms), "-%03d", static_cast<int>(millis % 1000));
    return std::string(buf) + ms;
}

TEST_F(FpStateTrackerTest, FingerDownTimeIsTheLocalTimeOfTheLastFingerDown) {
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    struct timeval before, after;
    gettimeofday(&before, nullptr);
    tracker.UpdateState(FP_STATE_FINGER_DOWN_1);
    gettimeofday(&after, nullptr);

    char buf[64];
    ASSERT_EQ(23, tracker.GetFingerDownTime(buf, sizeof(buf)));
    // The fixed-width text sorts like the time it shows.
    EXPECT_LE(LocalText(before.tv_sec, before.tv_usec / 1000), std::string(buf));
    EXPECT_GE(LocalText(after.tv_sec, after.tv_usec / 1000), std::string(buf));
}

// Before any finger-down the time is the epoch. Run in a child, whose tracker is fresh.
int EpochCase() {
    setenv("TZ", "UTC", 1);
    tzset();
    char buf[64];
    char small[5];
    FpStateTracker& tracker = FpStateTracker::GetInstance();
    tracker.UpdateState(FP_STATE_MARK);
    if (tracker.GetFingerDownTime(buf, sizeof(buf)) != 23) return 1;
    if (std::string(buf) != "1970-01-01-00-00-00-000") return 2;
    if (tracker.GetFingerDownTime(small, sizeof(small)) != 23) return 3;
    if (std::string(small) != "1970") return 4;
    if (tracker.GetFingerDownSteadyNs() != 0) return 5;
    return 0;
}

TEST_F(FpStateTrackerTest, FingerDownTimeBeforeAnyFingerDownIsTheEpoch) {
    EXPECT_EXIT(exit(EpochCase()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
