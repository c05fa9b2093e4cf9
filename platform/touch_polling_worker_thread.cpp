#include "platform/touch_polling_worker_thread.h"

#include <android/log.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "fp_utils/fps_touch_handler.h"

#define LOG_TAG "FpsTouchHandler"
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, LOG_TAG, __VA_ARGS__)
#define LOGI(...) __android_log_print(ANDROID_LOG_INFO, LOG_TAG, __VA_ARGS__)
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, __VA_ARGS__)

namespace android {
namespace fp_utils {
namespace {

thread_local bool t_on_worker_thread = false;

}  // namespace

bool TouchPollingWorkerThread::IsCurrentThread() {
    return t_on_worker_thread;
}

TouchPollingWorkerThread::TouchPollingWorkerThread(FpsTouchHandler* handler)
    : Thread(true), handler_(handler) {}

TouchPollingWorkerThread::~TouchPollingWorkerThread() {
    LOGD("%s", "~TouchPollingWorkerThread");
    if (cancel_read_fd_ >= 0) close(cancel_read_fd_);
    if (cancel_write_fd_ >= 0) close(cancel_write_fd_);
}

bool TouchPollingWorkerThread::Init() {
    if (!CreateCancelPipe()) {
        LOGE("%s: failed to create stop pipe", "Init");
        return false;
    }
    return true;
}

bool TouchPollingWorkerThread::Start() {
    if (!isRunning()) {
        run("TouchPollingWorkerThread", PRIORITY_DEFAULT, 0);
    }
    return true;
}

bool TouchPollingWorkerThread::Stop() {
    if (isRunning()) {
        requestExit();
        WriteCancelEvent();
        requestExitAndWait();
    }
    return true;
}

bool TouchPollingWorkerThread::CreateCancelPipe() {
    int fds[2];
    if (pipe(fds) != 0) {
        LOGE("%s: could not create stop pipe: %s", "CreateCancelPipe", strerror(errno));
        return false;
    }
    cancel_read_fd_ = fds[0];
    cancel_write_fd_ = fds[1];
    if (fcntl(cancel_read_fd_, F_SETFL, O_NONBLOCK) != 0) {
        LOGE("%s: could not make stop read pipe non-blocking: %s", "CreateCancelPipe",
             strerror(errno));
        return false;
    }
    if (fcntl(cancel_write_fd_, F_SETFL, O_NONBLOCK) != 0) {
        LOGE("%s: could not make stop write pipe non-blocking: %s", "CreateCancelPipe",
             strerror(errno));
        return false;
    }
    return true;
}

void TouchPollingWorkerThread::WriteCancelEvent() {
    LOGI("%s: write cancel event", "WriteCancelEvent");
    if (cancel_write_fd_ < 0) {
        LOGE("%s: invalid fd\n", "WriteCancelEvent");
        return;
    }
    if (write(cancel_write_fd_, "W", 1) != 1) {
        LOGE("%s: failed to write cancel event(errno=%d)\n", "WriteCancelEvent", errno);
    }
}

void TouchPollingWorkerThread::ReadAndClearCancelEvent() {
    if (cancel_read_fd_ < 0) {
        LOGE("%s: invalid fd\n", "ReadAndClearCancelEvent");
        return;
    }
    char buf[16];
    while (read(cancel_read_fd_, buf, sizeof(buf)) == static_cast<ssize_t>(sizeof(buf))) {
    }
}

bool TouchPollingWorkerThread::threadLoop() {
    t_on_worker_thread = true;
    LOGD("%s starting", "threadLoop");
    while (handler_->configured_) {
        if (exitPending()) break;
        pollFds();
    }
    LOGD("%s exiting", "threadLoop");
    return true;
}

void TouchPollingWorkerThread::pollFds() {
    // The device descriptor is set before this thread is first created and never changes.
    struct pollfd fds[2] = {
        {handler_->fd_, POLLIN, 0},
        {cancel_read_fd_, POLLIN, 0},
    };
    int ret = poll(fds, 2, -1);
    if (ret < 0) {
        LOGE("%s: poll failed (errno=%d)\n", "pollFds", errno);
        return;
    }
    if (ret == 0) {
        LOGI("%s: timed out", "pollFds");
    }
    if (fds[1].revents & POLLIN) {
        LOGI("%s: received cancel event", "pollFds");
        ReadAndClearCancelEvent();
    } else if (fds[0].revents & POLLIN) {
        handler_->ReadTouchEvent();
    }
}

}  // namespace fp_utils
}  // namespace android
