#include "fp_utils/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace {

TEST(Crc32, CheckValueAndEmptyInput) {
    EXPECT_EQ(crc32("123456789", 9), 0xCBF43926u);
    // A zero length never reads the data.
    EXPECT_EQ(crc32(nullptr, 0), 0u);
    EXPECT_EQ(crc32("abc", 0), 0u);
}

TEST(Crc32, MatchesZlibOnEdgeAndRandomInputs) {
    std::mt19937 rng(1234);
    std::vector<uint8_t> data(4096);
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = i < 300 ? 0 : i < 600 ? 0xFF : static_cast<uint8_t>(rng());  // runs, then noise
    }
    std::vector<size_t> lengths = {1, 2, 3, 7, 8, 9, 31, 32, 33, 255, 256, 300, 1023, 1024, 4096};
    for (int i = 0; i < 200; ++i) lengths.push_back(rng() % data.size() + 1);
    for (size_t length : lengths) {
        size_t offset = rng() % (data.size() - length + 1);
        uLong expected = ::crc32(0L, data.data() + offset, static_cast<uInt>(length));
        EXPECT_EQ(android::fp_utils::crc32(data.data() + offset, length), expected)
            << "length " << length << " offset " << offset;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
