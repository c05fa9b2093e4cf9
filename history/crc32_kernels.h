// The ways this library can compute CRC-32, for crc32() to choose from and for tests and
// benchmarks to hold side by side.
//
// Each kernel advances a raw CRC state (no initial or final inversion) over `length` bytes of
// any alignment. crc32() picks the fastest kernel the running CPU supports, once per process:
// carry-less multiplication folding on x86-64 CPUs with PCLMULQDQ and SSE4.1, the CRC32
// instructions on arm64 CPUs that have them, and portable slice-by-8 everywhere else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace android {
namespace fp_utils {

using Crc32Update = uint32_t (*)(uint32_t state, const uint8_t* data, size_t length);

struct Crc32Kernel {
    const char* name;
    Crc32Update update;
};

// The kernels the running CPU supports, the portable one first and the one crc32() uses last.
// `count` receives their number. The list lives for the whole process.
const Crc32Kernel* AvailableCrc32Kernels(size_t* count);

}  // namespace fp_utils
}  // namespace android
