#include "text/text.h"

#include <cstdio>

namespace android {
namespace fp_utils {

std::string VFormatFixed(size_t size, const char* format, va_list args) {
    char buf[kLongText] = {};
    vsnprintf(buf, size < sizeof(buf) ? size : sizeof(buf), format, args);
    return buf;
}

std::string FormatFixed(size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = VFormatFixed(size, format, args);
    va_end(args);
    return text;
}

std::string FormatLocalTime(time_t t) {
    const struct tm* local = localtime(&t);
    char buf[kShortText] = {};
    if (local == nullptr || strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M:%S", local) == 0) {
        return kUnconvertibleTime;
    }
    return buf;
}

}  // namespace fp_utils
}  // namespace android
