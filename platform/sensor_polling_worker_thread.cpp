#include "platform/sensor_polling_worker_thread.h"

#include <android/looper.h>
#include <utils/Looper.h>

#include "fp_utils/sensor_listener.h"

namespace android {
namespace fp_utils {
namespace {

// Set on the worker's own thread, so that Stop knows when it is called from a callback.
thread_local const SensorPollingWorkerThread* t_current_worker = nullptr;

}  // namespace

SensorPollingWorkerThread::SensorPollingWorkerThread(SensorListener* listener)
    : Thread(true), listener_(listener) {}

bool SensorPollingWorkerThread::Start() {
    // A worker that a callback stopped may still be ending: let it end, then run anew.
    if (isRunning() && exitPending() && t_current_worker != this) join();
    if (!isRunning()) {
        run("SensorPollingWorkerThread", PRIORITY_DEFAULT, 0);
    }
    return true;
}

bool SensorPollingWorkerThread::Stop() {
    if (isRunning()) {
        requestExit();
        ALooper_wake(listener_->looper_);
        if (t_current_worker != this) requestExitAndWait();
    }
    return true;
}

status_t SensorPollingWorkerThread::readyToRun() {
    t_current_worker = this;
    // The looper is set before the first start and never changes while the thread runs.
    Looper::setForThread(reinterpret_cast<Looper*>(listener_->looper_));
    return OK;
}

bool SensorPollingWorkerThread::threadLoop() {
    while (!exitPending()) {
        listener_->PollSensorEvent();
    }
    return true;
}

}  // namespace fp_utils
}  // namespace android
