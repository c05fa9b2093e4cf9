// Finger-size measurements and their bounded, optionally persistent history.
#include "fp_utils/finger_size.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

using testing::BackupRecordOf;
using Counts = std::vector<size_t>;

constexpr char kPath[] = "/data/vendor/fingerprint/FingerSizes.thumb";

std::shared_ptr<FingerSize> Finger(int32_t op, float x, float y = 0) {
    auto finger = std::make_shared<FingerSize>();
    finger->op = op;
    finger->size = {x, y};
    return finger;
}

// Held measurements, total_count_, op1_count_ and op2_count_.
Counts CountsOf(const FingerSizes& sizes) {
    return {sizes.fingers_.size(), sizes.total_count_, sizes.op1_count_, sizes.op2_count_};
}

class FingerSizesTest : public testing::FpUtilsTest {
  protected:
    // Ops 1, 2 and 2 saved, then op 5 held but not saved.
    void SetUp() override {
        for (int32_t op : {1, 2, 2, 5}) sizes_.AddFinger(Finger(op, op + 0.26f, 1e6f), op != 5);
    }
    FingerSizes sizes_{"thumb", 4, true};
};

TEST(FingerSize, TextHasOneDecimal) {
    EXPECT_EQ(Finger(1, 7.26f, -9.8f)->ToString(), "op:1, size:(7.3, -9.8)");
}

TEST_F(FingerSizesTest, CountsEachOperationAndSavesOnlyWhenAsked) {
    EXPECT_EQ(CountsOf(sizes_), (Counts{4, 4, 1, 2}));
    const std::string two = BackupRecordOf("2,2.3,1000000.0");
    EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf("1,1.3,1000000.0") + two + two);
}

TEST_F(FingerSizesTest, EvictionLowersTheCountOfTheOperationEvicted) {
    for (int32_t op : {2, 0}) sizes_.AddFinger(Finger(op, 6), true);  // evict the op 1, an op 2
    EXPECT_EQ(CountsOf(sizes_), (Counts{4, 4, 0, 2}));
}

TEST_F(FingerSizesTest, LoadingKeepsTheNewestWithinTheCapacityAndWritesNothing) {
    sizes_.AddFinger(Finger(0, 6), true);  // saves ops 2, 2, 5 and 0
    const std::string saved = root_.ReadFile(kPath);
    FingerSizes reloaded("thumb", 3, true);
    EXPECT_EQ(CountsOf(reloaded), (Counts{3, 3, 0, 1}));
    EXPECT_EQ(root_.ReadFile(kPath), saved);
}

TEST_F(FingerSizesTest, ResetEmptiesTheHistoryButKeepsThePerOperationCounts) {
    const std::string saved = root_.ReadFile(kPath);
    sizes_.Reset();
    EXPECT_EQ(CountsOf(sizes_), (Counts{0, 0, 1, 2}));
    sizes_.AddFinger(Finger(1, 1), true);
    EXPECT_EQ(root_.ReadFile(kPath), saved) << "nothing saved after Reset";
}

TEST_F(FingerSizesTest, MemoryOnlyHistoryReadsAndWritesNoFile) {
    const std::string saved = root_.ReadFile(kPath);
    FingerSizes memory("thumb", FingerSizes::kNoLimit, false);
    EXPECT_EQ(memory.total_count_, 0u);
    memory.AddFinger(Finger(0, 4.5f, 8.5f), true);
    EXPECT_EQ(root_.ReadFile(kPath), saved);
}

TEST_F(FingerSizesTest, ConcurrentAddersLoseNoCountAndSaveWhatIsHeld) {
    FingerSizes sizes("thumb", 3, true);
    testing::OnThreads(4, [&sizes](int t) {
        for (int i = 0; i < 50000; ++i) sizes.AddFinger(Finger(t % 2 + 1, i), i % 9999 == 0);
    });
    for (int32_t op : {1, 2, 2}) sizes.AddFinger(Finger(op, 1), true);
    EXPECT_EQ(CountsOf(sizes), (Counts{3, 3, 1, 2}));
    EXPECT_EQ(root_.ReadFile(kPath), testing::BackupFileOf(sizes.fingers_));
}

TEST_F(FingerSizesTest, RefusedRecordIsSkippedAndABadChecksumEndsTheLoad) {
    root_.WriteFile(kPath, BackupRecordOf("1,x") + BackupRecordOf("1,1.0,1.0") +
                               BackupRecordOf("2,4.0,4.0", 1) + BackupRecordOf("2,5.0,5.0"));
    FingerSizes damaged("thumb", 10, true);
    EXPECT_EQ(CountsOf(damaged), (Counts{1, 1, 1, 0}));
    EXPECT_EQ(log_.Count("FingerSizes",
                         "[virtual bool android::fp_utils::FingerSize::LoadFromBackupString"
                         "(std::string &)] failed to parse str:'1,x'"),
              1u);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, "FingerSizes",
                              "[thumb][void android::fp_utils::FingerSizes::"
                              "LoadFingersFromBackupFile()] Crc checksum didn't match!"));
}

TEST(FingerSizesPercentile, EmptyHistoryGivesZeroAndASingleMeasurementItself) {
    FingerSizes memory("thumb", FingerSizes::kNoLimit, false);
    EXPECT_EQ(memory.GetPercentileValue(FingerSize::Y, 50), 0.0f);
    memory.AddFinger(Finger(0, 4.5f, 8.5f), true);
    EXPECT_EQ(memory.GetPercentileValue(FingerSize::Y, 0), 8.5f);
}

// Sorted x: 1 2 3 4 4.5; sorted y: 2 4 6 8 8.5, reached by any axis but X. Between the closest
// ranks the value is interpolated; outside 0 to 100 (and for NaN) it stays in the history.
TEST(FingerSizesPercentile, InterpolatesBetweenRanksAndStaysInside) {
    FingerSizes memory("thumb", FingerSizes::kNoLimit, false);
    memory.AddFinger(Finger(0, 4.5f, 8.5f), false);
    for (float v : {4.0f, 2.0f, 3.0f, 1.0f}) memory.AddFinger(Finger(0, v, 2 * v), false);
    const struct {
        int axis;
        float percentile, value;
    } cases[] = {{0, 0, 1},   {0, 50, 3},  {0, 62.5f, 3.5f}, {0, 100, 4.5f}, {0, 250, 4.5f},
                 {0, -20, 1}, {0, NAN, 1}, {1, 95, 8.4f},    {7, 50, 6}};
    for (const auto& c : cases) {
        EXPECT_FLOAT_EQ(memory.GetPercentileValue(FingerSize::Axis(c.axis), c.percentile), c.value)
            << "axis " << c.axis << " at " << c.percentile;
    }
}

}  // namespace
}  // namespace android::fp_utils
