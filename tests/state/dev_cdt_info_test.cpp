#include "fp_utils/dev_cdt_info.h"

#include <android/log.h>
#include <errno.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::FpUtilsTest;
using testing::LogCapture;
using testing::TempRoot;

constexpr char kTag[] = "DevCdtInfo";
constexpr char kDir[] = "/sys/firmware/devicetree/base/chosen/plat";

std::string Item(const char* name) {
    return std::string(kDir) + "/" + name;
}

class DevCdtInfoItemTest : public FpUtilsTest {
  protected:
    // The instance reads the tree once per process, whichever test comes first; these cases
    // read single items and only need it to exist.
    void SetUp() override {
        DevCdtInfo::GetInstance();
        log_.Clear();
    }
    uint32_t Read(const char* item) { return DevCdtInfo::GetInstance().GetDevCdtInfoItem(item); }
};

TEST_F(DevCdtInfoItemTest, CellIsBigEndianAndShortFilesArePaddedWithZeros) {
    const struct {
        std::string bytes;
        uint32_t value;
    } cases[] = {
        {std::string("\x00\x00\x00\x05", 4), 5},
        {std::string("\x12\x34\x56\x78", 4), 0x12345678},
        {std::string("\x00\x00\x00\xff", 4), 0xff},
        {std::string("\x00\x80\x00\x01", 4), 0x00800001},
        {std::string("\xff\xff\xff\xfe", 4), 0xfffffffe},
        {std::string("\x01\x02", 2), 0x01020000},
        {std::string("\x80", 1), 0x80000000},
        {std::string(), 0},
        {std::string("\x00\x00\x01\x00\xff\xff", 6), 0x100},
    };
    for (const auto& c : cases) {
        root_.WriteFile(Item("major"), c.bytes);
        EXPECT_EQ(Read("major"), c.value) << c.bytes.size() << " bytes";
    }
    EXPECT_TRUE(log_.Lines(kTag).empty());
}

TEST_F(DevCdtInfoItemTest, MissingItemOrDirectoryLogsTheDevicePath) {
    root_.MakeDirs(kDir);
    EXPECT_EQ(Read("minor"), 0u);
    root_.Remove("/sys/firmware");
    EXPECT_EQ(Read("platform"), 0u);
    std::string no_entry = std::to_string(ENOENT);
    EXPECT_EQ(log_.Lines(kTag),
              (std::vector<testing::LogLine>{
                  {ANDROID_LOG_ERROR, kTag,
                   "Failed to open \"" + Item("minor") + "\" with error " + no_entry + "."},
                  {ANDROID_LOG_ERROR, kTag,
                   "Failed to open \"" + Item("platform") + "\" with error " + no_entry + "."}}));
}

TEST_F(DevCdtInfoItemTest, UnreadableItemLogsTheItemName) {
    root_.MakeDirs(Item("stage"));  // opens, but read() fails
    EXPECT_EQ(Read("stage"), 0u);
    EXPECT_EQ(log_.Lines(kTag),
              (std::vector<testing::LogLine>{{ANDROID_LOG_ERROR, kTag,
                                              "Failed to read CDT item \"stage\" with error " +
                                                  std::to_string(EISDIR) + "."}}));
}

TEST(VersionCompareTest, EqualOnlyForTheSameBytes) {
    EXPECT_TRUE(VersionCompare::checkEqual("", ""));
    EXPECT_TRUE(VersionCompare::checkEqual("1.2.3", "1.2.3"));
    EXPECT_TRUE(VersionCompare::checkEqual(std::string("a\0b", 3), std::string("a\0b", 3)));
    EXPECT_FALSE(VersionCompare::checkEqual("a", "a "));
    EXPECT_FALSE(VersionCompare::checkEqual("", " "));
    EXPECT_FALSE(VersionCompare::checkEqual("1.0", "1.00"));
    EXPECT_FALSE(VersionCompare::checkEqual("v1", "V1"));
    EXPECT_FALSE(VersionCompare::checkEqual(std::string("a\0b", 3), std::string("a\0c", 3)));
}

// The values of a freshly built instance and every line logged while building it.
std::string Snapshot(const DevCdtInfo& info, const LogCapture& log) {
    std::ostringstream out;
    out << std::hex << info.GetPlatform() << ' ' << info.GetProduct() << ' ' << info.GetStage()
        << ' ' << info.GetMajor() << ' ' << info.GetMinor() << ' ' << info.GetVariant() << '\n';
    for (const auto& line : log.Lines()) out << line << '\n';
    return out.str();
}

// A death-test child reports through its exit status and stderr, and cleans its own root.
[[noreturn]] void ExitChild(const TempRoot& root, const std::string& got, const std::string& want) {
    if (got != want) fprintf(stderr, "got:\n%swant:\n%s", got.c_str(), want.c_str());
    testing::RemoveTreeOnHost(root.dir());
    _exit(got == want ? 0 : 1);
}

void ReadTreeInChild(const TempRoot& root, const LogCapture& log) {
    // Several first callers at once still build one instance that reads the tree once.
    std::vector<std::thread> callers;
    std::vector<const DevCdtInfo*> seen(4);
    for (size_t i = 0; i < seen.size(); ++i) {
        callers.emplace_back([&seen, i] { seen[i] = &DevCdtInfo::GetInstance(); });
    }
    for (auto& t : callers) t.join();
    std::string got = Snapshot(DevCdtInfo::GetInstance(), log);
    for (const DevCdtInfo* p : seen)
        got += p == &DevCdtInfo::GetInstance() ? "" : "other instance\n";
    root.WriteFile(Item("platform"), std::string("\x00\x00\x00\x99", 4));
    got += DevCdtInfo::GetInstance().GetPlatform() == 0x12 ? "" : "read again\n";
    ExitChild(root, got,
              "12 12c 3000000 20000 0 a\n"
              "D/DevCdtInfo: DevCdtInfo: platform:0x12 \n"
              "D/DevCdtInfo: DevCdtInfo: product:0x12c \n"
              "D/DevCdtInfo: DevCdtInfo: stage:0x3000000 \n"
              "D/DevCdtInfo: DevCdtInfo: major:0x20000 \n"
              "D/DevCdtInfo: DevCdtInfo: minro:0x00 \n"
              "D/DevCdtInfo: DevCdtInfo: variant_0x0a \n");
}

void ReadMissingTreeInChild(const TempRoot& root, const LogCapture& log) {
    std::string want = "0 0 0 0 0 0\n";
    for (const char* item : {"platform", "product", "stage", "major", "minor", "variant"}) {
        want += "E/DevCdtInfo: Failed to open \"" + Item(item) + "\" with error " +
                std::to_string(ENOENT) + ".\n";
    }
    for (const char* text : {"platform:", "product:", "stage:", "major:", "minro:", "variant_"}) {
        want += std::string("D/DevCdtInfo: DevCdtInfo: ") + text + "0x00 \n";
    }
    ExitChild(root, Snapshot(DevCdtInfo::GetInstance(), log), want);
}

using DevCdtInfoDeathTest = FpUtilsTest;

TEST_F(DevCdtInfoDeathTest, ReadsTheSixItemsOnceInOrder) {
    root_.WriteFile(Item("platform"), std::string("\x00\x00\x00\x12", 4));
    root_.WriteFile(Item("product"), std::string("\x00\x00\x01\x2c", 4));
    root_.WriteFile(Item("stage"), std::string("\x03", 1));
    root_.WriteFile(Item("major"), std::string("\x00\x02", 2));
    root_.WriteFile(Item("minor"), std::string());
    root_.WriteFile(Item("variant"), std::string("\x00\x00\x00\x0a", 4));
    EXPECT_EXIT(ReadTreeInChild(root_, log_), ::testing::ExitedWithCode(0), "");
}

TEST_F(DevCdtInfoDeathTest, MissingDirectoryGivesSixOpenErrorsAndZeros) {
    ASSERT_FALSE(root_.Exists(kDir));
    EXPECT_EXIT(ReadMissingTreeInChild(root_, log_), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
