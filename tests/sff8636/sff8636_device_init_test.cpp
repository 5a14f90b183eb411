// Bring-up steps one at a time, on images built here with just the bytes a
// step depends on, and a failing access at every read of a bring-up.
#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/catalogue.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::ModuleMemory;
using qsfp::sim::Op;

struct ByteValue {
    std::uint8_t page;
    std::uint8_t addr;
    std::uint8_t value;
};

ModuleMemory image(std::initializer_list<ByteValue> bytes, bool flat = false) {
    ModuleMemory m = flat ? qsfp::sim::basic_image(0x11, true) : qsfp28_memory();
    if (flat) {
        m.set(0, 131, 0x80);
        m.set(0, 192, 11);
    }
    for (const ByteValue &b : bytes) {
        m.set(b.page, b.addr, b.value);
    }
    fix_checksums(m);
    return m;
}

void set_vendor(ModuleMemory &m, const char *name) {
    for (int i = 0; i < 16; ++i) {
        const char c = name[i] == '\0' ? ' ' : name[i];
        m.set(0, static_cast<std::uint8_t>(148 + i), static_cast<std::uint8_t>(c));
        if (name[i] == '\0') {
            for (int k = i + 1; k < 16; ++k) m.set(0, static_cast<std::uint8_t>(148 + k), ' ');
            break;
        }
    }
    fix_checksums(m);
}

class DeviceInitTest : public SffPortTest {
protected:
    qsfp_port_ctx *bring_up(ModuleMemory memory, std::uint32_t expected_rc = QSFP_OK,
                            std::function<void(qsfp_port_create_params &)> adjust = {}) {
        insert(0, std::move(memory));
        qsfp_port_create_params p = params(0);
        p.init_arg = 1;
        if (adjust) adjust(p);
        clear_traces();
        qsfp::sim::VirtualClock::instance().clear_sleeps();
        return create(p, expected_rc);
    }
    bool evt(const std::string &text) { return trace_has(kEvt, "Controller 0 Port 1: " + text); }
    bool err(const std::string &text) { return trace_has(kErr, "Controller 0 Port 1: " + text); }
    bool wrote(std::uint8_t page, std::uint8_t reg) {
        for (const auto &t : cage().writes()) {
            if (t.reg <= reg && reg < t.reg + t.len && (reg < 128 || t.page == page)) return true;
        }
        return false;
    }
};

TEST_F(DeviceInitTest, IdentificationOnlyWritesNothingAndIsReadyAtOnce) {
    insert(0, image({}));
    qsfp_port_ctx *port = create(0, QSFP_OK);
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_TRUE(data_writes().empty());
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init: Skipping HW Init"));
    EXPECT_EQ(port->hw_info.qsfp_type, 2u);
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
}

TEST_F(DeviceInitTest, PlainModuleGetsHighPowerModeAndAFixedEqualiserSettle) {
    // A 100G module without an adaptive equaliser settles 300 ms on the
    // cool timer, even when its equaliser is not programmable.
    qsfp_port_ctx *port = bring_up(image({}));
    EXPECT_EQ(byte(0, 93), 0x01);
    EXPECT_EQ(settle_of(port), Settle::settling);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{300000});
    EXPECT_FALSE(wrote(3, 234));
    EXPECT_TRUE(evt("Init: High power mode enable"));
    EXPECT_TRUE(evt("Init: skip_tx_eq 1, Non-adp CTLE peaking values 0x0"));
    EXPECT_TRUE(evt("Init: Final sleep time 0 sec 300000000 nsec"));
    EXPECT_TRUE(evt("QSFP is not multirated, skip the config for port: 1"));
}

TEST_F(DeviceInitTest, ModuleWithAnAdaptiveEqualiserIsReadyWithoutTimer) {
    qsfp_port_ctx *port = bring_up(image({{0, 193, 0x08}}));
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
}

TEST_F(DeviceInitTest, HighPowerClassOnlyAt100G) {
    bring_up(image({{0, 129, 0x01}}));
    EXPECT_EQ(byte(0, 93), 0x05);
    EXPECT_TRUE(evt("Init: Enabling high power class "));
}

TEST_F(DeviceInitTest, HighPowerClassIsSkippedBelow100G) {
    ModuleMemory m = image({{0, 129, 0x01}});
    m.set(0, 0, 0x0D);
    m.set(0, 128, 0x0D);
    fix_checksums(m);
    bring_up(std::move(m));
    EXPECT_EQ(byte(0, 93), 0x01);
    EXPECT_TRUE(evt("Init: Non Qsfp28 Optics - High power class skipped "));
}

TEST_F(DeviceInitTest, FlatMemoryModuleNeverHasBytes93_107_221OrPages1To3Touched) {
    // Power class bits that a paged 100G module would have acted on.
    qsfp_port_ctx *port = bring_up(image({{0, 129, 0x03}}, true));
    EXPECT_EQ(port->flat_mem, 1u);
    EXPECT_EQ(port->rate, 100u);
    // Only the image read covers those bytes; nothing reads or writes them alone.
    EXPECT_TRUE(data_writes().empty());
    for (const auto &t : cage().log()) {
        EXPECT_TRUE(t.reg != 93 && t.reg != 107 && t.reg != 221) << int(t.reg);
        EXPECT_TRUE(t.reg < 128 || t.page == 0) << int(t.page);
    }
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
    EXPECT_TRUE(evt("Do not access 93_0:1 bitin case of flat memory i.e. CR4 optics type"));
    EXPECT_FALSE(evt("Init: Enabling high power class "));
}

TEST_F(DeviceInitTest, TxAndRxOutputsAreTurnedOffWhenTheModuleCan) {
    bring_up(image({{0, 195, 0x10}, {0, 194, 0x04}}));
    EXPECT_EQ(byte(0, 86), 0x0F);
    EXPECT_EQ(byte(3, 241), 0xF0);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{100000, 300000}));
}

TEST_F(DeviceInitTest, MellanoxCablesKeepTheirRxOutputs) {
    ModuleMemory m = image({{0, 194, 0x04}});
    set_vendor(m, "Mellanox");
    qsfp_port_ctx *port = bring_up(std::move(m));
    EXPECT_EQ(state(port).skip_rx_disable, 1u);
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_TRUE(evt("Is Korva Qualified optics is_korva_qualified_qsfp = 0 skip_rx_disable = 1"));
}

TEST_F(DeviceInitTest, Psm4WithBothSquelchControlsDisablesTxSquelchAndWaitsASecond) {
    qsfp_port_ctx *port = bring_up(image({{0, 192, 7}, {0, 194, 0x0A}}));
    EXPECT_EQ(port->hw_info.qsfp_type, 7u);
    EXPECT_EQ(byte(3, 240), 0x0F);
    EXPECT_EQ(sleeps().front(), 1000000u);
    EXPECT_TRUE(evt("Init : PSM4 optics Page3 WR Reg 0xf0 val 0xf "));
}

TEST_F(DeviceInitTest, Psm4WithoutBothSquelchControlsLeavesSquelchAlone) {
    bring_up(image({{0, 192, 7}, {0, 194, 0x02}}));
    EXPECT_EQ(byte(3, 240), 0x00);
}

TEST_F(DeviceInitTest, TecFlagIsMaskedAndPolledFiveTimesBeforeTheDefaultCoolTime) {
    qsfp_port_ctx *port = bring_up(image({{0, 147, 0x04}, {3, 230, 0x01}}));
    EXPECT_EQ(port->tec_present, 1u);
    EXPECT_EQ(byte(0, 107), 0x01);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{300000, 5000, 5000, 5000, 5000, 5000}));
    EXPECT_EQ(settle_of(port), Settle::settling);
    EXPECT_TRUE(evt("Init: TX Cool sleep time 10 secs"));
    EXPECT_TRUE(evt("Init: Final sleep time 10 sec 0 nsec"));
    const std::uint64_t now = mgd_timer_ref_now_ns(port->cool_timer);
    EXPECT_EQ(mgd_timer_ref_deadline_ns(port->cool_timer), now + 10000000000ull);
}

TEST_F(DeviceInitTest, SettledTecNeedsNoCoolTime) {
    qsfp_port_ctx *port = bring_up(image({{0, 147, 0x04}, {3, 230, 0x01}, {0, 8, 0x01}, {0, 193, 0x08}}));
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{300000});
    EXPECT_TRUE(evt("Init: TEC ready flag set"));
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
}

TEST_F(DeviceInitTest, QualifiedModuleWithoutTecFlagTakesItsOwnTime) {
    ModuleMemory m = image({{0, 147, 0x04}, {3, 228, 7}, {0, 106, 1}});
    set_vendor(m, "KORVA");
    qsfp_port_ctx *port = bring_up(std::move(m));
    EXPECT_EQ(state(port).is_korva_qualified, 1u);
    EXPECT_EQ(settle_of(port), Settle::settling);
    EXPECT_TRUE(evt("Init: TX Cool sleep time 7 secs"));
    EXPECT_TRUE(evt("Init: Final sleep time 7 sec 0 nsec"));
}

TEST_F(DeviceInitTest, QualifiedModuleWithZeroTimeAndNoTecFlagIsReadyAtOnce) {
    ModuleMemory m = image({{0, 147, 0x04}, {3, 228, 0}, {0, 106, 1}, {0, 193, 0x08}});
    set_vendor(m, "KORVA");
    qsfp_port_ctx *port = bring_up(std::move(m));
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
    EXPECT_TRUE(evt("Init: TX Cool sleep time 0 secs"));
}

TEST_F(DeviceInitTest, QualifiedModuleWithoutDomByteHasNoDomSupport) {
    ModuleMemory m = image({{3, 128, 0x50}});
    set_vendor(m, "KORVA");
    qsfp_port_ctx *port = bring_up(std::move(m));
    EXPECT_EQ(state(port).dom_supported, 0u);
    EXPECT_EQ(port->thresholds.temp_high_alarm, 0.0f);  // not saved
    EXPECT_TRUE(evt("QSFP has flat memory:0 QSFP has DOM support:0"));
}

TEST_F(DeviceInitTest, ThresholdsOfPage03AreSavedInEngineeringUnits) {
    qsfp_port_ctx *port = bring_up(image({{3, 128, 0x4B}, {3, 130, 0xFB}, {3, 146, 0x7A}, {3, 147, 0x12},
                                          {3, 176, 0x13}, {3, 177, 0x88}, {3, 186, 0x01}, {3, 187, 0xF4}}));
    EXPECT_FLOAT_EQ(port->thresholds.temp_high_alarm, 75.0f);
    EXPECT_FLOAT_EQ(port->thresholds.temp_low_alarm, -5.0f);
    EXPECT_FLOAT_EQ(port->thresholds.vcc_low_alarm, 3.1250f);
    EXPECT_NEAR(port->thresholds.rx_power_high_alarm, 10.0f * std::log10(0.5f), 1e-5);
    EXPECT_FLOAT_EQ(port->thresholds.bias_low_alarm, 1.0f);
    EXPECT_TRUE(std::isinf(port->thresholds.tx_power_high_alarm));
}

TEST_F(DeviceInitTest, AdaptiveEqualiserIsSwitchedOffAndRxSettingsForced) {
    qsfp_port_ctx *port = bring_up(image({{0, 193, 0x0F}, {3, 241, 0x0F}}), QSFP_OK, [](qsfp_port_create_params &p) {
        p.lane_setting[1] = 0x22;
        p.lane_setting[4] = 0x33;
    });
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_EQ(byte(3, 236), 0x22);
    EXPECT_EQ(byte(3, 237), 0x22);
    EXPECT_EQ(byte(3, 238), 0x33);
    EXPECT_EQ(byte(3, 239), 0x33);
    EXPECT_FALSE(wrote(3, 234));
    EXPECT_EQ(port->hw_info.si_capability, 1u);
    EXPECT_EQ(settle_of(port), Settle::ready);
    EXPECT_TRUE(evt("Init: CTLE disable"));
    EXPECT_TRUE(evt("Init: skip_rx_eq 0 skip_amp 0, Forcing deemp 0x22,0x22 amp 0x33 0x33 values"));
}

TEST_F(DeviceInitTest, ForcedNonAdaptiveEqualiserIsWrittenAndSettles300Ms) {
    ModuleMemory m = image({{0, 193, 0x0C}, {0, 106, 1}});
    set_vendor(m, "KORVA");
    qsfp_port_ctx *port = bring_up(std::move(m), QSFP_OK, [](qsfp_port_create_params &p) {
        p.force_non_adaptive_ctle = 1;
        p.cfg_byte_a = 1;
        p.lane_setting[0] = 0x44;
    });
    EXPECT_EQ(byte(3, 234), 0x44);
    EXPECT_EQ(byte(3, 235), 0x44);
    EXPECT_EQ(byte(3, 223), 0x01);
    EXPECT_EQ(settle_of(port), Settle::settling);
    EXPECT_EQ(port->hw_info.si_capability, 2u);
    EXPECT_TRUE(evt("Init: Vendor CTLE Byte updated"));
    EXPECT_TRUE(evt("Init: skip_tx_eq 0, Non-adp CTLE peaking values 0x44"));
    EXPECT_TRUE(evt("Init: Non-adaptive CTLE sleep time 300 msecs"));
    EXPECT_TRUE(evt("Init: Final sleep time 0 sec 300000000 nsec"));
}

TEST_F(DeviceInitTest, CopperCablesGetNoSiSettings) {
    qsfp_port_ctx *port = bring_up(image({{0, 192, 11}, {0, 193, 0x07}}));
    EXPECT_EQ(port->is_copper, 1u);
    EXPECT_EQ(port->hw_info.si_capability, 0u);
    EXPECT_FALSE(wrote(3, 234));
    EXPECT_FALSE(wrote(3, 236));
    EXPECT_FALSE(wrote(3, 238));
}

TEST_F(DeviceInitTest, SourcePhotonicsLr4TakesFixedEqualiserWithoutWaiting) {
    ModuleMemory m = image({{0, 192, 3}, {0, 193, 0x0C}, {3, 241, 0xFF}});
    set_vendor(m, "SOURCE PHOTONICS");
    qsfp_port_ctx *port = bring_up(std::move(m), QSFP_OK, [](qsfp_port_create_params &p) { p.cfg_byte_a = 1; });
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_EQ(byte(3, 234), 0xAA);
    EXPECT_EQ(byte(3, 235), 0xAA);
    EXPECT_EQ(settle_of(port), Settle::ready);
}

TEST_F(DeviceInitTest, ExtendedRateSelectVersion2SetsBothDirectionsHigh) {
    qsfp_port_ctx *port = bring_up(image({{0, 221, 0x08}, {0, 195, 0x20}, {0, 141, 0x02}}));
    (void)port;
    const auto writes = data_writes();
    std::vector<std::pair<int, int>> rate_writes;
    for (const auto &t : writes) {
        if (t.reg == 87 || t.reg == 88) rate_writes.push_back({t.reg, t.data[0]});
    }
    // Bit rate (88 then 87), then the multirate configuration (87 then 88).
    EXPECT_EQ(rate_writes, (std::vector<std::pair<int, int>>{{88, 0xAA}, {87, 0xAA}, {87, 0xAA}, {88, 0xAA}}));
    EXPECT_TRUE(evt("BR Set 0xaa , Supported BR type: 0x2, Rate Sel implemnented: 0x1, version supported: 0x2"));
    EXPECT_TRUE(evt("QSFP is multirated, write input speed into EEPROM multirate_port_speed 0 port 1 optics_rate_sel_val aa"));
}

TEST_F(DeviceInitTest, MultirateModuleAt40GSelectsTheLowRate) {
    bring_up(image({{0, 221, 0x08}, {0, 195, 0x20}, {0, 141, 0x01}}), QSFP_OK,
             [](qsfp_port_create_params &p) { p.multirate_port_speed = 40000000; });
    EXPECT_EQ(byte(0, 87), 0x00);
    EXPECT_TRUE(evt("QSFP module does NOT support BR Version 2, Supported BR type: 0x2, Rate Sel implemnented: 0x1,  "
                    "version supported: 0x1"));
}

TEST_F(DeviceInitTest, RateSelectMessagesForModulesWithoutExtendedRateSelect) {
    bring_up(image({{0, 221, 0x04}, {0, 195, 0x20}}));
    EXPECT_TRUE(evt("QSFP module supports only BR using Application Select.Supported BR type: 0x1, Rate Sel is "
                    "implemnented: 0x1,  version supported: 0x0"));
    clear_traces();
    TearDown();
    SetUp();
    bring_up(image({}));
    EXPECT_TRUE(evt("QSFP module does NOT support Rate SelectionSupported BR type: 0x0, Rate Sel implemnented: 0x0,  "
                    "version supported: 0x0"));
    TearDown();
    SetUp();
    bring_up(image({{0, 221, 0x08}, {0, 195, 0x20}}));
    EXPECT_TRUE(evt("QSFP module does NOT support BR Version 1 or 2.Supported BR type: 0x2, Rate Sel implemnented: "
                    "0x1,  version supported: 0x0"));
}

TEST_F(DeviceInitTest, MultirateWriteFailureDecidesTheResult) {
    insert(0, image({{0, 221, 0x08}, {0, 195, 0x20}}));
    card().cage(0).fail_range(Op::write, -1, 88, 88, 7);
    qsfp_port_create_params p = params(0);
    p.init_arg = 1;
    create(p, 7);
    EXPECT_TRUE(err("QSFP write tx_rate_sel(byte 88) 0xaa failed for port: 1"));
}

TEST_F(DeviceInitTest, DwdmModuleGetsAKeepaliveTimer) {
    qsfp_port_ctx *port = bring_up(image({{0, 192, 26}}));
    ASSERT_NE(port->keepalive_timer, nullptr);
    EXPECT_EQ(mgd_timer_leaf_get_type(port->keepalive_timer), 2u);
    EXPECT_EQ(mgd_timer_leaf_get_context(port->keepalive_timer), port);
    EXPECT_EQ(mgd_timer_ref_deadline_ns(port->keepalive_timer),
              mgd_timer_ref_now_ns(port->keepalive_timer) + 900000001000ull);
}

// ---- The override exchange ------------------------------------------------------

qsfp_sff8636_si_query g_query;
std::uint32_t g_update_rc;
qsfp_sff8636_si_reply g_reply;

std::uint32_t update(const void *query, void *answer) {
    g_query = *static_cast<const qsfp_sff8636_si_query *>(query);
    *static_cast<qsfp_sff8636_si_reply *>(answer) = g_reply;
    return g_update_rc;
}

TEST_F(DeviceInitTest, AcceptedOverrideReplacesTheSiDefaults) {
    g_update_rc = 0;
    g_reply = {};
    g_reply.tx_eq = 0x11;
    g_reply.rx_emphasis = 0x22;
    g_reply.rx_amplitude = 0x33;
    g_reply.skip_tx_eq = 1;
    g_reply.rx_squelch_disable_absent = 1;
    g_reply.force_non_adaptive_ctle = 1;
    qsfp_port_ctx *port = bring_up(image({{0, 193, 0x07}}), QSFP_OK, [](qsfp_port_create_params &p) {
        p.update_func = update;
        p.controller = 4;
    });
    EXPECT_EQ(g_query.controller, 4u);
    EXPECT_EQ(g_query.port, 1u);
    EXPECT_EQ(g_query.qsfp_type, 2u);
    EXPECT_STREQ(g_query.qsfp_type_str, "QSFP28 100G SR4");
    for (int lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(port->lane_tx_eq[lane], 0x11);
        EXPECT_EQ(port->lane_rx_emphasis[lane], 0x22);
        EXPECT_EQ(port->lane_rx_amp[lane], 0x33);
    }
    EXPECT_EQ(state(port).skip_tx_eq, 1u);
    EXPECT_EQ(state(port).rx_squelch_disable_absent, 1u);
    EXPECT_EQ(port->force_non_adaptive_ctle, 1u);
    EXPECT_EQ(byte(3, 236), 0x22);
    EXPECT_TRUE(trace_has(kEvt, "Controller 4 Port 1: Init: update_func overrides tx/rx/actle/amp 0x0"));
}

TEST_F(DeviceInitTest, RefusedOverrideChangesNothing) {
    g_update_rc = 5;
    g_reply = {};
    g_reply.tx_eq = 0x11;
    qsfp_port_ctx *port = bring_up(image({}), QSFP_OK, [](qsfp_port_create_params &p) {
        p.update_func = update;
        p.lane_setting[0] = 0x07;
    });
    EXPECT_EQ(port->lane_tx_eq[3], 0x07);
    EXPECT_TRUE(evt("Init: update_func dont override tx/rx/actle/amp 0x5"));
}

// ---- Failing accesses ---------------------------------------------------------------

// A module that makes bring-up take every branch that reads: cooled with a
// TEC flag that never settles, rate select version 2, multirate.
ModuleMemory full_featured() {
    return image({{0, 147, 0x04}, {3, 230, 0x01}, {0, 221, 0x08}, {0, 195, 0x30}, {0, 141, 0x02}, {0, 193, 0x0F},
                  {0, 194, 0xFE}, {0, 129, 0x01}});
}

struct Read {
    std::size_t index;
    std::uint8_t reg;
    std::uint8_t page;
    std::uint32_t len;
};

class FailingReadTest : public DeviceInitTest {};

// Every read of a clean bring-up, failed in turn: the reads up to the module
// image stop the bring-up with their message and code; every later one is
// traced and the sequence goes on.
TEST_F(FailingReadTest, EveryReadOfBringUp) {
    bring_up(full_featured());
    std::vector<Read> reads;
    const auto log = cage().log();
    // Skip the framework's own reads of creation (byte 127, byte 0).
    for (std::size_t i = 2; i < log.size(); ++i) {
        if (log[i].op == Op::read) reads.push_back({i, log[i].reg, log[i].page, log[i].len});
    }
    ASSERT_GE(reads.size(), 15u);
    const std::uint32_t code = 0x42;
    for (const Read &r : reads) {
        TearDown();
        SetUp();
        insert(0, full_featured());
        cage().fail_nth_access(static_cast<std::uint32_t>(r.index + 1), code);
        qsfp_port_create_params p = params(0);
        p.init_arg = 1;
        qsfp_port_create_result result{};
        const std::uint32_t rc = qsfp_port_create(&p, &result);
        ports_.push_back(result.handle);
        const std::string what = "read of " + std::to_string(r.reg) + " page " + std::to_string(r.page);
        const bool image_read = (r.reg == 2 && r.len == 1) || r.len == 128;
        const auto errs = trace_texts(kErr);
        const bool traced = std::any_of(errs.begin(), errs.end(), [](const std::string &e) {
            return e.find("rc: 0x42") != std::string::npos || e.find("error 0x42") != std::string::npos ||
                   e.find("Read error") != std::string::npos || e.find("read failed") != std::string::npos;
        });
        EXPECT_TRUE(traced) << what;
        if (image_read) {
            EXPECT_EQ(rc, code) << what;
        } else {
            EXPECT_EQ(rc, QSFP_OK) << what;
            EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init done\n")) << what;
        }
    }
}

TEST_F(DeviceInitTest, StatusReadFailureStopsBeforeAnythingElse) {
    insert(0, image({}));
    cage().fail_range(Op::read, -1, 2, 2, 9);
    qsfp_port_create_params p = params(0);
    p.init_arg = 1;
    create(p, 9);
    EXPECT_EQ(trace_texts(kErr).back(), "Controller 0 Port 1: QSFP data ready : Read error");
    EXPECT_TRUE(data_writes().empty());
}

TEST_F(DeviceInitTest, ImageReadFailuresNameTheirPage) {
    const std::pair<int, const char *> cases[] = {{-1, "QSFP Lower Page 0 Read error"},
                                                  {0, "QSFP Upper Page 0 Read error"},
                                                  {1, "QSFP Upper Page 1 Read error"},
                                                  {2, "QSFP Upper Page 2 Read error"},
                                                  {3, "QSFP Upper Page 3 Read error"}};
    for (const auto &[page, message] : cases) {
        TearDown();
        SetUp();
        // Find the image read of that page in a clean bring-up, then fail it.
        bring_up(image({}));
        const auto log = cage().log();
        std::size_t at = log.size();
        for (std::size_t i = 0; i < log.size() && at == log.size(); ++i) {
            const bool lower = log[i].reg == 0 && log[i].len == 128;
            const bool upper = log[i].reg == 128 && log[i].len == 128 && log[i].page == page;
            if (log[i].op == Op::read && (page < 0 ? lower : upper)) at = i;
        }
        ASSERT_LT(at, log.size()) << message;
        TearDown();
        SetUp();
        insert(0, image({}));
        cage().fail_nth_access(static_cast<std::uint32_t>(at + 1), 9);
        qsfp_port_create_params p = params(0);
        p.init_arg = 1;
        create(p, 9);
        EXPECT_EQ(trace_texts(kErr).back(), std::string("Controller 0 Port 1: ") + message);
    }
}

}  // namespace

namespace {

// A bring-up that stops before the settle period began leaves nothing to wait
// for: lane requests are refused with 11 (module not ready) instead of being
// parked for a cool timer that never runs.
TEST_F(DeviceInitTest, PortWhoseBringUpFailedRefusesLaneRequests) {
    qsfp_port_ctx *port = bring_up(image({}), 5, [this](qsfp_port_create_params &) {
        cage().fail_range(Op::read, -1, 128, 255, 5);
    });
    ASSERT_NE(port, nullptr);
    EXPECT_TRUE(err("QSFP Upper Page 0 Read error"));
    EXPECT_EQ(settle_of(port), Settle::unbrought);
    cage().clear_faults();
    forget_traffic();
    EXPECT_EQ(qsfp_port_admin_state(port, 0, 1, 0x0F), QSFP_ERR_NOT_READY);
    EXPECT_TRUE(err("Optics bring-up incomplete, lane request 0xf refused"));
    EXPECT_TRUE(err("Failed qsfp_admin_state, pre_admin 0, state 1, lane 0xf, rc: 0xb\n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Optics still in cool time, updated pending enable 0xf"));
    EXPECT_EQ(port->ready_lanes, 0u);
    EXPECT_EQ(qsfp_port_admin_state(port, 1, 0, 0x0F), QSFP_ERR_NOT_READY);
    EXPECT_TRUE(cage().log().empty());
}

// A second bring-up on the same port (another module in the cage) keeps
// nothing of the first module's inventory or capabilities.
TEST_F(DeviceInitTest, SecondBringUpForgetsTheFirstModulesInventory) {
    insert(0, qsfp::sim::make_module("KORVA-100G-DWDM2"));
    qsfp_port_ctx *port = create(0, QSFP_OK);
    ASSERT_NE(port->hw_info.clei[0], '\0');
    ASSERT_NE(port->hw_info.dwdm_channel, 0u);
    ASSERT_EQ(state(port).is_korva_qualified, 1u);
    insert(0, qsfp::sim::make_module("100G-SR4"));
    ASSERT_EQ(port->fvt.device_init(port, 0), QSFP_OK);
    EXPECT_STREQ(port->hw_info.clei, "");
    EXPECT_EQ(port->hw_info.dwdm_channel, 0u);
    EXPECT_EQ(port->hw_info.any_page, 0u);
    EXPECT_STREQ(port->hw_info.pid, "BASIC-100G-SR4");
    EXPECT_EQ(state(port).is_korva_qualified, 0u);
    EXPECT_EQ(settle_of(port), Settle::ready);
}

}  // namespace
