// fputil: a developer's tool for the fingerprint HAL's support library. It reads what a device
// recorded (backup files pulled from /data/vendor/fingerprint), and runs pieces of the library
// on the host.
#include <cstdio>
#include <cstring>

#include "tools/fputil/backup_options.h"
#include "tools/fputil/commands.h"

namespace fputil {

static const Command kCommands[] = {
    {"inspect", kInspectUsage,
     "report what backup files hold and what the HAL would load from them", RunInspect},
    {"repair", kRepairUsage, "rewrite a backup file to exactly the records the HAL would load",
     RunRepair},
    {"coverage", kCoverageUsage, "how much of the sensor area a touch covers", RunCoverage},
    {"devinfo", "devinfo [--root DIR]", "hardware configuration items", RunDevinfo},
    {"sim", kSimUsage, "run a simulated HAL session from a scenario", RunSim},
};

int UsageError(const char* command_name, const char* message) {
    if (message != nullptr) fprintf(stderr, "fputil %s: %s\n", command_name, message);
    for (const Command& c : kCommands) {
        if (strcmp(c.name, command_name) == 0) fprintf(stderr, "usage: fputil %s\n", c.usage);
    }
    return kExitUsage;
}

static int Help(FILE* out) {
    fprintf(out, "usage: fputil <command> [options]\n\ncommands:\n");
    for (const Command& c : kCommands) fprintf(out, "  %-10s %s\n", c.name, c.summary);
    fprintf(out, "\nfputil <command> --help shows a command's options.\n");
    return kExitOk;
}

}  // namespace fputil

int main(int argc, char** argv) {
    using namespace fputil;
    if (argc < 2) {
        Help(stderr);
        return kExitUsage;
    }
    if (strcmp(argv[1], "help") == 0 || strcmp(argv[1], "--help") == 0 ||
        strcmp(argv[1], "-h") == 0) {
        return Help(stdout);
    }
    for (const Command& c : kCommands) {
        if (strcmp(c.name, argv[1]) == 0) return c.run(argc - 1, argv + 1);
    }
    fprintf(stderr, "fputil: unknown command '%s'\n", argv[1]);
    Help(stderr);
    return kExitUsage;
}
