#include "host/thermal_control.h"

#include <android/binder_manager.h>
#include <unistd.h>

#include <thread>
#include <utility>

#include "host/binder_control.h"
#include "host/hidl_control.h"

namespace android {
namespace fp_utils {
namespace host {

using hardware::hidl_vec;
using hardware::Return;
using hardware::Void;
using hardware::thermal::V1_0::ThermalStatus;
using hardware::thermal::V1_0::ThermalStatusCode;
using hardware::thermal::V2_0::IThermalChangedCallback;

namespace {

// A registry reset forgets the HIDL services along with the binder ones.
const bool kHidlResetHooked = [] {
    OnResetServices(ResetHidlServices);
    return true;
}();

// The entries of `all` that a call with this filter gets.
template <typename Entry, typename Type>
std::vector<Entry> Filtered(const std::vector<Entry>& all, bool filter_type, Type type) {
    std::vector<Entry> out;
    for (const Entry& entry : all) {
        if (!filter_type || entry.type == type) out.push_back(entry);
    }
    return out;
}

}  // namespace

void FakeHidlThermal::SetTemperatures(std::vector<Temperature> temperatures) {
    std::lock_guard<std::mutex> lock(mutex_);
    temperatures_ = std::move(temperatures);
}

void FakeHidlThermal::SetThresholds(std::vector<TemperatureThreshold> thresholds) {
    std::lock_guard<std::mutex> lock(mutex_);
    thresholds_ = std::move(thresholds);
}

void FakeHidlThermal::SetCoolingDevices(std::vector<CoolingDevice> devices) {
    std::lock_guard<std::mutex> lock(mutex_);
    cooling_devices_ = std::move(devices);
}

void FakeHidlThermal::SetStatus(ThermalStatusCode code, std::string message) {
    std::lock_guard<std::mutex> lock(mutex_);
    status_ = {code, message};
}

size_t FakeHidlThermal::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<FakeHidlThermal::Registration> FakeHidlThermal::Registrations() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return registrations_;
}

size_t FakeHidlThermal::NotifyThrottling(const Temperature& temperature) {
    std::vector<Registration> registrations = Registrations();
    size_t notified = 0;
    for (const Registration& r : registrations) {
        if (r.filter_type && r.type != temperature.type) continue;
        (void)r.callback->notifyThrottling(temperature).isOk();
        ++notified;
    }
    return notified;
}

ThermalStatus FakeHidlThermal::Count() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++calls_;
    return status_;
}

template <typename Entry, typename Type, typename Callback>
void FakeHidlThermal::Answer(const std::vector<Entry>& all, bool filter_type, Type type,
                             const Callback& callback) {
    ThermalStatus status = Count();
    std::unique_lock<std::mutex> lock(mutex_);
    hidl_vec<Entry> answer;
    if (status.code == ThermalStatusCode::SUCCESS) answer = Filtered(all, filter_type, type);
    lock.unlock();
    callback(status, answer);
}

Return<void> FakeHidlThermal::getTemperatures(getTemperatures_cb _hidl_cb) {
    _hidl_cb(Count(), {});
    return Void();
}

Return<void> FakeHidlThermal::getCpuUsages(getCpuUsages_cb _hidl_cb) {
    _hidl_cb(Count(), {});
    return Void();
}

Return<void> FakeHidlThermal::getCoolingDevices(getCoolingDevices_cb _hidl_cb) {
    _hidl_cb(Count(), {});
    return Void();
}

Return<void> FakeHidlThermal::getCurrentTemperatures(bool filterType, TemperatureType type,
                                                     getCurrentTemperatures_cb _hidl_cb) {
    Answer(temperatures_, filterType, type, _hidl_cb);
    return Void();
}

Return<void> FakeHidlThermal::getTemperatureThresholds(bool filterType, TemperatureType type,
                                                       getTemperatureThresholds_cb _hidl_cb) {
    Answer(thresholds_, filterType, type, _hidl_cb);
    return Void();
}

Return<void> FakeHidlThermal::getCurrentCoolingDevices(bool filterType, CoolingType type,
                                                       getCurrentCoolingDevices_cb _hidl_cb) {
    Answer(cooling_devices_, filterType, type, _hidl_cb);
    return Void();
}

Return<void> FakeHidlThermal::registerThermalChangedCallback(
    const sp<IThermalChangedCallback>& callback, bool filterType, TemperatureType type,
    registerThermalChangedCallback_cb _hidl_cb) {
    ThermalStatus status = Count();
    if (status.code == ThermalStatusCode::SUCCESS) {
        std::lock_guard<std::mutex> lock(mutex_);
        registrations_.push_back({callback, filterType, type});
    }
    _hidl_cb(status);
    return Void();
}

Return<void> FakeHidlThermal::unregisterThermalChangedCallback(
    const sp<IThermalChangedCallback>& callback, unregisterThermalChangedCallback_cb _hidl_cb) {
    ThermalStatus status = Count();
    if (status.code == ThermalStatusCode::SUCCESS) {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto it = registrations_.begin(); it != registrations_.end(); ++it) {
            if (hardware::interfacesEqual(it->callback, callback)) {
                registrations_.erase(it);
                break;
            }
        }
    }
    _hidl_cb(status);
    return Void();
}

sp<FakeHidlThermal> StartFakeHidlThermal() {
    sp<FakeHidlThermal> fake = new FakeHidlThermal;
    fake->registerAsService("default");
    return fake;
}

void FakeAidlThermal::SetTemperatures(std::vector<Temperature> temperatures) {
    std::lock_guard<std::mutex> lock(mutex_);
    temperatures_ = std::move(temperatures);
}

void FakeAidlThermal::SetThresholds(std::vector<TemperatureThreshold> thresholds) {
    std::lock_guard<std::mutex> lock(mutex_);
    thresholds_ = std::move(thresholds);
}

void FakeAidlThermal::SetCoolingDevices(std::vector<CoolingDevice> devices) {
    std::lock_guard<std::mutex> lock(mutex_);
    cooling_devices_ = std::move(devices);
}

void FakeAidlThermal::SetStatus(binder_exception_t exception, std::string message) {
    std::lock_guard<std::mutex> lock(mutex_);
    exception_ = exception;
    message_ = std::move(message);
}

size_t FakeAidlThermal::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<FakeAidlThermal::Registration> FakeAidlThermal::Registrations() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return registrations_;
}

std::vector<std::vector<std::string>> FakeAidlThermal::Dumps() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dumps_;
}

size_t FakeAidlThermal::NotifyThrottling(const Temperature& temperature) {
    std::vector<Registration> registrations = Registrations();
    size_t notified = 0;
    std::thread binder_thread([&] {
        for (const Registration& r : registrations) {
            if (r.with_type && r.type != temperature.type) continue;
            (void)r.callback->notifyThrottling(temperature);
            ++notified;
        }
    });
    binder_thread.join();
    return notified;
}

bool FakeAidlThermal::Succeeds(::ndk::ScopedAStatus* status) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++calls_;
    if (exception_ == EX_NONE) return true;
    *status = ::ndk::ScopedAStatus::fromExceptionCodeWithMessage(exception_, message_.c_str());
    return false;
}

template <typename Entry, typename Type>
::ndk::ScopedAStatus FakeAidlThermal::Answer(const std::vector<Entry>& all, bool filter_type,
                                             Type type, std::vector<Entry>* out) {
    ::ndk::ScopedAStatus status = ::ndk::ScopedAStatus::ok();
    if (!Succeeds(&status)) return status;
    std::lock_guard<std::mutex> lock(mutex_);
    *out = Filtered(all, filter_type, type);
    return status;
}

::ndk::ScopedAStatus FakeAidlThermal::getCoolingDevices(std::vector<CoolingDevice>* out) {
    return Answer(cooling_devices_, false, CoolingType::FAN, out);
}

::ndk::ScopedAStatus FakeAidlThermal::getCoolingDevicesWithType(CoolingType type,
                                                                std::vector<CoolingDevice>* out) {
    return Answer(cooling_devices_, true, type, out);
}

::ndk::ScopedAStatus FakeAidlThermal::getTemperatures(std::vector<Temperature>* out) {
    return Answer(temperatures_, false, TemperatureType::UNKNOWN, out);
}

::ndk::ScopedAStatus FakeAidlThermal::getTemperaturesWithType(TemperatureType type,
                                                              std::vector<Temperature>* out) {
    return Answer(temperatures_, true, type, out);
}

::ndk::ScopedAStatus FakeAidlThermal::getTemperatureThresholds(
    std::vector<TemperatureThreshold>* out) {
    return Answer(thresholds_, false, TemperatureType::UNKNOWN, out);
}

::ndk::ScopedAStatus FakeAidlThermal::getTemperatureThresholdsWithType(
    TemperatureType type, std::vector<TemperatureThreshold>* out) {
    return Answer(thresholds_, true, type, out);
}

::ndk::ScopedAStatus FakeAidlThermal::Register(
    const std::shared_ptr<IThermalChangedCallback>& callback, bool with_type, TemperatureType type) {
    ::ndk::ScopedAStatus status = ::ndk::ScopedAStatus::ok();
    if (!Succeeds(&status)) return status;
    std::lock_guard<std::mutex> lock(mutex_);
    registrations_.push_back({callback, with_type, type});
    return status;
}

::ndk::ScopedAStatus FakeAidlThermal::registerThermalChangedCallback(
    const std::shared_ptr<IThermalChangedCallback>& callback) {
    return Register(callback, false, TemperatureType::UNKNOWN);
}

::ndk::ScopedAStatus FakeAidlThermal::registerThermalChangedCallbackWithType(
    const std::shared_ptr<IThermalChangedCallback>& callback, TemperatureType type) {
    return Register(callback, true, type);
}

::ndk::ScopedAStatus FakeAidlThermal::unregisterThermalChangedCallback(
    const std::shared_ptr<IThermalChangedCallback>& callback) {
    ::ndk::ScopedAStatus status = ::ndk::ScopedAStatus::ok();
    if (!Succeeds(&status)) return status;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = registrations_.begin(); it != registrations_.end(); ++it) {
        if (it->callback->asBinder().get() == callback->asBinder().get()) {
            registrations_.erase(it);
            break;
        }
    }
    return status;
}

binder_status_t FakeAidlThermal::dump(int fd, const char** args, uint32_t numArgs) {
    std::vector<std::string> copied(args, args + numArgs);
    std::string line;
    for (const std::string& arg : copied) line += (line.empty() ? "" : " ") + arg;
    line += "\n";
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++calls_;
        dumps_.push_back(std::move(copied));
    }
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        return STATUS_FAILED_TRANSACTION;
    }
    return STATUS_OK;
}

std::shared_ptr<FakeAidlThermal> StartFakeAidlThermal() {
    auto fake = ::ndk::SharedRefBase::make<FakeAidlThermal>();
    DeclareService(kAidlThermalInstance);
    AServiceManager_addService(fake->asBinder().get(), kAidlThermalInstance);
    return fake;
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
