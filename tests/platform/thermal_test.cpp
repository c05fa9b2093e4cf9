#include "fp_utils/thermal.h"

#include <aidl/android/hardware/thermal/IThermal.h>
#include <android/binder_manager.h>
#include <android/hardware/thermal/2.0/IThermal.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "host/binder_control.h"
#include "host/hidl_control.h"
#include "host/thermal_control.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

namespace aidl_thermal = ::aidl::android::hardware::thermal;
namespace hidl_thermal = hardware::thermal::V2_0;
using hardware::thermal::V1_0::ThermalStatusCode;

constexpr char kTag[] = "FpThermal";
constexpr int kD = ANDROID_LOG_DEBUG, kW = ANDROID_LOG_WARN, kE = ANDROID_LOG_ERROR;
constexpr char kConnected[] = "[ConnectThermalHal] Successfully connected to Thermal service.";
constexpr char kNotDeclared[] = "Thermal AIDL service is not declared";

size_t HidlLookups() {
    return host::HidlServiceLookups(hidl_thermal::IThermal::descriptor, "default");
}

class ThermalTest : public testing::FpUtilsTest {
  protected:
    ~ThermalTest() override { host::ResetServices(); }

    void ExpectLogged(int priority, std::initializer_list<const char*> texts) {
        for (const char* text : texts) EXPECT_TRUE(log_.Contains(priority, kTag, text)) << text;
    }
};

TEST_F(ThermalTest, OverAidlTheFirstSkinSensorDecidesAndHidlIsNeverAsked) {
    auto aidl = host::StartFakeAidlThermal();
    aidl->SetTemperatures(
        {{aidl_thermal::TemperatureType::CPU, "cpu", 90, aidl_thermal::ThrottlingSeverity::SEVERE},
         {aidl_thermal::TemperatureType::SKIN, "skin0", 36.5f,
          aidl_thermal::ThrottlingSeverity::LIGHT},
         {aidl_thermal::TemperatureType::SKIN, "skin1", 48,
          aidl_thermal::ThrottlingSeverity::SEVERE}});
    sp<host::FakeHidlThermal> hidl = host::StartFakeHidlThermal();
    testing::InChild([&] {  // the monitor is made on first use, as in a fresh HAL
        EXPECT_EQ(1, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(1, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(0u, HidlLookups());
        EXPECT_EQ(0u, hidl->Calls());
        EXPECT_EQ(2u, aidl->Calls());
        ExpectLogged(kD, {kConnected, "Name: skin0", "value: 36.500000", "ThrottlingSeverity: 1"});
        EXPECT_EQ(1u, log_.Count(kTag, "Successfully connected"));
        EXPECT_EQ(0u, log_.Count(kTag, "skin1"));
    });
}

TEST_F(ThermalTest, OverHidlWhenTheAidlServiceIsNotDeclared) {
    auto aidl = ::ndk::SharedRefBase::make<host::FakeAidlThermal>();
    AServiceManager_addService(aidl->asBinder().get(), host::kAidlThermalInstance);
    sp<host::FakeHidlThermal> hidl = host::StartFakeHidlThermal();
    hidl->SetTemperatures({{hidl_thermal::TemperatureType::SKIN, "skin", 50,
                            hidl_thermal::ThrottlingSeverity::EMERGENCY}});
    testing::InChild([&] {
        EXPECT_EQ(5, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(0u, aidl->Calls());
        ExpectLogged(kW, {kNotDeclared});
        ExpectLogged(kD, {kConnected, "Name: skin", "value: 50.000000", "ThrottlingSeverity: 5"});
    });
}

TEST_F(ThermalTest, DeclaredAidlServiceThatNeverStartsIsAwaitedThenHidlIsUsed) {
    host::DeclareService(host::kAidlThermalInstance);
    const std::chrono::milliseconds limit(50);
    host::SetServiceWaitLimit(limit);
    sp<host::FakeHidlThermal> hidl = host::StartFakeHidlThermal();
    hidl->SetTemperatures({{hidl_thermal::TemperatureType::SKIN, "skin", 40,
                            hidl_thermal::ThrottlingSeverity::MODERATE}});
    testing::InChild([&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(2, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_GE(std::chrono::steady_clock::now() - start, limit);
        ExpectLogged(kE, {"Unable to get Thermal AIDL service"});
        EXPECT_EQ(0u, log_.Count(kTag, kNotDeclared));
    });
}

// No service: -19 on every call, each trying again; the first service that appears is kept
// for good, even after its process died and another one started.
TEST_F(ThermalTest, WithoutServiceEveryCallTriesAgainAndAConnectionIsNeverDropped) {
    testing::InChild([&] {
        EXPECT_EQ(-19, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(-19, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(2u, HidlLookups());
        ExpectLogged(kE, {"[ConnectThermalHal] Failed to connect to Thermal HAL service",
                          "[GetCpuSeverity] Failed to connect to Thermal HAL"});
        EXPECT_EQ(2u, log_.Count(kTag, kNotDeclared));

        sp<host::FakeHidlThermal> first = host::StartFakeHidlThermal();
        first->SetTemperatures({{hidl_thermal::TemperatureType::SKIN, "skin", 45,
                                 hidl_thermal::ThrottlingSeverity::SEVERE}});
        EXPECT_EQ(3, Thermal::GetInstance().GetCpuSeverity());
        ASSERT_TRUE(host::KillHidlService(hidl_thermal::IThermal::descriptor, "default"));
        sp<host::FakeHidlThermal> second = host::StartFakeHidlThermal();
        second->SetTemperatures({{hidl_thermal::TemperatureType::SKIN, "skin", 45,
                                  hidl_thermal::ThrottlingSeverity::SEVERE}});
        EXPECT_EQ(0, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(3u, HidlLookups());
        EXPECT_EQ(0u, second->Calls());
        EXPECT_EQ(1u, log_.Count(kTag, "[GetCpuSeverity] Thermal HAL call failed"));
    });
}

TEST_F(ThermalTest, FailureStatusAndEmptyListReportNone) {
    sp<host::FakeHidlThermal> hidl = host::StartFakeHidlThermal();
    testing::InChild([&] {
        hidl->SetTemperatures({{hidl_thermal::TemperatureType::SKIN, "skin", 45,
                                hidl_thermal::ThrottlingSeverity::SHUTDOWN}});
        EXPECT_EQ(6, Thermal::GetInstance().GetCpuSeverity());
        hidl->SetStatus(ThermalStatusCode::FAILURE, "busy");
        EXPECT_EQ(0, Thermal::GetInstance().GetCpuSeverity());
        hidl->SetStatus(ThermalStatusCode::SUCCESS);
        hidl->SetTemperatures({});
        EXPECT_EQ(0, Thermal::GetInstance().GetCpuSeverity());
        EXPECT_EQ(1u, log_.Count(kTag, "Name: "));
    });
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
