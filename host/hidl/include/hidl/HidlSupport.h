// Host stand-in of libhidlbase's data types: hidl_string, hidl_vec, hidl_array, hidl_handle,
// and interfacesEqual.
//
// They behave like the device types for everything a HIDL client or service does with them;
// on this host they hold their data in standard containers.
#pragma once

// <stdint.h> before the platform's StrongPointer.h, which uses uintptr_t without including it.
#include <cutils/native_handle.h>
#include <stdint.h>
#include <utils/StrongPointer.h>

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {
struct IBase;
}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace hardware {

class hidl_string {
  public:
    hidl_string() = default;
    hidl_string(const char* s) : s_(s == nullptr ? "" : s) {}  // NOLINT: implicit as on a device
    hidl_string(const char* s, size_t length) : s_(s, length) {}
    hidl_string(const std::string& s) : s_(s) {}  // NOLINT

    const char* c_str() const { return s_.c_str(); }
    size_t size() const { return s_.size(); }
    bool empty() const { return s_.empty(); }
    operator std::string() const { return s_; }  // NOLINT

    friend bool operator==(const hidl_string& a, const hidl_string& b) { return a.s_ == b.s_; }
    friend bool operator!=(const hidl_string& a, const hidl_string& b) { return a.s_ != b.s_; }
    friend bool operator<(const hidl_string& a, const hidl_string& b) { return a.s_ < b.s_; }

  private:
    std::string s_;
};

inline std::ostream& operator<<(std::ostream& os, const hidl_string& s) {
    return os << s.c_str();
}

template <typename T>
class hidl_vec {
  public:
    using value_type = T;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    hidl_vec() = default;
    explicit hidl_vec(size_t size) : v_(size) {}
    hidl_vec(std::initializer_list<T> list) : v_(list) {}
    hidl_vec(const std::vector<T>& v) : v_(v) {}        // NOLINT: implicit as on a device
    hidl_vec(std::vector<T>&& v) : v_(std::move(v)) {}  // NOLINT
    template <typename It>
    hidl_vec(It begin, It end) : v_(begin, end) {}

    size_t size() const { return v_.size(); }
    void resize(size_t size) { v_.resize(size); }
    T* data() { return v_.data(); }
    const T* data() const { return v_.data(); }
    T& operator[](size_t i) { return v_[i]; }
    const T& operator[](size_t i) const { return v_[i]; }
    iterator begin() { return v_.begin(); }
    iterator end() { return v_.end(); }
    const_iterator begin() const { return v_.begin(); }
    const_iterator end() const { return v_.end(); }
    operator std::vector<T>() const { return v_; }  // NOLINT

    friend bool operator==(const hidl_vec& a, const hidl_vec& b) { return a.v_ == b.v_; }
    friend bool operator!=(const hidl_vec& a, const hidl_vec& b) { return a.v_ != b.v_; }

  private:
    std::vector<T> v_;
};

// A fixed-size array field of a HIDL struct.
template <typename T, size_t N>
class hidl_array {
  public:
    hidl_array() = default;
    // Copies N elements from `source`.
    explicit hidl_array(const T* source) {
        for (size_t i = 0; i < N; ++i) a_[i] = source[i];
    }

    static constexpr size_t size() { return N; }
    T* data() { return a_; }
    const T* data() const { return a_; }
    T& operator[](size_t i) { return a_[i]; }
    const T& operator[](size_t i) const { return a_[i]; }

    friend bool operator==(const hidl_array& a, const hidl_array& b) {
        for (size_t i = 0; i < N; ++i) {
            if (!(a.a_[i] == b.a_[i])) return false;
        }
        return true;
    }
    friend bool operator!=(const hidl_array& a, const hidl_array& b) { return !(a == b); }

  private:
    T a_[N] = {};
};

// A native handle (file descriptors and integers) passed to a HIDL call. A handle made from a
// pointer borrows it; a copy clones it (duplicating the descriptors) and owns the clone.
class hidl_handle {
  public:
    hidl_handle() = default;
    hidl_handle(const native_handle_t* handle) : handle_(handle) {}  // NOLINT
    hidl_handle(const hidl_handle& other) { *this = other; }
    hidl_handle(hidl_handle&& other) noexcept { *this = std::move(other); }
    hidl_handle& operator=(const hidl_handle& other);
    hidl_handle& operator=(hidl_handle&& other) noexcept;
    ~hidl_handle() { reset(); }

    // Holds `handle`; closes and deletes it at the end when `should_own`.
    void setTo(native_handle_t* handle, bool should_own = false);
    const native_handle_t* getNativeHandle() const { return handle_; }
    operator const native_handle_t*() const { return handle_; }  // NOLINT
    const native_handle_t* operator->() const { return handle_; }

  private:
    void reset();

    const native_handle_t* handle_ = nullptr;
    bool owns_ = false;
};

// Whether two interface references reach the same object (both null counts as equal).
bool interfacesEqual(const sp<::android::hidl::base::V1_0::IBase>& left,
                     const sp<::android::hidl::base::V1_0::IBase>& right);

}  // namespace hardware
}  // namespace android
