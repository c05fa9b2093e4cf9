// include/fp_utils/ holds the public headers: what a HAL may use of libfp_utils.so. They use
// only the standard library, libbase and libutils headers and each other, never the
// library's internal folders. This one says what libfp_utils.so exports.
//
// The library is compiled with hidden visibility: only what is marked FP_UTILS_EXPORT (the
// public classes and functions of these headers) is visible to the HAL that links it.
// Everything else is internal and may change without notice.
#pragma once

#define FP_UTILS_EXPORT __attribute__((visibility("default")))
