// The service manager, as the binder NDK declares it.
//
// A host process has one service manager. Registering a service does not declare it: the
// declared set stands for the device manifest and is changed only through
// host/binder_control.h, which also bounds how long AServiceManager_waitForService waits.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

// Registers `binder` under `instance`, replacing what was there. STATUS_UNEXPECTED_NULL for a
// null binder or name.
binder_status_t AServiceManager_addService(AIBinder* binder, const char* instance);
// The registered binder with a new strong reference, or null; never waits.
AIBinder* AServiceManager_checkService(const char* instance);
// The registered binder with a new strong reference. A declared service that is not
// registered yet is waited for (on a host within the wait limit, then null); an undeclared,
// unregistered one gives null at once.
AIBinder* AServiceManager_waitForService(const char* instance);
// As AServiceManager_waitForService.
AIBinder* AServiceManager_getService(const char* instance);
// Whether the instance is declared (in the device manifest).
bool AServiceManager_isDeclared(const char* instance);

__END_DECLS
