// System property helpers for tests.
//
// On a host, libbase keeps properties in an in-process store. ScopedProperty sets one for
// its lifetime and puts the previous value back afterwards (an unset property is restored
// as an empty value, which every reader treats as unset). Properties that the library reads
// once per process must be set before that first read, which is why such tests run in a
// child process (EXPECT_EXIT) or their own executable.
#pragma once

#include <android-base/properties.h>

#include <string>

namespace android {
namespace fp_utils {
namespace testing {

class ScopedProperty {
  public:
    ScopedProperty(std::string key, const std::string& value)
        : key_(std::move(key)), previous_(android::base::GetProperty(key_, "")) {
        android::base::SetProperty(key_, value);
    }
    ~ScopedProperty() { android::base::SetProperty(key_, previous_); }
    ScopedProperty(const ScopedProperty&) = delete;
    ScopedProperty& operator=(const ScopedProperty&) = delete;

  private:
    std::string key_;
    std::string previous_;
};

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
