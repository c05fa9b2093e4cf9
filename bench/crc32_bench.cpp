// crc32 against zlib's on the same buffers, from a record head's size up to a megabyte.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdint>
#include <vector>

#include "fp_utils/crc32.h"

namespace android {
namespace fp_utils {
namespace {

const std::vector<uint8_t>& Buffer() {
    static const std::vector<uint8_t> buffer = [] {
        std::vector<uint8_t> b(1 << 20);
        uint32_t x = 12345;
        for (uint8_t& byte : b) {
            x = x * 1103515245u + 12345u;
            byte = static_cast<uint8_t>(x >> 16);
        }
        return b;
    }();
    return buffer;
}

void BM_Crc32(benchmark::State& state) {
    const size_t length = static_cast<size_t>(state.range(0));
    const uint8_t* data = Buffer().data();
    for (auto _ : state) benchmark::DoNotOptimize(crc32(data, length));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * length));
}

void BM_Crc32_Zlib(benchmark::State& state) {
    const size_t length = static_cast<size_t>(state.range(0));
    const uint8_t* data = Buffer().data();
    for (auto _ : state) {
        benchmark::DoNotOptimize(::crc32(0L, data, static_cast<uInt>(length)));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * length));
}

BENCHMARK(BM_Crc32)->Arg(16)->Arg(64)->Arg(256)->Arg(4096)->Arg(1 << 20);
BENCHMARK(BM_Crc32_Zlib)->Arg(16)->Arg(64)->Arg(256)->Arg(4096)->Arg(1 << 20);

}  // namespace
}  // namespace fp_utils
}  // namespace android
