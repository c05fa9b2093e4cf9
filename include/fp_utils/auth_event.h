// Records of single authentication captures.
//
// The HAL gets a fresh record from its statistics container (AuthStats::CreateAttempt), fills
// in the capture's fields and hands it back to AuthStats::AddAttempt. A record has three text
// forms: a debug line for dumps, a comma-separated backup string for the backup file, and the
// parse of that backup string. Records are shared read-only once added.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT AuthEvent {
  public:
    virtual ~AuthEvent() = default;

    // One dump line: local time, then either the match figures (acquired_info 1) or the
    // acquisition error's name. Cut at 127 characters.
    virtual std::string ToDebugString() const;
    // "0x<time>,0x<acquired_info>,0x<auth_successful>,0x<fid>,0x<latency>,0x<iq>".
    virtual std::string ToBackupString() const;
    // Appends the backup string to `out`; ToBackupString() returns what this appends. A
    // derived record overrides both or neither. Writers of long histories use this one, which
    // makes no string of its own.
    virtual void AppendBackupString(std::string* out) const;
    // Parses the form above from the front of `text` and cuts the parsed part off it, so that
    // a derived record can parse the rest. False (with an error log) when it cannot be parsed.
    virtual bool LoadFromBackupString(std::string& text);
    virtual std::string GetClassName();

    // `time` as local time, "%Y-%m-%d %H:%M:%S"; "<time out of range>" for a time whose year
    // does not fit (any value is safe to format).
    std::string GetLocalTime() const;

    time_t time = 0;
    int8_t acquired_info = 0;
    bool auth_successful = false;
    int32_t fid = 0;
    int32_t latency = 0;
    int32_t iq = 0;

  protected:
    // Writes the backup string's fields at `out`, returning the end (no terminating NUL).
    char* AppendBackupFields(char* out) const;
};

// The G7 sensor generation's record: the matcher's and image pipeline's figures on top.
class FP_UTILS_EXPORT AuthEventG7 : public AuthEvent {
  public:
    std::string ToDebugString() const override;
    std::string ToBackupString() const override;
    void AppendBackupString(std::string* out) const override;
    bool LoadFromBackupString(std::string& text) override;
    std::string GetClassName() override;

    // "reason:" followed by why the attempt failed, judged from rc, rawmean_delta and the
    // packed metrics.
    std::string GetAuthFailureReason() const;

    float t_cov = 0;
    float t_dist = 0;
    uint32_t lptw = 0;
    uint32_t rc = 0;
    int32_t rawmean_delta = 0;
    int32_t metric_1 = 0;
    int32_t metric_2 = 0;
    int32_t metric_3 = 0;
    int32_t metric_4 = 0;
    int32_t foreign_matter = 0;
    int32_t match_score = 0;
    int32_t stitch_img_num_[5] = {};
    int32_t stitch_img_area_[5] = {};

  private:
    // The fields after the base part, formatted by printf.
    std::string PrintedG7Fields() const;
};

}  // namespace fp_utils
}  // namespace android
