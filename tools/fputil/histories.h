// The HAL's history containers as fputil drives them: one History per kind of backup file.
//
// A History parses single records with the record class the container uses, and loads (and
// saves) a whole file by running the container itself on a scratch device tree, so every
// answer fputil gives is the library's own: nothing here re-implements the file format or
// the records.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fp_utils/finger_size.h"
#include "history/backup_file.h"

namespace fputil {

class History {
  public:
    virtual ~History() = default;

    // What the report calls the records, e.g. "AuthEventG7".
    virtual std::string RecordClass() const = 0;
    // Parses one body as the container's loader would; false when the HAL drops it.
    // `debug` receives the record's dump line when it parses.
    virtual bool Parse(const std::string& body, std::string* debug) const = 0;
    // Builds the container named `name` with its backup file on, which loads the file from the
    // current FP_UTILS_ROOT exactly as the HAL does at start-up.
    virtual void Load(const std::string& name) = 0;
    // Records held after Load.
    virtual size_t Loaded() const = 0;
    // The container's own summary lines (figures, dump lines, percentiles).
    virtual std::vector<std::string> Summary() = 0;
    // Rewrites the backup file from what was loaded, with the container's own writer.
    virtual void Save() = 0;
};

struct HistoryOptions {
    // Authentication histories: "G7", "base", or "" to decide from the records.
    std::string auth_class;
    // Most records a loaded container keeps (the HAL's configured limit); all bits: no limit.
    uint32_t limit = 0xFFFFFFFFu;
};

// A History for files of `kind`. For authentication histories without a chosen class, the
// class is taken from `sample_bodies` (G7 unless only base records parse).
std::unique_ptr<History> MakeHistory(const android::fp_utils::BackupFileKind& kind,
                                     const HistoryOptions& options,
                                     const std::vector<std::string>& sample_bodies);

// A finger-size history's counters and its 5th, 50th and 95th percentiles on each axis.
std::vector<std::string> FingerSizesSummary(android::fp_utils::FingerSizes& fingers);

}  // namespace fputil
