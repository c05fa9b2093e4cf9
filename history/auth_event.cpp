#include "fp_utils/auth_event.h"

#include <android/log.h>

#include <cerrno>
#include <cstdio>
#include <regex>

#include "history/backup_numbers.h"
#include "history/record_text.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kBaseTag[] = "AuthEvent";
constexpr char kG7Tag[] = "AuthEventG7";
constexpr char kBaseLoadSignature[] =
    "virtual bool android::fp_utils::AuthEvent::LoadFromBackupString(std::string &)";
constexpr char kG7LoadSignature[] =
    "virtual bool android::fp_utils::AuthEventG7::LoadFromBackupString(std::string &)";

// Names of the platform's fingerprint acquired-info codes 0 to 14; code 1 (a good image that
// went to matching) is never shown by name.
constexpr const char* kAcquiredInfoNames[] = {
    "UNKNOWN",    "GOOD",     "PARTIAL",          "INSUFFICIENT",  "SENSOR_DIRTY",
    "TOO_SLOW",   "TOO_FAST", "VENDOR",           "START",         "TOO_DARK",
    "TOO_BRIGHT", "IMMOBILE", "RETRYING_CAPTURE", "LIFT_TOO_SOON", "POWER_PRESS",
};

// The base part of a backup string: six hexadecimal fields. Built once per process; loading a
// long history at start-up must not pay for it per record.
const std::regex& BasePartPattern() {
    static const std::regex pattern(
        "0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,0x[0-9a-fA-F]+,"
        "0x[0-9a-fA-F]+",
        std::regex::ECMAScript);
    return pattern;
}

// A packed decimal triplet: high * 1000000 + middle * 1000 + low. Parts are compared as
// unsigned numbers, so a negative part counts as very large.
struct Triplet {
    uint32_t high, middle, low;
};

Triplet Unpack(int32_t v) {
    return Triplet{static_cast<uint32_t>(v / 1000000), static_cast<uint32_t>((v % 1000000) / 1000),
                   static_cast<uint32_t>(v % 1000)};
}

// The base part of a backup string in its common form, as the library writes it: six
// hexadecimal fields, each "0x" and at most 8 digits (16 for the time), separated by commas.
// `length` is where the sixth field's digits end, which is also where the first match of the
// base part's pattern ends, since the digits of every field run up to a character that is not
// a hexadecimal digit.
struct BaseFields {
    uint64_t time;
    uint32_t values[5];  // acquired_info, auth_successful, fid, latency, iq as scanned
    size_t length;
};

bool ReadBaseFields(const std::string& text, BaseFields* f) {
    TextCursor c{text.data(), text.data() + text.size()};
    uint64_t v;
    if (!ReadHexField(c, 16, &v)) return false;
    f->time = v;
    for (uint32_t& value : f->values) {
        if (!c.Take(',') || !ReadHexField(c, 8, &v)) return false;
        value = static_cast<uint32_t>(v);
    }
    f->length = static_cast<size_t>(c.p - text.data());
    return true;
}

char* AppendHexField(char* out, uint64_t value) {
    *out++ = '0';
    *out++ = 'x';
    return AppendHex(out, value);
}

// The G7 part in its common form: two two-decimal floats, a decimal and eighteen hexadecimal
// fields, each after a comma.
struct G7Fields {
    float t_cov;
    float t_dist;
    uint32_t lptw;
    uint32_t hex[18];
};

bool ReadG7Fields(const std::string& text, G7Fields* f) {
    TextCursor c{text.data(), text.data() + text.size()};
    if (!c.Take(',') || !ReadFixed2Field(c, &f->t_cov) || !c.Take(',') ||
        !ReadFixed2Field(c, &f->t_dist) || !c.Take(',') || !ReadDecimalField(c, &f->lptw)) {
        return false;
    }
    for (uint32_t& value : f->hex) {
        uint64_t v;
        if (!c.Take(',') || !ReadHexField(c, 8, &v)) return false;
        value = static_cast<uint32_t>(v);
    }
    return true;
}

}  // namespace

std::string AuthEvent::GetLocalTime() const {
    return FormatLocalTime(time);
}

std::string AuthEvent::ToDebugString() const {
    if (acquired_info == 1) {
        return FormatDebugLine(GetLocalTime(), "auth_successful:%d, fid:%d, latency:%d, iq:%d",
                               auth_successful ? 1 : 0, fid, latency, iq);
    }
    if (acquired_info >= 0 && acquired_info <= 14) {
        return FormatDebugLine(GetLocalTime(), "acquisition_error:%s",
                               kAcquiredInfoNames[acquired_info]);
    }
    return FormatDebugLine(GetLocalTime(), "acquisition_error:%d", acquired_info);
}

// "0x%lx,0x%x,0x%x,0x%x,0x%x,0x%x", written field by field; at most 73 characters, and the
// hexadecimal writer's slack after them.
char* AuthEvent::AppendBackupFields(char* out) const {
    out = AppendHexField(out, static_cast<unsigned long>(time));
    const uint32_t fields[] = {static_cast<uint32_t>(static_cast<int32_t>(acquired_info)),
                               auth_successful ? 1u : 0u, static_cast<uint32_t>(fid),
                               static_cast<uint32_t>(latency), static_cast<uint32_t>(iq)};
    for (uint32_t field : fields) {
        *out++ = ',';
        out = AppendHexField(out, field);
    }
    return out;
}

std::string AuthEvent::ToBackupString() const {
    std::string text;
    AuthEvent::AppendBackupString(&text);
    return text;
}

void AuthEvent::AppendBackupString(std::string* out) const {
    char buf[128];
    out->append(buf, AppendBackupFields(buf));
}

bool AuthEvent::LoadFromBackupString(std::string& text) {
    // The common form is read directly; anything else goes the scanf way below, which decides
    // what is accepted.
    BaseFields f;
    if (ReadBaseFields(text, &f)) {
        fid = static_cast<int32_t>(f.values[2]);
        latency = static_cast<int32_t>(f.values[3]);
        iq = static_cast<int32_t>(f.values[4]);
        time = static_cast<time_t>(f.time);
        acquired_info = static_cast<int8_t>(f.values[0] & 0xFF);
        auth_successful = f.values[1] != 0;
        text.erase(0, f.length);
        return true;
    }
    unsigned long scanned_time = 0;
    unsigned scanned_info = 0;
    unsigned scanned_successful = 0;
    int items = sscanf(text.c_str(), "0x%lx,0x%x,0x%x,0x%x,0x%x,0x%x", &scanned_time, &scanned_info,
                       &scanned_successful, reinterpret_cast<unsigned*>(&fid),
                       reinterpret_cast<unsigned*>(&latency), reinterpret_cast<unsigned*>(&iq));
    if (items < 6) {
        __android_log_print(ANDROID_LOG_ERROR, kBaseTag,
                            "[%s] failed to parse str:'%s' with error %d", kBaseLoadSignature,
                            text.c_str(), -errno);
        return false;
    }
    time = static_cast<time_t>(scanned_time);
    acquired_info = static_cast<int8_t>(scanned_info & 0xFF);
    auth_successful = scanned_successful != 0;
    text = std::regex_replace(text, BasePartPattern(), "", std::regex_constants::format_first_only);
    return true;
}

std::string AuthEvent::GetClassName() {
    return "AuthEvent";
}

std::string AuthEventG7::ToDebugString() const {
    std::string text = AuthEvent::ToDebugString();
    text += FormatFixed(kShortText, ", rc:%u", rc);
    text += FormatFixed(kShortText, ", lptw:%u", lptw);
    if (acquired_info == 1) {
        text += ", ";
        text +=
            FormatFixed(kShortText, "t_cov:%.0f%%, t_dist:%.1fmm, rawmean_delta:%d, match_score:%d",
                        t_cov, t_dist, rawmean_delta, match_score);
        if (rc != 0) {
            text += ", ";
            text += GetAuthFailureReason();
            return text;
        }
        text += StitchFiguresText(stitch_img_num_, stitch_img_area_);
    } else if (acquired_info == 2) {
        text += ", ";
        text += FormatFixed(kShortText, "t_cov:%.0f%%, t_dist:%.1fmm", t_cov, t_dist);
    }
    return text;
}

std::string AuthEventG7::GetAuthFailureReason() const {
    const char* reason;
    if (rc == 1164 || rawmean_delta <= -1001) {
        reason = "Too Dark";
    } else if (rc == 1013) {
        reason = "Image Partial";
    } else if (rc == 1014) {
        reason = "Low quality";
    } else if (rc == 1137) {
        reason = "Spoof";
    } else if (rc == 1138) {
        reason = "Residual";
    } else if (rc == 1513) {
        reason = "Too bright";
    } else {
        Triplet a = Unpack(metric_1);
        Triplet b = Unpack(metric_2);
        Triplet c = Unpack(metric_3);
        bool on_target = a.high >= 225 && a.middle >= 220 && a.low >= 215 && b.high >= 83 &&
                         b.middle >= 205 && b.low >= 205;
        if (!on_target) {
            reason = "Off target";
        } else if (foreign_matter >= 1) {
            reason = "Foreign matter";
        } else if (c.high > 119) {
            reason = "Unknown";
        } else {
            reason = "Partial off target";
        }
    }
    return std::string("reason:") + reason;
}

std::string AuthEventG7::ToBackupString() const {
    std::string text;
    AuthEventG7::AppendBackupString(&text);
    return text;
}

// The base part, then ",%.2f,%.2f,%u" and eighteen ",0x%x" fields, written field by field;
// floats that the fast writer does not take (not finite, or 10^13 and more) go through printf.
// At most 73 + 2 * 18 + 11 + 18 * 11 characters, and the hexadecimal writer's slack.
void AuthEventG7::AppendBackupString(std::string* out) const {
    char buf[384];
    char* end = AppendBackupFields(buf);
    char* const g7 = end;
    *end++ = ',';
    end = AppendFixed2(end, t_cov);
    if (end != nullptr) {
        *end++ = ',';
        end = AppendFixed2(end, t_dist);
    }
    if (end == nullptr) {
        out->append(buf, g7);
        out->append(PrintedG7Fields());
        return;
    }
    *end++ = ',';
    end = AppendDecimal(end, lptw);
    *end++ = ',';
    end = AppendHexField(end, rc);
    const int32_t* const fields[] = {&rawmean_delta, &metric_1,       &metric_2,   &metric_3,
                                     &metric_4,      &foreign_matter, &match_score};
    for (const int32_t* field : fields) {
        *end++ = ',';
        end = AppendHexField(end, static_cast<uint32_t>(*field));
    }
    for (const int32_t* five : {stitch_img_num_, stitch_img_area_}) {
        for (int k = 0; k < 5; ++k) {
            *end++ = ',';
            end = AppendHexField(end, static_cast<uint32_t>(five[k]));
        }
    }
    out->append(buf, end);
}

std::string AuthEventG7::PrintedG7Fields() const {
    auto u = [](int32_t field) { return static_cast<unsigned>(field); };
    return FormatFixed(kLongText,
                       ",%.2f,%.2f,%u,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,"
                       "0x%x,0x%x,0x%x,0x%x,0x%x,0x%x",
                       t_cov, t_dist, lptw, rc, u(rawmean_delta), u(metric_1), u(metric_2),
                       u(metric_3), u(metric_4), u(foreign_matter), u(match_score),
                       u(stitch_img_num_[0]), u(stitch_img_num_[1]), u(stitch_img_num_[2]),
                       u(stitch_img_num_[3]), u(stitch_img_num_[4]), u(stitch_img_area_[0]),
                       u(stitch_img_area_[1]), u(stitch_img_area_[2]), u(stitch_img_area_[3]),
                       u(stitch_img_area_[4]));
}

bool AuthEventG7::LoadFromBackupString(std::string& text) {
    if (!AuthEvent::LoadFromBackupString(text)) {
        __android_log_print(ANDROID_LOG_ERROR, kG7Tag, "[%s] AuthEvent failed to load '%s'",
                            kG7LoadSignature, text.c_str());
        return false;
    }
    G7Fields f;
    if (ReadG7Fields(text, &f)) {
        t_cov = f.t_cov;
        t_dist = f.t_dist;
        lptw = f.lptw;
        rc = f.hex[0];
        int32_t* const fields[] = {&rawmean_delta, &metric_1,       &metric_2,   &metric_3,
                                   &metric_4,      &foreign_matter, &match_score};
        for (size_t i = 0; i < 7; ++i) *fields[i] = static_cast<int32_t>(f.hex[1 + i]);
        for (int k = 0; k < 5; ++k) {
            stitch_img_num_[k] = static_cast<int32_t>(f.hex[8 + k]);
            stitch_img_area_[k] = static_cast<int32_t>(f.hex[13 + k]);
        }
        return true;
    }
    auto u = [](int32_t& field) { return reinterpret_cast<unsigned*>(&field); };
    int items = sscanf(
        text.c_str(),
        ",%f,%f,%u,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,0x%x,"
        "0x%x,0x%x,0x%x",
        &t_cov, &t_dist, &lptw, &rc, u(rawmean_delta), u(metric_1), u(metric_2), u(metric_3),
        u(metric_4), u(foreign_matter), u(match_score), u(stitch_img_num_[0]),
        u(stitch_img_num_[1]), u(stitch_img_num_[2]), u(stitch_img_num_[3]), u(stitch_img_num_[4]),
        u(stitch_img_area_[0]), u(stitch_img_area_[1]), u(stitch_img_area_[2]),
        u(stitch_img_area_[3]), u(stitch_img_area_[4]));
    if (items == 21) return true;
    __android_log_print(ANDROID_LOG_ERROR, kG7Tag, "[%s] failed to parse str:'%s' with error %d",
                        kG7LoadSignature, text.c_str(), -errno);
    return false;
}

std::string AuthEventG7::GetClassName() {
    return "AuthEventG7";
}

}  // namespace fp_utils
}  // namespace android
