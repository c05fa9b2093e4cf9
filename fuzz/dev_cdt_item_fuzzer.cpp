// Feeds arbitrary bytes, as the content of a device-tree item, to the item reader.
#include <unistd.h>

#include <cstdint>
#include <string>

#include "fp_utils/dev_cdt_info.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace android::fp_utils;
    const std::string item = "/sys/firmware/devicetree/base/chosen/plat/major";
    static const bool made = [&] {
        fuzz::Root().MakeDirs("/sys/firmware/devicetree/base/chosen/plat");
        return true;
    }();
    (void)made;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    if (!android::base::WriteStringToFile(bytes, fuzz::Root().Path(item))) return 0;
    // The reader keeps its descriptor open by design (six items, once per process). It gets
    // the lowest free descriptor; close that one afterwards so that a long run does not run out.
    const int next_fd = dup(0);
    close(next_fd);
    DevCdtInfo::GetInstance().GetDevCdtInfoItem("major");
    close(next_fd);
    return 0;
}
