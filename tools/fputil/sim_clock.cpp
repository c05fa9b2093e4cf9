#include "tools/fputil/sim_clock.h"

#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cstdlib>

namespace fputil {
namespace {

constexpr int64_t kRealClock = INT64_MIN;
std::atomic<int64_t> g_simulated_ms{kRealClock};

using ClockGettime = int (*)(clockid_t, struct timespec*);

ClockGettime NextClockGettime() {
    static ClockGettime next = reinterpret_cast<ClockGettime>(dlsym(RTLD_NEXT, "clock_gettime"));
    if (next == nullptr) abort();
    return next;
}

bool IsWallClock(clockid_t id) {
    return id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
}

}  // namespace

void SetSimulatedWallClock(int64_t ms) {
    g_simulated_ms.store(ms);
}

void UseRealWallClock() {
    g_simulated_ms.store(kRealClock);
}

}  // namespace fputil

extern "C" int clock_gettime(clockid_t id, struct timespec* ts) __THROW {
    const int64_t ms = fputil::g_simulated_ms.load();
    if (ms == fputil::kRealClock || !fputil::IsWallClock(id)) {
        return fputil::NextClockGettime()(id, ts);
    }
    ts->tv_sec = static_cast<time_t>(ms / 1000);
    ts->tv_nsec = static_cast<long>(ms % 1000) * 1000000;
    return 0;
}

extern "C" int gettimeofday(struct timeval* tv, void* tz) __THROW {
    (void)tz;
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    tv->tv_sec = ts.tv_sec;
    tv->tv_usec = ts.tv_nsec / 1000;
    return 0;
}

extern "C" time_t time(time_t* out) __THROW {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    if (out != nullptr) *out = ts.tv_sec;
    return ts.tv_sec;
}
