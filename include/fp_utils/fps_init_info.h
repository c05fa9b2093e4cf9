// How the fingerprint HAL's start-up went: when it began, when it finished, and every error
// met on the way.
//
// The HAL owns one record and calls SetState as start-up moves on and SetError for each
// error. Every error is published at once, with the whole accumulated text, in the property
// "vendor.fingerprint.init.error" and in "/data/vendor/tombstones/fingerprint/init_error.txt",
// and a copy of the trusted-OS log is taken next to it. SetState and SetError may be called
// from any thread; SetError holds the record's lock until the log copy is complete. Dump
// takes no lock, so that a dump never waits behind a slow log copy; the HAL does not dump
// while start-up is still recording.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT FpsInitInfo {
  public:
    // Other values may be set; Dump reports them as unexpected.
    enum State : int32_t {
        kNotStarted = 0,
        kStarting = 1,
        kSucceeded = 2,
    };

    // Entering kStarting stamps the start time, entering kSucceeded the end time; entering a
    // state again stamps it again.
    void SetState(State state);
    // Appends "<local time> <error>" to the accumulated text (entries joined by commas) and
    // publishes the whole text. Failures to publish are logged, never returned.
    void SetError(std::string error);
    // One line: the errors if there were any, else an unexpected state, else the start time
    // and the start-up latency in milliseconds.
    void Dump(int fd);

  private:
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

    std::mutex mutex_;
    State state_ = kNotStarted;
    std::string error_str_;
    TimePoint start_time_;
    TimePoint error_time_;
    TimePoint end_time_;
};

}  // namespace fp_utils
}  // namespace android
