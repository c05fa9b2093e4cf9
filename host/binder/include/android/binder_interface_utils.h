// Base classes of AIDL interfaces and their service and client sides, as the binder NDK
// spells them (namespace ndk).
//
// Objects derived from SharedRefBase are made with SharedRefBase::make<T>(...) and held by
// std::shared_ptr; ref() gives another shared pointer to the same object. A service object
// (BnCInterface) makes its binder on the first asBinder() and gives the same binder while
// anyone holds it; the binder keeps the object alive.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>
#include <mutex>
#include <utility>

namespace ndk {

class SharedRefBase {
  public:
    SharedRefBase() = default;
    virtual ~SharedRefBase() = default;
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;

    // A shared pointer to this object; the first call (made by make) takes ownership.
    template <class T = SharedRefBase>
    std::shared_ptr<T> ref() {
        std::shared_ptr<SharedRefBase> self = this_.lock();
        std::call_once(this_flag_, [&]() {
            self = std::shared_ptr<SharedRefBase>(this);
            this_ = self;
        });
        return std::static_pointer_cast<T>(self);
    }
    template <class T = SharedRefBase>
    std::shared_ptr<const T> ref() const {
        return const_cast<SharedRefBase*>(this)->ref<T>();
    }

    template <class T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        T* t = new T(std::forward<Args>(args)...);
        return t->template ref<T>();
    }

  private:
    std::once_flag this_flag_;
    std::weak_ptr<SharedRefBase> this_;
};

class ICInterface : public SharedRefBase {
  public:
    ICInterface() = default;
    virtual ~ICInterface() = default;

    virtual SpAIBinder asBinder() = 0;
    virtual bool isRemote() = 0;
    virtual binder_status_t dump(int /*fd*/, const char** /*args*/, uint32_t /*numArgs*/) {
        return STATUS_OK;
    }

    // A class whose binders keep their ICInterface alive as user data.
    static inline AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                              AIBinder_Class_onTransact onTransact);
    // The object behind a binder made by BnCInterface, or null.
    static inline std::shared_ptr<ICInterface> asInterface(AIBinder* binder);

  private:
    struct ICInterfaceData {
        std::shared_ptr<ICInterface> interface;
        static void* onCreate(void* args) {
            return new ICInterfaceData{static_cast<ICInterface*>(args)->ref<ICInterface>()};
        }
        static void onDestroy(void* userData) { delete static_cast<ICInterfaceData*>(userData); }
    };
};

AIBinder_Class* ICInterface::defineClass(const char* interfaceDescriptor,
                                         AIBinder_Class_onTransact onTransact) {
    return AIBinder_Class_define(interfaceDescriptor, ICInterfaceData::onCreate,
                                 ICInterfaceData::onDestroy, onTransact);
}

std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    void* data = AIBinder_getUserData(binder);
    if (data == nullptr) return nullptr;
    return static_cast<ICInterfaceData*>(data)->interface;
}

// The service side of INTERFACE; the generated Bn class supplies createBinder().
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
  public:
    BnCInterface() = default;
    virtual ~BnCInterface() = default;

    SpAIBinder asBinder() override final {
        std::lock_guard<std::mutex> lock(mutex_);
        SpAIBinder binder = weak_binder_.promote();
        if (binder.get() == nullptr) {
            binder = createBinder();
            weak_binder_.set(AIBinder_Weak_new(binder.get()));
        }
        return binder;
    }
    bool isRemote() override final { return false; }

  protected:
    virtual SpAIBinder createBinder() = 0;

  private:
    std::mutex mutex_;
    ScopedAIBinder_Weak weak_binder_;
};

// The client side of INTERFACE, holding the service's binder.
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
  public:
    explicit BpCInterface(const SpAIBinder& binder) : binder_(binder) {}
    virtual ~BpCInterface() = default;

    SpAIBinder asBinder() override final { return binder_; }
    bool isRemote() override final { return AIBinder_isRemote(binder_.get()); }

  private:
    SpAIBinder binder_;
};

}  // namespace ndk
