#include "fp_utils/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <vector>

#include "history/crc32_kernels.h"

namespace android {
namespace fp_utils {
namespace {

TEST(Crc32, CheckValueAndEmptyInput) {
    EXPECT_EQ(crc32("123456789", 9), 0xCBF43926u);
    // A zero length never reads the data.
    EXPECT_EQ(crc32(nullptr, 0), 0u);
    EXPECT_EQ(crc32("abc", 0), 0u);
}

// Every kernel this CPU runs, and crc32() itself, against zlib on every length from 0 to 4096
// at every offset within a 16-byte block, over runs of zeros and ones and then noise.
TEST(Crc32, EveryKernelMatchesZlibAtEveryLengthAndAlignment) {
    constexpr size_t kMaxLength = 4096;
    constexpr size_t kAlignments = 16;
    std::mt19937 rng(1234);
    std::vector<uint8_t> data(kMaxLength + kAlignments);
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = i < 300 ? 0 : i < 600 ? 0xFF : static_cast<uint8_t>(rng());
    }
    size_t count = 0;
    const Crc32Kernel* kernels = AvailableCrc32Kernels(&count);
    ASSERT_GE(count, 1u);
    for (size_t offset = 0; offset < kAlignments; ++offset) {
        const uint8_t* p = data.data() + offset;
        uLong expected = ::crc32(0L, Z_NULL, 0);
        for (size_t length = 0; length <= kMaxLength; ++length) {
            if (length > 0) expected = ::crc32(expected, p + length - 1, 1);
            for (size_t k = 0; k < count; ++k) {
                ASSERT_EQ(~kernels[k].update(0xFFFFFFFFu, p, length), expected)
                    << kernels[k].name << " length " << length << " offset " << offset;
            }
            if (length > 0) {
                ASSERT_EQ(android::fp_utils::crc32(p, length), expected)
                    << "length " << length << " offset " << offset;
            }
        }
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
