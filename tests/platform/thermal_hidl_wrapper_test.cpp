#include "fp_utils/thermal_hidl_wrapper.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/binder_control.h"
#include "host/thermal_control.h"

namespace aidl {
namespace android {
namespace hardware {
namespace thermal {
namespace {

namespace hidl = ::android::hardware::thermal::V2_0;
using ::android::sp;
using ::android::fp_utils::host::FakeAidlThermal;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::thermal::V1_0::ThermalStatus;
using ::android::hardware::thermal::V1_0::ThermalStatusCode;

constexpr char kUnsupported[] = "Operation unsupported by Thermal HIDL wrapper";
constexpr char kNotInitialized[] =
    "Thermal AIDL HAL client used by HIDL wrapper was not initialized";

// What a HIDL call handed to its answer callback, and how often it was called.
struct Answer {
    int answers = 0;
    ThermalStatus status;
    std::vector<std::string> names;  // of the entries answered
};

template <typename Entry>
std::function<void(const ThermalStatus&, const hidl_vec<Entry>&)> Into(Answer& a) {
    return [&a](const ThermalStatus& status, const hidl_vec<Entry>& entries) {
        ++a.answers;
        a.status = status;
        for (const Entry& e : entries) a.names.push_back(e.name);
    };
}

std::function<void(const ThermalStatus&)> Into(ThermalStatus& status, int& answers) {
    return [&](const ThermalStatus& s) {
        ++answers;
        status = s;
    };
}

// A converted operation, asked for the SKIN temperature type or the GPU cooling type; the one
// entry of that type in the fake's lists is `typed_entry`.
struct Operation {
    const char* name;
    const char* typed_entry;
    std::function<void(hidl::IThermal&, bool filter, Answer&)> call;
};

const std::vector<Operation> kConverted = {
    {"getCurrentTemperatures", "skin",
     [](hidl::IThermal& t, bool filter, Answer& a) {
         EXPECT_TRUE(t.getCurrentTemperatures(filter, hidl::TemperatureType::SKIN,
                                              Into<hidl::Temperature>(a))
                         .isOk());
     }},
    {"getTemperatureThresholds", "skin",
     [](hidl::IThermal& t, bool filter, Answer& a) {
         EXPECT_TRUE(t.getTemperatureThresholds(filter, hidl::TemperatureType::SKIN,
                                                Into<hidl::TemperatureThreshold>(a))
                         .isOk());
     }},
    {"getCurrentCoolingDevices", "gpu",
     [](hidl::IThermal& t, bool filter, Answer& a) {
         EXPECT_TRUE(t.getCurrentCoolingDevices(filter, hidl::CoolingType::GPU,
                                                Into<hidl::CoolingDevice>(a))
                         .isOk());
     }},
};

Answer Call(const Operation& op, hidl::IThermal& thermal, bool filter) {
    Answer a;
    op.call(thermal, filter, a);
    return a;
}

class RecordingCallback : public hidl::IThermalChangedCallback {
  public:
    Return<void> notifyThrottling(const hidl::Temperature& temperature) override {
        std::lock_guard<std::mutex> lock(mutex_);
        notices_.push_back(temperature);
        thread_ = std::this_thread::get_id();
        return ::android::hardware::Void();
    }
    std::vector<hidl::Temperature> Notices() {
        std::lock_guard<std::mutex> lock(mutex_);
        return notices_;
    }
    std::thread::id Thread() {
        std::lock_guard<std::mutex> lock(mutex_);
        return thread_;
    }

  private:
    std::mutex mutex_;
    std::vector<hidl::Temperature> notices_;
    std::thread::id thread_;
};

class ThermalHidlWrapperTest : public ::testing::Test {
  protected:
    ThermalHidlWrapperTest() {
        // One entry of the asked type between two others, in every list.
        fake_->SetTemperatures({{TemperatureType::CPU, "cpu"},
                                {TemperatureType::SKIN, "skin"},
                                {TemperatureType::GPU, "gpu"}});
        fake_->SetThresholds({{TemperatureType::CPU, "cpu", {}, {}},
                              {TemperatureType::SKIN, "skin", {}, {}},
                              {TemperatureType::GPU, "gpu", {}, {}}});
        fake_->SetCoolingDevices(
            {{CoolingType::CPU, "cpu"}, {CoolingType::GPU, "gpu"}, {CoolingType::FAN, "fan"}});
    }
    ~ThermalHidlWrapperTest() override { ::android::fp_utils::host::ResetServices(); }

    // What a registration (of the SKIN type when `filter`) or an unregistration answered:
    // "ok:" or "failed:", then the message. answers_ counts the answers.
    std::string Register(ThermalHidlWrapper& w, const sp<RecordingCallback>& cb,
                         bool filter = false) {
        ThermalStatus s;
        (void)w.registerThermalChangedCallback(cb, filter, hidl::TemperatureType::SKIN,
                                               Into(s, answers_));
        return Said(s);
    }
    std::string Unregister(ThermalHidlWrapper& w, const sp<RecordingCallback>& cb) {
        ThermalStatus s;
        (void)w.unregisterThermalChangedCallback(cb, Into(s, answers_));
        return Said(s);
    }
    static std::string Said(const ThermalStatus& s) {
        const bool ok = s.code == ThermalStatusCode::SUCCESS;
        return (ok ? "ok:" : "failed:") + std::string(s.debugMessage);
    }

    std::shared_ptr<FakeAidlThermal> fake_ = ::ndk::SharedRefBase::make<FakeAidlThermal>();
    // The wrapper as the HAL makes it: around a client of the service's binder.
    sp<ThermalHidlWrapper> wrapper_ =
        new ThermalHidlWrapper(IThermal::fromBinder(fake_->asBinder()));
    sp<ThermalHidlWrapper> uninitialized_ = new ThermalHidlWrapper(nullptr);
    int answers_ = 0;
};

TEST_F(ThermalHidlWrapperTest, ConvertedOperationsAskTheTypedVariantOnlyWhenFiltering) {
    for (const Operation& op : kConverted) {
        Answer all = Call(op, *wrapper_, false);
        Answer typed = Call(op, *wrapper_, true);
        EXPECT_EQ(1, all.answers) << op.name;
        EXPECT_EQ(ThermalStatusCode::SUCCESS, all.status.code) << op.name;
        EXPECT_EQ("", all.status.debugMessage) << op.name;
        EXPECT_EQ(3u, all.names.size()) << op.name;
        EXPECT_EQ(1, typed.answers) << op.name;
        EXPECT_EQ(ThermalStatusCode::SUCCESS, typed.status.code) << op.name;
        EXPECT_EQ(std::vector<std::string>{op.typed_entry}, typed.names) << op.name;
    }
}

// Without a client, or when the service fails, each converted operation answers once with
// the reason and no entries, filtered or not.
TEST_F(ThermalHidlWrapperTest, ConvertedOperationsAnswerAFailureWithItsReason) {
    fake_->SetStatus(EX_ILLEGAL_STATE, "sensor offline");
    const struct {
        const char* what;
        sp<ThermalHidlWrapper> wrapper;
        std::string message;
    } cases[] = {{"no client", uninitialized_, kNotInitialized},
                 {"service failure", wrapper_, "sensor offline"}};
    for (const auto& c : cases) {
        for (const Operation& op : kConverted) {
            for (bool filter : {false, true}) {
                Answer a = Call(op, *c.wrapper, filter);
                EXPECT_EQ(1, a.answers) << c.what << " " << op.name;
                EXPECT_EQ(ThermalStatusCode::FAILURE, a.status.code) << c.what << " " << op.name;
                EXPECT_EQ(c.message, a.status.debugMessage) << c.what << " " << op.name;
                EXPECT_TRUE(a.names.empty()) << c.what << " " << op.name;
            }
        }
    }
}

TEST_F(ThermalHidlWrapperTest, VersionOneOperationsAreUnsupportedEvenWithAClient) {
    for (const sp<ThermalHidlWrapper>& wrapper : {wrapper_, uninitialized_}) {
        std::vector<ThermalStatus> answers;
        auto record = [&](const ThermalStatus& s, const auto& list) {
            answers.push_back(s);
            EXPECT_EQ(0u, list.size());
        };
        EXPECT_TRUE(wrapper->getTemperatures(record).isOk());
        EXPECT_TRUE(wrapper->getCpuUsages(record).isOk());
        EXPECT_TRUE(wrapper->getCoolingDevices(record).isOk());
        ASSERT_EQ(3u, answers.size());
        for (const ThermalStatus& s : answers) {
            EXPECT_EQ(ThermalStatusCode::FAILURE, s.code);
            EXPECT_EQ(kUnsupported, s.debugMessage);
        }
    }
    EXPECT_EQ(0u, fake_->Calls());
}

// Types inside the HIDL ranges are kept, the first ones outside are mapped; every other field is
// copied, thresholds padded with NaN, and the VR threshold, which AIDL lacks, is NaN.
TEST_F(ThermalHidlWrapperTest, ConversionsKeepTheHidlRangesAndPadThresholdsWithNaN) {
    fake_->SetTemperatures({{TemperatureType::NPU, "npu", 41.5f, ThrottlingSeverity::SEVERE},
                            {TemperatureType::TPU, "tpu", -3.0f, ThrottlingSeverity::SHUTDOWN},
                            {TemperatureType::UNKNOWN, "unknown"}});
    std::vector<hidl::Temperature> temperatures;
    (void)wrapper_->getCurrentTemperatures(
        false, hidl::TemperatureType::SKIN,
        [&](const ThermalStatus&, const auto& list) { temperatures = list; });
    ASSERT_EQ(3u, temperatures.size());
    EXPECT_EQ(hidl::TemperatureType::NPU, temperatures[0].type);
    EXPECT_EQ(41.5f, temperatures[0].value);
    EXPECT_EQ(hidl::ThrottlingSeverity::SEVERE, temperatures[0].throttlingStatus);
    EXPECT_EQ(hidl::TemperatureType::UNKNOWN, temperatures[1].type);
    EXPECT_EQ("tpu", temperatures[1].name);
    EXPECT_EQ(hidl::ThrottlingSeverity::SHUTDOWN, temperatures[1].throttlingStatus);
    EXPECT_EQ(hidl::TemperatureType::UNKNOWN, temperatures[2].type);

    fake_->SetCoolingDevices({{CoolingType::NPU, "npu", 7},
                              {CoolingType::COMPONENT, "component"},
                              {CoolingType::TPU, "tpu"},
                              {static_cast<CoolingType>(99), "future", -1}});
    std::vector<hidl::CoolingDevice> devices;
    (void)wrapper_->getCurrentCoolingDevices(
        false, hidl::CoolingType::FAN,
        [&](const ThermalStatus&, const auto& list) { devices = list; });
    ASSERT_EQ(4u, devices.size());
    EXPECT_EQ(hidl::CoolingType::NPU, devices[0].type);
    EXPECT_EQ(7u, devices[0].value);
    for (size_t i = 1; i < 4; ++i) EXPECT_EQ(hidl::CoolingType::COMPONENT, devices[i].type) << i;
    EXPECT_EQ("future", devices[3].name);

    const std::vector<float> seven = {1, 2, 3, 4, 5, 6, 7};
    fake_->SetThresholds(
        {{TemperatureType::BCL_PERCENTAGE, "full", seven, {8, 9, 10, 11, 12, 13, 14, 15}},
         {TemperatureType::DISPLAY, "short", {1, 2, 3}, {}}});
    std::vector<hidl::TemperatureThreshold> thresholds;
    (void)wrapper_->getTemperatureThresholds(
        false, hidl::TemperatureType::SKIN,
        [&](const ThermalStatus&, const auto& list) { thresholds = list; });
    ASSERT_EQ(2u, thresholds.size());
    EXPECT_EQ(hidl::TemperatureType::BCL_PERCENTAGE, thresholds[0].type);
    EXPECT_EQ(hidl::TemperatureType::UNKNOWN, thresholds[1].type);
    for (size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(seven[i], thresholds[0].hotThrottlingThresholds[i]) << i;
        EXPECT_EQ(8.0f + i, thresholds[0].coldThrottlingThresholds[i]) << i;
        if (i < 3) {
            EXPECT_EQ(seven[i], thresholds[1].hotThrottlingThresholds[i]) << i;
        } else {
            EXPECT_TRUE(std::isnan(thresholds[1].hotThrottlingThresholds[i])) << i;
        }
        EXPECT_TRUE(std::isnan(thresholds[1].coldThrottlingThresholds[i])) << i;
    }
    EXPECT_TRUE(std::isnan(thresholds[0].vrThrottlingThreshold));
}

TEST_F(ThermalHidlWrapperTest, CallbackRegistryKeepsEachCallbackOnceAndOnlyWhatTheServiceTook) {
    sp<RecordingCallback> first = new RecordingCallback;
    sp<RecordingCallback> second = new RecordingCallback;
    const std::string unknown = "failed:The callback was not registered through wrapper before";
    EXPECT_EQ("ok:", Register(*wrapper_, first, true));
    EXPECT_EQ("failed:The callback was already registered through wrapper",
              Register(*wrapper_, first));
    EXPECT_EQ("failed:Invalid nullptr callback", Register(*wrapper_, nullptr));
    EXPECT_EQ("failed:Invalid nullptr callback", Unregister(*wrapper_, nullptr));
    EXPECT_EQ(unknown, Unregister(*wrapper_, second));
    ASSERT_EQ(1u, fake_->Registrations().size());
    EXPECT_TRUE(fake_->Registrations()[0].with_type);
    EXPECT_EQ(TemperatureType::SKIN, fake_->Registrations()[0].type);

    fake_->SetStatus(EX_SECURITY, "refused");
    EXPECT_EQ("failed:refused", Register(*wrapper_, second));
    EXPECT_EQ("failed:refused", Unregister(*wrapper_, first));
    fake_->SetStatus(EX_NONE);
    EXPECT_EQ("ok:", Register(*wrapper_, second));
    EXPECT_FALSE(fake_->Registrations()[1].with_type);
    EXPECT_EQ("ok:", Unregister(*wrapper_, first));
    EXPECT_EQ(unknown, Unregister(*wrapper_, first));
    EXPECT_EQ(10, answers_);
    ASSERT_EQ(1u, fake_->Registrations().size());

    EXPECT_EQ("failed:" + std::string(kNotInitialized), Register(*uninitialized_, first));
    EXPECT_EQ("failed:" + std::string(kNotInitialized), Unregister(*uninitialized_, first));
}

TEST_F(ThermalHidlWrapperTest, ThrottlingNoticeReachesTheHidlCallbackConverted) {
    sp<RecordingCallback> callback = new RecordingCallback;
    ASSERT_EQ("ok:", Register(*wrapper_, callback));
    ASSERT_EQ(1u, fake_->NotifyThrottling(
                      {TemperatureType::MODEM, "modem", 55.25f, ThrottlingSeverity::CRITICAL}));
    std::vector<hidl::Temperature> notices = callback->Notices();
    ASSERT_EQ(1u, notices.size());
    EXPECT_EQ(hidl::TemperatureType::UNKNOWN, notices[0].type);
    EXPECT_EQ("modem", notices[0].name);
    EXPECT_EQ(55.25f, notices[0].value);
    EXPECT_EQ(hidl::ThrottlingSeverity::CRITICAL, notices[0].throttlingStatus);
    EXPECT_NE(std::this_thread::get_id(), callback->Thread());
}

TEST_F(ThermalHidlWrapperTest, DebugHandsTheFirstDescriptorAndTheOptionsToTheDump) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    native_handle_t* handle = native_handle_create(2, 0);
    handle->data[0] = fds[1];
    handle->data[1] = fds[0];
    EXPECT_TRUE(wrapper_->debug(hidl_handle(handle), {"-a", "--verbose"}).isOk());
    char out[64] = {};
    ASSERT_GT(read(fds[0], out, sizeof(out) - 1), 0);
    EXPECT_EQ("-a --verbose\n", std::string(out));

    native_handle_t* empty = native_handle_create(0, 0);
    EXPECT_TRUE(wrapper_->debug(hidl_handle(empty), {"-a"}).isOk());
    EXPECT_TRUE(wrapper_->debug(hidl_handle(), {"-a"}).isOk());
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"-a", "--verbose"}}), fake_->Dumps());
    native_handle_delete(empty);
    native_handle_close(handle);
    native_handle_delete(handle);
}

}  // namespace
}  // namespace thermal
}  // namespace hardware
}  // namespace android
}  // namespace aidl
