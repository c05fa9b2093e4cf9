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
using testing::LogLine;

constexpr char kPath[] = "/data/vendor/fingerprint/FingerSizes.thumb";
constexpr char kTag[] = "FingerSizes";

std::shared_ptr<FingerSize> Finger(int32_t op, float x, float y = 0) {
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

class FingerSizesTest : public testing::FpUtilsTest {};

TEST_F(FingerSizesTest, TextFormsAndParser) {
    EXPECT_EQ(Finger(1, 7.26f, 9.8f)->ToString(), "op:1, size:(7.3, 9.8)");
    EXPECT_EQ(Finger(-2, 1e6f, -12.5f)->ToBackupString(), "-2,1000000.0,-12.5");
    FingerSize f;
    std::string text = "2,7.3,-9.8";
    ASSERT_TRUE(f.LoadFromBackupString(text));
    EXPECT_EQ(f.ToBackupString(), "2,7.3,-9.8");
    // A short text changes the lengths it reached but not the kind, and logs under the
    // history's tag.
    text = "5,1.5";
    errno = EINVAL;
    EXPECT_FALSE(f.LoadFromBackupString(text));
    EXPECT_EQ(f.ToBackupString(), "2,1.5,-9.8");
    EXPECT_EQ(
        log_.Lines(),
        (std::vector<LogLine>{{ANDROID_LOG_ERROR, kTag,
                               "[virtual bool android::fp_utils::FingerSize::LoadFromBackupString("
                               "std::string &)] failed to parse str:'5,1.5' with error -22"}}));
}

TEST_F(FingerSizesTest, CapacityCountersAndTheAsymmetricReset) {
    FingerSizes sizes("counts", 4, false);
    for (int32_t op : {1, 2, 2, 5}) sizes.AddFinger(Finger(op, static_cast<float>(op)), true);
    EXPECT_EQ(sizes.total_count_, 4u);
    EXPECT_EQ(sizes.op1_count_, 1u);
    EXPECT_EQ(sizes.op2_count_, 2u);
    sizes.AddFinger(Finger(2, 6), false);  // evicts the op 1
    sizes.AddFinger(Finger(0, 7), false);  // evicts an op 2
    EXPECT_EQ(Xs(sizes), (std::vector<float>{2, 5, 6, 7}));
    EXPECT_EQ(sizes.op1_count_, 0u);
    EXPECT_EQ(sizes.op2_count_, 2u);

    sizes.Reset();
    EXPECT_TRUE(sizes.fingers_.empty());
    EXPECT_EQ(sizes.total_count_, 0u);
    EXPECT_EQ(sizes.op2_count_, 2u) << "the per-kind counters outlive Reset";
    sizes.PushFinger(Finger(2, 1));  // no limit
    sizes.PushFinger(Finger(2, 1));
    EXPECT_EQ(sizes.op2_count_, 4u);
    EXPECT_EQ(sizes.PopFinger()->op, 2);
    EXPECT_NE(sizes.PopFinger(), nullptr);
    EXPECT_EQ(sizes.PopFinger(), nullptr) << "nothing left to pop";
    EXPECT_EQ(sizes.total_count_, 0u);
}

TEST_F(FingerSizesTest, PercentilesInterpolateAndStayInsideTheHistory) {
    FingerSizes sizes("p", FingerSizes::kNoLimit, false);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, 50), 0.0f);
    sizes.AddFinger(Finger(0, 4.5f, 8.5f), false);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, 100), 4.5f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::Y, 0), 8.5f);

    // Sorted x: 1 2 3 4 4.5; sorted y: 2 4 6 8 8.5, reached by any axis but X.
    for (float v : {4.0f, 2.0f, 3.0f, 1.0f}) sizes.AddFinger(Finger(0, v, 2 * v), false);
    const std::pair<float, float> x_cases[] = {{0, 1},      {50, 3},     {62.5f, 3.5f},
                                               {100, 4.5f}, {250, 4.5f}, {-20, 1}};
    for (const auto& [p, value] : x_cases) {
        EXPECT_FLOAT_EQ(sizes.GetPercentileValue(FingerSize::X, p), value) << p;
    }
    EXPECT_FLOAT_EQ(sizes.GetPercentileValue(FingerSize::Y, 95), 8.4f);
    EXPECT_FLOAT_EQ(sizes.GetPercentileValue(static_cast<FingerSize::Axis>(7), 50), 6.0f);
    EXPECT_EQ(sizes.GetPercentileValue(FingerSize::X, std::numeric_limits<float>::quiet_NaN()), 1);
}

TEST_F(FingerSizesTest, PersistentHistorySavesOnRequestAndReloadsWithinCapacity) {
    {
        FingerSizes sizes("thumb", 10, true);
        EXPECT_EQ(sizes.backup_path_, kPath);
        sizes.AddFinger(Finger(1, 7.26f, 9.8f), false);
        EXPECT_FALSE(root_.Exists(kPath)) << "not asked to save";
        sizes.AddFinger(Finger(2, 5, 6), true);
        sizes.AddFinger(Finger(1, 3, 4), true);
        EXPECT_EQ(root_.ReadFile(kPath), BackupRecordOf("1,7.3,9.8") + BackupRecordOf("2,5.0,6.0") +
                                             BackupRecordOf("1,3.0,4.0"));
    }
    std::string saved = root_.ReadFile(kPath);
    log_.Clear();
    FingerSizes reloaded("thumb", 2, true);
    EXPECT_EQ(Xs(reloaded), (std::vector<float>{5, 3}));
    EXPECT_EQ(reloaded.op1_count_, 1u);
    EXPECT_TRUE(log_.Lines().empty());
    EXPECT_EQ(root_.ReadFile(kPath), saved) << "loading never saves";

    reloaded.Reset();
    reloaded.AddFinger(Finger(2, 2), true);
    EXPECT_EQ(root_.ReadFile(kPath), saved) << "Reset ends persistence";
    FingerSizes memory_only("thumb", 10, false);
    memory_only.AddFinger(Finger(2, 2), true);
    EXPECT_TRUE(memory_only.fingers_.size() == 1 && root_.ReadFile(kPath) == saved);
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(FingerSizesTest, DamagedFilesAndMissingDirectoriesAreLoggedUnderTheHistorysTag) {
    root_.WriteFile(kPath, BackupRecordOf("1,1.0,1.0") + BackupRecordOf("1,x,1.0") +
                               BackupRecordOf("2,3.0,3.0") + BackupRecordOf("2,4.0,4.0", 1) +
                               BackupRecordOf("2,5.0,5.0"));
    FingerSizes sizes("thumb", 10, true);
    EXPECT_EQ(Xs(sizes), (std::vector<float>{1, 3}));
    EXPECT_EQ(log_.Count(kTag, "failed to parse str:'1,x,1.0'"), 1u);
    EXPECT_EQ(log_.Lines(kTag).back(),
              (LogLine{ANDROID_LOG_ERROR, kTag,
                       "[thumb][void android::fp_utils::FingerSizes::LoadFingersFromBackupFile()] "
                       "Crc checksum didn't match!"}));

    testing::TempRoot bare(testing::TempRoot::kBare);
    log_.Clear();
    FingerSizes orphan("index", 10, true);
    orphan.AddFinger(Finger(1, 1), true);
    const char* path = "\"/data/vendor/fingerprint/FingerSizes.index\" with error 2.";
    EXPECT_EQ(log_.Lines(),
              (std::vector<LogLine>{
                  {ANDROID_LOG_ERROR, kTag,
                   "[FingerSizes] Failed to create directory \"/data/vendor/fingerprint/\" with "
                   "error 2."},
                  {ANDROID_LOG_ERROR, kTag,
                   std::string("[LoadFingersFromBackupFile] Failed to open ") + path},
                  {ANDROID_LOG_ERROR, kTag,
                   std::string("[SaveFingersToBackupFile] Failed to open ") + path}}));
    EXPECT_EQ(orphan.total_count_, 1u);
}

TEST_F(FingerSizesTest, ConcurrentAdditionsKeepCountsAndFileConsistent) {
    FingerSizes sizes("thumb", 20, true);
    auto add = [&sizes](int32_t op) {
        for (int i = 0; i < 60; ++i) sizes.AddFinger(Finger(op, static_cast<float>(i)), true);
    };
    std::thread a(add, 1), b(add, 2);
    a.join();
    b.join();
    uint32_t ones = 0;
    std::string expected;
    for (const auto& f : sizes.fingers_) {
        ones += f->op == 1 ? 1 : 0;
        expected += BackupRecordOf(f->ToBackupString());
    }
    EXPECT_EQ(sizes.total_count_, 20u);
    EXPECT_EQ(sizes.op1_count_, ones);
    EXPECT_EQ(sizes.op2_count_, 20u - ones);
    EXPECT_EQ(root_.ReadFile(kPath), expected);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
