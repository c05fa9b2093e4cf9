// A private device tree for one test.
//
// TempRoot makes a fresh directory, points FP_UTILS_ROOT at it for its lifetime (restoring
// the previous value afterwards) and removes it when done. Every device path the library
// touches then lands inside it. The directories the HAL expects to exist on a device
// ("/data/vendor/fingerprint/", "/data/vendor/tombstones/fingerprint/", "/dev", "/sys") are
// made up front unless the test asks for a bare root.
#pragma once

#include <string>

namespace android {
namespace fp_utils {
namespace testing {

class TempRoot {
  public:
    enum Layout { kDeviceDirs, kBare };

    explicit TempRoot(Layout layout = kDeviceDirs);
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    // The directory on this machine.
    const std::string& dir() const { return dir_; }
    // Where a device path such as "/data/vendor/fingerprint/AuthStats.x" lives on this machine.
    std::string Path(const std::string& device_path) const;

    // File helpers on device paths; parents are made as needed.
    void WriteFile(const std::string& device_path, const std::string& bytes) const;
    std::string ReadFile(const std::string& device_path) const;
    bool Exists(const std::string& device_path) const;
    void MakeDirs(const std::string& device_path) const;
    void Remove(const std::string& device_path) const;

  private:
    std::string dir_;
    std::string previous_root_;
    bool had_previous_root_ = false;
};

// Makes a directory and its parents (like mkdir -p); returns false on failure.
bool MakeDirsOnHost(const std::string& host_path, unsigned mode = 0700);
// Removes a tree on this machine (like rm -rf).
void RemoveTreeOnHost(const std::string& host_path);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
