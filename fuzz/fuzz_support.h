// What the fuzz targets share: one private device tree for the whole run, a quiet log, a sink
// for dumps, and backup files cut before the one record that ends the HAL's process by design.
#pragma once

#include <android/log.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "history/backup_file.h"
#include "host/support/temp_root.h"

namespace android {
namespace fp_utils {
namespace fuzz {

// The run's device tree (removed at exit). Logging is silenced: the targets look for crashes
// and undefined behaviour, not for log lines.
inline const host::TempRoot& Root() {
    static const host::TempRoot* root = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        auto* r = new host::TempRoot();
        if (!r->ok()) abort();
        return r;
    }();
    return *root;
}

// A descriptor that swallows dumps.
inline int DumpSink() {
    static const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd;
}

// `bytes` up to the head of the first record that declares more than 1024 bytes. Loading such
// a record terminates the process on purpose (the HAL's buffer cannot hold it), so that abort
// is the intended behaviour, not a finding: inputs stop just before it. The cut is found with
// the reader the containers use, so it is exactly where loading would stop.
inline std::string WithoutTerminatingRecord(std::string bytes) {
    UniqueFile file(fmemopen(bytes.data(), bytes.size(), "r"));
    if (file == nullptr) return bytes;
    BackupReader reader(std::move(file));
    BackupRecord record;
    BackupReader::Step step;
    while ((step = reader.Next(&record)) == BackupReader::kRecord) {
    }
    if (step == BackupReader::kLengthTooLong) bytes.resize(static_cast<size_t>(record.offset));
    return bytes;
}

// Writes `data` as the backup file at `device_path`, cut as above; false if it cannot be
// written.
inline bool PutBackupFile(const std::string& device_path, const uint8_t* data, size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    return android::base::WriteStringToFile(WithoutTerminatingRecord(std::move(bytes)),
                                            Root().Path(device_path));
}

}  // namespace fuzz
}  // namespace fp_utils
}  // namespace android
