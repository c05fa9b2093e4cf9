#include "root_mapping/device_path.h"

#include <cstdlib>

namespace android {
namespace fp_utils {

#if !defined(__ANDROID__)
std::string DevicePath(const std::string& path) {
    const char* root = getenv("FP_UTILS_ROOT");
    if (root == nullptr || root[0] == '\0' || path.empty() || path[0] != '/') {
        return path;
    }
    std::string mapped(root);
    while (mapped.size() > 1 && mapped.back() == '/') {
        mapped.pop_back();
    }
    if (mapped == "/") {
        return path;
    }
    return mapped + path;
}
#endif

}  // namespace fp_utils
}  // namespace android
