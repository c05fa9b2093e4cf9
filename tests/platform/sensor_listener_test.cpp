#include "fp_utils/sensor_listener.h"

#include <android/log.h>
#include <android/looper.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <future>
#include <thread>

#include "host/sensor_control.h"
#include "platform/sensor_polling_worker_thread.h"
#include "tests/platform/sensor_test_util.h"

namespace android {
namespace fp_utils {
namespace {

using host::PostSensorEvents;
using host::SensorCall;
using testing::EventRecord;
using testing::Events;
using testing::Stamps;

constexpr char kTag[] = "SensorListener";
constexpr int kD = ANDROID_LOG_DEBUG, kI = ANDROID_LOG_INFO, kE = ANDROID_LOG_ERROR;

// Lets a test run the worker's poll on the connecting thread, whose looper carries the queue.
class PollableListener : public SensorListener {
  public:
    using SensorListener::PollSensorEvent;
    void StopWorker() {
        sensor_polling_worker_thread_->Stop();
        // Takes the wake-up the stop may have left on this thread's looper.
        while (ALooper_pollOnce(0, nullptr, nullptr, nullptr) == ALOOPER_POLL_WAKE) {
        }
    }
    // One PollSensorEvent on this thread; true in `woken` when it still waited after kWait and
    // had to be woken, so that a wrong wait fails the case instead of hanging it.
    int PollOnce(bool* woken) {
        std::promise<void> done;
        std::thread watchdog([&, looper = ALooper_forThread(), f = done.get_future()] {
            *woken = f.wait_for(testing::kWait) != std::future_status::ready;
            if (*woken) ALooper_wake(looper);
        });
        const int result = PollSensorEvent();
        done.set_value();
        watchdog.join();
        return result;
    }
};

class SensorListenerTest : public testing::SensorTest {
  protected:
    void Record(SensorListener& listener, SensorType type, EventRecord& record) {
        listener.SetSensorEventCallback(type, [&record](const ASensorEvent& e) { record.Add(e); });
    }
    bool Logged(int priority, const char* text) { return log_.Contains(priority, kTag, text); }
};

TEST_F(SensorListenerTest, DeviceWithoutLongPressSensorStillSamplesLight) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);

    EXPECT_EQ(-ENOMEM, listener.StartSampling(kLongPress));
    EXPECT_TRUE(Logged(kD, "The device sensor count:1"));
    EXPECT_TRUE(Logged(kI, "Found Sensor(0). name:'light', string_type:'android.sensor.light'"));
    EXPECT_TRUE(Logged(
        kE, "ConnectSensorManagerIfNeeded: Sensor(com.kestro.sensor.long_press) not found.\n"));
    EXPECT_TRUE(Logged(kE, "sensor[1] is not available."));
    EXPECT_FALSE(listener.IsAnySamplerStarted());

    EXPECT_EQ(0, listener.StartSampling(kAmbientLight));
    EXPECT_EQ(0, listener.StartSampling(kAmbientLight));
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(1u, calls.size());  // registered once, at the fastest rate, without batching
    EXPECT_EQ((SensorCall{SensorCall::kRegister, calls[0].queue, light, 200000, 0, 0}), calls[0]);
    ASSERT_TRUE(PostSensorEvents(light, Events(1, 3)));
    ASSERT_TRUE(events.WaitFor(3));
    EXPECT_EQ(Stamps(1, 3), events.Stamps());
    EXPECT_EQ(1u, log_.Count(kTag, "not found"));  // connected once
}

TEST_F(SensorListenerTest, TheLastSensorWithTheWholeStringTypeWins) {
    host::AddSensor(testing::LightSensor("first"));
    host::AddSensor({"raw", "android.sensor.light.raw", ASENSOR_TYPE_LIGHT, 1000});
    const int second = host::AddSensor(testing::LightSensor("second"));
    host::AddSensor({"prefixed", "x.android.sensor.light", ASENSOR_TYPE_LIGHT, 1000});
    SensorListener listener;

    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_EQ(1u, host::SensorCalls().size());
    EXPECT_EQ(second, host::SensorCalls()[0].sensor);
    EXPECT_EQ(2u, log_.Count(kTag, "Found Sensor(0)."));
}

TEST_F(SensorListenerTest, MissingSensorsAreReportedLightFirst) {
    host::AddSensor({"accel", "android.sensor.accelerometer", ASENSOR_TYPE_ACCELEROMETER, 5000});
    SensorListener listener;

    EXPECT_EQ(-ENOMEM, listener.StartSampling(kAmbientLight));
    std::vector<std::string> missing;
    for (const testing::LogLine& line : log_.Lines(kTag)) {
        if (line.text.find("not found") != std::string::npos) missing.push_back(line.text);
    }
    EXPECT_EQ(
        (std::vector<std::string>{
            "ConnectSensorManagerIfNeeded: Sensor(android.sensor.light) not found.\n",
            "ConnectSensorManagerIfNeeded: Sensor(com.kestro.sensor.long_press) not found.\n"}),
        missing);
    EXPECT_TRUE(Logged(kE, "sensor[0] is not available."));
}

// The light sensor has no callback: its events are read and dropped.
TEST_F(SensorListenerTest, StoppingOneTypeKeepsTheWorkerAndStoppingBothEndsIt) {
    const int light = host::AddSensor(testing::LightSensor());
    const int long_press = host::AddSensor(testing::LongPressSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kLongPress, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_EQ(0, listener.StartSampling(kLongPress));
    ASSERT_TRUE(PostSensorEvents(light, Events(1, 20)));
    ASSERT_TRUE(PostSensorEvents(long_press, Events(21, 1)));
    ASSERT_TRUE(events.WaitFor(1));
    const pid_t worker = events.Thread();

    EXPECT_EQ(0, listener.StopSampling(kAmbientLight));
    EXPECT_TRUE(listener.IsAnySamplerStarted());
    ASSERT_TRUE(PostSensorEvents(long_press, Events(22, 1)));
    ASSERT_TRUE(events.WaitFor(2));
    EXPECT_EQ(worker, events.Thread());

    EXPECT_EQ(0, listener.StopSampling(kLongPress));
    EXPECT_EQ(0, listener.StopSampling(kLongPress));
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_TRUE(testing::ThreadEnds(worker));
    EXPECT_EQ(Stamps(21, 22), events.Stamps());
    std::vector<SensorCall::Kind> kinds;
    for (const SensorCall& call : host::SensorCalls()) kinds.push_back(call.kind);
    EXPECT_EQ((std::vector<SensorCall::Kind>{SensorCall::kRegister, SensorCall::kRegister,
                                             SensorCall::kDisable, SensorCall::kDisable}),
              kinds);
}

// One poll reads 16 events at a time while the reads come back full and ends with the first
// short one; a poll error ends it with INT_MIN.
TEST_F(SensorListenerTest, OnePollReadsUntilABatchIsShort) {
    const int light = host::AddSensor(testing::LightSensor());
    PollableListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    listener.StopWorker();  // this thread polls instead

    int first = 1;
    bool woken = false;
    for (int count : {15, 19, 33}) {
        ASSERT_TRUE(PostSensorEvents(light, Events(first, count)));
        EXPECT_EQ(0, listener.PollOnce(&woken)) << count << " events";
        EXPECT_FALSE(woken) << count << " events";
        first += count;
        EXPECT_EQ(Stamps(1, first - 1), events.Stamps()) << count << " events";
    }
    host::FailLooperPolls(1);
    EXPECT_EQ(INT_MIN, listener.PollOnce(&woken));
}

TEST_F(SensorListenerTest, AfterAPollErrorTheWorkerPollsAgain) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));

    host::FailLooperPolls(1);  // the worker's first or second wait
    ASSERT_TRUE(PostSensorEvents(light, Events(1, 1)));
    ASSERT_TRUE(testing::WaitUntil([&] { return log_.Count(kTag, "poll error") == 1; }));
    ASSERT_TRUE(PostSensorEvents(light, Events(2, 1)));
    ASSERT_TRUE(events.WaitFor(2));
    EXPECT_TRUE(Logged(kE, "Sensor event looper returned a poll error."));
}

TEST_F(SensorListenerTest, ACallbackMayStopSampling) {
    const int light = host::AddSensor(testing::LightSensor());
    auto listener = std::make_unique<SensorListener>();
    EventRecord events;
    std::atomic<int> stop_result{-1};
    listener->SetSensorEventCallback(kAmbientLight, [&, l = listener.get()](const ASensorEvent& e) {
        if (e.timestamp == 2) stop_result = l->StopSampling(kAmbientLight);
        events.Add(e);
    });

    ASSERT_EQ(0, listener->StartSampling(kAmbientLight));
    ASSERT_TRUE(PostSensorEvents(light, Events(1, 5)));  // one read, handed over whole
    if (!events.WaitFor(5)) {
        listener.release();  // its worker is stuck for good, and so would be its destruction
        FAIL() << "the stop from the callback deadlocks";
    }
    EXPECT_TRUE(testing::ThreadEnds(events.Thread()));
    EXPECT_EQ(0, stop_result);
    EXPECT_FALSE(listener->IsAnySamplerStarted());
    ASSERT_TRUE(PostSensorEvents(light, Events(6, 1)));  // not sampled

    ASSERT_EQ(0, listener->StartSampling(kAmbientLight));
    ASSERT_TRUE(PostSensorEvents(light, Events(7, 1)));
    ASSERT_TRUE(events.WaitFor(6));
    EXPECT_EQ((std::vector<int64_t>{1, 2, 3, 4, 5, 7}), events.Stamps());
}

TEST_F(SensorListenerTest, SystemServerDeathForgetsTheConnectionAndKeepsTheCallbacks) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_TRUE(PostSensorEvents(light, Events(1, 1)));
    ASSERT_TRUE(events.WaitFor(1));

    listener.OnSystemServerDeath();
    EXPECT_TRUE(Logged(kI, "system server died."));
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_TRUE(testing::ThreadEnds(events.Thread()));

    host::RestartSensorService();
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    EXPECT_EQ(2u, log_.Count(kTag, "The device sensor count:1"));
    ASSERT_TRUE(PostSensorEvents(light, Events(2, 1)));
    ASSERT_TRUE(events.WaitFor(2));
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(2u, calls.size());  // the old queue is abandoned, not destroyed
    EXPECT_NE(calls[0].queue, calls[1].queue);
}

// Each failure of a start, and how much the next start looks up again once it is repaired.
TEST_F(SensorListenerTest, FailedStartsReturnTheirErrorAndTheNextStartRetries) {
    struct Case {
        const char* name;
        std::function<void()> fail;
        int result;
        const char* text;
        size_t lookups;  // by the failed and the repaired start together
        std::function<void()> repair = [] {};
    };
    const Case cases[] = {
        {"no sensor manager", [] { host::SetSensorManagerAvailable(false); }, -ENOMEM,
         "Failed to get sensor manager.", 1},
        {"no sensors", [] { host::ResetSensors(); }, -ENOMEM, "Failed to get sensor list (0).\n", 1,
         [] { host::AddSensor(testing::LightSensor()); }},
        {"no looper", [] { host::FailLooperPreparation(true); }, -ENOMEM,
         "Failed to prepare an event looper.", 2},
        {"no event queue", [] { host::FailEventQueueCreation(true); }, -ENOMEM,
         "Failed to create an event queue.", 2},
        {"registration refused", [] { host::FailSensorRegistration(testing::kLightType, -ENODEV); },
         -ENODEV, "StartSampling: Failed to register sensor[0], err=-19.", 1},
    };
    for (const Case& c : cases) {
        host::ResetSensors();
        host::AddSensor(testing::LightSensor());
        log_.Clear();
        SensorListener listener;
        c.fail();
        EXPECT_EQ(c.result, listener.StartSampling(kAmbientLight)) << c.name;
        EXPECT_TRUE(Logged(kE, c.text)) << c.name;
        EXPECT_EQ(c.result == -ENOMEM, Logged(kE, "Failed to connect sensor manager.")) << c.name;
        EXPECT_FALSE(listener.IsAnySamplerStarted()) << c.name;

        host::SetSensorManagerAvailable(true);
        host::FailLooperPreparation(false);
        host::FailEventQueueCreation(false);
        host::FailSensorRegistration(testing::kLightType, 0);
        c.repair();
        EXPECT_EQ(0, listener.StartSampling(kAmbientLight)) << c.name;
        EXPECT_EQ(c.lookups, log_.Count(kTag, "Found Sensor(0).")) << c.name;
    }
}

// Starts and stops race the worker's reads: a stop may come while the worker waits for the
// lock to read, and must neither hang nor leave a thread or a descriptor behind.
TEST_F(SensorListenerTest, ThousandStartStopCyclesWithEventsFlowingLeaveNothingBehind) {
    const int light = host::AddSensor(testing::LightSensor());
    struct Rig {  // shared with the cycling thread, which keeps it if it hangs for good
        SensorListener listener;
        std::atomic<int> delivered{0};
        std::promise<int> cycles;
    };
    auto rig = std::make_shared<Rig>();
    rig->listener.SetSensorEventCallback(kAmbientLight,
                                         [r = rig.get()](const ASensorEvent&) { ++r->delivered; });
    // A first cycle, before counting: the queue and the looper stay by design, and a
    // sanitizer's runtime starts a thread of its own with the first worker.
    ASSERT_EQ(0, rig->listener.StartSampling(kAmbientLight));
    ASSERT_EQ(0, rig->listener.StopSampling(kAmbientLight));
    const int threads = testing::CountEntries("/proc/self/task");
    const int descriptors = testing::CountEntries("/proc/self/fd");

    std::atomic<bool> posting{true};
    std::thread poster([&] {
        while (posting) {
            PostSensorEvents(light, Events(1, 20));
            std::this_thread::sleep_for(std::chrono::microseconds(50));  // pacing only
        }
    });
    std::future<int> cycles = rig->cycles.get_future();
    std::thread cycler([rig] {
        int i = 0;
        while (i < 1000 && rig->listener.StartSampling(kAmbientLight) == 0) {
            rig->listener.StopSampling(kAmbientLight);
            ++i;
        }
        rig->cycles.set_value(i);
    });
    const bool finished = cycles.wait_for(6 * testing::kWait) == std::future_status::ready;
    posting = false;
    poster.join();
    if (!finished) cycler.detach();
    ASSERT_TRUE(finished) << "a start or a stop hangs";
    cycler.join();

    EXPECT_EQ(1000, cycles.get());
    // Whatever the cycles caught of the flow, events still reach the callback after them.
    ASSERT_EQ(0, rig->listener.StartSampling(kAmbientLight));
    const int before = rig->delivered;
    PostSensorEvents(light, Events(1, 20));
    EXPECT_TRUE(testing::WaitUntil([&] { return rig->delivered > before; }));
    rig->listener.StopSampling(kAmbientLight);
    EXPECT_TRUE(
        testing::WaitUntil([&] { return testing::CountEntries("/proc/self/task") <= threads; }));
    EXPECT_EQ(descriptors, testing::CountEntries("/proc/self/fd"));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
