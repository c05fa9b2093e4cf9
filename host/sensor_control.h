// Control of the host stand-in of the sensor service and its looper (libsensorndkbridge).
//
// On a device vendor code reaches the sensor manager through libsensorndkbridge: the NDK sensor
// API (ASensorManager_*, ASensor_*, ASensorEventQueue_*) and ALooper_*. The host library of the
// same name implements that API over one in-process sensor service, and these functions drive
// it. ALooper is libutils' android::Looper, as on a device; an event queue signals its looper
// through a descriptor added to it with its ident, readable while events are pending, so
// ALooper_pollOnce wakes for events as it does on a device.
//
// The service holds sensors in the order they were added. ASensorManager_getInstanceForPackage
// returns the current manager (one per service lifetime) with its own sensor objects: a sensor
// or a queue of one manager is refused by another. Events go only to queues of the current
// manager on which the sensor is registered; a queue of a replaced manager receives nothing
// more and its calls fail with -32 (dead object). A queue destroyed by its owner must not be
// used again: any further call on it aborts. Every function is safe to call from any thread.
#pragma once

#include <android/sensor.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace host {

constexpr int kDeadObject = -32;

struct SensorInfo {
    std::string name;
    std::string string_type;
    int type = 0;
    int min_delay_us = 0;
    int reporting_mode = AREPORTING_MODE_CONTINUOUS;
};

// Adds a sensor to the service and returns its handle (1, 2, ... in the order added). The
// current manager lists it at once.
int AddSensor(const SensorInfo& sensor);

// Delivers `events`, in one piece, to every queue on which the sensor is registered. Each event
// gets the sensor's handle, its type and the event size filled in; the rest is as given. False
// for an unknown handle.
bool PostSensorEvents(int handle, std::vector<ASensorEvent> events);

// While false, ASensorManager_getInstanceForPackage returns null (the service is down).
void SetSensorManagerAvailable(bool available);
// The sensor service restarts: the next ASensorManager_getInstanceForPackage returns a new
// manager; queues of the old one receive nothing more.
void RestartSensorService();

// From now on ASensorEventQueue_registerSensor fails with `error` for sensors of this string
// type (0 makes it succeed again).
void FailSensorRegistration(const std::string& string_type, int error);
// While set, ASensorManager_createEventQueue returns null.
void FailEventQueueCreation(bool fail);
// While set, ALooper_prepare returns null.
void FailLooperPreparation(bool fail);
// The next `count` calls of ALooper_pollOnce, on any thread, return ALOOPER_POLL_ERROR at
// once. A thread already waiting is not disturbed.
void FailLooperPolls(int count);
// The next `count` calls of ASensorEventQueue_getEvents return `error` (negative) and read
// nothing.
void FailEventReads(ssize_t error, int count);

// A call the library made on an event queue.
struct SensorCall {
    enum Kind { kRegister, kDisable, kDestroyQueue };
    Kind kind;
    int queue;                            // queues are numbered 1, 2, ... in the order created
    int sensor;                           // the sensor's handle; 0 for kDestroyQueue
    int sampling_period_us;               // kRegister only
    int64_t max_batch_report_latency_us;  // kRegister only
    int result;

    bool operator==(const SensorCall& o) const {
        return kind == o.kind && queue == o.queue && sensor == o.sensor &&
               sampling_period_us == o.sampling_period_us &&
               max_batch_report_latency_us == o.max_batch_report_latency_us && result == o.result;
    }
};

// Every register, disable and queue destruction since the last reset, oldest first.
std::vector<SensorCall> SensorCalls();

// Back to a fresh service: no sensors, available, no failures, no calls recorded, a new
// manager. Every existing queue is detached from its looper and its descriptor closed; stale
// handles stay safe to pass (their calls fail) but receive nothing.
void ResetSensors();

}  // namespace host
}  // namespace fp_utils
}  // namespace android
