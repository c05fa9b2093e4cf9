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
    std::string partial;
    std::stringstream ss(host_path);
    std::string part;
    if (!host_path.empty() && host_path[0] == '/') partial = "/";
    while (std::getline(ss, part, '/')) {
        if (part.empty()) continue;
        partial += part;
        if (mkdir(partial.c_str(), mode) != 0 && errno != EEXIST) return false;
        partial += "/";
    }
    return true;
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
    const char* prev = getenv("FP_UTILS_ROOT");
    if (prev != nullptr) {
        had_previous_root_ = true;
        previous_root_ = prev;
    }
    setenv("FP_UTILS_ROOT", dir_.c_str(), 1);
    if (layout == kDeviceDirs) {
        MakeDirs("/data/vendor/fingerprint");
        MakeDirs("/data/vendor/tombstones/fingerprint");
        MakeDirs("/dev");
        MakeDirs("/sys");
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
