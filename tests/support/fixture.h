// The usual base of a library test: a private root and a log capture per case.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"
#include "tests/support/properties.h"
#include "tests/support/temp_root.h"

namespace android {
namespace fp_utils {
namespace testing {

class FpUtilsTest : public ::testing::Test {
  protected:
    TempRoot root_;
    LogCapture log_;
};

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
