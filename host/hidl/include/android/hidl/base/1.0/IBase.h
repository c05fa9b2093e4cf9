// Host stand-in of the root of every HIDL interface.
//
// A service object derives from its interface, which derives from IBase. A reference that a
// client gets from getService is a proxy: it answers isRemote() with true, and its calls fail
// at transport level (DEAD_OBJECT) once the service's process died.
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/RefBase.h>

#include <functional>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

struct IBase : virtual public ::android::RefBase {
    static const char* descriptor;

    using interfaceDescriptor_cb = std::function<void(const ::android::hardware::hidl_string&)>;

    virtual bool isRemote() const { return false; }
    virtual ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb);
    // Writes the service's state to the handle's first descriptor; nothing by default.
    virtual ::android::hardware::Return<void> debug(
        const ::android::hardware::hidl_handle& fd,
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options);
    virtual ::android::hardware::Return<void> ping();

    // Host only: the object that a proxy reaches, the object itself otherwise. interfacesEqual
    // compares these.
    virtual const IBase* hostIdentity() const { return this; }
};

}  // namespace V1_0
}  // namespace base
}  // namespace hidl
}  // namespace android
