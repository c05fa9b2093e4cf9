// The process-wide list of serious failures: its bound, its dump and concurrent producers.
#include "fp_utils/critical_errors.h"

#include <gtest/gtest.h>

#include "tests/history/history_test_util.h"

namespace android::fp_utils {
namespace {

void Add(const std::string& msg, time_t when = 0x65e72723) {  // 2024-03-05 14:07:31 UTC
    CriticalErrors::GetInstance()->AddErrorEvent(std::make_shared<ErrorEvent>(msg, when));
}

// The one list of the process; no other case of this program touches it.
TEST(CriticalErrors, TheProcessListKeepsTheLast100FromConcurrentProducers) {
    CriticalErrors* list = CriticalErrors::GetInstance();
    EXPECT_EQ(testing::DumpText(*list), "Critical Errors:\n");
    testing::OnThreads(4, [](int) {
        for (int i = 0; i < 100000; ++i) Add("*racing");
    });
    EXPECT_EQ(list->events_.size(), 100u);

    for (int i = 1; i <= 98; ++i) Add("error " + std::to_string(i));
    Add("*failed to enable lhbm");
    Add("*failed to enable lhbm", 0x65e72723 + 61);  // kept twice
    Add(std::string(200, 'x'));                      // cut with its time at 127 characters
    list->AddErrorEvent(nullptr);                    // ignored
    const std::string text = testing::DumpText(*list);
    EXPECT_EQ(text.substr(0, text.find("  #001")) + text.substr(text.find("  #096")),
              "Critical Errors:\n  #000 2024-03-05 14:07:31 error 2\n  #096 2024-03-05 14:07:31 "
              "error 98\n  #097 2024-03-05 14:07:31 *failed to enable lhbm\n  #098 2024-03-05 "
              "14:08:32 *failed to enable lhbm\n  #099 2024-03-05 14:07:31 " +
                  std::string(107, 'x') + "\n");
}

}  // namespace
}  // namespace android::fp_utils
