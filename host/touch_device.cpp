#include "host/touch_device.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include "host/touch_device_internal.h"
#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {
namespace host {
namespace {

constexpr unsigned long kLptwEnable = 102;
constexpr unsigned long kLptwDisable = 103;
constexpr unsigned long kSetArea = 115;

struct Device {
    dev_t dev;
    ino_t ino;
    android::base::unique_fd write_fd;  // kept open, so the node always has a reader and a writer
};

struct State {
    std::mutex mutex;
    std::map<std::string, Device> devices;  // by device path
    std::vector<TouchIoctl> calls;
    std::map<unsigned long, int> failures;  // request -> errno
};

State& GetState() {
    static State* state = new State();  // used by ioctl until the very end of the process
    return *state;
}

template <typename T>
void Store(std::string& out, size_t offset, T value) {
    memcpy(&out[offset], &value, sizeof(value));
}

// FIONREAD on the FIFO itself, straight to the kernel: this process's ioctl is ours.
int BytesWaiting(int fd) {
    int n = 0;
    if (syscall(SYS_ioctl, fd, FIONREAD, &n) != 0) return -1;
    return n;
}

bool FindWriteFd(const std::string& device_path, int* fd) {
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.devices.find(device_path);
    if (it == s.devices.end()) return false;
    *fd = it->second.write_fd.get();
    return true;
}

bool WaitDrained(int fd, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int waiting = BytesWaiting(fd);
        if (waiting == 0) return true;
        if (waiting < 0 || std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

}  // namespace

std::string EncodeTouchSlot(const RawTouchRecord& r) {
    std::string out(kTouchSlotSize, '\0');
    Store(out, 0, r.timestamp);
    for (size_t group = 0; group < 5; ++group) {
        for (size_t k = 0; k < 4; ++k) Store(out, 8 + group * 8 + k * 2, r.coords[group][k]);
    }
    Store(out, 48, r.point_x);
    Store(out, 52, r.point_y);
    Store(out, 56, r.orientation);
    Store(out, 60, r.touch_id);
    Store(out, 64, r.touch_state);
    Store(out, 68, r.touch_value);
    Store(out, 72, r.valid);
    memcpy(&out[73], r.extra, sizeof(r.extra));
    Store(out, 81, r.flag_a);
    Store(out, 82, r.flag_b);
    memcpy(&out[83], r.padding, sizeof(r.padding));
    return out;
}

std::string EncodeTouchBatch(uint32_t count, const std::vector<RawTouchRecord>& slots,
                             uint32_t header_tail) {
    std::string out(kTouchBatchHeaderSize, '\0');
    Store(out, 0, count);
    Store(out, 4, header_tail);
    for (const RawTouchRecord& r : slots) out += EncodeTouchSlot(r);
    return out;
}

std::string EncodeTouchBatch(const std::vector<RawTouchRecord>& slots) {
    return EncodeTouchBatch(static_cast<uint32_t>(slots.size()), slots);
}

bool CreateTouchDevice(const std::string& device_path) {
    const std::string path = DevicePath(device_path);
    if (mkfifo(path.c_str(), 0660) != 0 && errno != EEXIST) return false;
    android::base::unique_fd fd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (fd.get() < 0) return false;
    struct stat st;
    if (fstat(fd.get(), &st) != 0 || !S_ISFIFO(st.st_mode)) return false;
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.devices[device_path] = Device{st.st_dev, st.st_ino, std::move(fd)};
    return true;
}

bool WriteTouchBatch(const std::string& batch, std::chrono::milliseconds timeout,
                     const std::string& device_path) {
    int fd;
    if (batch.size() > kTouchMaxBatchSize || !FindWriteFd(device_path, &fd)) return false;
    if (!WaitDrained(fd, timeout)) return false;
    // The FIFO is empty and much larger than one batch: the write goes in whole, at once.
    return write(fd, batch.data(), batch.size()) == static_cast<ssize_t>(batch.size());
}

bool WaitTouchBatchRead(std::chrono::milliseconds timeout, const std::string& device_path) {
    int fd;
    return FindWriteFd(device_path, &fd) && WaitDrained(fd, timeout);
}

std::vector<TouchIoctl> TouchIoctls() {
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.calls;
}

void ClearTouchIoctls() {
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.calls.clear();
}

void FailTouchIoctl(unsigned long request, int error) {
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures[request] = error;
}

void ClearTouchIoctlFailures() {
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.failures.clear();
}

namespace internal {

bool AnswerTouchIoctl(int fd, unsigned long request, void* argument, int* result) {
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISFIFO(st.st_mode)) return false;
    State& s = GetState();
    std::lock_guard<std::mutex> lock(s.mutex);
    bool known = false;
    for (const auto& entry : s.devices) {
        if (entry.second.dev == st.st_dev && entry.second.ino == st.st_ino) known = true;
    }
    if (!known) return false;

    TouchIoctl call{fd, request, argument == nullptr, {}, 0, 0};
    auto failure = s.failures.find(request);
    if (failure != s.failures.end()) {
        call.error = failure->second;
    } else if (request == kSetArea) {
        if (argument == nullptr) {
            call.error = EFAULT;
        } else {
            memcpy(call.argument.data(), argument, call.argument.size());
        }
    } else if (request != kLptwEnable && request != kLptwDisable) {
        call.error = ENOTTY;
    }
    call.result = call.error == 0 ? 0 : -1;
    s.calls.push_back(call);
    *result = call.result;
    if (call.error != 0) errno = call.error;
    return true;
}

}  // namespace internal
}  // namespace host
}  // namespace fp_utils
}  // namespace android
