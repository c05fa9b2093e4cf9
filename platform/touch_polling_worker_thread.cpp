#include "platform/touch_polling_worker_thread.h"

#include <android/log.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "fp_utils/fps_touch_handler.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kTag[] = "FpsTouchHandler";

thread_local bool t_on_worker_thread = false;

}  // namespace

bool TouchPollingWorkerThread::IsCurrentThread() {
    return t_on_worker_thread;
}

TouchPollingWorkerThread::TouchPollingWorkerThread(FpsTouchHandler* handler)
    : Thread(true), handler_(handler) {}

TouchPollingWorkerThread::~TouchPollingWorkerThread() {
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s", "~TouchPollingWorkerThread");
}

bool TouchPollingWorkerThread::Init() {
    if (!CreateCancelPipe()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: failed to create stop pipe", "Init");
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
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: could not create stop pipe: %s",
                            "CreateCancelPipe", strerror(errno));
        return false;
    }
    cancel_read_fd_.reset(fds[0]);
    cancel_write_fd_.reset(fds[1]);
    if (fcntl(cancel_read_fd_.get(), F_SETFL, O_NONBLOCK) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "%s: could not make stop read pipe non-blocking: %s",
                            "CreateCancelPipe", strerror(errno));
        return false;
    }
    if (fcntl(cancel_write_fd_.get(), F_SETFL, O_NONBLOCK) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "%s: could not make stop write pipe non-blocking: %s",
                            "CreateCancelPipe", strerror(errno));
        return false;
    }
    return true;
}

void TouchPollingWorkerThread::WriteCancelEvent() {
    __android_log_print(ANDROID_LOG_INFO, kTag, "%s: write cancel event", "WriteCancelEvent");
    if (cancel_write_fd_.get() < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: invalid fd\n", "WriteCancelEvent");
        return;
    }
    if (write(cancel_write_fd_.get(), "W", 1) != 1) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: failed to write cancel event(errno=%d)\n",
                            "WriteCancelEvent", errno);
    }
}

void TouchPollingWorkerThread::ReadAndClearCancelEvent() {
    if (cancel_read_fd_.get() < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: invalid fd\n", "ReadAndClearCancelEvent");
        return;
    }
    char buf[16];
    while (read(cancel_read_fd_.get(), buf, sizeof(buf)) == static_cast<ssize_t>(sizeof(buf))) {
    }
}

bool TouchPollingWorkerThread::threadLoop() {
    t_on_worker_thread = true;
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s starting", "threadLoop");
    while (handler_->configured_) {
        if (exitPending()) break;
        pollFds();
    }
    __android_log_print(ANDROID_LOG_DEBUG, kTag, "%s exiting", "threadLoop");
    return true;
}

void TouchPollingWorkerThread::pollFds() {
    // The device descriptor is set before this thread is first created and never changes.
    struct pollfd fds[2] = {
        {handler_->fd_, POLLIN, 0},
        {cancel_read_fd_.get(), POLLIN, 0},
    };
    int ret = poll(fds, 2, -1);
    if (ret < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s: poll failed (errno=%d)\n", "pollFds",
                            errno);
        return;
    }
    if (ret == 0) {
        __android_log_print(ANDROID_LOG_INFO, kTag, "%s: timed out", "pollFds");
    }
    if (fds[1].revents & POLLIN) {
        __android_log_print(ANDROID_LOG_INFO, kTag, "%s: received cancel event", "pollFds");
        ReadAndClearCancelEvent();
    } else if (fds[0].revents & POLLIN) {
        handler_->ReadTouchEvent();
    }
}

}  // namespace fp_utils
}  // namespace android
