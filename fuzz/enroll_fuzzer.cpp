// Feeds arbitrary bytes to the start-up load of the enrollment history, to its dump, to an
// addition (which rewrites the file) and to both enrollment record parsers.
#include <cstdint>
#include <string>

#include "fp_utils/enroll_event.h"
#include "fp_utils/enroll_event_container.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    if (!fuzz::PutBackupFile("/data/vendor/fingerprint/EnrollEventContainer", data, size)) {
        return 0;
    }
    EnrollEventContainer container;
    container.Init("EnrollEventG7");
    container.Dump(fuzz::DumpSink(), nullptr, 0);
    if (auto event = container.CreateEvent()) container.AddEvent(event);

    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string base_text = text;
    EnrollEvent base;
    if (base.LoadFromBackupString(base_text)) base.ToDebugString();
    std::string g7_text = text;
    EnrollEventG7 g7;
    if (g7.LoadFromBackupString(g7_text)) {
        g7.ToDebugString();
        g7.ToBackupString();
    }
    return 0;
}
