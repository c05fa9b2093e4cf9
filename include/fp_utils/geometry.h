// Plane shapes in touch-panel coordinates (x grows to the right, y downwards), with
// containment tests and coverage of one shape by another.
//
// Every edge is inclusive; a NaN anywhere makes a point count as outside. Print() texts are
// cut at 127 characters. Coverage is a percentage from 0 to 100: exact for two circles,
// otherwise sampled on a grid whose size comes from the properties
// "persist.vendor.udfps.geometry.rect.x_axis_scan_points" and
// "persist.vendor.udfps.geometry.rect.y_axis_scan_points", read on every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT Point {
  public:
    Point() = default;
    Point(float x, float y) : x(x), y(y) {}
    virtual ~Point() = default;
    virtual std::string Print() const;

    float x = 0;
    float y = 0;
};

class FP_UTILS_EXPORT IShape {
  public:
    virtual ~IShape() = default;
    virtual std::string Print() const = 0;
    virtual bool Contains(const Point& p) const = 0;
    // Tests the ny x nx grid points (xs[col], ys[row]) at once, row by row: inside[row * nx +
    // col] is 1 where Contains would answer true and 0 elsewhere, bit for bit the same
    // answers. The library's shapes test many points in one pass; the default asks Contains
    // about each point, so a shape of the HAL's own needs only Contains. (Defined here, so
    // that the interface keeps no out-of-line virtual function and callers built with RTTI
    // can derive from it.)
    virtual void ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                              uint8_t* inside) const {
        for (size_t row = 0; row < ny; ++row) {
            for (size_t col = 0; col < nx; ++col) {
                *inside++ = Contains(Point(xs[col], ys[row])) ? 1 : 0;
            }
        }
    }
};

class FP_UTILS_EXPORT Circle : public IShape {
  public:
    Circle() = default;
    Circle(float x, float y, float r) : center(x, y), r(r) {}
    std::string Print() const override;
    bool Contains(const Point& p) const override;
    void ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                      uint8_t* inside) const override;

    // Share of this circle's area inside `other`, in percent, in closed form.
    float CoverageCoveredBy(const Circle& other) const;
    // Share of this circle covered by any shape, by sampling its bounding square.
    float CoverageCoveredBy(const IShape& other) const;

    Point center;
    float r = 0;
};

// `major` and `minor` are full axis lengths; `orientation` is the angle of the major axis in
// radians, 0 meaning vertical, positive turning it towards +x.
class FP_UTILS_EXPORT Ellipse : public IShape {
  public:
    Ellipse() { terms_ = MakeTerms(major, minor, orientation); }
    Ellipse(float x, float y, float major, float minor, float orientation)
        : center(x, y), major(major), minor(minor), orientation(orientation) {
        terms_ = MakeTerms(major, minor, orientation);
    }
    std::string Print() const override;
    bool Contains(const Point& p) const override;
    void ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                      uint8_t* inside) const override;

    Point center;
    float major = 0;
    float minor = 0;
    float orientation = 0;

  private:
    // The per-ellipse part of the containment test (the angle's sine and cosine, the squared
    // semi-axes), worked out by the constructors for the axes and angle given there. Contains
    // uses them while major, minor and orientation still hold exactly those values, and works
    // them out afresh otherwise, so assigning the fields directly stays correct.
    struct Terms {
        float major;
        float minor;
        float orientation;
        float sin_o;
        float cos_o;
        double a2;
        double b2;
    };
    static Terms MakeTerms(float major, float minor, float orientation);
    // terms_ while they still fit the fields, else fresh ones worked out into `scratch`.
    const Terms& CurrentTerms(Terms* scratch) const;

    Terms terms_;
};

// Not normalised: left <= right and top <= bottom are assumed.
class FP_UTILS_EXPORT Rect : public IShape {
  public:
    Rect() = default;
    Rect(float left, float top, float right, float bottom)
        : left_top(left, top), right_bottom(right, bottom) {}
    std::string Print() const override;
    bool Contains(const Point& p) const override;
    void ContainsGrid(const float* xs, size_t nx, const float* ys, size_t ny,
                      uint8_t* inside) const override;

    // Share of this rectangle covered by `other`, in percent, by sampling.
    float CoverageCoveredBy(const IShape& other) const;
    // Counts the grid points of this rectangle inside s1, inside s2 and inside both.
    void NumOfPointsIn(const IShape& s1, const IShape& s2, unsigned& in_s1, unsigned& in_s2,
                       unsigned& in_both) const;

    Point left_top;
    Point right_bottom;
};

}  // namespace fp_utils
}  // namespace android
