// Drives libfp_utils.so on the host stand-ins the way a HAL engineer's own test would: the
// touch device answers the handler's requests and delivers a touch to its callback, and a
// fake display service takes the controller's LHBM switch. Prints what went wrong and exits 1,
// or exits 0.
#include <fp_utils/display_controller.h>
#include <fp_utils/fps_touch_handler.h>
// Compiled only: these headers need the platform's headers and their definitions from the kit.
#include <fp_utils/sensor_listener.h>
#include <fp_utils/thermal_hidl_wrapper.h>
#include <host/display_control.h>
#include <host/touch_device.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using namespace android::fp_utils;

namespace {

int Fail(const char* what) {
    fprintf(stderr, "kit_user: %s\n", what);
    return 1;
}

}  // namespace

int main() {
    // A private device tree: the library and the stand-ins place "/dev/fth_fd" under it.
    char dir[] = "/tmp/kit_user.XXXXXX";
    if (mkdtemp(dir) == nullptr) return Fail("cannot make a device root");
    setenv("FP_UTILS_ROOT", dir, 1);
    mkdir((std::string(dir) + "/dev").c_str(), 0755);
    if (!host::CreateTouchDevice()) return Fail("cannot make the touch device");

    std::mutex mutex;
    std::condition_variable seen;
    bool touched = false;
    float x = 0;
    FpsTouchHandler handler;
    handler.SetTouchEventCallback([&](const TouchEvent& event) {
        std::lock_guard<std::mutex> lock(mutex);
        touched = true;
        x = event.point_x;
        seen.notify_all();
    });
    if (!handler.Configure({100, 200, 300, 400})) return Fail("Configure failed");
    if (host::TouchIoctls().size() != 1 ||
        host::TouchIoctls()[0].request != FpsTouchHandler::kIoctlSetArea) {
        return Fail("the area request did not reach the touch device");
    }
    if (!handler.Start()) return Fail("Start failed");

    host::RawTouchRecord record;
    record.touch_id = 0xFFFFFFFF;  // already in panel units
    record.touch_state = 1;
    record.point_x = 250;
    if (!host::WriteTouchBatch(host::EncodeTouchBatch({record}))) return Fail("write failed");
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (!seen.wait_for(lock, std::chrono::seconds(5), [&] { return touched; })) {
            return Fail("no touch reached the callback");
        }
    }
    if (!handler.Stop()) return Fail("Stop failed");
    if (x != 250) return Fail("the touch arrived with another position");

    std::shared_ptr<host::FakeDisplay> display = host::StartFakeDisplay();
    DisplayController controller;
    uint32_t elapsed_ms = 0;
    if (controller.SetLhbm(true, &elapsed_ms) != 0) return Fail("SetLhbm failed");
    std::vector<host::FakeDisplay::LhbmCall> calls = display->Calls();
    if (calls.size() != 1 || !calls[0].enabled) return Fail("the display was not switched on");
    std::error_code error;
    std::filesystem::remove_all(dir, error);
    return 0;
}
