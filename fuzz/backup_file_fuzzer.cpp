// Feeds arbitrary bytes to the HAL's start-up load of an authentication history of G7 records,
// to the dump of what it loaded, and to the G7 record parser.
#include <cstdint>
#include <string>

#include "fp_utils/auth_stats.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    if (!fuzz::PutBackupFile("/data/vendor/fingerprint/AuthStats.fuzz", data, size)) return 0;
    AuthStatsG7 stats("fuzz", 16, true);
    stats.Init();
    stats.Dump(fuzz::DumpSink(), nullptr, 0);

    std::string text(reinterpret_cast<const char*>(data), size);
    AuthEventG7 event;
    if (event.LoadFromBackupString(text)) event.ToDebugString();
    return 0;
}
