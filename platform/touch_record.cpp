#include "platform/touch_record.h"

#include <cmath>
#include <cstring>

namespace android {
namespace fp_utils {
namespace {

constexpr uint32_t kUnscaledTouchId = 0xFFFFFFFF;
constexpr uint32_t kInvalidTouchState = 0xFFFFFFFF;
constexpr uint32_t kTouchStateCount = 3;
constexpr double kPi = 3.14159265358979323846;

constexpr size_t kRawTimestamp = 0;
constexpr size_t kRawCoords = 8;  // five groups of four u16
constexpr size_t kRawPointX = 48;
constexpr size_t kRawPointY = 52;
constexpr size_t kRawOrientation = 56;
constexpr size_t kRawTouchId = 60;
constexpr size_t kRawTouchState = 64;
constexpr size_t kRawTouchValue = 68;
constexpr size_t kRawExtra = 73;
constexpr size_t kRawFlagA = 81;
constexpr size_t kRawFlagB = 82;

template <typename T>
T Load(const uint8_t* p) {
    T v;
    memcpy(&v, p, sizeof(v));
    return v;
}

struct Multiply {
    float reciprocal;
    float operator()(float v) const { return v * reciprocal; }
};

struct Divide {
    float divisor;
    float operator()(float v) const { return v / divisor; }
};

template <typename Scale>
inline void ConvertCoords(const uint8_t* raw, Scale scale, float* out) {
    uint16_t v[4];
    memcpy(v, raw, sizeof(v));
    for (size_t k = 0; k < 4; ++k) out[k] = scale(static_cast<float>(v[k]));
}

template <typename Scale>
inline void ConvertScaled(const uint8_t* raw, Scale scale, TouchEvent* e) {
    const uint8_t* coords = raw + kRawCoords;
    constexpr size_t kGroup = 4 * sizeof(uint16_t);
    ConvertCoords(coords, scale, e->coords_0);
    ConvertCoords(coords + kGroup, scale, e->coords_1);
    ConvertCoords(coords + 2 * kGroup, scale, e->coords_2);
    ConvertCoords(coords + 3 * kGroup, scale, e->coords_3);
    ConvertCoords(coords + 4 * kGroup, scale, e->coords_4);
    e->point_x = scale(static_cast<float>(Load<int32_t>(raw + kRawPointX)));
    e->point_y = scale(static_cast<float>(Load<int32_t>(raw + kRawPointY)));
}

}  // namespace

// A float power of two 2^k has an exact reciprocal 2^-k as long as that stays a normal
// number, and multiplying by it is exact for the converted integers (at most 2^32 in
// magnitude), which never leave the normal range.
TouchScaling::TouchScaling(uint32_t scaling_factor)
    : divisor_(static_cast<float>(scaling_factor)), exact_reciprocal_(false), reciprocal_(0) {
    int exponent = 0;
    if (divisor_ > 0 && std::frexp(divisor_, &exponent) == 0.5f) {
        exact_reciprocal_ = true;
        reciprocal_ = std::ldexp(1.0f, 1 - exponent);
    }
}

void ConvertRawTouchRecord(const uint8_t* raw, const TouchScaling& scaling, TouchEvent* out) {
    // Cleared, padding included, by copying a cleared record: a fixed-size copy is a few
    // vector stores, where the compiler makes a clear in place a string instruction.
    static constexpr TouchEvent kCleared = {};
    memcpy(out, &kCleared, sizeof(*out));
    TouchEvent* e = out;
    e->timestamp = Load<uint64_t>(raw + kRawTimestamp);
    e->touch_id = Load<uint32_t>(raw + kRawTouchId);
    if (e->touch_id == kUnscaledTouchId) {
        ConvertScaled(raw, Multiply{1.0f}, e);
    } else if (scaling.exact_reciprocal()) {
        ConvertScaled(raw, Multiply{scaling.reciprocal()}, e);
    } else {
        ConvertScaled(raw, Divide{scaling.divisor()}, e);
    }
    // 1/4096 of a quarter turn per unit.
    const float quarter_turns =
        static_cast<float>(Load<int32_t>(raw + kRawOrientation)) * 0.000244140625f;
    e->orientation = static_cast<float>(static_cast<double>(quarter_turns) * kPi * 0.5);
    const uint32_t state = Load<uint32_t>(raw + kRawTouchState);
    e->touch_state = state < kTouchStateCount ? state : kInvalidTouchState;
    e->touch_value = Load<uint32_t>(raw + kRawTouchValue);
    memcpy(e->extra, raw + kRawExtra, sizeof(e->extra));
    e->flag_a = raw[kRawFlagA];
    e->flag_b = raw[kRawFlagB];
}

}  // namespace fp_utils
}  // namespace android
