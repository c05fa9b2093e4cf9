#include "fp_utils/als_monitor.h"

#include <android/log.h>
#include <gtest/gtest.h>
#include <utils/Errors.h>

#include <cerrno>
#include <functional>

#include "host/sensor_control.h"
#include "tests/platform/sensor_test_util.h"

namespace android {
namespace fp_utils {
namespace {

using host::SensorCall;
using testing::LightEvents;

constexpr char kTag[] = "AlsMonitor";
constexpr int kD = ANDROID_LOG_DEBUG, kI = ANDROID_LOG_INFO, kE = ANDROID_LOG_ERROR;
// What GetLight leaves behind `lux` when it fails.
constexpr float kUntouched = -1.0f;

class AlsMonitorTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { Fresh(); }
    // A service with one light sensor, no instance and an empty log.
    void Fresh() {
        AlsMonitor::OnSystemServerDeath();
        host::ResetSensors();
        light_ = host::AddSensor(testing::LightSensor());
        log_.Clear();
    }
    void TearDown() override {
        AlsMonitor::OnSystemServerDeath();
        host::ResetSensors();
    }

    AlsMonitor& Monitor() { return *AlsMonitor::GetInstance(); }
    bool Logged(int priority, const char* text) { return log_.Contains(priority, kTag, text); }
    // GetLight's result; its value goes to lux_, which holds kUntouched before the call.
    int GetLight() {
        lux_ = kUntouched;
        return Monitor().GetLight(&lux_);
    }

    int light_ = 0;
    float lux_ = kUntouched;
};

TEST_F(AlsMonitorTest, GetLightBeforeStartSamplingIsAnUnknownError) {
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_EQ(kUntouched, lux_);
    EXPECT_TRUE(Logged(kE, "Sensor sampler is not started."));
    EXPECT_TRUE(Logged(kD, "Successfully connected to Sensor Manager."));
}

TEST_F(AlsMonitorTest, GetLightBeforeAnyEventIsABadValue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_TRUE(Logged(kD, "Sampling is started."));
    EXPECT_EQ(BAD_VALUE, GetLight());
    EXPECT_EQ(kUntouched, lux_);
    EXPECT_TRUE(Logged(kE, "Sample is not available."));
}

// However many events are pending, one call drains them and returns the newest; a later call
// without new events returns it again.
TEST_F(AlsMonitorTest, GetLightReturnsTheNewestPendingValue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    int first = 1;
    for (int count : {1, 2, 15, 16, 17, 33}) {
        ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(first, count)));
        const float newest = static_cast<float>(first + count - 1);
        EXPECT_EQ(OK, GetLight()) << count << " events";
        EXPECT_EQ(newest, lux_) << count << " events";
        EXPECT_EQ(OK, GetLight()) << count << " events, then none";
        EXPECT_EQ(newest, lux_) << count << " events, then none";
        first += count;
    }
}

TEST_F(AlsMonitorTest, AFailedReadCountsAsNoEvents) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(7, 1)));
    ASSERT_EQ(OK, GetLight());

    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(9, 1)));
    host::FailEventReads(-EINVAL, 1);
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(7.0f, lux_);
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(9.0f, lux_);
}

TEST_F(AlsMonitorTest, APollErrorIsAnUnknownError) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(7, 1)));
    host::FailLooperPolls(1);

    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_EQ(kUntouched, lux_);
    EXPECT_TRUE(Logged(kE, "Sensor event looper returned a poll error."));
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(7.0f, lux_);
}

TEST_F(AlsMonitorTest, StartingAgainRegistersAgainOnTheSameQueue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_EQ(OK, Monitor().StartSampling());
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(2u, calls.size());
    for (const SensorCall& call : calls) {
        EXPECT_EQ((SensorCall{SensorCall::kRegister, calls[0].queue, light_, 200000, 0, 0}), call);
    }
}

TEST_F(AlsMonitorTest, StopDestroysTheQueueAndKeepsTheLastValue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(7, 1)));
    ASSERT_EQ(OK, GetLight());

    EXPECT_EQ(OK, Monitor().StopSampling());
    EXPECT_TRUE(Logged(kD, "Sampling is stopped."));
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(7.0f, lux_);

    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ(SensorCall::kDisable, calls[1].kind);
    EXPECT_EQ((SensorCall{SensorCall::kDestroyQueue, calls[0].queue, 0, 0, 0, 0}), calls[2]);
    EXPECT_NE(calls[0].queue, calls[3].queue);
}

TEST_F(AlsMonitorTest, StartSamplingFailures) {
    struct Case {
        const char* name;
        std::function<void()> fail;
        int result;
        const char* text;
        size_t connect_failures;
    };
    const Case cases[] = {
        {"no sensor manager", [] { host::SetSensorManagerAvailable(false); }, NO_MEMORY,
         "Failed to get sensor manager.", 1},
        {"no light sensor", [] { host::ResetSensors(); }, UNEXPECTED_NULL, "Failed to get sensor.",
         0},
        {"no looper", [] { host::FailLooperPreparation(true); }, NO_MEMORY,
         "Failed to prepare an event looper.", 0},
        {"no event queue", [] { host::FailEventQueueCreation(true); }, NO_MEMORY,
         "Failed to create an event queue.", 0},
        {"registration refused", [] { host::FailSensorRegistration(testing::kLightType, -ENODEV); },
         -ENODEV, "StartSampling: Failed to register sensor, err=-19.", 0},
    };
    for (const Case& c : cases) {
        Fresh();
        c.fail();
        EXPECT_EQ(c.result, Monitor().StartSampling()) << c.name;
        EXPECT_TRUE(Logged(kE, c.text)) << c.name;
        EXPECT_EQ(c.connect_failures, log_.Count(kTag, "Failed to connect sensor manager."))
            << c.name;
        EXPECT_FALSE(Logged(kD, "Sampling is started.")) << c.name;
    }
}

TEST_F(AlsMonitorTest, WithoutASensorManagerEveryOperationFails) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    host::SetSensorManagerAvailable(false);

    EXPECT_FALSE(Monitor().ConnectSensorManagerIfNeeded());
    EXPECT_EQ(NO_MEMORY, GetLight());
    EXPECT_EQ(NO_MEMORY, Monitor().StopSampling());
    EXPECT_EQ(2u, log_.Count(kTag, "Failed to connect sensor manager."));
    EXPECT_EQ(3u, log_.Count(kTag, "Failed to get sensor manager."));
}

// A new sensor manager means a new queue and sensor and a stopped sampler; the looper and the
// last value stay.
TEST_F(AlsMonitorTest, ASensorServiceRestartBetweenCallsNeedsANewStart) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(5, 1)));
    ASSERT_EQ(OK, GetLight());

    host::RestartSensorService();
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_EQ(2u, log_.Count(kTag, "Successfully connected to Sensor Manager."));
    ASSERT_EQ(OK, Monitor().StartSampling());  // refused with a sensor of the old manager
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(5.0f, lux_);
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(6, 1)));
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(6.0f, lux_);

    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(2u, calls.size());  // the old queue is abandoned, not destroyed
    EXPECT_NE(calls[0].queue, calls[1].queue);
}

TEST_F(AlsMonitorTest, DeathDeletesTheInstanceAndTheNextOneStartsFresh) {
    ASSERT_EQ(AlsMonitor::GetInstance(), AlsMonitor::GetInstance());
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(host::PostSensorEvents(light_, LightEvents(5, 1)));
    ASSERT_EQ(OK, GetLight());

    AlsMonitor::OnSystemServerDeath();
    EXPECT_TRUE(Logged(kI, "system server died."));
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_EQ(BAD_VALUE, GetLight());

    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_NE(calls[0].queue, calls[1].queue);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
