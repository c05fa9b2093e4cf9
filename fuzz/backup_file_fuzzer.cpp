// Feeds arbitrary bytes to the HAL's start-up load of an authentication history and to the
// record parsers. A declared length above 1024 ends the process by design, so such inputs are
// cut before that record (the reader tells where).
#include <android/log.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fp_utils/auth_stats.h"
#include "history/backup_file.h"

namespace {

std::string& Root() {
    static std::string root = [] {
        char dir[] = "/tmp/fp_fuzz.XXXXXX";
        if (mkdtemp(dir) == nullptr) abort();
        setenv("FP_UTILS_ROOT", dir, 1);
        std::string d = dir;
        mkdir((d + "/data").c_str(), 0700);
        mkdir((d + "/data/vendor").c_str(), 0700);
        mkdir((d + "/data/vendor/fingerprint").c_str(), 0700);
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
        return d;
    }();
    return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    std::string path = Root() + "/data/vendor/fingerprint/AuthStats.fuzz";
    std::string bytes(reinterpret_cast<const char*>(data), size);

    FILE* file = fmemopen(bytes.data(), bytes.size(), "r");
    if (file != nullptr) {
        BackupReader reader(file);
        BackupRecord record;
        BackupReader::Step step;
        while ((step = reader.Next(&record)) == BackupReader::kRecord) {
        }
        if (step == BackupReader::kLengthTooLong) bytes.resize(static_cast<size_t>(record.offset));
        fclose(file);
    }
    FILE* out = fopen(path.c_str(), "w");
    if (out == nullptr) return 0;
    fwrite(bytes.data(), 1, bytes.size(), out);
    fclose(out);

    AuthStatsG7 stats("fuzz", 16, true);
    stats.Init();
    for (const auto& event : stats.attempts_) event->ToDebugString();

    std::string text(reinterpret_cast<const char*>(data), size);
    AuthEventG7 event;
    if (event.LoadFromBackupString(text)) event.ToDebugString();
    return 0;
}
