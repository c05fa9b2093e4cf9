#include "fp_utils/dev_cdt_info.h"

#include <errno.h>
#include <unistd.h>

#include <iostream>

#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

const std::string kPlat = "/sys/firmware/devicetree/base/chosen/plat/";

TEST(VersionCompareTest, EqualOnlyForTheSameBytes) {
    // Equal pairs, then no trimming, no case folding, no numbers, and no stop at a zero byte.
    const std::string pairs[][2] = {{"", ""},   {"1.2.3", "1.2.3"}, {"a", "a "},
                                    {"a", "A"}, {"1.0", "1.00"},    {{"a\0b", 3}, {"a\0c", 3}}};
    for (auto& [a, b] : pairs) EXPECT_EQ(VersionCompare::checkEqual(a, b), a == b) << b;
}

// Run in a child, whose first GetInstance reads the tree (a second one reads nothing more):
// writes the six values and the log lines to stderr.
void FirstReadInChild(const testing::TempRoot& root, const testing::LogCapture& log) {
    DevCdtInfo::GetInstance();
    const DevCdtInfo& info = DevCdtInfo::GetInstance();
    fprintf(stderr, "%x %x %x %x %x %x\n", info.GetPlatform(), info.GetProduct(), info.GetStage(),
            info.GetMajor(), info.GetMinor(), info.GetVariant());
    for (const testing::LogLine& line : log.Lines()) std::cerr << line << '\n';
    testing::RemoveTreeOnHost(root.dir());  // the child leaves without running destructors
    _exit(0);
}

using DevCdtInfoDeathTest = testing::FpUtilsTest;

TEST_F(DevCdtInfoDeathTest, ReadsEachItemAsOneBigEndianCellOnceThenLogsTheSix) {
    root_.WriteFile(kPlat + "platform", "\x12\x80\x56\xff");  // no sign extension
    root_.WriteFile(kPlat + "product", "");                   // 0, not an error
    root_.MakeDirs(kPlat + "stage");                          // opens, cannot be read
    root_.WriteFile(kPlat + "major", "\x01\x02");             // missing bytes count as 0
    root_.WriteFile(kPlat + "variant", std::string("\0\0\x01\0\xff", 5));  // one cell only
    std::string want =
        "128056ff 0 0 1020000 0 100\n"  // minor is missing
        "E/DevCdtInfo: Failed to read CDT item \"stage\" with error " +
        std::to_string(EISDIR) + ".\nE/DevCdtInfo: Failed to open \"" + kPlat +
        "minor\" with error " + std::to_string(ENOENT) + ".\n";
    for (const char* text : {"platform:0x128056ff ", "product:0x00 ", "stage:0x00 ",
                             "major:0x1020000 ", "minro:0x00 ", "variant_0x100 "})
        want += std::string("D/DevCdtInfo: DevCdtInfo: ") + text + "\n";
    EXPECT_EXIT(FirstReadInChild(root_, log_), ::testing::ExitedWithCode(0), ::testing::Eq(want));
}

}  // namespace
}  // namespace android::fp_utils
