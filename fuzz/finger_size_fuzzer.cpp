// Feeds arbitrary bytes to the load of a finger-size history, to percentile queries on what
// it loaded (on axes and at percentiles taken from the input), and to the record parser.
#include <cstdint>
#include <cstring>
#include <string>

#include "fp_utils/finger_size.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    if (!fuzz::PutBackupFile("/data/vendor/fingerprint/FingerSizes.fuzz", data, size)) return 0;
    FingerSizes sizes("fuzz", 16, true);
    // Any axis value; percentiles from 0 to 100, the range callers may use.
    int32_t axis = 0;
    uint8_t percentile = 0;
    if (size >= 5) {
        memcpy(&axis, data, sizeof(axis));
        percentile = data[4] % 101;
    }
    sizes.GetPercentileValue(static_cast<FingerSize::Axis>(axis), percentile);
    sizes.AddFinger(std::make_shared<FingerSize>(), true);

    std::string text(reinterpret_cast<const char*>(data), size);
    FingerSize finger;
    if (finger.LoadFromBackupString(text)) finger.ToString();
    return 0;
}
