// Cost of the coverage estimation by sampling: a 100 x 100 square (10,201 grid points with the
// default properties) against a finger's contact ellipse, as the HAL asks on every touch.
#include <benchmark/benchmark.h>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"

namespace android {
namespace fp_utils {
namespace {

const Rect kSquare(0, 0, 100, 100);
const Ellipse kTouch(50, 50, 70, 40, 0.4f);

// The same ellipse, tested the plain way (angle and axes worked out for every point).
class PlainEllipse : public IShape {
  public:
    explicit PlainEllipse(const Ellipse& e) : e_(e) {}
    std::string Print() const override { return e_.Print(); }
    bool Contains(const Point& p) const override {
        return testing::ReferenceEllipseContains(e_, p);
    }

  private:
    Ellipse e_;
};

void BM_SquareCoveredByEllipse(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(kSquare.CoverageCoveredBy(kTouch));
    state.SetItemsProcessed(state.iterations() * 101 * 101);
}
BENCHMARK(BM_SquareCoveredByEllipse);

void BM_SquareCoveredByEllipse_PlainWalk(benchmark::State& state) {
    const PlainEllipse touch(kTouch);
    for (auto _ : state) {
        unsigned in_s1, in_s2, in_both;
        testing::ReferenceNumOfPointsIn(kSquare, kSquare, touch, in_s1, in_s2, in_both);
        benchmark::DoNotOptimize(in_both);
    }
    state.SetItemsProcessed(state.iterations() * 101 * 101);
}
BENCHMARK(BM_SquareCoveredByEllipse_PlainWalk);

// A sensor circle of the same extent: both shapes are asked about every point.
void BM_CircleCoveredByEllipse(benchmark::State& state) {
    const Circle sensor(50, 50, 50);
    for (auto _ : state) benchmark::DoNotOptimize(sensor.CoverageCoveredBy(kTouch));
    state.SetItemsProcessed(state.iterations() * 101 * 101);
}
BENCHMARK(BM_CircleCoveredByEllipse);

void BM_EllipseContains(benchmark::State& state) {
    Point p(40, 55);
    for (auto _ : state) {
        benchmark::DoNotOptimize(kTouch.Contains(p));
        p.x += 0.001f;
    }
}
BENCHMARK(BM_EllipseContains);

}  // namespace
}  // namespace fp_utils
}  // namespace android
