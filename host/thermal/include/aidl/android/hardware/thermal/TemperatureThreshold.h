// Host stand-in of the AIDL thermal thresholds of one sensor: one value per severity, NONE to
// SHUTDOWN, in each array (a service may send fewer).
#pragma once

#include <aidl/android/hardware/thermal/TemperatureType.h>

#include <string>
#include <vector>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

struct TemperatureThreshold {
    TemperatureType type = TemperatureType::CPU;
    std::string name;
    std::vector<float> hotThrottlingThresholds;
    std::vector<float> coldThrottlingThresholds;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
