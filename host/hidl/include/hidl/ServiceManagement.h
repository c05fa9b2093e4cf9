// Host stand-in of the HIDL service manager, as the generated getService/registerAsService
// reach it. One registry per process, keyed by interface descriptor and instance name.
//
// getService consults no declaration: an instance is there from registerAsService until its
// process is killed (KillHidlService in host/hidl_control.h) or the registry is reset.
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <mutex>
#include <string>

namespace android {
namespace hardware {
namespace details {

// The connection of a proxy to a registered service object: it reaches the object while the
// service lives and nothing after its process was killed.
class HwRemote : public ::android::RefBase {
  public:
    explicit HwRemote(sp<::android::hidl::base::V1_0::IBase> service)
        : service_(std::move(service)) {}
    // The service object, or null once it died.
    sp<::android::hidl::base::V1_0::IBase> service() const;
    void kill();

  private:
    mutable std::mutex mutex_;
    sp<::android::hidl::base::V1_0::IBase> service_;
};

// Registers `service` under its own descriptor and `instance`, replacing an earlier one.
status_t registerAsServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                   const std::string& instance);
// The connection to the registered service, or null. Every call counts as one lookup.
sp<HwRemote> getRemoteServiceInternal(const std::string& descriptor, const std::string& instance);

}  // namespace details
}  // namespace hardware
}  // namespace android
