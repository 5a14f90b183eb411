// The reference event manager in real time: its own thread runs the handlers
// on the monotonic clock.
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

namespace {

std::atomic<int> g_fired{0};
std::atomic<std::uint64_t> g_fired_at_ns{0};
std::atomic<bool> g_on_other_thread{false};
std::thread::id g_test_thread;

void handler(mgd_timer *tree) {
    while (mgd_timer *leaf = mgd_timer_tree_first_expired(tree)) {
        mgd_timer_leaf_stop(leaf);
        g_fired_at_ns = mgd_timer_ref_now_ns(tree);
        g_on_other_thread = std::this_thread::get_id() != g_test_thread;
        ++g_fired;
    }
}

bool wait_for(const std::atomic<int> &counter, int value, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (counter.load() < value && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return counter.load() >= value;
}

TEST(EventManagerRealTimeTest, ThreadRunsTheHandlerAfterTheDelay) {
    g_test_thread = std::this_thread::get_id();
    void *em = qsfp_ref_event_manager_new(QSFP_REF_REAL_TIME);
    mgd_timer *tree = mgd_timer_tree_new();
    ASSERT_EQ(levm_attach_tree_timer(event_manager_levm_get(em), tree, handler, nullptr), 0);
    mgd_timer *leaf = mgd_timer_leaf_new(tree, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 0, 50'000'000);  // 50 ms
    const std::uint64_t deadline = mgd_timer_ref_deadline_ns(leaf);

    ASSERT_TRUE(wait_for(g_fired, 1, std::chrono::seconds(5)));
    EXPECT_TRUE(g_on_other_thread.load());
    EXPECT_GE(g_fired_at_ns.load(), deadline);
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 0);

    mgd_timer_leaf_free(leaf);
    mgd_timer_ref_tree_free(tree);
    qsfp_ref_event_manager_free(em);
}

TEST(EventManagerRealTimeTest, StoppedLeafDoesNotFire) {
    g_fired = 0;
    void *em = qsfp_ref_event_manager_new(QSFP_REF_REAL_TIME);
    mgd_timer *tree = mgd_timer_tree_new();
    ASSERT_EQ(levm_attach_tree_timer(event_manager_levm_get(em), tree, handler, nullptr), 0);
    mgd_timer *leaf = mgd_timer_leaf_new(tree, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 0, 30'000'000);
    mgd_timer_leaf_stop(leaf);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(g_fired.load(), 0);
    mgd_timer_leaf_free(leaf);
    mgd_timer_ref_tree_free(tree);
    qsfp_ref_event_manager_free(em);
}

}  // namespace
