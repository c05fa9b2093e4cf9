// What fputil finds in one backup file: every record as the HAL's reader meets it, the first
// damage, and what the HAL's container holds after loading the file at start-up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "history/backup_file.h"
#include "tools/fputil/histories.h"

namespace fputil {

enum class Verdict {
    kOk,           // the checksum holds and the record parses
    kCutShort,     // the file ends inside the body, yet the checksum holds over the bytes left
                   // in the HAL's buffer by the previous record: the HAL loads it
    kRejected,     // the checksum holds but the record's parser refuses it: the HAL skips it
    kBadChecksum,  // the HAL stops reading here
    kTooLong,      // declared length above the HAL's buffer: the HAL's process terminates
};

const char* VerdictName(Verdict verdict);

struct RecordReport {
    android::fp_utils::BackupRecord record;
    Verdict verdict = Verdict::kOk;
    std::string debug;             // the record's dump line, when it parses
    std::vector<std::string> log;  // what the parser logged
};

struct FileReport {
    std::string path;                   // as given on the command line
    std::string kind;                   // the class word: "AuthStats", ...
    std::string name;                   // the container's name (empty for the enrollment history)
    std::string record_class;           // e.g. "AuthEventG7"
    long size = 0;                      // bytes in the file
    std::vector<RecordReport> records;  // in file order, up to the first bad record
    // Damage stops the HAL's reader before the end of the file; set when found.
    bool damaged = false;
    long damage_offset = -1;
    std::string damage;                // what is wrong there, in one sentence
    bool terminates = false;           // the HAL's process would terminate loading this file
    size_t rejected = 0;               // records the HAL skips because their text is refused
    size_t kept = 0;                   // records the HAL's container holds after loading
    std::vector<std::string> summary;  // the container's figures after loading
    std::vector<std::string> hal_log;  // what the HAL logs while loading the file

    bool clean() const { return !damaged && rejected == 0; }
};

struct ReportOptions {
    const android::fp_utils::BackupFileKind* kind = nullptr;  // nullptr: from the file name
    HistoryOptions history;
};

// Inspects the file at `host_path`. False with `error` set when the file cannot be read or
// its kind cannot be told.
bool InspectBackupFile(const std::string& host_path, const ReportOptions& options,
                       FileReport* report, std::string* error);

// Rewrites the file at `host_path` so that it holds exactly the records the HAL would load,
// with the container's own writer. `report` must come from InspectBackupFile on that file.
// The original is kept as `backup_path`. Returns false with `error` set on failure.
bool RepairBackupFile(const std::string& host_path, const ReportOptions& options,
                      const FileReport& report, const std::string& backup_path, std::string* error);

// The report of one file as `fputil inspect` prints it, on stdout.
void PrintFileReport(const FileReport& report);
// The report of one file as one JSON object.
std::string FileReportJson(const FileReport& report);

}  // namespace fputil
