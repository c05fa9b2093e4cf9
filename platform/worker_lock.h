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

// One try of at most two milliseconds. libstdc++ waits on the monotonic clock
// (pthread_mutex_clocklock), which ThreadSanitizer (clang 14) does not intercept: it would not
// see the lock taken and would report every access under it as a race. Built for it, the wait
// is on the wall clock (pthread_mutex_timedlock), which it does intercept; everywhere else
// the monotonic clock is kept, so that a wall clock set back cannot stall the worker.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define FP_UTILS_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define FP_UTILS_THREAD_SANITIZER 1
#endif

inline bool TryLockForAWhile(std::unique_lock<std::timed_mutex>& lock) {
#if defined(FP_UTILS_THREAD_SANITIZER)
    return lock.try_lock_until(std::chrono::system_clock::now() + std::chrono::milliseconds(2));
#else
    return lock.try_lock_for(std::chrono::milliseconds(2));
#endif
}

// Takes `lock` (deferred, on a timed mutex), or returns false as soon as `stopping` is seen set
// while the mutex is held by someone else. The flag is looked at every two milliseconds.
inline bool LockUnlessStopping(std::unique_lock<std::timed_mutex>& lock,
                               const std::atomic<bool>& stopping) {
    while (!TryLockForAWhile(lock)) {
        if (stopping) return false;
    }
    return true;
}

}  // namespace fp_utils
}  // namespace android
