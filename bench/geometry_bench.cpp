// Coverage of a sensor circle (r = 50, a 101 x 101 grid with the default properties) by a
// finger's contact ellipse, as the HAL asks on every touch, beside the plain grid walk that
// asks every point of both shapes one at a time.
#include <benchmark/benchmark.h>

#include "fp_utils/geometry.h"
#include "tests/geometry/reference_geometry.h"

namespace android {
namespace fp_utils {
namespace {

const Circle kSensor(540, 1600, 50);
const Ellipse kTouch(555, 1610, 110, 80, 0.3f);
constexpr int kGridPoints = 101 * 101;

// The ellipse tested the plain way: angle and axes worked out for every point.
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

void BM_CircleCoveredByEllipse(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(kSensor.CoverageCoveredBy(kTouch));
    state.counters["points/s"] =
        benchmark::Counter(kGridPoints, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CircleCoveredByEllipse)->Unit(benchmark::kMicrosecond);

void BM_CircleCoveredByEllipse_PlainWalk(benchmark::State& state) {
    const PlainEllipse touch(kTouch);
    const Rect square(kSensor.center.x - kSensor.r, kSensor.center.y - kSensor.r,
                      kSensor.center.x + kSensor.r, kSensor.center.y + kSensor.r);
    for (auto _ : state) {
        unsigned in_s1, in_s2, in_both;
        testing::ReferenceNumOfPointsIn(square, kSensor, touch, in_s1, in_s2, in_both);
        benchmark::DoNotOptimize(static_cast<float>(in_both) / static_cast<float>(in_s1) * 100);
    }
    state.counters["points/s"] =
        benchmark::Counter(kGridPoints, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CircleCoveredByEllipse_PlainWalk)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace fp_utils
}  // namespace android
