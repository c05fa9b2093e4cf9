// Host stand-in of the AIDL thermal cooling device.
#pragma once

#include <aidl/android/hardware/thermal/CoolingType.h>

#include <cstdint>
#include <string>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

struct CoolingDevice {
    CoolingType type = CoolingType::FAN;
    std::string name;
    int64_t value = 0;
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
