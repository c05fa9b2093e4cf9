// fputil devinfo, run as a user runs it.
#include <stdlib.h>
#include <sys/stat.h>

#include "tests/support/fixture.h"
#include "tests/tools/run_tool.h"

namespace android {
namespace fp_utils {
namespace {

const std::string kDir = "/sys/firmware/devicetree/base/chosen/plat/";

class DevinfoTest : public testing::FpUtilsTest {
  protected:
    // Every item but minor, as 256 + its index.
    void SetUp() override {
        const char* items[] = {"platform", "product", "stage", "major", "variant"};
        for (int i = 0; i < 5; ++i)
            root_.WriteFile(kDir + items[i], std::string("\0\0\1", 3) + char(i));
    }
    testing::ToolRun Devinfo() {
        return testing::RunTool(FPUTIL_PATH, {"devinfo", "--root", root_.dir()});
    }
};

TEST_F(DevinfoTest, TableMarksAnUnreadableItemAndExitsOne) {
    setenv("FP_UTILS_ROOT", "/nonexistent", 1);  // --root has to win over the environment
    const testing::ToolRun run = Devinfo();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "device tree: " + root_.dir() + kDir.substr(0, kDir.size() - 1) +
                           "\nitem      value         decimal\n"
                           "platform  0x00000100        256\nproduct   0x00000101        257\n"
                           "stage     0x00000102        258\nmajor     0x00000103        259\n"
                           "minor     0x00000000          0  (unreadable)\n"
                           "variant   0x00000104        260\n");
    EXPECT_NE(run.err.find("fputil devinfo: 1 of 6 items unreadable (shown as 0)\n"), run.err.npos);
}

TEST_F(DevinfoTest, AFifoItemIsUnreadableAndNeverWaitedOn) {
    // No one writes to it: a blocking open would wait for a writer for ever.
    ASSERT_EQ(mkfifo(root_.Path(kDir + "minor").c_str(), 0600), 0);
    const testing::ToolRun run =
        testing::RunTool("timeout", {"10", FPUTIL_PATH, "devinfo", "--root", root_.dir()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("minor     0x00000000          0  (unreadable)\n"), run.out.npos);
}

TEST_F(DevinfoTest, EmptyItemIsARealZero) {
    root_.WriteFile(kDir + "minor", "");
    EXPECT_EQ(Devinfo().status, 0);
}

TEST_F(DevinfoTest, BadArgumentsExitTwoWithTheUsageLine) {
    const std::vector<std::string> cases[] = {
        {"devinfo", "--root"}, {"devinfo", "-v"}, {"devinfo", "--root", root_.dir() + "/absent"}};
    for (const auto& args : cases) {
        const testing::ToolRun run = testing::RunTool(FPUTIL_PATH, args);
        EXPECT_EQ(run.status, 2) << args.back();
        EXPECT_NE(run.err.find("usage: fputil devinfo [--root DIR]\n"), run.err.npos) << run.err;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
