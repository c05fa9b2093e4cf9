// Start-up load and whole-file rewrite of a 10,000-record authentication history, each beside
// its reference measured in the same run: the plain loader (scanf and a regular expression
// built for every record) and a plain write of the same bytes. The files live in a private
// device root, on tmpfs where the machine has /dev/shm.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "fp_utils/auth_stats.h"
#include "fp_utils/critical_errors.h"
#include "fp_utils/enroll_event_container.h"
#include "fp_utils/finger_size.h"
#include "host/support/temp_root.h"
#include "root_mapping/device_path.h"
#include "tests/history/reference_history.h"

namespace android {
namespace fp_utils {
namespace {

constexpr uint32_t kRecords = 10000;
constexpr char kName[] = "bench";
constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.bench";

// A day's worth of varied attempts: matches, rejections with their reasons, partial captures.
void Fill(AuthStatsG7& stats) {
    for (uint32_t i = 0; i < kRecords; ++i) {
        auto e = std::static_pointer_cast<AuthEventG7>(stats.CreateAttempt());
        e->time = 0x65e72723 + i * 37;
        e->acquired_info = i % 7 == 0 ? 2 : 1;
        e->auth_successful = i % 5 != 0;
        e->fid = static_cast<int32_t>(i % 5);
        e->latency = 150 + static_cast<int32_t>(i % 40);
        e->iq = 40 + static_cast<int32_t>(i % 30);
        e->t_cov = 40.0f + static_cast<float>(i % 600) / 10.0f;
        e->t_dist = static_cast<float>(i % 33) * 0.37f;
        e->lptw = i % 3;
        e->rc = i % 5 != 0 ? 0 : 1013;
        e->rawmean_delta = -200 + static_cast<int32_t>(i % 400);
        e->metric_1 = 225220215;
        e->metric_2 = 83205205 + static_cast<int32_t>(i % 7);
        e->metric_3 = 119999999;
        e->match_score = 4000 + static_cast<int32_t>(i);
        for (int k = 0; k < 5; ++k) {
            e->stitch_img_num_[k] = k + static_cast<int32_t>(i % 3);
            e->stitch_img_area_[k] = 1000 * (k + 1) + static_cast<int32_t>(i % 97);
        }
        stats.AddAttempt(e);
    }
}

// The private root (on tmpfs where the machine has /dev/shm), with the histories written once
// by the library.
class BenchRoot {
  public:
    BenchRoot() : root_(MakeRoot()) {
        if (!root_.ok()) abort();
        AuthStatsG7 stats(kName, kRecords, true);  // not initialised: adding never saves
        Fill(stats);
        stats.backup_path_ = kPath;
        stats.SaveAttemptsToBackupFile();
        WriteEnrollHistory();
    }

  private:
    static void WriteEnrollHistory() {
        EnrollEventContainer container;  // not initialised: adding never saves
        container.event_type_ = "EnrollEventG7";
        for (size_t i = 0; i < EnrollEventContainer::kMaxEvents; ++i) {
            auto e = std::static_pointer_cast<EnrollEventG7>(container.CreateEvent());
            e->time = 0x65e72723 + static_cast<time_t>(i);
            e->op = i % 4 == 3 ? DEL : ADD;
            e->enroll_successful = i % 3 != 0;
            e->fid = static_cast<int32_t>(1000 + i);
            e->capture_count = 14;
            e->iq_avg = 52.37f;
            e->enrolled_fingers_count = 2;
            e->rc = i % 3 == 0 ? 1 : 0;
            e->rawmean_delta = -3.5f;
            for (int k = 0; k < 5; ++k) {
                e->stitch_img_num_[k] = k;
                e->stitch_img_area_[k] = 40 + k;
            }
            container.AddEvent(e);
        }
        container.backup_path_ = "/data/vendor/fingerprint/EnrollEventContainer";
        container.SaveEventsToBackupFile();
    }

    // host::TempRoot makes its directory under $TMPDIR.
    static host::TempRoot::Layout MakeRoot() {
        if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
        return host::TempRoot::kDeviceDirs;
    }

    host::TempRoot root_;
};

void EnsureRoot() {
    static const BenchRoot root;
}

void CountRecords(benchmark::State& state) {
    state.counters["records/s"] =
        benchmark::Counter(kRecords, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_AuthHistoryInit(benchmark::State& state) {
    EnsureRoot();
    for (auto _ : state) {
        AuthStatsG7 stats(kName, kRecords, true);
        stats.Init();
        if (stats.total_attempts_ != kRecords) state.SkipWithError("history not fully loaded");
        benchmark::DoNotOptimize(stats.avg_iq_);
    }
    CountRecords(state);
}
BENCHMARK(BM_AuthHistoryInit)->Unit(benchmark::kMillisecond);

void BM_AuthHistoryInit_Reference(benchmark::State& state) {
    EnsureRoot();
    for (auto _ : state) {
        AuthStatsG7 stats(kName, kRecords, true);
        testing::ReferenceLoadAuthStats(stats, kPath);
        if (stats.total_attempts_ != kRecords) state.SkipWithError("history not fully loaded");
        benchmark::DoNotOptimize(stats.avg_iq_);
    }
    CountRecords(state);
}
BENCHMARK(BM_AuthHistoryInit_Reference)->Unit(benchmark::kMillisecond)->Iterations(1);

std::string FileBytes() {
    std::string bytes;
    FILE* f = fopen(DevicePath(kPath).c_str(), "r");
    if (f == nullptr) abort();
    char buf[65536];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), f)) > 0;) bytes.append(buf, n);
    fclose(f);
    return bytes;
}

void BM_AuthHistorySave(benchmark::State& state) {
    EnsureRoot();
    AuthStatsG7 stats(kName, kRecords, true);
    stats.Init();
    const std::string before = FileBytes();
    for (auto _ : state) stats.SaveAttemptsToBackupFile();
    if (FileBytes() != before) state.SkipWithError("the rewrite changed the file");
    CountRecords(state);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * before.size()));
}
BENCHMARK(BM_AuthHistorySave)->Unit(benchmark::kMillisecond);

void BM_AuthHistorySave_PlainWrite(benchmark::State& state) {
    EnsureRoot();
    const std::string bytes = FileBytes();
    const std::string path = DevicePath(kPath);
    for (auto _ : state) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
            state.SkipWithError("plain write failed");
        }
        close(fd);
    }
    CountRecords(state);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_AuthHistorySave_PlainWrite)->Unit(benchmark::kMillisecond);

// The enrollment history, full (50 records), as the HAL loads it when it starts.
void BM_EnrollHistoryInit(benchmark::State& state) {
    EnsureRoot();
    for (auto _ : state) {
        EnrollEventContainer container;
        container.Init("EnrollEventG7");
        if (container.events_.size() != EnrollEventContainer::kMaxEvents) {
            state.SkipWithError("history not fully loaded");
        }
        benchmark::DoNotOptimize(container.events_.back());
    }
    state.counters["records/s"] = benchmark::Counter(EnrollEventContainer::kMaxEvents,
                                                     benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_EnrollHistoryInit)->Unit(benchmark::kMicrosecond);

// What a full history holds on the heap, per record and in all: mallinfo2's allocated bytes
// before and after filling it (records, their shared-pointer control blocks, the deque).
template <typename Fill>
void ReportHeap(benchmark::State& state, size_t records, Fill fill) {
    for (auto _ : state) {
        const size_t before = mallinfo2().uordblks;
        size_t after = before;
        fill([&] { after = mallinfo2().uordblks; });
        state.counters["heap_bytes"] = static_cast<double>(after - before);
        state.counters["heap_bytes/record"] = static_cast<double>(after - before) / records;
    }
}

void BM_HeapAuthStatsG7(benchmark::State& state) {
    const uint32_t records = static_cast<uint32_t>(state.range(0));
    ReportHeap(state, records, [&](auto measure) {
        AuthStatsG7 stats(kName, records, false);
        for (uint32_t i = 0; i < records; ++i) {
            auto e = std::static_pointer_cast<AuthEventG7>(stats.CreateAttempt());
            e->acquired_info = 1;
            stats.AddAttempt(e);
        }
        measure();
    });
}
BENCHMARK(BM_HeapAuthStatsG7)->Arg(10)->Arg(1000)->Arg(kRecords)->Iterations(1);

void BM_HeapAuthStats(benchmark::State& state) {
    const uint32_t records = static_cast<uint32_t>(state.range(0));
    ReportHeap(state, records, [&](auto measure) {
        AuthStats stats(kName, records, false);
        for (uint32_t i = 0; i < records; ++i) stats.AddAttempt(stats.CreateAttempt());
        measure();
    });
}
BENCHMARK(BM_HeapAuthStats)->Arg(1000)->Iterations(1);

void BM_HeapEnrollEventContainer(benchmark::State& state) {
    ReportHeap(state, EnrollEventContainer::kMaxEvents, [&](auto measure) {
        EnrollEventContainer container;
        container.event_type_ = "EnrollEventG7";
        for (size_t i = 0; i < EnrollEventContainer::kMaxEvents; ++i) {
            container.AddEvent(container.CreateEvent());
        }
        measure();
    });
}
BENCHMARK(BM_HeapEnrollEventContainer)->Iterations(1);

void BM_HeapFingerSizes(benchmark::State& state) {
    const uint32_t records = static_cast<uint32_t>(state.range(0));
    ReportHeap(state, records, [&](auto measure) {
        FingerSizes sizes(kName, records, false);
        for (uint32_t i = 0; i < records; ++i) {
            sizes.AddFinger(std::make_shared<FingerSize>(), false);
        }
        measure();
    });
}
BENCHMARK(BM_HeapFingerSizes)->Arg(1000)->Iterations(1);

}  // namespace
}  // namespace fp_utils
}  // namespace android
