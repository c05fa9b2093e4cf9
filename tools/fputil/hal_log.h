// Collects what the library logs while fputil runs a piece of it, so that a report can show
// the lines the HAL would have written to logcat.
#pragma once

#include <string>
#include <vector>

namespace fputil {

// Installs the collector as liblog's logger for the life of the process (all priorities).
void CollectHalLog();
// The lines collected since the last call, as "E/Tag: text", and forgets them.
std::vector<std::string> TakeHalLog();

}  // namespace fputil
