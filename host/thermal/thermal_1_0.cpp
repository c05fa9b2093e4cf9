// android.hardware.thermal@1.0 on a host.
#include <android/hardware/thermal/1.0/IThermal.h>

namespace android {
namespace hardware {
namespace thermal {
namespace V1_0 {

const char* IThermal::descriptor = "android.hardware.thermal@1.0::IThermal";

Return<void> IThermal::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

}  // namespace V1_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
