// The cool timer on the reference event manager's own thread, in real time:
// the same settle-period ending as under the virtual clock.
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp_sff8636.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

#include "sff8636/sff_port.h"

namespace {

std::atomic<int> g_done{0};
std::atomic<bool> g_on_event_thread{false};
std::thread::id g_test_thread;

void init_done(std::uint64_t, std::uint32_t) {
    g_on_event_thread = std::this_thread::get_id() != g_test_thread;
    ++g_done;
}

TEST(TimerRealTimeTest, CoolTimerFiresOnTheEventManagersThread) {
    qsfp::sim::VirtualClock::instance().set_real_time(true);
    g_test_thread = std::this_thread::get_id();
    void *evm = qsfp_ref_event_manager_new(QSFP_REF_REAL_TIME);
    qsfp::sim::LineCard card(1);
    card.cage(0).insert(std::make_unique<qsfp::sim::Module>(qsfp::test::qsfp28_memory()));
    qsfp_port_create_params p = card.params(0, evm);
    p.init_done_notify = init_done;
    qsfp_port_create_result result{};
    ASSERT_EQ(qsfp_port_create(&p, &result), QSFP_OK);
    qsfp_port_ctx *port = result.handle;
    port->rate = 40;
    qsfp::sff8636::set_settle(port, qsfp::sff8636::Settle::settling);
    card.cage(0).module()->memory().set(0, 86, 0x0F);
    ASSERT_EQ(qsfp_fvt.port_enable(port, 0x03, 0), QSFP_OK);  // pending

    const auto start = std::chrono::steady_clock::now();
    mgd_timer_leaf_start(port->cool_timer, 0, 50000000);  // 50 ms
    while (g_done.load() == 0 && std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_EQ(g_done.load(), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_TRUE(g_on_event_thread.load());
    EXPECT_EQ(port->cool_expired, 1u);
    EXPECT_EQ(card.cage(0).module()->memory().get(0, 86), 0x0C);
    EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
}

}  // namespace
