// The wall clock of a simulated HAL session.
//
// fputil carries its own time(), gettimeofday() and clock_gettime(), exported so that the
// library (and libstdc++'s system_clock) bind to them. While a simulated time is set, every
// wall-clock reading (CLOCK_REALTIME and its coarse variant) returns it, so that record
// times, critical-error times and the start-up record come from the scenario's clock. The
// monotonic and boot clocks stay real: timed waits and measured durations keep working.
#pragma once

#include <cstdint>

namespace fputil {

// From now on the wall clock reads `ms` milliseconds since the epoch.
void SetSimulatedWallClock(int64_t ms);
// Back to the machine's wall clock.
void UseRealWallClock();

}  // namespace fputil
