// Where a device path lives on the machine that runs the library.
//
// On a device every path is used as it stands. A host build places every absolute path that
// the library opens, creates or hands to a command under the directory named by the
// environment variable FP_UTILS_ROOT, when that variable is set and not empty, so that a
// test, the simulator or fputil works on a tree of its own instead of the machine's /data,
// /dev and /sys. Members and log lines always keep the device path.
#pragma once

#include <string>

namespace android {
namespace fp_utils {

#if defined(__ANDROID__)
inline std::string DevicePath(const std::string& path) {
    return path;
}
#else
// Returns FP_UTILS_ROOT followed by `path` for an absolute path when the root is set,
// otherwise `path` unchanged. The variable is read on every call, so a test may change it.
std::string DevicePath(const std::string& path);
#endif

}  // namespace fp_utils
}  // namespace android
