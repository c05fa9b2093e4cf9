// Differential fuzzing of the authentication history's start-up load and record parser: the
// same bytes go to the library (Init of an AuthStatsG7, LoadFromBackupString) and to the plain
// versions kept with the tests (scanf, a regular expression per record), and any difference
// in what is loaded, what is left of the text or what is written back aborts. A declared
// length above 1024 ends the process by design, so inputs are cut before such a record.
#include <android/log.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fp_utils/auth_stats.h"
#include "history/backup_file.h"
#include "host/support/temp_root.h"
#include "tests/history/reference_history.h"

namespace {

using android::fp_utils::AuthEvent;
using android::fp_utils::AuthEventG7;
using android::fp_utils::AuthStatsG7;

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.fuzz";

const android::fp_utils::host::TempRoot& Root() {
    static const android::fp_utils::host::TempRoot root;
    if (!root.ok()) abort();
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    return root;
}

void Check(bool same, const char* what) {
    if (!same) {
        fprintf(stderr, "fast and plain differ: %s\n", what);
        abort();
    }
}

std::string State(const AuthEventG7& e) {
    // The backup string carries every field; the floats' bits are added for NaN and -0.0.
    std::string s = android::fp_utils::testing::ReferenceAuthEventG7BackupString(e);
    s.append(reinterpret_cast<const char*>(&e.t_cov), sizeof(e.t_cov));
    s.append(reinterpret_cast<const char*>(&e.t_dist), sizeof(e.t_dist));
    return s;
}

std::string WholeFile() {
    std::string bytes;
    FILE* f = fopen(Root().Path(kPath).c_str(), "r");
    if (f == nullptr) return bytes;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), f)) > 0;) bytes.append(buf, n);
    fclose(f);
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    std::string bytes(reinterpret_cast<const char*>(data), size);

    // The record parsers on the raw bytes.
    AuthEventG7 fast;
    AuthEventG7 plain;
    std::string fast_text = bytes;
    std::string plain_text = bytes;
    errno = 0;
    const bool fast_ok = fast.LoadFromBackupString(fast_text);
    errno = 0;
    const bool plain_ok = testing::ReferenceLoadAuthEventG7(plain, plain_text);
    Check(fast_ok == plain_ok, "parse result");
    Check(fast_text == plain_text, "text left over");
    Check(State(fast) == State(plain), "parsed fields");

    // The same bytes as a backup file.
    UniqueFile file(fmemopen(bytes.data(), bytes.size(), "r"));
    if (file != nullptr) {
        BackupReader reader(std::move(file));
        BackupRecord record;
        BackupReader::Step step;
        while ((step = reader.Next(&record)) == BackupReader::kRecord) {
        }
        if (step == BackupReader::kLengthTooLong) bytes.resize(static_cast<size_t>(record.offset));
    }
    FILE* out = fopen(Root().Path(kPath).c_str(), "w");
    if (out == nullptr) return 0;
    fwrite(bytes.data(), 1, bytes.size(), out);
    fclose(out);

    AuthStatsG7 loaded("fuzz", 16, true);
    loaded.Init();
    AuthStatsG7 reference("fuzz", 16, true);
    testing::ReferenceLoadAuthStats(reference, kPath);
    Check(loaded.attempts_.size() == reference.attempts_.size(), "records loaded");
    for (size_t i = 0; i < loaded.attempts_.size(); ++i) {
        Check(State(static_cast<const AuthEventG7&>(*loaded.attempts_[i])) ==
                  State(static_cast<const AuthEventG7&>(*reference.attempts_[i])),
              "loaded record");
    }
    loaded.SaveAttemptsToBackupFile();
    const std::string written = WholeFile();
    testing::ReferenceSaveAuthStats(loaded, kPath);
    Check(written == WholeFile(), "rewritten file");
    return 0;
}
