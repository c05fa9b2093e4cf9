// The false-rejection rate of an authentication history, as its statistics line shows it and
// as the exposure control reads it.
#pragma once

#include "fp_utils/auth_stats.h"

namespace android {
namespace fp_utils {

// Rejected share of the attempts that went to matching, in percent; 0 with none.
inline float FalseRejectionRate(const AuthStats& stats) {
    if (stats.auth_attempts_ == 0) return 0.0f;
    return static_cast<float>(stats.auth_rejects_) / static_cast<float>(stats.auth_attempts_) *
           100.0f;
}

}  // namespace fp_utils
}  // namespace android
