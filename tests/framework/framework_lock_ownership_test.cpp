// Ownership of a port's lock: a release by a thread that does not hold the
// port releases nothing, so the second release that follows the inventory
// slot (which releases the port itself) can never free another thread's hold.
#include <atomic>
#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "framework/lock.h"
#include "sff8636/sff_port.h"
#include "support/test_mutex.h"

namespace {

using namespace qsfp::test;

// The interleaving under test, driven step by step between two threads.
std::atomic<int> g_stage{0};

void wait_for_stage(int stage) {
    while (g_stage.load() < stage) {
        std::this_thread::yield();
    }
}

// The real inventory slot, which releases the port, then a pause in which
// another thread may take the port before the wrapper's own release.
uint32_t inventory_then_pause(qsfp_port_ctx *port, qsfp_hw_info *info) {
    const uint32_t rc = qsfp_port_get_hw_info(port, info);
    g_stage = 1;
    wait_for_stage(2);
    return rc;
}

// The real show-text slot, then a probe of the lock while still inside the
// operation.
std::atomic<int> g_probe_inside{-1};
pthread_mutex_t *g_mutex = nullptr;

int probe(pthread_mutex_t *mutex) {
    int rc = -1;
    std::thread([&] {
        rc = pthread_mutex_trylock(mutex);
        if (rc == 0) {
            pthread_mutex_unlock(mutex);
        }
    }).join();
    return rc;
}

uint32_t show_text_then_probe(qsfp_port_ctx *port, void **text, uint32_t *len, char *buffer) {
    const uint32_t rc = qsfp_phy_reg_decode(port, text, len, buffer);
    g_probe_inside = probe(g_mutex);
    return rc;
}

class LockOwnershipTest : public SffPortTest, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        SffPortTest::SetUp();
        mutex_ = make_mutex(GetParam());
        g_mutex = &mutex_;
        g_stage = 0;
        insert(0, qsfp28_memory());
        qsfp_port_create_params p = params(0);
        p.port_lock = &mutex_;
        port_ = create(p, QSFP_OK);
        forget_traffic();
    }
    void TearDown() override {
        SffPortTest::TearDown();
        pthread_mutex_destroy(&mutex_);
    }
    pthread_mutex_t mutex_;
    qsfp_port_ctx *port_ = nullptr;
};

TEST_P(LockOwnershipTest, SecondReleaseAfterTheInventorySlotLeavesAnotherThreadsHold) {
    port_->fvt.get_hw_info = inventory_then_pause;
    std::uint32_t a_rc = 1;
    std::thread a([&] {
        qsfp_hw_info info{};
        a_rc = qsfp_port_hw_info(port_, &info);
    });
    wait_for_stage(1);
    // Thread A's slot has released the port; this thread takes it now.
    ASSERT_EQ(qsfp_check_and_lock_hdl(port_, 1), QSFP_OK);
    g_stage = 2;
    a.join();
    EXPECT_EQ(a_rc, QSFP_OK);
    // A's wrapper released nothing: this thread still holds the port.
    EXPECT_EQ(probe(&mutex_), EBUSY);
    EXPECT_TRUE(qsfp::framework::owns_port(port_));
    qsfp_port_unlock(port_);
    EXPECT_EQ(probe(&mutex_), 0);
    EXPECT_EQ(port_->lock_owner, 0u);
}

TEST_P(LockOwnershipTest, ShowTextKeepsThePortUntilItsWrapperReleasesIt) {
    port_->fvt.phy_reg_decode = show_text_then_probe;
    void *text = nullptr;
    std::uint32_t len = 0;
    EXPECT_EQ(qsfp_port_phy_reg_decode(port_, &text, &len), QSFP_OK);
    // The inventory slot ran inside the show text and did not free the port.
    EXPECT_EQ(g_probe_inside.load(), EBUSY);
    EXPECT_EQ(probe(&mutex_), 0);
    EXPECT_EQ(port_->lock_owner, 0u);
    ASSERT_NE(text, nullptr);
    EXPECT_NE(std::string(static_cast<char *>(text)).find("Vendor Serial Number"), std::string::npos);
    std::free(text);
}

TEST_P(LockOwnershipTest, ReleaseByAThreadThatDoesNotHoldThePortReleasesNothing) {
    ASSERT_EQ(qsfp_check_and_lock_hdl(port_, 1), QSFP_OK);
    std::thread([&] { EXPECT_EQ(qsfp_port_unlock(port_), QSFP_OK); }).join();
    EXPECT_EQ(probe(&mutex_), EBUSY);
    qsfp_port_unlock(port_);
    EXPECT_EQ(probe(&mutex_), 0);
}

TEST_P(LockOwnershipTest, AHandleThatIsNotAListedPortIsNotWritten) {
    qsfp_port_ctx stale = *port_;
    stale.lock_owner = 0;
    EXPECT_EQ(qsfp_check_and_lock_hdl(&stale, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(stale.lock_owner, 0u);
    EXPECT_EQ(stale.lock_depth, 0u);
    // The mutex stays locked on this path, as the caller expects; free it here.
    pthread_mutex_unlock(&mutex_);
}

INSTANTIATE_TEST_SUITE_P(MutexKinds, LockOwnershipTest,
                         ::testing::Values(PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_ERRORCHECK),
                         [](const auto &info) { return info.param == PTHREAD_MUTEX_NORMAL ? "Normal" : "ErrorCheck"; });

}  // namespace
