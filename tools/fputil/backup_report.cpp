#include "tools/fputil/backup_report.h"

#include <android-base/file.h>
#include <android-base/stringprintf.h>
#include <sys/stat.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "host/support/log_capture.h"
#include "host/support/temp_root.h"

namespace fputil {

using android::base::ReadFileToString;
using android::base::StringPrintf;
using android::base::WriteStringToFile;
using android::fp_utils::BackupFileKind;
using android::fp_utils::BackupReader;
using android::fp_utils::BackupRecord;
using android::fp_utils::host::LogCapture;
using android::fp_utils::host::TempRoot;

namespace {

std::string BaseName(const std::string& path) {
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Reads the file at `host_path`, which must be a regular file (or a link to one): a
// directory, a FIFO or a device is not a backup file, and a FIFO or a device would block or
// never end. False with `error` set otherwise.
bool ReadRegularFile(const std::string& host_path, std::string* bytes, std::string* error) {
    struct stat st;
    if (stat(host_path.c_str(), &st) != 0) {
        *error = host_path + ": " + strerror(errno);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        const char* type = S_ISDIR(st.st_mode)    ? "a directory"
                           : S_ISFIFO(st.st_mode) ? "a FIFO"
                           : S_ISCHR(st.st_mode)  ? "a character device"
                           : S_ISBLK(st.st_mode)  ? "a block device"
                           : S_ISSOCK(st.st_mode) ? "a socket"
                                                  : "not a file";
        *error = host_path + ": unreadable: " + type + ", not a regular file";
        return false;
    }
    if (!ReadFileToString(host_path, bytes, /*follow_symlinks=*/true)) {
        *error = host_path + ": " + strerror(errno);
        return false;
    }
    return true;
}

// Where the HAL keeps a file of this kind and name.
std::string DevicePathOf(const BackupFileKind& kind, const std::string& name) {
    return android::fp_utils::BackupFilePath(kind, "/data/vendor/fingerprint/", name);
}

// Runs the container on a scratch tree holding `bytes` as its backup file. The container is
// left loaded in `history`; when `rewritten` is given it receives the file after a save.
bool LoadInScratch(const BackupFileKind& kind, const std::string& name, const std::string& bytes,
                   History* history, std::string* rewritten, std::string* error) {
    TempRoot scratch;
    if (!scratch.ok()) {
        *error = std::string("cannot make a scratch directory: ") + strerror(errno);
        return false;
    }
    std::string host = scratch.Path(DevicePathOf(kind, name));
    if (!WriteStringToFile(bytes, host)) {
        *error = "cannot write " + host;
        return false;
    }
    history->Load(name);
    if (rewritten != nullptr) {
        history->Save();
        if (!ReadFileToString(host, rewritten)) {
            *error = "the container did not write " + host;
            return false;
        }
    }
    return true;
}

}  // namespace

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::kOk:
            return "ok";
        case Verdict::kCutShort:
            return "cut-short";
        case Verdict::kRejected:
            return "rejected";
        case Verdict::kBadChecksum:
            return "bad-checksum";
        case Verdict::kTooLong:
            return "too-long";
    }
    return "?";
}

bool InspectBackupFile(const std::string& host_path, const ReportOptions& options,
                       FileReport* report, std::string* error) {
    LogCapture hal_log;  // what the HAL logs goes into the report, not to stderr
    *report = FileReport();
    report->path = host_path;
    std::string name;
    const BackupFileKind* kind = android::fp_utils::BackupKindOfFileName(BaseName(host_path), &name);
    if (options.kind != nullptr) {
        if (kind != options.kind) name = BaseName(host_path);
        kind = options.kind;
    }
    if (kind == nullptr) {
        *error = host_path +
                 ": not a backup file name (AuthStats.<name>, EnrollEventContainer, "
                 "FingerSizes.<name>); name the kind with --kind";
        return false;
    }
    if (!kind->named) name.clear();
    report->kind = kind->class_word;
    report->name = name;

    std::string bytes;
    if (!ReadRegularFile(host_path, &bytes, error)) return false;
    report->size = static_cast<long>(bytes.size());

    // First pass: the records as the HAL's reader meets them.
    android::fp_utils::UniqueFile file(fopen(host_path.c_str(), "r"));
    if (file == nullptr) {
        *error = host_path + ": " + strerror(errno);
        return false;
    }
    BackupReader reader(std::move(file));
    std::vector<std::string> good_bodies;
    for (;;) {
        RecordReport entry;
        BackupReader::Step step = reader.Next(&entry.record);
        long offset = entry.record.offset;
        if (step == BackupReader::kEnd) {
            if (offset < report->size) {
                report->damaged = true;
                report->damage_offset = offset;
                report->damage = StringPrintf(
                    "%ld bytes at offset %ld are not a record head: the HAL "
                    "stops reading there",
                    report->size - offset, offset);
            }
            break;
        }
        if (step == BackupReader::kLengthTooLong) {
            entry.verdict = Verdict::kTooLong;
            report->records.push_back(entry);
            report->damaged = true;
            report->terminates = true;
            report->damage_offset = offset;
            report->damage = StringPrintf("record #%zu declares %" PRIu64
                                          " bytes, more than the HAL's 1024-byte buffer: the HAL's "
                                          "process terminates while loading this file",
                                          report->records.size() - 1, entry.record.length);
            break;
        }
        if (!entry.record.CrcMatches()) {
            entry.verdict = Verdict::kBadChecksum;
            report->records.push_back(entry);
            report->damaged = true;
            report->damage_offset = offset;
            report->damage = StringPrintf(
                "record #%zu: stored checksum 0x%08x, computed 0x%08x: the HAL stops "
                "reading here and loses the %ld bytes from offset %ld on",
                report->records.size() - 1, entry.record.stored_crc, entry.record.computed_crc,
                report->size - offset, offset);
            break;
        }
        if (entry.record.bytes_read < entry.record.length) {
            entry.verdict = Verdict::kCutShort;
            report->damaged = true;
            report->damage_offset = offset;
            report->damage =
                StringPrintf("record #%zu is cut short: the file holds %" PRIu64 " of its %" PRIu64
                             " bytes; the rest comes from the previous record's bytes in the "
                             "HAL's buffer, and the checksum still holds",
                             report->records.size(), entry.record.bytes_read, entry.record.length);
        }
        good_bodies.push_back(entry.record.body);
        report->records.push_back(std::move(entry));
    }

    ReportOptions effective = options;
    std::unique_ptr<History> history = MakeHistory(*kind, effective.history, good_bodies);
    if (!history) {
        *error = host_path + ": no reader for " + kind->class_word + " files";
        return false;
    }
    report->record_class = history->RecordClass();
    hal_log.TakeText();
    for (RecordReport& entry : report->records) {
        if (entry.verdict != Verdict::kOk && entry.verdict != Verdict::kCutShort) continue;
        if (!history->Parse(entry.record.body, &entry.debug)) {
            entry.verdict = Verdict::kRejected;
            ++report->rejected;
        }
        entry.log = hal_log.TakeText();
    }

    // Second pass: the HAL's own start-up. Skipped when it would end the process.
    if (report->terminates) return true;
    if (!LoadInScratch(*kind, name, bytes, history.get(), nullptr, error)) return false;
    report->kept = history->Loaded();
    report->summary = history->Summary();
    report->hal_log = hal_log.TakeText();
    return true;
}

bool RepairBackupFile(const std::string& host_path, const ReportOptions& options,
                      const FileReport& report, const std::string& backup_path, std::string* error) {
    LogCapture hal_log;  // the report already showed what the HAL logs loading this file
    std::string bytes;
    if (!ReadRegularFile(host_path, &bytes, error)) return false;
    const BackupFileKind* kind = options.kind;
    if (kind == nullptr)
        kind = android::fp_utils::BackupKindOfFileName(BaseName(host_path), nullptr);
    if (kind == nullptr) {
        *error = host_path + ": not a backup file name; name the kind with --kind";
        return false;
    }
    std::vector<std::string> good_bodies;
    for (const RecordReport& r : report.records) {
        if (r.verdict == Verdict::kOk || r.verdict == Verdict::kCutShort) {
            good_bodies.push_back(r.record.body);
        }
    }
    std::unique_ptr<History> history = MakeHistory(*kind, options.history, good_bodies);
    if (!history) {
        *error = host_path + ": no reader for " + kind->class_word + " files";
        return false;
    }
    // A record longer than the HAL's buffer would end the HAL's process: the container reads
    // what precedes it.
    std::string input = bytes;
    if (report.terminates) input.resize(static_cast<size_t>(report.damage_offset));
    std::string rewritten;
    if (!LoadInScratch(*kind, report.name, input, history.get(), &rewritten, error)) return false;

    // Keep the original first; touch the file only once the copy is safe.
    if (!WriteStringToFile(bytes, backup_path, /*follow_symlinks=*/true)) {
        *error = "cannot keep the original as " + backup_path + ": " + strerror(errno);
        return false;
    }
    std::string temp = host_path + ".fputil-new";
    if (!WriteStringToFile(rewritten, temp, /*follow_symlinks=*/true) ||
        rename(temp.c_str(), host_path.c_str()) != 0) {
        *error = "cannot rewrite " + host_path + ": " + strerror(errno);
        remove(temp.c_str());
        return false;
    }
    return true;
}

}  // namespace fputil
