// The process's `ioctl`, linked into host executables in front of the C library's. Requests
// on a touch device stand-in are answered here; everything else goes to the C library.
#include <dlfcn.h>
#include <sys/ioctl.h>

#include <cstdarg>
#include <cstdlib>

#include "host/touch_device_internal.h"

namespace {

using IoctlFunction = int (*)(int, unsigned long, ...);

IoctlFunction NextIoctl() {
    static IoctlFunction next = reinterpret_cast<IoctlFunction>(dlsym(RTLD_NEXT, "ioctl"));
    if (next == nullptr) abort();
    return next;
}

}  // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) __THROW {
    va_list args;
    va_start(args, request);
    void* argument = va_arg(args, void*);
    va_end(args);
    int result;
    if (android::fp_utils::host::internal::AnswerTouchIoctl(fd, request, argument, &result)) {
        return result;
    }
    return NextIoctl()(fd, request, argument);
}
