#include "fp_utils/critical_errors.h"

#include <cstdio>

#include "history/local_time.h"

namespace android {
namespace fp_utils {

std::string ErrorEvent::GetLocalTime() const {
    return FormatLocalTime(time);
}

std::string ErrorEvent::ToDebugString() const {
    char buf[128] = {};
    snprintf(buf, sizeof(buf), "%s %s", GetLocalTime().c_str(), error_msg.c_str());
    return buf;
}

CriticalErrors* CriticalErrors::GetInstance() {
    // Never destroyed: producers on other threads may still add while the process exits.
    static CriticalErrors* const instance = new CriticalErrors();
    return instance;
}

void CriticalErrors::AddErrorEvent(std::shared_ptr<ErrorEvent> event) {
    // Dump reads every stored event; an empty one has nothing to say.
    if (event == nullptr) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (events_.size() >= kMaxEvents) events_.pop_front();
    events_.push_back(std::move(event));
}

void CriticalErrors::Dump(int fd, const char** /*args*/, unsigned int /*nargs*/) {
    std::lock_guard<std::mutex> lock(mutex_);
    dprintf(fd, "Critical Errors:\n");
    int index = 0;
    for (const auto& event : events_) {
        dprintf(fd, "  #%03d %s\n", index++, event->ToDebugString().c_str());
    }
}

}  // namespace fp_utils
}  // namespace android
