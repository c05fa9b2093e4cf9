// The backup file format shared by the persistent history containers.
//
// A backup file is a plain concatenation of records, oldest first, with nothing before,
// between or after them. A record is "0x<crc>,0x<length>," followed by `length` bytes of the
// record's backup string, where <crc> is crc32() of exactly those bytes and both numbers are
// lowercase hexadecimal without padding. The length tells where a body ends, so bodies may
// contain commas and the next head follows the last body byte directly.
//
// The containers differ only in names and log texts (BackupFileKind); the reading loop, the
// writer, the record head and the directory preparation exist once, here. fputil reads files
// with the same BackupReader the containers use. Reader and writer own their file and close
// it when they go.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace android {
namespace fp_utils {

// What one kind of container calls things, and what it logs.
struct BackupFileKind {
    const char* tag;              // log tag: "AuthStats", "EnrollEventContainer", "FingerSizes"
    const char* class_word;       // file name, or its part before ".<name>"
    bool named;                   // the file name ends in "." and the container's name
    const char* mkdir_operation;  // first field of the mkdir failure log
    const char* load_operation;   // e.g. "LoadAttemptsFromBackupFile"
    const char* save_operation;   // e.g. "SaveAttemptsToBackupFile"
    const char* load_signature;   // full signature of the load operation, for the mismatch log
    bool mismatch_log_has_name;   // "[name][signature] ..." rather than "[signature] ..."
};

extern const BackupFileKind kAuthStatsBackupKind;
extern const BackupFileKind kEnrollEventsBackupKind;
extern const BackupFileKind kFingerSizesBackupKind;

// The kind whose files are called like `file_name` (the last path component): "AuthStats.<x>",
// "EnrollEventContainer" or "FingerSizes.<x>"; nullptr for anything else. When `name` is given
// it receives the <x> part (empty for the enrollment history).
const BackupFileKind* BackupKindOfFileName(const std::string& file_name, std::string* name);

// mkdir(dir, 0600); logs every failure but EEXIST and goes on.
void PrepareBackupDirectory(const BackupFileKind& kind, const char* dir);
// dir, a "/" if dir does not end in one, the class word and, for named kinds, "." and name.
std::string BackupFilePath(const BackupFileKind& kind, const char* dir, const std::string& name);

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
// An open FILE*, closed when it goes.
using UniqueFile = std::unique_ptr<FILE, FileCloser>;

// One record as a reader finds it.
struct BackupRecord {
    long offset = 0;            // byte offset of the record's head in the file
    uint32_t stored_crc = 0;    // checksum the head declares
    uint64_t length = 0;        // body length the head declares
    uint32_t computed_crc = 0;  // checksum of the body as read
    uint64_t bytes_read = 0;    // body bytes the file actually held (less when it ends early)
    std::string body;           // the `length` bytes handed to the record's parser

    bool CrcMatches() const { return stored_crc == computed_crc; }
};

// Reads records one at a time from an open file, which it owns.
//
// The body buffer is the 1024 bytes the HAL reads into, zeroed once and not cleared between
// records, and the byte at index `length` (or 1023) is set to NUL before the checksum is
// taken. A body cut short by the end of the file therefore keeps the previous record's bytes,
// and a declared length of 1024 checks its last byte as NUL: the loaded data is exactly what
// the HAL sees.
class BackupReader {
  public:
    static constexpr size_t kBodyBufferSize = 1024;

    enum Step {
        kRecord,         // a record was read; its checksum may or may not match
        kEnd,            // no further head could be read: the normal end
        kLengthTooLong,  // the head declares more than kBodyBufferSize bytes; body not read
    };

    explicit BackupReader(UniqueFile file);

    Step Next(BackupRecord* record);

  private:
    // A regular file is read whole up front, and records whose head is in its common form
    // ("0x", up to 8 and 16 hexadecimal digits, commas) are taken from memory; any other head
    // is read from the file by fscanf at the same offset, exactly as without the copy.
    bool NextInMemory(BackupRecord* record);
    Step NextFromFile(BackupRecord* record);
    // Terminates the body in the buffer as the HAL does and takes its checksum.
    void FinishBody(BackupRecord* record);

    UniqueFile file_;
    char buffer_[kBodyBufferSize] = {};
    std::string contents_;
    bool in_memory_ = false;
    size_t position_ = 0;
};

// The load procedure of every container: opens `path` (a device path), reads records until the
// end or the first checksum mismatch, and hands each good record's body to `load`, which
// parses it and adds it through the container's add operation. Logs as `kind` says; a missing
// file is logged too. A declared length above 1024 terminates the process.
void LoadBackupFile(const BackupFileKind& kind, const std::string& path, const std::string& name,
                    const std::function<void(std::string& body)>& load);

// Appends the record for `body` as the writer puts it in the file: the head, then the body's
// bytes up to its first NUL (all of them, for the texts records make), as printing the body
// with "%s" does. The head's length is always the whole body's.
void AppendBackupRecord(const std::string& body, std::string* out);
// The same record as a string.
std::string FormatBackupRecord(const std::string& body);

// Writes a new history beside the backup file and puts it in the file's place in one step.
//
// The records go to a hidden file in the same directory (".<file name>.new"); Commit closes
// it and renames it over the backup file. A process killed at any moment therefore leaves the
// backup file as it was before the save or as it is after it, never cut; at worst a stale
// ".new" file stays behind, which the next save overwrites. Nothing is synced to storage: a
// power loss shortly after a save may still lose it. A writer that goes without Commit, or
// whose writes failed, removes its new file and leaves the backup file as it was. Records are
// gathered and written in pieces of about 64 KiB.
class BackupWriter {
  public:
    // Opens the new file beside `path` (a device path); a failure is logged with `path` as
    // `kind` says, and ok() is false.
    BackupWriter(const BackupFileKind& kind, const std::string& path);
    ~BackupWriter();
    BackupWriter(const BackupWriter&) = delete;
    BackupWriter& operator=(const BackupWriter&) = delete;

    bool ok() const { return file_ != nullptr; }
    // Appends one record carrying `body`; nothing when the file could not be opened.
    void Write(const std::string& body);
    // The same for the body that `append_body(std::string*)` appends to an empty string,
    // which the writer keeps from record to record.
    template <typename AppendBody>
    void WriteAppended(AppendBody&& append_body) {
        if (!ok()) return;
        body_.clear();
        std::forward<AppendBody>(append_body)(&body_);
        Write(body_);
    }
    // Replaces the backup file with what was written. False, logged, and the backup file
    // left as it was when a write, the close or the rename failed.
    bool Commit();

    // Where the new file of the backup file at `host_path` is written.
    static std::string NewFilePath(const std::string& host_path);

  private:
    void Flush();

    const BackupFileKind& kind_;
    std::string path_;  // device path, for the log
    std::string host_path_;
    std::string new_path_;  // on the host
    UniqueFile file_;
    std::string pending_;  // records not yet written
    std::string body_;     // the record being formatted
    int write_errno_ = 0;  // first failed write
};

// Whether records of type R can append their backup string to a caller's string.
template <typename R, typename = void>
struct AppendsBackupString : std::false_type {};
template <typename R>
struct AppendsBackupString<R, std::void_t<decltype(std::declval<const R&>().AppendBackupString(
                                  std::declval<std::string*>()))>> : std::true_type {};

// The write procedure: replaces the file at `path` by one record per backup string of
// `records` (a sequence of pointers to records with ToBackupString(), and AppendBackupString()
// where they have it), front to back.
template <typename Records>
void SaveBackupFile(const BackupFileKind& kind, const std::string& path, const Records& records) {
    BackupWriter writer(kind, path);
    if (!writer.ok()) return;
    for (const auto& record : records) {
        using Record = std::remove_reference_t<decltype(*record)>;
        if constexpr (AppendsBackupString<Record>::value) {
            writer.WriteAppended([&record](std::string* body) { record->AppendBackupString(body); });
        } else {
            writer.Write(record->ToBackupString());
        }
    }
    writer.Commit();
}

}  // namespace fp_utils
}  // namespace android
