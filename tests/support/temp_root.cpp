#include "tests/support/temp_root.h"

#include <fcntl.h>
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace android {
namespace fp_utils {
namespace testing {

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
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/fp_utils_root.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp failed: " << strerror(errno);
        abort();
    }
    dir_ = pattern;
    if (const char* prev = getenv("FP_UTILS_ROOT")) {
        had_previous_root_ = true;
        previous_root_ = prev;
    }
    setenv("FP_UTILS_ROOT", dir_.c_str(), 1);
    if (layout == kBare) return;
    for (const char* dir :
         {"/data/vendor/fingerprint", "/data/vendor/tombstones/fingerprint", "/dev", "/sys"}) {
        MakeDirs(dir);
    }
}

TempRoot::~TempRoot() {
    if (had_previous_root_) {
        setenv("FP_UTILS_ROOT", previous_root_.c_str(), 1);
    } else {
        unsetenv("FP_UTILS_ROOT");
    }
    RemoveTreeOnHost(dir_);
}

std::string TempRoot::Path(const std::string& device_path) const {
    return dir_ + device_path;
}

void TempRoot::WriteFile(const std::string& device_path, const std::string& bytes) const {
    std::string path = Path(device_path);
    MakeDirsOnHost(path.substr(0, path.rfind('/')));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    ASSERT_TRUE(out.good()) << "cannot write " << path;
}

std::string TempRoot::ReadFile(const std::string& device_path) const {
    std::ifstream in(Path(device_path), std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool TempRoot::Exists(const std::string& device_path) const {
    struct stat st;
    return lstat(Path(device_path).c_str(), &st) == 0;
}

void TempRoot::MakeDirs(const std::string& device_path) const {
    ASSERT_TRUE(MakeDirsOnHost(Path(device_path))) << "cannot make " << Path(device_path);
}

void TempRoot::Remove(const std::string& device_path) const {
    RemoveTreeOnHost(Path(device_path));
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
