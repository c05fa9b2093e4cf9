// What a class's Dump(fd) writes, as a string: for tests and for fputil's reports.
#pragma once

#include <functional>
#include <string>

namespace android {
namespace fp_utils {
namespace host {

// Runs `dump` on the descriptor of a fresh temporary file and returns what it wrote; empty
// when no temporary file can be made.
std::string CaptureDump(const std::function<void(int fd)>& dump);

}  // namespace host
}  // namespace fp_utils
}  // namespace android
