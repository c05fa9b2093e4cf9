// fputil devinfo, run as a user runs it.
#include <sys/wait.h>

#include <cstdio>
#include <regex>
#include <string>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kDir[] = "/sys/firmware/devicetree/base/chosen/plat";

class DevinfoTest : public testing::FpUtilsTest {
  protected:
    // Runs the tool, stdout and stderr merged, with a root in its environment that --root
    // has to override.
    int Run(const std::string& args, std::string* out) {
        const std::string tool = FPUTIL_PATH;
        std::string command = "FP_UTILS_ROOT=/nonexistent " + tool + " devinfo " + args + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        out->clear();
        for (int c; (c = fgetc(pipe)) != EOF;) *out += static_cast<char>(c);
        int status = pclose(pipe);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(DevinfoTest, PrintsTheItemsOfAPulledTreeAndMarksUnreadableOnes) {
    const char* items[] = {"platform", "product", "stage", "major", "minor", "variant"};
    for (char i = 0; i < 6; ++i) {
        root_.WriteFile(std::string(kDir) + "/" + items[int(i)], std::string("\0\0\1", 3) + i);
    }
    std::string out;
    EXPECT_EQ(Run("--root " + root_.dir(), &out), 0) << out;
    EXPECT_NE(out.find("device tree: " + root_.dir() + kDir + "\n"), std::string::npos) << out;
    EXPECT_TRUE(std::regex_search(out, std::regex("\nplatform +0x00000100 +256\n"))) << out;
    EXPECT_TRUE(std::regex_search(out, std::regex("\nvariant +0x00000105 +261\n"))) << out;

    root_.Remove(std::string(kDir) + "/minor");
    EXPECT_EQ(Run("--root " + root_.dir(), &out), 1) << out;
    EXPECT_TRUE(std::regex_search(out, std::regex("\nminor +0x00000000 +0  \\(unreadable\\)\n")));
    EXPECT_TRUE(std::regex_search(out, std::regex("\nmajor +0x00000103 +259\n"))) << out;
}

TEST_F(DevinfoTest, BadArgumentsShowTheUsage) {
    for (const std::string& args :
         {std::string("--root"), "--root " + root_.dir() + "/absent", std::string("-v")}) {
        std::string out;
        EXPECT_EQ(Run(args, &out), 2) << args;
        EXPECT_NE(out.find("usage: fputil devinfo [--root DIR]\n"), std::string::npos) << out;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
