// Port creation: the port list, the result record, and the driver table bound
// by the module's identifier byte.
#include <cstring>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/basic_image.h>

#include "support/library_fixture.h"
#include "support/stderr_capture.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::basic_image;

bool same_table(const qsfp_port_ctx *port, const qsfp_drv_fvt &table) {
    return std::memcmp(&port->fvt, &table, sizeof table) == 0;
}

bool all_slots_null(const qsfp_port_ctx *port) {
    const qsfp_drv_fvt none{};
    return same_table(port, none);
}

class PortCreateTest : public LibraryTest {};

TEST_F(PortCreateTest, Identifier0x11BindsTheSff8636TableAtRate100) {
    insert(0, basic_image(0x11));
    qsfp_port_ctx *port = create(0, QSFP_OK);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->rate, 100u);
    EXPECT_TRUE(same_table(port, qsfp_fvt));
    EXPECT_EQ(port->initialized, 1u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init: Qsfp28 optics \n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init done\n"));
}

TEST_F(PortCreateTest, Identifier0x0DBindsTheSff8636TableAtRate40) {
    insert(1, basic_image(0x0D));
    qsfp_port_ctx *port = create(1, QSFP_OK);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->rate, 40u);
    EXPECT_TRUE(same_table(port, qsfp_fvt));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 2: Init: Non Qsfp optics \n"));
}

TEST_F(PortCreateTest, Identifier0x18BindsTheCmisTableAtRate400) {
    insert(2, basic_image(0x18));
    qsfp_port_ctx *port = create(2, QSFP_OK);  // the CMIS bring-up finds no known module type: not an error
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->rate, 400u);
    EXPECT_TRUE(same_table(port, qsfp_dd_fvt));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 3: Init: Qsfp-dd optics \n"));
}

TEST_F(PortCreateTest, UnknownIdentifierAnswers11WithAHandleWhoseSlotsAreNull) {
    insert(3, basic_image(0x0C));
    qsfp_port_create_params p = params(3);
    p.init_arg = 0x5A;
    qsfp_port_create_result result{};
    EXPECT_EQ(qsfp_port_create(&p, &result), QSFP_ERR_NOT_READY);
    ports_.push_back(result.handle);
    ASSERT_NE(result.handle, nullptr);
    EXPECT_EQ(result.rc, QSFP_ERR_NOT_READY);
    EXPECT_EQ(result.not_ready, 0u);
    EXPECT_EQ(result.init_arg, 0x5Au);
    EXPECT_EQ(result.handle->initialized, 1u);
    EXPECT_EQ(result.handle->rate, 0u);
    EXPECT_TRUE(all_slots_null(result.handle));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 4: Init done\n"));
}

TEST_F(PortCreateTest, NotReadyIsSetExactlyWhenDeviceInitAnswers11) {
    // The SFF-8636 bring-up returns the code of a failing status read as it stands.
    for (const std::uint32_t code : {11u, 5u}) {
        const std::size_t cage = code == 11 ? 20 : 21;
        insert(cage, basic_image(0x11)).fail_range(qsfp::sim::Op::read, -1, 2, 2, code);
        qsfp_port_create_params p = params(cage);
        qsfp_port_create_result result{};
        EXPECT_EQ(qsfp_port_create(&p, &result), code);
        ports_.push_back(result.handle);
        ASSERT_NE(result.handle, nullptr);
        EXPECT_EQ(result.not_ready, code == 11 ? 1u : 0u);
        EXPECT_EQ(result.rc, code);
        EXPECT_EQ(result.handle->initialized, 1u);
    }
}

TEST_F(PortCreateTest, SecondCreationWithTheSameOpaqueTouchesNoModuleByte) {
    insert(4, basic_image(0x0C));
    qsfp_port_ctx *first = create(4, QSFP_ERR_NOT_READY);
    card().cage(4).reset_stats();
    card().cage(4).clear_log();
    clear_traces();

    qsfp_port_create_params again = params(4);
    again.controller = 9;  // not copied again
    again.init_arg = 77;
    qsfp_port_create_result result{};
    EXPECT_EQ(qsfp_port_create(&again, &result), QSFP_OK);
    EXPECT_EQ(result.handle, first);
    EXPECT_EQ(result.rc, QSFP_OK);
    EXPECT_EQ(result.init_arg, 77u);
    EXPECT_EQ(first->controller, 0u);
    EXPECT_EQ(card().cage(4).stats().transactions, 0u);
    EXPECT_TRUE(card().cage(4).log().empty());
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 5: Port 5 already initialized\n"));
    EXPECT_TRUE(trace_has(kEvt, "QSFP DLL already initialized\n"));
}

TEST_F(PortCreateTest, FailingPageSelectReadAnswers11AndMarksThePortInitialised) {
    qsfp::sim::Cage &cage = insert(5, basic_image(0x11));
    cage.fail_range(qsfp::sim::Op::read, -1, 127, 127, 5);
    qsfp_port_create_result result{};
    qsfp_port_create_params p = params(5);
    EXPECT_EQ(qsfp_port_create(&p, &result), QSFP_ERR_NOT_READY);
    ports_.push_back(result.handle);
    ASSERT_NE(result.handle, nullptr);
    EXPECT_EQ(result.handle->initialized, 1u);
    EXPECT_TRUE(all_slots_null(result.handle));
    EXPECT_EQ(result.not_ready, 0u);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Controller 0 Port 6: Init: Can't read page select. rc 0x5\n"});
    // Nothing further was read: the identifier stays unknown.
    EXPECT_EQ(cage.stats().transactions, 1u);
}

TEST_F(PortCreateTest, EmptyCageAnswers11) {
    qsfp_port_ctx *port = create(6, QSFP_ERR_NOT_READY);
    ASSERT_NE(port, nullptr);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 7: Init: Can't read page select. rc 0x6\n"));
}

TEST_F(PortCreateTest, CachedPageComesFromByte127) {
    qsfp::sim::ModuleMemory m = basic_image(0x0C);
    m.set(0, 127, 3);
    insert(7, std::move(m));
    qsfp_port_ctx *port = create(7, QSFP_ERR_NOT_READY);
    // The identifier read at byte 0 is a lower-page access, which on a raw
    // bus re-selects page 00h first.
    EXPECT_EQ(port->cur_page, 0u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 8: Last page for Port = 8, page 0x3 \n"));
    EXPECT_EQ(card().cage(7).stats().page_select_writes, 1u);
}

TEST_F(PortCreateTest, ParametersAreCopiedIntoThePortContext) {
    insert(8, basic_image(0x0C));
    qsfp_port_create_params p = params(8);
    p.controller = 3;
    p.port_mode = 14;
    p.lane_setting[0] = 0x11;
    p.lane_setting[1] = 0x22;
    p.lane_setting[2] = 0x33;
    p.lane_setting[3] = 0x44;
    p.lane_setting[4] = 0x55;
    p.cfg_byte_a = 1;
    p.cfg_byte_b = 2;
    p.cfg_word[0] = 10;
    p.cfg_word[3] = 13;
    p.force_non_adaptive_ctle = 1;
    p.is_direct_page_rd_support = 1;
    p.retimer_port = 12;
    p.multirate_port_speed = 40000000;
    qsfp_port_ctx *port = create(p, QSFP_ERR_NOT_READY);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->controller, 3u);
    EXPECT_EQ(port->port, 9u);
    EXPECT_EQ(port->port_mode, 14u);
    for (int lane = 0; lane < QSFP_MAX_LANES; ++lane) {
        EXPECT_EQ(port->lane_tx_eq[lane], 0x11);
        EXPECT_EQ(port->lane_rx_emphasis[lane], 0x22);
        EXPECT_EQ(port->lane_rx_pre[lane], 0x33);
        EXPECT_EQ(port->lane_rx_post[lane], 0x44);
        EXPECT_EQ(port->lane_rx_amp[lane], 0x55);
    }
    EXPECT_EQ(port->cfg_byte_a, 1);
    EXPECT_EQ(port->cfg_byte_b, 2);
    EXPECT_EQ(port->cfg_word[0], 10u);
    EXPECT_EQ(port->cfg_word[3], 13u);
    EXPECT_EQ(port->force_non_adaptive_ctle, 1u);
    EXPECT_EQ(port->is_direct_page_rd_support, 1u);
    EXPECT_EQ(port->is_direct_page_wr_support, 0u);
    EXPECT_EQ(port->retimer_port, 12u);
    EXPECT_EQ(port->multirate_port_speed, 40000000u);
    EXPECT_EQ(port->read, p.read);
    EXPECT_EQ(port->write, p.write);
    EXPECT_EQ(port->bit_bang_read, p.bit_bang_read);
    EXPECT_EQ(port->trace_err, qsfp_get_ctx()->trace_err);
    EXPECT_EQ(port->trace_port_periodic, qsfp_get_ctx()->trace_port_periodic);
    EXPECT_EQ(port->ready_lanes, 0u);
    EXPECT_EQ(port->cool_expired, 0u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 3 Port 9: is_direct_page_wr_support 0, is_direct_page_rd_support 1\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 3 Port 9: Init Retimer Port = 12\n"));
}

TEST_F(PortCreateTest, CoolTimerLeafIsType1WithThePortAsContext) {
    insert(9, basic_image(0x0C));
    qsfp_port_ctx *port = create(9, QSFP_ERR_NOT_READY);
    ASSERT_NE(port->cool_timer, nullptr);
    EXPECT_EQ(mgd_timer_leaf_get_type(port->cool_timer), 1u);
    EXPECT_EQ(mgd_timer_leaf_get_context(port->cool_timer), port);
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
}

TEST_F(PortCreateTest, NewPortGoesToTheHeadOfTheList) {
    insert(10, basic_image(0x0C));
    insert(11, basic_image(0x0C));
    qsfp_port_ctx *a = create(10, QSFP_ERR_NOT_READY);
    qsfp_port_ctx *b = create(11, QSFP_ERR_NOT_READY);
    EXPECT_EQ(qsfp_get_ctx()->ports, b);
    EXPECT_EQ(b->next, a);
}

TEST_F(PortCreateTest, LookupTracesEachListStep) {
    insert(12, basic_image(0x0C));
    qsfp_port_ctx *a = create(12, QSFP_ERR_NOT_READY);
    clear_traces();
    insert(13, basic_image(0x0C));
    qsfp_port_create_params p = params(13);
    create(p, QSFP_ERR_NOT_READY);
    char step[128];
    std::snprintf(step, sizeof step, "opaque = 0x%p  lpc->opaque = 0x%p\n",
                  reinterpret_cast<void *>(static_cast<std::uintptr_t>(p.opaque)),
                  reinterpret_cast<void *>(static_cast<std::uintptr_t>(a->opaque)));
    EXPECT_TRUE(trace_has(kEvt, step));
    char made[128];
    std::snprintf(made, sizeof made, "Opaque 0x%p\nCan't find our port ctx.  Create one!\n",
                  reinterpret_cast<void *>(static_cast<std::uintptr_t>(p.opaque)));
    EXPECT_TRUE(trace_has(kEvt, made));
}

TEST_F(PortCreateTest, NullArgumentsAreRefused) {
    StderrCapture err;
    qsfp_port_create_result result{};
    EXPECT_EQ(qsfp_port_create(nullptr, &result), QSFP_ERR_INVALID);
    qsfp_port_create_params p = params(14);
    EXPECT_EQ(qsfp_port_create(&p, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(err.take(), "QSFP: context is invalid/nullQSFP: context is invalid/null");
}

TEST_F(PortCreateTest, GlobalLockDeadlockAnswers35AndLeavesTheResultUntouched) {
    insert(14, basic_image(0x0C));
    create(14, QSFP_ERR_NOT_READY);  // sets the library up, so its traces exist
    clear_traces();
    insert(15, basic_image(0x0C));
    qsfp_port_create_params p = params(15);
    qsfp_port_create_result result{};
    result.rc = 0xDEAD;
    ASSERT_EQ(pthread_mutex_lock(&qsfp_get_ctx()->lock), 0);
    const std::uint32_t rc = qsfp_port_create(&p, &result);
    pthread_mutex_unlock(&qsfp_get_ctx()->lock);
    EXPECT_EQ(rc, QSFP_ERR_DEADLOCK);
    EXPECT_EQ(result.rc, 0xDEADu);
    const auto errs = trace_texts(kErr);
    ASSERT_EQ(errs.size(), 2u);
    EXPECT_EQ(errs[0].rfind("mutex_lock(3) failed, rc: 35, errno: ", 0), 0u);
    EXPECT_EQ(errs[1], "locking leads to deadlock, need traceback\n");
}

TEST(PortGetRateTest, IdentifierToRate) {
    EXPECT_EQ(qsfp_port_get_rate(0x0D), 40u);
    EXPECT_EQ(qsfp_port_get_rate(0x11), 100u);
    EXPECT_EQ(qsfp_port_get_rate(0x18), 400u);
    for (int id = 0; id < 256; ++id) {
        if (id != 0x0D && id != 0x11 && id != 0x18) {
            EXPECT_EQ(qsfp_port_get_rate(static_cast<std::uint8_t>(id)), 0u) << id;
        }
    }
}

}  // namespace
