#include "fp_utils/auth_stats.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::FpUtilsTest;

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.stats_test";

std::shared_ptr<AuthEvent> Attempt(AuthStats& stats, int8_t info, bool ok, int32_t iq,
                                   int32_t rawmean_delta = 0) {
    auto event = stats.CreateAttempt();
    event->acquired_info = info;
    event->auth_successful = ok;
    event->iq = iq;
    if (event->GetClassName() == "AuthEventG7") {
        static_cast<AuthEventG7&>(*event).rawmean_delta = rawmean_delta;
    }
    return event;
}

std::string DumpOf(AuthStats& stats) {
    FILE* tmp = tmpfile();
    stats.Dump(fileno(tmp), nullptr, 0);
    rewind(tmp);
    std::string out;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), tmp)) > 0) out.append(buf, n);
    fclose(tmp);
    return out;
}

class AuthStatsTest : public FpUtilsTest {
  protected:
    // Resets the process-wide run of rejections with a saved match in a throwaway history.
    void SetUp() override {
        AuthStats reset("reset_counter", 1, true);
        reset.Init();
        reset.AddAttempt(Attempt(reset, 1, true, 0));
        log_.Clear();
    }
    bool Saved() const { return root_.Exists(kPath); }
    void ForgetFile() const { root_.Remove(kPath); }
};

TEST_F(AuthStatsTest, BoundedHistoryKeepsTheNewestAndCountsOnlyThem) {
    AuthStats stats("stats_test", 3, false);
    stats.Init();
    stats.AddAttempt(Attempt(stats, 1, false, 10));
    stats.AddAttempt(Attempt(stats, 1, false, 20));
    stats.AddAttempt(Attempt(stats, 3, false, 99));
    stats.AddAttempt(Attempt(stats, 1, true, 30));
    stats.AddAttempt(Attempt(stats, 1, false, 60));
    ASSERT_EQ(stats.attempts_.size(), 3u);
    EXPECT_EQ(stats.attempts_.front()->acquired_info, 3);
    EXPECT_EQ(stats.total_attempts_, 3u);
    EXPECT_EQ(stats.auth_attempts_, 2u);
    EXPECT_EQ(stats.auth_rejects_, 1u);
    EXPECT_FLOAT_EQ(stats.avg_iq_, 45.0f);
    EXPECT_EQ(stats.ToDebugString(),
              "total_attempts:3, auth_attempts:2, auth_rejects:1, frr:50.00%, avg_iq:45.00");
}

TEST_F(AuthStatsTest, CapturesThatMissedMatchingCountOnlyInTheTotal) {
    AuthStats stats("stats_test", 0xFFFFFFFF, true);
    stats.Init();
    ForgetFile();
    for (int8_t info : {0, 2, 3, -2, 20}) stats.AddAttempt(Attempt(stats, info, false, 100));
    EXPECT_EQ(stats.total_attempts_, 5u);
    EXPECT_EQ(stats.auth_attempts_, 0u);
    EXPECT_EQ(stats.avg_iq_, 0.0f);
    EXPECT_FALSE(Saved());
    EXPECT_EQ(stats.ToDebugString(),
              "total_attempts:5, auth_attempts:0, auth_rejects:0, frr:0.00%, avg_iq:0.00");
}

TEST_F(AuthStatsTest, SaveRuleMatchesAndRunsOfFiveRejections) {
    AuthStats stats("stats_test", 0xFFFFFFFF, true);
    stats.Init();
    ForgetFile();
    for (int i = 0; i < 4; ++i) stats.AddAttempt(Attempt(stats, 1, false, 1));
    EXPECT_FALSE(Saved()) << "four rejections in a row";
    stats.AddAttempt(Attempt(stats, 1, false, 1));
    EXPECT_TRUE(Saved()) << "fifth rejection";
    ForgetFile();
    stats.AddAttempt(Attempt(stats, 1, false, 1));
    EXPECT_TRUE(Saved()) << "sixth rejection";
    ForgetFile();
    stats.AddAttempt(Attempt(stats, 3, false, 1));
    EXPECT_FALSE(Saved()) << "no matching, no save";
    stats.AddAttempt(Attempt(stats, 1, true, 1));
    EXPECT_TRUE(Saved()) << "match";
    ForgetFile();
    stats.AddAttempt(Attempt(stats, 1, false, 1));
    EXPECT_FALSE(Saved()) << "the match reset the run";
    EXPECT_EQ(stats.total_attempts_, 9u);
}

TEST_F(AuthStatsTest, RunOfRejectionsIsSharedByAllHistories) {
    AuthStats a("stats_test", 100, true), b("other", 100, true), memory_only("m", 100, false);
    a.Init();
    b.Init();
    memory_only.Init();
    ForgetFile();
    // A history without a file does not take part in the run.
    for (int i = 0; i < 6; ++i) memory_only.AddAttempt(Attempt(memory_only, 1, false, 1));
    for (int i = 0; i < 4; ++i) b.AddAttempt(Attempt(b, 1, false, 1));
    EXPECT_FALSE(root_.Exists("/data/vendor/fingerprint/AuthStats.other"));
    // b's four rejections and a's first make five in a row: a saves.
    a.AddAttempt(Attempt(a, 1, false, 1));
    EXPECT_TRUE(Saved());
}

TEST_F(AuthStatsTest, FalseRejectionRateAndDump) {
    AuthStats stats("stats_test", 100, false);
    stats.Init();
    EXPECT_EQ(DumpOf(stats),
              "Auth Stats:\n  total_attempts:0, auth_attempts:0, auth_rejects:0, frr:0.00%, "
              "avg_iq:0.00\n");
    auto first = Attempt(stats, 1, true, 10);
    first->time = 0x67a1b2c3;
    first->fid = 2;
    stats.AddAttempt(first);
    stats.AddAttempt(Attempt(stats, 1, true, 20));
    stats.AddAttempt(Attempt(stats, 1, true, 30));
    stats.AddAttempt(Attempt(stats, 1, false, 41));
    std::string dump = DumpOf(stats);
    EXPECT_EQ(dump.substr(0, dump.find("  #001")),
              "Auth Stats:\n  total_attempts:4, auth_attempts:4, auth_rejects:1, frr:25.00%, "
              "avg_iq:25.25\nAuth Events:\n  #000 2025-02-04 06:25:07 auth_successful:1, fid:2, "
              "latency:0, iq:10\n");
    EXPECT_NE(dump.find("\n  #003 "), std::string::npos);
    EXPECT_EQ(dump.find("#004"), std::string::npos);
}

TEST_F(AuthStatsTest, PoppingTheLastMatchingAttemptZeroesTheMeans) {
    AuthStatsG7 stats("stats_test", 1, false);
    stats.Init();
    stats.AddAttempt(Attempt(stats, 1, false, 37, -300));
    EXPECT_FLOAT_EQ(stats.avg_rawmean_delta_, -300.0f);
    stats.AddAttempt(Attempt(stats, 4, false, 0, 0));
    EXPECT_EQ(stats.auth_attempts_, 0u);
    EXPECT_EQ(stats.auth_rejects_, 0u);
    EXPECT_EQ(stats.avg_iq_, 0.0f);
    EXPECT_EQ(stats.avg_rawmean_delta_, 0.0f);
}

TEST_F(AuthStatsTest, G7MeansFollowEvictions) {
    AuthStatsG7 stats("stats_test", 2, false);
    stats.Init();
    stats.AddAttempt(Attempt(stats, 1, true, 10, 100));
    stats.AddAttempt(Attempt(stats, 1, true, 20, 200));
    stats.AddAttempt(Attempt(stats, 1, false, 60, 600));
    EXPECT_FLOAT_EQ(stats.avg_iq_, 40.0f);
    EXPECT_FLOAT_EQ(stats.avg_rawmean_delta_, 400.0f);
    EXPECT_EQ(stats.ToDebugString(),
              "total_attempts:2, auth_attempts:2, auth_rejects:1, frr:50.00%, avg_iq:40.00, "
              "avg_rawmean_delta:400.00");
}

TEST_F(AuthStatsTest, G7RefusesPlainEvents) {
    AuthStatsG7 stats("g7", 10, false);
    stats.Init();
    auto plain = std::make_shared<AuthEvent>();
    plain->acquired_info = 1;
    plain->iq = 50;
    stats.AddAttempt(plain);
    EXPECT_EQ(stats.total_attempts_, 0u);
    EXPECT_EQ(stats.avg_iq_, 0.0f);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "AuthStatsG7",
                              "[g7][virtual void android::fp_utils::AuthStatsG7::AddAttempt("
                              "std::shared_ptr<AuthEvent>)] AuthEvent is not allowed!"));
    EXPECT_EQ(stats.CreateAttempt()->GetClassName(), "AuthEventG7");
}

TEST_F(AuthStatsTest, WithBackupOffNoFileIsTouched) {
    AuthStats stats("stats_test", 10, false);
    stats.Init();
    EXPECT_TRUE(stats.backup_path_.empty());
    for (int i = 0; i < 6; ++i) stats.AddAttempt(Attempt(stats, 1, i % 2 == 0, 1));
    EXPECT_FALSE(Saved());
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AuthStatsTest, ResetStopsSavingUntilInitReloadsTheFile) {
    AuthStatsG7 stats("stats_test", 10, true);
    stats.Init();
    stats.AddAttempt(Attempt(stats, 1, true, 50, 70));
    std::string saved = root_.ReadFile(kPath);
    ASSERT_FALSE(saved.empty());
    stats.Reset();
    EXPECT_TRUE(stats.backup_path_.empty());
    EXPECT_EQ(stats.total_attempts_, 0u);
    EXPECT_EQ(stats.avg_rawmean_delta_, 0.0f);
    EXPECT_TRUE(stats.initialized_);
    stats.AddAttempt(Attempt(stats, 1, true, 1));
    EXPECT_EQ(root_.ReadFile(kPath), saved) << "nothing saved after Reset";
    stats.Reset();
    stats.Init();
    EXPECT_EQ(stats.total_attempts_, 1u);
    EXPECT_FLOAT_EQ(stats.avg_iq_, 50.0f);
    EXPECT_FLOAT_EQ(stats.avg_rawmean_delta_, 70.0f);
}

TEST_F(AuthStatsTest, LoadingTrimsToTheLimitKeepingTheNewestAndNeverWrites) {
    {
        AuthStatsG7 writer("stats_test", 100, true);
        writer.Init();
        for (int i = 0; i < 5; ++i) writer.AddAttempt(Attempt(writer, 1, true, i * 10, i));
    }
    std::string before = root_.ReadFile(kPath);
    AuthStatsG7 reader("stats_test", 2, true);
    reader.Init();
    ASSERT_EQ(reader.total_attempts_, 2u);
    EXPECT_EQ(reader.attempts_.front()->iq, 30);
    EXPECT_FLOAT_EQ(reader.avg_rawmean_delta_, 3.5f);
    EXPECT_EQ(root_.ReadFile(kPath), before);
}

TEST_F(AuthStatsTest, ConcurrentAddersKeepConsistentFigures) {
    AuthStats stats("stats_test", 50, true);
    stats.Init();
    auto add = [&stats](bool ok) {
        for (int i = 0; i < 200; ++i) stats.AddAttempt(Attempt(stats, 1, ok, 10));
    };
    std::thread a(add, true), b(add, false);
    a.join();
    b.join();
    EXPECT_EQ(stats.total_attempts_, 50u);
    EXPECT_EQ(stats.attempts_.size(), 50u);
    uint32_t rejects = 0;
    for (const auto& e : stats.attempts_) rejects += e->auth_successful ? 0 : 1;
    EXPECT_EQ(stats.auth_rejects_, rejects);
    EXPECT_FLOAT_EQ(stats.avg_iq_, 10.0f);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
