// Host stand-in of the AIDL thermal temperature reading.
#pragma once

#include <aidl/android/hardware/thermal/TemperatureType.h>
#include <aidl/android/hardware/thermal/ThrottlingSeverity.h>

#include <string>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

struct Temperature {
    TemperatureType type = TemperatureType::CPU;
    std::string name;
    float value = 0;
    ThrottlingSeverity throttlingStatus = ThrottlingSeverity::NONE;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
