// The service manager of the host binder and its control interface.
#include <android/binder_manager.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/binder/binder_internal.h"
#include "host/binder_control.h"

namespace android {
namespace fp_utils {
namespace host {
namespace {

struct ServiceManager {
    std::mutex mutex;
    std::condition_variable changed;            // a service was registered or a declaration changed
    std::map<std::string, AIBinder*> services;  // each holds a strong reference
    std::set<std::string> declared;
    std::chrono::milliseconds wait_limit = kDefaultServiceWaitLimit;
    std::vector<std::function<void()>> reset_hooks;
};

// Never destroyed: binders may be released by static destructors of other libraries.
ServiceManager& Manager() {
    static ServiceManager* manager = new ServiceManager;
    return *manager;
}

AIBinder* TakeRegistered(ServiceManager& sm, const std::string& instance) {
    auto it = sm.services.find(instance);
    if (it == sm.services.end()) return nullptr;
    AIBinder_incStrong(it->second);
    return it->second;
}

}  // namespace

void DeclareService(const std::string& instance) {
    ServiceManager& sm = Manager();
    {
        std::lock_guard<std::mutex> lock(sm.mutex);
        sm.declared.insert(instance);
    }
    sm.changed.notify_all();
}

void UndeclareService(const std::string& instance) {
    ServiceManager& sm = Manager();
    {
        std::lock_guard<std::mutex> lock(sm.mutex);
        sm.declared.erase(instance);
    }
    sm.changed.notify_all();
}

void SetServiceWaitLimit(std::chrono::milliseconds limit) {
    ServiceManager& sm = Manager();
    std::lock_guard<std::mutex> lock(sm.mutex);
    sm.wait_limit = limit;
}

bool KillService(const std::string& instance) {
    ServiceManager& sm = Manager();
    AIBinder* binder = nullptr;
    {
        std::lock_guard<std::mutex> lock(sm.mutex);
        auto it = sm.services.find(instance);
        if (it == sm.services.end()) return false;
        binder = it->second;
        sm.services.erase(it);
    }
    internal::KillBinder(binder);
    AIBinder_decStrong(binder);
    return true;
}

void ResetServices() {
    ServiceManager& sm = Manager();
    std::map<std::string, AIBinder*> services;
    std::vector<std::function<void()>> hooks;
    {
        std::lock_guard<std::mutex> lock(sm.mutex);
        services.swap(sm.services);
        sm.declared.clear();
        sm.wait_limit = kDefaultServiceWaitLimit;
        hooks = sm.reset_hooks;
    }
    sm.changed.notify_all();
    for (auto& [instance, binder] : services) AIBinder_decStrong(binder);
    for (const std::function<void()>& hook : hooks) hook();
}

void OnResetServices(std::function<void()> hook) {
    ServiceManager& sm = Manager();
    std::lock_guard<std::mutex> lock(sm.mutex);
    sm.reset_hooks.push_back(std::move(hook));
}

}  // namespace host
}  // namespace fp_utils
}  // namespace android

using android::fp_utils::host::Manager;
using android::fp_utils::host::ServiceManager;

binder_status_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || instance == nullptr) return STATUS_UNEXPECTED_NULL;
    ServiceManager& sm = Manager();
    AIBinder_incStrong(binder);
    AIBinder* replaced = nullptr;
    {
        std::lock_guard<std::mutex> lock(sm.mutex);
        AIBinder*& slot = sm.services[instance];
        replaced = slot;
        slot = binder;
    }
    sm.changed.notify_all();
    if (replaced != nullptr) AIBinder_decStrong(replaced);
    return STATUS_OK;
}

AIBinder* AServiceManager_checkService(const char* instance) {
    if (instance == nullptr) return nullptr;
    ServiceManager& sm = Manager();
    std::lock_guard<std::mutex> lock(sm.mutex);
    return android::fp_utils::host::TakeRegistered(sm, instance);
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    if (instance == nullptr) return nullptr;
    ServiceManager& sm = Manager();
    std::unique_lock<std::mutex> lock(sm.mutex);
    const auto deadline = std::chrono::steady_clock::now() + sm.wait_limit;
    while (true) {
        AIBinder* binder = android::fp_utils::host::TakeRegistered(sm, instance);
        if (binder != nullptr) return binder;
        if (sm.declared.count(instance) == 0) return nullptr;
        if (sm.changed.wait_until(lock, deadline) == std::cv_status::timeout) {
            return android::fp_utils::host::TakeRegistered(sm, instance);
        }
    }
}

AIBinder* AServiceManager_getService(const char* instance) {
    return AServiceManager_waitForService(instance);
}

bool AServiceManager_isDeclared(const char* instance) {
    if (instance == nullptr) return false;
    ServiceManager& sm = Manager();
    std::lock_guard<std::mutex> lock(sm.mutex);
    return sm.declared.count(instance) != 0;
}
