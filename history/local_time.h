// The start of every record's dump line: its time stamp in local time.
#pragma once

#include <ctime>
#include <string>

namespace android {
namespace fp_utils {

// `t` in the device's time zone as "%Y-%m-%d %H:%M:%S". Uses the shared result of
// localtime(), like the rest of the HAL's dump code: not re-entrant.
std::string FormatLocalTime(time_t t);

// A record's dump line: `local_time`, one blank, then `format` with its arguments, cut at the
// 128-byte buffer dump lines are formatted in (at most 127 characters).
std::string FormatDebugLine(const std::string& local_time, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace fp_utils
}  // namespace android
