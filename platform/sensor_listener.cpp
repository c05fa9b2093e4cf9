#include "fp_utils/sensor_listener.h"

#include <android/log.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <thread>

#include "platform/sensor_polling_worker_thread.h"
#include "platform/worker_lock.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "SensorListener";

// The string type that finds each sensor, indexed by SensorType.
constexpr const char* kStringTypes[SensorListener::kSensorTypeCount] = {
    "android.sensor.light",
    "com.kestro.sensor.long_press",
};

}  // namespace

SensorListener::SensorListener() {
    memset(events_, 0, sizeof(events_));
}

SensorListener::~SensorListener() {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    ReleaseWorkerLocked();
    if (sensor_manager_ != nullptr && event_queue_ != nullptr) {
        ASensorManager_destroyEventQueue(sensor_manager_, event_queue_);
    }
    if (looper_ != nullptr) ALooper_release(looper_);
}

bool SensorListener::ConnectSensorManagerIfNeeded() {
    if (sensor_manager_ != nullptr) return true;

    ASensorManager* manager = ASensorManager_getInstanceForPackage("");
    if (manager == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to get sensor manager.");
        return false;
    }
    sensor_count_ = ASensorManager_getSensorList(manager, &sensor_list_);
    if (sensor_count_ < 1) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to get sensor list (%d).\n",
                            sensor_count_);
        return false;
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "The device sensor count:%d", sensor_count_);

    for (int i = 0; i < sensor_count_; ++i) {
        const ASensor* sensor = sensor_list_[i];
        const char* name = ASensor_getName(sensor);
        const char* string_type = ASensor_getStringType(sensor);
        for (int type = 0; type < kSensorTypeCount; ++type) {
            if (strcmp(string_type, kStringTypes[type]) == 0) {
                sensors_[type] = sensor;
                __android_log_print(ANDROID_LOG_INFO, kTag,
                                    "Found Sensor(%d). name:'%s', string_type:'%s'", type, name,
                                    string_type);
            }
        }
    }
    for (int type = 0; type < kSensorTypeCount; ++type) {
        if (sensors_[type] == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: Sensor(%s) not found.\n",
                                "ConnectSensorManagerIfNeeded", kStringTypes[type]);
        }
    }

    if (looper_ == nullptr) {
        looper_ = ALooper_prepare(ALOOPER_PREPARE_ALLOW_NON_CALLBACKS);
        if (looper_ == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to prepare an event looper.");
            return false;
        }
        // Ours too: the thread that prepared it may end before the listener does.
        ALooper_acquire(looper_);
    }
    if (event_queue_ == nullptr) {
        event_queue_ = ASensorManager_createEventQueue(manager, looper_, 0, nullptr, nullptr);
        if (event_queue_ == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to create an event queue.");
            return false;
        }
    }
    if (sensor_polling_worker_thread_ == nullptr) {
        sensor_polling_worker_thread_ = new SensorPollingWorkerThread(this);
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "Successfully connected to Sensor Manager.");
    sensor_manager_ = manager;
    return true;
}

int SensorListener::StartSampling(SensorType type) {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    if (started_[type]) return 0;
    if (!ConnectSensorManagerIfNeeded()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to connect sensor manager.");
        return -ENOMEM;
    }
    const ASensor* sensor = sensors_[type];
    if (sensor == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "sensor[%d] is not available.", type);
        return -ENOMEM;
    }
    int ret = ASensorEventQueue_registerSensor(event_queue_, sensor, ASensor_getMinDelay(sensor), 0);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: Failed to register sensor[%d], err=%d.",
                            "StartSampling", type, ret);
        return ret;
    }
    started_[type] = true;
    if (sensor_polling_worker_thread_ != nullptr) {
        // A worker that stopped itself from a callback may still need the lock to end.
        stopping_ = true;
        sensor_polling_worker_thread_->Start();
        stopping_ = false;
    }
    return 0;
}

int SensorListener::StopSampling(SensorType type) {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    if (started_[type]) {
        ASensorEventQueue_disableSensor(event_queue_, sensors_[type]);
        started_[type] = false;
    }
    if (!IsAnySamplerStarted()) StopWorkerLocked();
    return 0;
}

bool SensorListener::IsAnySamplerStarted() const {
    return started_[kAmbientLight] || started_[kLongPress];
}

void SensorListener::OnSystemServerDeath() {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    __android_log_print(ANDROID_LOG_INFO, kTag, "system server died.");
    ReleaseWorkerLocked();
    // The queue of the dead connection is abandoned, not destroyed; the looper is kept.
    sensor_manager_ = nullptr;
    sensor_list_ = nullptr;
    sensor_count_ = 0;
    event_queue_ = nullptr;
    for (int type = 0; type < kSensorTypeCount; ++type) {
        sensors_[type] = nullptr;
        started_[type] = false;
    }
}

void SensorListener::SetSensorEventCallback(SensorType type, SensorEventCallback callback) {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    callbacks_[type] = std::move(callback);
}

void SensorListener::StopWorkerLocked() {
    if (sensor_polling_worker_thread_ == nullptr) return;
    stopping_ = true;
    sensor_polling_worker_thread_->Stop();
    stopping_ = false;
}

void SensorListener::ReleaseWorkerLocked() {
    if (sensor_polling_worker_thread_ == nullptr) return;
    StopWorkerLocked();
    // The ended thread lets go of its own reference a moment after the wait returns. Waiting for
    // that (briefly, bounded) makes this thread the one that destroys the worker object, after
    // everything the worker did with it.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (sensor_polling_worker_thread_->getStrongCount() > 1 &&
           std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    sensor_polling_worker_thread_.clear();
}

int SensorListener::PollSensorEvent() {
    for (;;) {
        int ret = ALooper_pollOnce(-1, nullptr, nullptr, nullptr);
        if (ret == ALOOPER_POLL_WAKE) return 0;
        if (ret == ALOOPER_POLL_ERROR) {
            __android_log_print(ANDROID_LOG_ERROR, kTag,
                                "Sensor event looper returned a poll error.");
            return INT_MIN;
        }
        ssize_t count;
        {
            std::unique_lock<std::timed_mutex> lock(mutex_, std::defer_lock);
            // A stop holds the lock while it waits for this thread: leave the events queued.
            if (!LockUnlessStopping(lock, stopping_)) return 0;
            count = ASensorEventQueue_getEvents(event_queue_, events_, kEventsPerRead);
        }
        if (count < 1) return 0;
        for (ssize_t i = 0; i < count; ++i) ProcessSensorEvent(events_[i]);
        if (count != static_cast<ssize_t>(kEventsPerRead)) return 0;
    }
}

void SensorListener::ProcessSensorEvent(ASensorEvent event) {
    for (int type = 0; type < kSensorTypeCount; ++type) {
        const ASensor* sensor = sensors_[type];
        if (sensor != nullptr && event.type == ASensor_getType(sensor) && callbacks_[type]) {
            callbacks_[type](event);
        }
    }
}

}  // namespace fp_utils
}  // namespace android
