#include "tests/history/reference_history.h"

#include <android/log.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <regex>

#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {
namespace testing {

uint32_t ReferenceCrc32(const void* data, size_t length) {
    if (length == 0) return 0;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < length; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

bool ReferenceLoadAuthEvent(AuthEvent& e, std::string& text) {
    unsigned long time = 0;
    unsigned info = 0;
    unsigned successful = 0;
    int items = sscanf(text.c_str(), "0x%lx,0x%x,0x%x,0x%x,0x%x,0x%x", &time, &info, &successful,
                       reinterpret_cast<unsigned*>(&e.fid), reinterpret_cast<unsigned*>(&e.latency),
                       reinterpret_cast<unsigned*>(&e.iq));
    if (items < 6) {
        __android_log_print(
            ANDROID_LOG_ERROR, "AuthEvent", "[%s] failed to parse str:'%s' with error %d",
            "virtual bool android::fp_utils::AuthEvent::LoadFromBackupString(std::string &)",
            text.c_str(), -errno);
        return false;
    }
    e.time = static_cast<time_t>(time);
    e.acquired_info = static_cast<int8_t>(info & 0xFF);
    e.auth_successful = successful != 0;
    const std::regex base(
        "0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,"
        "0x[0-9a-fA-F]+");
    text = std::regex_replace(text, base, "", std::regex_constants::format_first_only);
    return true;
}

bool ReferenceLoadAuthEventG7(AuthEventG7& e, std::string& text) {
    const char* signature =
        "virtual bool android::fp_utils::AuthEventG7::LoadFromBackupString(std::string &)";
    if (!ReferenceLoadAuthEvent(e, text)) {
        __android_log_print(ANDROID_LOG_ERROR, "AuthEventG7", "[%s] AuthEvent failed to load '%s'",
                            signature, text.c_str());
        return false;
    }
    auto u = [](int32_t& field) { return reinterpret_cast<unsigned*>(&field); };
    int items = sscanf(text.c_str(),
                       ",%f,%f,%u,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,"
                       "0x%x,0x%x,0x%x,0x%x,0x%x",
                       &e.t_cov, &e.t_dist, &e.lptw, &e.rc, u(e.rawmean_delta), u(e.metric_1),
                       u(e.metric_2), u(e.metric_3), u(e.metric_4), u(e.foreign_matter),
                       u(e.match_score), u(e.stitch_img_num_[0]), u(e.stitch_img_num_[1]),
                       u(e.stitch_img_num_[2]), u(e.stitch_img_num_[3]), u(e.stitch_img_num_[4]),
                       u(e.stitch_img_area_[0]), u(e.stitch_img_area_[1]), u(e.stitch_img_area_[2]),
                       u(e.stitch_img_area_[3]), u(e.stitch_img_area_[4]));
    if (items == 21) return true;
    __android_log_print(ANDROID_LOG_ERROR, "AuthEventG7",
                        "[%s] failed to parse str:'%s' with error %d", signature, text.c_str(),
                        -errno);
    return false;
}

std::string ReferenceAuthEventBackupString(const AuthEvent& e) {
    char buf[128] = {};
    snprintf(buf, sizeof(buf), "0x%lx,0x%x,0x%x,0x%x,0x%x,0x%x", static_cast<unsigned long>(e.time),
             static_cast<unsigned>(static_cast<int32_t>(e.acquired_info)),
             e.auth_successful ? 1u : 0u, static_cast<unsigned>(e.fid),
             static_cast<unsigned>(e.latency), static_cast<unsigned>(e.iq));
    return buf;
}

std::string ReferenceAuthEventG7BackupString(const AuthEventG7& e) {
    char buf[1024] = {};
    auto x = [](int32_t v) { return static_cast<unsigned>(v); };
    snprintf(buf, sizeof(buf),
             ",%.2f,%.2f,%u,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,"
             "0x%x,0x%x,0x%x,0x%x",
             e.t_cov, e.t_dist, e.lptw, e.rc, x(e.rawmean_delta), x(e.metric_1), x(e.metric_2),
             x(e.metric_3), x(e.metric_4), x(e.foreign_matter), x(e.match_score),
             x(e.stitch_img_num_[0]), x(e.stitch_img_num_[1]), x(e.stitch_img_num_[2]),
             x(e.stitch_img_num_[3]), x(e.stitch_img_num_[4]), x(e.stitch_img_area_[0]),
             x(e.stitch_img_area_[1]), x(e.stitch_img_area_[2]), x(e.stitch_img_area_[3]),
             x(e.stitch_img_area_[4]));
    return ReferenceAuthEventBackupString(e) + buf;
}

static bool IsG7(AuthEvent& e) {
    return e.GetClassName() == "AuthEventG7";
}

void ReferenceLoadAuthStats(AuthStats& stats, const std::string& device_path) {
    FILE* file = fopen(DevicePath(device_path).c_str(), "r");
    if (file == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, "AuthStats",
                            "[%s] Failed to open \"%s\" with error %d.",
                            "LoadAttemptsFromBackupFile", device_path.c_str(), errno);
        return;
    }
    char buffer[1024] = {};
    uint32_t crc = 0;
    uint64_t length = 0;
    while (fscanf(file, "0x%x,0x%" SCNx64 ",", &crc, &length) == 2) {
        if (length > sizeof(buffer)) abort();
        size_t ignored = fread(buffer, length, 1, file);
        (void)ignored;
        buffer[length < 1023 ? length : 1023] = '\0';
        if (ReferenceCrc32(buffer, length) != crc) {
            __android_log_print(ANDROID_LOG_ERROR, "AuthStats",
                                "[%s][%s] Crc checksum didn't match!", stats.name_.c_str(),
                                "void android::fp_utils::AuthStats::LoadAttemptsFromBackupFile()");
            break;
        }
        std::shared_ptr<AuthEvent> event = stats.CreateAttempt();
        std::string body(buffer, length);
        const bool loaded = IsG7(*event)
                                ? ReferenceLoadAuthEventG7(static_cast<AuthEventG7&>(*event), body)
                                : ReferenceLoadAuthEvent(*event, body);
        if (loaded) stats.AddAttempt(event);
    }
    fclose(file);
}

void ReferenceSaveAuthStats(AuthStats& stats, const std::string& device_path) {
    FILE* file = fopen(DevicePath(device_path).c_str(), "w");
    if (file == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, "AuthStats",
                            "[%s] Failed to open \"%s\" with error %d.", "SaveAttemptsToBackupFile",
                            device_path.c_str(), errno);
        return;
    }
    for (const auto& event : stats.attempts_) {
        const std::string body =
            IsG7(*event) ? ReferenceAuthEventG7BackupString(static_cast<const AuthEventG7&>(*event))
                         : ReferenceAuthEventBackupString(*event);
        fprintf(file, "0x%x,0x%" PRIx64 ",%s", ReferenceCrc32(body.data(), body.size()),
                static_cast<uint64_t>(body.size()), body.c_str());
    }
    fclose(file);
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
