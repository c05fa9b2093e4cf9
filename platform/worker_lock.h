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

namespace android {
namespace fp_utils {

// Takes `lock` (deferred, on a timed mutex), or returns false as soon as `stopping` is seen set
// while the mutex is held by someone else. The flag is looked at every two milliseconds.
inline bool LockUnlessStopping(std::unique_lock<std::timed_mutex>& lock,
                               const std::atomic<bool>& stopping) {
    while (!lock.try_lock_for(std::chrono::milliseconds(2))) {
        if (stopping) return false;
    }
    return true;
}

}  // namespace fp_utils
}  // namespace android
