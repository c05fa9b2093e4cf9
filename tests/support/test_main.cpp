// Entry point of every test executable.
//
// Before any test runs, FP_UTILS_ROOT is pointed at a fresh directory of this process, so a
// test that forgets its own TempRoot still never reaches the machine's /data, /dev or /sys,
// and the time zone is UTC, so record times print the same on every machine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "host/support/temp_root.h"

int main(int argc, char** argv) {
    // A death test's child runs inside its parent's root (inherited through the environment).
    // Looked for before InitGoogleTest, which takes the gtest flags out of argv.
    bool death_test_child = false;
    for (int i = 1; i < argc; ++i) {
        if (strstr(argv[i], "internal_run_death_test") != nullptr) death_test_child = true;
    }
    ::testing::InitGoogleTest(&argc, argv);
    // Record times print in local time; tests read them in UTC.
    setenv("TZ", "UTC", 1);
    tzset();
    // Death tests re-run this binary; "threadsafe" keeps them correct next to worker threads.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::unique_ptr<android::fp_utils::host::TempRoot> process_root;
    if (!death_test_child) {
        process_root = std::make_unique<android::fp_utils::host::TempRoot>();
        if (!process_root->ok()) {
            perror("cannot make the process's device root");
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
