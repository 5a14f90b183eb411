// The exported port operations: the shared bracket, and the operations that
// decide from the port context.
#include <cstdlib>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "sff8636/sff_port.h"
#include "support/stderr_capture.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

// What the recording slots saw.
struct Recorded {
    int calls = 0;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    std::uint32_t answer = 0;
    std::vector<std::uint32_t> order;  // DOM slots called, by index
    std::uint32_t dom_write = 0;       // bytes each DOM slot claims to write
};
Recorded g;

std::uint32_t record_lanes(qsfp_port_ctx *, std::uint32_t lanes, std::uint32_t flag) {
    ++g.calls;
    g.a = lanes;
    g.b = flag;
    return g.answer;
}

template <std::uint32_t Index>
std::uint32_t record_dom(qsfp_port_ctx *, char *buf, std::uint32_t *written, std::uint32_t len) {
    g.order.push_back(Index);
    g.a = len;
    const std::uint32_t n = std::min(g.dom_write, len);
    std::memset(buf, 'A' + static_cast<int>(Index), n);
    *written = g.dom_write;
    return Index == 11 ? g.answer : 0;
}

struct Notified {
    int calls = 0;
    std::uint32_t controller = 0, port = 0, kind = 0;
    std::uint32_t *answer = reinterpret_cast<std::uint32_t *>(1);
};
Notified g_notified;

void notify(std::uint32_t controller, std::uint32_t port, std::uint32_t kind, std::uint32_t *answer) {
    ++g_notified.calls;
    g_notified.controller = controller;
    g_notified.port = port;
    g_notified.kind = kind;
    g_notified.answer = answer;
}

class PortOpsTest : public SffPortTest {
protected:
    void SetUp() override {
        SffPortTest::SetUp();
        g = Recorded{};
        g_notified = Notified{};
    }
    qsfp_port_ctx *make_locked_port() {
        insert(0, qsfp28_memory());
        qsfp_port_create_params p = params(0);
        p.port_lock = &mutex_;
        p.admin_state_notify = notify;
        qsfp_port_ctx *port = create(p, QSFP_OK);
        forget_traffic();
        return port;
    }
    bool unlocked() {
        if (pthread_mutex_trylock(&mutex_) != 0) {
            return false;
        }
        pthread_mutex_unlock(&mutex_);
        return true;
    }
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// ---- The bracket ------------------------------------------------------------

struct Wrapper {
    const char *name;
    int line;
    const char *message;  // on a failed check; empty: none
    std::function<std::uint32_t(qsfp_port_ctx *)> call;
};

std::vector<Wrapper> wrappers() {
    static std::uint32_t u32;
    static std::uint8_t u8;
    static char text[64];
    static qsfp_hw_status status;
    static qsfp_hw_info info;
    static qsfp_threshold_data thresholds;
    const char *read_check = "qsfp port read check hdl failed \n";
    const char *type_check = "qsfp port qsfp type check hdl failed, will be retried\n";
    return {
        {"lane_tx_enable", 760, read_check, [](qsfp_port_ctx *p) { return qsfp_port_lane_tx_enable(p, 1, 1); }},
        {"lane_rx_enable", 780, read_check, [](qsfp_port_ctx *p) { return qsfp_port_lane_rx_enable(p, 1, 1); }},
        {"lane_tx_cdr_enable", 800, read_check, [](qsfp_port_ctx *p) { return qsfp_port_lane_tx_cdr_enable(p, 1, 1); }},
        {"lane_rx_cdr_enable", 821, read_check, [](qsfp_port_ctx *p) { return qsfp_port_lane_rx_cdr_enable(p, 1, 1); }},
        {"read", 844, read_check, [](qsfp_port_ctx *p) { return qsfp_port_read(p, 0, 0, 1, &u8); }},
        {"write", 867, "qsfp port write check hdl failed \n", [](qsfp_port_ctx *p) { return qsfp_port_write(p, 86, 0, 1, &u8); }},
        {"rate", 892, "qsfp port rate check hdl failed \n", [](qsfp_port_ctx *p) { return qsfp_port_rate(p, &u32); }},
        {"type", 953, type_check, [](qsfp_port_ctx *p) { return qsfp_port_type(p, &u32, text, sizeof text, &u32); }},
        {"modify_eq", 976, type_check, [](qsfp_port_ctx *p) { return qsfp_modify_eq(p, 1, &u8); }},
        {"modify_deemphasis", 999, type_check, [](qsfp_port_ctx *p) { return qsfp_modify_deemphasis(p, 1, &u8); }},
        {"modify_amp", 1022, type_check, [](qsfp_port_ctx *p) { return qsfp_modify_amp(p, 1, &u8); }},
        {"modify_si_values", 1052, "",
         [](qsfp_port_ctx *p) { return qsfp_modify_si_values(p, 1, &u8, 1, &u8, 1, &u8, 1, &u8); }},
        {"hw_thresholds", 1084, "qsfp port qsfp hw thresholds check hdl failed \n",
         [](qsfp_port_ctx *p) { return qsfp_port_hw_thresholds(p, &thresholds); }},
        {"set_sim_alarms", 1106, "qsfp port qsfp hw thresholds check hdl failed \n",
         [](qsfp_port_ctx *p) { return qsfp_port_set_sim_alarms(p, &u32); }},
        {"hw_status", 1128, "qsfp port qsfp hw status check hdl failed \n",
         [](qsfp_port_ctx *p) { return qsfp_port_hw_status(p, &status); }},
        {"hw_info", 1152, "qsfp port hw info check hdl failed \n", [](qsfp_port_ctx *p) { return qsfp_port_hw_info(p, &info); }},
        {"admin_state", 1176, "", [](qsfp_port_ctx *p) { return qsfp_port_admin_state(p, 1, 1, 1); }},
        {"tx_disable", 1251, "", [](qsfp_port_ctx *p) { return qsfp_port_tx_disable(p, 1, 1, 1); }},
        {"qsa", 1337, "QSA qsfp port write check hdl failed \n", [](qsfp_port_ctx *p) { return qsfp_port_qsa_sfp_inserted(p, &u32); }},
        {"mode_config", 1474, type_check, [](qsfp_port_ctx *p) { return qsfp_port_mode_config(p, 0); }},
        {"default_fec", 1538, type_check, [](qsfp_port_ctx *p) { return qsfp_port_get_default_fec(p, &u32); }},
        {"default_autoneg", 1590, type_check, [](qsfp_port_ctx *p) { return qsfp_port_get_default_autoneg(p, &u32); }},
        {"config_traffic", 1685, type_check, [](qsfp_port_ctx *p) { return qsfp_module_config_traffic(p, &u32); }},
        {"config_perf_mon", 1709, type_check, [](qsfp_port_ctx *p) { return qsfp_module_config_perf_mon(p, &u32); }},
        {"config_update", 1734, type_check, [](qsfp_port_ctx *p) { return qsfp_module_config_update(p, &u32, &u32); }},
        {"cdb", 1758, type_check, [](qsfp_port_ctx *p) { return qsfp_module_cdb_cmd_execute(p, &u32); }},
        {"debug_info", 1789, "", [](qsfp_port_ctx *p) { return qsfp_module_get_debug_info(p, text, sizeof text, &u32); }},
        {"firmware_progress", 1815, type_check,
         [](qsfp_port_ctx *p) { return qsfp_port_get_firmware_update_progress(p, &u32, &u32, &u32); }},
        {"multirate", 2335, "qsfp port hw info check hdl failed \n", [](qsfp_port_ctx *p) { return is_qsfp_multirate(p, &u8); }},
    };
}

TEST_F(PortOpsTest, FailedHandleCheckPrintsTheOperationsMessageAndAnswersTheCode) {
    for (const Wrapper &w : wrappers()) {
        StderrCapture err;
        EXPECT_EQ(w.call(nullptr), QSFP_ERR_INVALID) << w.name;
        EXPECT_EQ(err.take(), w.message) << w.name;
    }
}

TEST_F(PortOpsTest, EachOperationNamesItsLineWhenThePortIsNotInitialised) {
    qsfp_port_ctx *port = make_locked_port();
    port->initialized = 0;
    for (const Wrapper &w : wrappers()) {
        clear_traces();
        EXPECT_EQ(w.call(port), QSFP_ERR_NOT_READY) << w.name;
        const auto errs = trace_texts(kErr);
        ASSERT_EQ(errs.size(), 1u) << w.name;
        EXPECT_NE(errs[0].find("at line " + std::to_string(w.line) + "\n"), std::string::npos) << w.name << errs[0];
        EXPECT_TRUE(unlocked()) << w.name;
    }
    port->initialized = 1;
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PortOpsTest, NullSlotAnswersAllOnesAndUnlocks) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint32_t value = 0;
    EXPECT_EQ(qsfp_module_config_traffic(port, &value), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &value), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(qsfp_port_set_sim_alarms(port, &value), QSFP_ERR_EMPTY_SLOT);
    port->fvt.mode_config = nullptr;
    EXPECT_EQ(qsfp_port_mode_config(port, 0), QSFP_ERR_EMPTY_SLOT);
    EXPECT_TRUE(unlocked());
}

TEST_F(PortOpsTest, LaneArgumentsReachTheSlotMaskedTo8Bits) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt.lane_tx_ena_dis = record_lanes;
    g.answer = 0x1234;
    EXPECT_EQ(qsfp_port_lane_tx_enable(port, 0x1F3, 7), 0x1234u);
    EXPECT_EQ(g.a, 0xF3u);
    EXPECT_EQ(g.b, 7u);
    EXPECT_TRUE(unlocked());
}

TEST_F(PortOpsTest, CoherentTableAnswersLaneEnableWithAStubThatSucceeds) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt = qsfp_dd_coh_dsp_fvt;
    EXPECT_EQ(qsfp_port_lane_tx_enable(port, 1, 1), QSFP_OK);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Controller 0 Port 1: Unsupported\n"});
    port->fvt.lane_tx_ena_dis = nullptr;
    EXPECT_EQ(qsfp_port_lane_tx_enable(port, 1, 1), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PortOpsTest, StubsOfEachSlotHaveTraceNumbersOfTheirOwn) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt = qsfp_dd_fvt;
    std::uint8_t v = 0;
    qsfp_port_lane_tx_enable(port, 1, 1);
    qsfp_port_lane_rx_enable(port, 1, 1);
    qsfp_modify_eq(port, 1, &v);
    port->fvt = qsfp_dd_coh_dsp_fvt;
    qsfp_port_lane_tx_enable(port, 1, 1);
    const auto entries = trace_entries(kErr);
    ASSERT_EQ(entries.size(), 4u);
    std::set<std::uint32_t> points;
    for (const auto &e : entries) {
        EXPECT_EQ(e.text, "Controller 0 Port 1: Unsupported\n");
        points.insert(e.tracepoint);
    }
    EXPECT_EQ(points.size(), 4u);
}

// ---- Register access ------------------------------------------------------------

std::uint32_t record_reg(qsfp_port_ctx *, std::uint32_t reg, std::uint32_t len, std::uint32_t page, void *,
                         std::uint32_t rw) {
    g.order = {reg, len, page, rw};
    return 0;
}

TEST_F(PortOpsTest, ReadAndWriteTakePageBeforeLength) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint8_t buf[2] = {0x0A, 0x0B};
    EXPECT_EQ(qsfp_port_write(port, 86, 0, 1, buf), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x0A);
    std::uint8_t out[2] = {};
    EXPECT_EQ(qsfp_port_read(port, 86, 0, 2, out), QSFP_OK);
    EXPECT_EQ(out[0], 0x0A);
    port->fvt.reg_read_write = record_reg;
    EXPECT_EQ(qsfp_port_read(port, 200, 3, 16, out), QSFP_OK);
    EXPECT_EQ(g.order, (std::vector<std::uint32_t>{200, 16, 3, 1}));
    EXPECT_EQ(qsfp_port_write(port, 201, 4, 8, out), QSFP_OK);
    EXPECT_EQ(g.order, (std::vector<std::uint32_t>{201, 8, 4, 0}));
    EXPECT_TRUE(unlocked());
}

TEST_F(PortOpsTest, ReadAndWriteRefuseLengthsBeyondTheModuleMapOnBothPaths) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint8_t out[2] = {};
    EXPECT_EQ(qsfp_port_write(port, 86, 0, 0xFFFFFFFFu, out), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_read(port, 300, 0, 1, out), QSFP_ERR_INVALID);
    EXPECT_EQ(cage().stats().transactions, 0u);
    // Through a coherent module's register slot the same bound holds, and the
    // slot is not called.
    g.order.clear();
    port->fvt.reg_read_write = record_reg;
    EXPECT_EQ(qsfp_port_read(port, 200, 3, 0xFFFFFF00u, out), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_write(port, 128, 0x100, 1, out), QSFP_ERR_INVALID);
    EXPECT_TRUE(g.order.empty());
    EXPECT_EQ(trace_texts(kErr).size(), 4u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Access : Reg 0xc8 Sz 4294967040 page 3 beyond the module map\n"));
    EXPECT_TRUE(unlocked());
}

// ---- Admin state and Tx disable --------------------------------------------------

struct StateCase {
    std::uint32_t pre, state;
    int disables, enables;
};

TEST_F(PortOpsTest, AdminStateActsOnChangesAndAlwaysNotifies) {
    qsfp_port_ctx *port = make_locked_port();
    port->controller = 2;
    static int disables, enables;
    static std::uint32_t flag;
    disables = enables = 0;
    port->fvt.port_disable = [](qsfp_port_ctx *, std::uint32_t, std::uint32_t f) -> std::uint32_t { ++disables; flag = f; return 0; };
    port->fvt.port_enable = [](qsfp_port_ctx *, std::uint32_t, std::uint32_t f) -> std::uint32_t { ++enables; flag = f; return 0; };
    const StateCase cases[] = {{0, 0, 0, 0}, {1, 1, 0, 0}, {5, 9, 0, 0}, {1, 0, 1, 0}, {0, 1, 0, 1}, {3, 0, 1, 0}};
    for (const StateCase &c : cases) {
        disables = enables = 0;
        flag = 99;
        const int notified = g_notified.calls;
        EXPECT_EQ(qsfp_port_admin_state(port, c.pre, c.state, 0x10F), QSFP_OK);
        EXPECT_EQ(disables, c.disables);
        EXPECT_EQ(enables, c.enables);
        if (c.disables + c.enables > 0) {
            EXPECT_EQ(flag, 0u);
        }
        EXPECT_EQ(g_notified.calls, notified + 1);
        EXPECT_EQ(g_notified.controller, 2u);
        EXPECT_EQ(g_notified.port, 1u);
        EXPECT_EQ(g_notified.kind, 1u);
        EXPECT_EQ(g_notified.answer, nullptr);
    }
    EXPECT_TRUE(trace_has(kEvt, "Controller 2 Port 1: QSFP admin state handler, pre 1, state 0, lane 0x10f\n"));
    EXPECT_TRUE(unlocked());
}

TEST_F(PortOpsTest, TxDisableUsesFlag1AndNeverNotifies) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt.port_disable = record_lanes;
    port->fvt.port_enable = record_lanes;
    EXPECT_EQ(qsfp_port_tx_disable(port, 1, 0, 0x1FF), QSFP_OK);
    EXPECT_EQ(g.a, 0xFFu);
    EXPECT_EQ(g.b, 1u);
    EXPECT_EQ(qsfp_port_tx_disable(port, 0, 1, 0x3), QSFP_OK);
    EXPECT_EQ(g.calls, 2);
    EXPECT_EQ(qsfp_port_tx_disable(port, 1, 1, 0x3), QSFP_OK);
    EXPECT_EQ(g.calls, 2);
    EXPECT_EQ(g_notified.calls, 0);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSFP tx disable handler, pre 1, state 0, lane 0x1ff\n"));
}

TEST_F(PortOpsTest, PassiveLoopbackSkipsButStillNotifiesOnAdminState) {
    qsfp_port_ctx *port = make_locked_port();
    port->hw_info.qsfp_type = 127;
    port->fvt.port_disable = record_lanes;
    EXPECT_EQ(qsfp_port_admin_state(port, 1, 0, 0xF), QSFP_OK);
    EXPECT_EQ(qsfp_port_tx_disable(port, 1, 0, 0xF), QSFP_OK);
    EXPECT_EQ(g.calls, 0);
    EXPECT_EQ(g_notified.calls, 1);
    EXPECT_EQ(trace_texts(kEvt),
              (std::vector<std::string>{
                  "Controller 0 Port 1: QSFP admin state handler, pre 1, state 0, lane 0xf.  100G Passive loopback.  Skip\n",
                  "Controller 0 Port 1: QSFP tx disable handler, pre 1, state 0, lane 0xf.  100G Passive loopback.  Skip\n"}));
}

TEST_F(PortOpsTest, FailuresAreTracedAndEmptySlotsAnswerAllOnesAfterNotifying) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt.port_disable = record_lanes;
    g.answer = 0x16;
    EXPECT_EQ(qsfp_port_admin_state(port, 1, 0, 0x3), 0x16u);
    EXPECT_EQ(qsfp_port_tx_disable(port, 1, 0, 0x3), 0x16u);
    EXPECT_EQ(trace_texts(kErr),
              (std::vector<std::string>{
                  "Controller 0 Port 1: Failed qsfp_admin_state, pre_admin 1, state 0, lane 0x3, rc: 0x16\n",
                  "Controller 0 Port 1: Failed qsfp_tx_disable, pre_admin 1, state 0, lane 0x3, rc: 0x16\n"}));
    port->fvt.port_enable = nullptr;
    const int notified = g_notified.calls;
    EXPECT_EQ(qsfp_port_admin_state(port, 0, 1, 0x3), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(g_notified.calls, notified + 1);
    EXPECT_TRUE(unlocked());
}

// ---- DOM reports ------------------------------------------------------------------

class DomInfoTest : public PortOpsTest {
protected:
    qsfp_port_ctx *make_recording() {
        qsfp_port_ctx *port = make_locked_port();
        port->fvt.dom_chan_intr_flags = record_dom<9>;
        port->fvt.dom_module_monitor = record_dom<10>;
        port->fvt.dom_channel_monitor = record_dom<11>;
        port->fvt.dom_alarm_warn_monitor = record_dom<12>;
        port->fvt.dom_channel_ctrl_monitor_mask = record_dom<13>;
        port->fvt.dom_channel_alarm_warn = record_dom<14>;
        return port;
    }
    char buf_[256] = {};
};

TEST_F(DomInfoTest, EachKindReachesItsSlot) {
    qsfp_port_ctx *port = make_recording();
    for (std::uint32_t kind = 0; kind < 6; ++kind) {
        g.order.clear();
        EXPECT_EQ(qsfp_port_dom_info(port, buf_, kind, sizeof buf_), QSFP_OK);
        EXPECT_EQ(g.order, std::vector<std::uint32_t>{9 + kind});
    }
    EXPECT_TRUE(unlocked());
}

TEST_F(DomInfoTest, EmptySlotAnswers95) {
    qsfp_port_ctx *port = make_recording();
    port->fvt.dom_module_monitor = nullptr;
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 1, sizeof buf_), QSFP_ERR_NOT_SUPPORTED);
}

TEST_F(DomInfoTest, Kind6ChainsSlots9To13IntoOneBuffer) {
    qsfp_port_ctx *port = make_recording();
    port->fvt.dom_channel_monitor = nullptr;  // skipped
    g.dom_write = 10;
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 6, sizeof buf_), QSFP_OK);
    EXPECT_EQ(g.order, (std::vector<std::uint32_t>{9, 10, 12, 13}));
    EXPECT_EQ(std::string(buf_, 40), std::string(10, 'J') + std::string(10, 'K') + std::string(10, 'M') +
                                         std::string(10, 'N'));
    EXPECT_EQ(g.a, sizeof(buf_) - 30);  // the room left for the last one
}

TEST_F(DomInfoTest, Kind6StopsAfterSlot9WhenItFillsTheBuffer) {
    qsfp_port_ctx *port = make_recording();
    g.dom_write = 300;
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 6, 100), QSFP_OK);
    EXPECT_EQ(g.order, std::vector<std::uint32_t>{9});
}

TEST_F(DomInfoTest, Kind6StopsAtTheFirstFailure) {
    qsfp_port_ctx *port = make_recording();
    g.answer = 5;
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 6, sizeof buf_), 5u);
    EXPECT_EQ(g.order, (std::vector<std::uint32_t>{9, 10, 11}));
}

TEST_F(DomInfoTest, Kind7AndAboveDoNothing) {
    qsfp_port_ctx *port = make_recording();
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 7, sizeof buf_), QSFP_OK);
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 99, sizeof buf_), QSFP_OK);
    EXPECT_TRUE(g.order.empty());
}

TEST_F(DomInfoTest, MissingBufferOrLengthAndFailedCheck) {
    qsfp_port_ctx *port = make_recording();
    EXPECT_EQ(qsfp_port_dom_info(port, nullptr, 0, 10), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_dom_info(port, buf_, 0, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{"QSFP Dom NULL Paremeters \n", "QSFP Dom NULL Paremeters \n"}));
    StderrCapture err;
    EXPECT_EQ(qsfp_port_dom_info(nullptr, buf_, 0, sizeof buf_), QSFP_ERR_INVALID);
    EXPECT_EQ(err.take(), "qsfp_port_dom_info : line = 1326 qsfp port dom check hdl failed \n");
    EXPECT_TRUE(g.order.empty());
}

// ---- Decisions from the port context -----------------------------------------------

bool in(std::uint32_t t, std::initializer_list<std::pair<std::uint32_t, std::uint32_t>> ranges) {
    for (const auto &[a, b] : ranges) {
        if (t >= a && t <= b) return true;
    }
    return false;
}

TEST_F(PortOpsTest, DefaultFecRowByRow) {
    qsfp_port_ctx *port = make_locked_port();
    for (std::uint32_t rate : {0u, 40u, 100u, 200u, 400u}) {
        for (std::uint32_t type = 0; type <= 400; ++type) {
            port->rate = rate;
            port->hw_info.qsfp_type = type;
            std::uint32_t fec = 77;
            ASSERT_EQ(qsfp_port_get_default_fec(port, &fec), QSFP_OK);
            std::uint32_t expected = 0;
            if (rate == 400) expected = 1;
            if (rate == 200) expected = type != 203;
            if (rate == 100) expected = in(type, {{1, 2}, {4, 8}, {11, 11}, {25, 25}, {127, 127}, {129, 133}});
            EXPECT_EQ(fec, expected) << rate << " " << type;
        }
    }
}

TEST_F(PortOpsTest, DefaultAutonegRowByRow) {
    qsfp_port_ctx *port = make_locked_port();
    for (std::uint32_t rate : {0u, 40u, 100u, 200u, 400u}) {
        for (std::uint32_t type = 0; type <= 400; ++type) {
            port->rate = rate;
            port->hw_info.qsfp_type = type;
            std::uint32_t an = 77;
            ASSERT_EQ(qsfp_port_get_default_autoneg(port, &an), QSFP_OK);
            std::uint32_t expected = 0;
            if (rate == 100) expected = in(type, {{8, 8}, {11, 11}, {13, 13}, {132, 132}});
            if (rate == 400) expected = type == 193;
            if (rate == 40) expected = in(type, {{67, 67}, {361, 365}});
            EXPECT_EQ(an, expected) << rate << " " << type;
        }
    }
}

TEST_F(PortOpsTest, DefaultsOfTheExamples) {
    qsfp_port_ctx *port = make_locked_port();
    port->rate = 100;
    std::uint32_t fec = 9;
    port->hw_info.qsfp_type = 3;
    qsfp_port_get_default_fec(port, &fec);
    EXPECT_EQ(fec, 0u);
    port->hw_info.qsfp_type = 4;
    qsfp_port_get_default_fec(port, &fec);
    EXPECT_EQ(fec, 1u);
    StderrCapture err;
    fec = 9;
    EXPECT_EQ(qsfp_port_get_default_fec(nullptr, &fec), QSFP_ERR_INVALID);
    EXPECT_EQ(fec, 9u);
}

TEST_F(PortOpsTest, ActiveCopperOver0To400) {
    qsfp_port_ctx *port = make_locked_port();
    for (std::uint32_t type = 0; type <= 400; ++type) {
        port->hw_info.qsfp_type = type;
        const std::uint32_t expected = type == 8 || (type >= 355 && type <= 359) || (type >= 361 && type <= 365);
        EXPECT_EQ(qsfp_is_active_copper_type(port), expected) << type;
    }
    EXPECT_EQ(qsfp_is_active_copper_type(nullptr), 0u);
    EXPECT_TRUE(unlocked());
}

TEST_F(PortOpsTest, ModuleKindFromTheCopperFlag) {
    qsfp_port_ctx *port = make_locked_port();
    EXPECT_EQ(qsfp_get_module_type(port), 2u);
    port->is_copper = 1;
    EXPECT_EQ(qsfp_get_module_type(port), 1u);
    StderrCapture err;
    EXPECT_EQ(qsfp_get_module_type(nullptr), 0u);
    EXPECT_EQ(err.take(), "qsfp port qsfp type check hdl failed, will be retried\n");
}

TEST_F(PortOpsTest, RateIsReadFromTheModuleOnlyWhenUnknown) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint32_t rate = 0;
    EXPECT_EQ(qsfp_port_rate(port, &rate), QSFP_OK);
    EXPECT_EQ(rate, 100u);
    EXPECT_EQ(cage().stats().transactions, 0u);
    port->rate = 0;
    EXPECT_EQ(qsfp_port_rate(port, &rate), QSFP_OK);
    EXPECT_EQ(rate, 100u);
    EXPECT_EQ(port->rate, 100u);
    EXPECT_EQ(cage().stats().bytes_read, 128u);
    port->rate = 0;
    cage().fail_range(Op::read, -1, 128, 255, 5);
    EXPECT_EQ(qsfp_port_rate(port, &rate), 5u);
    EXPECT_EQ(rate, 0u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Unable to read QSFP data\n"));
}

TEST_F(PortOpsTest, ThresholdsAreTheSavedRecord) {
    qsfp_port_ctx *port = make_locked_port();
    port->thresholds.temp_high_alarm = 75.0f;
    port->thresholds.rx_power_low_warning = -12.5f;
    qsfp_threshold_data out{};
    EXPECT_EQ(qsfp_port_hw_thresholds(port, &out), QSFP_OK);
    EXPECT_EQ(std::memcmp(&out, &port->thresholds, sizeof out), 0);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PortOpsTest, QsaReportsTheSfpFromByte1) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint32_t inserted = 7;
    EXPECT_EQ(qsfp_port_qsa_sfp_inserted(port, &inserted), QSFP_OK);
    EXPECT_EQ(inserted, 1u);
    module().memory().set(0, 1, 0x01);
    EXPECT_EQ(qsfp_port_qsa_sfp_inserted(port, &inserted), QSFP_OK);
    EXPECT_EQ(inserted, 0u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSA : port:1 sfp_mod_abs 0x1\n"));
    module().memory().set(0, 1, 0x00);
    cage().fail_range(Op::read, -1, 1, 1, 5);
    inserted = 7;
    EXPECT_EQ(qsfp_port_qsa_sfp_inserted(port, &inserted), QSFP_OK);
    EXPECT_EQ(inserted, 0u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSA  : Read error lower page0 mod_abs port:1\n"));
}

TEST_F(PortOpsTest, MultirateFromRateSelectAndTheExtendedDeclaration) {
    qsfp_port_ctx *port = make_locked_port();
    std::uint8_t answer = 9;
    EXPECT_EQ(is_qsfp_multirate(port, &answer), QSFP_OK);
    EXPECT_EQ(answer, 0);
    module().memory().set(0, 195, 0x20);
    module().memory().set(0, 221, 0x08);
    EXPECT_EQ(is_qsfp_multirate(port, &answer), QSFP_OK);
    EXPECT_EQ(answer, 1);
    module().memory().set(0, 221, 0x0C);
    EXPECT_EQ(is_qsfp_multirate(port, &answer), QSFP_OK);
    EXPECT_EQ(answer, 0);
    cage().fail_range(Op::read, 0, 221, 221, 5);
    EXPECT_EQ(is_qsfp_multirate(port, &answer), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP read failed for port: 1 at byte 221 in upper page0."));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: check_qsfp_is_multirate is failed for port: 1\n"));
    cage().clear_faults();
    cage().fail_range(Op::read, 0, 195, 195, 5);
    EXPECT_EQ(is_qsfp_multirate(port, &answer), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP read failed for port: 1 at byte 195 in upper page0."));
}

std::uint32_t decode_into(qsfp_port_ctx *, void **, std::uint32_t *, char *buffer) {
    std::strcpy(buffer, "decoded text");
    return 0x55;
}

TEST_F(PortOpsTest, PhyRegDecodeHandsBackTheLibrarysBuffer) {
    qsfp_port_ctx *port = make_locked_port();
    port->fvt.phy_reg_decode = decode_into;
    void *text = nullptr;
    std::uint32_t len = 0;
    EXPECT_EQ(qsfp_port_phy_reg_decode(port, &text, &len), 0x55u);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(static_cast<char *>(text), "decoded text");
    EXPECT_EQ(len, 13u);
    std::free(text);
    port->fvt.phy_reg_decode = nullptr;
    text = nullptr;
    EXPECT_EQ(qsfp_port_phy_reg_decode(port, &text, &len), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(unlocked());
    StderrCapture err;
    EXPECT_EQ(qsfp_port_phy_reg_decode(nullptr, &text, &len), QSFP_ERR_INVALID);
    EXPECT_EQ(err.take(), "qsfp port hw info check hdl failed \n");
}

TEST_F(PortOpsTest, HwInfoSlotThatReleasesTheLockItselfIsNotReleasedTwice) {
    qsfp_port_ctx *port = make_locked_port();
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_TRUE(unlocked());
    EXPECT_EQ(port->lock_owner, 0u);
    EXPECT_EQ(std::string(info.pid), "BASIC-100G-SR4");
}

// ---- Page dump ------------------------------------------------------------------------

TEST(DebugCopyPageInfoTest, FormatsSixteenBytesALine) {
    std::uint8_t bytes[128];
    for (int i = 0; i < 128; ++i) bytes[i] = static_cast<std::uint8_t>(i);
    char out[2048] = {};
    std::uint32_t written = 0;
    EXPECT_EQ(qsfp_debug_copy_page_info(out, 0x80, 3, bytes, sizeof out, &written), QSFP_OK);
    std::string expected = "\nRead Data :\n\n    Page = 3, Offset = 0x00000080 :  ";
    for (int i = 0; i < 128; ++i) {
        char piece[64];
        if (i != 0 && i % 16 == 0) {
            std::snprintf(piece, sizeof piece, "\n    Page = 3, Offset = 0x%08x :  ", 0x80 + i);
            expected += piece;
        }
        std::snprintf(piece, sizeof piece, "0x%02x  ", i);
        expected += piece;
    }
    EXPECT_EQ(std::string(out), expected);
    EXPECT_EQ(written, expected.size());
}

TEST(DebugCopyPageInfoTest, StopsWhenTheRoomIsUsedUp) {
    std::uint8_t bytes[128] = {};
    char out[64];
    std::memset(out, 'x', sizeof out);
    std::uint32_t written = 99;
    qsfp_debug_copy_page_info(out, 0, 0, bytes, 0, &written);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(out[0], 'x');
    qsfp_debug_copy_page_info(out, 0, 0, bytes, 60, &written);
    EXPECT_EQ(written, 60u);
    EXPECT_EQ(out[59], '\0');
    EXPECT_EQ(out[60], 'x');
}

std::vector<std::uint8_t> dumped_pages(const std::vector<qsfp::sim::Transaction> &log) {
    std::vector<std::uint8_t> pages;
    for (const auto &t : log) {
        if (t.op == Op::read && t.reg == 128 && t.len == 128) pages.push_back(t.page);
    }
    return pages;
}

TEST_F(PortOpsTest, PageDumpWalksThePagesOfTheModuleKind) {
    qsfp::sim::ModuleMemory m = qsfp28_memory();
    for (std::uint8_t p : {0x10, 0x11, 0x12, 0x13, 0x14, 0x15}) m.add_page(p);
    insert(0, std::move(m));
    insert(1, qsfp::sim::basic_image(0x0D, true));
    qsfp_port_ctx *port = create(0, QSFP_OK);
    qsfp_port_ctx *flat = create(1, QSFP_OK);
    qsfp::sim::Cage &c = cage();
    std::vector<char> text(20000);
    std::uint32_t used = 0;
    struct Walk {
        std::uint32_t rate, any_page;
        std::vector<std::uint8_t> pages;
    };
    const Walk walks[] = {{100, 0, {0, 1, 2, 3}},
                          {40, 1, {0, 1, 2, 3, 20, 21}},
                          {400, 0, {0, 1, 2, 3, 16, 17}},
                          {0, 1, {0, 1, 2, 3, 16, 17, 18, 19, 20, 21}}};
    for (const Walk &w : walks) {
        port->rate = w.rate;
        port->any_page = w.any_page;
        c.clear_log();
        EXPECT_EQ(qsfp_port_get_debug_info(port, text.data(), text.size(), &used), QSFP_OK) << w.rate;
        EXPECT_EQ(dumped_pages(c.log()), w.pages) << w.rate;
        EXPECT_EQ(used, std::strlen(text.data()));
    }
    card().cage(1).clear_log();
    EXPECT_EQ(qsfp_port_get_debug_info(flat, text.data(), text.size(), &used), QSFP_OK);
    EXPECT_EQ(dumped_pages(card().cage(1).log()), std::vector<std::uint8_t>{0});
}

TEST_F(PortOpsTest, PageDumpKeepsWhatItHadWhenAPageReadFails) {
    qsfp_port_ctx *port = make();
    std::vector<char> text(20000);
    std::uint32_t used = 0;
    cage().fail_range(Op::read, 2, 128, 255, 5);
    EXPECT_EQ(qsfp_port_get_debug_info(port, text.data(), text.size(), &used), 5u);
    EXPECT_EQ(used, std::strlen(text.data()));
    EXPECT_NE(std::string(text.data()).find("Page = 1, Offset = 0x000000f0"), std::string::npos);
    cage().fail_range(Op::read, -1, 0, 127, 6);
    EXPECT_EQ(qsfp_port_get_debug_info(port, text.data(), text.size(), &used), 6u);
    EXPECT_EQ(used, 0u);
}

}  // namespace
