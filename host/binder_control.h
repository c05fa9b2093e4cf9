// Control of the host binder: the service manager's declared set, its wait limit, and the
// death of service processes. Tests, the simulator and host tests of the HAL drive services
// with it; the binder NDK headers (android/binder_*.h) are the part that device code sees.
//
// The process has one service manager. A service is registered with
// AServiceManager_addService and declared (listed in the device manifest) with
// DeclareService; registering does not declare. A binder call is a direct call on the service
// object through the client stub, made by CallService below. All functions are safe to call
// from any thread.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace android {
namespace fp_utils {
namespace host {

constexpr std::chrono::milliseconds kDefaultServiceWaitLimit{1000};

// Adds the instance to (or removes it from) the declared set.
void DeclareService(const std::string& instance);
void UndeclareService(const std::string& instance);

// How long AServiceManager_waitForService waits for a declared service that is not registered
// before it gives up and returns null (a device would wait for ever). Default 1 s.
void SetServiceWaitLimit(std::chrono::milliseconds limit);

// The service's process dies: the instance leaves the service manager but stays declared, its
// binder is dead, and every death recipient linked to the binder is called with its cookie on
// a separate thread. Returns once all were called (a recipient that blocks holds it up); false
// when nothing is registered under the instance.
bool KillService(const std::string& instance);

// Forgets every service and declaration and restores the default wait limit, then runs every
// hook given to OnResetServices. Binders still held elsewhere stay alive; no death notices are
// sent. Between tests.
void ResetServices();

// Runs `hook` in every later ResetServices(), after the binder services are forgotten, so that
// other service registries of the host are reset with them.
void OnResetServices(std::function<void()> hook);

// A call through a client stub: `call` runs on the service object behind `binder`, as
// `Interface`. STATUS_DEAD_OBJECT when the service died before the call or while it ran (the
// reply is lost, as on a device); STATUS_UNEXPECTED_NULL for a binder without a service object.
template <typename Interface, typename Call>
ndk::ScopedAStatus CallService(AIBinder* binder, Call&& call) {
    if (binder == nullptr) return ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    if (!AIBinder_isAlive(binder)) return ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    std::shared_ptr<ndk::ICInterface> object = ndk::ICInterface::asInterface(binder);
    if (object == nullptr) return ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    ndk::ScopedAStatus status = std::forward<Call>(call)(static_cast<Interface&>(*object));
    if (!AIBinder_isAlive(binder)) return ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    return status;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
