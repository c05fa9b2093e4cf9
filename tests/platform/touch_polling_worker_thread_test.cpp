#include "platform/touch_polling_worker_thread.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "fp_utils/fps_touch_handler.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpsTouchHandler";

bool IsOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1 || errno != EBADF;
}

class TouchPollingWorkerThreadTest : public testing::FpUtilsTest {
  protected:
    FpsTouchHandler handler_;
};

TEST_F(TouchPollingWorkerThreadTest, CancelPipeIsNonBlockingAndDrainedCompletely) {
    sp<TouchPollingWorkerThread> thread = new TouchPollingWorkerThread(&handler_);
    ASSERT_TRUE(thread->Init());
    const int read_fd = thread->cancel_read_fd();
    const int write_fd = thread->cancel_write_fd();
    ASSERT_GE(read_fd, 0);
    ASSERT_GE(write_fd, 0);
    EXPECT_TRUE(fcntl(read_fd, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(write_fd, F_GETFL) & O_NONBLOCK);

    thread->WriteCancelEvent();
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_INFO, kTag, "WriteCancelEvent: write cancel event"));
    char byte = 0;
    ASSERT_EQ(1, read(read_fd, &byte, 1));
    EXPECT_EQ('W', byte);

    // More than one 16-byte round, and a round of exactly 16.
    for (int i = 0; i < 32 + 7; ++i) thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();
    EXPECT_EQ(-1, read(read_fd, &byte, 1));
    EXPECT_EQ(EAGAIN, errno);
    for (int i = 0; i < 16; ++i) thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();
    EXPECT_EQ(-1, read(read_fd, &byte, 1));

    thread.clear();
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_DEBUG, kTag, "~TouchPollingWorkerThread"));
    EXPECT_FALSE(IsOpen(read_fd));
    EXPECT_FALSE(IsOpen(write_fd));
}

TEST_F(TouchPollingWorkerThreadTest, WithoutPipeTheCancelCallsOnlyLog) {
    sp<TouchPollingWorkerThread> thread = new TouchPollingWorkerThread(&handler_);
    thread->WriteCancelEvent();
    thread->ReadAndClearCancelEvent();
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "WriteCancelEvent: invalid fd\n"));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "ReadAndClearCancelEvent: invalid fd\n"));
    // Stop of a thread that never ran is a no-op.
    EXPECT_TRUE(thread->Stop());
    EXPECT_EQ(1u, log_.Count(kTag, "write cancel event"));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
