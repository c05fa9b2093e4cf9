// Pieces of the records' dump lines that more than one record class writes.
#pragma once

#include <cstdint>
#include <string>

namespace android {
namespace fp_utils {

// A record's dump line: `local_time`, one blank, then `format` with its arguments, cut at the
// 128-byte buffer dump lines are formatted in (at most 127 characters).
std::string FormatDebugLine(const std::string& local_time, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// ", stitch_img_num_:a_b_c_d_e, stitch_img_area_:a_b_c_d_e" for the five stitched images of a
// G7 record, as its dump line ends.
std::string StitchFiguresText(const int32_t (&num)[5], const int32_t (&area)[5]);

}  // namespace fp_utils
}  // namespace android
