// fputil inspect: reads backup files the way the HAL reads them at start-up and says what is
// in them, record by record, and what the HAL would keep.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/fputil/backup_options.h"
#include "tools/fputil/backup_report.h"
#include "tools/fputil/commands.h"
#include "tools/fputil/json.h"

namespace fputil {
namespace {

constexpr char kBackupDir[] = "/data/vendor/fingerprint";

// Every backup file of the device tree under `root`, sorted by name.
std::vector<std::string> BackupFilesUnder(const std::string& root);

}  // namespace

void PrintFileReport(const FileReport& r) {
    printf("%s: %s", r.path.c_str(), r.kind.c_str());
    if (!r.name.empty()) printf(" \"%s\"", r.name.c_str());
    printf(", %s records, %ld bytes\n", r.record_class.c_str(), r.size);
    if (!r.records.empty()) {
        printf("  %-4s %-7s %-7s %-10s %-12s %s\n", "#", "offset", "length", "checksum", "verdict",
               "record");
    }
    for (size_t i = 0; i < r.records.size(); ++i) {
        const RecordReport& e = r.records[i];
        char length[24];
        snprintf(length, sizeof(length), "0x%" PRIx64, e.record.length);
        printf("  %-4zu %-7ld %-7s 0x%08x %-12s %s\n", i, e.record.offset, length,
               e.record.stored_crc, VerdictName(e.verdict), e.debug.c_str());
        for (const std::string& line : e.log) printf("         %s\n", line.c_str());
    }
    if (r.damaged) printf("  DAMAGED at offset %ld: %s\n", r.damage_offset, r.damage.c_str());
    if (r.rejected > 0) {
        printf("  %zu record%s refused by the record parser: the HAL skips %s\n", r.rejected,
               r.rejected == 1 ? "" : "s", r.rejected == 1 ? "it" : "them");
    }
    if (r.terminates) {
        printf("  the HAL keeps nothing: its process terminates while loading\n");
    } else {
        printf("  the HAL keeps %zu record%s\n", r.kept, r.kept == 1 ? "" : "s");
        for (const std::string& line : r.summary) printf("  %s\n", line.c_str());
    }
    if (!r.hal_log.empty()) {
        printf("  HAL log while loading:\n");
        for (const std::string& line : r.hal_log) printf("    %s\n", line.c_str());
    }
    printf("  %s\n", r.clean() ? "clean" : "NOT CLEAN");
}

std::string FileReportJson(const FileReport& r) {
    std::string out = "{\"file\": " + JsonString(r.path) + ", \"kind\": " + JsonString(r.kind) +
                      ", \"name\": " + JsonString(r.name) +
                      ", \"record_class\": " + JsonString(r.record_class) +
                      ", \"size\": " + std::to_string(r.size) + ", \"records\": [";
    for (size_t i = 0; i < r.records.size(); ++i) {
        const RecordReport& e = r.records[i];
        char crc[64];
        snprintf(crc, sizeof(crc), "\"0x%08x\", \"computed_crc\": \"0x%08x\"", e.record.stored_crc,
                 e.record.computed_crc);
        out += std::string(i ? ", " : "") + "{\"index\": " + std::to_string(i) +
               ", \"offset\": " + std::to_string(e.record.offset) +
               ", \"length\": " + std::to_string(e.record.length) + ", \"stored_crc\": " + crc +
               ", \"verdict\": " + JsonString(VerdictName(e.verdict)) +
               ", \"debug\": " + JsonString(e.debug) + ", \"log\": " + JsonStrings(e.log) + "}";
    }
    out += "], \"damaged\": " + std::string(r.damaged ? "true" : "false");
    out += ", \"damage_offset\": " + std::to_string(r.damage_offset);
    out += ", \"damage\": " + JsonString(r.damage);
    out += ", \"terminates\": " + std::string(r.terminates ? "true" : "false");
    out += ", \"rejected\": " + std::to_string(r.rejected);
    out += ", \"kept\": " + std::to_string(r.kept);
    out += ", \"summary\": " + JsonStrings(r.summary);
    out += ", \"hal_log\": " + JsonStrings(r.hal_log);
    out += ", \"clean\": " + std::string(r.clean() ? "true" : "false") + "}";
    return out;
}

namespace {

std::vector<std::string> BackupFilesUnder(const std::string& root) {
    std::vector<std::string> files;
    std::string dir = root + kBackupDir;
    std::unique_ptr<DIR, int (*)(DIR*)> d(opendir(dir.c_str()), closedir);
    if (d == nullptr) return files;
    while (struct dirent* entry = readdir(d.get())) {
        std::string name = entry->d_name;
        struct stat st;
        std::string path = dir + "/" + name;
        if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
        if (android::fp_utils::BackupKindOfFileName(name, nullptr) != nullptr) {
            files.push_back(path);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int RunInspect(int argc, char** argv) {
    BackupArgs args;
    if (int status = ParseBackupCommand("inspect", argc, argv, &args); status != kGoOn) {
        return status;
    }
    std::vector<std::string> files = args.files;
    if (files.empty()) {
        if (args.root.empty()) return UsageError("inspect", "no backup file given");
        files = BackupFilesUnder(args.root);
        if (files.empty()) {
            fprintf(stderr, "fputil inspect: no backup files under %s%s\n", args.root.c_str(),
                    kBackupDir);
            return kExitFinding;
        }
    } else if (!args.root.empty()) {
        for (std::string& f : files) f = ResolveUnderRoot(args.root, f);
    }

    int status = kExitOk;
    std::vector<std::string> json;
    for (const std::string& file : files) {
        FileReport report;
        std::string error;
        if (!InspectBackupFile(file, args.options, &report, &error)) {
            fprintf(stderr, "fputil inspect: %s\n", error.c_str());
            return UsageError("inspect");
        }
        if (!report.clean()) status = kExitFinding;
        if (args.json) {
            json.push_back(FileReportJson(report));
        } else {
            PrintFileReport(report);
        }
    }
    if (args.json) {
        printf("[");
        for (size_t i = 0; i < json.size(); ++i) printf("%s%s", i ? ",\n " : "", json[i].c_str());
        printf("]\n");
    }
    return status;
}

}  // namespace fputil
