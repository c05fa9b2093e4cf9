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
constexpr uint32_t kUnscaledTouchId = 0xFFFFFFFF;
constexpr uint32_t kInvalidTouchState = 0xFFFFFFFF;
constexpr uint32_t kTouchStateCount = 3;
constexpr double kPi = 3.14159265358979323846;

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

// Offsets inside one raw record slot.
constexpr size_t kRawTimestamp = 0;
constexpr size_t kRawCoords = 8;  // five groups of four u16
constexpr size_t kRawPointX = 48;
constexpr size_t kRawPointY = 52;
constexpr size_t kRawOrientation = 56;
constexpr size_t kRawTouchId = 60;
constexpr size_t kRawTouchState = 64;
constexpr size_t kRawTouchValue = 68;
constexpr size_t kRawValid = 72;
constexpr size_t kRawExtra = 73;
constexpr size_t kRawFlagA = 81;
constexpr size_t kRawFlagB = 82;

template <typename T>
T Load(const uint8_t* p) {
    T v;
    memcpy(&v, p, sizeof(v));
    return v;
}

// Wraps like the driver's own 32-bit arithmetic.
int32_t Scale(int32_t value, uint32_t factor) {
    return static_cast<int32_t>(static_cast<uint32_t>(value) * factor);
}

TouchEvent InitialTouchEvent() {
    TouchEvent e;
    memset(&e, 0, sizeof(e));
    e.touch_state = kInvalidTouchState;
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

    const uint32_t count = std::min<uint32_t>(Load<uint32_t>(buf), kMaxEventsPerRead);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* raw = buf + kReadHeaderSize + i * kRawEventSize;
        if ((raw[kRawValid] & 1) == 0) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: invalid event", "ReadTouchEvent");
            continue;
        }
        ConvertRawEvent(raw);
        if (!touch_event_callback_) {
            __android_log_print(ANDROID_LOG_FATAL, kTag, "%s: no touch event callback",
                                "ReadTouchEvent");
            abort();
        }
        touch_event_callback_(last_event_);
    }
}

void FpsTouchHandler::ConvertRawEvent(const uint8_t* raw) {
    TouchEvent& e = last_event_;
    memset(&e, 0, sizeof(e));
    e.timestamp = Load<uint64_t>(raw + kRawTimestamp);
    e.touch_id = Load<uint32_t>(raw + kRawTouchId);
    const float divisor = e.touch_id == kUnscaledTouchId
                              ? 1.0f
                              : static_cast<float>(touch_resolution_scaling_factor_);
    float* const coords[5] = {e.coords_0, e.coords_1, e.coords_2, e.coords_3, e.coords_4};
    for (size_t group = 0; group < 5; ++group) {
        for (size_t k = 0; k < 4; ++k) {
            uint16_t v = Load<uint16_t>(raw + kRawCoords + (group * 4 + k) * sizeof(uint16_t));
            coords[group][k] = static_cast<float>(v) / divisor;
        }
    }
    e.point_x = static_cast<float>(Load<int32_t>(raw + kRawPointX)) / divisor;
    e.point_y = static_cast<float>(Load<int32_t>(raw + kRawPointY)) / divisor;
    // The driver reports the angle in units of 1/4096 of a quarter turn.
    const float quarter_turns =
        static_cast<float>(Load<int32_t>(raw + kRawOrientation)) * 0.000244140625f;
    e.orientation = static_cast<float>(static_cast<double>(quarter_turns) * kPi * 0.5);
    const uint32_t state = Load<uint32_t>(raw + kRawTouchState);
    e.touch_state = state < kTouchStateCount ? state : kInvalidTouchState;
    e.touch_value = Load<uint32_t>(raw + kRawTouchValue);
    memcpy(e.extra, raw + kRawExtra, sizeof(e.extra));
    e.flag_a = raw[kRawFlagA];
    e.flag_b = raw[kRawFlagB];
}

}  // namespace fp_utils
}  // namespace android
