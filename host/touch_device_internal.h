// Link between the touch device's control functions and the ioctl interposer.
#pragma once

namespace android {
namespace fp_utils {
namespace host {
namespace internal {

// Answers `request` when `fd` is open on a touch device: stores the result of the call in
// `result` (errno set as a driver would) and returns true. False for any other descriptor.
bool AnswerTouchIoctl(int fd, unsigned long request, void* argument, int* result);

}  // namespace internal
}  // namespace host
}  // namespace fp_utils
}  // namespace android
