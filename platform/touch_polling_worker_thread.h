// The worker thread of FpsTouchHandler.
//
// It blocks in poll on the touch device and on the read end of its own cancel pipe. A byte on
// the pipe wakes it so that Stop can end it; when both are readable the cancel wins and the
// device is read in a later round. Every readable round of the device becomes one
// FpsTouchHandler::ReadTouchEvent.
#pragma once

#include <android-base/unique_fd.h>
#include <utils/Thread.h>

namespace android {
namespace fp_utils {

class FpsTouchHandler;

class TouchPollingWorkerThread : public Thread {
  public:
    explicit TouchPollingWorkerThread(FpsTouchHandler* handler);
    // Closes the cancel pipe.
    ~TouchPollingWorkerThread() override;

    // Makes the cancel pipe; false (logged) when it cannot be made.
    bool Init();
    // Runs the thread unless it runs already. Always true.
    bool Start();
    // Asks the running thread to exit, wakes it and waits for it. Always true.
    bool Stop();

    bool CreateCancelPipe();
    void WriteCancelEvent();
    void ReadAndClearCancelEvent();

    // Whether the calling thread is a touch polling worker.
    static bool IsCurrentThread();

    int cancel_read_fd() const { return cancel_read_fd_.get(); }
    int cancel_write_fd() const { return cancel_write_fd_.get(); }

  private:
    bool threadLoop() override;
    void pollFds();

    FpsTouchHandler* handler_;
    android::base::unique_fd cancel_read_fd_;
    android::base::unique_fd cancel_write_fd_;
};

}  // namespace fp_utils
}  // namespace android
