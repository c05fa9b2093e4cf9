// Texts as the HAL formats them: into fixed buffers, and time stamps in local time.
//
// A text longer than its buffer is cut at the buffer's size less one, never grown: dump
// lines, shape texts and record fields use kShortText, backup strings and statistics lines
// kLongText. Callers may rely on the cut; they must not expect a longer text back.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <ctime>
#include <string>

namespace android {
namespace fp_utils {

constexpr size_t kShortText = 128;
constexpr size_t kLongText = 1024;

// printf into a buffer of `size` bytes (at most kLongText): at most size - 1 characters,
// and nothing after a NUL that the arguments produce.
std::string FormatFixed(size_t size, const char* format, ...) __attribute__((format(printf, 2, 3)));
std::string VFormatFixed(size_t size, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

// What FormatLocalTime gives for a time that localtime() cannot convert (its year does not
// fit): as wide as a converted time, so that dump columns stay aligned.
constexpr char kUnconvertibleTime[] = "<time out of range>";

// `t` in the device's time zone as "%Y-%m-%d %H:%M:%S", or kUnconvertibleTime. Any value is
// accepted: a time read from a damaged or hostile file prints as the placeholder. Uses the
// shared result of localtime(), like the rest of the HAL's dump code: not re-entrant.
std::string FormatLocalTime(time_t t);

}  // namespace fp_utils
}  // namespace android
