// Feeds arbitrary bytes, as one read of the fingerprint touch device, to the touch handler's
// worker: the batch header, the record slots and their conversion into touch events.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fp_utils/fps_touch_handler.h"
#include "fuzz/fuzz_support.h"
#include "host/touch_device.h"

namespace {

using namespace android::fp_utils;

// The handler, configured and polling on the stand-in device of the run's tree.
bool Started() {
    static const bool started = [] {
        fuzz::Root();
        if (!host::CreateTouchDevice()) abort();
        FpsTouchHandler& handler = *FpsTouchHandler::GetInstance();
        handler.SetTouchEventCallback([](const TouchEvent& e) {
            // What a conversion may give: a known state or the invalid one, a finite angle.
            if (e.touch_state > 2 && e.touch_state != 0xFFFFFFFFu) abort();
            if (!std::isfinite(e.orientation)) abort();
        });
        return handler.Configure({0, 0, 100, 100}) && handler.Start();
    }();
    return started;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    if (!Started()) abort();
    // The driver hands over at most one full buffer per read, and an empty read wakes no one.
    if (size == 0 || size > host::kTouchMaxBatchSize) return 0;
    if (!host::WriteTouchBatch(std::string(reinterpret_cast<const char*>(data), size)) ||
        !host::WaitTouchBatchRead()) {
        abort();  // the worker stopped reading
    }
    return 0;
}
