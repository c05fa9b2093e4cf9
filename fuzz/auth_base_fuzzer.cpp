// Feeds arbitrary bytes to the start-up load of an authentication history of plain AuthEvent
// records, to its dump and save, and to the base record parser.
#include <cstdint>
#include <string>

#include "fp_utils/auth_stats.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    if (!fuzz::PutBackupFile("/data/vendor/fingerprint/AuthStats.base", data, size)) return 0;
    AuthStats stats("base", 16, true);
    stats.Init();
    stats.Dump(fuzz::DumpSink(), nullptr, 0);
    stats.SaveAttemptsToBackupFile();

    std::string text(reinterpret_cast<const char*>(data), size);
    AuthEvent event;
    if (event.LoadFromBackupString(text)) {
        event.ToDebugString();
        event.ToBackupString();
    }
    return 0;
}
