// Text forms and containment tests of the plane shapes.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "fp_utils/geometry.h"
#include "geometry/containment.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

bool SameBits(float a, float b) {
    uint32_t x;
    uint32_t y;
    memcpy(&x, &a, sizeof(x));
    memcpy(&y, &b, sizeof(y));
    return x == y;
}

}  // namespace

std::string Point::Print() const {
    return FormatFixed(kShortText, "Point(%.2f, %.2f)", static_cast<double>(x),
                       static_cast<double>(y));
}

std::string Circle::Print() const {
    return FormatFixed(kShortText, "Circle(x:%.2f, y:%.2f, r:%.2f)", static_cast<double>(center.x),
                       static_cast<double>(center.y), static_cast<double>(r));
}

std::string Ellipse::Print() const {
    return FormatFixed(kShortText, "Ellipse(x:%.2f, y:%.2f, M:%.2f, m:%.2f, o:%.2f)",
                       static_cast<double>(center.x), static_cast<double>(center.y),
                       static_cast<double>(major), static_cast<double>(minor),
                       static_cast<double>(orientation));
}

std::string Rect::Print() const {
    return FormatFixed(kShortText, "Rect(%.2f, %.2f - %.2f, %.2f)", static_cast<double>(left_top.x),
                       static_cast<double>(left_top.y), static_cast<double>(right_bottom.x),
                       static_cast<double>(right_bottom.y));
}

// The distance itself is compared, not its square: a point is inside when it lies no farther
// from the centre than the radius. NaN fails the comparison.
bool Circle::Contains(const Point& p) const {
    const float dx = p.x - center.x;
    const float dy = p.y - center.y;
    const float d = sqrtf(dx * dx + dy * dy);
    return d <= r;
}

Ellipse::Terms Ellipse::MakeTerms(float major, float minor, float orientation) {
    Terms t;
    t.major = major;
    t.minor = minor;
    t.orientation = orientation;
    sincosf(orientation, &t.sin_o, &t.cos_o);
    const float a = major * 0.5f;
    const float b = minor * 0.5f;
    t.a2 = static_cast<double>(a) * static_cast<double>(a);
    t.b2 = static_cast<double>(b) * static_cast<double>(b);
    return t;
}

// The point is turned into the ellipse's own axes: u along the major axis, which points along
// (sin o, -cos o), and v along the minor axis, (cos o, sin o). The normalised sum is formed in
// double and rounded to float before the comparison with 1. A zero-length axis makes the sum
// infinite or NaN, so no point is inside.
bool Ellipse::Contains(const Point& p) const {
    Terms scratch;
    const Terms& t = CurrentTerms(&scratch);
    const float dx = p.x - center.x;
    const float dy = p.y - center.y;
    const float u = dx * t.sin_o - dy * t.cos_o;
    const float v = dx * t.cos_o + dy * t.sin_o;
    return EllipseSumInside(u, v, t.a2, t.b2);
}

const Ellipse::Terms& Ellipse::CurrentTerms(Terms* scratch) const {
    if (SameBits(terms_.major, major) && SameBits(terms_.minor, minor) &&
        SameBits(terms_.orientation, orientation)) {
        return terms_;
    }
    *scratch = MakeTerms(major, minor, orientation);
    return *scratch;
}

// Edges are inclusive. The rectangle is taken as it stands: with left > right (or top >
// bottom) nothing is inside.
bool Rect::Contains(const Point& p) const {
    return left_top.x <= p.x && p.x <= right_bottom.x && left_top.y <= p.y && p.y <= right_bottom.y;
}

}  // namespace fp_utils
}  // namespace android
