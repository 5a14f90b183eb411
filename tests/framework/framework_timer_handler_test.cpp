// The timer handler, driven by the virtual clock through the library's timer
// tree: the cool timer ends a port's settle period, the keep-alive touches
// DWDM modules every 900 s.
#include <unistd.h>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

#include "sff8636/sff_port.h"
#include "support/stderr_capture.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;
using qsfp::sim::VirtualClock;

struct Done {
    int calls = 0;
    std::uint64_t opaque = 0;
    std::uint32_t port = 0;
};
Done g_done;

void init_done(std::uint64_t opaque, std::uint32_t port) {
    ++g_done.calls;
    g_done.opaque = opaque;
    g_done.port = port;
}

class TimerHandlerTest : public SffPortTest {
protected:
    qsfp_port_ctx *make_settling(std::uint32_t rate) {
        g_done = Done{};
        insert(0, qsfp28_memory());
        qsfp_port_create_params p = params(0);
        p.init_done_notify = init_done;
        qsfp_port_ctx *port = create(p, QSFP_OK);
        port->rate = rate;
        set_settle(port, Settle::settling);
        state(port).options[1] = 0;
        forget_traffic();
        return port;
    }
};

TEST_F(TimerHandlerTest, CoolTimerWithoutTecAt40GSetsReadyEnablesPendingLanesAndNotifies) {
    qsfp_port_ctx *port = make_settling(40);
    module().memory().set(0, 86, 0x0F);
    qsfp_fvt.port_enable(port, 0x05, 0);  // pending while settling
    mgd_timer_leaf_start(port->cool_timer, 2, 500000000);
    const std::uint64_t start = VirtualClock::instance().now_ns();
    usleep(2400000);
    EXPECT_EQ(port->cool_expired, 0u);
    usleep(200000);
    EXPECT_EQ(port->cool_expired, 1u);
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_EQ(byte(0, 86), 0x0A);  // lanes 0 and 2 on
    EXPECT_EQ(g_done.calls, 1);
    EXPECT_EQ(g_done.opaque, cage().opaque());
    EXPECT_EQ(g_done.port, 1u);
    EXPECT_GE(VirtualClock::instance().now_ns() - start, 2600000000u);
    const auto evt = trace_texts(kEvt);
    ASSERT_GE(evt.size(), 3u);
    EXPECT_EQ(evt[1], "Controller 0 Port 1: Init: Cool timer expiry\n");
    EXPECT_EQ(evt[2], "Controller 0 Port 1: qsfp_port enable, lane 0x5");
    // No TEC or CTLE check touched the module before the enable.
    for (const auto &t : cage().log()) {
        if (t.reg != qsfp::sim::kPageSelectReg) {
            EXPECT_EQ(t.reg, 86);
            break;
        }
    }
}

TEST_F(TimerHandlerTest, TecReadyAfterExpiryIsReported) {
    qsfp_port_ctx *port = make_settling(40);
    port->tec_present = 1;
    module().memory().set(0, 8, 0x01);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: TEC ready reg 0x1\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init: TEC ready flag set after timer expiry\n"));
}

TEST_F(TimerHandlerTest, TecNotReadyOrUnreadableIsAFault) {
    qsfp_port_ctx *port = make_settling(40);
    port->tec_present = 1;
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Init: TEC fault, ready flag not set after timer expiry\n"));
    clear_traces();
    module().memory().set(0, 8, 0x01);
    cage().fail_range(Op::read, -1, 8, 8, 5);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Init: TEC fault, ready flag not set after timer expiry\n"));
    EXPECT_EQ(g_done.calls, 2);
}

TEST_F(TimerHandlerTest, AdaptiveEqualiserFaultIsCheckedAt100G) {
    qsfp_port_ctx *port = make_settling(100);
    state(port).options[0] = 0x08;
    module().memory().set(0, 4, 0x20);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: CTLE fault \n"));
}

TEST_F(TimerHandlerTest, EqualiserCheckSkippedWhenForcedNonAdaptiveAndQuietOnReadFailure) {
    qsfp_port_ctx *port = make_settling(100);
    state(port).options[0] = 0x08;
    port->force_non_adaptive_ctle = 1;
    module().memory().set(0, 4, 0x20);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_FALSE(trace_has(kErr, "Controller 0 Port 1: CTLE fault \n"));
    port->force_non_adaptive_ctle = 0;
    set_settle(port, Settle::settling);
    cage().fail_range(Op::read, -1, 4, 4, 5, 1);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(1000000);
    EXPECT_TRUE(trace_has(
        kErr, "Controller 0 Port 1: QSFP Read Page 0 Byte 4 for CTLE failed in qsfp_timer_tree_handler error 0x5\n"));
    EXPECT_FALSE(trace_has(kErr, "Controller 0 Port 1: CTLE fault \n"));
}

TEST_F(TimerHandlerTest, CoolTimerIsOneShot) {
    qsfp_port_ctx *port = make_settling(40);
    mgd_timer_leaf_start(port->cool_timer, 1, 0);
    usleep(5000000);
    EXPECT_EQ(g_done.calls, 1);
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
}

TEST_F(TimerHandlerTest, KeepaliveWritesOneByteAndReArmsFor900Seconds) {
    qsfp_port_ctx *port = make();
    port->any_page = 1;
    port->keepalive_timer = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 2, port);
    mgd_timer_leaf_start(port->keepalive_timer, 900, 1000);
    const std::uint64_t start = VirtualClock::instance().now_ns();
    usleep(900000000);
    EXPECT_TRUE(data_writes().empty());
    usleep(1);
    auto writes = data_writes();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].page, 0x20);
    EXPECT_EQ(writes[0].reg, 0xFA);
    EXPECT_EQ(writes[0].data, std::vector<std::uint8_t>{0x80});
    EXPECT_EQ(mgd_timer_ref_deadline_ns(port->keepalive_timer), start + 2 * (900000000000ull + 1000));
    usleep(900000001);
    EXPECT_EQ(data_writes().size(), 2u);
}

TEST_F(TimerHandlerTest, UnknownLeafTypeOnlyTraces) {
    qsfp_port_ctx *port = make();
    mgd_timer *leaf = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 3, port);
    mgd_timer_leaf_start(leaf, 1, 0);
    usleep(1000000);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Controller 0 Port 1: Unknown timer expired \n"});
    EXPECT_TRUE(cage().log().empty());
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 0);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerHandlerTest, LeafWithoutAPortIsStoppedAndTraced) {
    make();
    mgd_timer *leaf = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, 1, nullptr);
    mgd_timer_leaf_start(leaf, 1, 0);
    usleep(1000000);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"NULL port ctx in timer expiry\n"});
    EXPECT_EQ(mgd_timer_leaf_running(leaf), 0);
    mgd_timer_leaf_free(leaf);
}

TEST_F(TimerHandlerTest, EventIrqOnlyValidatesItsHandle) {
    qsfp_port_ctx *port = make();
    StderrCapture err;
    EXPECT_EQ(qsfp_port_handle_event_irq(port), QSFP_OK);
    EXPECT_EQ(qsfp_port_handle_event_irq(nullptr), QSFP_ERR_INVALID);
    port->initialized = 0;
    EXPECT_EQ(qsfp_port_handle_event_irq(port), QSFP_ERR_INVALID);
    port->initialized = 1;
    EXPECT_EQ(err.take(), "qsfp port irq handle : NULL hdl \nqsfp port irq handle : QSFP is not initialized \n");
    EXPECT_TRUE(cage().log().empty());
}

}  // namespace
