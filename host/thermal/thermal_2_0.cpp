// android.hardware.thermal@2.0 on a host: descriptors, registration, and the client proxy.
#include <android/hardware/thermal/2.0/IThermal.h>
#include <android/hardware/thermal/2.0/IThermalChangedCallback.h>
#include <hidl/ServiceManagement.h>

#include <utility>

namespace android {
namespace hardware {
namespace thermal {
namespace V2_0 {

const char* IThermal::descriptor = "android.hardware.thermal@2.0::IThermal";
const char* IThermalChangedCallback::descriptor =
    "android.hardware.thermal@2.0::IThermalChangedCallback";

Return<void> IThermal::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

Return<void> IThermalChangedCallback::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

namespace {

// What a client holds: every call goes to the service object while its process lives.
class BpHwThermal : public IThermal {
  public:
    explicit BpHwThermal(sp<details::HwRemote> remote) : remote_(std::move(remote)) {}

    bool isRemote() const override { return true; }
    const IBase* hostIdentity() const override {
        sp<IBase> service = remote_->service();
        // A dead service is only equal to itself.
        return service == nullptr ? this : service.get();
    }

    Return<void> getTemperatures(getTemperatures_cb _hidl_cb) override {
        return Forward([&](IThermal& s) { return s.getTemperatures(_hidl_cb); });
    }
    Return<void> getCpuUsages(getCpuUsages_cb _hidl_cb) override {
        return Forward([&](IThermal& s) { return s.getCpuUsages(_hidl_cb); });
    }
    Return<void> getCoolingDevices(getCoolingDevices_cb _hidl_cb) override {
        return Forward([&](IThermal& s) { return s.getCoolingDevices(_hidl_cb); });
    }
    Return<void> getCurrentTemperatures(bool filterType, TemperatureType type,
                                        getCurrentTemperatures_cb _hidl_cb) override {
        return Forward(
            [&](IThermal& s) { return s.getCurrentTemperatures(filterType, type, _hidl_cb); });
    }
    Return<void> getTemperatureThresholds(bool filterType, TemperatureType type,
                                          getTemperatureThresholds_cb _hidl_cb) override {
        return Forward(
            [&](IThermal& s) { return s.getTemperatureThresholds(filterType, type, _hidl_cb); });
    }
    Return<void> registerThermalChangedCallback(const sp<IThermalChangedCallback>& callback,
                                                bool filterType, TemperatureType type,
                                                registerThermalChangedCallback_cb _hidl_cb) override {
        return Forward([&](IThermal& s) {
            return s.registerThermalChangedCallback(callback, filterType, type, _hidl_cb);
        });
    }
    Return<void> unregisterThermalChangedCallback(
        const sp<IThermalChangedCallback>& callback,
        unregisterThermalChangedCallback_cb _hidl_cb) override {
        return Forward(
            [&](IThermal& s) { return s.unregisterThermalChangedCallback(callback, _hidl_cb); });
    }
    Return<void> getCurrentCoolingDevices(bool filterType, CoolingType type,
                                          getCurrentCoolingDevices_cb _hidl_cb) override {
        return Forward(
            [&](IThermal& s) { return s.getCurrentCoolingDevices(filterType, type, _hidl_cb); });
    }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        return Forward([&](IThermal& s) { return s.debug(fd, options); });
    }
    Return<void> ping() override {
        return Forward([&](IThermal& s) { return s.ping(); });
    }

  private:
    template <typename Call>
    Return<void> Forward(Call call) {
        sp<IBase> service = remote_->service();
        if (service == nullptr) return Status::fromStatusT(DEAD_OBJECT);
        // Only IThermal::registerAsService registers under this interface's descriptor.
        return call(static_cast<IThermal&>(*service));
    }

    sp<details::HwRemote> remote_;
};

}  // namespace

sp<IThermal> IThermal::getService(const std::string& serviceName, bool getStub) {
    if (getStub) return nullptr;
    sp<details::HwRemote> remote = details::getRemoteServiceInternal(descriptor, serviceName);
    if (remote == nullptr || remote->service() == nullptr) return nullptr;
    return new BpHwThermal(std::move(remote));
}

status_t IThermal::registerAsService(const std::string& serviceName) {
    return details::registerAsServiceInternal(this, serviceName);
}

}  // namespace V2_0
}  // namespace thermal
}  // namespace hardware
}  // namespace android
