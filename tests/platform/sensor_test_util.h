// Helpers for tests that run the sensor clients on the sensor service stand-in.
#pragma once

#include <android/sensor.h>
#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "host/sensor_control.h"
#include "tests/support/fixture.h"
#include "tests/support/wait.h"

namespace android {
namespace fp_utils {
namespace testing {

constexpr char kLightType[] = "android.sensor.light";
constexpr char kLongPressType[] = "com.kestro.sensor.long_press";
constexpr int kLongPressSensorType = 65600;

inline host::SensorInfo LightSensor(const std::string& name = "light") {
    return {name, kLightType, ASENSOR_TYPE_LIGHT, 200000, AREPORTING_MODE_ON_CHANGE};
}

inline host::SensorInfo LongPressSensor() {
    return {"long press", kLongPressType, kLongPressSensorType, 0, AREPORTING_MODE_SPECIAL_TRIGGER};
}

// Events with the light values `first`, `first + 1`, ... (`count` of them), stamped alike.
inline std::vector<ASensorEvent> LightEvents(int first, int count) {
    std::vector<ASensorEvent> events(count);
    for (int i = 0; i < count; ++i) {
        events[i] = {};
        events[i].light = static_cast<float>(first + i);
        events[i].timestamp = first + i;
    }
    return events;
}

// The timestamps of events handed to one callback, in the order they came, from any thread,
// and the thread that handed over the last one.
class EventRecord {
  public:
    void Add(const ASensorEvent& event) {
        std::lock_guard<std::mutex> lock(mutex_);
        stamps_.push_back(event.timestamp);
        thread_ = static_cast<pid_t>(syscall(SYS_gettid));
        changed_.notify_all();
    }
    // Waits until `count` events came; false after kWait.
    bool WaitFor(size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kWait, [&] { return stamps_.size() >= count; });
    }
    std::vector<int64_t> Stamps() {
        std::lock_guard<std::mutex> lock(mutex_);
        return stamps_;
    }
    pid_t Thread() {
        std::lock_guard<std::mutex> lock(mutex_);
        return thread_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<int64_t> stamps_;
    pid_t thread_ = 0;
};

inline std::vector<int64_t> StampRange(int64_t first, int64_t count) {
    std::vector<int64_t> stamps;
    for (int64_t i = 0; i < count; ++i) stamps.push_back(first + i);
    return stamps;
}

// How many entries a directory holds, "." and ".." aside.
inline int CountEntries(const char* dir_path) {
    DIR* dir = opendir(dir_path);
    int count = 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') ++count;
    }
    closedir(dir);
    return count;
}

inline int ThreadCount() {
    return CountEntries("/proc/self/task");
}

// Whether a thread of this process with this id still exists.
inline bool ThreadExists(pid_t tid) {
    return access(("/proc/self/task/" + std::to_string(tid)).c_str(), F_OK) == 0;
}

inline int OpenDescriptorCount() {
    return CountEntries("/proc/self/fd") - 1;  // the directory's own, while it is read
}

// A fresh sensor service for every case.
class SensorTest : public FpUtilsTest {
  protected:
    void SetUp() override { host::ResetSensors(); }
    void TearDown() override { host::ResetSensors(); }
};

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
