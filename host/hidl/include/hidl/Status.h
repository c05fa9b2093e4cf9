// Host stand-in of libhidlbase's call status: Status, Return<T> and Void().
//
// A HIDL call returns a Return<T>. It is OK unless the call failed at transport level (the
// service's process died, the call could not be delivered); errors of the interface itself
// travel in the call's results. As on a device, a Return that failed and was never checked
// (isOk(), isDeadObject(), withDefault, or reading its value) aborts the process when it is
// destroyed.
#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

namespace android {
namespace hardware {

class Status final {
  public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        // A transport error: transactionError() tells which.
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(); }
    static Status fromExceptionCode(int32_t exception_code, const char* message = nullptr);
    // OK for android::OK, otherwise EX_TRANSACTION_FAILED with this transaction error.
    static Status fromStatusT(status_t status);

    Status() = default;

    int32_t exceptionCode() const { return exception_; }
    const char* exceptionMessage() const { return message_.c_str(); }
    status_t transactionError() const {
        return exception_ == EX_TRANSACTION_FAILED ? error_ : android::OK;
    }
    bool isOk() const { return exception_ == EX_NONE; }
    std::string description() const;

  private:
    int32_t exception_ = EX_NONE;
    status_t error_ = android::OK;
    std::string message_;
};

std::ostream& operator<<(std::ostream& stream, const Status& status);

namespace details {

// What every Return<T> has: the status, and whether the caller looked at it.
class return_status {
  public:
    return_status() = default;
    return_status(const Status& status) : status_(status) {}  // NOLINT: implicit as on a device
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    return_status(return_status&& other) noexcept { *this = std::move(other); }
    return_status& operator=(return_status&& other) noexcept;
    ~return_status();

    bool isOk() const {
        checked_ = true;
        return status_.isOk();
    }
    bool isOkUnchecked() const { return status_.isOk(); }
    bool isDeadObject() const {
        checked_ = true;
        return status_.transactionError() == DEAD_OBJECT;
    }
    // Aborts unless OK.
    void assertOk() const;
    std::string description() const { return status_.description(); }

  private:
    Status status_;
    mutable bool checked_ = false;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : value_(std::move(value)) {}  // NOLINT: implicit as on a device
    Return(const Status& status) : details::return_status(status) {}  // NOLINT
    Return(Return&&) noexcept = default;
    Return& operator=(Return&&) noexcept = default;

    // The value; aborts if the call failed.
    operator T() const {
        assertOk();
        return value_;
    }
    T withDefault(T fallback) const { return isOk() ? value_ : fallback; }

  private:
    T value_{};
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() = default;
    Return(const Status& status) : details::return_status(status) {}  // NOLINT
    Return(Return&&) noexcept = default;
    Return& operator=(Return&&) noexcept = default;
};

inline Return<void> Void() {
    return Return<void>();
}

}  // namespace hardware
}  // namespace android
