// Host stand-in of the AIDL thermal cooling device types, with the platform's values.
#pragma once

#include <cstdint>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

enum class CoolingType : int32_t {
    FAN = 0,
    BATTERY = 1,
    CPU = 2,
    GPU = 3,
    MODEM = 4,
    NPU = 5,
    COMPONENT = 6,
    TPU = 7,
    POWER_AMPLIFIER = 8,
    DISPLAY = 9,
    SPEAKER = 10,
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
