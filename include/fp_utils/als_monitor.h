// The ambient light level, read on demand from the default light sensor.
//
// A process-wide object (GetInstance) that uses the sensor manager directly and has no thread
// of its own: StartSampling registers the light sensor on an event queue, and each GetLight
// drains that queue on the calling thread and returns the newest lux value, or the last one
// seen when nothing new has arrived. The value has no age limit: it survives StopSampling and
// a restart of the sensor service; only OnSystemServerDeath forgets it.
//
// Callers may rely on: every operation, the static ones included, takes one process-wide
// mutex, so calls are serialised. The queue signals the looper of the thread that first ran
// StartSampling, and GetLight waits (1 ms per round) on the calling thread's looper, so the
// HAL calls StartSampling and GetLight on the same thread. Every operation first checks the
// sensor manager: a replaced manager means a new queue, sensor and a stopped sampler, while
// the looper and the last value stay. Do not keep the pointer GetInstance returns across
// OnSystemServerDeath, which deletes the instance; the next GetInstance builds a fresh one.
#pragma once

#include <android/looper.h>
#include <android/sensor.h>

#include <mutex>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT AlsMonitor {
  public:
    // Events fetched by one read of the queue.
    static constexpr size_t kEventsPerRead = 16;

    static AlsMonitor* GetInstance();
    // Deletes the instance (the platform queue is left as it is).
    static void OnSystemServerDeath();

    // 0 once the light sensor is registered (again, when already sampling); NO_MEMORY when the
    // sensor manager, a looper or a queue cannot be had; UNEXPECTED_NULL without a light
    // sensor; otherwise the sensor service's refusal.
    int StartSampling();
    // Disables the sensor and destroys the queue. 0, or NO_MEMORY without a sensor manager.
    int StopSampling();
    // Writes the newest light value to *lux and returns 0. UNKNOWN_ERROR when not sampling or
    // on a poll error, BAD_VALUE while no event was ever received, NO_MEMORY without a sensor
    // manager; *lux is written only on 0.
    int GetLight(float* lux);
    // The connection step of every operation; takes the mutex. False without a sensor manager.
    bool ConnectSensorManagerIfNeeded();

  private:
    AlsMonitor() = default;
    // Releases the looper; the queue is left to the platform.
    ~AlsMonitor();
    AlsMonitor(const AlsMonitor&) = delete;
    AlsMonitor& operator=(const AlsMonitor&) = delete;

    // With the mutex held.
    bool ConnectLocked();

    static AlsMonitor* instance_;
    static std::mutex mutex_;

    ASensorManager* sensor_manager_ = nullptr;
    ALooper* looper_ = nullptr;
    ASensorEventQueue* event_queue_ = nullptr;
    const ASensor* light_sensor_ = nullptr;
    bool sampling_ = false;
    bool has_sample_ = false;
    float last_light_ = 0.0f;
    ASensorEvent events_[kEventsPerRead] = {};
};

}  // namespace fp_utils
}  // namespace android
