// Link between the binder objects and the service manager of the host binder.
#pragma once

#include <android/binder_ibinder.h>

namespace android {
namespace fp_utils {
namespace host {
namespace internal {

// The binder's process dies: the binder turns dead, and its death recipients are called, each
// with its cookie, on a thread of their own; returns once all were called.
void KillBinder(AIBinder* binder);

}  // namespace internal
}  // namespace host
}  // namespace fp_utils
}  // namespace android
