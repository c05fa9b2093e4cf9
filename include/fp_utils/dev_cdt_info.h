// Identification numbers of the device's hardware configuration, published by the boot
// loader in the device tree under "/sys/firmware/devicetree/base/chosen/plat".
//
// DevCdtInfo reads its six items once, on the first GetInstance, and keeps them for the life
// of the process (the instance is never destroyed). An item that cannot be read is 0; the
// log says which and why. Each item is one big-endian 32-bit cell; a shorter file counts its
// missing trailing bytes as 0.
#pragma once

#include <cstdint>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT DevCdtInfo {
  public:
    static DevCdtInfo& GetInstance();

    // Reads the item named `item` from the device tree now; 0 when it cannot be read.
    uint32_t GetDevCdtInfoItem(const char* item);

    uint32_t GetPlatform() const { return platform_; }
    uint32_t GetProduct() const { return product_; }
    uint32_t GetStage() const { return stage_; }
    uint32_t GetMajor() const { return major_; }
    uint32_t GetMinor() const { return minor_; }
    uint32_t GetVariant() const { return variant_; }

    DevCdtInfo(const DevCdtInfo&) = delete;
    DevCdtInfo& operator=(const DevCdtInfo&) = delete;

  private:
    DevCdtInfo();

    uint32_t platform_ = 0;
    uint32_t product_ = 0;
    uint32_t stage_ = 0;
    uint32_t major_ = 0;
    uint32_t minor_ = 0;
    uint32_t variant_ = 0;
};

// Version strings are equal when they hold the same bytes: no trimming, no case folding, no
// numeric reading ("1.0" and "1.00" differ).
class FP_UTILS_EXPORT VersionCompare {
  public:
    static bool checkEqual(const std::string& a, const std::string& b);
};

}  // namespace fp_utils
}  // namespace android
