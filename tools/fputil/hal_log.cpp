#include "tools/fputil/hal_log.h"

#include <android/log.h>

#include <mutex>

namespace fputil {
namespace {

std::mutex g_mutex;
std::vector<std::string> g_lines;

void Collect(const struct __android_logger_data* data, const char* message) {
    static const char kLetters[] = "??VDIWEF";
    char letter = data->priority >= 0 && data->priority < 8 ? kLetters[data->priority] : '?';
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.push_back(std::string(1, letter) + "/" + (data->tag ? data->tag : "") + ": " +
                      (message ? message : ""));
}

}  // namespace

void CollectHalLog() {
    __android_log_set_logger(Collect);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

std::vector<std::string> TakeHalLog() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<std::string> lines;
    lines.swap(g_lines);
    return lines;
}

}  // namespace fputil
