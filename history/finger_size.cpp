#include "fp_utils/finger_size.h"

#include <android/log.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "history/backup_file.h"
#include "text/text.h"

namespace android {
namespace fp_utils {
namespace {

// Measurements log under their history's tag.
constexpr char kTag[] = "FingerSizes";
constexpr char kLoadSignature[] =
    "virtual bool android::fp_utils::FingerSize::LoadFromBackupString(std::string &)";

float LengthOn(const FingerSize& finger, FingerSize::Axis axis) {
    return axis == FingerSize::X ? finger.size.first : finger.size.second;
}

}  // namespace

std::string FingerSize::ToString() const {
    return FormatFixed(kShortText, "op:%d, size:(%.1f, %.1f)", op, size.first, size.second);
}

std::string FingerSize::ToBackupString() const {
    return FormatFixed(kShortText, "%d,%.1f,%.1f", op, size.first, size.second);
}

bool FingerSize::LoadFromBackupString(std::string& text) {
    int scanned_op = 0;
    int items = sscanf(text.c_str(), "%d,%f,%f", &scanned_op, &size.first, &size.second);
    if (items != 3) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] failed to parse str:'%s' with error %d",
                            kLoadSignature, text.c_str(), -errno);
        return false;
    }
    op = scanned_op;
    return true;
}

FingerSizes::FingerSizes(std::string name, unsigned int capacity, bool persist)
    : name_(std::move(name)), capacity_(capacity), persist_(persist) {
    if (!persist_) return;
    PrepareBackupDirectory(kFingerSizesBackupKind, kBackupDir);
    backup_path_ = BackupFilePath(kFingerSizesBackupKind, kBackupDir, name_);
    LoadFingersFromBackupFile();
}

void FingerSizes::Reset() {
    backup_path_.clear();
    fingers_.clear();
    total_count_ = 0;
}

void FingerSizes::AddFinger(std::shared_ptr<FingerSize> finger, bool save) {
    if (finger == nullptr) {
        // Every held measurement is read by the counters, the query and the save.
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s][%s] Refusing an empty measurement.",
                            name_.c_str(), "AddFinger");
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    // The emptiness check only matters for a capacity of 0, which keeps one measurement.
    if (capacity_ != kNoLimit && total_count_ >= capacity_ && !fingers_.empty()) {
        PopFinger();
    }
    PushFinger(std::move(finger));
    if (save && persist_ && !backup_path_.empty()) SaveFingersToBackupFile();
}

void FingerSizes::PushFinger(std::shared_ptr<FingerSize> finger) {
    int32_t op = finger->op;
    fingers_.push_back(std::move(finger));
    ++total_count_;
    if (op == 2) {
        ++op2_count_;
    } else if (op == 1) {
        ++op1_count_;
    }
}

std::shared_ptr<FingerSize> FingerSizes::PopFinger() {
    if (fingers_.empty()) return nullptr;
    std::shared_ptr<FingerSize> finger = std::move(fingers_.front());
    fingers_.pop_front();
    --total_count_;
    if (finger->op == 2) {
        --op2_count_;
    } else if (finger->op == 1) {
        --op1_count_;
    }
    return finger;
}

float FingerSizes::GetPercentileValue(FingerSize::Axis axis, float percentile) {
    if (fingers_.empty()) return 0.0f;
    if (fingers_.size() == 1) return LengthOn(*fingers_.front(), axis);

    std::deque<float> values;
    for (const auto& finger : fingers_) values.push_back(LengthOn(*finger, axis));
    std::sort(values.begin(), values.end());

    const size_t last = values.size() - 1;
    float pos = percentile / 100.0f * static_cast<float>(last);
    // Keeps every read inside the history, also for percentiles outside 0 to 100 (and NaN).
    if (!(pos > 0.0f)) {
        pos = 0.0f;
    } else if (pos > static_cast<float>(last)) {
        pos = static_cast<float>(last);
    }
    int32_t i = static_cast<int32_t>(pos);
    size_t lower = static_cast<size_t>(i);
    // At 100 the upper neighbour would be one past the end, with a weight of zero.
    size_t upper = std::min(lower + 1, last);
    return values[lower] + (pos - static_cast<float>(i)) * (values[upper] - values[lower]);
}

void FingerSizes::LoadFingersFromBackupFile() {
    LoadBackupFile(kFingerSizesBackupKind, backup_path_, name_, [this](std::string& body) {
        auto finger = std::make_shared<FingerSize>();
        if (finger->LoadFromBackupString(body)) AddFinger(finger, false);
    });
}

void FingerSizes::SaveFingersToBackupFile() const {
    SaveBackupFile(kFingerSizesBackupKind, backup_path_, fingers_);
}

}  // namespace fp_utils
}  // namespace android
