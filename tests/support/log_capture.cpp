#include "tests/support/log_capture.h"

#include <android/log.h>

#include <mutex>
#include <ostream>

namespace android {
namespace fp_utils {
namespace testing {
namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;

void CaptureLogger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.push_back(LogLine{data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const LogLine& line) {
    static const char kLetters[] = "??VDIWEF";
    char letter = line.priority >= 0 && line.priority < 8 ? kLetters[line.priority] : '?';
    return os << letter << "/" << line.tag << ": " << line.text;
}

LogCapture::LogCapture() {
    Clear();
    __android_log_set_logger(CaptureLogger);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
}

std::vector<LogLine> LogCapture::Lines() const {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_lines;
}

std::vector<LogLine> LogCapture::Lines(const std::string& tag) const {
    std::vector<LogLine> out;
    for (const LogLine& line : Lines()) {
        if (line.tag == tag) out.push_back(line);
    }
    return out;
}

bool LogCapture::Contains(int priority, const std::string& tag, const std::string& text) const {
    for (const LogLine& line : Lines()) {
        if (line.priority == priority && line.tag == tag && line.text == text) return true;
    }
    return false;
}

size_t LogCapture::Count(const std::string& tag, const std::string& fragment) const {
    size_t n = 0;
    for (const LogLine& line : Lines()) {
        if (line.tag == tag && line.text.find(fragment) != std::string::npos) ++n;
    }
    return n;
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.clear();
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
