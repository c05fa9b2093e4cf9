// The display HAL's interface on the host binder: calls go straight to the service object.
#include <aidl/com/kestro/hardware/orvex/display/BnDisplay.h>
#include <aidl/com/kestro/hardware/orvex/display/BpDisplay.h>
#include <aidl/com/kestro/hardware/orvex/display/IDisplay.h>

#include "host/binder_control.h"

namespace aidl::com::kestro::hardware::orvex::display {
namespace {

AIBinder_Class* DisplayClass() {
    static AIBinder_Class* clazz = ndk::ICInterface::defineClass(IDisplay::descriptor, nullptr);
    return clazz;
}

}  // namespace

const char* IDisplay::descriptor = "com.kestro.hardware.orvex.display.IDisplay";

IDisplay::IDisplay() = default;
IDisplay::~IDisplay() = default;

std::shared_ptr<IDisplay> IDisplay::fromBinder(const ndk::SpAIBinder& binder) {
    if (binder.get() == nullptr) return nullptr;
    if (!AIBinder_associateClass(binder.get(), DisplayClass())) return nullptr;
    return ndk::SharedRefBase::make<BpDisplay>(binder);
}

BnDisplay::BnDisplay() = default;
BnDisplay::~BnDisplay() = default;

ndk::SpAIBinder BnDisplay::createBinder() {
    return ndk::SpAIBinder(AIBinder_new(DisplayClass(), static_cast<ndk::ICInterface*>(this)));
}

ndk::ScopedAStatus BnDisplay::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = IDisplay::version;
    return ndk::ScopedAStatus::ok();
}

BpDisplay::BpDisplay(const ndk::SpAIBinder& binder) : BpCInterface(binder) {}
BpDisplay::~BpDisplay() = default;

ndk::ScopedAStatus BpDisplay::setLhbmState(bool in_enabled) {
    return android::fp_utils::host::CallService<IDisplay>(
        asBinder().get(), [&](IDisplay& service) { return service.setLhbmState(in_enabled); });
}

ndk::ScopedAStatus BpDisplay::getInterfaceVersion(int32_t* _aidl_return) {
    return android::fp_utils::host::CallService<IDisplay>(asBinder().get(), [&](IDisplay& service) {
        return service.getInterfaceVersion(_aidl_return);
    });
}

}  // namespace aidl::com::kestro::hardware::orvex::display
