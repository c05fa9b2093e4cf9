#include "history/backup_file.h"

#include <android/log.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>

#include "fp_utils/crc32.h"
#include "history/backup_numbers.h"
#include "root_mapping/device_path.h"

namespace android {
namespace fp_utils {

const BackupFileKind kAuthStatsBackupKind = {
    "AuthStats",
    "AuthStats",
    true,
    "Init",
    "LoadAttemptsFromBackupFile",
    "SaveAttemptsToBackupFile",
    "void android::fp_utils::AuthStats::LoadAttemptsFromBackupFile()",
    true,
};

const BackupFileKind kEnrollEventsBackupKind = {
    "EnrollEventContainer",
    "EnrollEventContainer",
    false,
    "Init",
    "LoadEventsFromBackupFile",
    "SaveEventsToBackupFile",
    "void android::fp_utils::EnrollEventContainer::LoadEventsFromBackupFile()",
    false,
};

const BackupFileKind kFingerSizesBackupKind = {
    "FingerSizes",
    "FingerSizes",
    true,
    "FingerSizes",
    "LoadFingersFromBackupFile",
    "SaveFingersToBackupFile",
    "void android::fp_utils::FingerSizes::LoadFingersFromBackupFile()",
    true,
};

const BackupFileKind* BackupKindOfFileName(const std::string& file_name, std::string* name) {
    for (const BackupFileKind* kind :
         {&kAuthStatsBackupKind, &kEnrollEventsBackupKind, &kFingerSizesBackupKind}) {
        std::string word = kind->class_word;
        if (!kind->named && file_name == word) {
            if (name != nullptr) name->clear();
            return kind;
        }
        if (kind->named && file_name.size() > word.size() + 1 &&
            file_name.compare(0, word.size() + 1, word + ".") == 0) {
            if (name != nullptr) *name = file_name.substr(word.size() + 1);
            return kind;
        }
    }
    return nullptr;
}

void PrepareBackupDirectory(const BackupFileKind& kind, const char* dir) {
    if (mkdir(DevicePath(dir).c_str(), 0600) != 0 && errno != EEXIST) {
        __android_log_print(ANDROID_LOG_ERROR, kind.tag,
                            "[%s] Failed to create directory \"%s\" with error %d.",
                            kind.mkdir_operation, dir, errno);
    }
}

std::string BackupFilePath(const BackupFileKind& kind, const char* dir, const std::string& name) {
    std::string path(dir);
    if (path.empty() || path.back() != '/') path += '/';
    path += kind.class_word;
    if (kind.named) {
        path += '.';
        path += name;
    }
    return path;
}

namespace {

// Backup files are a few hundred kilobytes at most; anything larger is read through stdio.
constexpr off_t kMaxInMemoryFile = 64 << 20;

}  // namespace

BackupReader::BackupReader(UniqueFile file) : file_(std::move(file)) {
    FILE* const f = file_.get();
    const int fd = fileno(f);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > kMaxInMemoryFile) {
        return;
    }
    const long start = ftell(f);
    if (start < 0) return;
    contents_.resize(static_cast<size_t>(st.st_size));
    size_t filled = 0;
    while (filled < contents_.size()) {
        const ssize_t n =
            pread(fd, &contents_[filled], contents_.size() - filled, static_cast<off_t>(filled));
        if (n <= 0) break;
        filled += static_cast<size_t>(n);
    }
    contents_.resize(filled);
    position_ = static_cast<size_t>(start);
    in_memory_ = position_ <= contents_.size();
}

BackupReader::Step BackupReader::Next(BackupRecord* record) {
    if (in_memory_) {
        if (NextInMemory(record)) return kRecord;
        // fscanf takes it from here, at the same offset, and says what the head is.
        if (position_ == contents_.size()) {
            record->offset = static_cast<long>(position_);
            return kEnd;
        }
        fseek(file_.get(), static_cast<long>(position_), SEEK_SET);
        const Step step = NextFromFile(record);
        const long now = ftell(file_.get());
        position_ = now < 0 ? contents_.size() : static_cast<size_t>(now);
        return step;
    }
    return NextFromFile(record);
}

bool BackupReader::NextInMemory(BackupRecord* record) {
    const char* const start = contents_.data() + position_;
    TextCursor head{start, contents_.data() + contents_.size()};
    uint64_t crc;
    uint64_t length;
    if (!ReadHexField(head, 8, &crc) || !head.Take(',') || !ReadHexField(head, 16, &length) ||
        !head.Take(',') || length > kBodyBufferSize) {
        return false;
    }
    record->offset = static_cast<long>(position_);
    record->stored_crc = static_cast<uint32_t>(crc);
    record->length = length;
    const size_t available = static_cast<size_t>(head.end - head.p);
    record->bytes_read = length < available ? length : available;
    memcpy(buffer_, head.p, record->bytes_read);
    FinishBody(record);
    position_ = static_cast<size_t>(head.p - contents_.data()) + record->bytes_read;
    return true;
}

void BackupReader::FinishBody(BackupRecord* record) {
    const size_t length = static_cast<size_t>(record->length);
    buffer_[length < kBodyBufferSize - 1 ? length : kBodyBufferSize - 1] = '\0';
    record->computed_crc = crc32(buffer_, length);
    record->body.assign(buffer_, length);
}

BackupReader::Step BackupReader::NextFromFile(BackupRecord* record) {
    FILE* file = file_.get();
    record->offset = ftell(file);
    uint32_t crc = 0;
    uint64_t length = 0;
    if (fscanf(file, "0x%x,0x%" SCNx64 ",", &crc, &length) != 2) return kEnd;
    record->stored_crc = crc;
    record->length = length;
    if (length > kBodyBufferSize) return kLengthTooLong;
    record->bytes_read = fread(buffer_, 1, length, file);
    FinishBody(record);
    return kRecord;
}

void LoadBackupFile(const BackupFileKind& kind, const std::string& path, const std::string& name,
                    const std::function<void(std::string& body)>& load) {
    UniqueFile file(fopen(DevicePath(path).c_str(), "r"));
    if (file == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kind.tag, "[%s] Failed to open \"%s\" with error %d.",
                            kind.load_operation, path.c_str(), errno);
        return;
    }
    BackupReader reader(std::move(file));
    BackupRecord record;
    for (;;) {
        BackupReader::Step step = reader.Next(&record);
        if (step == BackupReader::kEnd) break;
        if (step == BackupReader::kLengthTooLong) {
            // The HAL's body buffer cannot hold such a record: reading it would overflow the
            // buffer, so the process stops here, as the bounds-checked read of a device does.
            __android_log_print(ANDROID_LOG_FATAL, kind.tag,
                                "[%s] record length %" PRIu64 " exceeds the %zu-byte buffer",
                                kind.load_operation, record.length, BackupReader::kBodyBufferSize);
            abort();
        }
        if (!record.CrcMatches()) {
            if (kind.mismatch_log_has_name) {
                __android_log_print(ANDROID_LOG_ERROR, kind.tag,
                                    "[%s][%s] Crc checksum didn't match!", name.c_str(),
                                    kind.load_signature);
            } else {
                __android_log_print(ANDROID_LOG_ERROR, kind.tag, "[%s] Crc checksum didn't match!",
                                    kind.load_signature);
            }
            break;
        }
        load(record.body);
    }
}

void AppendBackupRecord(const std::string& body, std::string* out) {
    // "0x%x,0x%lx,%s"
    char head[40];
    char* p = head;
    *p++ = '0';
    *p++ = 'x';
    p = AppendHex(p, crc32(body.data(), body.size()));
    *p++ = ',';
    *p++ = '0';
    *p++ = 'x';
    p = AppendHex(p, body.size());
    *p++ = ',';
    out->append(head, p);
    const void* nul = memchr(body.data(), '\0', body.size());
    out->append(body.data(), nul == nullptr ? body.size()
                                            : static_cast<const char*>(nul) - body.data());
}

std::string FormatBackupRecord(const std::string& body) {
    std::string record;
    AppendBackupRecord(body, &record);
    return record;
}

std::string BackupWriter::NewFilePath(const std::string& host_path) {
    const size_t slash = host_path.find_last_of('/');
    const size_t name = slash == std::string::npos ? 0 : slash + 1;
    return host_path.substr(0, name) + "." + host_path.substr(name) + ".new";
}

BackupWriter::BackupWriter(const BackupFileKind& kind, const std::string& path)
    : kind_(kind),
      path_(path),
      host_path_(DevicePath(path)),
      new_path_(NewFilePath(host_path_)),
      file_(fopen(new_path_.c_str(), "w")) {
    if (file_ == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kind.tag, "[%s] Failed to open \"%s\" with error %d.",
                            kind.save_operation, path.c_str(), errno);
    }
}

namespace {

constexpr size_t kWritePiece = 64 << 10;

}  // namespace

BackupWriter::~BackupWriter() {
    if (file_ == nullptr) return;
    file_.reset();
    unlink(new_path_.c_str());
}

void BackupWriter::Write(const std::string& body) {
    if (file_ == nullptr) return;
    AppendBackupRecord(body, &pending_);
    if (pending_.size() >= kWritePiece) Flush();
}

void BackupWriter::Flush() {
    if (file_ == nullptr || pending_.empty()) return;
    if (fwrite(pending_.data(), 1, pending_.size(), file_.get()) != pending_.size() &&
        write_errno_ == 0) {
        write_errno_ = errno != 0 ? errno : EIO;
    }
    pending_.clear();
}

bool BackupWriter::Commit() {
    if (file_ == nullptr) return false;
    Flush();
    int error = write_errno_;
    if (fclose(file_.release()) != 0 && error == 0) error = errno;
    if (error == 0 && rename(new_path_.c_str(), host_path_.c_str()) != 0) error = errno;
    if (error == 0) return true;
    unlink(new_path_.c_str());
    __android_log_print(ANDROID_LOG_ERROR, kind_.tag, "[%s] Failed to write \"%s\" with error %d.",
                        kind_.save_operation, path_.c_str(), error);
    return false;
}

}  // namespace fp_utils
}  // namespace android
