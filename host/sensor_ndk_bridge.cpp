// The NDK sensor API and ALooper_* over one in-process sensor service (see sensor_control.h).
//
// Managers, sensors and queues are never freed, so that a stale handle kept by a client stays
// safe to pass: its calls fail as they would against a dead service. One mutex guards the
// service; it is never held while waiting on a looper.
#include <android/log.h>
#include <android/looper.h>
#include <android/sensor.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utils/Looper.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "host/sensor_control.h"

using android::Looper;
using android::sp;
using android::fp_utils::host::SensorCall;
using android::fp_utils::host::SensorInfo;

struct ASensor {
    ASensorManager* manager;
    int handle;
    SensorInfo info;
};

struct ASensorManager {
    std::vector<std::unique_ptr<ASensor>> sensors;
    // A list handed out stays valid for the manager's life; an added sensor makes a new one.
    std::vector<std::unique_ptr<std::vector<const ASensor*>>> lists;
};

struct ASensorEventQueue {
    // kOrphaned: its manager was replaced (pending events stay readable); kDetached: the
    // service was reset (descriptor closed); kDestroyed: its owner destroyed it.
    enum State { kLive, kOrphaned, kDetached, kDestroyed };

    int id;
    ASensorManager* manager;
    sp<Looper> looper;
    int fd;
    State state = kLive;
    std::set<int> registered;
    std::deque<ASensorEvent> pending;
};

namespace android {
namespace fp_utils {
namespace host {
namespace {

constexpr char kTag[] = "sensorndkbridge";
constexpr int kBadValue = -EINVAL;

struct Service {
    std::mutex mutex;
    std::vector<SensorInfo> sensors;
    std::vector<std::unique_ptr<ASensorManager>> managers;
    ASensorManager* current = nullptr;
    bool available = true;
    std::map<std::string, int> registration_errors;
    bool fail_queue_creation = false;
    std::vector<std::unique_ptr<ASensorEventQueue>> queues;
    std::vector<SensorCall> calls;
    ssize_t read_error = 0;
    int read_failures = 0;

    std::atomic<bool> fail_looper_preparation{false};
    std::atomic<int> poll_failures{0};
};

Service& TheService() {
    static Service* service = new Service();  // outlives every thread at exit
    return *service;
}

[[noreturn]] void Fatal(const char* what) {
    __android_log_print(ANDROID_LOG_FATAL, kTag, "%s", what);
    abort();
}

void NewList(ASensorManager* manager) {
    auto list = std::make_unique<std::vector<const ASensor*>>();
    for (const auto& sensor : manager->sensors) list->push_back(sensor.get());
    manager->lists.push_back(std::move(list));
}

void AddToManager(ASensorManager* manager, int handle, const SensorInfo& info) {
    manager->sensors.push_back(std::make_unique<ASensor>(ASensor{manager, handle, info}));
}

void SetReadable(ASensorEventQueue* queue, bool readable) {
    uint64_t value = 1;
    ssize_t n =
        readable ? write(queue->fd, &value, sizeof(value)) : read(queue->fd, &value, sizeof(value));
    (void)n;  // already in that state
}

// Calls on a queue its owner destroyed are use-after-free on a device.
void CheckNotDestroyed(const ASensorEventQueue* queue) {
    if (queue == nullptr) Fatal("null event queue");
    if (queue->state == ASensorEventQueue::kDestroyed) Fatal("use of a destroyed event queue");
}

void Detach(ASensorEventQueue* queue, ASensorEventQueue::State state) {
    queue->looper->removeFd(queue->fd);
    close(queue->fd);
    queue->fd = -1;
    queue->looper.clear();
    queue->pending.clear();
    queue->registered.clear();
    queue->state = state;
}

void Orphan(Service& s) {
    for (auto& queue : s.queues) {
        if (queue->state == ASensorEventQueue::kLive) queue->state = ASensorEventQueue::kOrphaned;
    }
    s.current = nullptr;
}

}  // namespace

int AddSensor(const SensorInfo& sensor) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.sensors.push_back(sensor);
    const int handle = static_cast<int>(s.sensors.size());
    if (s.current != nullptr) {
        AddToManager(s.current, handle, sensor);
        NewList(s.current);
    }
    return handle;
}

bool PostSensorEvents(int handle, std::vector<ASensorEvent> events) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (handle < 1 || handle > static_cast<int>(s.sensors.size())) return false;
    for (ASensorEvent& e : events) {
        e.version = sizeof(ASensorEvent);
        e.sensor = handle;
        e.type = s.sensors[handle - 1].type;
    }
    for (auto& queue : s.queues) {
        if (queue->state != ASensorEventQueue::kLive || queue->registered.count(handle) == 0) {
            continue;
        }
        if (queue->pending.empty() && !events.empty()) SetReadable(queue.get(), true);
        queue->pending.insert(queue->pending.end(), events.begin(), events.end());
    }
    return true;
}

void SetSensorManagerAvailable(bool available) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.available = available;
}

void RestartSensorService() {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    Orphan(s);
}

void FailSensorRegistration(const std::string& string_type, int error) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.registration_errors[string_type] = error;
}

void FailEventQueueCreation(bool fail) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.fail_queue_creation = fail;
}

void FailLooperPreparation(bool fail) {
    TheService().fail_looper_preparation = fail;
}

void FailLooperPolls(int count) {
    TheService().poll_failures = count;
}

void FailEventReads(ssize_t error, int count) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.read_error = error;
    s.read_failures = count;
}

std::vector<SensorCall> SensorCalls() {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.calls;
}

void ResetSensors() {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (auto& queue : s.queues) {
        if (queue->state == ASensorEventQueue::kLive ||
            queue->state == ASensorEventQueue::kOrphaned) {
            Detach(queue.get(), ASensorEventQueue::kDetached);
        }
    }
    Orphan(s);
    s.sensors.clear();
    s.available = true;
    s.registration_errors.clear();
    s.fail_queue_creation = false;
    s.calls.clear();
    s.read_failures = 0;
    s.fail_looper_preparation = false;
    s.poll_failures = 0;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android

using android::fp_utils::host::Service;
using android::fp_utils::host::TheService;

// The sensor manager.

ASensorManager* ASensorManager_getInstanceForPackage(const char* /*packageName*/) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.available) return nullptr;
    if (s.current == nullptr) {
        s.managers.push_back(std::make_unique<ASensorManager>());
        s.current = s.managers.back().get();
        for (size_t i = 0; i < s.sensors.size(); ++i) {
            android::fp_utils::host::AddToManager(s.current, static_cast<int>(i + 1), s.sensors[i]);
        }
        android::fp_utils::host::NewList(s.current);
    }
    return s.current;
}

ASensorManager* ASensorManager_getInstance() {
    return ASensorManager_getInstanceForPackage("");
}

int ASensorManager_getSensorList(ASensorManager* manager, ASensorList* list) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    const std::vector<const ASensor*>& latest = *manager->lists.back();
    *list = latest.data();
    return static_cast<int>(latest.size());
}

ASensor const* ASensorManager_getDefaultSensorEx(ASensorManager* manager, int type, bool wakeUp) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (wakeUp) return nullptr;  // every sensor here is a non-wake-up one
    for (const auto& sensor : manager->sensors) {
        if (sensor->info.type == type) return sensor.get();
    }
    return nullptr;
}

ASensor const* ASensorManager_getDefaultSensor(ASensorManager* manager, int type) {
    return ASensorManager_getDefaultSensorEx(manager, type, false);
}

ASensorEventQueue* ASensorManager_createEventQueue(ASensorManager* manager, ALooper* looper,
                                                   int ident, ALooper_callbackFunc callback,
                                                   void* data) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.fail_queue_creation || manager != s.current || manager == nullptr || looper == nullptr) {
        return nullptr;
    }
    auto queue = std::make_unique<ASensorEventQueue>();
    queue->id = static_cast<int>(s.queues.size()) + 1;
    queue->manager = manager;
    queue->looper = reinterpret_cast<Looper*>(looper);
    queue->fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (queue->fd < 0) return nullptr;
    // A looper prepared without ALOOPER_PREPARE_ALLOW_NON_CALLBACKS refuses a null callback.
    if (queue->looper->addFd(queue->fd, ident, ALOOPER_EVENT_INPUT, callback, data) != 1) {
        close(queue->fd);
        return nullptr;
    }
    s.queues.push_back(std::move(queue));
    return s.queues.back().get();
}

int ASensorManager_destroyEventQueue(ASensorManager* /*manager*/, ASensorEventQueue* queue) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    if (queue->fd >= 0) {
        android::fp_utils::host::Detach(queue, ASensorEventQueue::kDestroyed);
    }
    queue->state = ASensorEventQueue::kDestroyed;
    s.calls.push_back({SensorCall::kDestroyQueue, queue->id, 0, 0, 0, 0});
    return 0;
}

// Event queues.

int ASensorEventQueue_registerSensor(ASensorEventQueue* queue, ASensor const* sensor,
                                     int32_t samplingPeriodUs, int64_t maxBatchReportLatencyUs) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    int result = 0;
    if (queue->state != ASensorEventQueue::kLive) {
        result = android::fp_utils::host::kDeadObject;
    } else if (sensor == nullptr || sensor->manager != queue->manager) {
        result = android::fp_utils::host::kBadValue;
    } else {
        auto failure = s.registration_errors.find(sensor->info.string_type);
        if (failure != s.registration_errors.end()) result = failure->second;
    }
    if (result == 0) queue->registered.insert(sensor->handle);
    s.calls.push_back({SensorCall::kRegister, queue->id, sensor != nullptr ? sensor->handle : 0,
                       samplingPeriodUs, maxBatchReportLatencyUs, result});
    return result;
}

int ASensorEventQueue_enableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    return ASensorEventQueue_registerSensor(queue, sensor, ASensor_getMinDelay(sensor), 0);
}

int ASensorEventQueue_disableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    int result = android::fp_utils::host::kBadValue;
    if (queue->state != ASensorEventQueue::kLive) {
        result = android::fp_utils::host::kDeadObject;
    } else if (sensor != nullptr && queue->registered.erase(sensor->handle) == 1) {
        result = 0;
    }
    s.calls.push_back(
        {SensorCall::kDisable, queue->id, sensor != nullptr ? sensor->handle : 0, 0, 0, result});
    return result;
}

int ASensorEventQueue_setEventRate(ASensorEventQueue* queue, ASensor const* sensor,
                                   int32_t /*usec*/) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    if (queue->state != ASensorEventQueue::kLive) return android::fp_utils::host::kDeadObject;
    return queue->registered.count(sensor->handle) == 1 ? 0 : android::fp_utils::host::kBadValue;
}

int ASensorEventQueue_hasEvents(ASensorEventQueue* queue) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    return queue->pending.empty() ? 0 : 1;
}

ssize_t ASensorEventQueue_getEvents(ASensorEventQueue* queue, ASensorEvent* events, size_t count) {
    Service& s = TheService();
    std::lock_guard<std::mutex> lock(s.mutex);
    android::fp_utils::host::CheckNotDestroyed(queue);
    if (s.read_failures > 0) {
        --s.read_failures;
        return s.read_error;
    }
    if (queue->state == ASensorEventQueue::kDetached) return android::fp_utils::host::kDeadObject;
    const size_t n = std::min(count, queue->pending.size());
    std::copy_n(queue->pending.begin(), n, events);
    queue->pending.erase(queue->pending.begin(), queue->pending.begin() + n);
    if (n > 0 && queue->pending.empty()) android::fp_utils::host::SetReadable(queue, false);
    return static_cast<ssize_t>(n);
}

// Sensors. Their descriptions never change, so they are read without the service's lock.

const char* ASensor_getName(ASensor const* sensor) {
    return sensor->info.name.c_str();
}

const char* ASensor_getVendor(ASensor const* /*sensor*/) {
    return "host";
}

int ASensor_getType(ASensor const* sensor) {
    return sensor->info.type;
}

float ASensor_getResolution(ASensor const* /*sensor*/) {
    return 1.0f;
}

int ASensor_getMinDelay(ASensor const* sensor) {
    return sensor->info.min_delay_us;
}

int ASensor_getFifoMaxEventCount(ASensor const* /*sensor*/) {
    return 0;
}

int ASensor_getFifoReservedEventCount(ASensor const* /*sensor*/) {
    return 0;
}

const char* ASensor_getStringType(ASensor const* sensor) {
    return sensor->info.string_type.c_str();
}

int ASensor_getReportingMode(ASensor const* sensor) {
    return sensor->info.reporting_mode;
}

bool ASensor_isWakeUpSensor(ASensor const* /*sensor*/) {
    return false;
}

int ASensor_getHandle(ASensor const* sensor) {
    return sensor->handle;
}

// The looper: libutils' Looper, one per thread, as on a device.

ALooper* ALooper_forThread() {
    return reinterpret_cast<ALooper*>(Looper::getForThread().get());
}

ALooper* ALooper_prepare(int opts) {
    if (TheService().fail_looper_preparation) return nullptr;
    return reinterpret_cast<ALooper*>(Looper::prepare(opts).get());
}

void ALooper_acquire(ALooper* looper) {
    reinterpret_cast<Looper*>(looper)->incStrong(reinterpret_cast<void*>(ALooper_acquire));
}

void ALooper_release(ALooper* looper) {
    reinterpret_cast<Looper*>(looper)->decStrong(reinterpret_cast<void*>(ALooper_acquire));
}

namespace {

// The injected poll failures, then the thread's looper; a thread without one gets an error.
sp<Looper> LooperToPoll() {
    std::atomic<int>& failures = TheService().poll_failures;
    int left = failures.load();
    while (left > 0 && !failures.compare_exchange_weak(left, left - 1)) {
    }
    if (left > 0) return nullptr;
    sp<Looper> looper = Looper::getForThread();
    if (looper == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, "ALooper", "%s: No looper for this thread!",
                            "ALooper_pollOnce");
    }
    return looper;
}

}  // namespace

int ALooper_pollOnce(int timeoutMillis, int* outFd, int* outEvents, void** outData) {
    sp<Looper> looper = LooperToPoll();
    if (looper == nullptr) return ALOOPER_POLL_ERROR;
    return looper->pollOnce(timeoutMillis, outFd, outEvents, outData);
}

int ALooper_pollAll(int timeoutMillis, int* outFd, int* outEvents, void** outData) {
    sp<Looper> looper = LooperToPoll();
    if (looper == nullptr) return ALOOPER_POLL_ERROR;
    return looper->pollAll(timeoutMillis, outFd, outEvents, outData);
}

void ALooper_wake(ALooper* looper) {
    reinterpret_cast<Looper*>(looper)->wake();
}

int ALooper_addFd(ALooper* looper, int fd, int ident, int events, ALooper_callbackFunc callback,
                  void* data) {
    return reinterpret_cast<Looper*>(looper)->addFd(fd, ident, events, callback, data);
}

int ALooper_removeFd(ALooper* looper, int fd) {
    return reinterpret_cast<Looper*>(looper)->removeFd(fd);
}
