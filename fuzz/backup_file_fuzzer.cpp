// Feeds arbitrary bytes to the HAL's start-up load of an authentication history and to the
// record parsers. A declared length above 1024 ends the process by design, so such inputs are
// cut before that record (the reader tells where).
#include <android-base/file.h>
#include <android/log.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fp_utils/auth_stats.h"
#include "history/backup_file.h"
#include "host/support/temp_root.h"

namespace {

// One private device tree for the whole run, removed at exit.
const android::fp_utils::host::TempRoot& Root() {
    static const android::fp_utils::host::TempRoot root;
    if (!root.ok()) abort();
    return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    std::string path = Root().Path("/data/vendor/fingerprint/AuthStats.fuzz");
    std::string bytes(reinterpret_cast<const char*>(data), size);

    UniqueFile file(fmemopen(bytes.data(), bytes.size(), "r"));
    if (file != nullptr) {
        BackupReader reader(std::move(file));
        BackupRecord record;
        BackupReader::Step step;
        while ((step = reader.Next(&record)) == BackupReader::kRecord) {
        }
        if (step == BackupReader::kLengthTooLong) bytes.resize(static_cast<size_t>(record.offset));
    }
    if (!android::base::WriteStringToFile(bytes, path)) return 0;

    AuthStatsG7 stats("fuzz", 16, true);
    stats.Init();
    for (const auto& event : stats.attempts_) event->ToDebugString();

    std::string text(reinterpret_cast<const char*>(data), size);
    AuthEventG7 event;
    if (event.LoadFromBackupString(text)) event.ToDebugString();
    return 0;
}
