// fputil repair: rewrites a damaged backup file so that it holds exactly the records the HAL
// would load from it, keeping the original beside it.
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "tools/fputil/backup_options.h"
#include "tools/fputil/backup_report.h"
#include "tools/fputil/commands.h"

namespace fputil {
namespace {

// FILE.orig, or FILE.orig.1, FILE.orig.2, ... when earlier repairs left one.
std::string FreeBackupName(const std::string& file) {
    std::string candidate = file + ".orig";
    struct stat st;
    for (int i = 1; lstat(candidate.c_str(), &st) == 0; ++i) {
        candidate = file + ".orig." + std::to_string(i);
    }
    return candidate;
}

}  // namespace

int RunRepair(int argc, char** argv) {
    BackupArgs args;
    if (int status = ParseBackupCommand("repair", argc, argv, &args); status != kGoOn) {
        return status;
    }
    if (args.files.size() != 1) return UsageError("repair", "exactly one FILE to repair");
    const std::string& file = args.files[0];

    FileReport report;
    std::string error;
    if (!InspectBackupFile(file, args.options, &report, &error)) {
        fprintf(stderr, "fputil repair: %s\n", error.c_str());
        return UsageError("repair");
    }
    size_t good = 0;
    for (const RecordReport& r : report.records) {
        good += r.verdict == Verdict::kOk || r.verdict == Verdict::kCutShort ? 1 : 0;
    }
    if (report.clean() && report.kept == good) {
        printf("%s: clean, %zu records; nothing to repair, file left as it is\n", file.c_str(),
               report.kept);
        return kExitOk;
    }

    std::string backup = FreeBackupName(file);
    if (!RepairBackupFile(file, args.options, report, backup, &error)) {
        fprintf(stderr, "fputil repair: %s\n", error.c_str());
        return kExitFinding;
    }
    printf("%s: original kept as %s\n", file.c_str(), backup.c_str());
    for (size_t i = 0; i < report.records.size(); ++i) {
        const RecordReport& r = report.records[i];
        if (r.verdict == Verdict::kRejected) {
            printf(
                "  dropped record #%zu at offset %ld: its text is refused by the record parser\n",
                i, r.record.offset);
        }
    }
    if (report.damaged) {
        printf("  dropped %ld bytes from offset %ld: %s\n", report.size - report.damage_offset,
               report.damage_offset, report.damage.c_str());
    }
    if (!report.terminates && report.kept < good) {
        printf("  dropped the %zu oldest records beyond the limit of %u\n", good - report.kept,
               args.options.history.limit);
    }
    FileReport after;
    if (InspectBackupFile(file, args.options, &after, &error)) {
        printf("  now %zu records, %ld bytes, %s\n", after.kept, after.size,
               after.clean() ? "clean" : "NOT CLEAN");
    }
    return kExitOk;
}

}  // namespace fputil
