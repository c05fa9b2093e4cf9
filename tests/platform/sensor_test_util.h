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

inline host::SensorInfo LightSensor(const std::string& name = "light") {
    return {name, kLightType, ASENSOR_TYPE_LIGHT, 200000, AREPORTING_MODE_ON_CHANGE};
}

inline host::SensorInfo LongPressSensor() {
    return {"long press", "com.kestro.sensor.long_press", 65600, 0, AREPORTING_MODE_SPECIAL_TRIGGER};
}

// `count` events stamped, and with light values, `first`, `first + 1`, ...
inline std::vector<ASensorEvent> Events(int first, int count) {
    std::vector<ASensorEvent> events(count);
    for (int i = 0; i < count; ++i) {
        events[i] = {};
        events[i].light = static_cast<float>(first + i);
        events[i].timestamp = first + i;
    }
    return events;
}

inline std::vector<int64_t> Stamps(int64_t first, int64_t last) {
    std::vector<int64_t> stamps;
    for (int64_t s = first; s <= last; ++s) stamps.push_back(s);
    return stamps;
}

// The stamps of the events one callback got, in order, and the thread that got the last one.
class EventRecord {
  public:
    void Add(const ASensorEvent& event) {
        std::lock_guard<std::mutex> lock(mutex_);
        stamps_.push_back(event.timestamp);
        thread_ = static_cast<pid_t>(syscall(SYS_gettid));
        changed_.notify_all();
    }
    // False when fewer than `count` events came within kWait.
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

// Entries of a /proc/self directory, "." and ".." aside.
inline int CountEntries(const char* dir_path) {
    DIR* dir = opendir(dir_path);
    int count = 0;
    while (dirent* entry = readdir(dir)) count += entry->d_name[0] != '.';
    closedir(dir);
    return count;
}

// Waits until the thread `tid` of this process has ended; false after kWait.
inline bool ThreadEnds(pid_t tid) {
    const std::string task = "/proc/self/task/" + std::to_string(tid);
    return WaitUntil([&] { return access(task.c_str(), F_OK) != 0; });
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
