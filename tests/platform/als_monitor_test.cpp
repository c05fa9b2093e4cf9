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

using host::PostSensorEvents;
using host::SensorCall;
using testing::Events;

constexpr char kTag[] = "AlsMonitor";
constexpr int kD = ANDROID_LOG_DEBUG, kE = ANDROID_LOG_ERROR;
constexpr float kUntouched = -1.0f;  // in lux_ before every GetLight

class AlsMonitorTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override { Fresh(); }
    void TearDown() override {
        AlsMonitor::OnSystemServerDeath();
        host::ResetSensors();
    }
    // No instance, a service with one light sensor, an empty log.
    void Fresh() {
        AlsMonitor::OnSystemServerDeath();
        host::ResetSensors();
        light_ = host::AddSensor(testing::LightSensor());
        log_.Clear();
    }
    AlsMonitor& Monitor() { return *AlsMonitor::GetInstance(); }
    bool Logged(int priority, const char* text) { return log_.Contains(priority, kTag, text); }
    int GetLight() {
        lux_ = kUntouched;
        return Monitor().GetLight(&lux_);
    }
    std::vector<int> Queues() {
        std::vector<int> queues;
        for (const SensorCall& call : host::SensorCalls()) queues.push_back(call.queue);
        return queues;
    }

    int light_ = 0;
    float lux_ = kUntouched;
};

TEST_F(AlsMonitorTest, GetLightNeedsSamplingAndAnEvent) {
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_TRUE(Logged(kE, "Sensor sampler is not started."));
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_TRUE(Logged(kD, "Sampling is started."));
    EXPECT_EQ(BAD_VALUE, GetLight());
    EXPECT_TRUE(Logged(kE, "Sample is not available."));
    EXPECT_EQ(kUntouched, lux_);
}

// However many events are pending, one call drains them and returns the newest; a later call
// without new events returns it again.
TEST_F(AlsMonitorTest, GetLightReturnsTheNewestPendingValue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    int first = 1;
    for (int count : {1, 2, 15, 16, 17, 33}) {
        ASSERT_TRUE(PostSensorEvents(light_, Events(first, count)));
        first += count;
        for (const char* when : {"pending", "then none"}) {
            EXPECT_EQ(OK, GetLight()) << count << " events, " << when;
            EXPECT_EQ(static_cast<float>(first - 1), lux_) << count << " events, " << when;
        }
    }
}

// A poll error fails the call; a failed read counts as no events.
TEST_F(AlsMonitorTest, PollAndReadErrors) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(PostSensorEvents(light_, Events(7, 1)));
    host::FailLooperPolls(1);
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_EQ(kUntouched, lux_);
    EXPECT_TRUE(Logged(kE, "Sensor event looper returned a poll error."));
    ASSERT_EQ(OK, GetLight());

    ASSERT_TRUE(PostSensorEvents(light_, Events(9, 1)));
    host::FailEventReads(-EINVAL, 1);
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(7.0f, lux_);
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(9.0f, lux_);
}

TEST_F(AlsMonitorTest, StartRegistersEveryTimeAndStopDestroysTheQueueButKeepsTheValue) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(PostSensorEvents(light_, Events(7, 1)));
    ASSERT_EQ(OK, GetLight());

    EXPECT_EQ(OK, Monitor().StopSampling());
    EXPECT_TRUE(Logged(kD, "Sampling is stopped."));
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(7.0f, lux_);

    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(5u, calls.size());
    const int queue = calls[0].queue;
    EXPECT_EQ((SensorCall{SensorCall::kRegister, queue, light_, 200000, 0, 0}), calls[1]);
    EXPECT_EQ((SensorCall{SensorCall::kDisable, queue, light_, 0, 0, 0}), calls[2]);
    EXPECT_EQ((SensorCall{SensorCall::kDestroyQueue, queue, 0, 0, 0, 0}), calls[3]);
    EXPECT_NE(queue, calls[4].queue);
}

TEST_F(AlsMonitorTest, StartSamplingFailures) {
    struct Case {
        const char* name;
        std::function<void()> fail;
        int result;
        const char* text;
    };
    const Case cases[] = {
        {"no sensor manager", [] { host::SetSensorManagerAvailable(false); }, NO_MEMORY,
         "Failed to get sensor manager."},
        {"no light sensor", [] { host::ResetSensors(); }, UNEXPECTED_NULL, "Failed to get sensor."},
        {"no looper", [] { host::FailLooperPreparation(true); }, NO_MEMORY,
         "Failed to prepare an event looper."},
        {"no event queue", [] { host::FailEventQueueCreation(true); }, NO_MEMORY,
         "Failed to create an event queue."},
        {"registration refused", [] { host::FailSensorRegistration(testing::kLightType, -ENODEV); },
         -ENODEV, "StartSampling: Failed to register sensor, err=-19."},
    };
    for (const Case& c : cases) {
        Fresh();
        c.fail();
        EXPECT_EQ(c.result, Monitor().StartSampling()) << c.name;
        EXPECT_TRUE(Logged(kE, c.text)) << c.name;
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

// A new sensor manager means a new queue and sensor (the old manager's sensor is refused) and
// a stopped sampler; the last value stays.
TEST_F(AlsMonitorTest, ASensorServiceRestartBetweenCallsNeedsANewStart) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(PostSensorEvents(light_, Events(5, 1)));
    ASSERT_EQ(OK, GetLight());

    host::RestartSensorService();
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    EXPECT_EQ(2u, log_.Count(kTag, "Successfully connected to Sensor Manager."));
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_EQ(OK, GetLight());
    EXPECT_EQ(5.0f, lux_);
    const std::vector<int> queues = Queues();  // the old queue is abandoned, not destroyed
    ASSERT_EQ(2u, queues.size());
    EXPECT_NE(queues[0], queues[1]);
}

TEST_F(AlsMonitorTest, DeathDeletesTheInstanceAndTheNextOneStartsFresh) {
    ASSERT_EQ(OK, Monitor().StartSampling());
    ASSERT_TRUE(PostSensorEvents(light_, Events(5, 1)));
    ASSERT_EQ(OK, GetLight());

    AlsMonitor::OnSystemServerDeath();
    EXPECT_TRUE(Logged(ANDROID_LOG_INFO, "system server died."));
    EXPECT_EQ(UNKNOWN_ERROR, GetLight());
    ASSERT_EQ(OK, Monitor().StartSampling());
    EXPECT_EQ(BAD_VALUE, GetLight());
    const std::vector<int> queues = Queues();
    ASSERT_EQ(2u, queues.size());
    EXPECT_NE(queues[0], queues[1]);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
