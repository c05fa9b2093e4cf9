// Host stand-in of the HIDL thermal 1.0 types, with the platform's values.
#pragma once

#include <hidl/HidlSupport.h>

#include <cstdint>

namespace android {
namespace hardware {
namespace thermal {
namespace V1_0 {

enum class ThermalStatusCode : uint32_t {
    SUCCESS = 0,
    FAILURE = 1,
};

struct ThermalStatus {
    ThermalStatusCode code = ThermalStatusCode::SUCCESS;
    ::android::hardware::hidl_string debugMessage;
};

enum class TemperatureType : int32_t {
    UNKNOWN = -1,
    CPU = 0,
    GPU = 1,
    BATTERY = 2,
    SKIN = 3,
};

enum class CoolingType : uint32_t {
    FAN_RPM = 0,
};

struct Temperature {
    TemperatureType type = TemperatureType::CPU;
    ::android::hardware::hidl_string name;
    float currentValue = 0;
    float throttlingThreshold = 0;
    float shutdownThreshold = 0;
    float vrThrottlingThreshold = 0;
};

struct CoolingDevice {
    CoolingType type = CoolingType::FAN_RPM;
    ::android::hardware::hidl_string name;
    float currentValue = 0;
};

struct CpuUsage {
    ::android::hardware::hidl_string name;
    uint64_t active = 0;
    uint64_t total = 0;
    bool isOnline = false;
};

}  // namespace V1_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
