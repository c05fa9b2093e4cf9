#include "host/support/log_capture.h"

#include <mutex>
#include <ostream>

namespace android {
namespace fp_utils {
namespace host {
namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;

void CaptureLogger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.push_back(LogLine{data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

std::string LogLine::ToString() const {
    static const char kLetters[] = "??VDIWEF";
    char letter = priority >= 0 && priority < 8 ? kLetters[priority] : '?';
    return std::string(1, letter) + "/" + tag + ": " + text;
}

std::ostream& operator<<(std::ostream& os, const LogLine& line) {
    return os << line.ToString();
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

std::vector<std::string> LogCapture::TakeText() {
    std::vector<LogLine> taken;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        taken.swap(g_lines);
    }
    std::vector<std::string> out;
    for (const LogLine& line : taken) out.push_back(line.ToString());
    return out;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
