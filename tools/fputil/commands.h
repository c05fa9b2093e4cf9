// The commands of fputil. Each one parses its own arguments (argv[0] is the command's name)
// and returns the process exit status: 0 success, 1 a finding (a damaged file, say), 2 bad
// arguments.
#pragma once

namespace fputil {

struct Command {
    const char* name;
    const char* usage;    // one line, without "fputil "
    const char* summary;  // what it is for, one line
    int (*run)(int argc, char** argv);
};

constexpr int kExitOk = 0;
constexpr int kExitFinding = 1;
constexpr int kExitUsage = 2;

int RunInspect(int argc, char** argv);
int RunRepair(int argc, char** argv);

// Prints "usage: fputil <usage>" of the named command to stderr and returns kExitUsage.
int UsageError(const char* command_name, const char* message = nullptr);

}  // namespace fputil
