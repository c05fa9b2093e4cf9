// Taking a client's lock on its worker thread while a stopper may hold that lock.
//
// A client stops its worker with the lock held: it asks the worker to exit, wakes it and waits
// for it to end. A worker that is about to take the same lock would then wait for ever, so it
// takes the lock only while no stop is under way and otherwise gives up, leaving its work for
// the next start.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace android {
namespace fp_utils {

// Takes `lock` (deferred), or returns false as soon as `stopping` is seen set while the mutex
// is held by someone else. The flag is looked at every 200 microseconds. The mutex is only ever
// tried, never waited for with a time limit: a timed wait goes through
// pthread_mutex_clocklock, which clang 14's ThreadSanitizer does not intercept, so it would
// not see the lock taken and would report every access under it as a race.
inline bool LockUnlessStopping(std::unique_lock<std::timed_mutex>& lock,
                               const std::atomic<bool>& stopping) {
    while (!lock.try_lock()) {
        if (stopping) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

}  // namespace fp_utils
}  // namespace android
