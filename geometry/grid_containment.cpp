// Containment of many grid points at once. Every shape gives, point for point, exactly the
// answer of its Contains: the same float operations in the same order, four points at a time
// in vector registers (SSE2 on x86-64, NEON on arm64, through the compiler's vector types).
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

#include "fp_utils/geometry.h"
#include "geometry/containment.h"

namespace android {
namespace fp_utils {
namespace {

// Four points per step, in the machine's 128-bit vector registers.
constexpr size_t kLanes = 4;
typedef float Floats __attribute__((vector_size(16)));
typedef int32_t Masks __attribute__((vector_size(16)));

Floats LoadFloats(const float* p) {
    Floats v;
    memcpy(&v, p, sizeof(v));
    return v;
}

Floats Splat(float x) {
    return Floats{x, x, x, x};
}

// Comparison results (-1 or 0 per lane) as four bits, lane 0 lowest.
unsigned MaskBits(Masks m) {
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(m)));
#elif defined(__ARM_NEON)
    const uint32x4_t lanes = vshrq_n_u32(vreinterpretq_u32_s32(m), 31);
    const uint32x4_t weights = {1, 2, 4, 8};
    return vaddvq_u32(vmulq_u32(lanes, weights));
#else
    return (m[0] & 1) | (m[1] & 2) | (m[2] & 4) | (m[3] & 8);
#endif
}

// Four bits as four bytes of 0 or 1, lane 0 first.
struct FlagBytes {
    uint8_t bytes[16][4];

    constexpr FlagBytes() : bytes() {
        for (unsigned bits = 0; bits < 16; ++bits) {
            for (unsigned k = 0; k < 4; ++k) bytes[bits][k] = (bits >> k) & 1;
        }
    }
};

constexpr FlagBytes kFlagBytes;

void StoreFlags(unsigned bits, uint8_t* out) {
    memcpy(out, kFlagBytes.bytes[bits], 4);
}

}  // namespace

float CircleSquaredDistanceLimit(float r) {
    if (!(r >= 0)) return -1.0f;
    if (std::isinf(r)) return r;
    float s = r * r;
    if (std::isinf(s)) s = std::numeric_limits<float>::max();
    while (s > 0 && std::sqrt(s) > r) s = std::nextafter(s, 0.0f);
    while (s < std::numeric_limits<float>::max() &&
           std::sqrt(std::nextafter(s, std::numeric_limits<float>::infinity())) <= r) {
        s = std::nextafter(s, std::numeric_limits<float>::infinity());
    }
    return s;
}

// Compared against the largest squared distance whose square root is within the radius,
// which gives the same answer as taking the root (see CircleSquaredDistanceLimit).
void Circle::ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                          uint8_t* inside) const {
    const float limit = CircleSquaredDistanceLimit(r);
    const Floats cx = Splat(center.x);
    const Floats vlimit = Splat(limit);
    for (size_t row = 0; row < ny; ++row, inside += nx) {
        const float dy = ys[row] - center.y;
        const float dyy = dy * dy;
        const Floats vdyy = Splat(dyy);
        size_t col = 0;
        for (; col + kLanes <= nx; col += kLanes) {
            const Floats dx = LoadFloats(xs + col) - cx;
            const Floats s = dx * dx + vdyy;
            StoreFlags(MaskBits(s <= vlimit), inside + col);
        }
        for (; col < nx; ++col) {
            const float dx = xs[col] - center.x;
            inside[col] = dx * dx + dyy <= limit ? 1 : 0;
        }
    }
}

// The normalised sum is first estimated in float with reciprocals of the squared semi-axes;
// a point whose estimate is clearly inside or outside is decided by it, and any other point
// (near the boundary, or NaN) by the exact test. See EllipseEstimate for the bounds.
void Ellipse::ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                           uint8_t* inside) const {
    Terms fresh;
    const Terms& t = CurrentTerms(&fresh);
    const EllipseEstimate estimate(t.a2, t.b2);
    const Floats cx = Splat(center.x);
    const Floats vs = Splat(t.sin_o);
    const Floats vc = Splat(t.cos_o);
    const Floats ra = Splat(estimate.inverse_a2);
    const Floats rb = Splat(estimate.inverse_b2);
    const Floats surely_in = Splat(EllipseEstimate::kSurelyInside);
    const Floats surely_out = Splat(EllipseEstimate::kSurelyOutside);
    for (size_t row = 0; row < ny; ++row, inside += nx) {
        const float dy = ys[row] - center.y;
        const float dyc = dy * t.cos_o;
        const float dys = dy * t.sin_o;
        const Floats vdyc = Splat(dyc);
        const Floats vdys = Splat(dys);
        size_t col = 0;
        if (estimate.usable) {
            for (; col + kLanes <= nx; col += kLanes) {
                const Floats dx = LoadFloats(xs + col) - cx;
                const Floats u = dx * vs - vdyc;
                const Floats v = dx * vc + vdys;
                const Floats q = u * u * ra + v * v * rb;
                const unsigned in = MaskBits(q < surely_in);
                const unsigned out = MaskBits(q > surely_out);
                StoreFlags(in, inside + col);
                const unsigned undecided = ~(in | out) & 0xF;
                if (undecided == 0) continue;
                for (size_t k = 0; k < kLanes; ++k) {
                    if ((undecided >> k) & 1) {
                        inside[col + k] = EllipseSumInside(u[k], v[k], t.a2, t.b2) ? 1 : 0;
                    }
                }
            }
        }
        for (; col < nx; ++col) {
            const float dx = xs[col] - center.x;
            const float u = dx * t.sin_o - dyc;
            const float v = dx * t.cos_o + dys;
            inside[col] = EllipseSumInside(u, v, t.a2, t.b2) ? 1 : 0;
        }
    }
}

void Rect::ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                        uint8_t* inside) const {
    const Floats left = Splat(left_top.x);
    const Floats right = Splat(right_bottom.x);
    for (size_t row = 0; row < ny; ++row, inside += nx) {
        if (!(left_top.y <= ys[row] && ys[row] <= right_bottom.y)) {
            memset(inside, 0, nx);
            continue;
        }
        size_t col = 0;
        for (; col + kLanes <= nx; col += kLanes) {
            const Floats x = LoadFloats(xs + col);
            StoreFlags(MaskBits((left <= x) & (x <= right)), inside + col);
        }
        for (; col < nx; ++col) {
            inside[col] = left_top.x <= xs[col] && xs[col] <= right_bottom.x ? 1 : 0;
        }
    }
}

}  // namespace fp_utils
}  // namespace android
