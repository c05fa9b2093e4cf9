// Control of the host's HIDL service registry, for tests and the simulator.
#pragma once

#include <cstddef>
#include <string>

namespace android {
namespace fp_utils {
namespace host {

// The process of the service registered under `descriptor` and `instance` dies: it leaves the
// registry, and every call through a proxy obtained before fails with DEAD_OBJECT. False when
// no such service is registered.
bool KillHidlService(const std::string& descriptor, const std::string& instance);
// How often a client looked `instance` of `descriptor` up (getService) since the last reset,
// whether or not it was registered.
size_t HidlServiceLookups(const std::string& descriptor, const std::string& instance);
// Forgets every registered HIDL service and the lookup counts (as if each had been killed).
// ResetServices() of host/binder_control.h does this too.
void ResetHidlServices();

}  // namespace host
}  // namespace fp_utils
}  // namespace android
