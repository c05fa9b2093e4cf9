#include "fp_utils/critical_errors.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "tests/history/history_test_util.h"

namespace android {
namespace fp_utils {
namespace {

using testing::DumpText;

constexpr time_t kTime = 0x65e72723;  // 2024-03-05 14:07:31 UTC

// A list of its own, so that a case does not depend on what others left in the process's one.
class FreshList : public CriticalErrors {};

std::string Dump(CriticalErrors& list) {
    return DumpText([&list](int fd) { list.Dump(fd, nullptr, 0); });
}

std::shared_ptr<ErrorEvent> Error(const std::string& msg, time_t when = kTime) {
    return std::make_shared<ErrorEvent>(msg, when);
}

TEST(ErrorEventText, TimeBlankAndMessageCutAt127Characters) {
    EXPECT_EQ(Error("*failed to enable lhbm")->ToDebugString(),
              "2024-03-05 14:07:31 *failed to enable lhbm");
    EXPECT_EQ(Error("")->ToDebugString(), "2024-03-05 14:07:31 ");
    EXPECT_EQ(Error("x", 0)->GetLocalTime(), "1970-01-01 00:00:00");

    std::string long_msg;
    for (int i = 0; i < 200; ++i) long_msg += static_cast<char>('a' + i % 26);
    std::string line = Error(long_msg)->ToDebugString();
    EXPECT_EQ(line, "2024-03-05 14:07:31 " + long_msg.substr(0, 107));
    EXPECT_EQ(line.size(), 127u);
}

TEST(CriticalErrorsList, EmptyDumpIsTheHeaderAlone) {
    FreshList list;
    EXPECT_EQ(Dump(list), "Critical Errors:\n");
    list.AddErrorEvent(nullptr);
    EXPECT_EQ(Dump(list), "Critical Errors:\n");
}

TEST(CriticalErrorsList, RepeatedMessagesAreAllKeptInOrder) {
    FreshList list;
    list.AddErrorEvent(Error("*failed to enable lhbm"));
    list.AddErrorEvent(Error("*failed to enable lhbm", kTime + 61));
    list.AddErrorEvent(Error(std::string(200, 'z')));
    EXPECT_EQ(Dump(list),
              "Critical Errors:\n"
              "  #000 2024-03-05 14:07:31 *failed to enable lhbm\n"
              "  #001 2024-03-05 14:08:32 *failed to enable lhbm\n"
              "  #002 2024-03-05 14:07:31 " +
                  std::string(107, 'z') + "\n");
}

TEST(CriticalErrorsList, TheProcessListKeepsTheLast100) {
    CriticalErrors* list = CriticalErrors::GetInstance();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(CriticalErrors::GetInstance(), list);
    for (int i = 1; i <= 101; ++i) list->AddErrorEvent(Error("error " + std::to_string(i)));
    ASSERT_EQ(list->events_.size(), 100u);

    std::string expected = "Critical Errors:\n";
    for (int i = 2; i <= 101; ++i) {
        char line[64];
        snprintf(line, sizeof(line), "  #%03d 2024-03-05 14:07:31 error %d\n", i - 2, i);
        expected += line;
    }
    EXPECT_EQ(Dump(*list), expected);
}

TEST(CriticalErrorsList, ConcurrentFirstUseYieldsOneInstance) {
    std::vector<CriticalErrors*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = CriticalErrors::GetInstance(); });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(std::set<CriticalErrors*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_EQ(seen[0], CriticalErrors::GetInstance());
}

TEST(CriticalErrorsList, ConcurrentProducersKeepTheNewest100InTheirOrder) {
    FreshList list;
    constexpr int kThreads = 4, kEach = 60;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&list, t] {
            for (int i = 0; i < kEach; ++i) {
                list.AddErrorEvent(Error(std::to_string(t) + ":" + std::to_string(i)));
            }
        });
    }
    for (auto& t : threads) t.join();
    ASSERT_EQ(list.events_.size(), 100u);
    // Only the oldest events were dropped, so what is left of each producer is the tail of
    // what it added, in its order.
    std::vector<std::vector<int>> kept(kThreads);
    for (const auto& e : list.events_) {
        kept[e->error_msg[0] - '0'].push_back(std::stoi(e->error_msg.substr(2)));
    }
    for (int t = 0; t < kThreads; ++t) {
        for (size_t k = 0; k < kept[t].size(); ++k) {
            EXPECT_EQ(kept[t][k], kEach - static_cast<int>(kept[t].size() - k)) << "producer " << t;
        }
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
