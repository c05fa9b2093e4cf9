// The touch device stand-in itself: the bytes it lays out and the requests it answers.
#include "host/touch_device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using host::RawTouchRecord;

template <typename T>
T At(const std::string& bytes, size_t offset) {
    T v;
    memcpy(&v, bytes.data() + offset, sizeof(v));
    return v;
}

TEST(TouchDeviceEncodingTest, SlotFieldsSitAtTheDriverOffsets) {
    RawTouchRecord r;
    r.timestamp = 0x1122334455667788ull;
    r.coords[0][0] = 0x0102;
    r.coords[4][3] = 0xF0F1;
    r.point_x = -2;
    r.point_y = 3;
    r.orientation = -4096;
    r.touch_id = 0xFFFFFFFF;
    r.touch_state = 7;
    r.touch_value = 0xCAFEBABE;
    r.valid = 0x81;
    for (int i = 0; i < 8; ++i) r.extra[i] = static_cast<uint8_t>(0x30 + i);
    r.flag_a = 0xA1;
    r.flag_b = 0xB2;
    r.padding[4] = 0x99;

    const std::string slot = host::EncodeTouchSlot(r);
    ASSERT_EQ(88u, slot.size());
    EXPECT_EQ(0x1122334455667788ull, At<uint64_t>(slot, 0));
    EXPECT_EQ(0x0102, At<uint16_t>(slot, 8));
    EXPECT_EQ(0xF0F1, At<uint16_t>(slot, 46));
    EXPECT_EQ(-2, At<int32_t>(slot, 48));
    EXPECT_EQ(3, At<int32_t>(slot, 52));
    EXPECT_EQ(-4096, At<int32_t>(slot, 56));
    EXPECT_EQ(0xFFFFFFFFu, At<uint32_t>(slot, 60));
    EXPECT_EQ(7u, At<uint32_t>(slot, 64));
    EXPECT_EQ(0xCAFEBABEu, At<uint32_t>(slot, 68));
    EXPECT_EQ(0x81, static_cast<uint8_t>(slot[72]));
    EXPECT_EQ(0x30, slot[73]);
    EXPECT_EQ(0x37, slot[80]);
    EXPECT_EQ(0xA1, static_cast<uint8_t>(slot[81]));
    EXPECT_EQ(0xB2, static_cast<uint8_t>(slot[82]));
    EXPECT_EQ(0x99, static_cast<uint8_t>(slot[87]));

    const std::string batch = host::EncodeTouchBatch(9, {r, r}, 0xABCD);
    ASSERT_EQ(8u + 2 * 88u, batch.size());
    EXPECT_EQ(9u, At<uint32_t>(batch, 0));
    EXPECT_EQ(0xABCDu, At<uint32_t>(batch, 4));
    EXPECT_EQ(slot, batch.substr(8 + 88));
}

class TouchDeviceTest : public testing::FpUtilsTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(host::CreateTouchDevice());
        host::ClearTouchIoctls();
        fd_ = open(root_.Path("/dev/fth_fd").c_str(), O_RDWR);
        ASSERT_GE(fd_, 0);
    }
    void TearDown() override {
        close(fd_);
        host::RemoveTouchDevice();
        host::ClearTouchIoctlFailures();
    }
    int fd_ = -1;
};

TEST_F(TouchDeviceTest, AnswersDriverRequestsAndRecordsThem) {
    uint8_t area[32];
    for (int i = 0; i < 32; ++i) area[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(0, ioctl(fd_, 115, area));
    EXPECT_EQ(0, ioctl(fd_, 102, nullptr));
    EXPECT_EQ(-1, ioctl(fd_, 115, nullptr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, ioctl(fd_, 104, nullptr));
    EXPECT_EQ(ENOTTY, errno);
    host::FailTouchIoctl(102, EBUSY);
    EXPECT_EQ(-1, ioctl(fd_, 102, nullptr));
    EXPECT_EQ(EBUSY, errno);

    const std::vector<host::TouchIoctl> calls = host::TouchIoctls();
    ASSERT_EQ(5u, calls.size());
    EXPECT_EQ(fd_, calls[0].fd);
    EXPECT_EQ(115u, calls[0].request);
    EXPECT_FALSE(calls[0].null_argument);
    EXPECT_EQ(0, memcmp(area, calls[0].argument.data(), 32));
    EXPECT_TRUE(calls[1].null_argument);
    EXPECT_EQ(0, calls[1].result);
    EXPECT_EQ(-1, calls[4].result);
    EXPECT_EQ(EBUSY, calls[4].error);
}

TEST_F(TouchDeviceTest, OtherDescriptorsReachTheCLibrary) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    ASSERT_EQ(3, write(fds[1], "abc", 3));
    int waiting = 0;
    EXPECT_EQ(0, ioctl(fds[0], FIONREAD, &waiting));
    EXPECT_EQ(3, waiting);
    // A FIFO that is not a touch device is just a FIFO.
    ASSERT_EQ(0, mkfifo(root_.Path("/dev/other").c_str(), 0600));
    int other = open(root_.Path("/dev/other").c_str(), O_RDWR);
    EXPECT_EQ(0, ioctl(other, FIONREAD, &waiting));
    EXPECT_EQ(0, waiting);
    EXPECT_TRUE(host::TouchIoctls().empty());
    close(other);
    close(fds[0]);
    close(fds[1]);
}

TEST_F(TouchDeviceTest, EachBatchWaitsForThePreviousToBeRead) {
    const std::string first = host::EncodeTouchBatch(1, {RawTouchRecord()});
    const std::string second = host::EncodeTouchBatch(2, {RawTouchRecord(), RawTouchRecord()});
    ASSERT_TRUE(host::WriteTouchBatch(first));
    EXPECT_FALSE(host::WriteTouchBatch(second, std::chrono::milliseconds(0)));
    std::string buf(host::kTouchMaxBatchSize, '\0');
    ASSERT_EQ(static_cast<ssize_t>(first.size()), read(fd_, buf.data(), buf.size()));
    EXPECT_TRUE(host::WaitTouchBatchRead(std::chrono::milliseconds(0)));
    ASSERT_TRUE(host::WriteTouchBatch(second, std::chrono::milliseconds(0)));
    EXPECT_EQ(static_cast<ssize_t>(second.size()), read(fd_, buf.data(), buf.size()));

    EXPECT_FALSE(host::WriteTouchBatch(std::string(host::kTouchMaxBatchSize + 1, '\0')));
    EXPECT_FALSE(host::WriteTouchBatch(first, std::chrono::seconds(1), "/dev/none"));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
