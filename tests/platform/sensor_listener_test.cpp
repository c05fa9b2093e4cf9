#include "fp_utils/sensor_listener.h"

#include <android/log.h>
#include <android/looper.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <functional>
#include <future>
#include <thread>

#include "host/sensor_control.h"
#include "platform/sensor_polling_worker_thread.h"
#include "tests/platform/sensor_test_util.h"

namespace android {
namespace fp_utils {
namespace {

using host::SensorCall;
using testing::EventRecord;
using testing::kWait;
using testing::LightEvents;
using testing::StampRange;
using testing::ThreadCount;
using testing::WaitUntil;

constexpr char kTag[] = "SensorListener";
constexpr int kD = ANDROID_LOG_DEBUG, kI = ANDROID_LOG_INFO, kE = ANDROID_LOG_ERROR;

// Lets a test run the worker's poll on the connecting thread, whose looper carries the queue.
class PollableListener : public SensorListener {
  public:
    using SensorListener::PollSensorEvent;
    void StopWorker() { sensor_polling_worker_thread_->Stop(); }
};

struct PollOutcome {
    int result;
    bool had_to_be_woken;
};

// One PollSensorEvent on this thread. A poll that still waits after kWait is woken and
// reported as such, so that a wrong wait fails the case instead of hanging it.
PollOutcome PollOnThisThread(PollableListener& listener) {
    ALooper* looper = ALooper_forThread();
    std::mutex mutex;
    std::condition_variable cv;
    bool done = false, woken = false;
    std::thread watchdog([&] {
        std::unique_lock<std::mutex> lock(mutex);
        if (!cv.wait_for(lock, kWait, [&] { return done; })) {
            woken = true;
            ALooper_wake(looper);
        }
    });
    const int result = listener.PollSensorEvent();
    {
        std::lock_guard<std::mutex> lock(mutex);
        done = true;
    }
    cv.notify_all();
    watchdog.join();
    return {result, woken};
}

// Takes a wake-up left on this thread's looper by a stop, while no event is pending.
void DrainWakeUps() {
    while (ALooper_pollOnce(0, nullptr, nullptr, nullptr) == ALOOPER_POLL_WAKE) {
    }
}

std::vector<SensorCall::Kind> CallKinds() {
    std::vector<SensorCall::Kind> kinds;
    for (const SensorCall& call : host::SensorCalls()) kinds.push_back(call.kind);
    return kinds;
}

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
    EXPECT_TRUE(Logged(kD, "Successfully connected to Sensor Manager."));
    EXPECT_TRUE(Logged(kE, "sensor[1] is not available."));
    EXPECT_FALSE(listener.IsAnySamplerStarted());

    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 3)));
    ASSERT_TRUE(events.WaitFor(3));
    EXPECT_EQ(StampRange(1, 3), events.Stamps());
    EXPECT_EQ(1u, log_.Count(kTag, "not found"));  // connected once
}

TEST_F(SensorListenerTest, TheLastSensorWithTheWholeStringTypeWins) {
    host::AddSensor(testing::LightSensor("first"));
    host::AddSensor({"raw", "android.sensor.light.raw", ASENSOR_TYPE_LIGHT, 1000});
    const int second = host::AddSensor(testing::LightSensor("second"));
    host::AddSensor({"prefixed", "x.android.sensor.light", ASENSOR_TYPE_LIGHT, 1000});
    SensorListener listener;

    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(second, calls[0].sensor);
    EXPECT_EQ(2u, log_.Count(kTag, "Found Sensor(0)."));
    EXPECT_TRUE(Logged(kI, "Found Sensor(0). name:'second', string_type:'android.sensor.light'"));
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

TEST_F(SensorListenerTest, StartingTwiceRegistersOnceAtTheFastestRateWithoutBatching) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;

    EXPECT_EQ(0, listener.StartSampling(kAmbientLight));
    EXPECT_EQ(0, listener.StartSampling(kAmbientLight));
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ((SensorCall{SensorCall::kRegister, calls[0].queue, light, 200000, 0, 0}), calls[0]);
}

TEST_F(SensorListenerTest, StoppingOneTypeKeepsTheWorkerAndStoppingBothEndsIt) {
    const int light = host::AddSensor(testing::LightSensor());
    const int long_press = host::AddSensor(testing::LongPressSensor());
    SensorListener listener;
    EventRecord light_events, long_press_events;
    Record(listener, kAmbientLight, light_events);
    Record(listener, kLongPress, long_press_events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_EQ(0, listener.StartSampling(kLongPress));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 1)));
    ASSERT_TRUE(light_events.WaitFor(1));
    const pid_t worker = light_events.Thread();

    EXPECT_EQ(0, listener.StopSampling(kAmbientLight));
    EXPECT_TRUE(listener.IsAnySamplerStarted());
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(2, 1)));  // disabled: never arrives
    ASSERT_TRUE(host::PostSensorEvents(long_press, LightEvents(3, 1)));
    ASSERT_TRUE(long_press_events.WaitFor(1));
    EXPECT_EQ(worker, long_press_events.Thread());

    EXPECT_EQ(0, listener.StopSampling(kLongPress));
    EXPECT_EQ(0, listener.StopSampling(kLongPress));
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_TRUE(WaitUntil([&] { return !testing::ThreadExists(worker); }));
    EXPECT_EQ((std::vector<SensorCall::Kind>{SensorCall::kRegister, SensorCall::kRegister,
                                             SensorCall::kDisable, SensorCall::kDisable}),
              CallKinds());
    EXPECT_EQ(std::vector<int64_t>{1}, light_events.Stamps());
    EXPECT_EQ(std::vector<int64_t>{3}, long_press_events.Stamps());
}

TEST_F(SensorListenerTest, EveryEventReachesTheCallbackInOrder) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);

    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 16)));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(17, 5)));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(22, 40)));
    ASSERT_TRUE(events.WaitFor(61));
    EXPECT_EQ(StampRange(1, 61), events.Stamps());
}

// One poll reads 16 events at a time while the reads come back full, and ends with the first
// short read instead of waiting for more.
TEST_F(SensorListenerTest, OnePollReadsUntilABatchIsShort) {
    const int light = host::AddSensor(testing::LightSensor());
    PollableListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    listener.StopWorker();  // this thread polls instead
    DrainWakeUps();

    int first = 1;
    for (int count : {15, 19, 33}) {
        ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(first, count)));
        const PollOutcome outcome = PollOnThisThread(listener);
        EXPECT_EQ(0, outcome.result) << count << " events";
        EXPECT_FALSE(outcome.had_to_be_woken) << count << " events";
        EXPECT_EQ(StampRange(1, first + count - 1), events.Stamps()) << count << " events";
        first += count;
    }
}

TEST_F(SensorListenerTest, APollErrorEndsThePollAndTheWorkerPollsAgain) {
    const int light = host::AddSensor(testing::LightSensor());
    PollableListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));

    host::FailLooperPolls(1);  // the worker's next wait, once it has the first event
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 1)));
    ASSERT_TRUE(WaitUntil([&] { return log_.Count(kTag, "poll error") == 1; }));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(2, 1)));
    ASSERT_TRUE(events.WaitFor(2));
    EXPECT_TRUE(Logged(kE, "Sensor event looper returned a poll error."));

    listener.StopWorker();
    DrainWakeUps();
    host::FailLooperPolls(1);
    EXPECT_EQ(INT_MIN, PollOnThisThread(listener).result);
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
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 5)));  // one read
    if (!events.WaitFor(5)) {
        listener.release();  // its worker is stuck for good; so would be its destruction
        FAIL() << "the stop from the callback deadlocks";
    }
    const pid_t worker = events.Thread();
    EXPECT_TRUE(WaitUntil([&] { return !testing::ThreadExists(worker); })) << "it goes on";
    EXPECT_EQ(0, stop_result);
    EXPECT_FALSE(listener->IsAnySamplerStarted());
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(6, 1)));  // not sampled

    ASSERT_EQ(0, listener->StartSampling(kAmbientLight));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(7, 1)));
    ASSERT_TRUE(events.WaitFor(6));
    EXPECT_EQ((std::vector<int64_t>{1, 2, 3, 4, 5, 7}), events.Stamps());
}

TEST_F(SensorListenerTest, EventsOfATypeWithoutCallbackAreDropped) {
    const int light = host::AddSensor(testing::LightSensor());
    const int long_press = host::AddSensor(testing::LongPressSensor());
    SensorListener listener;
    EventRecord long_press_events;
    Record(listener, kLongPress, long_press_events);

    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_EQ(0, listener.StartSampling(kLongPress));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 20)));
    ASSERT_TRUE(host::PostSensorEvents(long_press, LightEvents(21, 1)));
    ASSERT_TRUE(long_press_events.WaitFor(1));  // the light events, queued first, are gone
    EXPECT_EQ(std::vector<int64_t>{21}, long_press_events.Stamps());
}

TEST_F(SensorListenerTest, SystemServerDeathForgetsTheConnectionAndKeepsTheCallbacks) {
    const int light = host::AddSensor(testing::LightSensor());
    SensorListener listener;
    EventRecord events;
    Record(listener, kAmbientLight, events);
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(1, 1)));
    ASSERT_TRUE(events.WaitFor(1));
    const pid_t worker = events.Thread();

    listener.OnSystemServerDeath();
    EXPECT_TRUE(Logged(kI, "system server died."));
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_TRUE(WaitUntil([&] { return !testing::ThreadExists(worker); }));

    host::RestartSensorService();
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));
    EXPECT_EQ(2u, log_.Count(kTag, "The device sensor count:1"));
    ASSERT_TRUE(host::PostSensorEvents(light, LightEvents(2, 1)));
    ASSERT_TRUE(events.WaitFor(2));
    EXPECT_EQ((std::vector<int64_t>{1, 2}), events.Stamps());
    const std::vector<SensorCall> calls = host::SensorCalls();
    ASSERT_EQ(2u, calls.size());  // the old queue is abandoned, not destroyed
    EXPECT_NE(calls[0].queue, calls[1].queue);
    EXPECT_EQ(SensorCall::kRegister, calls[1].kind);
}

// Each way the connection fails, and how much is looked up again by the next start.
TEST_F(SensorListenerTest, ConnectionFailuresReportNoMemoryAndAreRetriedFromScratch) {
    struct Case {
        const char* name;
        std::function<void()> fail;
        const char* text;
        size_t lookups;  // sensor lookups made by the failed and the repaired start
    };
    const Case cases[] = {
        {"no sensor manager", [] { host::SetSensorManagerAvailable(false); },
         "Failed to get sensor manager.", 1},
        {"no sensors", [] {}, "Failed to get sensor list (0).\n", 1},
        {"no looper", [] { host::FailLooperPreparation(true); },
         "Failed to prepare an event looper.", 2},
        {"no event queue", [] { host::FailEventQueueCreation(true); },
         "Failed to create an event queue.", 2},
    };
    for (const Case& c : cases) {
        host::ResetSensors();
        log_.Clear();
        SensorListener listener;
        if (c.lookups == 2) host::AddSensor(testing::LightSensor());
        c.fail();

        EXPECT_EQ(-ENOMEM, listener.StartSampling(kAmbientLight)) << c.name;
        EXPECT_TRUE(Logged(kE, c.text)) << c.name;
        EXPECT_TRUE(Logged(kE, "Failed to connect sensor manager.")) << c.name;
        EXPECT_FALSE(listener.IsAnySamplerStarted()) << c.name;

        host::SetSensorManagerAvailable(true);
        host::FailLooperPreparation(false);
        host::FailEventQueueCreation(false);
        if (c.lookups == 1) host::AddSensor(testing::LightSensor());
        EXPECT_EQ(0, listener.StartSampling(kAmbientLight)) << c.name;
        EXPECT_EQ(c.lookups, log_.Count(kTag, "Found Sensor(0).")) << c.name;
    }
}

TEST_F(SensorListenerTest, ARefusedRegistrationIsReturnedAndStartsNoWorker) {
    host::AddSensor(testing::LightSensor());
    SensorListener listener;
    const int threads = ThreadCount();
    host::FailSensorRegistration(testing::kLightType, -ENODEV);

    EXPECT_EQ(-ENODEV, listener.StartSampling(kAmbientLight));
    EXPECT_TRUE(Logged(kE, "StartSampling: Failed to register sensor[0], err=-19."));
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_LE(ThreadCount(), threads);

    host::FailSensorRegistration(testing::kLightType, 0);
    EXPECT_EQ(0, listener.StartSampling(kAmbientLight));
}

// Starts and stops race the worker's reads: a stop may come while the worker waits for the
// lock to read, and must neither hang nor leave a thread or a descriptor behind.
TEST_F(SensorListenerTest, ThousandStartStopCyclesWithEventsFlowingLeaveNothingBehind) {
    const int light = host::AddSensor(testing::LightSensor());
    // Shared with the thread that starts and stops, which keeps it if it hangs for good.
    struct Rig {
        SensorListener listener;
        std::atomic<int> delivered{0};
        std::promise<int> cycles;
    };
    auto rig = std::make_shared<Rig>();
    SensorListener& listener = rig->listener;
    listener.SetSensorEventCallback(kAmbientLight,
                                    [r = rig.get()](const ASensorEvent&) { ++r->delivered; });
    const int threads = ThreadCount();
    ASSERT_EQ(0, listener.StartSampling(kAmbientLight));  // the queue and the looper stay
    ASSERT_EQ(0, listener.StopSampling(kAmbientLight));
    ASSERT_TRUE(WaitUntil([&] { return ThreadCount() <= threads; }));
    const int descriptors = testing::OpenDescriptorCount();

    std::atomic<bool> posting{true};
    std::thread poster([&] {
        while (posting) {
            host::PostSensorEvents(light, LightEvents(1, 20));
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
    const bool finished = cycles.wait_for(6 * kWait) == std::future_status::ready;
    posting = false;
    poster.join();
    if (!finished) {
        cycler.detach();
        FAIL() << "a start or a stop hangs";
    }
    cycler.join();

    EXPECT_EQ(1000, cycles.get());
    EXPECT_GT(rig->delivered, 0);
    EXPECT_FALSE(listener.IsAnySamplerStarted());
    EXPECT_TRUE(WaitUntil([&] { return ThreadCount() <= threads; }));
    EXPECT_EQ(descriptors, testing::OpenDescriptorCount());
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
