#include "history/local_time.h"

#include <cstdarg>
#include <cstdio>

namespace android {
namespace fp_utils {

std::string FormatLocalTime(time_t t) {
    char buf[128] = {};
    strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M:%S", localtime(&t));
    return buf;
}

std::string FormatDebugLine(const std::string& local_time, const char* format, ...) {
    char buf[128] = {};
    int n = snprintf(buf, sizeof(buf), "%s ", local_time.c_str());
    if (n >= 0 && static_cast<size_t>(n) < sizeof(buf)) {
        va_list args;
        va_start(args, format);
        vsnprintf(buf + n, sizeof(buf) - n, format, args);
        va_end(args);
    }
    return buf;
}

}  // namespace fp_utils
}  // namespace android
