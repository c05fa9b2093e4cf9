// Plain versions of the sampling work, written straight from the rules and without any care
// for speed: the library's versions must give exactly the same answers.
#pragma once

#include "fp_utils/geometry.h"

namespace android {
namespace fp_utils {
namespace testing {

// Works out the angle's sine and cosine and the semi-axes on every call.
bool ReferenceEllipseContains(const Ellipse& e, const Point& p);

// The grid count step by step: properties, corner tests, then every grid point asked of both
// shapes (unless a shape's corners were all inside), coordinates accumulated by addition.
void ReferenceNumOfPointsIn(const Rect& rect, const IShape& s1, const IShape& s2, unsigned& in_s1,
                            unsigned& in_s2, unsigned& in_both);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
