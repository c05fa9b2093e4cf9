#include "tools/fputil/histories.h"

#include <android-base/strings.h>

#include <cstdio>

#include "fp_utils/auth_stats.h"
#include "fp_utils/enroll_event_container.h"
#include "fp_utils/finger_size.h"
#include "host/support/dump_text.h"

namespace fputil {

using android::fp_utils::AuthEvent;
using android::fp_utils::AuthEventG7;
using android::fp_utils::AuthStats;
using android::fp_utils::AuthStatsG7;
using android::fp_utils::BackupFileKind;
using android::fp_utils::EnrollEventContainer;
using android::fp_utils::EnrollEventG7;
using android::fp_utils::FingerSize;
using android::fp_utils::FingerSizes;
using android::fp_utils::host::CaptureDump;

namespace {

class AuthHistory : public History {
  public:
    AuthHistory(bool g7, uint32_t limit) : g7_(g7), limit_(limit) {}

    std::string RecordClass() const override { return g7_ ? "AuthEventG7" : "AuthEvent"; }

    bool Parse(const std::string& body, std::string* debug) const override {
        std::shared_ptr<AuthEvent> event =
            g7_ ? std::make_shared<AuthEventG7>() : std::make_shared<AuthEvent>();
        std::string text = body;
        if (!event->LoadFromBackupString(text)) return false;
        *debug = event->ToDebugString();
        return true;
    }

    void Load(const std::string& name) override {
        if (g7_) {
            stats_ = std::make_unique<AuthStatsG7>(name, limit_, true);
        } else {
            stats_ = std::make_unique<AuthStats>(name, limit_, true);
        }
        stats_->Init();
    }

    size_t Loaded() const override { return stats_ ? stats_->attempts_.size() : 0; }

    std::vector<std::string> Summary() override {
        if (!stats_) return {};
        return {stats_->ToDebugString()};
    }

    void Save() override {
        if (stats_) stats_->SaveAttemptsToBackupFile();
    }

  private:
    bool g7_;
    uint32_t limit_;
    std::unique_ptr<AuthStats> stats_;
};

// The enrollment history keeps the last 50 events; the HAL creates G7 events only.
class EnrollHistory : public History {
  public:
    std::string RecordClass() const override { return "EnrollEventG7"; }

    bool Parse(const std::string& body, std::string* debug) const override {
        EnrollEventG7 event;
        std::string text = body;
        if (!event.LoadFromBackupString(text)) return false;
        *debug = event.ToDebugString();
        return true;
    }

    void Load(const std::string& /*name*/) override {
        events_ = std::make_unique<EnrollEventContainer>();
        events_->Init("EnrollEventG7");
    }

    size_t Loaded() const override { return events_ ? events_->events_.size() : 0; }

    std::vector<std::string> Summary() override {
        if (!events_) return {};
        std::string text = CaptureDump([this](int fd) { events_->Dump(fd, nullptr, 0); });
        if (!text.empty() && text.back() == '\n') text.pop_back();
        if (text.empty()) return {};
        return android::base::Split(text, "\n");
    }

    void Save() override {
        if (!events_) return;
        std::lock_guard<std::mutex> lock(events_->mutex_);
        events_->SaveEventsToBackupFile();
    }

  private:
    std::unique_ptr<EnrollEventContainer> events_;
};

class FingerHistory : public History {
  public:
    explicit FingerHistory(uint32_t limit) : limit_(limit) {}

    std::string RecordClass() const override { return "FingerSize"; }

    bool Parse(const std::string& body, std::string* debug) const override {
        FingerSize finger;
        std::string text = body;
        if (!finger.LoadFromBackupString(text)) return false;
        *debug = finger.ToString();
        return true;
    }

    void Load(const std::string& name) override {
        fingers_ = std::make_unique<FingerSizes>(name, limit_, true);
    }

    size_t Loaded() const override { return fingers_ ? fingers_->fingers_.size() : 0; }

    std::vector<std::string> Summary() override {
        if (!fingers_) return {};
        return FingerSizesSummary(*fingers_);
    }

    void Save() override {
        if (!fingers_) return;
        std::lock_guard<std::mutex> lock(fingers_->mutex_);
        fingers_->SaveFingersToBackupFile();
    }

  private:
    uint32_t limit_;
    std::unique_ptr<FingerSizes> fingers_;
};

bool ParsesAs(bool g7, const std::string& body) {
    std::string debug;
    return AuthHistory(g7, 1).Parse(body, &debug);
}

}  // namespace

std::vector<std::string> FingerSizesSummary(FingerSizes& fingers) {
    char line[256];
    snprintf(line, sizeof(line), "total_count:%u, op1_count:%u, op2_count:%u", fingers.total_count_,
             fingers.op1_count_, fingers.op2_count_);
    std::vector<std::string> lines = {line};
    for (auto axis : {FingerSize::X, FingerSize::Y}) {
        snprintf(line, sizeof(line), "%s: p5 %.2f, p50 %.2f, p95 %.2f",
                 axis == FingerSize::X ? "x" : "y", fingers.GetPercentileValue(axis, 5),
                 fingers.GetPercentileValue(axis, 50), fingers.GetPercentileValue(axis, 95));
        lines.push_back(line);
    }
    return lines;
}

std::unique_ptr<History> MakeHistory(const BackupFileKind& kind, const HistoryOptions& options,
                                     const std::vector<std::string>& sample_bodies) {
    if (&kind == &android::fp_utils::kAuthStatsBackupKind) {
        bool g7 = true;
        if (options.auth_class == "base") {
            g7 = false;
        } else if (options.auth_class.empty()) {
            bool any_g7 = false, any_base = false;
            for (const std::string& body : sample_bodies) {
                any_g7 = any_g7 || ParsesAs(true, body);
                any_base = any_base || ParsesAs(false, body);
            }
            g7 = any_g7 || !any_base;
        }
        return std::make_unique<AuthHistory>(g7, options.limit);
    }
    if (&kind == &android::fp_utils::kEnrollEventsBackupKind) {
        return std::make_unique<EnrollHistory>();
    }
    if (&kind == &android::fp_utils::kFingerSizesBackupKind) {
        return std::make_unique<FingerHistory>(options.limit);
    }
    return nullptr;
}

}  // namespace fputil
