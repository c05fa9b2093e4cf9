// Record times that the C library cannot turn into a date: every record class prints them as
// a placeholder instead of crashing, also when such a record comes from a backup file.
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "fp_utils/auth_stats.h"
#include "fp_utils/critical_errors.h"
#include "fp_utils/enroll_event.h"
#include "tests/history/history_test_util.h"
#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

const std::string kPlaceholder = "<time out of range> ";

// Years beyond what struct tm holds, either way; the last one is just out of range.
constexpr time_t kUnconvertible[] = {LLONG_MAX, LLONG_MIN, 67768036191676800};

template <typename Record>
std::string DebugLineAt(time_t t) {
    Record record;
    record.time = t;
    return record.ToDebugString();
}

TEST(RecordTimeTest, UnconvertibleTimesPrintAPlaceholderInEveryRecordClass) {
    const struct {
        const char* record_class;
        std::function<std::string(time_t)> debug_line;
    } classes[] = {
        {"AuthEvent", DebugLineAt<AuthEvent>},     {"AuthEventG7", DebugLineAt<AuthEventG7>},
        {"EnrollEvent", DebugLineAt<EnrollEvent>}, {"EnrollEventG7", DebugLineAt<EnrollEventG7>},
        {"ErrorEvent", DebugLineAt<ErrorEvent>},
    };
    for (const auto& c : classes) {
        for (time_t t : kUnconvertible) {
            EXPECT_EQ(c.debug_line(t).substr(0, kPlaceholder.size()), kPlaceholder)
                << c.record_class << " at " << t;
        }
        // A far but convertible time keeps its date (UTC in tests).
        EXPECT_EQ(c.debug_line(253402300799).substr(0, 20), "9999-12-31 23:59:59 ")
            << c.record_class;
    }
}

using RecordTimeFileTest = testing::FpUtilsTest;

TEST_F(RecordTimeFileTest, AHostileTimeInABackupFileLoadsAndDumps) {
    // A valid checksum over a record whose time no calendar holds.
    root_.WriteFile("/data/vendor/fingerprint/AuthStats.hostile",
                    testing::BackupRecordOf("0x7fffffffffffffff,0x1,0x1,0x2,0x96,0x3c"));
    AuthStats stats("hostile", 10, true);
    stats.Init();
    ASSERT_EQ(stats.attempts_.size(), 1u);
    EXPECT_NE(testing::DumpText(stats).find("#000 " + kPlaceholder + "auth_successful:1"),
              std::string::npos)
        << testing::DumpText(stats);
}

}  // namespace
}  // namespace android::fp_utils
