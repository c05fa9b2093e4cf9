// The device's enrollment history: the last 50 enrollment events, oldest first, kept in
// "/data/vendor/fingerprint/EnrollEventContainer" across restarts of the HAL.
//
// The HAL makes one container, calls Init once with the event class to create
// ("EnrollEventG7" is the only one known), which loads the backup file, and then gets fresh
// events from CreateEvent and hands them back, filled in, to AddEvent. Once initialised, every
// addition rewrites the whole file. AddEvent and Dump may be called from any thread; Init,
// CreateEvent and the load run before the container is shared.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "fp_utils/enroll_event.h"
#include "fp_utils/export.h"

namespace android {
namespace fp_utils {

class FP_UTILS_EXPORT EnrollEventContainer {
  public:
    static constexpr char kBackupDir[] = "/data/vendor/fingerprint/";
    static constexpr size_t kMaxEvents = 50;

    EnrollEventContainer() = default;
    virtual ~EnrollEventContainer() = default;

    // Remembers which event class to create, makes the backup directory, loads the backup
    // file and from then on saves on every addition.
    virtual void Init(const char* event_type);
    // Appends `event`, dropping the oldest one when 50 are held; saves once initialised. An
    // empty pointer is refused with an error log.
    virtual void AddEvent(std::shared_ptr<EnrollEvent> event);

    // A new event of the configured class stamped with the current time, or an empty pointer
    // (with an error log) when the class is unknown.
    std::shared_ptr<EnrollEvent> CreateEvent();
    // "Enroll Events:" and one numbered debug line per event, oldest first.
    void Dump(int fd, const char** args, unsigned int num_args);
    void LoadEventsFromBackupFile();
    // The caller holds mutex_ (AddEvent does).
    void SaveEventsToBackupFile() const;

    std::string event_type_;
    std::string backup_path_;
    std::deque<std::shared_ptr<EnrollEvent>> events_;
    std::mutex mutex_;
    bool initialized_ = false;
};

}  // namespace fp_utils
}  // namespace android
