// Collects what the process logs through liblog, so that a test can assert exact log lines
// and fputil can show the lines the HAL would have written to logcat.
//
// A LogCapture installs itself as liblog's logger and lowers the minimum priority to VERBOSE
// for its lifetime; on destruction the stderr logger and the default priority come back.
// Lines logged by any thread are kept in order. Only one LogCapture may live at a time.
#pragma once

#include <android/log.h>

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace host {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;

    bool operator==(const LogLine& o) const {
        return priority == o.priority && tag == o.tag && text == o.text;
    }
    // "E/Tag: text", as logcat prints it.
    std::string ToString() const;
};

std::ostream& operator<<(std::ostream& os, const LogLine& line);

class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Every line captured so far, oldest first.
    std::vector<LogLine> Lines() const;
    // Lines of one tag only.
    std::vector<LogLine> Lines(const std::string& tag) const;
    // Whether exactly this line (priority, tag and whole text) was logged.
    bool Contains(int priority, const std::string& tag, const std::string& text) const;
    // How many captured lines have this tag and contain `fragment` in their text.
    size_t Count(const std::string& tag, const std::string& fragment) const;
    void Clear();
    // The lines captured since the last Take or Clear, as logcat prints them, and forgets them.
    std::vector<std::string> TakeText();
};

}  // namespace host
}  // namespace fp_utils
}  // namespace android
