// A private device tree on this machine, for as long as the object lives.
//
// TempRoot makes a fresh directory (libbase's TemporaryDir, under $TMPDIR or /tmp), points
// FP_UTILS_ROOT at it, and on destruction puts the previous value back and removes the tree.
// Every device path the library touches then lands inside it. The directories the HAL expects
// on a device ("/data/vendor/fingerprint", "/data/vendor/tombstones/fingerprint", "/dev",
// "/sys") are made up front unless a bare root is asked for. Tests, fputil, the benchmarks and
// the fuzz targets all use this one class.
#pragma once

#include <android-base/file.h>

#include <string>

namespace android {
namespace fp_utils {
namespace host {

class TempRoot {
  public:
    enum Layout { kDeviceDirs, kBare };

    explicit TempRoot(Layout layout = kDeviceDirs);
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    // False when no directory could be made (errno tells why); FP_UTILS_ROOT is then left
    // as it was and nothing else of this object may be used.
    bool ok() const { return ok_; }
    // The directory on this machine.
    const std::string& dir() const { return dir_; }
    // Where a device path such as "/data/vendor/fingerprint/AuthStats.x" lives on this machine.
    std::string Path(const std::string& device_path) const;

    // File helpers on device paths, for preparing and checking a tree; parents are made as
    // needed. A failure to make or write ends the process with a message on stderr: nothing
    // that uses a tree can go on without it.
    void WriteFile(const std::string& device_path, const std::string& bytes) const;
    // The file's bytes; empty when it cannot be read.
    std::string ReadFile(const std::string& device_path) const;
    bool Exists(const std::string& device_path) const;
    void MakeDirs(const std::string& device_path) const;
    // Removes a file or a whole directory tree.
    void Remove(const std::string& device_path) const;

  private:
    TemporaryDir tmp_;
    bool ok_ = false;
    std::string dir_;
    std::string previous_root_;
    bool had_previous_root_ = false;
};

// Makes a directory on this machine and its parents (like mkdir -p); false on failure.
bool MakeDirsOnHost(const std::string& host_path, unsigned mode = 0700);
// Removes a file or a directory tree on this machine (like rm -rf).
void RemoveTreeOnHost(const std::string& host_path);

}  // namespace host
}  // namespace fp_utils
}  // namespace android
