// Host stand-in of the fingerprint touch device ("fth") of the touch controller driver.
//
// On a device the driver makes a character device; here the device node is a FIFO at the
// device path under FP_UTILS_ROOT, and executables that link fp_utils_host carry an `ioctl`
// that answers the driver's requests (102, 103, 115) for any descriptor open on such a FIFO and
// hands every other descriptor to the C library. The library's touch code runs unchanged.
//
// A test or the simulator creates the device, writes batches of raw records into it (the same
// bytes a driver returns from one read: an 8-byte header with the record count, then 88-byte
// slots), looks at the requests the library made, and can make a request fail. Each batch is
// written only once the previous one has been read, so every read of the library gets exactly
// one batch, as from the driver. All functions are safe to call from any thread.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace host {

constexpr char kDefaultTouchDevicePath[] = "/dev/fth_fd";
constexpr size_t kTouchBatchHeaderSize = 8;
constexpr size_t kTouchSlotSize = 88;
constexpr size_t kTouchMaxSlots = 128;
constexpr size_t kTouchMaxBatchSize = kTouchBatchHeaderSize + kTouchSlotSize * kTouchMaxSlots;

// One record slot as the driver fills it, field by field.
struct RawTouchRecord {
    uint64_t timestamp = 0;
    uint16_t coords[5][4] = {};
    int32_t point_x = 0;
    int32_t point_y = 0;
    int32_t orientation = 0;  // 4096 = a quarter turn
    uint32_t touch_id = 0;    // 0xFFFFFFFF: coordinates are already in panel units
    uint32_t touch_state = 0;
    uint32_t touch_value = 0;
    uint8_t valid = 1;  // bit 0: the slot holds a record
    uint8_t extra[8] = {};
    uint8_t flag_a = 0;
    uint8_t flag_b = 0;
    uint8_t padding[5] = {};
};

// The 88 bytes of one slot, little-endian, at the driver's offsets.
std::string EncodeTouchSlot(const RawTouchRecord& record);
// A header announcing `count` records (its second word set to `header_tail`), then the slots.
// The count need not match the number of slots.
std::string EncodeTouchBatch(uint32_t count, const std::vector<RawTouchRecord>& slots,
                             uint32_t header_tail = 0);
// A header announcing exactly the given slots.
std::string EncodeTouchBatch(const std::vector<RawTouchRecord>& slots);

// Makes the device node (a FIFO) at `device_path` under the current root and starts answering
// requests on it. Parents must exist. True when the node exists afterwards. The other
// functions find the device by its device path, whatever the root is by then; making it again
// replaces it.
bool CreateTouchDevice(const std::string& device_path = kDefaultTouchDevicePath);

// Waits until everything written before has been read (at most `timeout`), then writes
// `batch` in one piece. False on a time-out, an unknown device or a batch larger than one
// read (kTouchMaxBatchSize).
bool WriteTouchBatch(const std::string& batch,
                     std::chrono::milliseconds timeout = std::chrono::seconds(5),
                     const std::string& device_path = kDefaultTouchDevicePath);
// Waits until everything written has been read; false on a time-out or an unknown device.
bool WaitTouchBatchRead(std::chrono::milliseconds timeout = std::chrono::seconds(5),
                        const std::string& device_path = kDefaultTouchDevicePath);

// One ioctl made on a touch device descriptor.
struct TouchIoctl {
    int fd;
    unsigned long request;
    bool null_argument;
    // The 32 bytes the area request (115) passes; zeros for the other requests.
    std::array<uint8_t, 32> argument;
    int result;
    int error;  // errno set with a result of -1
};

// Every request made on any touch device since the last clear, oldest first.
std::vector<TouchIoctl> TouchIoctls();
void ClearTouchIoctls();
// From now on `request` fails with -1 and errno `error` (recorded as made).
void FailTouchIoctl(unsigned long request, int error);
void ClearTouchIoctlFailures();

}  // namespace host
}  // namespace fp_utils
}  // namespace android
