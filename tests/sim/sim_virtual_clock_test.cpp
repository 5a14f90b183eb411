// Virtual time: the library's usleep advances the clock and runs what falls due.
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/virtual_clock.h>

namespace {

using qsfp::sim::VirtualClock;

std::vector<std::uint64_t> g_fired_at;
int g_nested_sleeps = 0;

void handler(mgd_timer *tree) {
    while (mgd_timer *leaf = mgd_timer_tree_first_expired(tree)) {
        mgd_timer_leaf_stop(leaf);
        g_fired_at.push_back(VirtualClock::instance().now_ns());
        if (mgd_timer_leaf_get_type(leaf) == 2) {
            ++g_nested_sleeps;
            usleep(400000);  // a handler that waits, as port enable does
        }
    }
}

class VirtualClockTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_fired_at.clear();
        em_ = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        lv_ = event_manager_levm_get(em_);
        VirtualClock::instance().drive(lv_);
        tree_ = mgd_timer_tree_new();
        ASSERT_EQ(levm_attach_tree_timer(lv_, tree_, handler, nullptr), 0);
        VirtualClock::instance().clear_sleeps();
    }
    void TearDown() override {
        VirtualClock::instance().stop_driving(lv_);
        mgd_timer_ref_tree_free(tree_);
        qsfp_ref_event_manager_free(em_);
    }
    void *em_ = nullptr;
    levm *lv_ = nullptr;
    mgd_timer *tree_ = nullptr;
};

TEST_F(VirtualClockTest, UsleepAdvancesTheClockAndIsRecorded) {
    const std::uint64_t start = VirtualClock::instance().now_ns();
    usleep(300000);
    usleep(10);
    EXPECT_EQ(VirtualClock::instance().now_ns() - start, 300010000u);
    EXPECT_EQ(VirtualClock::instance().sleeps_us(), (std::vector<std::uint64_t>{300000, 10}));
    EXPECT_EQ(levm_ref_now_ns(lv_), VirtualClock::instance().now_ns());
}

TEST_F(VirtualClockTest, SleepRecordKeepsTheNewestWaitsAndCountsThemAll) {
    VirtualClock::instance().set_sleep_log_capacity(2);
    const std::uint64_t start = VirtualClock::instance().now_ns();
    usleep(1);
    usleep(2);
    usleep(3);
    EXPECT_EQ(VirtualClock::instance().sleeps_us(), (std::vector<std::uint64_t>{2, 3}));
    EXPECT_EQ(VirtualClock::instance().sleep_count(), 3u);
    EXPECT_EQ(VirtualClock::instance().now_ns() - start, 6000u);
    VirtualClock::instance().set_sleep_log_capacity(qsfp::sim::kDefaultLogCapacity);
}

TEST_F(VirtualClockTest, TimersFireAtTheirOwnTimeDuringALongSleep) {
    const std::uint64_t start = VirtualClock::instance().now_ns();
    mgd_timer *a = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer *b = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(a, 1, 0);
    mgd_timer_leaf_start(b, 3, 0);
    usleep(10'000'000);
    ASSERT_EQ(g_fired_at.size(), 2u);
    EXPECT_EQ(g_fired_at[0] - start, 1'000'000'000u);
    EXPECT_EQ(g_fired_at[1] - start, 3'000'000'000u);
    mgd_timer_leaf_free(a);
    mgd_timer_leaf_free(b);
}

TEST_F(VirtualClockTest, HandlerThatSleepsMovesTimeOnWithoutReentering) {
    const std::uint64_t start = VirtualClock::instance().now_ns();
    mgd_timer *sleeper = mgd_timer_leaf_new(tree_, 0, 2, nullptr);
    mgd_timer *other = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(sleeper, 1, 0);
    mgd_timer_leaf_start(other, 1, 100'000'000);  // falls due while the first handler sleeps
    usleep(2'000'000);
    ASSERT_EQ(g_fired_at.size(), 2u);
    EXPECT_EQ(g_fired_at[0] - start, 1'000'000'000u);
    // Run after the sleeping handler returned, as a single event thread would.
    EXPECT_EQ(g_fired_at[1] - start, 1'400'000'000u);
    // The sleeping handler ran on the event manager's behalf while this thread
    // slept: the wait still ends 2 s after it began.
    EXPECT_EQ(VirtualClock::instance().now_ns() - start, 2'000'000'000u);
    mgd_timer_leaf_free(sleeper);
    mgd_timer_leaf_free(other);
}

TEST_F(VirtualClockTest, RealTimeModeSleepsForRealAndLeavesTheClock) {
    VirtualClock::instance().set_real_time(true);
    const std::uint64_t before = VirtualClock::instance().now_ns();
    usleep(1000);
    VirtualClock::instance().set_real_time(false);
    EXPECT_EQ(VirtualClock::instance().now_ns(), before);
}

}  // namespace
