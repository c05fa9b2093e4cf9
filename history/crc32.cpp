// CRC-32 (reflected polynomial 0xEDB88320) in three kernels: slice-by-8 tables for any CPU,
// carry-less multiplication folding on x86-64, and the CRC32 instructions on arm64. The
// folding kernel and the arm64 kernel are compiled for their instruction sets alone and are
// only called after the CPU has been seen to support them.
#include "fp_utils/crc32.h"

#include <array>
#include <cstring>

#include "history/crc32_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define FP_UTILS_CRC32_FOLDING 1
#elif defined(__aarch64__)
#include <arm_acle.h>
#include <sys/auxv.h>
#ifndef HWCAP_CRC32
#define HWCAP_CRC32 (1 << 7)
#endif
#define FP_UTILS_CRC32_ARMV8 1
// clang's <arm_acle.h> declares the CRC intrinsics only when the whole file is built for
// them; its builtins work inside a function built for them.
#if defined(__clang__)
#define FP_UTILS_TARGET_CRC __attribute__((target("crc")))
#define FP_UTILS_CRC32B __builtin_arm_crc32b
#define FP_UTILS_CRC32D __builtin_arm_crc32d
#else
#define FP_UTILS_TARGET_CRC __attribute__((target("+crc")))
#define FP_UTILS_CRC32B __crc32b
#define FP_UTILS_CRC32D __crc32d
#endif
#endif

namespace android {
namespace fp_utils {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320u;

// kTables[0] is the classic byte table; kTables[k][i] is the state after byte i followed by
// k zero bytes, which lets eight bytes be folded in with eight independent lookups.
using SliceTables = std::array<std::array<uint32_t, 256>, 8>;

constexpr SliceTables MakeSliceTables() {
    SliceTables t{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) c = (c & 1) ? (c >> 1) ^ kPolynomial : c >> 1;
        t[0][i] = c;
    }
    for (size_t k = 1; k < 8; ++k) {
        for (uint32_t i = 0; i < 256; ++i) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
    }
    return t;
}

constexpr SliceTables kTables = MakeSliceTables();

uint32_t Load32(const uint8_t* p) {
    uint32_t v;
    memcpy(&v, p, sizeof(v));
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    return v;
}

uint32_t UpdateSliceBy8(uint32_t crc, const uint8_t* p, size_t n) {
    while (n >= 8) {
        const uint32_t lo = crc ^ Load32(p);
        const uint32_t hi = Load32(p + 4);
        crc = kTables[7][lo & 0xFF] ^ kTables[6][(lo >> 8) & 0xFF] ^ kTables[5][(lo >> 16) & 0xFF] ^
              kTables[4][lo >> 24] ^ kTables[3][hi & 0xFF] ^ kTables[2][(hi >> 8) & 0xFF] ^
              kTables[1][(hi >> 16) & 0xFF] ^ kTables[0][hi >> 24];
        p += 8;
        n -= 8;
    }
    while (n-- > 0) crc = kTables[0][(crc ^ *p++) & 0xFF] ^ (crc >> 8);
    return crc;
}

#if FP_UTILS_CRC32_FOLDING

#define FP_UTILS_TARGET_FOLDING __attribute__((target("pclmul,sse4.1")))

// Folding constants of the reflected polynomial: x^(4*128+32) and x^(4*128-32) mod P for the
// four-lane loop, x^(128+32) and x^(128-32) mod P for one lane, x^64 mod P for the step from
// 128 to 64 bits, then P itself and floor(x^64 / P) for the final Barrett reduction.
alignas(16) constexpr uint64_t kFold4[2] = {0x0154442bd4, 0x01c6e41596};
alignas(16) constexpr uint64_t kFold1[2] = {0x01751997d0, 0x00ccaa009e};
alignas(16) constexpr uint64_t kFold64[2] = {0x0163cd6124, 0};
alignas(16) constexpr uint64_t kBarrett[2] = {0x01db710641, 0x01f7011641};

FP_UTILS_TARGET_FOLDING inline __m128i Fold(__m128i acc, __m128i k, __m128i next) {
    const __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
    const __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(hi, lo), next);
}

FP_UTILS_TARGET_FOLDING inline __m128i Load128(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Four 128-bit lanes are folded forward 64 bytes at a time, then into one lane, which takes
// the remaining 16-byte blocks; the lane is reduced to 32 bits and the last bytes go through
// the tables.
FP_UTILS_TARGET_FOLDING uint32_t UpdateFolding(uint32_t crc, const uint8_t* p, size_t n) {
    if (n < 64) return UpdateSliceBy8(crc, p, n);
    __m128i x1 = _mm_xor_si128(Load128(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = Load128(p + 16);
    __m128i x3 = Load128(p + 32);
    __m128i x4 = Load128(p + 48);
    p += 64;
    n -= 64;
    const __m128i k4 = _mm_load_si128(reinterpret_cast<const __m128i*>(kFold4));
    while (n >= 64) {
        x1 = Fold(x1, k4, Load128(p));
        x2 = Fold(x2, k4, Load128(p + 16));
        x3 = Fold(x3, k4, Load128(p + 32));
        x4 = Fold(x4, k4, Load128(p + 48));
        p += 64;
        n -= 64;
    }
    const __m128i k1 = _mm_load_si128(reinterpret_cast<const __m128i*>(kFold1));
    x1 = Fold(x1, k1, x2);
    x1 = Fold(x1, k1, x3);
    x1 = Fold(x1, k1, x4);
    while (n >= 16) {
        x1 = Fold(x1, k1, Load128(p));
        p += 16;
        n -= 16;
    }

    // 128 bits to 64.
    const __m128i low32 = _mm_setr_epi32(~0, 0, ~0, 0);
    __m128i t = _mm_clmulepi64_si128(x1, k1, 0x10);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), t);
    const __m128i k64 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kFold64));
    t = _mm_srli_si128(x1, 4);
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k64, 0x00), t);

    // 64 bits to 32 (Barrett).
    const __m128i barrett = _mm_load_si128(reinterpret_cast<const __m128i*>(kBarrett));
    t = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), barrett, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, low32), barrett, 0x00);
    x1 = _mm_xor_si128(x1, t);
    crc = static_cast<uint32_t>(_mm_extract_epi32(x1, 1));
    return UpdateSliceBy8(crc, p, n);
}

bool CpuCanFold() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}

#endif  // FP_UTILS_CRC32_FOLDING

#if FP_UTILS_CRC32_ARMV8

FP_UTILS_TARGET_CRC uint32_t UpdateArmv8(uint32_t crc, const uint8_t* p, size_t n) {
    while (n > 0 && (reinterpret_cast<uintptr_t>(p) & 7) != 0) {
        crc = FP_UTILS_CRC32B(crc, *p++);
        --n;
    }
    while (n >= 32) {
        uint64_t v[4];
        memcpy(v, p, sizeof(v));
        crc = FP_UTILS_CRC32D(crc, v[0]);
        crc = FP_UTILS_CRC32D(crc, v[1]);
        crc = FP_UTILS_CRC32D(crc, v[2]);
        crc = FP_UTILS_CRC32D(crc, v[3]);
        p += 32;
        n -= 32;
    }
    while (n >= 8) {
        uint64_t v;
        memcpy(&v, p, sizeof(v));
        crc = FP_UTILS_CRC32D(crc, v);
        p += 8;
        n -= 8;
    }
    while (n-- > 0) crc = FP_UTILS_CRC32B(crc, *p++);
    return crc;
}

bool CpuHasCrcInstructions() {
#if defined(__ARM_FEATURE_CRC32)
    return true;
#else
    return (getauxval(AT_HWCAP) & HWCAP_CRC32) != 0;
#endif
}

#endif  // FP_UTILS_CRC32_ARMV8

struct KernelList {
    Crc32Kernel kernels[2];
    size_t count = 0;

    KernelList() {
        kernels[count++] = {"slice-by-8", UpdateSliceBy8};
#if FP_UTILS_CRC32_FOLDING
        if (CpuCanFold()) kernels[count++] = {"pclmul-folding", UpdateFolding};
#endif
#if FP_UTILS_CRC32_ARMV8
        if (CpuHasCrcInstructions()) kernels[count++] = {"armv8-crc32", UpdateArmv8};
#endif
    }
};

const KernelList& Kernels() {
    static const KernelList list;
    return list;
}

}  // namespace

const Crc32Kernel* AvailableCrc32Kernels(size_t* count) {
    const KernelList& list = Kernels();
    *count = list.count;
    return list.kernels;
}

uint32_t crc32(const void* data, size_t length) {
    if (length == 0) return 0;
    static const Crc32Update update = Kernels().kernels[Kernels().count - 1].update;
    return ~update(0xFFFFFFFFu, static_cast<const uint8_t*>(data), length);
}

}  // namespace fp_utils
}  // namespace android
