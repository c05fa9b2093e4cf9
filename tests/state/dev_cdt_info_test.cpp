#include "fp_utils/dev_cdt_info.h"

#include <errno.h>
#include <unistd.h>

#include <sstream>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

std::string Item(const std::string& name) {
    return "/sys/firmware/devicetree/base/chosen/plat/" + name;
}

TEST(VersionCompareTest, EqualOnlyForTheSameBytes) {
    EXPECT_TRUE(VersionCompare::checkEqual("", ""));
    EXPECT_TRUE(VersionCompare::checkEqual("1.2.3", "1.2.3"));
    for (const char* other : {"a ", "A", ""}) EXPECT_FALSE(VersionCompare::checkEqual("a", other));
    EXPECT_FALSE(VersionCompare::checkEqual("1.0", "1.00"));
    EXPECT_FALSE(VersionCompare::checkEqual(std::string("a\0b", 3), std::string("a\0c", 3)));
}

// Run in a child, whose first GetInstance reads the tree: the six values and the log lines
// must be `want`, and a later call gives the same instance.
void FirstReadInChild(const testing::TempRoot& root, const testing::LogCapture& log,
                      const std::string& want) {
    const DevCdtInfo& info = DevCdtInfo::GetInstance();
    std::ostringstream got;
    got << std::hex << info.GetPlatform() << ' ' << info.GetProduct() << ' ' << info.GetStage()
        << ' ' << info.GetMajor() << ' ' << info.GetMinor() << ' ' << info.GetVariant() << '\n';
    for (const testing::LogLine& line : log.Lines()) got << line << '\n';
    if (&DevCdtInfo::GetInstance() != &info) got << "a second instance\n";
    if (got.str() != want) fprintf(stderr, "got:\n%swant:\n%s", got.str().c_str(), want.c_str());
    testing::RemoveTreeOnHost(root.dir());  // the child leaves without running destructors
    _exit(got.str() == want ? 0 : 1);
}

using DevCdtInfoDeathTest = testing::FpUtilsTest;

TEST_F(DevCdtInfoDeathTest, ReadsEachItemAsOneBigEndianCellOnceThenLogsTheSix) {
    root_.WriteFile(Item("platform"), "\x12\x80\x56\xff");               // no sign extension
    root_.WriteFile(Item("product"), "");                                // 0, not an error
    root_.MakeDirs(Item("stage"));                                       // opens, cannot be read
    root_.WriteFile(Item("major"), "\x01\x02");                          // missing bytes count as 0
    root_.WriteFile(Item("variant"), std::string("\0\0\x01\0\xff", 5));  // one cell only
    std::string want =
        "128056ff 0 0 1020000 0 100\n"  // minor is missing
        "E/DevCdtInfo: Failed to read CDT item \"stage\" with error " +
        std::to_string(EISDIR) + ".\nE/DevCdtInfo: Failed to open \"" + Item("minor") +
        "\" with error " + std::to_string(ENOENT) + ".\n";
    for (const char* text : {"platform:0x128056ff ", "product:0x00 ", "stage:0x00 ",
                             "major:0x1020000 ", "minro:0x00 ", "variant_0x100 "}) {
        want += std::string("D/DevCdtInfo: DevCdtInfo: ") + text + "\n";
    }
    EXPECT_EXIT(FirstReadInChild(root_, log_, want), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
