// Managed timer tree and the virtual-time event manager.
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

namespace {

struct Fired {
    std::uint32_t type;
    std::uint64_t at_ns;
};

std::vector<Fired> g_fired;
levm *g_lv = nullptr;

// A handler as the library writes one: drain every expired leaf, stopping each.
void record_expired(mgd_timer *tree) {
    while (mgd_timer *leaf = mgd_timer_tree_first_expired(tree)) {
        mgd_timer_leaf_stop(leaf);
        g_fired.push_back({mgd_timer_leaf_get_type(leaf), levm_ref_now_ns(g_lv)});
        if (mgd_timer_leaf_get_type(leaf) == 9) {
            mgd_timer_leaf_start(leaf, 2, 0);  // re-arms itself
        }
    }
}

class TimerTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_fired.clear();
        em_ = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        g_lv = event_manager_levm_get(em_);
        tree_ = mgd_timer_tree_new();
        ASSERT_EQ(levm_attach_tree_timer(g_lv, tree_, record_expired, nullptr), 0);
    }
    void TearDown() override {
        mgd_timer_ref_tree_free(tree_);
        qsfp_ref_event_manager_free(em_);
    }

    void *em_ = nullptr;
    mgd_timer *tree_ = nullptr;
};

TEST_F(TimerTest, LeafCarriesTypeAndContext) {
    int context = 0;
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 7, &context);
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(mgd_timer_leaf_get_type(leaf), 7u);
    EXPECT_EQ(mgd_timer_leaf_get_context(leaf), &context);
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 0);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, LeafNeedsATree) {
    EXPECT_EQ(mgd_timer_leaf_new(nullptr, 0, 1, nullptr), nullptr);
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    EXPECT_EQ(mgd_timer_leaf_new(leaf, 0, 1, nullptr), nullptr);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, DeadlineIsStartTimePlusInterval) {
    levm_ref_advance_to(g_lv, 5'000'000'000);
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 10, 250);
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 1);
    EXPECT_EQ(mgd_timer_ref_deadline_ns(leaf), 15'000'000'250u);
    std::uint64_t next = 0;
    ASSERT_EQ(levm_ref_next_deadline_ns(g_lv, &next), 1);
    EXPECT_EQ(next, 15'000'000'250u);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, HandlerRunsWhenTheClockReachesTheDeadline) {
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 1, 0);
    levm_ref_advance_to(g_lv, 999'999'999);
    EXPECT_TRUE(g_fired.empty());
    levm_ref_advance_to(g_lv, 1'000'000'000);
    ASSERT_EQ(g_fired.size(), 1u);
    EXPECT_EQ(g_fired[0].type, 1u);
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 0);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, FirstExpiredGivesTheEarliestDeadlineFirst) {
    mgd_timer *late = mgd_timer_leaf_new(tree_, 0, 2, nullptr);
    mgd_timer *early = mgd_timer_leaf_new(tree_, 0, 3, nullptr);
    mgd_timer_leaf_start(late, 3, 0);
    mgd_timer_leaf_start(early, 2, 0);
    levm_ref_advance_to(g_lv, 10'000'000'000);
    ASSERT_EQ(g_fired.size(), 2u);
    EXPECT_EQ(g_fired[0].type, 3u);
    EXPECT_EQ(g_fired[1].type, 2u);
    mgd_timer_leaf_free(late);
    mgd_timer_leaf_free(early);
}

TEST_F(TimerTest, StoppedLeafNeverFires) {
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 1, 0);
    mgd_timer_leaf_stop(leaf);
    levm_ref_advance_to(g_lv, 5'000'000'000);
    EXPECT_TRUE(g_fired.empty());
    std::uint64_t next = 0;
    EXPECT_EQ(levm_ref_next_deadline_ns(g_lv, &next), 0);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, FreedLeafLeavesTheTree) {
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 1, 0);
    mgd_timer_leaf_free(leaf);
    levm_ref_advance_to(g_lv, 5'000'000'000);
    EXPECT_TRUE(g_fired.empty());
}

TEST_F(TimerTest, ReArmingLeafFiresAgainOnlyWhenItsNextDeadlineComes) {
    mgd_timer *leaf = mgd_timer_leaf_new(tree_, 0, 9, nullptr);
    mgd_timer_leaf_start(leaf, 2, 0);
    levm_ref_advance_to(g_lv, 2'000'000'000);
    levm_ref_advance_to(g_lv, 3'000'000'000);
    EXPECT_EQ(g_fired.size(), 1u);
    levm_ref_advance_to(g_lv, 4'000'000'000);
    ASSERT_EQ(g_fired.size(), 2u);
    EXPECT_EQ(g_fired[1].at_ns, 4'000'000'000u);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerTest, AttachRefusesMissingPieces) {
    EXPECT_LT(levm_attach_tree_timer(nullptr, tree_, record_expired, nullptr), 0);
    EXPECT_LT(levm_attach_tree_timer(g_lv, nullptr, record_expired, nullptr), 0);
    EXPECT_LT(levm_attach_tree_timer(g_lv, tree_, nullptr, nullptr), 0);
    EXPECT_EQ(event_manager_levm_get(nullptr), nullptr);
}

TEST_F(TimerTest, VirtualTimeDoesNotGoBack) {
    levm_ref_advance_to(g_lv, 7'000);
    levm_ref_advance_to(g_lv, 3'000);
    EXPECT_EQ(levm_ref_now_ns(g_lv), 7'000u);
}

}  // namespace
