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

// A file named on the command line together with --root: a device path ("/data/...") or a
// bare file name (taken from the backup directory) inside the root; anything else as given.
std::string ResolveUnderRoot(const std::string& root, const std::string& file);

}  // namespace fputil
