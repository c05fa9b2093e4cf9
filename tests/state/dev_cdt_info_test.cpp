#include "fp_utils/dev_cdt_info.h"

#include <android/log.h>
#include <errno.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <vector>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogLine;

constexpr char kTag[] = "DevCdtInfo";
constexpr char kDir[] = "/sys/firmware/devicetree/base/chosen/plat";
const char* const kItems[] = {"platform", "product", "stage", "major", "minor", "variant"};

std::string Item(const char* name) {
    return std::string(kDir) + "/" + name;
}

std::string OpenError(const char* name) {
    return "Failed to open \"" + Item(name) + "\" with error " + std::to_string(ENOENT) + ".";
}

class DevCdtInfoItemTest : public testing::FpUtilsTest {
  protected:
    // The instance reads the tree once per process, in whichever case comes first; these
    // cases read single items and only need it to exist.
    void SetUp() override { DevCdtInfo::GetInstance(), log_.Clear(); }
    uint32_t Read(const char* item) { return DevCdtInfo::GetInstance().GetDevCdtInfoItem(item); }
};

TEST_F(DevCdtInfoItemTest, CellIsBigEndianAndShortFilesArePaddedWithZeros) {
    const struct {
        std::string bytes;
        uint32_t value;
    } cases[] = {
        {std::string("\x00\x00\x00\x05", 4), 5},
        {std::string("\x12\x34\x56\x78", 4), 0x12345678},
        {std::string("\x00\x80\x00\xff", 4), 0x008000ff},  // no sign extension
        {std::string("\x01\x02", 2), 0x01020000},
        {std::string("\x80", 1), 0x80000000},
        {std::string(), 0},
        {std::string("\x00\x00\x01\x00\xff", 5), 0x100},  // one cell only
    };
    for (const auto& c : cases) {
        root_.WriteFile(Item("major"), c.bytes);
        EXPECT_EQ(Read("major"), c.value) << c.bytes.size() << " bytes";
    }
    EXPECT_TRUE(log_.Lines(kTag).empty());
}

TEST_F(DevCdtInfoItemTest, UnreadableItemsAreZeroAndLogged) {
    root_.MakeDirs(Item("stage"));  // opens, but cannot be read
    EXPECT_EQ(Read("stage"), 0u);
    EXPECT_EQ(Read("minor"), 0u);
    root_.Remove("/sys/firmware");
    EXPECT_EQ(Read("platform"), 0u);
    std::string read_error = "Failed to read CDT item \"stage\" with error ";
    EXPECT_EQ(
        log_.Lines(kTag),
        (std::vector<LogLine>{{ANDROID_LOG_ERROR, kTag, read_error + std::to_string(EISDIR) + "."},
                              {ANDROID_LOG_ERROR, kTag, OpenError("minor")},
                              {ANDROID_LOG_ERROR, kTag, OpenError("platform")}}));
}

TEST(VersionCompareTest, EqualOnlyForTheSameBytes) {
    EXPECT_TRUE(VersionCompare::checkEqual("", ""));
    EXPECT_TRUE(VersionCompare::checkEqual("1.2.3", "1.2.3"));
    for (const char* other : {"a ", " a", "A", "", "a\n"}) {
        EXPECT_FALSE(VersionCompare::checkEqual("a", other)) << other;
    }
    EXPECT_FALSE(VersionCompare::checkEqual("1.0", "1.00"));
    EXPECT_FALSE(VersionCompare::checkEqual(std::string("a\0b", 3), std::string("a\0c", 3)));
}

// In a child process, whose first GetInstance reads the tree: the six values and the log
// lines of that first read must be `want`, and the tree is not read again.
void CheckFirstReadInChild(const testing::TempRoot& root, const testing::LogCapture& log,
                           const std::string& want) {
    const DevCdtInfo& info = DevCdtInfo::GetInstance();
    std::ostringstream got;
    got << std::hex << info.GetPlatform() << ' ' << info.GetProduct() << ' ' << info.GetStage()
        << ' ' << info.GetMajor() << ' ' << info.GetMinor() << ' ' << info.GetVariant() << '\n';
    for (const LogLine& line : log.Lines()) got << line << '\n';
    root.WriteFile(Item("platform"), std::string("\x00\x00\x00\x99", 4));
    if (&DevCdtInfo::GetInstance() != &info || info.GetPlatform() == 0x99) got << "read again\n";
    if (got.str() != want) fprintf(stderr, "got:\n%swant:\n%s", got.str().c_str(), want.c_str());
    testing::RemoveTreeOnHost(root.dir());  // the child leaves without running destructors
    _exit(got.str() == want ? 0 : 1);
}

using DevCdtInfoDeathTest = testing::FpUtilsTest;

TEST_F(DevCdtInfoDeathTest, ReadsTheSixItemsOnceInOrder) {
    const char* cells[] = {"\x00\x00\x00\x12", "\x00\x00\x01\x2c", "\x03", "\x00\x02", "",
                           "\x00\x00\x00\x0a"};
    const size_t sizes[] = {4, 4, 1, 2, 0, 4};
    for (int i = 0; i < 6; ++i) root_.WriteFile(Item(kItems[i]), std::string(cells[i], sizes[i]));
    EXPECT_EXIT(CheckFirstReadInChild(root_, log_,
                                      "12 12c 3000000 20000 0 a\n"
                                      "D/DevCdtInfo: DevCdtInfo: platform:0x12 \n"
                                      "D/DevCdtInfo: DevCdtInfo: product:0x12c \n"
                                      "D/DevCdtInfo: DevCdtInfo: stage:0x3000000 \n"
                                      "D/DevCdtInfo: DevCdtInfo: major:0x20000 \n"
                                      "D/DevCdtInfo: DevCdtInfo: minro:0x00 \n"
                                      "D/DevCdtInfo: DevCdtInfo: variant_0x0a \n"),
                ::testing::ExitedWithCode(0), "");
}

TEST_F(DevCdtInfoDeathTest, MissingDirectoryGivesSixOpenErrorsAndZeros) {
    std::string want = "0 0 0 0 0 0\n";
    for (const char* item : kItems) want += "E/DevCdtInfo: " + OpenError(item) + "\n";
    for (const char* text : {"platform:", "product:", "stage:", "major:", "minro:", "variant_"}) {
        want += std::string("D/DevCdtInfo: DevCdtInfo: ") + text + "0x00 \n";
    }
    EXPECT_EXIT(CheckFirstReadInChild(root_, log_, want), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
