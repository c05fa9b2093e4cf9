// The bounded authentication history: its figures, its save rule and its backup file.
#include "fp_utils/auth_stats.h"

#include <gtest/gtest.h>

#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.stats_test";

std::shared_ptr<AuthEvent> Attempt(AuthStats& stats, int8_t info, bool ok, int32_t iq = 1,
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

void AddRejections(AuthStats& stats, int n) {
    for (int i = 0; i < n; ++i) stats.AddAttempt(Attempt(stats, 1, false));
}

class AuthStatsTest : public testing::FpUtilsTest {
  protected:
    // Ends any run of rejections left by an earlier case: the count is process-wide.
    void SetUp() override {
        AuthStats reset("reset_counter", 1, true);
        reset.Init();
        reset.AddAttempt(Attempt(reset, 1, true));
        stats_.Init();
        root_.Remove(kPath);
        log_.Clear();
    }
    bool SavedSinceLastLook() {
        bool saved = root_.Exists(kPath);
        root_.Remove(kPath);
        return saved;
    }
    AuthStats stats_{"stats_test", 100, true};
};

TEST_F(AuthStatsTest, EmptyHistoryDumpsZeroFigures) {
    EXPECT_EQ(testing::DumpText(stats_),
              "Auth Stats:\n  total_attempts:0, auth_attempts:0, auth_rejects:0, frr:0.00%, "
              "avg_iq:0.00\n");
}

// Attempts that never reached matching count in the total only.
TEST_F(AuthStatsTest, BoundEvictsTheOldestAndTheFiguresFollow) {
    AuthStats stats("stats_test", 3, false);
    stats.AddAttempt(Attempt(stats, 1, false, 10));
    stats.AddAttempt(Attempt(stats, 1, false, 20));
    stats.AddAttempt(Attempt(stats, 3, false, 99));
    stats.AddAttempt(Attempt(stats, 1, true, 30));
    stats.AddAttempt(Attempt(stats, 1, true, 60));
    ASSERT_EQ(stats.attempts_.size(), 3u);
    EXPECT_EQ(stats.attempts_.front()->acquired_info, 3);
    const std::string dump = testing::DumpText(stats);
    EXPECT_EQ(dump.substr(0, dump.find("  #000")),
              "Auth Stats:\n  total_attempts:3, auth_attempts:2, auth_rejects:0, frr:0.00%, "
              "avg_iq:45.00\nAuth Events:\n");
    EXPECT_NE(dump.find("\n  #002 "), std::string::npos);
    EXPECT_EQ(dump.find("#003"), std::string::npos);
}

TEST_F(AuthStatsTest, G7LineAddsTheMeanRawMeanDelta) {
    AuthStatsG7 stats("stats_test", 4, false);
    for (int i = 0; i < 4; ++i) stats.AddAttempt(Attempt(stats, 1, i != 2, 10 * i, 100 * i));
    EXPECT_EQ(stats.ToDebugString(),
              "total_attempts:4, auth_attempts:4, auth_rejects:1, frr:25.00%, avg_iq:15.00, "
              "avg_rawmean_delta:150.00");
}

TEST_F(AuthStatsTest, MeansAndRejectionsFollowAnEviction) {
    AuthStatsG7 stats("stats_test", 4, false);
    for (int i = 0; i < 4; ++i) stats.AddAttempt(Attempt(stats, 1, i != 2, 10 * i, 100 * i));
    stats.AddAttempt(Attempt(stats, 1, false, 70, 800));  // evicts iq 0, delta 0
    EXPECT_FLOAT_EQ(stats.avg_iq_, 32.5f);
    EXPECT_FLOAT_EQ(stats.avg_rawmean_delta_, 350.0f);
    EXPECT_EQ(stats.auth_rejects_, 2u);
}

TEST_F(AuthStatsTest, EvictingTheLastMatchingAttemptLeavesExactZeros) {
    AuthStatsG7 one("stats_test", 1, false);
    one.AddAttempt(Attempt(one, 1, false, 37, -300));
    one.AddAttempt(Attempt(one, 4, false, 0));
    EXPECT_EQ(one.auth_attempts_, 0u);
    EXPECT_EQ(one.auth_rejects_, 0u);
    EXPECT_EQ(one.avg_iq_, 0.0f);
    EXPECT_EQ(one.avg_rawmean_delta_, 0.0f);
}

TEST_F(AuthStatsTest, FifthRejectionInARowSavesAndSoDoesEachFurtherOne) {
    AddRejections(stats_, 4);
    EXPECT_FALSE(SavedSinceLastLook()) << "fourth";
    AddRejections(stats_, 1);
    EXPECT_TRUE(SavedSinceLastLook()) << "fifth";
    AddRejections(stats_, 1);
    EXPECT_TRUE(SavedSinceLastLook()) << "sixth";
}

TEST_F(AuthStatsTest, RunCountsRejectionsOfEveryHistoryThatSavesOnly) {
    AuthStats other("other", 100, true), memory("m", 100, false);
    other.Init();
    memory.Init();
    AddRejections(memory, 6);
    AddRejections(other, 3);
    AddRejections(stats_, 1);
    EXPECT_FALSE(SavedSinceLastLook()) << "four in the run";
    AddRejections(stats_, 1);
    EXPECT_TRUE(SavedSinceLastLook()) << "five in the run";
    EXPECT_FALSE(root_.Exists("/data/vendor/fingerprint/AuthStats.m"));
}

TEST_F(AuthStatsTest, MatchSavesAndEndsTheRun) {
    AddRejections(stats_, 5);
    SavedSinceLastLook();
    stats_.AddAttempt(Attempt(stats_, 1, true));
    EXPECT_TRUE(SavedSinceLastLook()) << "match";
    AddRejections(stats_, 1);
    EXPECT_FALSE(SavedSinceLastLook()) << "first rejection after the match";
}

TEST_F(AuthStatsTest, AttemptWithoutMatchingNeitherSavesNorEndsTheRun) {
    AddRejections(stats_, 5);
    SavedSinceLastLook();
    stats_.AddAttempt(Attempt(stats_, 2, false));
    EXPECT_FALSE(SavedSinceLastLook());
    AddRejections(stats_, 1);
    EXPECT_TRUE(SavedSinceLastLook());
}

TEST_F(AuthStatsTest, G7RefusesPlainEvents) {
    AuthStatsG7 stats("g7", 10, false);
    auto plain = std::make_shared<AuthEvent>();
    plain->acquired_info = 1;
    stats.AddAttempt(plain);
    EXPECT_EQ(stats.total_attempts_, 0u);
    EXPECT_EQ(log_.Lines(), (std::vector<testing::LogLine>{
                                {ANDROID_LOG_ERROR, "AuthStatsG7",
                                 "[g7][virtual void android::fp_utils::AuthStatsG7::AddAttempt("
                                 "std::shared_ptr<AuthEvent>)] AuthEvent is not allowed!"}}));
}

class AuthStatsSavedTest : public AuthStatsTest {
  protected:
    // Five matches with iq 0, 10, ... 40 and raw mean deltas 0 to 4, saved.
    void SetUp() override {
        AuthStatsTest::SetUp();
        g7_.Init();
        for (int i = 0; i < 5; ++i) g7_.AddAttempt(Attempt(g7_, 1, true, i * 10, i));
        saved_ = root_.ReadFile(kPath);
    }
    AuthStatsG7 g7_{"g7_test", 10, true};
    std::string saved_;
};

TEST_F(AuthStatsSavedTest, ResetEmptiesTheHistoryAndStopsSaving) {
    g7_.Reset();
    EXPECT_EQ(g7_.total_attempts_, 0u);
    EXPECT_EQ(g7_.avg_rawmean_delta_, 0.0f);
    g7_.AddAttempt(Attempt(g7_, 1, true));
    EXPECT_EQ(root_.ReadFile(kPath), saved_);
}

TEST_F(AuthStatsSavedTest, LoadingKeepsTheNewestWithinTheLimitAndWritesNothing) {
    AuthStatsG7 reader("g7_test", 2, true);
    reader.Init();
    ASSERT_EQ(reader.total_attempts_, 2u);
    EXPECT_EQ(reader.attempts_.front()->iq, 30);
    EXPECT_FLOAT_EQ(reader.avg_rawmean_delta_, 3.5f);
    EXPECT_EQ(root_.ReadFile(kPath), saved_);
}

TEST_F(AuthStatsTest, ConcurrentAddersKeepConsistentFigures) {
    AuthStats stats("stats_test", 50, true);
    stats.Init();
    testing::OnThreads(2, [&stats](int t) {
        for (int i = 0; i < 200; ++i) stats.AddAttempt(Attempt(stats, 1, t == 0, 10));
    });
    EXPECT_EQ(stats.attempts_.size(), 50u);
    uint32_t rejects = 0;
    for (const auto& e : stats.attempts_) rejects += e->auth_successful ? 0 : 1;
    EXPECT_EQ(stats.auth_rejects_, rejects);
    EXPECT_FLOAT_EQ(stats.avg_iq_, 10.0f);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
