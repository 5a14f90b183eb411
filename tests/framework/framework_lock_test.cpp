// Handle validation and locking: global lock, then the port's mutex, each
// announced to the mutex-block aid when it must be waited for.
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/basic_image.h>

#include "support/library_fixture.h"
#include "support/stderr_capture.h"
#include "support/test_mutex.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::basic_image;

// Waits until some thread announced a wait with this label.
bool wait_for_block(const char *label, std::uint32_t number, pthread_mutex_t *mutex) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        ptd_ref_block blocks[16];
        const std::uint32_t n = ptd_ref_blocked(blocks, 16);
        for (std::uint32_t i = 0; i < n && i < 16; ++i) {
            if (std::string(blocks[i].label) == label && blocks[i].number == number && blocks[i].mutex == mutex) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

class LockTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        mutex_ = make_mutex(PTHREAD_MUTEX_ERRORCHECK);
        insert(0, basic_image(0x0C));
        qsfp_port_create_params p = params(0);
        p.port_lock = &mutex_;
        port_ = create(p, QSFP_ERR_NOT_READY);
        ASSERT_NE(port_, nullptr);
        clear_traces();
    }
    void TearDown() override {
        LibraryTest::TearDown();
        pthread_mutex_destroy(&mutex_);
    }
    bool port_mutex_free() {
        std::atomic<int> rc{-1};
        std::thread([&] {
            rc = pthread_mutex_trylock(&mutex_);
            if (rc == 0) {
                pthread_mutex_unlock(&mutex_);
            }
        }).join();
        return rc == 0;
    }

    pthread_mutex_t mutex_;
    qsfp_port_ctx *port_ = nullptr;
};

TEST_F(LockTest, ValidHandleLeavesThePortLockedAndTheGlobalLockFree) {
    ASSERT_EQ(qsfp_check_and_lock_hdl(port_, 1), QSFP_OK);
    EXPECT_FALSE(port_mutex_free());
    EXPECT_EQ(pthread_mutex_trylock(&qsfp_get_ctx()->lock), 0);
    pthread_mutex_unlock(&qsfp_get_ctx()->lock);
    EXPECT_EQ(qsfp_port_unlock(port_), QSFP_OK);
    EXPECT_TRUE(port_mutex_free());
}

TEST_F(LockTest, NullHandleAnswers22) {
    EXPECT_EQ(qsfp_check_and_lock_hdl(nullptr, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"NULL Hdl passed in\n"});
    EXPECT_EQ(qsfp_port_unlock(nullptr), QSFP_OK);
}

TEST_F(LockTest, UnlistedContextAnswers22AndKeepsItsMutexLocked) {
    pthread_mutex_t other = make_mutex(PTHREAD_MUTEX_ERRORCHECK);
    qsfp_port_ctx stray{};
    stray.port_lock = &other;
    stray.initialized = 1;
    EXPECT_EQ(qsfp_check_and_lock_hdl(&stray, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Failed to find the port ctx\n"});
    EXPECT_EQ(pthread_mutex_trylock(&other), EBUSY);  // still ours
    pthread_mutex_unlock(&other);
    pthread_mutex_destroy(&other);
}

TEST_F(LockTest, ContextWithoutMutexSkipsTheListSearch) {
    qsfp_port_ctx stray{};
    stray.initialized = 1;
    EXPECT_EQ(qsfp_check_and_lock_hdl(&stray, 1), QSFP_OK);
    EXPECT_TRUE(trace_texts(kErr).empty());
}

TEST_F(LockTest, UninitialisedPortAnswers11AndIsLeftUnlocked) {
    port_->initialized = 0;
    EXPECT_EQ(qsfp_check_and_lock_hdl(port_, 1234), QSFP_ERR_NOT_READY);
    port_->initialized = 1;
    EXPECT_TRUE(port_mutex_free());
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "Controller 0 Port 1: QSFP instance not fully initialized.  Hdl 0x%p  Opaque 0x%p at line 1234\n",
                  static_cast<void *>(port_), reinterpret_cast<void *>(static_cast<std::uintptr_t>(port_->opaque)));
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{expected});
}

TEST_F(LockTest, PortMutexDeadlockAnswers35AndReleasesTheGlobalLock) {
    ASSERT_EQ(pthread_mutex_lock(&mutex_), 0);
    EXPECT_EQ(qsfp_check_and_lock_hdl(port_, 1), QSFP_ERR_DEADLOCK);
    pthread_mutex_unlock(&mutex_);
    const auto errs = trace_texts(kErr);
    ASSERT_EQ(errs.size(), 2u);
    EXPECT_EQ(errs[0].rfind("Failed to lock port ctx, rc: 35, errno: ", 0), 0u);
    EXPECT_EQ(errs[1], "Port ctx locking failed.  Deadlock!!\n");
    EXPECT_EQ(pthread_mutex_trylock(&qsfp_get_ctx()->lock), 0);
    pthread_mutex_unlock(&qsfp_get_ctx()->lock);
    // The wait was announced with the port lock's label.
    ptd_ref_block blocks[4];
    EXPECT_EQ(ptd_ref_blocked(blocks, 4), 0u);
}

TEST_F(LockTest, GlobalLockDeadlockAnswers35) {
    ASSERT_EQ(pthread_mutex_lock(&qsfp_get_ctx()->lock), 0);
    EXPECT_EQ(qsfp_check_and_lock_hdl(port_, 1), QSFP_ERR_DEADLOCK);
    pthread_mutex_unlock(&qsfp_get_ctx()->lock);
    const auto errs = trace_texts(kErr);
    ASSERT_EQ(errs.size(), 2u);
    EXPECT_EQ(errs[0].rfind("mutex_lock(3) failed, rc: 35, errno: ", 0), 0u);
    EXPECT_EQ(errs[1], "locking leads to deadlock, need traceback\n");
    EXPECT_TRUE(port_mutex_free());
}

TEST_F(LockTest, ContendedPortLockIsAnnouncedAroundTheBlockingLock) {
    ASSERT_EQ(pthread_mutex_lock(&mutex_), 0);  // the "other operation" holds the port
    const std::uint64_t before = ptd_ref_announcements();
    std::atomic<std::uint32_t> rc{0xFFFF};
    std::thread waiter([&] {
        rc = qsfp_check_and_lock_hdl(port_, 1);
        if (rc == QSFP_OK) {
            qsfp_port_unlock(port_);
        }
    });
    EXPECT_TRUE(wait_for_block("qsfp_check_and_lock_hdl", 163, &mutex_));
    EXPECT_EQ(rc.load(), 0xFFFFu);  // still waiting
    pthread_mutex_unlock(&mutex_);
    waiter.join();
    EXPECT_EQ(rc.load(), QSFP_OK);
    EXPECT_EQ(ptd_ref_announcements(), before + 1);
    ptd_ref_block blocks[4];
    EXPECT_EQ(ptd_ref_blocked(blocks, 4), 0u);  // unset after the lock was had
}

TEST_F(LockTest, GlobalLockIsTakenBeforeThePortLock) {
    // A waiter blocked on a busy port holds the global lock meanwhile, so a
    // second caller, even for another port, waits on the global lock.
    insert(1, basic_image(0x0C));
    qsfp_port_ctx *other = create(1, QSFP_ERR_NOT_READY);
    ASSERT_EQ(pthread_mutex_lock(&mutex_), 0);
    std::thread first([&] {
        if (qsfp_check_and_lock_hdl(port_, 1) == QSFP_OK) {
            qsfp_port_unlock(port_);
        }
    });
    ASSERT_TRUE(wait_for_block("qsfp_check_and_lock_hdl", 163, &mutex_));
    std::atomic<std::uint32_t> second_rc{0xFFFF};
    std::thread second([&] { second_rc = qsfp_check_and_lock_hdl(other, 1); });
    EXPECT_TRUE(wait_for_block("qsfp_context_lock", 100, &qsfp_get_ctx()->lock));
    EXPECT_EQ(second_rc.load(), 0xFFFFu);
    pthread_mutex_unlock(&mutex_);
    first.join();
    second.join();
    EXPECT_EQ(second_rc.load(), QSFP_OK);
}

}  // namespace
