#include "fp_utils/auth_stats.h"

#include <android/log.h>

#include <cstdio>

#include "history/backup_file.h"
#include "history/false_rejection.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kG7Tag[] = "AuthStatsG7";
constexpr uint32_t kNoLimit = 0xFFFFFFFFu;
// A run of this many rejections in a row starts saving every further rejection.
constexpr int kRejectionsBeforeSave = 5;

// Consecutive rejected matches, shared by every container of the process. Updated under the
// mutex of whichever container is adding; containers do not share a lock.
int32_t consecutive_auth_failures = 0;

}  // namespace

AuthStats::AuthStats(std::string name, uint32_t max_attempts, bool backup_enabled)
    : name_(std::move(name)), max_attempts_(max_attempts), backup_enabled_(backup_enabled) {}

void AuthStats::Init() {
    if (backup_enabled_) {
        PrepareBackupDirectory(kAuthStatsBackupKind, kBackupDir);
        backup_path_ = BackupFilePath(kAuthStatsBackupKind, kBackupDir, name_);
        LoadAttemptsFromBackupFile();
    }
    initialized_ = true;
}

void AuthStats::Reset() {
    backup_path_.clear();
    attempts_.clear();
    total_attempts_ = 0;
    auth_attempts_ = 0;
    auth_rejects_ = 0;
    avg_iq_ = 0;
}

void AuthStats::AddAttempt(std::shared_ptr<AuthEvent> event) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (max_attempts_ != kNoLimit && total_attempts_ >= max_attempts_) {
        PopAttempt();
    }
    PushAttempt(event);
    if (!initialized_ || !backup_enabled_ || backup_path_.empty() || event->acquired_info != 1) {
        return;
    }
    if (event->auth_successful) {
        consecutive_auth_failures = 0;
        SaveAttemptsToBackupFile();
    } else if (++consecutive_auth_failures >= kRejectionsBeforeSave) {
        SaveAttemptsToBackupFile();
    }
}

std::string AuthStats::ToDebugString() {
    return FormatFixed(
        kLongText, "total_attempts:%d, auth_attempts:%d, auth_rejects:%d, frr:%.2f%%, avg_iq:%.2f",
        total_attempts_, auth_attempts_, auth_rejects_, FalseRejectionRate(*this), avg_iq_);
}

void AuthStats::PushAttempt(std::shared_ptr<AuthEvent> event) {
    if (event->acquired_info == 1) {
        uint32_t n = auth_attempts_;
        avg_iq_ = (avg_iq_ * static_cast<float>(n) + static_cast<float>(event->iq)) /
                  static_cast<float>(n + 1);
        if (!event->auth_successful) ++auth_rejects_;
        auth_attempts_ = n + 1;
    }
    attempts_.push_back(std::move(event));
    ++total_attempts_;
}

std::shared_ptr<AuthEvent> AuthStats::PopAttempt() {
    std::shared_ptr<AuthEvent> event = std::move(attempts_.front());
    attempts_.pop_front();
    if (event->acquired_info == 1) {
        uint32_t n = auth_attempts_;
        auth_attempts_ = n - 1;
        if (!event->auth_successful) --auth_rejects_;
        avg_iq_ = n == 1 ? 0.0f
                         : (avg_iq_ * static_cast<float>(n) - static_cast<float>(event->iq)) /
                               static_cast<float>(n - 1);
    }
    --total_attempts_;
    return event;
}

std::shared_ptr<AuthEvent> AuthStats::CreateAttempt() {
    auto event = std::make_shared<AuthEvent>();
    event->time = ::time(nullptr);
    return event;
}

void AuthStats::LoadAttemptsFromBackupFile() {
    LoadBackupFile(kAuthStatsBackupKind, backup_path_, name_, [this](std::string& body) {
        std::shared_ptr<AuthEvent> event = CreateAttempt();
        if (event->LoadFromBackupString(body)) AddAttempt(event);
    });
}

void AuthStats::SaveAttemptsToBackupFile() const {
    SaveBackupFile(kAuthStatsBackupKind, backup_path_, attempts_);
}

void AuthStats::Dump(int fd, const char** /*args*/, unsigned int /*nargs*/) {
    dprintf(fd, "Auth Stats:\n");
    dprintf(fd, "  %s\n", ToDebugString().c_str());
    if (total_attempts_ == 0) return;
    dprintf(fd, "Auth Events:\n");
    int index = 0;
    for (const auto& event : attempts_) {
        dprintf(fd, "  #%03d %s\n", index++, event->ToDebugString().c_str());
    }
}

AuthStatsG7::AuthStatsG7(std::string name, uint32_t max_attempts, bool backup_enabled)
    : AuthStats(std::move(name), max_attempts, backup_enabled) {}

void AuthStatsG7::Reset() {
    AuthStats::Reset();
    avg_rawmean_delta_ = 0;
}

void AuthStatsG7::AddAttempt(std::shared_ptr<AuthEvent> event) {
    if (event->GetClassName() == "AuthEventG7") {
        AuthStats::AddAttempt(std::move(event));
        return;
    }
    __android_log_print(
        ANDROID_LOG_ERROR, kG7Tag, "[%s][%s] AuthEvent is not allowed!", name_.c_str(),
        "virtual void android::fp_utils::AuthStatsG7::AddAttempt(std::shared_ptr<AuthEvent>)");
}

std::string AuthStatsG7::ToDebugString() {
    return AuthStats::ToDebugString() +
           FormatFixed(kLongText, ", avg_rawmean_delta:%.2f", avg_rawmean_delta_);
}

void AuthStatsG7::PushAttempt(std::shared_ptr<AuthEvent> event) {
    if (event->acquired_info == 1) {
        // AddAttempt has let only AuthEventG7 records through.
        const auto& g7 = static_cast<const AuthEventG7&>(*event);
        float n = static_cast<float>(auth_attempts_);
        avg_rawmean_delta_ =
            (avg_rawmean_delta_ * n + static_cast<float>(g7.rawmean_delta)) / (n + 1.0f);
    }
    AuthStats::PushAttempt(std::move(event));
}

std::shared_ptr<AuthEvent> AuthStatsG7::PopAttempt() {
    std::shared_ptr<AuthEvent> event = AuthStats::PopAttempt();
    if (event->acquired_info == 1) {
        const auto& g7 = static_cast<const AuthEventG7&>(*event);
        uint32_t m = auth_attempts_;
        avg_rawmean_delta_ = m == 0 ? 0.0f
                                    : (avg_rawmean_delta_ * static_cast<float>(m + 1) -
                                       static_cast<float>(g7.rawmean_delta)) /
                                          static_cast<float>(m);
    }
    return event;
}

std::shared_ptr<AuthEvent> AuthStatsG7::CreateAttempt() {
    auto event = std::make_shared<AuthEventG7>();
    event->time = ::time(nullptr);
    return event;
}

}  // namespace fp_utils
}  // namespace android
