// libhidlbase on a host: call status, data types, the root interface and the service registry.
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/ServiceManagement.h>
#include <hidl/Status.h>
#include <log/log.h>

#include <cstring>
#include <map>
#include <utility>

#include "host/hidl_control.h"

namespace android {
namespace hardware {

Status Status::fromExceptionCode(int32_t exception_code, const char* message) {
    Status status;
    status.exception_ = exception_code;
    status.message_ = message == nullptr ? "" : message;
    return status;
}

Status Status::fromStatusT(status_t error) {
    Status status;
    if (error != android::OK) {
        status.exception_ = EX_TRANSACTION_FAILED;
        status.error_ = error;
    }
    return status;
}

std::string Status::description() const {
    if (exception_ == EX_NONE) return "No error";
    if (exception_ == EX_TRANSACTION_FAILED) {
        // DEAD_OBJECT and most other transport errors are negative errno values.
        const std::string error = error_ < 0 ? strerror(-error_) : std::to_string(error_);
        return "Status(EX_TRANSACTION_FAILED): '" + error + "'";
    }
    return "Status(" + std::to_string(exception_) + "): '" + message_ + "'";
}

std::ostream& operator<<(std::ostream& stream, const Status& status) {
    return stream << status.description();
}

namespace details {

return_status& return_status::operator=(return_status&& other) noexcept {
    status_ = other.status_;
    checked_ = other.checked_;
    // The moved-from object no longer speaks for the call.
    other.checked_ = true;
    return *this;
}

return_status::~return_status() {
    if (!checked_ && !status_.isOk()) {
        LOG_ALWAYS_FATAL("Failed HIDL return status not checked: %s", description().c_str());
    }
}

void return_status::assertOk() const {
    checked_ = true;
    if (!status_.isOk()) {
        LOG_ALWAYS_FATAL("Attempted to retrieve value from failed HIDL call: %s",
                         description().c_str());
    }
}

sp<::android::hidl::base::V1_0::IBase> HwRemote::service() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return service_;
}

void HwRemote::kill() {
    sp<::android::hidl::base::V1_0::IBase> dying;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dying = std::move(service_);
    }
    // The object goes (if this was its last reference) outside the lock.
}

namespace {

using Key = std::pair<std::string, std::string>;

std::mutex& RegistryMutex() {
    static std::mutex mutex;
    return mutex;
}

std::map<Key, sp<HwRemote>>& Registry() {
    static auto* registry = new std::map<Key, sp<HwRemote>>;
    return *registry;
}

std::map<Key, size_t>& Lookups() {
    static auto* lookups = new std::map<Key, size_t>;
    return *lookups;
}

}  // namespace

status_t registerAsServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                   const std::string& instance) {
    if (service == nullptr) return BAD_VALUE;
    std::string descriptor;
    (void)service->interfaceDescriptor([&](const hidl_string& d) { descriptor = d; }).isOk();
    sp<HwRemote> previous;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        sp<HwRemote>& slot = Registry()[{descriptor, instance}];
        previous = std::move(slot);
        slot = new HwRemote(service);
    }
    return OK;
}

sp<HwRemote> getRemoteServiceInternal(const std::string& descriptor, const std::string& instance) {
    std::lock_guard<std::mutex> lock(RegistryMutex());
    ++Lookups()[{descriptor, instance}];
    auto it = Registry().find({descriptor, instance});
    return it == Registry().end() ? nullptr : it->second;
}

}  // namespace details

hidl_handle& hidl_handle::operator=(const hidl_handle& other) {
    if (this == &other) return *this;
    reset();
    if (other.handle_ != nullptr) {
        handle_ = native_handle_clone(other.handle_);
        owns_ = true;
    }
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept {
    if (this == &other) return *this;
    reset();
    handle_ = std::exchange(other.handle_, nullptr);
    owns_ = std::exchange(other.owns_, false);
    return *this;
}

void hidl_handle::setTo(native_handle_t* handle, bool should_own) {
    reset();
    handle_ = handle;
    owns_ = should_own;
}

void hidl_handle::reset() {
    if (owns_ && handle_ != nullptr) {
        native_handle_t* owned = const_cast<native_handle_t*>(handle_);
        native_handle_close(owned);
        native_handle_delete(owned);
    }
    handle_ = nullptr;
    owns_ = false;
}

bool interfacesEqual(const sp<::android::hidl::base::V1_0::IBase>& left,
                     const sp<::android::hidl::base::V1_0::IBase>& right) {
    if (left == nullptr || right == nullptr) return left == right;
    return left->hostIdentity() == right->hostIdentity();
}

}  // namespace hardware

namespace hidl {
namespace base {
namespace V1_0 {

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

::android::hardware::Return<void> IBase::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IBase::debug(
    const ::android::hardware::hidl_handle& /*fd*/,
    const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& /*options*/) {
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IBase::ping() {
    return ::android::hardware::Void();
}

}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace fp_utils {
namespace host {

bool KillHidlService(const std::string& descriptor, const std::string& instance) {
    sp<hardware::details::HwRemote> remote;
    {
        std::lock_guard<std::mutex> lock(hardware::details::RegistryMutex());
        auto it = hardware::details::Registry().find({descriptor, instance});
        if (it == hardware::details::Registry().end()) return false;
        remote = std::move(it->second);
        hardware::details::Registry().erase(it);
    }
    remote->kill();
    return true;
}

size_t HidlServiceLookups(const std::string& descriptor, const std::string& instance) {
    std::lock_guard<std::mutex> lock(hardware::details::RegistryMutex());
    auto it = hardware::details::Lookups().find({descriptor, instance});
    return it == hardware::details::Lookups().end() ? 0 : it->second;
}

void ResetHidlServices() {
    std::map<hardware::details::Key, sp<hardware::details::HwRemote>> all;
    {
        std::lock_guard<std::mutex> lock(hardware::details::RegistryMutex());
        all.swap(hardware::details::Registry());
        hardware::details::Lookups().clear();
    }
    for (auto& [key, remote] : all) remote->kill();
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
