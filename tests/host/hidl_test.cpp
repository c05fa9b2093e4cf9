#include <android/hardware/thermal/2.0/IThermal.h>
#include <cutils/native_handle.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <unistd.h>

#include "host/binder_control.h"
#include "host/hidl_control.h"
#include "host/thermal_control.h"

namespace android {
namespace fp_utils {
namespace {

using hardware::hidl_handle;
using hardware::Return;
using hardware::thermal::V1_0::ThermalStatus;
using hardware::thermal::V2_0::IThermal;
using hardware::thermal::V2_0::TemperatureType;

class HidlTest : public ::testing::Test {
  protected:
    ~HidlTest() override { host::ResetServices(); }

    static Return<void> AskTemperatures(const sp<IThermal>& thermal, int* answers) {
        return thermal->getCurrentTemperatures(
            false, TemperatureType::SKIN,
            [answers](const ThermalStatus&, const auto&) { ++*answers; });
    }
};

// A client holds a proxy of the registered object; once the service's process is killed it is
// gone from the registry and calls through the proxy fail at transport level.
TEST_F(HidlTest, KilledServiceFailsCallsWithDeadObject) {
    EXPECT_EQ(nullptr, IThermal::getService());
    sp<host::FakeHidlThermal> fake = host::StartFakeHidlThermal();
    EXPECT_EQ(nullptr, IThermal::getService("default", true));
    sp<IThermal> a = IThermal::getService(), b = IThermal::getService("default");
    ASSERT_NE(nullptr, a);
    EXPECT_TRUE(a->isRemote());
    EXPECT_TRUE(hardware::interfacesEqual(a, b));
    EXPECT_TRUE(hardware::interfacesEqual(a, fake));
    EXPECT_FALSE(hardware::interfacesEqual(a, nullptr));

    int answers = 0;
    EXPECT_TRUE(AskTemperatures(a, &answers).isOk());
    EXPECT_EQ(1, answers);
    ASSERT_TRUE(host::KillHidlService(IThermal::descriptor, "default"));
    EXPECT_FALSE(host::KillHidlService(IThermal::descriptor, "default"));
    Return<void> ret = AskTemperatures(a, &answers);
    EXPECT_TRUE(ret.isDeadObject());
    EXPECT_FALSE(ret.isOk());
    EXPECT_EQ(1, answers);
    EXPECT_EQ(nullptr, IThermal::getService());
    EXPECT_EQ(4u, host::HidlServiceLookups(IThermal::descriptor, "default"));
}

TEST_F(HidlTest, UncheckedFailedReturnAborts) {
    host::StartFakeHidlThermal();
    sp<IThermal> thermal = IThermal::getService();
    host::KillHidlService(IThermal::descriptor, "default");
    int answers = 0;
    EXPECT_DEATH((void)AskTemperatures(thermal, &answers), "Failed HIDL return status not checked");
}

TEST_F(HidlTest, ResetServicesForgetsHidlServicesToo) {
    host::StartFakeHidlThermal();
    host::ResetServices();
    EXPECT_EQ(nullptr, IThermal::getService());
    EXPECT_EQ(1u, host::HidlServiceLookups(IThermal::descriptor, "default"));
}

TEST_F(HidlTest, CopiedHandleOwnsDuplicatedDescriptors) {
    native_handle_t* borrowed = native_handle_create(1, 1);
    borrowed->data[0] = dup(STDERR_FILENO);
    borrowed->data[1] = 42;
    hidl_handle original(borrowed);
    {
        hidl_handle copy(original);
        ASSERT_NE(borrowed, copy.getNativeHandle());
        EXPECT_NE(borrowed->data[0], copy->data[0]);
        EXPECT_EQ(42, copy->data[1]);
    }  // closes its own descriptor only
    EXPECT_EQ(0, fcntl(borrowed->data[0], F_GETFD));
    native_handle_close(borrowed);
    native_handle_delete(borrowed);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
