#include "fp_utils/enroll_event.h"

#include <android/log.h>

#include <cerrno>
#include <cstdio>
#include <regex>

#include "history/record_text.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kBaseTag[] = "EnrollEvent";
constexpr char kG7Tag[] = "EnrollEventG7";
constexpr char kBaseLoadSignature[] =
    "virtual bool android::fp_utils::EnrollEvent::LoadFromBackupString(std::string &)";
constexpr char kG7LoadSignature[] =
    "virtual bool android::fp_utils::EnrollEventG7::LoadFromBackupString(std::string &)";

// The base part of a backup string: time, op, flag, gid, fid, capture count, iq_avg and the
// enrolled-fingers count. A negative op or an iq_avg that is not a plain number does not
// match, so nothing is cut and a derived reader fails on the whole text. Built once per
// process; loading a history at start-up must not pay for it per record.
const std::regex& BasePartPattern() {
    static const std::regex pattern(
        "0x[0-9a-fA-F]+,[0-9]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,"
        "-?[0-9]+([.][0-9]+)?,0x[0-9a-fA-F]+",
        std::regex::ECMAScript);
    return pattern;
}

unsigned* AsUnsigned(int32_t& field) {
    return reinterpret_cast<unsigned*>(&field);
}

}  // namespace

std::string EnrollEvent::GetLocalTime() const {
    return FormatLocalTime(time);
}

std::string EnrollEvent::ToDebugString() const {
    if (op == DEL) return FormatDebugLine(GetLocalTime(), "op:DEL, gid:%d, fid:%d", gid, fid);
    if (op == ADD) {
        return FormatDebugLine(GetLocalTime(),
                               "op:ADD, enroll_successful:%d, gid:%d, fid:%d, capture_count:%d, "
                               "iq_avg:%.2f, enrolled_fingers_count:%d",
                               enroll_successful ? 1 : 0, gid, fid, capture_count, iq_avg,
                               enrolled_fingers_count);
    }
    return FormatDebugLine(GetLocalTime(), "%s", "");  // any other operation: the time alone
}

std::string EnrollEvent::ToBackupString() const {
    return FormatFixed(kShortText, "0x%lx,%d,0x%x,0x%x,0x%x,0x%x,%.2f,0x%x",
                       static_cast<unsigned long>(time), static_cast<int>(op),
                       enroll_successful ? 1u : 0u, static_cast<unsigned>(gid),
                       static_cast<unsigned>(fid), static_cast<unsigned>(capture_count), iq_avg,
                       static_cast<unsigned>(enrolled_fingers_count));
}

bool EnrollEvent::LoadFromBackupString(std::string& text) {
    unsigned long scanned_time = 0;
    int scanned_op = 0;
    unsigned scanned_successful = 0;
    int items = sscanf(text.c_str(), "0x%lx,%d,0x%x,0x%x,0x%x,0x%x,%f,0x%x", &scanned_time,
                       &scanned_op, &scanned_successful, AsUnsigned(gid), AsUnsigned(fid),
                       AsUnsigned(capture_count), &iq_avg, AsUnsigned(enrolled_fingers_count));
    if (items < 8) {
        __android_log_print(ANDROID_LOG_ERROR, kBaseTag,
                            "[%s] failed to parse str:'%s' with error %d", kBaseLoadSignature,
                            text.c_str(), -errno);
        return false;
    }
    time = static_cast<time_t>(scanned_time);
    op = static_cast<EnrollOp>(scanned_op);
    enroll_successful = scanned_successful != 0;
    text = std::regex_replace(text, BasePartPattern(), "", std::regex_constants::format_first_only);
    return true;
}

std::string EnrollEventG7::GetEnrollFailureReason() const {
    const char* reason;
    switch (rc) {
        case 1:
            reason = "Area Small";
            break;
        case 2:
            reason = "Foreign Matter";
            break;
        case 3:
            reason = "Low Image Quality";
            break;
        default:
            reason = "Unknown";
            break;
    }
    return std::string("reason:") + reason;
}

std::string EnrollEventG7::ToDebugString() const {
    std::string text = EnrollEvent::ToDebugString();
    text += FormatFixed(kShortText, ", rc:%u", rc);
    if (op == DEL) return text;
    text += FormatFixed(kShortText, ", rawmean_delta:%.2f", rawmean_delta);
    text += StitchFiguresText(stitch_img_num_, stitch_img_area_);
    if (!enroll_successful) {
        text += ", ";
        text += GetEnrollFailureReason();
    }
    return text;
}

std::string EnrollEventG7::ToBackupString() const {
    auto u = [](int32_t field) { return static_cast<unsigned>(field); };
    return EnrollEvent::ToBackupString() +
           FormatFixed(kShortText, ",0x%x,%.2f,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x",
                       rc, rawmean_delta, u(stitch_img_num_[0]), u(stitch_img_num_[1]),
                       u(stitch_img_num_[2]), u(stitch_img_num_[3]), u(stitch_img_num_[4]),
                       u(stitch_img_area_[0]), u(stitch_img_area_[1]), u(stitch_img_area_[2]),
                       u(stitch_img_area_[3]), u(stitch_img_area_[4]));
}

bool EnrollEventG7::LoadFromBackupString(std::string& text) {
    if (!EnrollEvent::LoadFromBackupString(text)) {
        __android_log_print(ANDROID_LOG_ERROR, kG7Tag, "[%s] EnrollEvent failed to load '%s'",
                            kG7LoadSignature, text.c_str());
        return false;
    }
    int items =
        sscanf(text.c_str(), ",0x%x,%f,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x", &rc,
               &rawmean_delta, AsUnsigned(stitch_img_num_[0]), AsUnsigned(stitch_img_num_[1]),
               AsUnsigned(stitch_img_num_[2]), AsUnsigned(stitch_img_num_[3]),
               AsUnsigned(stitch_img_num_[4]), AsUnsigned(stitch_img_area_[0]),
               AsUnsigned(stitch_img_area_[1]), AsUnsigned(stitch_img_area_[2]),
               AsUnsigned(stitch_img_area_[3]), AsUnsigned(stitch_img_area_[4]));
    if (items == 12) return true;
    __android_log_print(ANDROID_LOG_ERROR, kG7Tag, "[%s] failed to parse str:'%s' with error %d",
                        kG7LoadSignature, text.c_str(), -errno);
    return false;
}

}  // namespace fp_utils
}  // namespace android
