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

struct Result {
    int status;
    std::string out;
    std::string err;
};

class DevinfoTest : public testing::FpUtilsTest {
  protected:
    // `env` is put before the command, e.g. "FP_UTILS_ROOT=/x".
    Result Run(const std::string& args, const std::string& env = "") {
        std::string err_file = root_.Path("/fputil.err");
        std::string command = env + " " + FPUTIL_PATH + " devinfo " + args + " 2>" + err_file;
        FILE* pipe = popen(command.c_str(), "r");
        Result r;
        for (int c; (c = fgetc(pipe)) != EOF;) r.out += static_cast<char>(c);
        int status = pclose(pipe);
        r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.err = root_.ReadFile("/fputil.err");
        return r;
    }
    void WriteTree() {
        const char* items[] = {"platform", "product", "stage", "major", "minor", "variant"};
        for (int i = 0; i < 6; ++i) {
            root_.WriteFile(std::string(kDir) + "/" + items[i],
                            std::string("\x00\x00\x01", 3) + static_cast<char>(i));
        }
    }
    static bool HasRow(const std::string& out, const std::string& row) {
        return std::regex_search(out, std::regex("(^|\n)" + row + "\n"));
    }
};

TEST_F(DevinfoTest, PrintsTheItemsOfAPulledTree) {
    WriteTree();
    // The tree lives under DIR, whatever root the environment names.
    std::string dir = root_.dir();
    Result r = Run("--root " + dir, "FP_UTILS_ROOT=/nonexistent");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(HasRow(r.out, "device tree: " + dir + kDir)) << r.out;
    EXPECT_TRUE(HasRow(r.out, "platform +0x00000100 +256")) << r.out;
    EXPECT_TRUE(HasRow(r.out, "minor +0x00000104 +260")) << r.out;
    EXPECT_TRUE(HasRow(r.out, "variant +0x00000105 +261")) << r.out;
}

TEST_F(DevinfoTest, WithoutRootReadsTheLocalTree) {
    WriteTree();  // FP_UTILS_ROOT of this test is the local tree of the child process
    Result r = Run("");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(HasRow(r.out, "stage +0x00000102 +258")) << r.out;
}

TEST_F(DevinfoTest, UnreadableItemsAreMarkedAndReported) {
    root_.WriteFile(std::string(kDir) + "/platform", std::string("\x00\x00\x00\x07", 4));
    root_.MakeDirs(std::string(kDir) + "/stage");
    Result r = Run("--root " + root_.dir());
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(HasRow(r.out, "platform +0x00000007 +7")) << r.out;
    EXPECT_TRUE(HasRow(r.out, "stage +0x00000000 +0  \\(unreadable\\)")) << r.out;
    EXPECT_TRUE(HasRow(r.out, "variant +0x00000000 +0  \\(unreadable\\)")) << r.out;
    EXPECT_NE(r.err.find("5 of 6 items unreadable"), std::string::npos) << r.err;
}

TEST_F(DevinfoTest, BadArgumentsShowTheUsage) {
    for (const std::string& args :
         {std::string("--root"), "--root " + root_.dir() + "/absent", std::string("-v")}) {
        Result r = Run(args);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_NE(r.err.find("usage: fputil devinfo [--root DIR]"), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "") << args;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
