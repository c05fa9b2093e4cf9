// The process-wide list of serious failures: its bound, its dump and concurrent producers.
#include "fp_utils/critical_errors.h"

#include <gtest/gtest.h>

#include "tests/history/history_test_util.h"

namespace android::fp_utils {
namespace {

constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC

void Add(const std::string& msg, time_t when = kTime) {
    CriticalErrors::GetInstance()->AddErrorEvent(std::make_shared<ErrorEvent>(msg, when));
}

// The one list of the process, emptied before each case.
class CriticalErrorsTest : public ::testing::Test {
  protected:
    void SetUp() override { list_->events_.clear(); }
    // The dump's lines from `first` on.
    std::string DumpFrom(const std::string& first) {
        const std::string text = testing::DumpText(*list_);
        return text.substr(text.find(first));
    }
    CriticalErrors* list_ = CriticalErrors::GetInstance();
};

TEST_F(CriticalErrorsTest, EmptyListDumpsItsTitleOnly) {
    EXPECT_EQ(testing::DumpText(*list_), "Critical Errors:\n");
}

TEST_F(CriticalErrorsTest, ConcurrentProducersLeaveTheBoundOf100) {
    testing::OnThreads(4, [](int) {
        for (int i = 0; i < 50000; ++i) Add("*racing");
    });
    EXPECT_EQ(list_->events_.size(), 100u);
}

TEST_F(CriticalErrorsTest, KeepsTheLast100InOrderRepeatsIncluded) {
    for (int i = 1; i <= 99; ++i) Add("error " + std::to_string(i));
    Add("*failed to enable lhbm");
    Add("*failed to enable lhbm", kTime + 61);
    const std::string text = testing::DumpText(*list_);
    EXPECT_EQ(text.substr(0, text.find("  #001")),
              "Critical Errors:\n  #000 2024-03-05 14:07:31 error 2\n");
    EXPECT_EQ(DumpFrom("  #098"),
              "  #098 2024-03-05 14:07:31 *failed to enable lhbm\n"
              "  #099 2024-03-05 14:08:32 *failed to enable lhbm\n");
}

TEST_F(CriticalErrorsTest, LongMessageIsCutWithItsTimeAt127Characters) {
    Add(std::string(200, 'x'));
    EXPECT_EQ(DumpFrom("  #000"), "  #000 2024-03-05 14:07:31 " + std::string(107, 'x') + "\n");
}

TEST_F(CriticalErrorsTest, EmptyEventIsIgnored) {
    list_->AddErrorEvent(nullptr);
    EXPECT_TRUE(list_->events_.empty());
}

}  // namespace
}  // namespace android::fp_utils
