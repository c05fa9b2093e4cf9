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
#define FP_UTILS_TARGET_WIDE_FOLDING \
    __attribute__((target("avx512f,avx512vl,vpclmulqdq,pclmul,sse4.1")))

// Polynomials over GF(2) in the reflected bit order of this CRC, where bit 0 of a word is the
// highest power. Folding a 128-bit lane forward by D bits multiplies its low half by
// x^(D+32) mod P and its high half by x^(D-32) mod P; FoldConstant(n) is x^n mod P reflected
// and shifted into the 33-bit form the carry-less multiplication expects.
constexpr uint64_t kP = 0x104C11DB7ull;  // the polynomial in normal bit order, x^32 included

constexpr uint64_t Reflect(uint64_t v, int bits) {
    uint64_t out = 0;
    for (int i = 0; i < bits; ++i) {
        if ((v >> i) & 1) out |= uint64_t{1} << (bits - 1 - i);
    }
    return out;
}

constexpr uint64_t FoldConstant(unsigned n) {
    uint64_t r = 1;
    for (unsigned i = 0; i < n; ++i) {
        r <<= 1;
        if ((r >> 32) & 1) r ^= kP;
    }
    return Reflect(r, 32) << 1;
}

// floor(x^64 / P), for the Barrett reduction from 64 bits to 32: long division, one quotient
// bit per step from x^32 down.
constexpr uint64_t BarrettQuotient() {
    unsigned __int128 rem = static_cast<unsigned __int128>(1) << 64;
    uint64_t q = 0;
    for (int shift = 32; shift >= 0; --shift) {
        if ((rem >> (32 + shift)) & 1) {
            q |= uint64_t{1} << shift;
            rem ^= static_cast<unsigned __int128>(kP) << shift;
        }
    }
    return q;
}

alignas(16) constexpr uint64_t kFold4[2] = {FoldConstant(4 * 128 + 32), FoldConstant(4 * 128 - 32)};
alignas(16) constexpr uint64_t kFold1[2] = {FoldConstant(128 + 32), FoldConstant(128 - 32)};
alignas(16) constexpr uint64_t kFold64[2] = {FoldConstant(64), 0};
alignas(16) constexpr uint64_t kBarrett[2] = {Reflect(kP, 33), Reflect(BarrettQuotient(), 33)};

static_assert(kFold4[0] == 0x154442bd4 && kFold1[1] == 0x0ccaa009e, "folding constants");
static_assert(kBarrett[0] == 0x1db710641 && kBarrett[1] == 0x1f7011641, "Barrett constants");

FP_UTILS_TARGET_FOLDING inline __m128i Fold(__m128i acc, __m128i k, __m128i next) {
    const __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
    const __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(hi, lo), next);
}

FP_UTILS_TARGET_FOLDING inline __m128i Load128(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// One lane takes the remaining 16-byte blocks, is reduced to 32 bits, and the last bytes go
// through the tables.
FP_UTILS_TARGET_FOLDING uint32_t FinishFolding(__m128i x1, const uint8_t* p, size_t n) {
    const __m128i k1 = _mm_load_si128(reinterpret_cast<const __m128i*>(kFold1));
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
    const uint32_t crc = static_cast<uint32_t>(_mm_extract_epi32(x1, 1));
    return UpdateSliceBy8(crc, p, n);
}

// Four 128-bit lanes are folded forward 64 bytes at a time, then into one lane.
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
    return FinishFolding(x1, p, n);
}

// Each lane of a 512-bit register folded by D bits; lanes hold (x^(D+32), x^(D-32)) pairs.
FP_UTILS_TARGET_WIDE_FOLDING inline __m512i Fold512(__m512i acc, __m512i k, __m512i next) {
    const __m512i lo = _mm512_clmulepi64_epi128(acc, k, 0x00);
    const __m512i hi = _mm512_clmulepi64_epi128(acc, k, 0x11);
    return _mm512_ternarylogic_epi64(lo, hi, next, 0x96);  // lo ^ hi ^ next
}

FP_UTILS_TARGET_WIDE_FOLDING inline __m512i Load512(const uint8_t* p) {
    return _mm512_loadu_si512(p);
}

FP_UTILS_TARGET_WIDE_FOLDING inline __m512i LanePairs(uint64_t lo, uint64_t hi) {
    return _mm512_set_epi64(static_cast<long long>(hi), static_cast<long long>(lo),
                            static_cast<long long>(hi), static_cast<long long>(lo),
                            static_cast<long long>(hi), static_cast<long long>(lo),
                            static_cast<long long>(hi), static_cast<long long>(lo));
}

// Sixteen 128-bit lanes in four 512-bit registers, folded forward 256 bytes at a time, then
// into one register, whose four lanes are folded into one.
FP_UTILS_TARGET_WIDE_FOLDING uint32_t UpdateWideFolding(uint32_t crc, const uint8_t* p, size_t n) {
    if (n < 256) return UpdateFolding(crc, p, n);
    const __m512i seed =
        _mm512_inserti32x4(_mm512_setzero_si512(), _mm_cvtsi32_si128(static_cast<int>(crc)), 0);
    __m512i x0 = _mm512_xor_si512(Load512(p), seed);
    __m512i x1 = Load512(p + 64);
    __m512i x2 = Load512(p + 128);
    __m512i x3 = Load512(p + 192);
    p += 256;
    n -= 256;
    const __m512i k16 = LanePairs(FoldConstant(2048 + 32), FoldConstant(2048 - 32));
    while (n >= 256) {
        x0 = Fold512(x0, k16, Load512(p));
        x1 = Fold512(x1, k16, Load512(p + 64));
        x2 = Fold512(x2, k16, Load512(p + 128));
        x3 = Fold512(x3, k16, Load512(p + 192));
        p += 256;
        n -= 256;
    }
    const __m512i k4 = LanePairs(kFold4[0], kFold4[1]);
    x0 = Fold512(x0, k4, x1);
    x0 = Fold512(x0, k4, x2);
    x0 = Fold512(x0, k4, x3);
    while (n >= 64) {
        x0 = Fold512(x0, k4, Load512(p));
        p += 64;
        n -= 64;
    }
    // Lanes 0, 1 and 2 move forward by 384, 256 and 128 bits onto lane 3.
    const __m512i k_lanes = _mm512_set_epi64(0, 0, static_cast<long long>(FoldConstant(128 - 32)),
                                             static_cast<long long>(FoldConstant(128 + 32)),
                                             static_cast<long long>(FoldConstant(256 - 32)),
                                             static_cast<long long>(FoldConstant(256 + 32)),
                                             static_cast<long long>(FoldConstant(384 - 32)),
                                             static_cast<long long>(FoldConstant(384 + 32)));
    const __m512i moved = _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x0, k_lanes, 0x00),
                                                    _mm512_clmulepi64_epi128(x0, k_lanes, 0x11),
                                                    _mm512_setzero_si512(), 0x96);
    alignas(64) uint8_t lanes[2][64];
    _mm512_store_si512(lanes[0], x0);
    _mm512_store_si512(lanes[1], moved);
    __m128i x = Load128(lanes[0] + 48);
    for (int lane = 0; lane < 3; ++lane) x = _mm_xor_si128(x, Load128(lanes[1] + 16 * lane));
    return FinishFolding(x, p, n);
}

bool CpuCanFold() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}

bool CpuCanFoldWide() {
    return CpuCanFold() && __builtin_cpu_supports("avx512f") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("vpclmulqdq");
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
    Crc32Kernel kernels[3];
    size_t count = 0;

    KernelList() {
        kernels[count++] = {"slice-by-8", UpdateSliceBy8};
#if FP_UTILS_CRC32_FOLDING
        if (CpuCanFold()) kernels[count++] = {"pclmul-folding", UpdateFolding};
        if (CpuCanFoldWide()) kernels[count++] = {"vpclmul-avx512-folding", UpdateWideFolding};
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
