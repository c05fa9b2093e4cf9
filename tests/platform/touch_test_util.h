// Helpers for tests that drive FpsTouchHandler through the touch device stand-in.
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fp_utils/fps_touch_handler.h"
#include "tests/support/log_capture.h"

namespace android {
namespace fp_utils {
namespace testing {

constexpr std::chrono::seconds kWait(10);

// Collects the events the handler delivers, with the worker's thread id.
class EventSink {
  public:
    TouchEventCallback Callback() {
        return [this](const TouchEvent& e) { Add(e); };
    }
    void Add(const TouchEvent& e) {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(e);
        worker_tid_ = static_cast<pid_t>(syscall(SYS_gettid));
        cond_.notify_all();
    }
    // Waits until some event satisfies `pred`; false after kWait.
    bool WaitFor(const std::function<bool(const std::vector<TouchEvent>&)>& pred) {
        std::unique_lock<std::mutex> lock(mutex_);
        return cond_.wait_for(lock, kWait, [&] { return pred(events_); });
    }
    bool WaitForCount(size_t n) {
        return WaitFor([n](const std::vector<TouchEvent>& v) { return v.size() >= n; });
    }
    std::vector<TouchEvent> Events() {
        std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }
    pid_t worker_tid() {
        std::lock_guard<std::mutex> lock(mutex_);
        return worker_tid_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable cond_;
    std::vector<TouchEvent> events_;
    pid_t worker_tid_ = 0;
};

// A one-shot gate that one thread opens and others wait for.
class Gate {
  public:
    void Open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        cond_.notify_all();
    }
    bool Wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        return cond_.wait_for(lock, kWait, [this] { return open_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable cond_;
    bool open_ = false;
};

// Waits until exactly this line has been logged; false after kWait.
inline bool WaitForLog(const LogCapture& log, int priority, const std::string& tag,
                       const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    while (!log.Contains(priority, tag, text)) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Waits until thread `tid` of this process sleeps in poll. True at once when the kernel does
// not tell (the caller then merely may not be testing the blocked case).
inline bool WaitBlockedInPoll(pid_t tid) {
    const std::string path = "/proc/self/task/" + std::to_string(tid) + "/syscall";
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    for (;;) {
        std::ifstream in(path);
        std::string first;
        if (!(in >> first)) return true;
        if (first != "running") {
            const long nr = strtol(first.c_str(), nullptr, 10);
#if defined(SYS_poll)
            if (nr == SYS_poll) return true;
#endif
            if (nr == SYS_ppoll) return true;
        }
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
