#include "fp_utils/fps_touch_handler.h"

#include <android-base/properties.h>
#include <android/log.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/touch_polling_worker_thread.h"
#include "platform/touch_record.h"
#include "platform/worker_lock.h"
#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpsTouchHandler";

constexpr char kSupportedProperty[] = "persist.vendor.udfps.fps_touch_handler_supported";
constexpr char kDevicePathProperty[] = "persist.vendor.udfps.fth.touch_dev_path";
constexpr char kScalingFactorProperty[] =
    "persist.vendor.udfps.fth.touch_resolution_scaling_factor";
constexpr char kDefaultDevicePath[] = "/dev/fth_fd";

constexpr uint32_t kAreaCommandCode = 6;

// Argument of the area request, as the driver reads it.
struct FthAreaCommand {
    uint32_t command;
    uint8_t enable;
    uint8_t reserved0[3];
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
    uint8_t reserved1[8];
};
static_assert(sizeof(FthAreaCommand) == 32, "the driver reads 32 bytes");

// Wraps like the driver's own 32-bit arithmetic.
int32_t Scale(int32_t value, uint32_t factor) {
    return static_cast<int32_t>(static_cast<uint32_t>(value) * factor);
}

TouchEvent InitialTouchEvent() {
    TouchEvent e;
    memset(&e, 0, sizeof(e));
    e.touch_state = 0xFFFFFFFF;  // no state yet
    return e;
}

}  // namespace

FpsTouchHandler* FpsTouchHandler::GetInstance() {
    static FpsTouchHandler* s = new FpsTouchHandler();
    return s;
}

bool FpsTouchHandler::IsFpsTouchHandlerSupported() {
    static bool supported = android::base::GetBoolProperty(kSupportedProperty, true);
    return supported;
}

FpsTouchHandler::FpsTouchHandler() : last_event_(InitialTouchEvent()) {
    touch_resolution_scaling_factor_ = static_cast<uint32_t>(
        android::base::GetUintProperty<uint64_t>(kScalingFactorProperty, 1, 4294967295u));
}

FpsTouchHandler::~FpsTouchHandler() = default;

void FpsTouchHandler::SetTouchEventCallback(TouchEventCallback callback) {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    touch_event_callback_ = std::move(callback);
}

bool FpsTouchHandler::Configure(const TouchConfig& config) {
    if (!IsFpsTouchHandlerSupported()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "%s: FpsTouchHandler is not supported on this device", "Configure");
        return false;
    }
    std::lock_guard<std::timed_mutex> lock(mutex_);
    if (fd_ < 0 && !OpenTouchDevice()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: failed to open touch device", "Configure");
        return false;
    }
    if (touch_polling_worker_thread_ == nullptr) {
        touch_polling_worker_thread_ = new TouchPollingWorkerThread(this);
        if (!touch_polling_worker_thread_->Init()) {
            __android_log_print(ANDROID_LOG_ERROR, kTag,
                                "%s: failed to init touch_polling_worker_thread_", "Configure");
            touch_polling_worker_thread_.clear();
            return false;
        }
    }

    const uint32_t factor = touch_resolution_scaling_factor_;
    FthAreaCommand command;
    memset(&command, 0, sizeof(command));
    command.command = kAreaCommandCode;
    command.enable = 1;
    command.left = Scale(config.left, factor);
    command.top = Scale(config.top, factor);
    command.right = Scale(config.right, factor);
    command.bottom = Scale(config.bottom, factor);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: left:%d, right:%d, top:%d, bottom:%d",
                        "Configure", command.left, command.right, command.top, command.bottom);

    // The touch driver answers this request; on a host, the touch device stand-in's ioctl
    // interposer (host/touch_device.h) answers it for descriptors open on its device node
    // and hands every other descriptor to the C library.
    int ret = ioctl(fd_, kIoctlSetArea, &command);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: fth ioctl %d error %d", "Configure",
                            static_cast<int>(kIoctlSetArea), ret);
        return false;
    }
    configured_ = true;
    return true;
}

bool FpsTouchHandler::OpenTouchDevice() {
    std::string path = android::base::GetProperty(kDevicePathProperty, kDefaultDevicePath);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: opening device: %s", "OpenTouchDevice",
                        path.c_str());
    fd_ = open(DevicePath(path).c_str(), O_RDWR);
    if (fd_ < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: could not open %s, %s\n",
                            "OpenTouchDevice", path.c_str(), strerror(errno));
        return false;
    }
    return true;
}

bool FpsTouchHandler::Start() {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s", "Start");
    if (!configured_) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: configuration has not been completed",
                            "Start");
        return false;
    }
    if (!started_) {
        touch_polling_worker_thread_->Start();
        started_ = true;
    }
    return true;
}

bool FpsTouchHandler::Stop() {
    std::lock_guard<std::timed_mutex> lock(mutex_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s", "Stop");
    if (started_) {
        // The lock stays held while the worker ends; the worker gives up any wait for it.
        stopping_ = true;
        touch_polling_worker_thread_->Stop();
        stopping_ = false;
        started_ = false;
    }
    return true;
}

bool FpsTouchHandler::EnableLptwEventReport(bool enable) {
    std::unique_lock<std::timed_mutex> lock(mutex_, std::defer_lock);
    if (TouchPollingWorkerThread::IsCurrentThread()) {
        // Called from the touch callback: a Stop that waits for this very thread holds the lock.
        if (!LockUnlessStopping(lock, stopping_)) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: touch handler is stopping",
                                "EnableLptwEventReport");
            return false;
        }
    } else {
        lock.lock();
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s:%d", "EnableLptwEventReport", enable ? 1 : 0);
    if (!configured_) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: configuration has not been completed",
                            "EnableLptwEventReport");
        return false;
    }
    const unsigned long request = enable ? kIoctlLptwEnable : kIoctlLptwDisable;
    // Answered by the touch driver; on a host by the touch device stand-in's interposer.
    int ret = ioctl(fd_, request, nullptr);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: fth ioctl %d error %d",
                            "EnableLptwEventReport", static_cast<int>(request), ret);
        return false;
    }
    return true;
}

void FpsTouchHandler::ResetLastTouchEvent() {
    last_event_ = InitialTouchEvent();
}

void FpsTouchHandler::ReadTouchEvent() {
    // Tested before locking: a Stop may hold the lock while it waits for this thread.
    if (!configured_) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: configuration has not been completed",
                            "ReadTouchEvent");
        return;
    }
    uint8_t buf[kReadBufferSize];
    memset(buf, 0, sizeof(buf));
    {
        std::unique_lock<std::timed_mutex> lock(mutex_, std::defer_lock);
        if (!LockUnlessStopping(lock, stopping_)) return;
        if (fd_ < 0) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: invalid fd", "ReadTouchEvent");
            return;
        }
        // A short or failed read leaves zeros, which read as an empty batch.
        ssize_t n = read(fd_, buf, sizeof(buf));
        (void)n;
    }

    uint32_t announced;
    memcpy(&announced, buf, sizeof(announced));
    const uint32_t count = std::min<uint32_t>(announced, kMaxEventsPerRead);
    const TouchScaling scaling(touch_resolution_scaling_factor_);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* raw = buf + kReadHeaderSize + i * kRawEventSize;
        if ((raw[kRawTouchValidOffset] & 1) == 0) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: invalid event", "ReadTouchEvent");
            continue;
        }
        ConvertRawTouchRecord(raw, scaling, &last_event_);
        if (!touch_event_callback_) {
            __android_log_print(ANDROID_LOG_FATAL, kTag, "%s: no touch event callback",
                                "ReadTouchEvent");
            abort();
        }
        touch_event_callback_(last_event_);
    }
}

}  // namespace fp_utils
}  // namespace android
