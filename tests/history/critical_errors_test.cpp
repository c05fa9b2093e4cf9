#include "fp_utils/critical_errors.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/history/history_test_util.h"

namespace android {
namespace fp_utils {
namespace {

constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC

// A list of its own, independent of what other cases left in the process's one.
class FreshList : public CriticalErrors {};

std::string Dump(CriticalErrors& list) {
    return testing::DumpText([&list](int fd) { list.Dump(fd, nullptr, 0); });
}

TEST(CriticalErrors, DumpsRepeatsAndCutsLongMessagesAt127Characters) {
    FreshList list;
    EXPECT_EQ(Dump(list), "Critical Errors:\n");
    std::string long_msg;
    for (int i = 0; i < 200; ++i) long_msg += static_cast<char>('a' + i % 26);
    list.AddErrorEvent(std::make_shared<ErrorEvent>("*failed to enable lhbm", kTime));
    list.AddErrorEvent(std::make_shared<ErrorEvent>("*failed to enable lhbm", kTime + 61));
    list.AddErrorEvent(std::make_shared<ErrorEvent>(long_msg, kTime));
    list.AddErrorEvent(nullptr);  // ignored
    EXPECT_EQ(Dump(list),
              "Critical Errors:\n"
              "  #000 2024-03-05 14:07:31 *failed to enable lhbm\n"
              "  #001 2024-03-05 14:08:32 *failed to enable lhbm\n"
              "  #002 2024-03-05 14:07:31 " +
                  long_msg.substr(0, 107) + "\n");
}

TEST(CriticalErrors, TheProcessListKeepsTheLast100) {
    CriticalErrors* list = CriticalErrors::GetInstance();
    ASSERT_EQ(CriticalErrors::GetInstance(), list);
    std::string expected = "Critical Errors:\n";
    for (int i = 1; i <= 101; ++i) {
        list->AddErrorEvent(std::make_shared<ErrorEvent>("error " + std::to_string(i), kTime));
        char line[64];
        snprintf(line, sizeof(line), "  #%03d 2024-03-05 14:07:31 error %d\n", i - 2, i);
        if (i >= 2) expected += line;
    }
    EXPECT_EQ(Dump(*list), expected);
}

TEST(CriticalErrors, ConcurrentProducersLoseOnlyTheOldest) {
    std::vector<CriticalErrors*> seen(4, nullptr);
    FreshList list;
    constexpr int kEach = 60;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            seen[t] = CriticalErrors::GetInstance();
            for (int i = 0; i < kEach; ++i) {
                list.AddErrorEvent(std::make_shared<ErrorEvent>(
                    std::to_string(t) + ":" + std::to_string(i), kTime));
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_TRUE(seen[0] == seen[1] && seen[1] == seen[2] && seen[2] == seen[3]);
    ASSERT_EQ(list.events_.size(), 100u);
    // What is left of each producer is the tail of what it added, in its order.
    std::vector<std::vector<int>> kept(4);
    for (const auto& e : list.events_) {
        kept[e->error_msg[0] - '0'].push_back(std::stoi(e->error_msg.substr(2)));
    }
    for (const auto& tail : kept) {
        for (size_t k = 0; k < tail.size(); ++k) {
            EXPECT_EQ(tail[k], kEach - static_cast<int>(tail.size() - k));
        }
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
