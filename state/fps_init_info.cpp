#include "fp_utils/fps_init_info.h"

#include <android-base/file.h>
#include <android-base/properties.h>
#include <android/log.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "root_mapping/device_path.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpsInitInfo";
constexpr char kErrorProperty[] = "vendor.fingerprint.init.error";
constexpr char kErrorFile[] = "/data/vendor/tombstones/fingerprint/init_error.txt";
constexpr char kTrustyLog[] = "/dev/trusty-log0";
constexpr char kTrustyLogCopy[] = "/data/vendor/tombstones/fingerprint/init_trusty_log.txt";
constexpr char kCopyCommand[] = "cat %s > %s";

}  // namespace

void FpsInitInfo::SetState(State state) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = state;
    if (state == kStarting) {
        start_time_ = std::chrono::time_point_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now());
    } else if (state == kSucceeded) {
        end_time_ = std::chrono::time_point_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now());
    }
}

void FpsInitInfo::SetError(std::string error) {
    std::lock_guard<std::mutex> lock(mutex_);
    error_time_ =
        std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
    if (!error_str_.empty()) error_str_ += ",";
    error_str_ += FormatLocalTime(std::chrono::system_clock::to_time_t(error_time_));
    error_str_ += " ";
    error_str_ += error;
    __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: error_str_:%s", "SetError",
                        error_str_.c_str());

    // The property system may refuse a long text; the file below keeps all of it.
    android::base::SetProperty(kErrorProperty, error_str_);

    // A symbolic link planted at the error file's path is never followed.
    if (!android::base::WriteStringToFile(error_str_, DevicePath(kErrorFile),
                                          /*follow_symlinks=*/false)) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: failed to write '%s'", "SetError",
                            kErrorFile);
    }

    // The lock stays held while the trusted-OS log is copied, so that a second error waits
    // until the copy of the first one is complete.
    char command[1024] = {};
    snprintf(command, sizeof(command), kCopyCommand, DevicePath(kTrustyLog).c_str(),
             DevicePath(kTrustyLogCopy).c_str());
    int status = system(command);
    (void)status;
}

void FpsInitInfo::Dump(int fd) {
    if (!error_str_.empty()) {
        dprintf(fd, "Error:%s\n", error_str_.c_str());
        return;
    }
    if (state_ != kSucceeded) {
        dprintf(fd, "Unexpected state:%d\n", static_cast<int>(state_));
        return;
    }
    std::string start = FormatLocalTime(std::chrono::system_clock::to_time_t(start_time_));
    long long start_ms = start_time_.time_since_epoch().count() % 1000000 / 1000;
    int latency_ms = static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(end_time_ - start_time_).count());
    dprintf(fd, "Initialization successful, start_time:%s.%03lld, latency:%dms\n", start.c_str(),
            start_ms, latency_ms);
}

}  // namespace fp_utils
}  // namespace android
