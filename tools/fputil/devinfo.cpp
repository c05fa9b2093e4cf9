// fputil devinfo: the hardware configuration items of a device tree, as the library reads
// them. With --root DIR the tree is the one pulled from a device into DIR (DIR/sys/firmware/
// devicetree/...); without it, the tree of this machine (or of FP_UTILS_ROOT when set).
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "fp_utils/dev_cdt_info.h"
#include "root_mapping/device_path.h"
#include "tools/fputil/commands.h"

namespace fputil {
namespace {

constexpr char kItemDir[] = "/sys/firmware/devicetree/base/chosen/plat";

// The library turns an unreadable item into 0; the table says which zeros are not real.
bool ItemReadable(const char* item) {
    std::string path = android::fp_utils::DevicePath(std::string(kItemDir) + "/" + item);
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), R_OK) == 0;
}

}  // namespace

int RunDevinfo(int argc, char** argv) {
    const char* root = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
            printf("usage: fputil devinfo [--root DIR]\n");
            return kExitOk;
        } else if (strcmp(argv[i], "--root") == 0) {
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                return UsageError("devinfo", "--root needs a directory");
            }
            root = argv[++i];
        } else {
            std::string message = std::string("unknown argument '") + argv[i] + "'";
            return UsageError("devinfo", message.c_str());
        }
    }
    if (root != nullptr) {
        struct stat st;
        if (stat(root, &st) != 0 || !S_ISDIR(st.st_mode)) {
            std::string message = std::string("no directory '") + root + "'";
            return UsageError("devinfo", message.c_str());
        }
        // Before the library reads anything: every device path now lands under DIR.
        setenv("FP_UTILS_ROOT", root, 1);
    }

    const android::fp_utils::DevCdtInfo& info = android::fp_utils::DevCdtInfo::GetInstance();
    struct Row {
        const char* item;
        uint32_t value;
    };
    const Row rows[] = {
        {"platform", info.GetPlatform()}, {"product", info.GetProduct()},
        {"stage", info.GetStage()},       {"major", info.GetMajor()},
        {"minor", info.GetMinor()},       {"variant", info.GetVariant()},
    };

    printf("device tree: %s\n", android::fp_utils::DevicePath(kItemDir).c_str());
    printf("%-9s %-10s %10s\n", "item", "value", "decimal");
    int unreadable = 0;
    for (const Row& row : rows) {
        bool readable = ItemReadable(row.item);
        if (!readable) ++unreadable;
        printf("%-9s 0x%08x %10u%s\n", row.item, row.value, row.value,
               readable ? "" : "  (unreadable)");
    }
    if (unreadable > 0) {
        fprintf(stderr, "fputil devinfo: %d of 6 items unreadable (shown as 0)\n", unreadable);
        return kExitFinding;
    }
    return kExitOk;
}

}  // namespace fputil
