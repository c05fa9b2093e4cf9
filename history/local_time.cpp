#include "history/local_time.h"

namespace android {
namespace fp_utils {

std::string FormatLocalTime(time_t t) {
    char buf[128] = {};
    strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M:%S", localtime(&t));
    return buf;
}

}  // namespace fp_utils
}  // namespace android
