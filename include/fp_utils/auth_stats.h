// Bounded history of authentication attempts with running figures and an optional backup
// file.
//
// Construct with a name, the most attempts to keep (0xFFFFFFFF: no limit; never 0) and
// whether to keep the history in "/data/vendor/fingerprint/AuthStats.<name>"; then call Init,
// which loads that file. AddAttempt is the one way in and may be called from any thread; the
// figures, Reset, ToDebugString and Dump are unlocked, so their callers serialise them with
// AddAttempt. The file is rewritten after every match and after the fifth and every later
// consecutive rejection (counted across all containers of the process).
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "fp_utils/auth_event.h"
#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT AuthStats {
  public:
    static constexpr char kBackupDir[] = "/data/vendor/fingerprint/";

    AuthStats(std::string name, uint32_t max_attempts, bool backup_enabled);
    virtual ~AuthStats() = default;

    virtual void Init();
    virtual void Reset();
    virtual void AddAttempt(std::shared_ptr<AuthEvent> event);
    virtual std::string ToDebugString();
    virtual void PushAttempt(std::shared_ptr<AuthEvent> event);
    virtual std::shared_ptr<AuthEvent> PopAttempt();
    virtual std::shared_ptr<AuthEvent> CreateAttempt();

    void LoadAttemptsFromBackupFile();
    void SaveAttemptsToBackupFile() const;
    void Dump(int fd, const char** args, unsigned int nargs);

    std::string name_;
    uint32_t max_attempts_;
    bool backup_enabled_;
    std::string backup_path_;
    std::deque<std::shared_ptr<AuthEvent>> attempts_;
    std::mutex mutex_;
    uint32_t total_attempts_ = 0;
    uint32_t auth_attempts_ = 0;
    uint32_t auth_rejects_ = 0;
    float avg_iq_ = 0;
    bool initialized_ = false;
};

// Accepts AuthEventG7 records only and also keeps the mean rawmean_delta of the attempts
// that went to matching. Its backup file is "AuthStats.<name>", like the base class's.
class FP_UTILS_EXPORT AuthStatsG7 : public AuthStats {
  public:
    AuthStatsG7(std::string name, uint32_t max_attempts, bool backup_enabled);

    void Reset() override;
    void AddAttempt(std::shared_ptr<AuthEvent> event) override;
    std::string ToDebugString() override;
    void PushAttempt(std::shared_ptr<AuthEvent> event) override;
    std::shared_ptr<AuthEvent> PopAttempt() override;
    std::shared_ptr<AuthEvent> CreateAttempt() override;

    float avg_rawmean_delta_ = 0;
};

}  // namespace fp_utils
}  // namespace android
