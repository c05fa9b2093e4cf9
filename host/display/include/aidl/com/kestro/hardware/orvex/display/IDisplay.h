// Client side of the display HAL's interface (version 4), at the generated code's path.
//
// fromBinder gives a client stub that calls the service behind the binder; each call returns
// the binder status of the call: STATUS_DEAD_OBJECT once the service died.
#pragma once

#include <android/binder_interface_utils.h>

#include <cstdint>
#include <memory>

namespace aidl::com::kestro::hardware::orvex::display {

class IDisplay : public ndk::ICInterface {
  public:
    static const char* descriptor;
    static const int32_t version = 4;

    IDisplay();
    virtual ~IDisplay();

    // A client of the service behind `binder`; null for a null binder or one of another
    // interface.
    static std::shared_ptr<IDisplay> fromBinder(const ndk::SpAIBinder& binder);

    // Switches the panel's local high-brightness mode.
    virtual ndk::ScopedAStatus setLhbmState(bool in_enabled) = 0;
    virtual ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
};

}  // namespace aidl::com::kestro::hardware::orvex::display
