#include "fp_utils/critical_errors.h"

#include "history/record_text.h"
#include "text/text.h"

namespace android {
namespace fp_utils {

std::string ErrorEvent::GetLocalTime() const {
    return FormatLocalTime(time);
}

std::string ErrorEvent::ToDebugString() const {
    return FormatDebugLine(GetLocalTime(), "%s", error_msg.c_str());
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
