// Command-line options shared by the commands that read backup files (inspect, repair).
#pragma once

#include <string>
#include <vector>

#include "tools/fputil/backup_report.h"

namespace fputil {

extern const char kInspectUsage[];
extern const char kRepairUsage[];
extern const char kBackupOptionsHelp[];

struct BackupArgs {
    std::string root;  // --root DIR
    bool json = false;
    bool help = false;
    ReportOptions options;
    std::vector<std::string> files;
};

// Parses argv[1..]; false with `problem` set on a bad option or value.
bool ParseBackupArgs(int argc, char** argv, bool inspect_options, BackupArgs* args,
                     std::string* problem);

// Parses the arguments of "inspect" or "repair" (`command`). Returns kGoOn when the command
// is to run, otherwise the exit status after the usage error or the help text was shown.
constexpr int kGoOn = -1;
int ParseBackupCommand(const char* command, int argc, char** argv, BackupArgs* args);

// A file named on the command line together with --root: a device path ("/data/...") or a
// bare file name (taken from the backup directory) inside the root; anything else as given.
std::string ResolveUnderRoot(const std::string& root, const std::string& file);

}  // namespace fputil
