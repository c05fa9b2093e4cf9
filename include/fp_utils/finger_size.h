// Measured finger sizes and bounded, named histories of them with percentile queries.
//
// FingerSize is one measurement: a kind (op) and the finger's lengths along two axes.
// FingerSizes keeps the newest `capacity` measurements (0xFFFFFFFF: no limit; at least 1),
// counts them in total and by kind (op 1, op 2), and, when made persistent, keeps them in
// "/data/vendor/fingerprint/FingerSizes.<name>", which the constructor loads. Several
// histories live side by side; their names keep their files apart.
//
// AddFinger is the one locked operation. PushFinger, PopFinger, Reset, GetPercentileValue and
// the load and save take no lock: callers serialise them with AddFinger. Reset ends
// persistence for good and zeroes only the total; the per-kind counters keep their values.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT FingerSize {
  public:
    // Which length to take; any value but X takes the second one. The fixed underlying type
    // makes every int32_t value a valid Axis.
    enum Axis : int32_t { X = 0, Y = 1 };

    virtual ~FingerSize() = default;

    // "op:<op>, size:(<x>, <y>)" with one decimal.
    virtual std::string ToString() const;
    // "<op>,<x>,<y>" with one decimal: reloaded lengths keep one decimal.
    virtual std::string ToBackupString() const;
    // Parses the form above; false (with an error log) unless all three fields were read.
    // `text` is left as it is.
    virtual bool LoadFromBackupString(std::string& text);

    int32_t op = 0;
    std::pair<float, float> size{0.0f, 0.0f};
};

class FP_UTILS_EXPORT FingerSizes {
  public:
    static constexpr char kBackupDir[] = "/data/vendor/fingerprint/";
    static constexpr uint32_t kNoLimit = 0xFFFFFFFFu;

    FingerSizes(std::string name, unsigned int capacity, bool persist);
    virtual ~FingerSizes() = default;

    // Forgets every measurement and the backup file's path (the file stays as it is); sets the
    // total to 0 and leaves op1_count_ and op2_count_ as they are.
    virtual void Reset();
    // Drops the oldest measurement when the history is full, appends `finger` and, if `save`
    // and the history is persistent, rewrites the backup file. An empty pointer is refused
    // with an error log.
    virtual void AddFinger(std::shared_ptr<FingerSize> finger, bool save);
    // Appends and counts; no lock, no limit, no save.
    virtual void PushFinger(std::shared_ptr<FingerSize> finger);
    // Removes, uncounts and returns the oldest measurement; an empty pointer when none is held.
    virtual std::shared_ptr<FingerSize> PopFinger();

    // The `percentile` (0 to 100) of the held lengths on `axis`, linearly interpolated between
    // the two closest ranks: 0 gives the smallest, 100 the largest; 0 for an empty history.
    // Percentiles outside 0 to 100 are taken as 0 or 100.
    float GetPercentileValue(FingerSize::Axis axis, float percentile);

    void LoadFingersFromBackupFile();
    // The caller holds mutex_ (AddFinger does).
    void SaveFingersToBackupFile() const;

    std::string name_;
    uint32_t capacity_;
    bool persist_;
    std::mutex mutex_;
    std::string backup_path_;
    std::deque<std::shared_ptr<FingerSize>> fingers_;
    uint32_t total_count_ = 0;
    uint32_t op1_count_ = 0;
    uint32_t op2_count_ = 0;
};

}  // namespace fp_utils
}  // namespace android
