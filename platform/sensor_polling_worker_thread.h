// The worker thread of SensorListener.
//
// Each run makes the listener's looper (the one its event queue signals) the looper of the new
// thread, then polls for events until asked to exit. Stop asks it to exit, wakes the looper so
// that the wait returns ALOOPER_POLL_WAKE, and waits for the thread to end; called by the
// worker itself (a callback that stops sampling), it only asks, and the thread ends once the
// callback returns.
#pragma once

#include <utils/Thread.h>

namespace android {
namespace fp_utils {

class SensorListener;

class SensorPollingWorkerThread : public Thread {
  public:
    explicit SensorPollingWorkerThread(SensorListener* listener);

    // Runs the thread unless it runs already (one still ending is waited for). Always true.
    bool Start();
    // Asks the running thread to exit, wakes it and waits for it. Always true.
    bool Stop();

  private:
    status_t readyToRun() override;
    bool threadLoop() override;

    SensorListener* listener_;
};

}  // namespace fp_utils
}  // namespace android
