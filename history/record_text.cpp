#include "history/record_text.h"

#include <cstdarg>

#include "text/text.h"

namespace android {
namespace fp_utils {

std::string FormatDebugLine(const std::string& local_time, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = VFormatFixed(kShortText, format, args);
    va_end(args);
    return FormatFixed(kShortText, "%s %s", local_time.c_str(), text.c_str());
}

std::string StitchFiguresText(const int32_t (&num)[5], const int32_t (&area)[5]) {
    return FormatFixed(kShortText, ", stitch_img_num_:%d_%d_%d_%d_%d", num[0], num[1], num[2],
                       num[3], num[4]) +
           FormatFixed(kShortText, ", stitch_img_area_:%d_%d_%d_%d_%d", area[0], area[1], area[2],
                       area[3], area[4]);
}

}  // namespace fp_utils
}  // namespace android
