// Conversion of a full batch of 128 touch records, as the touch handler's worker does for
// every read, against a plain copy of the same batch.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/touch_device.h"
#include "platform/touch_record.h"

namespace android {
namespace fp_utils {
namespace {

std::string Batch() {
    std::vector<host::RawTouchRecord> records(host::kTouchMaxSlots);
    for (size_t i = 0; i < records.size(); ++i) {
        host::RawTouchRecord& r = records[i];
        r.timestamp = 1000 + i;
        for (int k = 0; k < 20; ++k) r.coords[k / 4][k % 4] = static_cast<uint16_t>(100 * i + k);
        r.point_x = static_cast<int32_t>(2000 + i);
        r.point_y = static_cast<int32_t>(3000 + i);
        r.orientation = static_cast<int32_t>(i * 30) - 2048;
        r.touch_id = static_cast<uint32_t>(i % 10);
        r.touch_state = static_cast<uint32_t>(i % 3);
    }
    return host::EncodeTouchBatch(records);
}

// The scaling factor of a panel whose touch resolution is twice its display's, and one that
// is not a power of two.
void BM_TouchBatchConversion(benchmark::State& state) {
    const std::string batch = Batch();
    const TouchScaling scaling(static_cast<uint32_t>(state.range(0)));
    TouchEvent event;
    for (auto _ : state) {
        const uint8_t* raw =
            reinterpret_cast<const uint8_t*>(batch.data()) + host::kTouchBatchHeaderSize;
        for (size_t i = 0; i < host::kTouchMaxSlots; ++i) {
            ConvertRawTouchRecord(raw + i * host::kTouchSlotSize, scaling, &event);
            benchmark::DoNotOptimize(event);
        }
    }
    state.counters["records/s"] = benchmark::Counter(static_cast<double>(host::kTouchMaxSlots),
                                                     benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_TouchBatchConversion)->Arg(2)->Arg(3);

void BM_TouchBatchConversion_Memcpy(benchmark::State& state) {
    const std::string batch = Batch();
    std::vector<uint8_t> copy(batch.size());
    for (auto _ : state) {
        memcpy(copy.data(), batch.data(), batch.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * batch.size()));
}
BENCHMARK(BM_TouchBatchConversion_Memcpy);

}  // namespace
}  // namespace fp_utils
}  // namespace android
