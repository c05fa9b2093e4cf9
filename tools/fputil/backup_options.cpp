#include "tools/fputil/backup_options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/fputil/commands.h"

namespace fputil {

const char kInspectUsage[] =
    "inspect [--root DIR] [--json] [--kind KIND] [--class CLASS] [--limit N] [FILE...]";
const char kRepairUsage[] = "repair [--kind KIND] [--class CLASS] [--limit N] FILE";
const char kBackupOptionsHelp[] =
    "  --root DIR     a device tree pulled from a device; without FILE, every backup file\n"
    "                 under DIR/data/vendor/fingerprint\n"
    "  --json         one JSON object per file, in a list\n"
    "  --kind KIND    auth, enroll or fingers, when the file name does not tell\n"
    "                 (AuthStats.<name>, EnrollEventContainer, FingerSizes.<name>)\n"
    "  --class CLASS  record class of an authentication history: G7 or base\n"
    "                 (default: decided from the records)\n"
    "  --limit N      most records the HAL's container keeps (default: no limit)\n";

int ParseBackupCommand(const char* command, int argc, char** argv, BackupArgs* args) {
    const bool inspect = strcmp(command, "inspect") == 0;
    std::string problem;
    if (!ParseBackupArgs(argc, argv, inspect, args, &problem)) {
        return UsageError(command, problem.c_str());
    }
    if (args->help) {
        printf("usage: fputil %s\n%s", inspect ? kInspectUsage : kRepairUsage, kBackupOptionsHelp);
        return kExitOk;
    }
    return kGoOn;
}

bool ParseBackupArgs(int argc, char** argv, bool inspect_options, BackupArgs* args,
                     std::string* problem) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* option) -> const char* {
            if (i + 1 >= argc) {
                *problem = std::string(option) + " needs a value";
                return nullptr;
            }
            return argv[++i];
        };
        if (arg == "--help" || arg == "-h") {
            args->help = true;
        } else if (arg == "--json" && inspect_options) {
            args->json = true;
        } else if (arg == "--root" && inspect_options) {
            const char* v = value("--root");
            if (v == nullptr) return false;
            args->root = v;
            while (args->root.size() > 1 && args->root.back() == '/') args->root.pop_back();
        } else if (arg == "--kind") {
            const char* v = value("--kind");
            if (v == nullptr) return false;
            std::string kind = v;
            if (kind == "auth") {
                args->options.kind = &android::fp_utils::kAuthStatsBackupKind;
            } else if (kind == "enroll") {
                args->options.kind = &android::fp_utils::kEnrollEventsBackupKind;
            } else if (kind == "fingers") {
                args->options.kind = &android::fp_utils::kFingerSizesBackupKind;
            } else {
                *problem = "unknown kind '" + kind + "' (auth, enroll or fingers)";
                return false;
            }
        } else if (arg == "--class") {
            const char* v = value("--class");
            if (v == nullptr) return false;
            std::string cls = v;
            if (cls != "G7" && cls != "base") {
                *problem = "unknown class '" + cls + "' (G7 or base)";
                return false;
            }
            args->options.history.auth_class = cls;
        } else if (arg == "--limit") {
            const char* v = value("--limit");
            if (v == nullptr) return false;
            char* end = nullptr;
            errno = 0;
            unsigned long long n = strtoull(v, &end, 0);
            if (errno != 0 || end == v || *end != '\0' || n == 0 || n > 0xFFFFFFFFull ||
                v[0] == '-') {
                *problem = std::string("--limit takes a whole number from 1 to 4294967295, not '") +
                           v + "'";
                return false;
            }
            args->options.history.limit = static_cast<uint32_t>(n);
        } else if (arg.size() > 1 && arg[0] == '-') {
            *problem = "unknown option '" + arg + "'";
            return false;
        } else {
            args->files.push_back(arg);
        }
    }
    return true;
}

std::string ResolveUnderRoot(const std::string& root, const std::string& file) {
    if (!file.empty() && file[0] == '/') return root + file;
    if (file.find('/') == std::string::npos) return root + "/data/vendor/fingerprint/" + file;
    return file;
}

}  // namespace fputil
