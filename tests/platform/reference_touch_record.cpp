#include "tests/platform/reference_touch_record.h"

#include <cstring>

namespace android {
namespace fp_utils {
namespace testing {

template <typename T>
static T At(const uint8_t* raw, size_t offset) {
    T v;
    memcpy(&v, raw + offset, sizeof(v));
    return v;
}

void ReferenceConvertRawTouchRecord(const uint8_t* raw, uint32_t scaling_factor, TouchEvent* e) {
    memset(e, 0, sizeof(*e));
    e->timestamp = At<uint64_t>(raw, 0);
    e->touch_id = At<uint32_t>(raw, 60);
    const float divisor = e->touch_id == 0xFFFFFFFF ? 1.0f : static_cast<float>(scaling_factor);
    float* coords[5] = {e->coords_0, e->coords_1, e->coords_2, e->coords_3, e->coords_4};
    for (int i = 0; i < 20; ++i) {
        coords[i / 4][i % 4] = static_cast<float>(At<uint16_t>(raw, 8 + 2 * i)) / divisor;
    }
    e->point_x = static_cast<float>(At<int32_t>(raw, 48)) / divisor;
    e->point_y = static_cast<float>(At<int32_t>(raw, 52)) / divisor;
    const float turns = static_cast<float>(At<int32_t>(raw, 56)) * 0.000244140625f;
    e->orientation = static_cast<float>(static_cast<double>(turns) * 3.14159265358979323846 * 0.5);
    const uint32_t state = At<uint32_t>(raw, 64);
    e->touch_state = state < 3 ? state : 0xFFFFFFFF;
    e->touch_value = At<uint32_t>(raw, 68);
    memcpy(e->extra, raw + 73, 8);
    e->flag_a = raw[81];
    e->flag_b = raw[82];
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
