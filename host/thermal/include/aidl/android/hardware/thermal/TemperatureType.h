// Host stand-in of the AIDL thermal temperature types, with the platform's values.
#pragma once

#include <cstdint>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

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
    TPU = 10,
    DISPLAY = 11,
    MODEM = 12,
    SOC = 13,
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
