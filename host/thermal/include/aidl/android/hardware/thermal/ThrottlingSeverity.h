// Host stand-in of the AIDL thermal throttling severities, with the platform's values.
#pragma once

#include <cstdint>

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {

enum class ThrottlingSeverity : int32_t {
    NONE = 0,
    LIGHT = 1,
    MODERATE = 2,
    SEVERE = 3,
    CRITICAL = 4,
    EMERGENCY = 5,
    SHUTDOWN = 6,
};

}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
