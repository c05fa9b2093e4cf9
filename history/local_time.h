// Local-time text of a record's time stamp, as every record's debug line starts.
#pragma once

#include <ctime>
#include <string>

namespace android {
namespace fp_utils {

// `t` in the device's time zone as "%Y-%m-%d %H:%M:%S". Uses the shared result of
// localtime(), like the rest of the HAL's dump code: not re-entrant.
std::string FormatLocalTime(time_t t);

}  // namespace fp_utils
}  // namespace android
