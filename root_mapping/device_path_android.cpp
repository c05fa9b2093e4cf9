// The device half of the root mapping: on a device every path is used as it stands.
#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {

std::string DevicePath(const std::string& path) {
    return path;
}

}  // namespace fp_utils
}  // namespace android
