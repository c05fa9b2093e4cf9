// Host stand-in of the HIDL thermal 2.0 types, with the platform's values.
#pragma once

#include <android/hardware/thermal/1.0/types.h>
#include <hidl/HidlSupport.h>

#include <cstdint>

namespace android {
namespace hardware {
namespace thermal {
namespace V2_0 {

// Extends the 1.0 types (-1 to 3).
enum class TemperatureType : int32_t {
    UNKNOWN = -1,
    CPU = 0,
    GPU = 1,
    BATTERY = 2,
    SKIN = 3,
    USB_PORT = 4,
    POWER_AMPLIFIER = 5,
    BCL_VOLTAGE = 6,
    BCL_CURRENT = 7,
    BCL_PERCENTAGE = 8,
    NPU = 9,
};

enum class CoolingType : uint32_t {
    FAN = 0,
    BATTERY = 1,
    CPU = 2,
    GPU = 3,
    MODEM = 4,
    NPU = 5,
    COMPONENT = 6,
};

enum class ThrottlingSeverity : uint32_t {
    NONE = 0,
    LIGHT = 1,
    MODERATE = 2,
    SEVERE = 3,
    CRITICAL = 4,
    EMERGENCY = 5,
    SHUTDOWN = 6,
};

// One threshold per severity, NONE to SHUTDOWN.
constexpr size_t kThrottlingSeverityCount = 7;

struct Temperature {
    TemperatureType type = TemperatureType::CPU;
    ::android::hardware::hidl_string name;
    float value = 0;
    ThrottlingSeverity throttlingStatus = ThrottlingSeverity::NONE;
};

struct TemperatureThreshold {
    TemperatureType type = TemperatureType::CPU;
    ::android::hardware::hidl_string name;
    ::android::hardware::hidl_array<float, kThrottlingSeverityCount> hotThrottlingThresholds;
    ::android::hardware::hidl_array<float, kThrottlingSeverityCount> coldThrottlingThresholds;
    float vrThrottlingThreshold = 0;
};

struct CoolingDevice {
    CoolingType type = CoolingType::FAN;
    ::android::hardware::hidl_string name;
    uint64_t value = 0;
};

}  // namespace V2_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
