#include "fp_utils/display_controller.h"

#include <aidl/com/kestro/hardware/orvex/display/IDisplay.h>
#include <android/binder_manager.h>
#include <android/log.h>
#include <cutils/trace.h>
#include <utils/Timers.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "fp_utils/critical_errors.h"

#define LOG_TAG "DisplayController"
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, LOG_TAG, __VA_ARGS__)
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, __VA_ARGS__)

extern "C" void atrace_begin_body(const char* name);
extern "C" void atrace_end_body();

namespace android {
namespace fp_utils {
namespace {

using ::aidl::com::kestro::hardware::orvex::display::IDisplay;

constexpr uint64_t kTraceTags = ATRACE_TAG_HAL | ATRACE_TAG_INPUT;
constexpr int kFailedTransaction = static_cast<int>(0x80000002u);
constexpr char kLhbmOnFailure[] = "*failed to enable lhbm";

// A trace section that ends when the scope does, if tracing was on when it began.
class TraceSection {
  public:
    explicit TraceSection(const char* name)
        : began_((atrace_get_enabled_tags() & kTraceTags) != 0) {
        if (began_) atrace_begin_body(name);
    }
    ~TraceSection() {
        if (began_) atrace_end_body();
    }

  private:
    const bool began_;
};

}  // namespace

DisplayController::DisplayController() = default;

DisplayController::~DisplayController() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (death_recipient_ != nullptr) AIBinder_DeathRecipient_delete(death_recipient_);
    death_recipient_ = nullptr;
    display_service_.reset();
}

int DisplayController::SetLhbm(bool enable, uint32_t* elapsed_ms) {
    TraceSection trace(__func__);
    std::lock_guard<std::mutex> lock(mutex_);
    if (elapsed_ms != nullptr) *elapsed_ms = 0;
    const nsecs_t start = systemTime(SYSTEM_TIME_MONOTONIC);

    const int requested = enable ? 1 : 0;
    if (requested == lhbm_state_) {
        LOGD("[%s] Lhbm is already %d", __func__, lhbm_state_);
        return 0;
    }
    // An undeclared service leaves nothing connected: no device to switch.
    if (ConnectDisplayHalLocked() != 0 || display_service_ == nullptr) {
        LOGE("[%s] Failed to connect to displayHAL", __func__);
        return -ENODEV;
    }

    const char* action = enable ? "on" : "off";
    LOGD("[%s]: Turning %s lhbm", __func__, action);
    const ndk::ScopedAStatus status = display_service_->setLhbmState(enable);
    if (status.isOk()) {
        const long long elapsed = (systemTime(SYSTEM_TIME_MONOTONIC) - start) / 1000000;
        LOGD("[%s]: Successfully turned %s lhbm, elapsed %lld ms", __func__, action, elapsed);
        if (elapsed_ms != nullptr) *elapsed_ms = static_cast<uint32_t>(elapsed);
        lhbm_state_ = requested;
        return 0;
    }
    if (enable) {
        CriticalErrors::GetInstance()->AddErrorEvent(
            std::make_shared<ErrorEvent>(kLhbmOnFailure, time(nullptr)));
    }
    LOGE("[%s] Failed to setLhbmState %d", __func__, requested);
    return kFailedTransaction;
}

int DisplayController::ConnectDisplayHal() {
    std::lock_guard<std::mutex> lock(mutex_);
    return ConnectDisplayHalLocked();
}

int DisplayController::ConnectDisplayHalLocked() {
    static constexpr char kOperation[] = "ConnectDisplayHal";
    if (display_service_ != nullptr) return 0;

    const std::string instance = std::string(IDisplay::descriptor) + "/default";
    if (!AServiceManager_isDeclared(instance.c_str())) {
        LOGE("IDisplay service %s is not declared.", instance.c_str());
        return 0;
    }
    // Adopts the reference the service manager gives; released on return, when the client
    // stub holds its own.
    ndk::SpAIBinder binder(AServiceManager_waitForService(instance.c_str()));
    if (binder.get() == nullptr) {
        LOGE("Failed to get IDisplay binder for %s!", instance.c_str());
        return -ENODEV;
    }
    display_service_ = IDisplay::fromBinder(binder);
    if (display_service_ == nullptr) {
        LOGE("Failed to get IDisplay service for %s!", instance.c_str());
        return -ENODEV;
    }

    death_recipient_ = AIBinder_DeathRecipient_new(BinderOnDeath);
    const binder_status_t linked = AIBinder_linkToDeath(binder.get(), death_recipient_, this);
    if (linked != STATUS_OK) {
        // Without a death notice a dead service would be kept for ever: give it up now.
        LOGE("[%s] Failed to link to the death of IDisplay service: %d", kOperation, linked);
        AIBinder_DeathRecipient_delete(death_recipient_);
        death_recipient_ = nullptr;
        display_service_.reset();
        return -ENODEV;
    }
    LOGD("[%s] Successfully connected to IDisplay service.", kOperation);
    return 0;
}

void DisplayController::BinderDied() {
    LOGD("[%s] Display HAL has died.", __func__);
    std::lock_guard<std::mutex> lock(mutex_);
    if (death_recipient_ != nullptr) AIBinder_DeathRecipient_delete(death_recipient_);
    death_recipient_ = nullptr;
    display_service_.reset();
}

void DisplayController::BinderOnDeath(void* cookie) {
    static_cast<DisplayController*>(cookie)->BinderDied();
}

}  // namespace fp_utils
}  // namespace android
