// fputil devinfo, run as a user runs it.
#include <stdlib.h>
#include <sys/stat.h>

#include "tests/support/fixture.h"
#include "tests/tools/run_tool.h"

namespace android {
namespace fp_utils {
namespace {

using Args = std::vector<std::string>;
using DevinfoTest = testing::FpUtilsTest;

TEST_F(DevinfoTest, PrintsAPulledTreeMarksUnreadableItemsAndRejectsBadArguments) {
    const std::string dir = "/sys/firmware/devicetree/base/chosen/plat";
    const char* items[] = {"/platform", "/product", "/stage", "/major", "/variant", "/minor"};
    for (int i = 0; i < 5; ++i) root_.WriteFile(dir + items[i], std::string("\0\0\1", 3) + char(i));
    setenv("FP_UTILS_ROOT", "/nonexistent", 1);  // --root has to win over the environment
    testing::ToolRun run = testing::RunTool(FPUTIL_PATH, {"devinfo", "--root", root_.dir()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "device tree: " + root_.dir() + dir + "\nitem      value         decimal\n" +
                           "platform  0x00000100        256\nproduct   0x00000101        257\n"
                           "stage     0x00000102        258\nmajor     0x00000103        259\n"
                           "minor     0x00000000          0  (unreadable)\n"
                           "variant   0x00000104        260\n");
    EXPECT_NE(run.err.find("fputil devinfo: 1 of 6 items unreadable (shown as 0)\n"), run.err.npos);
    // A FIFO no one writes to: read without waiting for a writer, and marked.
    ASSERT_EQ(mkfifo(root_.Path(dir + items[5]).c_str(), 0600), 0);
    run = testing::RunTool("timeout", {"10", FPUTIL_PATH, "devinfo", "--root", root_.dir()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("minor     0x00000000          0  (unreadable)\n"), run.out.npos);
    root_.Remove(dir + items[5]);
    root_.WriteFile(dir + items[5], "");  // readable, so a real 0
    EXPECT_EQ(testing::RunTool(FPUTIL_PATH, {"devinfo", "--root", root_.dir()}).status, 0);

    for (const Args& args : {Args{"devinfo", "--root"}, Args{"devinfo", "-v"},
                             Args{"devinfo", "--root", root_.dir() + "/absent"}}) {
        run = testing::RunTool(FPUTIL_PATH, args);
        EXPECT_EQ(run.status, 2) << args.back();
        EXPECT_NE(run.err.find("usage: fputil devinfo [--root DIR]\n"), run.err.npos) << run.err;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
