// CRC-32 as used by the backup files of the history containers.
//
// The standard CRC-32 of ISO-HDLC / IEEE 802.3 (the one zlib computes): reflected polynomial
// 0xEDB88320, initial value and final XOR 0xFFFFFFFF. A length of 0 gives 0 without reading
// `data`. Pure and re-entrant; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

FP_UTILS_EXPORT uint32_t crc32(const void* data, size_t length);

}  // namespace fp_utils
}  // namespace android
