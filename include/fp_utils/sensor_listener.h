// Events of the ambient light sensor and of the long-press sensor, delivered to the HAL.
//
// The listener connects to the sensor manager on the first StartSampling and looks both
// sensors up by their whole string type ("android.sensor.light", "com.kestro.sensor.long_press";
// the last matching sensor of the list wins). It owns one event queue on one looper and a
// worker thread, "SensorPollingWorkerThread", that runs while at least one sensor is sampled
// and hands every event, in order, to the callback installed for that sensor's type. Events
// of a type without a callback are dropped.
//
// The looper is prepared on the thread that first connects (ALooper_prepare), and the queue
// signals that looper. ALooper_pollOnce waits on the looper of the calling thread, and every
// start of the worker is a new thread, so each run of the worker first makes the queue's
// looper its own (android::Looper::setForThread: ALooper is libutils' Looper) and then waits
// in ALooper_pollOnce without a time-out; a stop wakes it with ALooper_wake. Preparing the
// looper on the worker instead would tie the queue to a thread that ends at every stop. The
// listener holds a reference to the looper, so the connecting thread may end. While sampling,
// the connecting thread must not poll its own looper (for instance through
// AlsMonitor::GetLight): two threads would wait on one looper.
//
// Callers may rely on: StartSampling, StopSampling, SetSensorEventCallback and
// OnSystemServerDeath may be called from any HAL thread; the callbacks run on the worker
// without the listener's lock, so a callback may call StopSampling (but must not start
// sampling again, nor destroy the listener). Install a callback before starting its sensor:
// the worker reads it without the lock. The event given to a callback lives only for the call.
#pragma once

#include <android/looper.h>
#include <android/sensor.h>
// <stdint.h> before the platform's StrongPointer.h, which uses uintptr_t without including it.
#include <stdint.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <functional>
#include <mutex>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

// Indexes the per-sensor state; also the number logged as "sensor[%d]" and "Sensor(%d)".
enum SensorType {
    kAmbientLight = 0,
    kLongPress = 1,
};

using SensorEventCallback = std::function<void(const ASensorEvent&)>;

class SensorPollingWorkerThread;

class FP_UTILS_EXPORT SensorListener {
  public:
    static constexpr int kSensorTypeCount = 2;
    // Events fetched by one read of the queue.
    static constexpr size_t kEventsPerRead = 16;

    SensorListener();
    // Stops the worker if it runs, destroys the event queue of the current connection and
    // releases the looper.
    ~SensorListener();
    SensorListener(const SensorListener&) = delete;
    SensorListener& operator=(const SensorListener&) = delete;

    // Samples the sensor of `type` at its fastest rate without batching. 0 when sampling (also
    // when it was already); -ENOMEM when the sensor manager cannot be reached or the device
    // has no such sensor; otherwise the sensor service's refusal.
    int StartSampling(SensorType type);
    // Stops the sensor of `type`; the worker ends with the last sampled sensor. Always 0.
    int StopSampling(SensorType type);
    // Whether any sensor is sampled. Takes no lock.
    bool IsAnySamplerStarted() const;
    // The system server died: ends the worker and forgets the connection (manager, sensors,
    // queue, thread, started flags). Callbacks and the looper are kept; the next StartSampling
    // connects again with a new queue and a new worker.
    void OnSystemServerDeath();
    // Installs the callback of one sensor type (an empty one drops its events).
    void SetSensorEventCallback(SensorType type, SensorEventCallback callback);

  protected:
    // The worker's steps, protected so that a test can run one poll on the connecting thread.
    // With the lock held: connects unless connected; false (logged) on failure.
    bool ConnectSensorManagerIfNeeded();
    // Waits for events, reads them 16 at a time while batches come full and hands them on;
    // INT_MIN when the looper reports a poll error, otherwise 0.
    int PollSensorEvent();
    // Hands one event to the callback of each sensor whose type it carries.
    void ProcessSensorEvent(ASensorEvent event);

    sp<SensorPollingWorkerThread> sensor_polling_worker_thread_;

  private:
    friend class SensorPollingWorkerThread;

    // With the lock held: stops the worker and drops it, once its thread has let go of it.
    void ReleaseWorkerLocked();
    // With the lock held: ends the worker if it runs.
    void StopWorkerLocked();

    std::timed_mutex mutex_;
    ASensorManager* sensor_manager_ = nullptr;
    ASensorList sensor_list_ = nullptr;
    int sensor_count_ = 0;
    ALooper* looper_ = nullptr;
    ASensorEventQueue* event_queue_ = nullptr;
    const ASensor* sensors_[kSensorTypeCount] = {nullptr, nullptr};
    std::atomic<bool> started_[kSensorTypeCount] = {{false}, {false}};
    SensorEventCallback callbacks_[kSensorTypeCount];
    // Set while a stop holds the lock and waits for the worker.
    std::atomic<bool> stopping_{false};
    ASensorEvent events_[kEventsPerRead];
};

}  // namespace fp_utils
}  // namespace android
