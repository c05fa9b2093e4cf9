#include "fp_utils/dev_cdt_info.h"

#include <android/log.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "DevCdtInfo";
// One file per item in this directory, named after the item.
const std::string kDevCdtInfoDir = "/sys/firmware/devicetree/base/chosen/plat";

}  // namespace

DevCdtInfo& DevCdtInfo::GetInstance() {
    // Built on first use and never destroyed: the HAL may ask for it until the process ends.
    static DevCdtInfo* instance = new DevCdtInfo();
    return *instance;
}

DevCdtInfo::DevCdtInfo() {
    platform_ = GetDevCdtInfoItem("platform");
    product_ = GetDevCdtInfoItem("product");
    stage_ = GetDevCdtInfoItem("stage");
    major_ = GetDevCdtInfoItem("major");
    minor_ = GetDevCdtInfoItem("minor");
    variant_ = GetDevCdtInfoItem("variant");
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: platform:0x%02x ", "DevCdtInfo", platform_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: product:0x%02x ", "DevCdtInfo", product_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: stage:0x%02x ", "DevCdtInfo", stage_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: major:0x%02x ", "DevCdtInfo", major_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: minro:0x%02x ", "DevCdtInfo", minor_);
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s: variant_0x%02x ", "DevCdtInfo", variant_);
}

uint32_t DevCdtInfo::GetDevCdtInfoItem(const char* item) {
    const std::string path = kDevCdtInfoDir + "/" + item;
    // Non-blocking, so that an item that is a FIFO or a device reads as what is there now
    // instead of holding up the HAL's start-up; a regular file reads the same either way.
    int fd = open(DevicePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "Failed to open \"%s\" with error %d.",
                            path.c_str(), errno);
        return 0;
    }
    // The descriptor stays open: the items are read once per process, six in all.
    uint8_t cell[4] = {};
    if (read(fd, cell, sizeof(cell)) < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "Failed to read CDT item \"%s\" with error %d.", item, errno);
        return 0;
    }
    // One big-endian cell; bytes a short file lacks stay 0.
    return static_cast<uint32_t>(cell[0]) << 24 | static_cast<uint32_t>(cell[1]) << 16 |
           static_cast<uint32_t>(cell[2]) << 8 | static_cast<uint32_t>(cell[3]);
}

bool VersionCompare::checkEqual(const std::string& a, const std::string& b) {
    return a == b;
}

}  // namespace fp_utils
}  // namespace android
