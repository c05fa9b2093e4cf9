#include "fp_utils/finger_size.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <thread>

#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::BackupRecordOf;
using testing::FpUtilsTest;
using testing::LogCapture;
using testing::TempRoot;

constexpr char kPath[] = "/data/vendor/fingerprint/FingerSizes.thumb";
constexpr char kTag[] = "FingerSizes";
constexpr uint32_t kNoLimit = 0xFFFFFFFFu;

std::shared_ptr<FingerSize> Finger(int32_t op, float x, float y) {
    auto finger = std::make_shared<FingerSize>();
    finger->op = op;
    finger->size = {x, y};
    return finger;
}

std::vector<float> Xs(const FingerSizes& sizes) {
    std::vector<float> out;
    for (const auto& f : sizes.fingers_) out.push_back(f->size.first);
    return out;
}

TEST(FingerSizeText, DebugAndBackupFormsHaveOneDecimal) {
    EXPECT_EQ(Finger(1, 7.26f, 9.8f)->ToString(), "op:1, size:(7.3, 9.8)");
    EXPECT_EQ(Finger(-3, 0, -0.04f)->ToString(), "op:-3, size:(0.0, -0.0)");
    EXPECT_EQ(Finger(1, 7.26f, 9.8f)->ToBackupString(), "1,7.3,9.8");
    EXPECT_EQ(Finger(2, 1e6f, -12.5f)->ToBackupString(), "2,1000000.0,-12.5");
}

TEST(FingerSizeText, ParserAcceptsThreeFieldsOnly) {
    LogCapture log;
    FingerSize f;
    std::string text = "2,7.3,-9.8";
    ASSERT_TRUE(f.LoadFromBackupString(text));
    EXPECT_EQ(text, "2,7.3,-9.8");
    EXPECT_EQ(f.op, 2);
    EXPECT_FLOAT_EQ(f.size.first, 7.3f);
    EXPECT_FLOAT_EQ(f.size.second, -9.8f);

    // A short text changes the lengths it reached but never the kind; it logs under the
    // history's tag.
    text = "5,1.5";
    errno = EINVAL;
    EXPECT_FALSE(f.LoadFromBackupString(text));
    EXPECT_EQ(f.op, 2);
    EXPECT_FLOAT_EQ(f.size.first, 1.5f);
    EXPECT_FLOAT_EQ(f.size.second, -9.8f);
    EXPECT_EQ(text, "5,1.5");
    EXPECT_EQ(log.Lines(),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, kTag,
                   "[virtual bool android::fp_utils::FingerSize::LoadFromBackupString(std::string "
                   "&)] failed to parse str:'5,1.5' with error -22"}}));
    text = "";
    EXPECT_FALSE(f.LoadFromBackupString(text));
}

TEST(FingerSizesCounts, KindsAreCountedAndFollowEvictions) {
    FingerSizes sizes("counts", 4, false);
    for (int32_t op : {1, 2, 2, 5}) sizes.AddFinger(Finger(op, 1, 1), true);
    EXPECT_EQ(sizes.total_count_, 4u);
    EXPECT_EQ(sizes.op1_count_, 1u);
    EXPECT_EQ(sizes.op2_count_, 2u);
    sizes.AddFinger(Finger(2, 2, 2), false);  // evicts the op 1
    sizes.AddFinger(Finger(0, 3, 3), false);  // evicts an op 2
    EXPECT_EQ(sizes.total_count_, 4u);
    EXPECT_EQ(sizes.op1_count_, 0u);
    EXPECT_EQ(sizes.op2_count_, 2u);
    EXPECT_EQ(Xs(sizes), (std::vector<float>{1, 1, 2, 3}));
}

TEST(FingerSizesCounts, CapacityBoundsTheHistoryUnlessUnlimited) {
    FingerSizes three("three", 3, false);
    for (int i = 1; i <= 4; ++i) three.AddFinger(Finger(1, static_cast<float>(i), 0), false);
    EXPECT_EQ(Xs(three), (std::vector<float>{2, 3, 4}));
    EXPECT_EQ(three.total_count_, 3u);
    EXPECT_EQ(three.op1_count_, 3u);

    FingerSizes unlimited("unlimited", kNoLimit, false);
    for (int i = 0; i < 5000; ++i) unlimited.AddFinger(Finger(0, 0, 0), false);
    EXPECT_EQ(unlimited.total_count_, 5000u);
    EXPECT_EQ(unlimited.fingers_.size(), 5000u);
}

TEST(FingerSizesCounts, PushAndPopBypassTheLimit) {
    FingerSizes sizes("push", 1, false);
    sizes.PushFinger(Finger(1, 1, 0));
    sizes.PushFinger(Finger(2, 2, 0));
    EXPECT_EQ(sizes.total_count_, 2u);
    std::shared_ptr<FingerSize> oldest = sizes.PopFinger();
    ASSERT_NE(oldest, nullptr);
    EXPECT_EQ(oldest->op, 1);
    EXPECT_EQ(sizes.total_count_, 1u);
    EXPECT_EQ(sizes.op1_count_, 0u);
    EXPECT_EQ(sizes.op2_count_, 1u);
    EXPECT_NE(sizes.PopFinger(), nullptr);
    EXPECT_EQ(sizes.PopFinger(), nullptr) << "an empty history has nothing to give";
    EXPECT_EQ(sizes.total_count_, 0u);
}

TEST(FingerSizesCounts, ResetZeroesOnlyTheTotal) {
    FingerSizes sizes("reset", 10, false);
    for (int32_t op : {1, 2, 2}) sizes.AddFinger(Finger(op, 1, 1), false);
    sizes.Reset();
    EXPECT_TRUE(sizes.fingers_.empty());
    EXPECT_EQ(sizes.total_count_, 0u);
    EXPECT_EQ(sizes.op1_count_, 1u);
    EXPECT_EQ(sizes.op2_count_, 2u);
    sizes.AddFinger(Finger(1, 1, 1), false);
    EXPECT_EQ(sizes.total_count_, 1u);
    EXPECT_EQ(sizes.op1_count_, 2u);
}

TEST(FingerSizesCounts, EmptyMeasurementIsRefused) {
    LogCapture log;
    FingerSizes sizes("empty", 10, false);
    sizes.AddFinger(nullptr, true);
    EXPECT_EQ(sizes.total_count_, 0u);
    EXPECT_EQ(log.Lines(kTag).size(), 1u);
}

TEST(FingerSizesPercentile, EmptyAndSingleHistories) {
    FingerSizes sizes("p", 10, false);
    for (float p : {0.0f, 50.0f, 100.0f}) {
        EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, p), 0.0f);
        EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, p), 0.0f);
    }
    sizes.AddFinger(Finger(0, 4.5f, 8.5f), false);
    for (float p : {0.0f, 37.0f, 100.0f}) {
        EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, p), 4.5f);
        EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, p), 8.5f);
    }
}

TEST(FingerSizesPercentile, InterpolatesBetweenSortedRanks) {
    FingerSizes three("p", 10, false);
    for (float v : {3.0f, 1.0f, 2.0f}) three.AddFinger(Finger(0, v, 0), false);
    EXPECT_FLOAT_EQ(three.GetPercentileValue(FingerSize::X, 0), 1.0f);
    EXPECT_FLOAT_EQ(three.GetPercentileValue(FingerSize::X, 50), 2.0f);
    EXPECT_FLOAT_EQ(three.GetPercentileValue(FingerSize::X, 75), 2.5f);

    FingerSizes four("p", 10, false);
    for (float v : {4.0f, 2.0f, 3.0f, 1.0f}) four.AddFinger(Finger(0, v, 2 * v), false);
    EXPECT_FLOAT_EQ(four.GetPercentileValue(FingerSize::X, 50), 2.5f);
    EXPECT_FLOAT_EQ(four.GetPercentileValue(FingerSize::Y, 50), 5.0f);
    EXPECT_FLOAT_EQ(four.GetPercentileValue(FingerSize::Y, 5), 2.3f);
    EXPECT_FLOAT_EQ(four.GetPercentileValue(FingerSize::Y, 95), 7.7f);
    // Any axis but X takes the second length.
    EXPECT_FLOAT_EQ(four.GetPercentileValue(static_cast<FingerSize::Axis>(7), 50), 5.0f);
}

TEST(FingerSizesPercentile, HundredIsTheLargestLengthAndOutOfRangeStaysInside) {
    FingerSizes sizes("p", kNoLimit, false);
    // The largest length first, so that a sort or clamp mistake shows.
    for (float v : {9.5f, 1.0f, 7.0f, 3.0f, 9.25f}) sizes.AddFinger(Finger(0, v, -v), false);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, 100), 9.5f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, 100), -1.0f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, 0), -9.5f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, 250), 9.5f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, -20), 1.0f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, std::numeric_limits<float>::quiet_NaN()),
              1.0f);
    // A history of 1000 reaches its top through the same clamp.
    for (int i = 0; i < 1000; ++i) sizes.AddFinger(Finger(0, static_cast<float>(i), 0), false);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, 100), 999.0f);
}

class FingerSizesFileTest : public FpUtilsTest {};

TEST_F(FingerSizesFileTest, PersistentHistorySavesOnRequestAndReloads) {
    {
        FingerSizes sizes("thumb", 10, true);
        EXPECT_EQ(sizes.backup_path_, kPath);
        sizes.AddFinger(Finger(1, 7.26f, 9.8f), false);
        EXPECT_FALSE(root_.Exists(kPath)) << "save false";
        sizes.AddFinger(Finger(2, 5, 6.04f), true);
        EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf("1,7.3,9.8") + BackupRecordOf("2,5.0,6.0"));
    }
    log_.Clear();
    FingerSizes reloaded("thumb", 10, true);
    EXPECT_TRUE(log_.Lines().empty());
    ASSERT_EQ(reloaded.total_count_, 2u);
    EXPECT_EQ(reloaded.op1_count_, 1u);
    EXPECT_EQ(reloaded.op2_count_, 1u);
    EXPECT_EQ(reloaded.fingers_.front()->size.first, 7.3f);
    EXPECT_EQ(reloaded.fingers_.back()->size.second, 6.0f);
}

TEST_F(FingerSizesFileTest, LoadingAppliesTheCapacityAndNeverWrites) {
    std::string file;
    for (int i = 1; i <= 5; ++i)
        file += BackupRecordOf(std::to_string(i) + "," + std::to_string(i) + ".0,0.0");
    root_.WriteFile(kPath, file);
    FingerSizes sizes("thumb", 3, true);
    EXPECT_EQ(Xs(sizes), (std::vector<float>{3, 4, 5}));
    EXPECT_EQ(sizes.total_count_, 3u);
    EXPECT_EQ(sizes.op1_count_, 0u);
    EXPECT_EQ(root_.ReadFile(kPath), file);
}

TEST_F(FingerSizesFileTest, DamagedFileKeepsWhatCameBeforeTheBadRecord) {
    root_.WriteFile(kPath, BackupRecordOf("1,1.0,1.0") + BackupRecordOf("1,x,1.0") +
                               BackupRecordOf("2,3.0,3.0") + BackupRecordOf("2,4.0,4.0", 1) +
                               BackupRecordOf("2,5.0,5.0"));
    FingerSizes sizes("thumb", 10, true);
    EXPECT_EQ(Xs(sizes), (std::vector<float>{1, 3}));
    auto lines = log_.Lines(kTag);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text.rfind("[virtual bool android::fp_utils::FingerSize::"
                                  "LoadFromBackupString(std::string &)] failed to parse "
                                  "str:'1,x,1.0' with error ",
                                  0),
              0u);
    EXPECT_EQ(lines[1], (testing::LogLine{ANDROID_LOG_ERROR, kTag,
                                          "[thumb][void android::fp_utils::FingerSizes::"
                                          "LoadFingersFromBackupFile()] Crc checksum didn't "
                                          "match!"}));
}

TEST_F(FingerSizesFileTest, ResetEndsPersistenceAndLeavesTheFile) {
    FingerSizes sizes("thumb", 10, true);
    sizes.AddFinger(Finger(1, 1, 1), true);
    std::string saved = root_.ReadFile(kPath);
    sizes.Reset();
    EXPECT_TRUE(sizes.backup_path_.empty());
    sizes.AddFinger(Finger(2, 2, 2), true);
    EXPECT_EQ(root_.ReadFile(kPath), saved);
    EXPECT_EQ(sizes.total_count_, 1u);
}

TEST_F(FingerSizesFileTest, NonPersistentHistoryNeverTouchesAFile) {
    root_.WriteFile(kPath, BackupRecordOf("1,1.0,1.0"));
    FingerSizes sizes("thumb", 10, false);
    EXPECT_TRUE(sizes.fingers_.empty());
    EXPECT_TRUE(sizes.backup_path_.empty());
    sizes.AddFinger(Finger(2, 2, 2), true);
    EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf("1,1.0,1.0"));
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(FingerSizesFileTest, MissingFileAndDirectoryAreLoggedUnderTheHistorysTag) {
    {
        FingerSizes sizes("thumb", 10, true);
        EXPECT_EQ(log_.Lines(), (std::vector<testing::LogLine>{
                                    {ANDROID_LOG_ERROR, kTag,
                                     "[LoadFingersFromBackupFile] Failed to open "
                                     "\"/data/vendor/fingerprint/FingerSizes.thumb\" with error "
                                     "2."}}));
    }
    TempRoot bare(TempRoot::kBare);
    log_.Clear();
    FingerSizes sizes("thumb", 10, true);
    EXPECT_TRUE(log_.Contains(
        ANDROID_LOG_ERROR, kTag,
        "[FingerSizes] Failed to create directory \"/data/vendor/fingerprint/\" with error 2."));
    sizes.AddFinger(Finger(1, 1, 1), true);
    EXPECT_EQ(sizes.total_count_, 1u);
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              "[SaveFingersToBackupFile] Failed to open "
                              "\"/data/vendor/fingerprint/FingerSizes.thumb\" with error 2."));
}

TEST_F(FingerSizesFileTest, HistoriesWithDifferentNamesKeepSeparateFiles) {
    FingerSizes thumb("thumb", 10, true), index("index", 10, true);
    thumb.AddFinger(Finger(1, 1, 1), true);
    index.AddFinger(Finger(2, 2, 2), true);
    EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf("1,1.0,1.0"));
    EXPECT_EQ(root_.ReadFile("/data/vendor/fingerprint/FingerSizes.index"),
              BackupRecordOf("2,2.0,2.0"));
}

TEST_F(FingerSizesFileTest, ConcurrentAdditionsKeepCountsAndFileConsistent) {
    FingerSizes sizes("thumb", 20, true);
    auto add = [&sizes](int32_t op) {
        for (int i = 0; i < 60; ++i) sizes.AddFinger(Finger(op, static_cast<float>(i), 0), true);
    };
    std::thread a(add, 1), b(add, 2);
    a.join();
    b.join();
    EXPECT_EQ(sizes.total_count_, 20u);
    uint32_t ones = 0;
    std::string expected;
    for (const auto& f : sizes.fingers_) {
        ones += f->op == 1 ? 1 : 0;
        expected += BackupRecordOf(f->ToBackupString());
    }
    EXPECT_EQ(sizes.op1_count_, ones);
    EXPECT_EQ(sizes.op2_count_, 20u - ones);
    EXPECT_EQ(root_.ReadFile(kPath), expected);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
