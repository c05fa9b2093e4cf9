// The usual base of a library test: a private root and a log capture per case. The root and
// the capture are the host-side support's (host/support/); tests name them testing::TempRoot
// and testing::LogCapture.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <iostream>

#include "host/support/log_capture.h"
#include "host/support/temp_root.h"
#include "tests/support/properties.h"

namespace android {
namespace fp_utils {
namespace testing {

using host::LogCapture;
using host::LogLine;
using host::MakeDirsOnHost;
using host::RemoveTreeOnHost;
using host::TempRoot;

class FpUtilsTest : public ::testing::Test {
  protected:
    FpUtilsTest() {
        // Without its own root a case would reach the process root of another case.
        if (!root_.ok()) ADD_FAILURE() << "cannot make a private device root";
    }

    TempRoot root_;
    LogCapture log_;
};

// Ends the child of a death test: its failed checks go to stderr, where the parent shows them,
// and the exit status is 1 when there were any.
[[noreturn]] inline void ExitWithChildResult() {
    const auto& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) std::cerr << result.GetTestPartResult(i);
    _exit(result.Failed() ? 1 : 0);
}

// Runs `body` in a child process (a death test's, which starts from this point of the case);
// the child's failed checks fail the case.
inline void InChild(const std::function<void()>& body) {
    EXPECT_EXIT(
        {
            body();
            ExitWithChildResult();
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
