#include "tools/fputil/histories.h"

#include <ftw.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "fp_utils/auth_stats.h"

namespace fputil {

using android::fp_utils::AuthEvent;
using android::fp_utils::AuthEventG7;
using android::fp_utils::AuthStats;
using android::fp_utils::AuthStatsG7;
using android::fp_utils::BackupFileKind;

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

bool ParsesAs(bool g7, const std::string& body) {
    std::string debug;
    return AuthHistory(g7, 1).Parse(body, &debug);
}

}  // namespace

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
    return nullptr;
}

ScratchRoot::ScratchRoot() {
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/fputil.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) return;
    dir_ = pattern;
    if (const char* prev = getenv("FP_UTILS_ROOT")) {
        had_previous_ = true;
        previous_ = prev;
    }
    setenv("FP_UTILS_ROOT", dir_.c_str(), 1);
    MakeParentDirs(HostPath("/data/vendor/fingerprint/x"));
}

ScratchRoot::~ScratchRoot() {
    if (dir_.empty()) return;
    if (had_previous_) {
        setenv("FP_UTILS_ROOT", previous_.c_str(), 1);
    } else {
        unsetenv("FP_UTILS_ROOT");
    }
    nftw(
        dir_.c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }, 16,
        FTW_DEPTH | FTW_PHYS);
}

bool ReadWholeFile(const std::string& path, std::string* bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::stringstream ss;
    ss << in.rdbuf();
    *bytes = ss.str();
    return true;
}

bool WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    return out.good();
}

bool MakeParentDirs(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        std::string dir = path.substr(0, slash);
        if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    return true;
}

}  // namespace fputil
