#include "platform/touch_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/touch_device.h"
#include "tests/platform/reference_touch_record.h"

namespace android {
namespace fp_utils {
namespace {

// Random slots, with extreme points and the unscaled touch id mixed in, converted under
// scaling factors that are powers of two (as floats, 2^32 included), odd, zero and random.
TEST(TouchRecordDifferential, ConversionMatchesThePlainDivisionBitForBit) {
    std::mt19937 rng(77);
    std::vector<uint32_t> factors = {
        0,    1,     2,     3,          4,          5,          8,          1000,
        1024, 65536, 65537, 0x40000000, 0x80000000, 0x80000001, 0xFFFFFF7F, 0xFFFFFFFF};
    for (int i = 0; i < 20; ++i) factors.push_back(static_cast<uint32_t>(rng()));
    const int32_t extremes[] = {0, 1, -1, INT32_MIN, INT32_MAX, 16777217, -16777217};
    for (uint32_t factor : factors) {
        const TouchScaling scaling(factor);
        for (int n = 0; n < 200; ++n) {
            host::RawTouchRecord r;
            r.timestamp = (static_cast<uint64_t>(rng()) << 32) | rng();
            for (auto& group : r.coords) {
                for (uint16_t& c : group) c = static_cast<uint16_t>(rng());
            }
            r.point_x = n % 4 == 0 ? extremes[rng() % 7] : static_cast<int32_t>(rng());
            r.point_y = n % 5 == 0 ? extremes[rng() % 7] : static_cast<int32_t>(rng());
            r.orientation = n % 3 == 0 ? extremes[rng() % 7] : static_cast<int32_t>(rng() % 9000);
            r.touch_id = n % 4 == 1 ? 0xFFFFFFFF : static_cast<uint32_t>(rng());
            r.touch_state = static_cast<uint32_t>(rng() % 5);
            r.touch_value = static_cast<uint32_t>(rng());
            for (uint8_t& b : r.extra) b = static_cast<uint8_t>(rng());
            r.flag_a = static_cast<uint8_t>(rng());
            r.flag_b = static_cast<uint8_t>(rng());
            const std::string slot = host::EncodeTouchSlot(r);
            const uint8_t* raw = reinterpret_cast<const uint8_t*>(slot.data());
            TouchEvent fast;
            TouchEvent plain;
            memset(&fast, 0xAB, sizeof(fast));
            ConvertRawTouchRecord(raw, scaling, &fast);
            testing::ReferenceConvertRawTouchRecord(raw, factor, &plain);
            ASSERT_EQ(0, memcmp(&fast, &plain, sizeof(fast)))
                << "factor " << factor << " record " << n;
        }
    }
}

TEST(TouchRecord, OnlyFloatPowersOfTwoAreAppliedByMultiplication) {
    EXPECT_TRUE(TouchScaling(1).exact_reciprocal());
    EXPECT_TRUE(TouchScaling(0x80000000).exact_reciprocal());
    // 2^32 - 1 becomes 2^32 as a float.
    EXPECT_TRUE(TouchScaling(0xFFFFFFFF).exact_reciprocal());
    EXPECT_FALSE(TouchScaling(0).exact_reciprocal());
    EXPECT_FALSE(TouchScaling(3).exact_reciprocal());
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
