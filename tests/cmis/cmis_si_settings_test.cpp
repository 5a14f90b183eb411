// Signal-integrity overrides of the CMIS driver (slot 20, through
// qsfp_modify_si_values): the values recorded per lane, merged into the
// module's active control set, written whole to staged control set 0 and
// applied with ExplicitControl; the emulated module's active set afterwards;
// the overrides programmed again by every mode configuration; a failed bus
// access at each step.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include <qsfp/qsfp_port_ops.h>

#include "cmis/cmis_fault_sweep.h"

namespace {

using namespace qsfp::test;
namespace sim = qsfp::sim;
using qsfp::cmis::mode_config;
using std::chrono::milliseconds;
using Strings = std::vector<std::string>;
using Values = std::array<std::uint8_t, 8>;

constexpr Values kRising = {1, 2, 3, 4, 5, 6, 7, 8};
constexpr Values kZero = {};

// One call's four groups; a group left out has bitmap 0.
struct SiRequest {
    std::uint8_t tx_bitmap = 0;
    Values tx{};
    std::uint8_t pre_bitmap = 0;
    Values pre{};
    std::uint8_t post_bitmap = 0;
    Values post{};
    std::uint8_t amp_bitmap = 0;
    Values amp{};
};

Strings concat(std::initializer_list<Strings> parts) {
    Strings out;
    for (const Strings &p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

Strings with_prefix(const Strings &texts) {
    Strings out;
    for (const std::string &t : texts) {
        out.push_back("Controller 0 Port 1: " + t);
    }
    return out;
}

// Staged application select writes, one per lane.
Strings staged_app(std::initializer_list<const char *> lanes) {
    Strings out;
    int reg = 145;
    for (const char *value : lanes) {
        out.push_back("10h " + std::to_string(reg++) + ": " + value);
    }
    return out;
}

// The traces of applying application `app` with each lane's select byte.
Strings apply_traces(std::initializer_list<const char *> lanes) {
    Strings out;
    int lane = 1;
    for (const char *value : lanes) {
        out.push_back(std::string("Writing ") + value + " to staged ctrl set 0, app select ctrl lane " + std::to_string(lane++) +
                      " reg\n");
    }
    out.push_back("Set Staged Control Set 0 Apply Datapath Init for all 8 lanes\n");
    out.push_back("Datapath power init max code 0x5. init/loop/retries (100/10/40)\n");
    out.push_back("Checking configuration progress 40\n");
    out.push_back("Config accepted by all lanes. retries left 39\n");
    return out;
}

const std::initializer_list<const char *> kApp1Explicit = {"0x11", "0x11", "0x11", "0x11", "0x11", "0x11", "0x11", "0x11"};
const std::initializer_list<const char *> kApp1ExplicitBytes = {"11", "11", "11", "11", "11", "11", "11", "11"};

class CmisSiSettingsTest : public CmisPortTest {
protected:
    std::uint32_t modify(qsfp_port_ctx *port, SiRequest r) {
        return qsfp_modify_si_values(port, r.tx_bitmap, r.tx.data(), r.pre_bitmap, r.pre.data(), r.post_bitmap, r.post.data(),
                                     r.amp_bitmap, r.amp.data());
    }

    // Every datapath deactivated, as before the port is enabled: a module
    // takes ApplyDPInit only then.
    qsfp_port_ctx *idle(qsfp_port_ctx *port) {
        EXPECT_EQ(port->fvt.port_disable(port, 0xFF, 0), QSFP_OK);
        sim::VirtualClock::instance().advance_ns(1000000000);
        EXPECT_EQ(lanes_in(DpState::deactivated), 0xFF);
        forget_traffic();
        return port;
    }
    qsfp_port_ctx *idle(std::string_view name) { return idle(make(name)); }

    // Module bytes as "xx xx ...".
    std::string module_bytes(std::uint8_t page, std::uint8_t first, int count, std::size_t cage_index = 0) {
        std::string out;
        for (int i = 0; i < count; ++i) {
            char byte[4];
            std::snprintf(byte, sizeof byte, "%02x",
                          module(cage_index).memory().get(page, static_cast<std::uint8_t>(first + i)));
            out += (i == 0 ? "" : " ") + std::string(byte);
        }
        return out;
    }
    std::string active_si() { return module_bytes(0x11, 214, 21); }
    std::string active_app_select() { return module_bytes(0x11, 206, 8); }

    // The trace lines of the merge ("Default ..." and "New ...").
    Strings merge_lines() {
        Strings out;
        for (const std::string &t : evt()) {
            if (t.find(": Default ") != std::string::npos || t.find(": New ") != std::string::npos) {
                out.push_back(t);
            }
        }
        return out;
    }
};

TEST_F(CmisSiSettingsTest, RecordsEveryGroupAndAppliesThemUnderExplicitControl) {
    qsfp_port_ctx *port = idle("400G-DR4");
    ASSERT_EQ(active_si(), "00 00 00 00 00 00 00 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
    const std::uint64_t start = now_us();
    SiRequest r{.tx_bitmap = 0xFF, .tx = kRising, .pre_bitmap = 0x03, .pre = {3, 4, 0xE, 0xE}, .post_bitmap = 0x01,
                .post = {0, 0xE}, .amp_bitmap = 0x80, .amp = {0xE, 0xE, 0xE, 0xE, 0xE, 0xE, 0xE, 9}};
    EXPECT_EQ(modify(port, r), QSFP_OK);

    EXPECT_EQ(evt(), with_prefix(concat({
                         {"BM: 0xff TxEq[0]: 0x1\n", "BM: 0xff TxEq[1]: 0x2\n", "BM: 0xff TxEq[2]: 0x3\n",
                          "BM: 0xff TxEq[3]: 0x4\n", "BM: 0xff TxEq[4]: 0x5\n", "BM: 0xff TxEq[5]: 0x6\n",
                          "BM: 0xff TxEq[6]: 0x7\n", "BM: 0xff TxEq[7]: 0x8\n", "BM: 0x3 RxOutputPre[0]: 0x3\n",
                          "BM: 0x3 RxOutputPre[1]: 0x4\n", "BM: 0x1 RxOutputPost[0]: 0x0\n",
                          // The amplitude values are announced with the post-cursor words.
                          "BM: 0x80 RxOutputPost[7]: 0x9\n",
                          "Default Tx EQ: 0x0 0x0 0x0 0x0\n", "New Tx EQ: 0x21 0x43 0x65 0x87\n",
                          "Default Rx Output EQ Pre Tap: 0x0 0x0 0x0 0x0\n", "New Rx Output EQ Pre Tap: 0x43 0x0 0x0 0x0\n",
                          // Unchanged, but an earlier group changed something.
                          "Default Rx Output EQ Post Tap: 0x0 0x0 0x0 0x0\n", "New Rx Output EQ Post Tap: 0x0 0x0 0x0 0x0\n",
                          "Default Rx Output Amplitude: 0x0 0x0 0x0 0x0\n", "New Rx Output Amplitude: 0x0 0x0 0x0 0x90\n"},
                         apply_traces(kApp1Explicit)})));
    EXPECT_TRUE(err().empty());
    // Whole blocks: the CDR enables (221, 222) go back as the module had them.
    EXPECT_EQ(writes(), concat({{"10h 153: 00 00 00 21 43 65 87 ff", "10h 161: ff 43 00 00 00 00 00 00 00 00 00 00 90"},
                                staged_app(kApp1ExplicitBytes),
                                {"10h 143: ff"}}));
    EXPECT_EQ(accesses(), concat({{"R 11h 214 x8", "R 11h 222 x13", "W 10h 153 x8", "W 10h 161 x13"},
                                  {"W 10h 145 x1", "W 10h 146 x1", "W 10h 147 x1", "W 10h 148 x1", "W 10h 149 x1",
                                   "W 10h 150 x1", "W 10h 151 x1", "W 10h 152 x1", "W 10h 143 x1", "R 11h 202 x4"}}));
    // DPInit code 5: the 100 ms wait, and the first poll finds every lane accepted.
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{100000}));
    EXPECT_EQ(now_us() - start, 100000u);
    // The module took the staged values into its active set.
    EXPECT_EQ(active_si(), "00 00 00 21 43 65 87 ff ff 43 00 00 00 00 00 00 00 00 00 00 90");
    EXPECT_EQ(active_app_select(), "11 11 11 11 11 11 11 11");
    for (int lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(module().config_status(lane), sim::CmisModule::ConfigStatus::success) << lane;
    }

    const Values pre = {3, 4, 0, 0, 0, 0, 0, 0};
    const Values amp = {0, 0, 0, 0, 0, 0, 0, 9};
    EXPECT_TRUE(std::equal(kRising.begin(), kRising.end(), port->lane_tx_eq));
    EXPECT_TRUE(std::equal(pre.begin(), pre.end(), port->lane_rx_pre));
    EXPECT_TRUE(std::equal(kZero.begin(), kZero.end(), port->lane_rx_post));
    EXPECT_TRUE(std::equal(amp.begin(), amp.end(), port->lane_rx_amp));
    EXPECT_EQ(state(port).tx_eq_override, 1u);
    EXPECT_EQ(state(port).rx_pre_override, 1u);
    EXPECT_EQ(state(port).rx_post_override, 1u);
    EXPECT_EQ(state(port).rx_amp_override, 1u);
}

TEST_F(CmisSiSettingsTest, OverridesEqualToTheActiveValuesWriteNothing) {
    qsfp_port_ctx *port = idle("400G-DR4");
    ASSERT_EQ(modify(port, {.tx_bitmap = 0xFF, .tx = kRising}), QSFP_OK);
    forget_traffic();

    EXPECT_EQ(modify(port, {.tx_bitmap = 0xFF, .tx = kRising, .amp_bitmap = 0x0F}), QSFP_OK);
    EXPECT_EQ(merge_lines(), prefixed({"Default Tx EQ: 0x21 0x43 0x65 0x87\n", "Default Rx Output Amplitude: 0x0 0x0 0x0 0x0\n"}));
    EXPECT_EQ(accesses(), (Strings{"R 11h 214 x8", "R 11h 222 x13"}));
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(sleeps_us().empty());
    EXPECT_TRUE(err().empty());
    EXPECT_EQ(active_si(), "00 00 00 21 43 65 87 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
}

// The first group that changes a byte starts the "New" lines; a group
// before it has only its "Default" line.
TEST_F(CmisSiSettingsTest, NewLinesStartWithTheFirstChange) {
    qsfp_port_ctx *port = idle("400G-DR4");
    EXPECT_EQ(modify(port, {.tx_bitmap = 0xFF, .pre_bitmap = 0x01, .pre = {2}, .post_bitmap = 0x01}), QSFP_OK);
    EXPECT_EQ(merge_lines(), prefixed({"Default Tx EQ: 0x0 0x0 0x0 0x0\n", "Default Rx Output EQ Pre Tap: 0x0 0x0 0x0 0x0\n",
                                       "New Rx Output EQ Pre Tap: 0x2 0x0 0x0 0x0\n",
                                       "Default Rx Output EQ Post Tap: 0x0 0x0 0x0 0x0\n",
                                       "New Rx Output EQ Post Tap: 0x0 0x0 0x0 0x0\n"}));
    EXPECT_EQ(writes(), concat({{"10h 153: 00 00 00 00 00 00 00 ff", "10h 161: ff 02 00 00 00 00 00 00 00 00 00 00 00"},
                                staged_app(kApp1ExplicitBytes),
                                {"10h 143: ff"}}));
    EXPECT_EQ(active_si(), "00 00 00 00 00 00 00 ff ff 02 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(CmisSiSettingsTest, EveryTxLaneAdaptiveKeepsItsTxTargets) {
    sim::ModuleMemory memory = image("400G-DR4");
    memory.set(0x11, 214, 0xFF);  // adaptive Tx input equaliser on every lane
    memory.set(0x10, 153, 0xFF);
    qsfp_port_ctx *port = idle(make(module_of(std::move(memory))));

    // The Tx override alone changes nothing.
    EXPECT_EQ(modify(port, {.tx_bitmap = 0xFF, .tx = kRising}), QSFP_OK);
    EXPECT_TRUE(merge_lines().empty());
    EXPECT_EQ(accesses(), (Strings{"R 11h 214 x8", "R 11h 222 x13"}));
    EXPECT_EQ(state(port).tx_eq_override, 1u);

    // With an Rx change the Tx block goes back as it was.
    forget_traffic();
    EXPECT_EQ(modify(port, {.tx_bitmap = 0xFF, .tx = kRising, .pre_bitmap = 0x01, .pre = {7}}), QSFP_OK);
    EXPECT_EQ(merge_lines(), prefixed({"Default Rx Output EQ Pre Tap: 0x0 0x0 0x0 0x0\n",
                                       "New Rx Output EQ Pre Tap: 0x7 0x0 0x0 0x0\n"}));
    EXPECT_EQ(writes(), concat({{"10h 153: ff 00 00 00 00 00 00 ff", "10h 161: ff 07 00 00 00 00 00 00 00 00 00 00 00"},
                                staged_app(kApp1ExplicitBytes),
                                {"10h 143: ff"}}));
    EXPECT_EQ(active_si(), "ff 00 00 00 00 00 00 ff ff 07 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(CmisSiSettingsTest, OnlyTheRxPostBitmapIsRefusedAndRecordsNothing) {
    qsfp_port_ctx *port = make("400G-DR4");
    EXPECT_EQ(modify(port, {.post_bitmap = 0xFF, .post = kRising}), 0xFFFFFFFFu);
    EXPECT_EQ(err(), prefixed({"No valid bitmaps\n"}));
    EXPECT_TRUE(evt().empty());
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_TRUE(std::equal(kZero.begin(), kZero.end(), port->lane_rx_post));
    EXPECT_EQ(state(port).rx_post_override, 0u);
}

TEST_F(CmisSiSettingsTest, CopperPassiveOrFlatModulesAnswer95AfterRecording) {
    struct Case {
        const char *module;
        const char *refusal;
    };
    for (const Case &c : {Case{"400G-CR8-FLAT", "No support for SI settings on copper(1), passive(1), or flat mem(1) modules\n"},
                          Case{"400G-PLB", "No support for SI settings on copper(0), passive(1), or flat mem(0) modules\n"}}) {
        qsfp_port_ctx *port = make(c.module);
        EXPECT_EQ(modify(port, {.tx_bitmap = 0x01, .tx = {5}, .amp_bitmap = 0x02, .amp = {0, 6}}), 95u) << c.module;
        EXPECT_EQ(evt(), prefixed({"BM: 0x1 TxEq[0]: 0x5\n", "BM: 0x2 RxOutputPost[1]: 0x6\n"})) << c.module;
        EXPECT_EQ(err(), prefixed({c.refusal})) << c.module;
        EXPECT_EQ(cage().stats().transactions, 0u) << c.module;
        EXPECT_EQ(port->lane_tx_eq[0], 5u) << c.module;
        EXPECT_EQ(port->lane_rx_amp[1], 6u) << c.module;
        EXPECT_EQ(state(port).tx_eq_override, 1u) << c.module;
        EXPECT_EQ(state(port).rx_amp_override, 1u) << c.module;
        TearDown();
        SetUp();
    }
}

// Lane 1's 0x1F is not masked: its fifth bit lands in lane 2's nibble.
TEST_F(CmisSiSettingsTest, LaneValueAboveFifteenSpillsIntoItsNeighbour) {
    qsfp_port_ctx *port = idle("400G-DR4");
    EXPECT_EQ(modify(port, {.tx_bitmap = 0x01, .tx = {0x1F}}), QSFP_OK);
    EXPECT_EQ(merge_lines(), prefixed({"Default Tx EQ: 0x0 0x0 0x0 0x0\n", "New Tx EQ: 0x1f 0x0 0x0 0x0\n"}));
    EXPECT_EQ(writes().front(), "10h 153: 00 00 00 1f 00 00 00 ff");
    EXPECT_EQ(active_si().substr(0, 24), "00 00 00 1f 00 00 00 ff ");
}

// 2 x 100G-SR4 implements fixed Tx EQ and Rx amplitude only (page 01h
// 161 = 04h, 162 = 04h): its pre- and post-cursor targets stay as they are.
TEST_F(CmisSiSettingsTest, ControlsTheModuleDoesNotImplementAreLeftAlone) {
    qsfp_port_ctx *port = idle("2X100G-SR4");
    ASSERT_EQ(state(port).si_controls[1], 0x04);
    EXPECT_EQ(modify(port, {.pre_bitmap = 0xFF, .pre = kRising, .post_bitmap = 0xFF, .post = kRising}), QSFP_OK);
    EXPECT_TRUE(merge_lines().empty());
    EXPECT_EQ(accesses(), (Strings{"R 11h 214 x8", "R 11h 222 x13"}));
    EXPECT_EQ(state(port).rx_pre_override, 1u);
    EXPECT_EQ(state(port).rx_post_override, 1u);

    forget_traffic();
    EXPECT_EQ(modify(port, {.amp_bitmap = 0x0F, .amp = {3, 3, 3, 3}}), QSFP_OK);
    EXPECT_EQ(merge_lines(),
              prefixed({"Default Rx Output Amplitude: 0x0 0x0 0x0 0x0\n", "New Rx Output Amplitude: 0x33 0x33 0x0 0x0\n"}));
    // Two datapaths of four lanes, starting at lanes 1 and 5.
    EXPECT_EQ(writes(), concat({{"10h 153: 00 00 00 00 00 00 00 ff", "10h 161: ff 00 00 00 00 00 00 00 00 33 33 00 00"},
                                staged_app({"11", "11", "11", "11", "19", "19", "19", "19"}),
                                {"10h 143: ff"}}));
    EXPECT_TRUE(err().empty());
    EXPECT_EQ(active_si(), "00 00 00 00 00 00 00 ff ff 00 00 00 00 00 00 00 00 33 33 00 00");
}

TEST_F(CmisSiSettingsTest, OverridesFromTheCreatorAreProgrammedAtBringUp) {
    insert_cmis("400G-DR4");
    qsfp_port_create_params p = cmis_params(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    p.cfg_word[0] = 1;  // Tx EQ override
    p.lane_setting[0] = 0x05;
    p.cfg_word[3] = 1;  // Rx post-cursor override
    p.lane_setting[3] = 0x02;
    p.lane_setting[2] = 0x09;  // Rx pre-cursor values, not overridden (cfg_word[2] is 0)
    qsfp_port_ctx *port = create(p);
    ASSERT_NE(port, nullptr);

    // The module already runs application 1; the overrides make the
    // configuration program it again, then once more with them.
    EXPECT_EQ(writes(), concat({{"10h 128: ff", "lower 26: 00"},
                                staged_app({"10", "10", "10", "10", "10", "10", "10", "10"}),
                                {"10h 143: ff", "10h 153: 00 00 00 55 55 55 55 ff",
                                 "10h 161: ff 00 00 00 00 22 22 22 22 00 00 00 00"},
                                staged_app(kApp1ExplicitBytes),
                                {"10h 143: ff", "10h 130: ff", "10h 138: ff"}}));
    EXPECT_EQ(merge_lines(), prefixed({"Default Tx EQ: 0x0 0x0 0x0 0x0\n", "New Tx EQ: 0x55 0x55 0x55 0x55\n",
                                       "Default Rx Output EQ Post Tap: 0x0 0x0 0x0 0x0\n",
                                       "New Rx Output EQ Post Tap: 0x22 0x22 0x22 0x22\n"}));
    EXPECT_TRUE(err().empty());
    EXPECT_EQ(module_bytes(0x11, 214, 21), "00 00 00 55 55 55 55 ff ff 00 00 00 00 22 22 22 22 00 00 00 00");
    EXPECT_EQ(module_bytes(0x11, 206, 8), "11 11 11 11 11 11 11 11");
    EXPECT_EQ(state(port).rx_pre_override, 0u);
    EXPECT_EQ(state(port).rx_amp_override, 0u);
}

// A running datapath refuses ApplyDPInit; the recorded overrides are
// programmed by the next mode configuration, and by every one after it.
TEST_F(CmisSiSettingsTest, OverridesSurviveModeChanges) {
    qsfp_port_ctx *port = make("400G-DR4");
    ASSERT_EQ(lanes_in(DpState::activated), 0xFF);
    module().set_dp_init_time(milliseconds(50));
    module().set_dp_deinit_time(milliseconds(55));
    forget_traffic();

    EXPECT_EQ(modify(port, {.tx_bitmap = 0xFF, .tx = kRising}), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Config Error! Ln 1: REJECTED INVALID IN USE. Ln 2: REJECTED INVALID IN USE. Ln 3: REJECTED "
                               "INVALID IN USE. Ln 4: REJECTED INVALID IN USELn 5: REJECTED INVALID IN USE. Ln 6: REJECTED "
                               "INVALID IN USE. Ln 7: REJECTED INVALID IN USE. Ln 8: REJECTED INVALID IN USE\n"}));
    EXPECT_EQ(active_si(), "00 00 00 00 00 00 00 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(state(port).tx_eq_override, 1u);

    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_EQ(writes(), concat({{"10h 128: ff"},
                                staged_app({"20", "20", "24", "24", "28", "28", "2c", "2c"}),
                                {"10h 143: ff", "10h 153: 00 00 00 21 43 65 87 ff",
                                 "10h 161: ff 00 00 00 00 00 00 00 00 00 00 00 00"},
                                staged_app({"21", "21", "25", "25", "29", "29", "2d", "2d"}),
                                {"10h 143: ff", "10h 130: ff", "10h 138: ff"}}));
    EXPECT_EQ(merge_lines(), prefixed({"Default Tx EQ: 0x0 0x0 0x0 0x0\n", "New Tx EQ: 0x21 0x43 0x65 0x87\n"}));
    EXPECT_TRUE(err().empty());
    // 50 ms and five 1 ms polls of the power-down, then two 100 ms init waits.
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{50000, 1000, 1000, 1000, 1000, 1000, 100000, 100000}));
    EXPECT_EQ(active_si(), "00 00 00 21 43 65 87 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(active_app_select(), "21 21 25 25 29 29 2d 2d");

    // Back to the default application: the datapaths are already down.
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_DEFAULT), QSFP_OK);
    EXPECT_EQ(writes(), concat({staged_app({"10", "10", "10", "10", "10", "10", "10", "10"}),
                                {"10h 143: ff", "10h 153: 00 00 00 21 43 65 87 ff",
                                 "10h 161: ff 00 00 00 00 00 00 00 00 00 00 00 00"},
                                staged_app(kApp1ExplicitBytes),
                                {"10h 143: ff", "10h 130: ff", "10h 138: ff"}}));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{100000, 100000}));
    EXPECT_EQ(active_si(), "00 00 00 21 43 65 87 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(active_app_select(), "11 11 11 11 11 11 11 11");

    // Enabled, the lanes run with the overrides.
    forget_traffic();
    EXPECT_EQ(port->fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(lanes_in(DpState::activated), 0xFF);
    EXPECT_EQ(active_si(), "00 00 00 21 43 65 87 ff ff 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(CmisSiSettingsTest, LanesWithoutValuesAreRefusedBeforeAnythingIsRecorded) {
    qsfp_port_ctx *port = make("400G-DR4");
    Values tx = kRising;
    EXPECT_EQ(qsfp_modify_si_values(port, 0xFF, tx.data(), 0x01, nullptr, 0, nullptr, 0, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_modify_si_values(port, 0, nullptr, 0, nullptr, 0x01, nullptr, 0x01, tx.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp::cmis::modify_si_values(nullptr, 0xFF, tx.data(), 0, nullptr, 0, nullptr, 0, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(std::equal(kZero.begin(), kZero.end(), port->lane_tx_eq));
    EXPECT_TRUE(std::equal(kZero.begin(), kZero.end(), port->lane_rx_amp));
    EXPECT_FALSE(qsfp::cmis::si_overrides_present(port));
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_TRUE(evt().empty());
    EXPECT_TRUE(err().empty());
}

class CmisSiSettingsFaultTest : public CmisFaultSweepTest {};

TEST_F(CmisSiSettingsFaultTest, FailedAccessAtEachStep) {
    std::vector<Step> steps = {
        {"R 11h 214 x8", "Failed to read the Active Set TX SI settings. reg 214. rc 0x5\n"},
        {"R 11h 222 x13", "Failed to read the Active Set RX SI settings. reg 222. rc 0x5\n"},
        {"W 10h 153 x8", "Failed to write TX SI settings to stage ctrl set 0 reg (0x99) rc 0x5\n"},
        {"W 10h 161 x13", "Failed to write RX SI settings to stage ctrl set 0 reg (0xa1) rc 0x5\n"},
    };
    for (const char *staged : {"W 10h 145 x1", "W 10h 146 x1", "W 10h 147 x1", "W 10h 148 x1", "W 10h 149 x1", "W 10h 150 x1",
                               "W 10h 151 x1", "W 10h 152 x1"}) {
        steps.push_back({staged, "Failed to write to stage ctrl set 0 reg (0x91) rc 0x5\n"});
    }
    steps.push_back({"W 10h 143 x1", "Failed to write to apply datapath init reg (0x8f) rc 0x5\n"});
    steps.push_back({"R 11h 202 x4", "Failed to read the Config Error Code Reg. rc 5\n"});
    Values tx = kRising;
    sweep(
        steps,
        [&] {
            qsfp_port_ctx *port = make("400G-DR4");
            EXPECT_EQ(port->fvt.port_disable(port, 0xFF, 0), QSFP_OK);
            sim::VirtualClock::instance().advance_ns(1000000000);
            forget_traffic();
            return port;
        },
        [&](qsfp_port_ctx *port) { return qsfp_modify_si_values(port, 0xFF, tx.data(), 0, nullptr, 0, nullptr, 0, nullptr); },
        // Nothing was rolled back: the same call finishes the job.
        [&](qsfp_port_ctx *port) {
            EXPECT_TRUE(std::equal(tx.begin(), tx.end(), port->lane_tx_eq));
            EXPECT_EQ(state(port).tx_eq_override, 1u);
            const std::uint32_t rc = qsfp_modify_si_values(port, 0xFF, tx.data(), 0, nullptr, 0, nullptr, 0, nullptr);
            EXPECT_EQ(module().memory().get(0x11, 217), 0x21);
            EXPECT_EQ(module().memory().get(0x11, 220), 0x87);
            return rc;
        });
}

}  // namespace
