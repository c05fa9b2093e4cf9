// Feeds arbitrary command lines to fputil's option parsing: the input is split at NUL bytes
// into arguments for the backup commands' options, and its first argument is also read as a
// coverage shape and as a scan-point setting.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tools/fputil/backup_options.h"
#include "tools/fputil/coverage_args.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace fputil;
    android::fp_utils::fuzz::Root();  // a private tree, and a quiet log
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

    for (bool inspect_options : {true, false}) {
        BackupArgs args;
        std::string problem;
        if (ParseBackupArgs(static_cast<int>(words.size()), argv.data(), inspect_options, &args,
                            &problem)) {
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
