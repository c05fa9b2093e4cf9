#include <android/binder_manager.h>

#include <thread>

#include "host/binder_control.h"
#include "host/display_control.h"

namespace android {
namespace fp_utils {
namespace host {

ndk::ScopedAStatus FakeDisplay::setLhbmState(bool in_enabled) {
    std::unique_lock<std::mutex> lock(mutex_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !holding_; });
    const std::chrono::milliseconds duration = duration_;
    if (duration.count() > 0) {
        lock.unlock();
        std::this_thread::sleep_for(duration);
        lock.lock();
    }
    const bool fail = failures_left_ > 0;
    if (fail) --failures_left_;
    calls_.push_back({in_enabled, fail});
    changed_.notify_all();
    if (fail) {
        return ndk::ScopedAStatus::fromExceptionCodeWithMessage(EX_ILLEGAL_STATE,
                                                                "FakeDisplay: told to fail");
    }
    return ndk::ScopedAStatus::ok();
}

std::vector<FakeDisplay::LhbmCall> FakeDisplay::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

void FakeDisplay::FailNextCalls(int count) {
    std::lock_guard<std::mutex> lock(mutex_);
    failures_left_ = count;
}

void FakeDisplay::SetCallDuration(std::chrono::milliseconds duration) {
    std::lock_guard<std::mutex> lock(mutex_);
    duration_ = duration;
}

void FakeDisplay::HoldCalls() {
    std::lock_guard<std::mutex> lock(mutex_);
    holding_ = true;
}

void FakeDisplay::ReleaseCalls() {
    std::lock_guard<std::mutex> lock(mutex_);
    holding_ = false;
    changed_.notify_all();
}

bool FakeDisplay::WaitForCalls(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return entered_ >= count; });
}

std::shared_ptr<FakeDisplay> StartFakeDisplay() {
    auto display = ndk::SharedRefBase::make<FakeDisplay>();
    DeclareService(kDisplayInstance);
    AServiceManager_addService(display->asBinder().get(), kDisplayInstance);
    return display;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
