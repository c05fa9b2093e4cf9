// Feeds arbitrary command lines to fputil's option parsing: the input is split at NUL bytes
// into arguments for the backup commands' options, and its first argument is also read as a
// coverage shape and as a scan-point setting.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tools/fputil/backup_options.h"
#include "tools/fputil/commands.h"
#include "tools/fputil/coverage_args.h"

// The option parsing reports bad arguments through the command table of fputil's main, which
// this target does not link; here a usage error only gives its exit status.
int fputil::UsageError(const char*, const char*) {
    return kExitUsage;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace fputil;
    android::fp_utils::fuzz::Root();  // a private tree, and a quiet log
    static FILE* const quiet = freopen("/dev/null", "w", stdout);  // --help prints
    (void)quiet;
    std::vector<std::string> words(1, "inspect");
    words.emplace_back();
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\0') {
            words.emplace_back();
        } else {
            words.back() += static_cast<char>(data[i]);
        }
    }
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);

    for (const char* command : {"inspect", "repair"}) {
        BackupArgs args;
        if (ParseBackupCommand(command, static_cast<int>(words.size()), argv.data(), &args) ==
            kGoOn) {
            for (const std::string& file : args.files) ResolveUnderRoot(args.root, file);
        }
    }
    ShapeArg shape{};
    std::string error;
    if (ParseShape("--sensor", words[1], {ShapeArg::kCircle, ShapeArg::kEllipse, ShapeArg::kRect},
                   &shape, &error)) {
        shape.shape().Print();
    }
    SetScanProperty(words[1], &error);
    return 0;
}
