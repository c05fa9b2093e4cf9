// Runs a built command-line tool and collects what it printed.
#pragma once

#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace testing {

struct ToolRun {
    int status = -1;  // exit status, or -1 when the tool did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs `program` with `args` (each passed as it stands), in the current environment.
ToolRun RunTool(const std::string& program, const std::vector<std::string>& args);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
