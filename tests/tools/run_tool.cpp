#include "tests/tools/run_tool.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace android {
namespace fp_utils {
namespace testing {

ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
    // Each word in single quotes, so the shell passes it as it stands.
    auto quote = [](const std::string& word) {
        std::string out = "'";
        for (char c : word) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return out + "'";
    };
    char err_path[] = "/tmp/fp_utils_tool_err.XXXXXX";
    close(mkstemp(err_path));
    std::string command = quote(program);
    for (const std::string& a : args) command += " " + quote(a);
    FILE* pipe = popen((command + " 2>" + err_path).c_str(), "r");
    ToolRun run;
    for (int c; (c = fgetc(pipe)) != EOF;) run.out += static_cast<char>(c);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream err(err_path);
    run.err.assign(std::istreambuf_iterator<char>(err), {});
    unlink(err_path);
    return run;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
