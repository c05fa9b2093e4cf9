#include "fp_utils/display_controller.h"

#include <android/binder_manager.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "fp_utils/critical_errors.h"
#include "host/binder_control.h"
#include "host/display_control.h"
#include "tests/support/fixture.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace {

using host::FakeDisplay;
using host::kDisplayInstance;
using std::chrono::milliseconds;
using testing::LogLine;

constexpr char kTag[] = "DisplayController";
constexpr int kFailedTransaction = static_cast<int>(0x80000002u);
constexpr char kLhbmError[] = "*failed to enable lhbm";
const std::string kInstance = kDisplayInstance;

LogLine D(const std::string& text) {
    return {ANDROID_LOG_DEBUG, kTag, text};
}
LogLine E(const std::string& text) {
    return {ANDROID_LOG_ERROR, kTag, text};
}
const LogLine kConnected = D("[ConnectDisplayHal] Successfully connected to IDisplay service.");
const LogLine kDied = D("[BinderDied] Display HAL has died.");

std::string Elapsed(const char* action, uint32_t ms) {
    return "[SetLhbm]: Successfully turned " + std::string(action) + " lhbm, elapsed " +
           std::to_string(ms) + " ms";
}

// The critical errors of a failed switch-on recorded so far in this process.
std::vector<time_t> LhbmErrorTimes() {
    CriticalErrors* errors = CriticalErrors::GetInstance();
    std::lock_guard<std::mutex> lock(errors->mutex_);
    std::vector<time_t> times;
    for (const auto& event : errors->events_) {
        if (event->error_msg == kLhbmError) times.push_back(event->time);
    }
    return times;
}

std::vector<bool> Switches(const FakeDisplay& display) {
    std::vector<bool> switches;
    for (const FakeDisplay::LhbmCall& call : display.Calls()) switches.push_back(call.enabled);
    return switches;
}

class DisplayControllerTest : public testing::FpUtilsTest {
  protected:
    void TearDown() override { host::ResetServices(); }

    std::vector<LogLine> Lines() const { return log_.Lines(kTag); }

    DisplayController controller_;
    uint32_t elapsed_ = 12345;
};

TEST_F(DisplayControllerTest, FreshControllerAnswersOffWithoutConnecting) {
    auto display = host::StartFakeDisplay();

    EXPECT_EQ(0, controller_.SetLhbm(false, &elapsed_));

    EXPECT_EQ(0u, elapsed_);
    EXPECT_EQ(Lines(), std::vector<LogLine>{D("[SetLhbm] Lhbm is already 0")});
    EXPECT_TRUE(display->Calls().empty());
}

TEST_F(DisplayControllerTest, EachChangeIsOneCallTimedByTheSlowService) {
    auto display = host::StartFakeDisplay();
    display->SetCallDuration(milliseconds(20));
    uint32_t on_ms = 0;
    uint32_t again_ms = 7;

    ASSERT_EQ(0, controller_.SetLhbm(true, &on_ms));
    ASSERT_EQ(0, controller_.SetLhbm(true, &again_ms));
    ASSERT_EQ(0, controller_.SetLhbm(false, nullptr));
    ASSERT_EQ(0, controller_.SetLhbm(true, &elapsed_));

    EXPECT_GE(on_ms, 20u);
    EXPECT_EQ(0u, again_ms);
    EXPECT_GE(elapsed_, 20u);
    EXPECT_EQ(Switches(*display), (std::vector<bool>{true, false, true}));
    const std::vector<LogLine> lines = Lines();
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0], kConnected);
    EXPECT_EQ(lines[1], D("[SetLhbm]: Turning on lhbm"));
    EXPECT_EQ(lines[2], D(Elapsed("on", on_ms)));
    EXPECT_EQ(lines[3], D("[SetLhbm] Lhbm is already 1"));
    EXPECT_EQ(lines[4], D("[SetLhbm]: Turning off lhbm"));
    EXPECT_EQ(lines[5].text.rfind("[SetLhbm]: Successfully turned off lhbm, elapsed ", 0), 0u);
    EXPECT_EQ(lines[7], D(Elapsed("on", elapsed_)));
}

TEST_F(DisplayControllerTest, ElapsedTimeIncludesTheWaitForTheService) {
    host::DeclareService(kInstance);
    std::promise<void> switching;
    std::thread late_service([&] {
        switching.get_future().wait();
        std::this_thread::sleep_for(milliseconds(100));
        host::StartFakeDisplay();
    });

    switching.set_value();
    EXPECT_EQ(0, controller_.SetLhbm(true, &elapsed_));
    late_service.join();

    // The service came up 100 ms after the switch began; half of it leaves room for a slow
    // start of the switch.
    EXPECT_GE(elapsed_, 50u);
}

TEST_F(DisplayControllerTest, FailedSwitchOnIsRecordedOnceAsCriticalError) {
    auto display = host::StartFakeDisplay();
    display->FailNextCalls(1);
    const size_t errors_before = LhbmErrorTimes().size();
    const time_t before = time(nullptr);

    EXPECT_EQ(kFailedTransaction, controller_.SetLhbm(true, &elapsed_));

    const time_t after = time(nullptr);
    EXPECT_EQ(0u, elapsed_);
    EXPECT_EQ(Lines().back(), E("[SetLhbm] Failed to setLhbmState 1"));
    const std::vector<time_t> errors = LhbmErrorTimes();
    ASSERT_EQ(errors.size(), errors_before + 1);
    EXPECT_GE(errors.back(), before);
    EXPECT_LE(errors.back(), after);
    EXPECT_EQ(0, controller_.SetLhbm(false, &elapsed_)) << "the state stays off";
    EXPECT_EQ(Lines().back(), D("[SetLhbm] Lhbm is already 0"));
}

TEST_F(DisplayControllerTest, FailedSwitchOffRecordsNoCriticalError) {
    auto display = host::StartFakeDisplay();
    ASSERT_EQ(0, controller_.SetLhbm(true, nullptr));
    display->FailNextCalls(1);
    const size_t errors_before = LhbmErrorTimes().size();

    EXPECT_EQ(kFailedTransaction, controller_.SetLhbm(false, &elapsed_));

    EXPECT_EQ(0u, elapsed_);
    EXPECT_EQ(Lines().back(), E("[SetLhbm] Failed to setLhbmState 0"));
    EXPECT_EQ(LhbmErrorTimes().size(), errors_before);
    EXPECT_EQ(0, controller_.SetLhbm(true, nullptr)) << "the state stays on";
    EXPECT_EQ(Switches(*display), (std::vector<bool>{true, false}));
}

TEST_F(DisplayControllerTest, UndeclaredServiceIsNoDevice) {
    auto display = host::StartFakeDisplay();
    host::UndeclareService(kInstance);  // registered, but not in the manifest

    EXPECT_EQ(0, controller_.ConnectDisplayHal());
    EXPECT_EQ(-19, controller_.SetLhbm(true, nullptr));

    const LogLine not_declared = E("IDisplay service " + kInstance + " is not declared.");
    EXPECT_EQ(Lines(), (std::vector<LogLine>{not_declared, not_declared,
                                             E("[SetLhbm] Failed to connect to displayHAL")}));
    EXPECT_TRUE(display->Calls().empty());
}

TEST_F(DisplayControllerTest, DeclaredServiceThatNeverComesUpIsNoDeviceAfterTheWait) {
    host::DeclareService(kInstance);
    host::SetServiceWaitLimit(milliseconds(20));
    const size_t errors_before = LhbmErrorTimes().size();

    EXPECT_EQ(-19, controller_.SetLhbm(true, &elapsed_));

    EXPECT_EQ(0u, elapsed_);
    EXPECT_EQ(Lines(),
              (std::vector<LogLine>{E("Failed to get IDisplay binder for " + kInstance + "!"),
                                    E("[SetLhbm] Failed to connect to displayHAL")}));
    EXPECT_EQ(LhbmErrorTimes().size(), errors_before);
}

TEST_F(DisplayControllerTest, AfterADeathTheStateIsKeptAndTheNextChangeReconnects) {
    auto first = host::StartFakeDisplay();
    ASSERT_EQ(0, controller_.SetLhbm(true, nullptr));

    ASSERT_TRUE(host::KillService(kInstance));
    EXPECT_EQ(Lines().back(), kDied);
    EXPECT_EQ(0, controller_.SetLhbm(true, nullptr));
    EXPECT_EQ(Lines().back(), D("[SetLhbm] Lhbm is already 1"));

    auto second = host::StartFakeDisplay();
    EXPECT_EQ(0, controller_.SetLhbm(false, nullptr));
    EXPECT_EQ(log_.Count(kTag, kConnected.text), 2u);
    EXPECT_EQ(Switches(*first), std::vector<bool>{true});
    EXPECT_EQ(Switches(*second), std::vector<bool>{false});
}

TEST_F(DisplayControllerTest, DeathNoticeWaitsForTheSwitchInProgress) {
    auto first = host::StartFakeDisplay();
    first->HoldCalls();
    auto switching =
        std::async(std::launch::async, [&] { return controller_.SetLhbm(true, nullptr); });
    ASSERT_TRUE(first->WaitForCalls(1));

    auto killing = std::async(std::launch::async, [] { return host::KillService(kInstance); });
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Contains(kDied.priority, kTag, kDied.text); }));
    EXPECT_EQ(killing.wait_for(milliseconds(0)), std::future_status::timeout)
        << "the notice must wait for the controller's lock";
    first->ReleaseCalls();

    EXPECT_EQ(kFailedTransaction, switching.get()) << "the reply of a dying service is lost";
    EXPECT_TRUE(killing.get());
    auto second = host::StartFakeDisplay();
    EXPECT_EQ(0, controller_.SetLhbm(true, nullptr));
    EXPECT_EQ(Switches(*second), std::vector<bool>{true});
}

TEST_F(DisplayControllerTest, DestroyedControllerGetsNoDeathNotice) {
    auto display = host::StartFakeDisplay();
    {
        DisplayController controller;
        ASSERT_EQ(0, controller.SetLhbm(true, nullptr));
    }

    ASSERT_TRUE(host::KillService(kInstance));

    EXPECT_EQ(log_.Count(kTag, kDied.text), 0u);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
