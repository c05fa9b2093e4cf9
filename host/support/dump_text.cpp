#include "host/support/dump_text.h"

#include <android-base/file.h>

namespace android {
namespace fp_utils {
namespace host {

std::string CaptureDump(const std::function<void(int fd)>& dump) {
    TemporaryFile file;
    if (file.fd < 0) return "";
    dump(file.fd);
    std::string text;
    if (!android::base::ReadFileToString(file.path, &text)) return "";
    return text;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
