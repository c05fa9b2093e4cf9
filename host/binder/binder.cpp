// Binder objects of the host binder: classes, strong and weak references, death recipients.
//
// A binder's reference counts live in a BinderLife shared with its weak references, so that a
// weak reference can tell whether the binder still exists. Lock order: a BinderLife, then its
// binder's mutex, then a recipient's mutex. Callbacks run with no lock held.
#include <android/binder_ibinder.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/binder/binder_internal.h"

struct AIBinder_Class {
    std::string descriptor;
    AIBinder_Class_onCreate on_create;
    AIBinder_Class_onDestroy on_destroy;
    AIBinder_Class_onTransact on_transact;
};

namespace {

struct BinderLife {
    std::mutex mutex;
    AIBinder* binder;  // null once the last strong reference went
    int32_t strong;
};

struct DeathLink {
    std::shared_ptr<AIBinder_DeathRecipient> recipient;
    void* cookie;
};

}  // namespace

struct AIBinder {
    const AIBinder_Class* clazz;
    void* user_data;
    std::shared_ptr<BinderLife> life;
    std::atomic<bool> dead{false};
    std::mutex mutex;  // guards links, and dead against new links
    std::vector<DeathLink> links;
};

struct AIBinder_Weak {
    std::shared_ptr<BinderLife> life;
};

struct AIBinder_DeathRecipient {
    AIBinder_DeathRecipient_onBinderDied on_died;
    std::atomic<AIBinder_DeathRecipient_onBinderUnlinked> on_unlinked{nullptr};
    std::atomic<bool> deleted{false};
    // The owner's reference, dropped by AIBinder_DeathRecipient_delete; links hold others.
    std::shared_ptr<AIBinder_DeathRecipient> self;
    std::mutex mutex;
    std::vector<std::weak_ptr<BinderLife>> linked;  // binders it was linked to
};

namespace {

void CallUnlinked(const AIBinder_DeathRecipient& recipient, void* cookie) {
    AIBinder_DeathRecipient_onBinderUnlinked on_unlinked = recipient.on_unlinked.load();
    if (on_unlinked != nullptr) on_unlinked(cookie);
}

// Removes the links of `recipient` (with `cookie`, or any cookie when `any_cookie`) from the
// binder; returns the removed cookies.
std::vector<void*> RemoveLinks(AIBinder* binder, const AIBinder_DeathRecipient* recipient,
                               void* cookie, bool any_cookie) {
    std::vector<void*> removed;
    std::lock_guard<std::mutex> lock(binder->mutex);
    auto gone = [&](const DeathLink& link) {
        if (link.recipient.get() != recipient) return false;
        if (!any_cookie && link.cookie != cookie) return false;
        removed.push_back(link.cookie);
        return true;
    };
    binder->links.erase(std::remove_if(binder->links.begin(), binder->links.end(), gone),
                        binder->links.end());
    return removed;
}

void Destroy(AIBinder* binder) {
    std::vector<DeathLink> links;
    {
        std::lock_guard<std::mutex> lock(binder->mutex);
        links.swap(binder->links);
    }
    for (const DeathLink& link : links) CallUnlinked(*link.recipient, link.cookie);
    if (binder->clazz->on_destroy != nullptr) binder->clazz->on_destroy(binder->user_data);
    delete binder;
}

}  // namespace

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    if (interfaceDescriptor == nullptr) return nullptr;
    return new AIBinder_Class{interfaceDescriptor, onCreate, onDestroy, onTransact};
}

const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz) {
    return clazz->descriptor.c_str();
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    if (clazz == nullptr) return nullptr;
    AIBinder* binder = new AIBinder;
    binder->clazz = clazz;
    binder->user_data = clazz->on_create != nullptr ? clazz->on_create(args) : args;
    binder->life = std::make_shared<BinderLife>();
    binder->life->binder = binder;
    binder->life->strong = 1;
    return binder;
}

// Clients reach every service as if it lived in another process.
bool AIBinder_isRemote(const AIBinder* binder) {
    return binder != nullptr;
}

bool AIBinder_isAlive(const AIBinder* binder) {
    return binder != nullptr && !binder->dead.load();
}

binder_status_t AIBinder_ping(AIBinder* binder) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    return AIBinder_isAlive(binder) ? STATUS_OK : STATUS_DEAD_OBJECT;
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    if (binder == nullptr || clazz == nullptr) return false;
    return binder->clazz == clazz || binder->clazz->descriptor == clazz->descriptor;
}

const AIBinder_Class* AIBinder_getClass(AIBinder* binder) {
    return binder != nullptr ? binder->clazz : nullptr;
}

void* AIBinder_getUserData(AIBinder* binder) {
    return binder != nullptr ? binder->user_data : nullptr;
}

void AIBinder_incStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    std::lock_guard<std::mutex> lock(binder->life->mutex);
    ++binder->life->strong;
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    std::shared_ptr<BinderLife> life = binder->life;
    {
        std::lock_guard<std::mutex> lock(life->mutex);
        if (--life->strong > 0) return;
        life->binder = nullptr;
    }
    Destroy(binder);
}

int32_t AIBinder_debugGetRefCount(AIBinder* binder) {
    if (binder == nullptr) return -1;
    std::lock_guard<std::mutex> lock(binder->life->mutex);
    return binder->life->strong;
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    return new AIBinder_Weak{binder->life};
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(weakBinder->life->mutex);
    if (weakBinder->life->binder == nullptr) return nullptr;
    ++weakBinder->life->strong;
    return weakBinder->life->binder;
}

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
    AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    if (onBinderDied == nullptr) return nullptr;
    auto recipient = std::make_shared<AIBinder_DeathRecipient>();
    recipient->on_died = onBinderDied;
    recipient->self = recipient;
    return recipient.get();
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    if (recipient != nullptr) recipient->on_unlinked.store(onUnlinked);
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    if (recipient == nullptr) return;
    // Keeps the recipient while its links are taken down.
    std::shared_ptr<AIBinder_DeathRecipient> keep = std::move(recipient->self);
    recipient->deleted.store(true);
    std::vector<std::weak_ptr<BinderLife>> linked;
    {
        std::lock_guard<std::mutex> lock(recipient->mutex);
        linked.swap(recipient->linked);
    }
    std::vector<void*> unlinked;
    for (const std::weak_ptr<BinderLife>& weak : linked) {
        std::shared_ptr<BinderLife> life = weak.lock();
        if (life == nullptr) continue;
        std::lock_guard<std::mutex> lock(life->mutex);
        if (life->binder == nullptr) continue;
        std::vector<void*> removed = RemoveLinks(life->binder, recipient, nullptr, true);
        unlinked.insert(unlinked.end(), removed.begin(), removed.end());
    }
    for (void* cookie : unlinked) CallUnlinked(*recipient, cookie);
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    if (recipient->deleted.load()) return STATUS_BAD_VALUE;
    std::lock_guard<std::mutex> lock(binder->mutex);
    if (binder->dead.load()) return STATUS_DEAD_OBJECT;
    binder->links.push_back({recipient->self, cookie});
    std::lock_guard<std::mutex> recipient_lock(recipient->mutex);
    recipient->linked.push_back(binder->life);
    return STATUS_OK;
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    std::vector<void*> removed = RemoveLinks(binder, recipient, cookie, false);
    if (removed.empty()) return STATUS_NAME_NOT_FOUND;
    CallUnlinked(*recipient, cookie);
    return STATUS_OK;
}

namespace android {
namespace fp_utils {
namespace host {
namespace internal {

void KillBinder(AIBinder* binder) {
    std::vector<DeathLink> links;
    {
        std::lock_guard<std::mutex> lock(binder->mutex);
        if (binder->dead.exchange(true)) return;
        links.swap(binder->links);
    }
    // A death notice arrives on a binder thread, never on the thread that saw the death.
    std::thread notifier([&links]() {
        for (const DeathLink& link : links) {
            if (!link.recipient->deleted.load()) link.recipient->on_died(link.cookie);
            CallUnlinked(*link.recipient, link.cookie);
        }
    });
    notifier.join();
}

}  // namespace internal
}  // namespace host
}  // namespace fp_utils
}  // namespace android
