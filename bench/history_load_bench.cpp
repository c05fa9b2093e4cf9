// Start-up cost of the persistent histories: how long Init takes to read a full backup file
// back (checksum, parse and add of every record). Files are written once per run, inside a
// private FP_UTILS_ROOT, by the library's own save operations.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "fp_utils/auth_stats.h"
#include "fp_utils/enroll_event_container.h"
#include "host/support/temp_root.h"

namespace android {
namespace fp_utils {
namespace {

constexpr uint32_t kAuthRecords = 1000;
constexpr time_t kTime = 0x65e72723;

// A private device root holding one full authentication history and one full enrollment
// history, removed at exit.
class HistoryRoot {
  public:
    HistoryRoot() {
        if (!root_.ok()) abort();
        WriteAuthHistory();
        WriteEnrollHistory();
    }

  private:
    static void WriteAuthHistory() {
        AuthStatsG7 stats("bench", kAuthRecords, true);  // not initialised: adding never saves
        for (uint32_t i = 0; i < kAuthRecords; ++i) {
            auto event = std::static_pointer_cast<AuthEventG7>(stats.CreateAttempt());
            event->time = kTime + i;
            event->acquired_info = i % 7 == 0 ? 2 : 1;
            event->auth_successful = i % 5 != 0;
            event->fid = static_cast<int32_t>(i % 5);
            event->latency = 150 + static_cast<int32_t>(i % 40);
            event->iq = 40 + static_cast<int32_t>(i % 30);
            event->t_cov = 80.5f;
            event->t_dist = 1.25f;
            event->rc = i % 5 != 0 ? 0 : 1013;
            event->rawmean_delta = -200 + static_cast<int32_t>(i % 400);
            event->metric_1 = 225220215;
            event->metric_2 = 83205205;
            event->match_score = 4000 + static_cast<int32_t>(i);
            for (int k = 0; k < 5; ++k) {
                event->stitch_img_num_[k] = k + 1;
                event->stitch_img_area_[k] = 10 * (k + 1);
            }
            stats.AddAttempt(event);
        }
        stats.backup_path_ = "/data/vendor/fingerprint/AuthStats.bench";
        stats.SaveAttemptsToBackupFile();
    }

    static void WriteEnrollHistory() {
        EnrollEventContainer container;  // not initialised: adding never saves
        container.event_type_ = "EnrollEventG7";
        for (size_t i = 0; i < EnrollEventContainer::kMaxEvents; ++i) {
            auto event = std::static_pointer_cast<EnrollEventG7>(container.CreateEvent());
            event->time = kTime + static_cast<time_t>(i);
            event->op = i % 4 == 3 ? DEL : ADD;
            event->enroll_successful = i % 3 != 0;
            event->fid = static_cast<int32_t>(1000 + i);
            event->capture_count = 14;
            event->iq_avg = 52.37f;
            event->enrolled_fingers_count = 2;
            event->rc = i % 3 == 0 ? 1 : 0;
            event->rawmean_delta = -3.5f;
            for (int k = 0; k < 5; ++k) {
                event->stitch_img_num_[k] = k;
                event->stitch_img_area_[k] = 40 + k;
            }
            container.AddEvent(event);
        }
        container.backup_path_ = "/data/vendor/fingerprint/EnrollEventContainer";
        container.SaveEventsToBackupFile();
    }

    host::TempRoot root_;
};

const HistoryRoot& Root() {
    static const HistoryRoot root;
    return root;
}

void BM_AuthStatsG7Init1000(benchmark::State& state) {
    Root();
    for (auto _ : state) {
        AuthStatsG7 stats("bench", kAuthRecords, true);
        stats.Init();
        if (stats.total_attempts_ != kAuthRecords) state.SkipWithError("history not fully loaded");
        benchmark::DoNotOptimize(stats.avg_iq_);
    }
    state.SetItemsProcessed(state.iterations() * kAuthRecords);
}
BENCHMARK(BM_AuthStatsG7Init1000)->Unit(benchmark::kMillisecond);

void BM_EnrollEventContainerInit50(benchmark::State& state) {
    Root();
    for (auto _ : state) {
        EnrollEventContainer container;
        container.Init("EnrollEventG7");
        if (container.events_.size() != EnrollEventContainer::kMaxEvents) {
            state.SkipWithError("history not fully loaded");
        }
        benchmark::DoNotOptimize(container.events_.back());
    }
    state.SetItemsProcessed(state.iterations() * EnrollEventContainer::kMaxEvents);
}
BENCHMARK(BM_EnrollEventContainerInit50)->Unit(benchmark::kMicrosecond);

// Both histories, as the HAL loads them when it starts.
void BM_StartUpBothHistories(benchmark::State& state) {
    Root();
    for (auto _ : state) {
        AuthStatsG7 stats("bench", kAuthRecords, true);
        stats.Init();
        EnrollEventContainer container;
        container.Init("EnrollEventG7");
        if (stats.total_attempts_ != kAuthRecords ||
            container.events_.size() != EnrollEventContainer::kMaxEvents) {
            state.SkipWithError("history not fully loaded");
        }
    }
}
BENCHMARK(BM_StartUpBothHistories)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace fp_utils
}  // namespace android
