// Port deletion: timers first, then the context is unlinked under both locks.
#include <thread>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

#include "framework/bare_port.h"
#include "support/stderr_capture.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;

bool listed(const qsfp_port_ctx *port) {
    for (const qsfp_port_ctx *p = qsfp_get_ctx()->ports; p != nullptr; p = p->next) {
        if (p == port) {
            return true;
        }
    }
    return false;
}

class PortDeleteTest : public LibraryTest {};

TEST_F(PortDeleteTest, DeletedPortLeavesTheList) {
    insert(0, paged_memory());
    qsfp_port_ctx *port = create(0, QSFP_ERR_NOT_READY);
    forget(port);
    ASSERT_TRUE(listed(port));
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    EXPECT_FALSE(listed(port));
    // The same cage makes a new context afterwards.
    clear_traces();
    create(0, QSFP_ERR_NOT_READY);
    EXPECT_FALSE(trace_texts(kEvt).empty());
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Port 1 already initialized\n"));
}

TEST_F(PortDeleteTest, RunningTimersAreStoppedAndFreed) {
    insert(0, paged_memory());
    qsfp_port_ctx *port = create(0, QSFP_ERR_NOT_READY);
    forget(port);
    port->keepalive_timer = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 2, port);
    mgd_timer_leaf_start(port->cool_timer, 10, 0);
    mgd_timer_leaf_start(port->keepalive_timer, 900, 1000);
    levm *lv = event_manager_levm_get(test_evm());
    std::uint64_t next = 0;
    ASSERT_EQ(levm_ref_next_deadline_ns(lv, &next), 1);
    clear_traces();
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    EXPECT_EQ(trace_texts(kEvt), std::vector<std::string>{"Controller 0 Port 1: Stopping the timer\n"});
    EXPECT_EQ(levm_ref_next_deadline_ns(lv, &next), 0);
}

TEST_F(PortDeleteTest, StoppedCoolTimerIsFreedWithoutATrace) {
    insert(0, paged_memory());
    qsfp_port_ctx *port = create(0, QSFP_ERR_NOT_READY);
    forget(port);
    clear_traces();
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    EXPECT_TRUE(trace_texts(kEvt).empty());
}

TEST_F(PortDeleteTest, NullPortAnswers22) {
    StderrCapture err;
    EXPECT_EQ(qsfp_port_delete(nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(err.take(), "qsfp port delete failed \n");
}

TEST_F(PortDeleteTest, UnlistedContextAnswers2AndFreesNothing) {
    qsfp_port_ctx stray{};
    stray.port = 77;
    StderrCapture err;
    EXPECT_EQ(qsfp_port_delete(&stray), QSFP_ERR_NOT_FOUND);
    EXPECT_EQ(err.take(), "qsfp port context find and delete : NULL port \n");
    EXPECT_EQ(stray.port, 77u);  // still ours, untouched
}

// The timers are freed before the list is searched, so a context that is not
// listed loses them too; its pointers are cleared, and deleting it again
// frees nothing twice.
TEST_F(PortDeleteTest, FreedTimersLeaveNoDanglingPointers) {
    insert(0, paged_memory());
    create(0, QSFP_ERR_NOT_READY);  // sets up the library and its timer tree
    qsfp_port_ctx stray{};
    stray.cool_timer = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 1, &stray);
    stray.keepalive_timer = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 2, &stray);
    mgd_timer_leaf_start(stray.keepalive_timer, 900, 0);
    StderrCapture err;
    EXPECT_EQ(qsfp_port_delete(&stray), QSFP_ERR_NOT_FOUND);
    EXPECT_EQ(stray.cool_timer, nullptr);
    EXPECT_EQ(stray.keepalive_timer, nullptr);
    EXPECT_EQ(qsfp_port_delete(&stray), QSFP_ERR_NOT_FOUND);
    EXPECT_EQ(mgd_timer_tree_first_expired(qsfp_get_ctx()->timer_tree), nullptr);
}

TEST_F(PortDeleteTest, PortMutexIsReleasedAfterDeletion) {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    insert(0, paged_memory());
    qsfp_port_create_params p = params(0);
    p.port_lock = &mu;
    qsfp_port_ctx *port = create(p, QSFP_ERR_NOT_READY);
    forget(port);
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    EXPECT_EQ(pthread_mutex_trylock(&mu), 0);
    pthread_mutex_unlock(&mu);
}

TEST_F(PortDeleteTest, DeletionWaitsForABusyPortAndAnnouncesTheWait) {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    insert(0, paged_memory());
    qsfp_port_create_params p = params(0);
    p.port_lock = &mu;
    qsfp_port_ctx *port = create(p, QSFP_ERR_NOT_READY);
    forget(port);
    pthread_mutex_lock(&mu);
    std::atomic<std::uint32_t> rc{0xFFFF};
    std::thread deleter([&] { rc = qsfp_port_delete(port); });
    bool announced = false;
    for (int i = 0; i < 10000 && !announced; ++i) {
        ptd_ref_block blocks[8];
        const std::uint32_t n = ptd_ref_blocked(blocks, 8);
        for (std::uint32_t k = 0; k < n && k < 8; ++k) {
            announced = announced || (std::string(blocks[k].label) == "qsfp_port_delete" && blocks[k].number == 733);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(announced);
    pthread_mutex_unlock(&mu);
    deleter.join();
    EXPECT_EQ(rc.load(), QSFP_OK);
}

TEST_F(PortDeleteTest, DeadlockOnThePortMutexIsTracedAndDeletionGoesOn) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t mu;
    pthread_mutex_init(&mu, &attr);
    insert(0, paged_memory());
    qsfp_port_create_params p = params(0);
    p.port_lock = &mu;
    qsfp_port_ctx *port = create(p, QSFP_ERR_NOT_READY);
    forget(port);
    clear_traces();
    pthread_mutex_lock(&mu);
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    EXPECT_FALSE(listed(port));
    const auto errs = trace_texts(kErr);
    ASSERT_EQ(errs.size(), 2u);
    EXPECT_EQ(errs[0].rfind("Failed to lock port ctx, rc: 35, errno: ", 0), 0u);
    EXPECT_EQ(errs[1], "Port ctx locking failed.  Deadlock!!\n");
    // The caller's hold on its mutex is left alone.
    EXPECT_EQ(pthread_mutex_unlock(&mu), 0);
    pthread_mutex_destroy(&mu);
}

}  // namespace
