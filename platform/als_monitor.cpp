#include "fp_utils/als_monitor.h"

#include <android/log.h>
#include <utils/Errors.h>

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "AlsMonitor";

}  // namespace

AlsMonitor* AlsMonitor::instance_ = nullptr;
std::mutex AlsMonitor::mutex_;

AlsMonitor* AlsMonitor::GetInstance() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (instance_ == nullptr) instance_ = new AlsMonitor();
    return instance_;
}

void AlsMonitor::OnSystemServerDeath() {
    std::lock_guard<std::mutex> lock(mutex_);
    __android_log_print(ANDROID_LOG_INFO, kTag, "system server died.");
    delete instance_;
    instance_ = nullptr;
}

AlsMonitor::~AlsMonitor() {
    if (looper_ != nullptr) ALooper_release(looper_);
}

bool AlsMonitor::ConnectSensorManagerIfNeeded() {
    std::lock_guard<std::mutex> lock(mutex_);
    return ConnectLocked();
}

bool AlsMonitor::ConnectLocked() {
    ASensorManager* manager = ASensorManager_getInstanceForPackage("");
    if (manager == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to get sensor manager.");
        return false;
    }
    if (manager != sensor_manager_) {
        // First use, or the sensor service was replaced: what belonged to the old one is
        // forgotten, without destroying its queue.
        sensor_manager_ = manager;
        event_queue_ = nullptr;
        light_sensor_ = nullptr;
        sampling_ = false;
        __android_log_print(ANDROID_LOG_DEBUG, kTag, "Successfully connected to Sensor Manager.");
    }
    return true;
}

int AlsMonitor::StartSampling() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!ConnectLocked()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to connect sensor manager.");
        return NO_MEMORY;
    }
    if (light_sensor_ == nullptr) {
        light_sensor_ = ASensorManager_getDefaultSensor(sensor_manager_, ASENSOR_TYPE_LIGHT);
        if (light_sensor_ == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to get sensor.");
            return UNEXPECTED_NULL;
        }
    }
    if (looper_ == nullptr) {
        looper_ = ALooper_prepare(ALOOPER_PREPARE_ALLOW_NON_CALLBACKS);
        if (looper_ == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to prepare an event looper.");
            return NO_MEMORY;
        }
        // Ours too: the thread that prepared it may end before this instance does.
        ALooper_acquire(looper_);
    }
    if (event_queue_ == nullptr) {
        event_queue_ =
            ASensorManager_createEventQueue(sensor_manager_, looper_, 0, nullptr, nullptr);
        if (event_queue_ == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to create an event queue.");
            return NO_MEMORY;
        }
    }
    int ret = ASensorEventQueue_registerSensor(event_queue_, light_sensor_,
                                               ASensor_getMinDelay(light_sensor_), 0);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: Failed to register sensor, err=%d.",
                            "StartSampling", ret);
        return ret;
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "Sampling is started.");
    sampling_ = true;
    return OK;
}

int AlsMonitor::StopSampling() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!ConnectLocked()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to connect sensor manager.");
        return NO_MEMORY;
    }
    if (event_queue_ != nullptr) {
        if (light_sensor_ != nullptr) ASensorEventQueue_disableSensor(event_queue_, light_sensor_);
        ASensorManager_destroyEventQueue(sensor_manager_, event_queue_);
        event_queue_ = nullptr;
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "Sampling is stopped.");
    sampling_ = false;
    return OK;
}

int AlsMonitor::GetLight(float* lux) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!ConnectLocked()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to connect sensor manager.");
        return NO_MEMORY;
    }
    if (!sampling_) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Sensor sampler is not started.");
        return UNKNOWN_ERROR;
    }
    for (;;) {
        if (ALooper_pollOnce(1, nullptr, nullptr, nullptr) == ALOOPER_POLL_ERROR) {
            __android_log_print(ANDROID_LOG_ERROR, kTag,
                                "Sensor event looper returned a poll error.");
            return UNKNOWN_ERROR;
        }
        // A negative count is an error of the read, not events: treated as none.
        const ssize_t count = ASensorEventQueue_getEvents(event_queue_, events_, kEventsPerRead);
        if (count <= 0) break;
        has_sample_ = true;
        last_light_ = events_[count - 1].light;
        if (count != static_cast<ssize_t>(kEventsPerRead)) {
            *lux = last_light_;
            return OK;
        }
    }
    if (!has_sample_) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Sample is not available.");
        return BAD_VALUE;
    }
    *lux = last_light_;
    return OK;
}

}  // namespace fp_utils
}  // namespace android
