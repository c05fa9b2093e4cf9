// The process-wide list of the last 100 serious failures of the fingerprint stack, for the
// HAL's dump. Nothing is persisted.
//
// A producer makes an ErrorEvent with its message and the current time and hands it to
// CriticalErrors::GetInstance()->AddErrorEvent from any thread; the same message added twice
// is kept twice. The instance is made on first use and never destroyed, so producers may add
// until the process ends.
#pragma once

#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT ErrorEvent {
  public:
    ErrorEvent() = default;
    ErrorEvent(std::string msg, time_t when) : error_msg(std::move(msg)), time(when) {}
    virtual ~ErrorEvent() = default;

    // "<local time> <error_msg>", cut at 127 characters.
    virtual std::string ToDebugString() const;

    // `time` as local time, "%Y-%m-%d %H:%M:%S"; "<time out of range>" for a time whose year
    // does not fit (any value is safe to format).
    std::string GetLocalTime() const;

    std::string error_msg;
    time_t time = 0;
};

class FP_UTILS_EXPORT CriticalErrors {
  public:
    static constexpr size_t kMaxEvents = 100;

    static CriticalErrors* GetInstance();

    virtual ~CriticalErrors() = default;

    // Appends `event`, dropping the oldest one when 100 are held. An empty pointer is ignored.
    virtual void AddErrorEvent(std::shared_ptr<ErrorEvent> event);
    // "Critical Errors:" and one numbered debug line per event, oldest first.
    void Dump(int fd, const char** args, unsigned int nargs);

    std::deque<std::shared_ptr<ErrorEvent>> events_;
    std::mutex mutex_;

  protected:
    // The process has one list, reached through GetInstance().
    CriticalErrors() = default;
};

}  // namespace fp_utils
}  // namespace android
