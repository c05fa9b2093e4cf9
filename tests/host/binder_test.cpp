// The host binder: reference counts, death notices, dead-object calls and the service
// manager's waits.
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "host/binder_control.h"

namespace android {
namespace fp_utils {
namespace host {
namespace {

using std::chrono::steady_clock;

constexpr char kInstance[] = "test.IWorker/default";

class IWorker : public ndk::ICInterface {
  public:
    virtual ndk::ScopedAStatus Work() = 0;
};

// A service that counts its own destruction.
class Worker : public ndk::BnCInterface<IWorker> {
  public:
    explicit Worker(std::atomic<int>* destroyed = nullptr) : destroyed_(destroyed) {}
    ~Worker() override {
        if (destroyed_ != nullptr) ++*destroyed_;
    }
    ndk::ScopedAStatus Work() override { return ndk::ScopedAStatus::ok(); }

  protected:
    ndk::SpAIBinder createBinder() override {
        static AIBinder_Class* clazz = ICInterface::defineClass("test.IWorker", nullptr);
        return ndk::SpAIBinder(AIBinder_new(clazz, static_cast<ICInterface*>(this)));
    }

  private:
    std::atomic<int>* destroyed_;
};

ndk::ScopedAStatus CallWork(const ndk::SpAIBinder& binder) {
    return CallService<IWorker>(binder.get(), [](IWorker& w) { return w.Work(); });
}

// Records each death notice: its cookie and the thread it came on.
struct DeathLog {
    std::mutex mutex;
    std::vector<std::pair<int, std::thread::id>> notices;

    static void OnDied(void* cookie) {
        auto* entry = static_cast<std::pair<DeathLog*, int>*>(cookie);
        std::lock_guard<std::mutex> lock(entry->first->mutex);
        entry->first->notices.emplace_back(entry->second, std::this_thread::get_id());
    }
};

class HostBinderTest : public ::testing::Test {
  protected:
    void TearDown() override { ResetServices(); }
};

TEST_F(HostBinderTest, ServiceObjectLivesAsLongAsItsBinderIsReferenced) {
    std::atomic<int> destroyed{0};
    std::shared_ptr<Worker> worker = ndk::SharedRefBase::make<Worker>(&destroyed);
    ndk::SpAIBinder binder = worker->asBinder();
    EXPECT_EQ(1, AIBinder_debugGetRefCount(binder.get()));
    EXPECT_EQ(binder, worker->asBinder()) << "the same binder while it is held";

    ASSERT_EQ(STATUS_OK, AServiceManager_addService(binder.get(), kInstance));
    ndk::SpAIBinder looked_up(AServiceManager_checkService(kInstance));
    EXPECT_EQ(binder, looked_up);
    EXPECT_EQ(3, AIBinder_debugGetRefCount(binder.get()));

    ndk::ScopedAIBinder_Weak weak(AIBinder_Weak_new(binder.get()));
    worker.reset();
    binder.set(nullptr);
    looked_up.set(nullptr);
    EXPECT_EQ(0, destroyed.load()) << "the service manager still holds the binder";
    EXPECT_NE(nullptr, weak.promote().get());

    ResetServices();
    EXPECT_EQ(1, destroyed.load());
    EXPECT_EQ(nullptr, weak.promote().get());
}

TEST_F(HostBinderTest, DeathNoticesArriveOnAnotherThreadBeforeKillReturns) {
    auto worker = ndk::SharedRefBase::make<Worker>();
    AServiceManager_addService(worker->asBinder().get(), kInstance);
    DeclareService(kInstance);
    ndk::SpAIBinder client(AServiceManager_waitForService(kInstance));

    DeathLog log;
    std::pair<DeathLog*, int> first{&log, 1};
    std::pair<DeathLog*, int> second{&log, 2};
    std::pair<DeathLog*, int> unlinked{&log, 3};
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(DeathLog::OnDied));
    ndk::ScopedAIBinder_DeathRecipient dropped(AIBinder_DeathRecipient_new(DeathLog::OnDied));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), recipient.get(), &first));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), recipient.get(), &second));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), recipient.get(), &unlinked));
    ASSERT_EQ(STATUS_OK, AIBinder_unlinkToDeath(client.get(), recipient.get(), &unlinked));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), dropped.get(), &unlinked));
    dropped.set(nullptr);

    ASSERT_TRUE(KillService(kInstance));

    std::lock_guard<std::mutex> lock(log.mutex);
    ASSERT_EQ(2u, log.notices.size());
    EXPECT_EQ(1, log.notices[0].first);
    EXPECT_EQ(2, log.notices[1].first);
    EXPECT_NE(std::this_thread::get_id(), log.notices[0].second);
    EXPECT_FALSE(AIBinder_isAlive(client.get()));
    EXPECT_TRUE(AServiceManager_isDeclared(kInstance)) << "a dead service stays declared";
    EXPECT_EQ(nullptr, AServiceManager_checkService(kInstance));
    EXPECT_FALSE(KillService(kInstance)) << "nothing left to kill";
}

// The first notice deletes its own recipient and the one linked after it, whose notice was
// already on its way: that one is dropped.
TEST_F(HostBinderTest, RecipientDeletedDuringTheNoticesGetsNone) {
    auto worker = ndk::SharedRefBase::make<Worker>();
    AServiceManager_addService(worker->asBinder().get(), kInstance);
    ndk::SpAIBinder client(AServiceManager_checkService(kInstance));
    static AIBinder_DeathRecipient* first = nullptr;
    static AIBinder_DeathRecipient* second = nullptr;
    static std::atomic<int> notices{0};
    first = AIBinder_DeathRecipient_new([](void*) {
        ++notices;
        AIBinder_DeathRecipient_delete(first);
        AIBinder_DeathRecipient_delete(second);
    });
    second = AIBinder_DeathRecipient_new([](void*) { notices += 100; });
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), first, nullptr));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(client.get(), second, nullptr));

    ASSERT_TRUE(KillService(kInstance));

    EXPECT_EQ(1, notices.load());
}

TEST_F(HostBinderTest, CallsThroughADeadServiceFailWithDeadObject) {
    auto worker = ndk::SharedRefBase::make<Worker>();
    AServiceManager_addService(worker->asBinder().get(), kInstance);
    ndk::SpAIBinder client(AServiceManager_checkService(kInstance));
    EXPECT_TRUE(CallWork(client).isOk());

    KillService(kInstance);

    EXPECT_EQ(STATUS_DEAD_OBJECT, CallWork(client).getStatus());
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(client.get()));
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(DeathLog::OnDied));
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_linkToDeath(client.get(), recipient.get(), nullptr));
}

TEST_F(HostBinderTest, UndeclaredServiceIsNotWaitedFor) {
    SetServiceWaitLimit(std::chrono::seconds(30));
    auto start = steady_clock::now();

    EXPECT_EQ(nullptr, AServiceManager_waitForService(kInstance));

    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_FALSE(AServiceManager_isDeclared(kInstance));
}

TEST_F(HostBinderTest, ResetForgetsServicesAndDeclarationsAndRunsHooks) {
    static std::atomic<int> hook_runs{0};
    OnResetServices([] { ++hook_runs; });
    auto worker = ndk::SharedRefBase::make<Worker>();
    AServiceManager_addService(worker->asBinder().get(), kInstance);
    DeclareService(kInstance);
    const int runs_before = hook_runs.load();

    ResetServices();

    EXPECT_EQ(nullptr, AServiceManager_checkService(kInstance));
    EXPECT_FALSE(AServiceManager_isDeclared(kInstance));
    EXPECT_EQ(runs_before + 1, hook_runs.load());
}

TEST(HostBinderStatusTest, StatusCarriesItsKindOfFailure) {
    EXPECT_TRUE(ndk::ScopedAStatus::ok().isOk());
    EXPECT_TRUE(ndk::ScopedAStatus::fromStatus(STATUS_OK).isOk());

    ndk::ScopedAStatus dead = ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    EXPECT_FALSE(dead.isOk());
    EXPECT_EQ(EX_TRANSACTION_FAILED, dead.getExceptionCode());
    EXPECT_EQ(STATUS_DEAD_OBJECT, dead.getStatus());
    EXPECT_EQ("Status(-129, EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '", dead.getDescription());

    ndk::ScopedAStatus specific =
        ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(7, "no panel");
    EXPECT_EQ(EX_SERVICE_SPECIFIC, specific.getExceptionCode());
    EXPECT_EQ(7, specific.getServiceSpecificError());
    EXPECT_EQ(STATUS_OK, specific.getStatus());
    EXPECT_STREQ("no panel", specific.getMessage());
}

}  // namespace
}  // namespace host
}  // namespace fp_utils
}  // namespace android
