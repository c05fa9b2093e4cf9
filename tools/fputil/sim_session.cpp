#include "tools/fputil/sim_session.h"

#include <android-base/properties.h>
#include <android-base/strings.h>
#include <unistd.h>
#include <utils/SystemClock.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "fp_utils/als_monitor.h"
#include "fp_utils/auth_stats.h"
#include "fp_utils/critical_errors.h"
#include "fp_utils/dev_cdt_info.h"
#include "fp_utils/display_controller.h"
#include "fp_utils/dynamic_exposure.h"
#include "fp_utils/enroll_event_container.h"
#include "fp_utils/finger_size.h"
#include "fp_utils/fp_state_tracker.h"
#include "fp_utils/fps_init_info.h"
#include "fp_utils/fps_touch_handler.h"
#include "fp_utils/geometry.h"
#include "fp_utils/sensor_listener.h"
#include "fp_utils/thermal.h"
#include "history/backup_file.h"
#include "host/binder_control.h"
#include "host/display_control.h"
#include "host/sensor_control.h"
#include "host/support/dump_text.h"
#include "host/support/log_capture.h"
#include "host/support/temp_root.h"
#include "host/thermal_control.h"
#include "host/touch_device.h"
#include "root_mapping/device_path.h"
#include "text/text.h"
#include "tools/fputil/histories.h"
#include "tools/fputil/sim_clock.h"

namespace fputil {
namespace {

namespace fp = android::fp_utils;
namespace host = android::fp_utils::host;
using std::chrono::milliseconds;

constexpr char kAuthName[] = "fingerprint";
constexpr char kFingerSizesName[] = "fingerprint";
constexpr char kEnrollEventType[] = "EnrollEventG7";
constexpr char kDevTreeDir[] = "/sys/firmware/devicetree/base/chosen/plat/";
constexpr char kTrustyLog[] = "/dev/trusty-log0";
constexpr char kInitErrorProperty[] = "vendor.fingerprint.init.error";
// How long a wait for a declared display service lasts before the library gives up. A device
// waits for ever; a simulated day should not.
constexpr milliseconds kServiceWaitLimit{200};
constexpr milliseconds kTouchEventWait{2000};
constexpr milliseconds kSensorEventWait{2000};

const host::SensorInfo kLightSensor = {"light", "android.sensor.light", ASENSOR_TYPE_LIGHT, 200000,
                                       AREPORTING_MODE_ON_CHANGE};
const host::SensorInfo kLongPressSensor = {"long press", "com.kestro.sensor.long_press", 65600, 0,
                                           AREPORTING_MODE_SPECIAL_TRIGGER};
constexpr const char* kSeverityNames[] = {"NONE",     "LIGHT",     "MODERATE", "SEVERE",
                                          "CRITICAL", "EMERGENCY", "SHUTDOWN"};

int SeverityOf(const std::string& word) {
    for (int i = 0; i < 7; ++i) {
        std::string name = kSeverityNames[i];
        for (char& c : name) c = static_cast<char>(tolower(c));
        if (name == word) return i;
    }
    return 0;
}

// One line of the timeline, cut at the library's own long-text size.
constexpr size_t kLine = 1024;

// The lines of a dump, without the empty piece after its last newline.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines = android::base::Split(text, "\n");
    if (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

std::string StatusText(int status) {
    switch (status) {
        case 0:
            return "0";
        case -19:
            return "-19 (no display service)";
        case -110:
            return "-110 (timed out)";
        case static_cast<int>(0x80000002u):
            return "0x80000002 (the display HAL failed the call)";
        default:
            return std::to_string(status);
    }
}

// What the HAL owns between its start and its end.
struct Hal {
    std::unique_ptr<fp::FpsInitInfo> init;
    std::unique_ptr<fp::AuthStatsG7> auth;
    std::unique_ptr<fp::EnrollEventContainer> enroll;
    std::unique_ptr<fp::FingerSizes> sizes;
    std::unique_ptr<fp::DisplayController> display;
    std::unique_ptr<fp::FingerState> finger;
    std::unique_ptr<fp::SensorListener> sensors;
};

class Session {
  public:
    Session(const std::string& root, SimResult* result) : root_(root), result_(result) {}

    bool Run(const Scenario& scenario, std::string* error);

  private:
    void Handle(const ScenarioEvent& e, TimelineEntry* entry);
    void Setup(const ScenarioEvent& e, TimelineEntry* entry);
    void Display(const ScenarioEvent& e, TimelineEntry* entry);
    void Start(const ScenarioEvent& e, TimelineEntry* entry);
    void Stop(TimelineEntry* entry);
    void FingerDown(const ScenarioEvent& e, TimelineEntry* entry);
    void FingerUp(TimelineEntry* entry);
    void Lhbm(const ScenarioEvent& e, TimelineEntry* entry);
    void Auth(const ScenarioEvent& e, TimelineEntry* entry);
    void Enroll(const ScenarioEvent& e, TimelineEntry* entry);
    void StartSensors(TimelineEntry* entry);
    void StopSensors();
    void SensorEvent(fp::SensorType type, const ASensorEvent& event, TimelineEntry* entry);
    void Thermal(const ScenarioEvent& e, TimelineEntry* entry);
    std::vector<DumpSection> Dumps();

    // Writes one touch record and waits for the touch handler's callback; the event it
    // delivered, or nothing when none arrived.
    std::optional<fp::TouchEvent> Touch(const host::RawTouchRecord& record);
    void OnTouchEvent(const fp::TouchEvent& event);
    static void OnExposureChanged(void* ctx, float expo, float base);
    void TouchRequests(TimelineEntry* entry);
    static size_t CriticalErrorCount() {
        fp::CriticalErrors* errors = fp::CriticalErrors::GetInstance();
        std::lock_guard<std::mutex> lock(errors->mutex_);
        return errors->events_.size();
    }
    void Mark(const std::string& label) { result_->marks.push_back({now_ms_, 0, label}); }

    std::string root_;
    SimResult* result_;
    int64_t now_ms_ = 0;
    Hal hal_;
    bool first_start_ = true;
    uint32_t auth_limit_ = 100;
    uint32_t finger_limit_ = 64;
    std::unique_ptr<fp::Circle> sensor_circle_;  // the sensor area: a circle
    std::unique_ptr<fp::Rect> sensor_rect_;      // or a rectangle
    float Coverage(const fp::Ellipse& contact) const {
        return sensor_circle_
                   ? sensor_circle_->CoverageCoveredBy(static_cast<const fp::IShape&>(contact))
                   : sensor_rect_->CoverageCoveredBy(contact);
    }
    fp::TouchConfig area_{480, 1540, 600, 1660};
    std::shared_ptr<host::FakeDisplay> fake_display_;
    milliseconds display_duration_{0};
    bool lhbm_on_ = false;
    TimelineEntry* current_ = nullptr;  // the entry that callbacks report into
    host::LogCapture* capture_ = nullptr;

    std::mutex touch_mutex_;
    std::condition_variable touch_arrived_;
    std::vector<fp::TouchEvent> touch_events_;

    int light_handle_ = 0;
    int long_press_handle_ = 0;
    std::mutex sensor_mutex_;
    std::condition_variable sensor_arrived_;
    size_t sensor_events_[fp::SensorListener::kSensorTypeCount] = {0, 0};
    float last_sensor_value_ = 0;

    std::shared_ptr<host::FakeAidlThermal> aidl_thermal_;
    android::sp<host::FakeHidlThermal> hidl_thermal_;
};

void Session::OnExposureChanged(void* ctx, float expo, float base) {
    auto* self = static_cast<Session*>(ctx);
    const int step = fp::DynamicExposure::GetInstance().adjustment_step;
    if (self->current_ != nullptr) {
        self->current_->outcome.push_back(fp::FormatFixed(
            kLine, "exposure callback: expo %.3f ms, base %.3f ms (step %+d)", expo, base, step));
    }
    self->result_->exposure.push_back(
        {self->now_ms_, expo, fp::FormatFixed(kLine, "step %+d", step)});
}

void Session::OnTouchEvent(const fp::TouchEvent& event) {
    std::lock_guard<std::mutex> lock(touch_mutex_);
    touch_events_.push_back(event);
    touch_arrived_.notify_all();
}

std::optional<fp::TouchEvent> Session::Touch(const host::RawTouchRecord& record) {
    std::unique_lock<std::mutex> lock(touch_mutex_);
    touch_events_.clear();
    lock.unlock();
    if (!host::WriteTouchBatch(host::EncodeTouchBatch({record}), kTouchEventWait)) {
        return std::nullopt;
    }
    lock.lock();
    if (!touch_arrived_.wait_for(lock, kTouchEventWait, [&] { return !touch_events_.empty(); })) {
        return std::nullopt;
    }
    return touch_events_.back();
}

void Session::TouchRequests(TimelineEntry* entry) {
    for (const host::TouchIoctl& call : host::TouchIoctls()) {
        const char* what = call.request == fp::FpsTouchHandler::kIoctlLptwEnable    ? "lptw on"
                           : call.request == fp::FpsTouchHandler::kIoctlLptwDisable ? "lptw off"
                           : call.request == fp::FpsTouchHandler::kIoctlSetArea     ? "area"
                                                                                    : "?";
        entry->outcome.push_back(fp::FormatFixed(kLine, "touch device: request %lu (%s) -> %d",
                                                 call.request, what, call.result));
    }
    host::ClearTouchIoctls();
}

void Session::Setup(const ScenarioEvent& e, TimelineEntry* entry) {
    if (e.verb == "prop") {
        android::base::SetProperty(e.name, e.text);
        entry->outcome.push_back("property " + e.name + " = " +
                                 android::base::GetProperty(e.name, ""));
    } else if (e.verb == "devtree") {
        const uint32_t v = static_cast<uint32_t>(e.numbers[0]);
        const std::string cell = {static_cast<char>(v >> 24), static_cast<char>(v >> 16),
                                  static_cast<char>(v >> 8), static_cast<char>(v)};
        const std::string path = fp::DevicePath(std::string(kDevTreeDir) + e.word);
        host::MakeDirsOnHost(path.substr(0, path.rfind('/')));
        FILE* f = fopen(path.c_str(), "wb");
        if (f != nullptr) {
            fwrite(cell.data(), 1, cell.size(), f);
            fclose(f);
        }
        entry->outcome.push_back(
            fp::FormatFixed(kLine, "device tree: %s = 0x%08x", e.word.c_str(), v));
    } else if (e.verb == "sensor") {
        const auto& n = e.numbers;
        if (e.word == "circle") {
            sensor_circle_ = std::make_unique<fp::Circle>(n[0], n[1], n[2]);
            sensor_rect_.reset();
            area_ = {static_cast<int32_t>(n[0] - n[2]), static_cast<int32_t>(n[1] - n[2]),
                     static_cast<int32_t>(n[0] + n[2]), static_cast<int32_t>(n[1] + n[2])};
        } else {
            sensor_rect_ = std::make_unique<fp::Rect>(n[0], n[1], n[2], n[3]);
            sensor_circle_.reset();
            area_ = {static_cast<int32_t>(n[0]), static_cast<int32_t>(n[1]),
                     static_cast<int32_t>(n[2]), static_cast<int32_t>(n[3])};
        }
        entry->outcome.push_back(fp::FormatFixed(
            kLine, "sensor area: %s, touch area (%d, %d) - (%d, %d)",
            (sensor_circle_ ? sensor_circle_->Print() : sensor_rect_->Print()).c_str(), area_.left,
            area_.top, area_.right, area_.bottom));
    }
}

void Session::Display(const ScenarioEvent& e, TimelineEntry* entry) {
    if (e.word == "slow") {
        display_duration_ = milliseconds(static_cast<int64_t>(e.numbers[0]));
        if (fake_display_) fake_display_->SetCallDuration(display_duration_);
        entry->outcome.push_back(fp::FormatFixed(kLine, "display service: each call takes %lld ms",
                                                 (long long)display_duration_.count()));
    } else if (e.word == "fail") {
        if (fake_display_) fake_display_->FailNextCalls(static_cast<int>(e.numbers[0]));
        entry->outcome.push_back(fp::FormatFixed(kLine, "display service: the next %d call(s) fail",
                                                 static_cast<int>(e.numbers[0])));
    } else if (e.word == "die") {
        const bool killed = host::KillService(host::kDisplayInstance);
        fake_display_.reset();
        entry->outcome.push_back(killed ? "display service died; death notices delivered"
                                        : "no display service was running");
        Mark("display died");
    } else if (e.word == "back") {
        fake_display_ = host::StartFakeDisplay();
        fake_display_->SetCallDuration(display_duration_);
        entry->outcome.push_back("display service registered again");
        Mark("display back");
    } else if (e.word == "missing") {
        host::KillService(host::kDisplayInstance);
        host::UndeclareService(host::kDisplayInstance);
        fake_display_.reset();
        entry->outcome.push_back("display service not declared in the device manifest");
    }
}

void Session::Start(const ScenarioEvent& e, TimelineEntry* entry) {
    auth_limit_ = static_cast<uint32_t>(e.Field("auth-limit", auth_limit_));
    finger_limit_ = static_cast<uint32_t>(e.Field("finger-limit", finger_limit_));

    hal_.init = std::make_unique<fp::FpsInitInfo>();
    hal_.init->SetState(fp::FpsInitInfo::kStarting);
    entry->outcome.push_back("start-up record: starting");

    if (first_start_) {
        fp::DevCdtInfo& cdt = fp::DevCdtInfo::GetInstance();
        entry->outcome.push_back(fp::FormatFixed(
            kLine,
            "device: platform 0x%x, product 0x%x, stage 0x%x, major 0x%x, minor 0x%x, "
            "variant 0x%x",
            cdt.GetPlatform(), cdt.GetProduct(), cdt.GetStage(), cdt.GetMajor(), cdt.GetMinor(),
            cdt.GetVariant()));
    }

    hal_.auth = std::make_unique<fp::AuthStatsG7>(kAuthName, auth_limit_, true);
    hal_.auth->Init();
    entry->outcome.push_back(fp::FormatFixed(
        kLine, "AuthStats.%s (limit %u): %zu attempts loaded; %s", kAuthName, auth_limit_,
        hal_.auth->attempts_.size(), hal_.auth->ToDebugString().c_str()));
    hal_.enroll = std::make_unique<fp::EnrollEventContainer>();
    hal_.enroll->Init(kEnrollEventType);
    entry->outcome.push_back(fp::FormatFixed(kLine, "EnrollEventContainer: %zu events loaded",
                                             hal_.enroll->events_.size()));
    hal_.sizes = std::make_unique<fp::FingerSizes>(kFingerSizesName, finger_limit_, true);
    entry->outcome.push_back(fp::FormatFixed(kLine, "FingerSizes.%s (limit %u): %zu sizes loaded",
                                             kFingerSizesName, finger_limit_,
                                             hal_.sizes->fingers_.size()));
    hal_.finger = std::make_unique<fp::FingerState>();
    hal_.display = std::make_unique<fp::DisplayController>();
    lhbm_on_ = false;

    fp::DynamicExposure& expo = fp::DynamicExposure::GetInstance();
    expo.SetExpoChangedCallback(this, OnExposureChanged);
    entry->outcome.push_back(expo.supported
                                 ? fp::FormatFixed(kLine,
                                                   "dynamic exposure: supported, decides on %u "
                                                   "attempts",
                                                   expo.kNumberOfAttempts)
                                 : "dynamic exposure: not supported");

    fp::FpsTouchHandler* touch = fp::FpsTouchHandler::GetInstance();
    if (first_start_) {
        touch->SetTouchEventCallback([this](const fp::TouchEvent& t) { OnTouchEvent(t); });
    }
    const bool configured = touch->Configure(area_);
    TouchRequests(entry);
    const size_t loops = capture_->Count("FpsTouchHandler", "threadLoop starting");
    const bool started = configured && touch->Start();
    // The worker announces itself on its own thread: wait for it, so that its line lands in
    // this event on every run.
    const auto deadline = std::chrono::steady_clock::now() + kTouchEventWait;
    while (started && capture_->Count("FpsTouchHandler", "threadLoop starting") == loops &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    entry->outcome.push_back(fp::FormatFixed(kLine, "touch handler: configure %s, start %s",
                                             configured ? "ok" : "FAILED",
                                             started ? "ok" : "FAILED"));
    StartSensors(entry);
    if (first_start_) Mark("start");
    first_start_ = false;
}

void Session::Stop(TimelineEntry* entry) {
    fp::FpsTouchHandler::GetInstance()->Stop();
    StopSensors();
    hal_ = Hal();
    // A new HAL process would find the process-wide objects as they are built.
    fp::CriticalErrors* errors = fp::CriticalErrors::GetInstance();
    {
        std::lock_guard<std::mutex> lock(errors->mutex_);
        errors->events_.clear();
    }
    fp::DynamicExposure& expo = fp::DynamicExposure::GetInstance();
    expo.adjustment_step = 0;
    expo.cali_expo = 0;
    expo.cali_expo_base = 0;
    if (expo.auth_stats) expo.auth_stats->Reset();
    fp::FpStateTracker::GetInstance().UpdateState(static_cast<fp::fp_state_t>(0));
    if (entry != nullptr) entry->outcome.push_back("HAL stopped: what it owned is gone");
}

void Session::FingerDown(const ScenarioEvent& e, TimelineEntry* entry) {
    const auto& n = e.numbers;
    host::RawTouchRecord r;
    r.touch_id = 0xFFFFFFFFu;  // panel units
    r.touch_state = 1;
    r.point_x = static_cast<int32_t>(std::lround(n[0]));
    r.point_y = static_cast<int32_t>(std::lround(n[1]));
    // The driver's first coordinate pair carries the contact's axes.
    r.coords[0][0] = static_cast<uint16_t>(std::lround(n[2]));
    r.coords[0][1] = static_cast<uint16_t>(std::lround(n[3]));
    r.orientation = static_cast<int32_t>(std::lround(n[4] / (M_PI / 2) * 4096));
    r.timestamp = static_cast<uint64_t>(now_ms_) * 1000;
    fp::Ellipse contact(n[0], n[1], n[2], n[3], n[4]);
    if (std::optional<fp::TouchEvent> t = Touch(r)) {
        contact =
            fp::Ellipse(t->point_x, t->point_y, t->coords_0[0], t->coords_0[1], t->orientation);
        entry->outcome.push_back(
            fp::FormatFixed(kLine, "touch event: state %u at (%.2f, %.2f), orientation %.4f",
                            t->touch_state, t->point_x, t->point_y, t->orientation));
    } else {
        entry->outcome.push_back("no touch event arrived (the touch handler is not running)");
    }
    hal_.finger->Set(true, static_cast<long>(android::uptimeMillis()), contact, e.HasFlag("lptw"));
    TouchRequests(entry);
    entry->outcome.push_back(
        fp::FormatFixed(kLine, "finger down: %s, lptw requested %d, enabled %d",
                        hal_.finger->GetEllipse().Print().c_str(), hal_.finger->IsLptwRequested(),
                        hal_.finger->IsLptwEnabled()));
    const float covered = Coverage(contact);
    entry->outcome.push_back(fp::FormatFixed(kLine, "coverage: %.2f%% of the sensor area", covered));
}

void Session::FingerUp(TimelineEntry* entry) {
    host::RawTouchRecord r;
    r.touch_id = 0xFFFFFFFFu;
    r.touch_state = 0;
    r.timestamp = static_cast<uint64_t>(now_ms_) * 1000;
    if (std::optional<fp::TouchEvent> t = Touch(r)) {
        entry->outcome.push_back(fp::FormatFixed(kLine, "touch event: state %u", t->touch_state));
    }
    hal_.finger->Set(false, 0, fp::Ellipse(0, 0, 0, 0, 0), false);
    TouchRequests(entry);
    entry->outcome.push_back(
        fp::FormatFixed(kLine, "finger up: lptw enabled %d, last touch event reset (state 0x%x)",
                        hal_.finger->IsLptwEnabled(),
                        fp::FpsTouchHandler::GetInstance()->GetLastTouchEvent().touch_state));
}

void Session::Lhbm(const ScenarioEvent& e, TimelineEntry* entry) {
    const bool on = e.word == "on";
    uint32_t elapsed = 0;
    const int status = hal_.display->SetLhbm(on, &elapsed);
    entry->outcome.push_back(fp::FormatFixed(kLine, "SetLhbm(%s): %s, elapsed %u ms",
                                             on ? "on" : "off", StatusText(status).c_str(),
                                             elapsed));
    if (status != 0) ++result_->lhbm_failures;
    if (status == 0 && on != lhbm_on_) {
        lhbm_on_ = on;
        result_->lhbm.push_back({now_ms_, on ? 1.0 : 0.0, ""});
    }
}

void Session::Auth(const ScenarioEvent& e, TimelineEntry* entry) {
    auto event = std::static_pointer_cast<fp::AuthEventG7>(hal_.auth->CreateAttempt());
    if (e.word == "match" || e.word == "reject") {
        event->acquired_info = 1;
    } else {
        event->acquired_info = static_cast<int8_t>(e.Field("code", e.word == "partial" ? 2 : 3));
    }
    event->auth_successful = e.word == "match";
    event->fid = static_cast<int32_t>(e.Field("fid", 0));
    event->latency = static_cast<int32_t>(e.Field("latency", 0));
    event->iq = static_cast<int32_t>(e.Field("iq", 0));
    event->t_cov = static_cast<float>(e.Field("cov", 0));
    event->t_dist = static_cast<float>(e.Field("dist", 0));
    event->lptw = static_cast<uint32_t>(e.Field("lptw", 0));
    event->rc = static_cast<uint32_t>(e.Field("rc", 0));
    event->rawmean_delta = static_cast<int32_t>(e.Field("rawmean", 0));
    event->match_score = static_cast<int32_t>(e.Field("score", 0));
    event->metric_1 = static_cast<int32_t>(e.Field("m1", 0));
    event->metric_2 = static_cast<int32_t>(e.Field("m2", 0));
    event->metric_3 = static_cast<int32_t>(e.Field("m3", 0));
    event->metric_4 = static_cast<int32_t>(e.Field("m4", 0));
    event->foreign_matter = static_cast<int32_t>(e.Field("foreign", 0));
    hal_.auth->AddAttempt(event);
    entry->outcome.push_back("attempt: " + event->ToDebugString());
    entry->outcome.push_back("AuthStats." + std::string(kAuthName) + ": " +
                             hal_.auth->ToDebugString());
    result_->auth.push_back({now_ms_,
                             event->acquired_info != 1 ? -1.0
                             : event->auth_successful  ? 1.0
                                                       : 0.0,
                             e.word});

    fp::DynamicExposure& expo = fp::DynamicExposure::GetInstance();
    if (!expo.supported) return;
    expo.FeedAuthAttempt(event);
    if (expo.auth_stats) {
        entry->outcome.push_back("dynamic exposure: " + expo.auth_stats->ToDebugString());
    }
}

void Session::Enroll(const ScenarioEvent& e, TimelineEntry* entry) {
    std::shared_ptr<fp::EnrollEvent> created = hal_.enroll->CreateEvent();
    if (!created) {
        entry->outcome.push_back("no enrollment event could be created");
        return;
    }
    auto event = std::static_pointer_cast<fp::EnrollEventG7>(created);
    event->op = e.word == "del" ? fp::DEL : fp::ADD;
    event->enroll_successful = !e.HasFlag("failed");
    event->gid = static_cast<int32_t>(e.Field("gid", 0));
    event->fid = static_cast<int32_t>(e.Field("fid", 0));
    event->capture_count = static_cast<int32_t>(e.Field("captures", 0));
    event->iq_avg = static_cast<float>(e.Field("iq", 0));
    event->enrolled_fingers_count = static_cast<int32_t>(e.Field("fingers", 0));
    event->rc = static_cast<uint32_t>(e.Field("rc", 0));
    event->rawmean_delta = static_cast<float>(e.Field("rawmean", 0));
    hal_.enroll->AddEvent(event);
    entry->outcome.push_back("enrollment event: " + event->ToDebugString());
}

std::vector<DumpSection> Session::Dumps() {
    std::vector<DumpSection> out;
    auto add = [&](const char* name, const std::function<void(int)>& dump) {
        out.push_back({name, host::CaptureDump(dump)});
    };
    if (hal_.init) add("FpsInitInfo", [&](int fd) { hal_.init->Dump(fd); });
    if (hal_.auth) add("AuthStats", [&](int fd) { hal_.auth->Dump(fd, nullptr, 0); });
    if (hal_.enroll) {
        add("EnrollEventContainer", [&](int fd) { hal_.enroll->Dump(fd, nullptr, 0); });
    }
    if (hal_.sizes) {
        std::string text = "FingerSizes." + std::string(kFingerSizesName) + ":\n";
        for (const std::string& line : FingerSizesSummary(*hal_.sizes)) text += "  " + line + "\n";
        out.push_back({"FingerSizes", text});
    }
    add("CriticalErrors", [](int fd) { fp::CriticalErrors::GetInstance()->Dump(fd, nullptr, 0); });
    add("DynamicExposure", [](int fd) { fp::DynamicExposure::GetInstance().Dump(fd); });
    return out;
}

// The HAL's sensor thread connects the listener, so that the listener's looper is not the
// one this thread polls through the ambient light monitor.
void Session::StartSensors(TimelineEntry* entry) {
    hal_.sensors = std::make_unique<fp::SensorListener>();
    for (fp::SensorType type : {fp::kAmbientLight, fp::kLongPress}) {
        hal_.sensors->SetSensorEventCallback(type, [this, type](const ASensorEvent& event) {
            std::lock_guard<std::mutex> lock(sensor_mutex_);
            ++sensor_events_[type];
            last_sensor_value_ = type == fp::kAmbientLight ? event.light : event.data[0];
            sensor_arrived_.notify_all();
        });
    }
    int light = 0;
    int long_press = 0;
    std::thread connect([&] {
        light = hal_.sensors->StartSampling(fp::kAmbientLight);
        long_press = hal_.sensors->StartSampling(fp::kLongPress);
    });
    connect.join();
    const int als = fp::AlsMonitor::GetInstance()->StartSampling();
    entry->outcome.push_back(
        fp::FormatFixed(kLine,
                        "sensor listener: light %d, long press %d; ambient light "
                        "monitor: %d",
                        light, long_press, als));
}

void Session::StopSensors() {
    hal_.sensors.reset();
    fp::AlsMonitor::GetInstance()->StopSampling();
    fp::AlsMonitor::OnSystemServerDeath();
}

void Session::SensorEvent(fp::SensorType type, const ASensorEvent& event, TimelineEntry* entry) {
    std::unique_lock<std::mutex> lock(sensor_mutex_);
    const size_t before = sensor_events_[type];
    lock.unlock();
    host::PostSensorEvents(type == fp::kAmbientLight ? light_handle_ : long_press_handle_, {event});
    lock.lock();
    const bool arrived = hal_.sensors && hal_.sensors->IsAnySamplerStarted() &&
                         sensor_arrived_.wait_for(lock, kSensorEventWait,
                                                  [&] { return sensor_events_[type] > before; });
    if (arrived) {
        entry->outcome.push_back(fp::FormatFixed(
            kLine, "sensor listener: %s event %.1f handed to the HAL",
            type == fp::kAmbientLight ? "light" : "long-press", last_sensor_value_));
    } else {
        entry->outcome.push_back("sensor listener: no event reached the HAL");
    }
}

void Session::Thermal(const ScenarioEvent& e, TimelineEntry* entry) {
    const int severity = SeverityOf(e.word);
    const float celsius = static_cast<float>(e.numbers[0]);
    if (aidl_thermal_) {
        namespace thermal = ::aidl::android::hardware::thermal;
        aidl_thermal_->SetTemperatures({{thermal::TemperatureType::SKIN, "skin", celsius,
                                         static_cast<thermal::ThrottlingSeverity>(severity)}});
    } else if (hidl_thermal_) {
        namespace thermal = ::android::hardware::thermal::V2_0;
        hidl_thermal_->SetTemperatures({{thermal::TemperatureType::SKIN, "skin", celsius,
                                         static_cast<thermal::ThrottlingSeverity>(severity)}});
    }
    const int got = fp::Thermal::GetInstance().GetCpuSeverity();
    entry->outcome.push_back(fp::FormatFixed(
        kLine, "skin %.1f C, %s; Thermal::GetCpuSeverity: %d%s%s", celsius, kSeverityNames[severity],
        got, got >= 0 && got < 7 ? " " : "", got >= 0 && got < 7 ? kSeverityNames[got] : ""));
    if (got >= 0) result_->severity.push_back({now_ms_, static_cast<double>(got), ""});
}

void Session::Handle(const ScenarioEvent& e, TimelineEntry* entry) {
    const std::string& v = e.verb;
    if (v == "prop" || v == "devtree" || v == "sensor") {
        Setup(e, entry);
    } else if (v == "display") {
        Display(e, entry);
    } else if (v == "start") {
        Start(e, entry);
    } else if (v == "restart") {
        Stop(entry);
        Mark("restart");
        ScenarioEvent again;
        Start(again, entry);
    } else if (v == "init-error") {
        hal_.init->SetError(e.text);
        entry->outcome.push_back(kInitErrorProperty + std::string(" = ") +
                                 android::base::GetProperty(kInitErrorProperty, ""));
        Mark("init error");
    } else if (v == "ready") {
        hal_.init->SetState(fp::FpsInitInfo::kSucceeded);
        entry->outcome.push_back("start-up record: succeeded");
    } else if (v == "calibrate") {
        fp::DynamicExposure& expo = fp::DynamicExposure::GetInstance();
        expo.UpdateCaliExpo(static_cast<float>(e.numbers[0]), static_cast<float>(e.numbers[1]));
        result_->exposure.push_back({now_ms_, e.numbers[0], "calibrated"});
        entry->outcome.push_back(fp::FormatFixed(kLine, "calibrated exposure %.3f ms, base %.3f ms",
                                                 expo.cali_expo, expo.cali_expo_base));
    } else if (v == "finger-down") {
        FingerDown(e, entry);
    } else if (v == "finger-up") {
        FingerUp(entry);
    } else if (v == "state" || v == "wait") {
        uint32_t code = 0;
        if (!StateCode(e.name, &code))
            code = static_cast<uint32_t>(strtoul(e.name.c_str(), nullptr, 0));
        fp::FpStateTracker& tracker = fp::FpStateTracker::GetInstance();
        if (v == "state") {
            tracker.UpdateState(static_cast<fp::fp_state_t>(code));
            char down[64] = {};
            tracker.GetFingerDownTime(down, sizeof(down));
            entry->outcome.push_back(
                fp::FormatFixed(kLine, "HAL state 0x%x, finger-down time %s", code, down));
        } else {
            const unsigned timeout = static_cast<unsigned>(e.numbers[0]);
            const int status = tracker.WaitForState(static_cast<fp::fp_state_t>(code), timeout);
            entry->outcome.push_back(fp::FormatFixed(
                kLine, "WaitForState(0x%x, %u ms): %s (state is 0x%x)", code, timeout,
                StatusText(status).c_str(), static_cast<unsigned>(tracker.GetState())));
        }
    } else if (v == "lhbm") {
        Lhbm(e, entry);
    } else if (v == "auth") {
        Auth(e, entry);
    } else if (v == "enroll") {
        Enroll(e, entry);
    } else if (v == "finger-size") {
        auto finger = std::make_shared<fp::FingerSize>();
        finger->op = static_cast<int32_t>(e.Field("op", 0));
        finger->size = {static_cast<float>(e.numbers[0]), static_cast<float>(e.numbers[1])};
        hal_.sizes->AddFinger(finger, true);
        entry->outcome.push_back("finger size: " + finger->ToString());
        for (const std::string& line : FingerSizesSummary(*hal_.sizes)) {
            entry->outcome.push_back("FingerSizes." + std::string(kFingerSizesName) + ": " + line);
        }
    } else if (v == "thermal-service") {
        if (e.word == "aidl") aidl_thermal_ = host::StartFakeAidlThermal();
        if (e.word == "hidl") hidl_thermal_ = host::StartFakeHidlThermal();
        entry->outcome.push_back(e.word == "none"
                                     ? "no thermal service"
                                     : "thermal service over " + e.word + " registered");
    } else if (v == "thermal") {
        Thermal(e, entry);
    } else if (v == "light") {
        ASensorEvent event = {};
        event.light = static_cast<float>(e.numbers[0]);
        event.timestamp = now_ms_ * 1000000;
        SensorEvent(fp::kAmbientLight, event, entry);
        float lux = 0;
        const int status = fp::AlsMonitor::GetInstance()->GetLight(&lux);
        entry->outcome.push_back(
            fp::FormatFixed(kLine, "AlsMonitor::GetLight: %d, %.1f lux", status, lux));
        if (status == 0) result_->light.push_back({now_ms_, lux, ""});
    } else if (v == "long-press") {
        ASensorEvent event = {};
        event.data[0] = 1;
        event.timestamp = now_ms_ * 1000000;
        SensorEvent(fp::kLongPress, event, entry);
    } else if (v == "error") {
        auto event = std::make_shared<fp::ErrorEvent>(e.text, time(nullptr));
        fp::CriticalErrors::GetInstance()->AddErrorEvent(event);
        entry->outcome.push_back("critical error: " + event->ToDebugString());
    } else if (v == "dump") {
        for (const DumpSection& d : Dumps()) {
            for (const std::string& line : Lines(d.text)) entry->outcome.push_back(line);
        }
    } else {
        entry->outcome.push_back("(not simulated on this host)");
    }
}

bool Session::Run(const Scenario& scenario, std::string* error) {
    for (const char* dir :
         {"/data/vendor/fingerprint", "/data/vendor/tombstones/fingerprint", "/dev", kDevTreeDir}) {
        if (!host::MakeDirsOnHost(fp::DevicePath(dir))) {
            *error = "cannot make " + fp::DevicePath(dir);
            return false;
        }
    }
    if (FILE* f = fopen(fp::DevicePath(kTrustyLog).c_str(), "w")) {
        fputs("trusty: fingerprint app loaded\n", f);
        fclose(f);
    }
    if (!host::CreateTouchDevice()) {
        *error = "cannot make the touch device " + fp::DevicePath(host::kDefaultTouchDevicePath);
        return false;
    }
    sensor_circle_ = std::make_unique<fp::Circle>(540, 1600, 60);
    light_handle_ = host::AddSensor(kLightSensor);
    long_press_handle_ = host::AddSensor(kLongPressSensor);
    host::SetServiceWaitLimit(kServiceWaitLimit);
    fake_display_ = host::StartFakeDisplay();

    result_->start_ms = scenario.events.empty() ? 0 : scenario.events.front().time_ms;
    {
        host::LogCapture capture;
        capture_ = &capture;
        for (const ScenarioEvent& e : scenario.events) {
            now_ms_ = e.time_ms;
            SetSimulatedWallClock(now_ms_);
            TimelineEntry entry;
            entry.time_ms = e.time_ms;
            entry.line = e.line;
            entry.event = e.source;
            current_ = &entry;
            host::ClearTouchIoctls();
            const size_t errors = CriticalErrorCount();
            Handle(e, &entry);
            // Any critical error, the scenario's own or one the library added, is marked.
            if (CriticalErrorCount() > errors) Mark("critical error");
            current_ = nullptr;
            for (const host::LogLine& line : capture.Lines()) entry.log.push_back(line.ToString());
            capture.Clear();
            result_->timeline.push_back(std::move(entry));
        }
        result_->end_ms = now_ms_;
        result_->dumps = Dumps();
        Stop(nullptr);
        capture_ = nullptr;
    }
    UseRealWallClock();
    host::ResetSensors();
    host::ResetServices();
    fake_display_.reset();
    return true;
}

// Every backup file the session left under the root, as fputil inspect reads it.
void InspectBackups(const std::string& root, SimResult* result) {
    const std::string dir = root + "/data/vendor/fingerprint/";
    for (const std::string& name :
         {"AuthStats." + std::string(kAuthName), std::string("EnrollEventContainer"),
          "FingerSizes." + std::string(kFingerSizesName)}) {
        FileReport report;
        std::string error;
        if (access((dir + name).c_str(), F_OK) != 0) continue;
        if (InspectBackupFile(dir + name, ReportOptions(), &report, &error)) {
            report.path = "/data/vendor/fingerprint/" + name;
            result->backups.push_back(std::move(report));
        }
    }
}

}  // namespace

bool RunSession(const Scenario& scenario, const std::string& root, SimResult* result,
                std::string* error) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::unique_ptr<host::TempRoot> temp;
    std::string dir = root;
    if (dir.empty()) {
        temp = std::make_unique<host::TempRoot>();
        if (!temp->ok()) {
            *error = "cannot make a temporary device tree";
            return false;
        }
        dir = temp->dir();
    } else {
        if (!host::MakeDirsOnHost(dir)) {
            *error = "cannot make " + dir;
            return false;
        }
        setenv("FP_UTILS_ROOT", dir.c_str(), 1);
    }
    result->root = dir;
    Session session(dir, result);
    if (!session.Run(scenario, error)) return false;
    InspectBackups(dir, result);
    return true;
}

}  // namespace fputil
