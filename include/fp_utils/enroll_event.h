// Records of single enrollment operations: a finger added (an enrollment that ended, well or
// not) or an enrolled finger removed.
//
// The HAL gets a fresh record from EnrollEventContainer::CreateEvent, fills it in and hands it
// back to EnrollEventContainer::AddEvent; from then on the record is shared read-only. A record
// has three text forms: a debug line for dumps (cut at 127 characters), a comma-separated
// backup string for the backup file, and the parse of that backup string.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

enum EnrollOp : int32_t {
    ADD = 0,  // an enrollment ended, successfully or not
    DEL = 1,  // an enrolled finger was removed
};

class FP_UTILS_EXPORT EnrollEvent {
  public:
    virtual ~EnrollEvent() = default;

    // Local time, a blank, then the operation's figures ("op:ADD, ..." or "op:DEL, ..."); an
    // unknown op leaves the time and the blank alone. Cut at 127 characters.
    virtual std::string ToDebugString() const;
    // "0x<time>,<op>,0x<enroll_successful>,0x<gid>,0x<fid>,0x<capture_count>,<iq_avg>,
    // 0x<enrolled_fingers_count>" with iq_avg to two decimals.
    virtual std::string ToBackupString() const;
    // Parses the form above from the front of `text` and cuts the parsed part off it, so that
    // a derived record can parse the rest. False (with an error log) when fewer than all eight
    // fields could be read.
    virtual bool LoadFromBackupString(std::string& text);

    // `time` as local time, "%Y-%m-%d %H:%M:%S"; "<time out of range>" for a time whose year
    // does not fit (any value is safe to format).
    std::string GetLocalTime() const;

    time_t time = 0;
    EnrollOp op = ADD;
    bool enroll_successful = false;
    int32_t gid = 0;
    int32_t fid = 0;
    int32_t capture_count = 0;
    float iq_avg = 0;
    int32_t enrolled_fingers_count = 0;
};

// The G7 sensor generation's record: the result code and the image statistics on top.
class FP_UTILS_EXPORT EnrollEventG7 : public EnrollEvent {
  public:
    // The base line, ", rc:<rc>" and, unless the op is DEL, the raw mean delta, the stitch
    // counters and, for a failed enrollment, the failure reason.
    std::string ToDebugString() const override;
    // The base string followed by ",0x<rc>,<rawmean_delta>" and the ten stitch counters.
    std::string ToBackupString() const override;
    bool LoadFromBackupString(std::string& text) override;

    // "reason:" followed by "Area Small" (rc 1), "Foreign Matter" (2), "Low Image Quality" (3)
    // or "Unknown" (anything else).
    std::string GetEnrollFailureReason() const;

    uint32_t rc = 0;
    float rawmean_delta = 0;
    int32_t stitch_img_num_[5] = {};
    int32_t stitch_img_area_[5] = {};
};

}  // namespace fp_utils
}  // namespace android
