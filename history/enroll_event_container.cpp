#include "fp_utils/enroll_event_container.h"

#include <android/log.h>

#include <cstdio>
#include <ctime>

#include "history/backup_file.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "EnrollEventContainer";
constexpr char kEventTypeG7[] = "EnrollEventG7";
constexpr char kCreateEventSignature[] =
    "std::shared_ptr<EnrollEvent> android::fp_utils::EnrollEventContainer::CreateEvent()";

}  // namespace

void EnrollEventContainer::Init(const char* event_type) {
    event_type_ = event_type != nullptr ? event_type : "";
    PrepareBackupDirectory(kEnrollEventsBackupKind, kBackupDir);
    backup_path_ = BackupFilePath(kEnrollEventsBackupKind, kBackupDir, "");
    LoadEventsFromBackupFile();
    initialized_ = true;
}

std::shared_ptr<EnrollEvent> EnrollEventContainer::CreateEvent() {
    if (event_type_ == kEventTypeG7) {
        auto event = std::make_shared<EnrollEventG7>();
        event->time = ::time(nullptr);
        return event;
    }
    __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] Unknown event_type:%s",
                        kCreateEventSignature, event_type_.c_str());
    return nullptr;
}

void EnrollEventContainer::AddEvent(std::shared_ptr<EnrollEvent> event) {
    if (event == nullptr) {
        // Dump and the save read every stored event; an empty one would bring the HAL down.
        __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] Refusing an empty event.", "AddEvent");
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (events_.size() >= kMaxEvents) events_.pop_front();
    events_.push_back(std::move(event));
    if (initialized_ && !backup_path_.empty()) SaveEventsToBackupFile();
}

void EnrollEventContainer::Dump(int fd, const char** /*args*/, unsigned int /*num_args*/) {
    std::lock_guard<std::mutex> lock(mutex_);
    dprintf(fd, "Enroll Events:\n");
    int index = 0;
    for (const auto& event : events_) {
        dprintf(fd, "  #%03d %s\n", index++, event->ToDebugString().c_str());
    }
}

void EnrollEventContainer::LoadEventsFromBackupFile() {
    LoadBackupFile(kEnrollEventsBackupKind, backup_path_, "", [this](std::string& body) {
        std::shared_ptr<EnrollEvent> event = CreateEvent();
        if (event == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "[%s] Failed to create event!",
                                kEnrollEventsBackupKind.load_signature);
            return;
        }
        if (event->LoadFromBackupString(body)) AddEvent(event);
    });
}

void EnrollEventContainer::SaveEventsToBackupFile() const {
    SaveBackupFile(kEnrollEventsBackupKind, backup_path_, events_);
}

}  // namespace fp_utils
}  // namespace android
