#include "host/support/temp_root.h"

#include <ftw.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace android {
namespace fp_utils {
namespace host {
namespace {

[[noreturn]] void Fail(const char* what, const std::string& path) {
    fprintf(stderr, "TempRoot: cannot %s %s: %s\n", what, path.c_str(), strerror(errno));
    abort();
}

bool IsDirectory(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

bool MakeDirsOnHost(const std::string& host_path, unsigned mode) {
    for (size_t end = host_path.find('/', 1);; end = host_path.find('/', end + 1)) {
        std::string dir = host_path.substr(0, end);
        if (!dir.empty() && mkdir(dir.c_str(), mode) != 0 && errno != EEXIST) return false;
        if (end == std::string::npos) return true;
    }
}

void RemoveTreeOnHost(const std::string& host_path) {
    nftw(
        host_path.c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }, 16,
        FTW_DEPTH | FTW_PHYS);
}

TempRoot::TempRoot(Layout layout) {
    if (!IsDirectory(tmp_.path)) {
        tmp_.DoNotRemove();  // nothing was made; the template is no directory of ours
        return;
    }
    ok_ = true;
    dir_ = tmp_.path;
    if (const char* previous = getenv("FP_UTILS_ROOT")) {
        had_previous_root_ = true;
        previous_root_ = previous;
    }
    setenv("FP_UTILS_ROOT", dir_.c_str(), 1);
    if (layout == kBare) return;
    for (const char* dir :
         {"/data/vendor/fingerprint", "/data/vendor/tombstones/fingerprint", "/dev", "/sys"}) {
        MakeDirs(dir);
    }
}

TempRoot::~TempRoot() {
    if (!ok_) return;
    if (had_previous_root_) {
        setenv("FP_UTILS_ROOT", previous_root_.c_str(), 1);
    } else {
        unsetenv("FP_UTILS_ROOT");
    }
    // TemporaryDir removes the tree.
}

std::string TempRoot::Path(const std::string& device_path) const {
    return dir_ + device_path;
}

void TempRoot::WriteFile(const std::string& device_path, const std::string& bytes) const {
    std::string path = Path(device_path);
    if (!MakeDirsOnHost(path.substr(0, path.rfind('/')))) Fail("make the parents of", path);
    if (!android::base::WriteStringToFile(bytes, path, /*follow_symlinks=*/true))
        Fail("write", path);
}

std::string TempRoot::ReadFile(const std::string& device_path) const {
    std::string bytes;
    if (!android::base::ReadFileToString(Path(device_path), &bytes, /*follow_symlinks=*/true))
        bytes.clear();
    return bytes;
}

bool TempRoot::Exists(const std::string& device_path) const {
    struct stat st;
    return lstat(Path(device_path).c_str(), &st) == 0;
}

void TempRoot::MakeDirs(const std::string& device_path) const {
    if (!MakeDirsOnHost(Path(device_path))) Fail("make", Path(device_path));
}

void TempRoot::Remove(const std::string& device_path) const {
    RemoveTreeOnHost(Path(device_path));
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android
