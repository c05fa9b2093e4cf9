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

// fputil coverage: the share of the sensor area that a touch covers.
extern const char kCoverageUsage[];
int RunCoverage(int argc, char** argv);

// Prints "usage: fputil <usage>" of the named command to stderr and returns kExitUsage.
int UsageError(const char* command_name, const char* message = nullptr);

// devinfo [--root DIR]: the hardware configuration items of a device tree.
int RunDevinfo(int argc, char** argv);

// sim [--root DIR] [--json] [--svg FILE] SCENARIO: a simulated HAL session.
extern const char kSimUsage[];
int RunSim(int argc, char** argv);

}  // namespace fputil
