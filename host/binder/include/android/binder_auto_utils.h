// Owning C++ wrappers of the binder NDK's handles, as the NDK spells them (namespace ndk).
//
// SpAIBinder holds one strong reference; the Scoped* types own a handle and release it with
// the matching delete function. None of them is thread-safe for concurrent changes of one
// object.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace ndk {

// One strong reference to a binder; copies take another.
class SpAIBinder {
  public:
    SpAIBinder() : binder_(nullptr) {}
    explicit SpAIBinder(AIBinder* binder) : binder_(binder) {}  // adopts the reference
    SpAIBinder(std::nullptr_t) : SpAIBinder() {}
    SpAIBinder(const SpAIBinder& other) : binder_(other.binder_) {
        if (binder_ != nullptr) AIBinder_incStrong(binder_);
    }
    SpAIBinder(SpAIBinder&& other) noexcept : binder_(other.release()) {}
    ~SpAIBinder() { set(nullptr); }

    SpAIBinder& operator=(const SpAIBinder& other) {
        if (this == &other) return *this;
        if (other.binder_ != nullptr) AIBinder_incStrong(other.binder_);
        set(other.binder_);
        return *this;
    }
    SpAIBinder& operator=(SpAIBinder&& other) noexcept {
        if (this != &other) set(other.release());
        return *this;
    }

    AIBinder* get() const { return binder_; }
    // Gives up the reference without releasing it.
    AIBinder* release() {
        AIBinder* binder = binder_;
        binder_ = nullptr;
        return binder;
    }
    // Releases the held reference and adopts `binder`'s.
    void set(AIBinder* binder) {
        AIBinder* old = binder_;
        binder_ = binder;
        if (old != nullptr) AIBinder_decStrong(old);
    }
    AIBinder** getR() { return &binder_; }

    bool operator==(const SpAIBinder& rhs) const { return binder_ == rhs.binder_; }
    bool operator!=(const SpAIBinder& rhs) const { return binder_ != rhs.binder_; }
    bool operator<(const SpAIBinder& rhs) const { return binder_ < rhs.binder_; }

  private:
    AIBinder* binder_;
};

namespace impl {

// Owns a handle of type T, released by Destroy; `kDefault` means "none".
template <typename T, void (*Destroy)(T), T kDefault>
class ScopedAResource {
  public:
    explicit ScopedAResource(T t = kDefault) : t_(t) {}
    ~ScopedAResource() { set(kDefault); }
    ScopedAResource(const ScopedAResource&) = delete;
    ScopedAResource& operator=(const ScopedAResource&) = delete;
    ScopedAResource(ScopedAResource&& other) noexcept : t_(other.release()) {}
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        if (this != &other) set(other.release());
        return *this;
    }

    T get() const { return t_; }
    T* getR() { return &t_; }
    T release() {
        T t = t_;
        t_ = kDefault;
        return t;
    }
    void set(T t) {
        if (t == t_) return;
        T old = t_;
        t_ = t;
        if (old != kDefault) Destroy(old);
    }

    bool operator==(const ScopedAResource& rhs) const { return t_ == rhs.t_; }
    bool operator!=(const ScopedAResource& rhs) const { return t_ != rhs.t_; }

  private:
    T t_;
};

inline void CloseFd(int fd) {
    close(fd);
}

}  // namespace impl

// The result of one binder call.
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
  public:
    explicit ScopedAStatus(AStatus* status = nullptr) : ScopedAResource(status) {}

    bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
    int32_t getServiceSpecificError() const { return AStatus_getServiceSpecificError(get()); }
    binder_status_t getStatus() const { return AStatus_getStatus(get()); }
    const char* getMessage() const { return AStatus_getMessage(get()); }
    std::string getDescription() const {
        const char* description = AStatus_getDescription(get());
        std::string text(description);
        AStatus_deleteDescription(description);
        return text;
    }

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t serviceSpecific) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(serviceSpecific));
    }
    static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t serviceSpecific,
                                                             const char* message) {
        return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, message));
    }
};

class ScopedAIBinder_DeathRecipient
    : public impl::ScopedAResource<AIBinder_DeathRecipient*, AIBinder_DeathRecipient_delete, nullptr> {
  public:
    explicit ScopedAIBinder_DeathRecipient(AIBinder_DeathRecipient* recipient = nullptr)
        : ScopedAResource(recipient) {}
};

class ScopedAIBinder_Weak
    : public impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr> {
  public:
    explicit ScopedAIBinder_Weak(AIBinder_Weak* weak = nullptr) : ScopedAResource(weak) {}
    SpAIBinder promote() const { return SpAIBinder(AIBinder_Weak_promote(get())); }
};

class ScopedFileDescriptor : public impl::ScopedAResource<int, impl::CloseFd, -1> {
  public:
    explicit ScopedFileDescriptor(int fd = -1) : ScopedAResource(fd) {}
};

}  // namespace ndk
