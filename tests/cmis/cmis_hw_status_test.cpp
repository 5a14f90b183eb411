// The CMIS live status record and inventory on emulated modules: entries
// against the module's monitors and latched flags, the flag observation in
// virtual time and the admin-state cut-off, the modules that stop early, the
// pre-release layout, and a failure at every bus access.
#include <cmath>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "framework/units.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

using sim::Op;

// Called at each round of the observation period (1-based) with the answer
// to give.
std::function<void(std::uint32_t round, std::uint32_t *answer)> g_round;
std::uint32_t g_rounds;

void admin(std::uint32_t, std::uint32_t, std::uint32_t kind, std::uint32_t *answer) {
    ++g_rounds;
    EXPECT_EQ(kind, 0u);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(*answer, 0u);
    if (g_round) g_round(g_rounds, answer);
}

// The entry for a power the emulator encodes to the nearest 0.1 uW: the
// product in double, narrowed, then log10 in single precision.
float dbm_of(double mw) {
    const auto raw = static_cast<std::uint16_t>(mw * 10000 + 0.5);
    return 10.0f * std::log10(static_cast<float>(raw * 0.0001));
}

class CmisHwStatusTest : public CmisPortTest {
protected:
    void SetUp() override {
        CmisPortTest::SetUp();
        g_round = nullptr;
        g_rounds = 0;
    }
    void TearDown() override {
        g_round = nullptr;
        CmisPortTest::TearDown();
    }
    std::uint32_t read_status(qsfp_port_ctx *port) {
        std::memset(&status_, 0xA5, sizeof status_);  // the slot must clear what it does not fill
        return qsfp_port_hw_status(port, &status_);
    }
    // The slot's own failure message, after the access's.
    void expect_failure_traced(const std::string &message) {
        const std::vector<std::string> errors = err();
        ASSERT_EQ(errors.size(), 2u);
        EXPECT_EQ(errors[0].rfind("Controller 0 Port 1: access error. Reg ", 0), 0u) << errors[0];
        EXPECT_EQ(errors[1], "Controller 0 Port 1: " + message);
    }
    // The emulated passive plug with pages 10h and 11h, which CMIS requires of
    // paged memory, so that a read of page 10h reaches page 10h; page 11h
    // holds flags and monitors the driver must not take.
    qsfp_port_ctx *make_paged_plug() {
        sim::ModuleMemory memory = image("400G-PLB");
        memory.add_page(0x10);
        memory.add_page(0x11);
        for (std::uint8_t reg = 135; reg <= 201; ++reg) memory.set(0x11, reg, 0x5A);
        return make(module_of(std::move(memory)));
    }
    // The record is all zero but for entries 199 and 200.
    void expect_only_type_entries(std::uint32_t lanes, std::uint32_t copper) {
        EXPECT_EQ(status_.media_type, lanes);
        EXPECT_EQ(status_.is_copper, copper);
        qsfp_hw_status expected{};
        expected.media_type = lanes;
        expected.is_copper = copper;
        EXPECT_EQ(std::memcmp(&status_, &expected, sizeof status_), 0);
    }
    qsfp_hw_status status_{};
};

// 400G LR8: eight media lanes, every monitor.
TEST_F(CmisHwStatusTest, EntriesFollowTheModuleMonitors) {
    qsfp_port_ctx *port = make("400G-LR8");
    ASSERT_NE(port, nullptr);
    ASSERT_EQ(state(port).dom_support, cmis::kDomAll);
    sim::CmisModule &m = module();
    const double rx[8] = {1.0, 0.5, 0.0, 1.2589, 0.0316, 2.0, 0.75, 0.1};
    for (int lane = 0; lane < 8; ++lane) {
        ASSERT_TRUE(m.set_rx_power(lane, rx[lane]));
        ASSERT_TRUE(m.set_tx_bias(lane, 40.0 + 2 * lane));
        ASSERT_TRUE(m.set_tx_power(lane, 1.0 + 0.1 * lane));
    }
    m.set_temperature(-3.5);
    m.set_vcc(3.3);
    // The host turns lane 6's transmitter off: its Tx power and bias read 0.
    std::uint8_t tx_disable = 0x20;
    ASSERT_EQ(qsfp_access(port, cmis::kTxDisable, 1, cmis::kPage10, &tx_disable, QSFP_ACCESS_WRITE), QSFP_OK);
    ASSERT_EQ(read_status(port), QSFP_OK);
    for (int lane = 0; lane < 8; ++lane) {
        SCOPED_TRACE(lane);
        EXPECT_FLOAT_EQ(status_.rx_power_dbm[lane], rx[lane] == 0.0 ? -40.0f : dbm_of(rx[lane]));
        EXPECT_FLOAT_EQ(status_.tx_bias_ma[lane], lane == 5 ? 0.0f : static_cast<float>(20000 + 1000 * lane) * 0.002f);
        EXPECT_FLOAT_EQ(status_.tx_power_dbm[lane], lane == 5 ? -40.0f : dbm_of(1.0 + 0.1 * lane));
        EXPECT_EQ(status_.tx_disabled[lane], lane == 5 ? 1u : 0u);
    }
    EXPECT_NEAR(status_.rx_power_dbm[1], -3.0103f, 1e-4);
    EXPECT_NEAR(status_.rx_power_dbm[3], 1.0f, 1e-4);
    EXPECT_FLOAT_EQ(status_.rx_power_dbm[2], -40.0f);  // a dark lane
    EXPECT_FLOAT_EQ(status_.temperature, -3.5f);
    EXPECT_FLOAT_EQ(status_.vcc, 33000 * 0.0001f);
    // 1296 nm nominal, saved at bring-up as 25920 twentieths.
    EXPECT_EQ(units::word_at(state(port).wavelength), 25920u);
    EXPECT_FLOAT_EQ(status_.wavelength_nm, 1296.0f);
    EXPECT_EQ(std::memcmp(&status_.thresholds, &port->thresholds, sizeof status_.thresholds), 0);
    EXPECT_FLOAT_EQ(status_.thresholds.temp_high_alarm, 75.0f);
    EXPECT_EQ(status_.media_type, 8u);
    EXPECT_EQ(status_.is_copper, 0u);
    EXPECT_EQ(status_.vdm_present, 0u);
    EXPECT_EQ(status_.coherent[0], 0u);
    // Lane 6's dark transmitter is below its low alarms, as a real one would be.
    EXPECT_EQ(status_.tx_power_low_alarm[5], 1u);
    EXPECT_EQ(status_.tx_bias_low_alarm[5], 1u);
    EXPECT_EQ(status_.tx_power_low_alarm[4], 0u);
    // Lane 3's dark receiver and lane 5's weak one are below the Rx power low alarm.
    EXPECT_EQ(status_.rx_power_low_alarm[2], 1u);
    EXPECT_EQ(status_.rx_power_low_alarm[4], 1u);
    EXPECT_EQ(status_.rx_power_low_alarm[0], 0u);
    EXPECT_TRUE(err().empty());
}

// The exact reads, in order, and the observation's 50 rounds of 10 ms.
TEST_F(CmisHwStatusTest, ReadsTheBlockTwiceAroundHalfASecond) {
    qsfp_port_ctx *port = make("400G-LR8");
    port->admin_state_notify = admin;
    const std::uint64_t start = now_us();
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 11h 135 x67", "R 11h 135 x67", "R lower 14 x2", "R lower 16 x2",
                                                    "R 10h 130 x1", "R lower 9 x1"}));
    EXPECT_EQ(sleeps_us(), std::vector<std::uint64_t>(50, 10000));
    EXPECT_EQ(now_us() - start, 500000u);
    EXPECT_EQ(g_rounds, 50u);
}

// Every flag group raised and cleared while the driver watches: the first
// read cleared the latches, the second shows what was raised meanwhile.
TEST_F(CmisHwStatusTest, FlagsRaisedAndClearedDuringTheObservationStillShow) {
    qsfp_port_ctx *port = make("400G-LR8");
    sim::CmisModule &m = module();
    // Conditions from bring-up and settling latch before the call and are
    // cleared by its first read; none of them hold now.
    port->admin_state_notify = admin;
    g_round = [&](std::uint32_t round, std::uint32_t *) {
        if (round == 10) {
            m.set_tx_fault(0, true);
            m.set_tx_los(1, true);
            m.set_tx_cdr_lol(2, true);
            m.set_rx_cdr_lol(3, true);
            m.set_rx_los_threshold(0.5);    // lane 5 (0.3 mW) loses signal
            m.set_rx_power(4, 0.3);
            m.set_rx_power(5, 3.5);          // above the 3.1623 mW high alarm
            m.set_tx_power(6, 4.2);          // above the 3.9811 mW high alarm
            m.set_tx_bias(7, 125.0);         // above the 120 mA high alarm
            m.set_temperature(72.0);         // above the 70 C high warning
            m.set_vcc(3.0);                  // below the 3.135 V low warning
        }
        if (round == 11) {
            for (int lane = 0; lane < 4; ++lane) {
                m.set_tx_fault(lane, false);
                m.set_tx_los(lane, false);
                m.set_tx_cdr_lol(lane, false);
                m.set_rx_cdr_lol(lane, false);
            }
            m.set_rx_los_threshold(0.0);
            m.set_rx_power(4, 1.1);
            m.set_rx_power(5, 1.1);
            m.set_tx_power(6, 1.6);
            m.set_tx_bias(7, 55.0);
            m.set_temperature(42.0);
            m.set_vcc(3.29);
        }
    };
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(status_.tx_fault[0], 1u);
    EXPECT_EQ(status_.tx_los[1], 1u);
    EXPECT_EQ(status_.tx_cdr_lol[2], 1u);
    EXPECT_EQ(status_.rx_cdr_lol[3], 1u);
    EXPECT_EQ(status_.rx_los[4], 1u);
    // 0.3 mW is above the 0.0631 mW low alarm and the 0.1259 mW low warning.
    EXPECT_EQ(status_.rx_power_low_alarm[4], 0u);
    EXPECT_EQ(status_.rx_power_low_warning[4], 0u);
    EXPECT_EQ(status_.rx_power_high_alarm[5], 1u);
    EXPECT_EQ(status_.rx_power_high_warning[5], 1u);
    EXPECT_EQ(status_.tx_power_high_alarm[6], 1u);
    EXPECT_EQ(status_.tx_power_high_warning[6], 1u);
    EXPECT_EQ(status_.tx_bias_high_alarm[7], 1u);
    EXPECT_EQ(status_.tx_bias_high_warning[7], 1u);
    EXPECT_EQ(status_.temp_flags[2], 4u);   // high warning: bit 2 as masked
    EXPECT_EQ(status_.temp_flags[0], 0u);
    EXPECT_EQ(status_.vcc_flags[3], 128u);  // low warning: bit 7
    EXPECT_EQ(status_.vcc_flags[1], 0u);
    // Only what was raised: no other lane flag.
    EXPECT_EQ(status_.tx_fault[1] + status_.tx_los[0] + status_.rx_los[0] + status_.rx_los[5], 0u);
    // The values read after the observation are the settled ones.
    EXPECT_NEAR(status_.rx_power_dbm[5], dbm_of(1.1), 1e-5);
    // A second call sees nothing: the latches were cleared by the reads.
    g_round = nullptr;
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(status_.tx_fault[0], 0u);
    EXPECT_EQ(status_.rx_power_high_alarm[5], 0u);
    EXPECT_EQ(status_.temp_flags[2], 0u);
    EXPECT_EQ(status_.vcc_flags[3], 0u);
}

// 0.0024 mW: the narrowed double product and the single-precision one give
// dBm values an ulp apart; the entry is the first.
TEST_F(CmisHwStatusTest, LanePowerIsTheDoubleProductNarrowed) {
    qsfp_port_ctx *port = make("400G-LR8");
    ASSERT_TRUE(module().set_rx_power(0, 0.0024));
    ASSERT_EQ(read_status(port), QSFP_OK);
    const float narrowed = 10.0f * std::log10(static_cast<float>(24 * 0.0001));
    ASSERT_NE(narrowed, 10.0f * std::log10(24 * 0.0001f));
    EXPECT_EQ(status_.rx_power_dbm[0], narrowed);
}

TEST_F(CmisHwStatusTest, VccHighWarningLatchedIsEntry197As64) {
    qsfp_port_ctx *port = make("400G-LR8");
    module().set_vcc(3.5);  // above the 3.465 V high warning, below the 3.63 V alarm
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(status_.vcc_flags[2], 64u);
    EXPECT_EQ(status_.vcc_flags[0], 0u);
    EXPECT_EQ(status_.vcc_flags[1], 0u);
    EXPECT_EQ(status_.vcc_flags[3], 0u);
}

TEST_F(CmisHwStatusTest, AdminAnswerInTheFirstRoundReturnsOneWithoutSleeping) {
    qsfp_port_ctx *port = make("400G-LR8");
    port->admin_state_notify = admin;
    g_round = [](std::uint32_t, std::uint32_t *answer) { *answer = 1; };
    ASSERT_EQ(read_status(port), 1u);
    EXPECT_EQ(g_rounds, 1u);
    EXPECT_TRUE(sleeps_us().empty());
    EXPECT_EQ(accesses(), std::vector<std::string>{"R 11h 135 x67"});
    EXPECT_EQ(evt(), prefixed({"Admin State Notfn ProcessingReceived for port 1 ctrl 0"}));
    expect_only_type_entries(8, 0);
}

TEST_F(CmisHwStatusTest, AdminAnswerInALaterRoundStopsThere) {
    qsfp_port_ctx *port = make("400G-LR8");
    port->admin_state_notify = admin;
    g_round = [](std::uint32_t round, std::uint32_t *answer) { *answer = round == 7 ? 1 : 0; };
    ASSERT_EQ(read_status(port), 1u);
    EXPECT_EQ(g_rounds, 7u);
    EXPECT_EQ(sleeps_us(), std::vector<std::uint64_t>(6, 10000));
    expect_only_type_entries(8, 0);
}

TEST_F(CmisHwStatusTest, FlatModuleReportsOnlyItsLanesAndCopper) {
    qsfp_port_ctx *port = make("400G-CR8-FLAT");
    ASSERT_EQ(port->flat_mem, 1u);
    ASSERT_EQ(read_status(port), QSFP_OK);
    expect_only_type_entries(8, 1);
    EXPECT_TRUE(accesses().empty());
    EXPECT_EQ(evt(), prefixed({"Flat Memory: no DOM\n"}));
}

// A qualified module whose maker's DOM byte names none of the five monitors.
TEST_F(CmisHwStatusTest, ModuleWithoutMonitorsReportsOnlyItsLanes) {
    insert_cmis("KORVA-400G-FR4", [](sim::ModuleMemory &mem) { mem.set(0x03, cmis::kMakerDomSupport, 0xE0); });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    ASSERT_NE(port, nullptr);
    ASSERT_EQ(state(port).dom_support, 0xE0);
    forget_traffic();
    ASSERT_EQ(read_status(port), QSFP_OK);
    expect_only_type_entries(4, 0);
    EXPECT_TRUE(accesses().empty());
    EXPECT_EQ(evt(), prefixed({"Flat Memory: no DOM\n"}));
}

// The plug has no lane monitors: page 11h is not read or watched. Bring-up
// gives it the module monitors only (0x18), so its lane entries stay 0.
TEST_F(CmisHwStatusTest, PassiveLoopbackIsNotReadOnPage11) {
    qsfp_port_ctx *port = make_paged_plug();
    ASSERT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK);
    ASSERT_EQ(state(port).dom_support, cmis::kDomModuleOnly);
    port->admin_state_notify = admin;
    module().set_temperature(30.0);
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R lower 14 x2", "R lower 16 x2", "R 10h 130 x1", "R lower 9 x1"}));
    EXPECT_TRUE(sleeps_us().empty());
    EXPECT_EQ(g_rounds, 0u);
    EXPECT_FLOAT_EQ(status_.temperature, 30.0f);
    EXPECT_EQ(status_.media_type, 8u);
    EXPECT_EQ(status_.is_copper, 1u);  // passive
    for (int lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(status_.rx_power_dbm[lane], 0.0f);
        EXPECT_EQ(status_.rx_los[lane], 0u);
    }
}

// With lane monitors in its mask the plug's zero block reads as dark lanes.
TEST_F(CmisHwStatusTest, PassiveLoopbackWithLaneMonitorsReadsDarkLanesAndNoFlags) {
    qsfp_port_ctx *port = make_paged_plug();
    state(port).dom_support = cmis::kDomAll;
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R lower 14 x2", "R lower 16 x2", "R 10h 130 x1", "R lower 9 x1"}));
    for (int lane = 0; lane < 8; ++lane) {
        SCOPED_TRACE(lane);
        EXPECT_FLOAT_EQ(status_.rx_power_dbm[lane], -40.0f);
        EXPECT_FLOAT_EQ(status_.tx_power_dbm[lane], -40.0f);
        EXPECT_EQ(status_.tx_bias_ma[lane], 0.0f);
        EXPECT_EQ(status_.rx_los[lane] + status_.tx_fault[lane] + status_.rx_power_low_alarm[lane] +
                      status_.tx_power_low_alarm[lane] + status_.tx_bias_low_alarm[lane],
                  0u);
    }
}

// The driver's lane count, not the module's bytes, bounds every lane group:
// an eight-lane module driven as a four-lane type fills lanes 0-3 only.
TEST_F(CmisHwStatusTest, FourMediaLanesFillLanesZeroToThreeOnly) {
    qsfp_port_ctx *port = make("400G-LR8");
    sim::CmisModule &m = module();
    port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_FR4;
    port->admin_state_notify = admin;
    g_round = [&](std::uint32_t round, std::uint32_t *) {
        if (round == 1) {
            for (int lane = 0; lane < 8; ++lane) {
                m.set_tx_fault(lane, true);
                m.set_rx_cdr_lol(lane, true);
                m.set_rx_power(lane, 3.5);
            }
        }
    };
    std::uint8_t all = 0xFF;
    ASSERT_EQ(qsfp_access(port, cmis::kTxDisable, 1, cmis::kPage10, &all, QSFP_ACCESS_WRITE), QSFP_OK);
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(status_.media_type, 4u);
    for (int lane = 0; lane < 8; ++lane) {
        SCOPED_TRACE(lane);
        const bool used = lane < 4;
        EXPECT_EQ(status_.tx_disabled[lane], used ? 1u : 0u);
        EXPECT_EQ(status_.tx_fault[lane], used ? 1u : 0u);
        EXPECT_EQ(status_.rx_cdr_lol[lane], used ? 1u : 0u);
        EXPECT_EQ(status_.rx_power_high_alarm[lane], used ? 1u : 0u);
        EXPECT_EQ(status_.tx_power_low_alarm[lane], used ? 1u : 0u);  // transmitters off
        EXPECT_EQ(status_.tx_bias_low_alarm[lane], used ? 1u : 0u);
        if (used) {
            EXPECT_NEAR(status_.rx_power_dbm[lane], dbm_of(3.5), 1e-5);
        } else {
            EXPECT_EQ(status_.rx_power_dbm[lane], 0.0f);
            EXPECT_EQ(status_.tx_power_dbm[lane], 0.0f);
            EXPECT_EQ(status_.tx_bias_ma[lane], 0.0f);
        }
    }
}

// The emulated FR4 has four media lanes, as the driver's table says.
TEST_F(CmisHwStatusTest, Fr4ReportsFourLanes) {
    qsfp_port_ctx *port = make("400G-FR4");
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(status_.media_type, 4u);
    for (int lane = 0; lane < 4; ++lane) EXPECT_GT(status_.rx_power_dbm[lane], -10.0f) << lane;
    for (int lane = 4; lane < 8; ++lane) EXPECT_EQ(status_.rx_power_dbm[lane], 0.0f) << lane;
}

// Each DOM bit gates its entries and its reads.
TEST_F(CmisHwStatusTest, DomMaskGatesMonitorsAndFlags) {
    qsfp_port_ctx *port = make("400G-LR8");
    state(port).dom_support = cmis::kDomRxPower | cmis::kDomTemperature;
    module().set_vcc(3.5);             // Vcc high warning: not reported without 0x10
    module().set_temperature(72.0);    // temperature high warning
    module().set_tx_bias(0, 125.0);    // bias high alarm: not reported without 0x02
    module().set_rx_power(1, 3.5);     // Rx power high alarm
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 11h 135 x67", "R 11h 135 x67", "R lower 14 x2", "R 10h 130 x1",
                                                    "R lower 9 x1"}));
    EXPECT_NE(status_.rx_power_dbm[0], 0.0f);
    EXPECT_EQ(status_.rx_power_high_alarm[1], 1u);
    EXPECT_EQ(status_.tx_power_dbm[0], 0.0f);
    EXPECT_EQ(status_.tx_bias_ma[0], 0.0f);
    EXPECT_EQ(status_.tx_bias_high_alarm[0], 0u);
    EXPECT_EQ(status_.vcc, 0.0f);
    EXPECT_EQ(status_.vcc_flags[2], 0u);
    EXPECT_EQ(status_.temp_flags[2], 4u);
    EXPECT_FLOAT_EQ(status_.temperature, 72.0f);
}

// Revision 04h: temperature at lower 12-13, supply at 16-17, thresholds,
// nothing else.
TEST_F(CmisHwStatusTest, PreReleaseLayoutReadsItsOwnMonitors) {
    qsfp_port_ctx *port = make("PRE04-400G-LB");
    ASSERT_EQ(state(port).revision, cmis::kRevisionPre04);
    ASSERT_EQ(state(port).dom_support, cmis::kDomModuleOnly);
    module().memory().set(0, 12, 0xFC);  // -3.25 C
    module().memory().set(0, 13, 0xC0);
    module().set_vcc(3.25);
    ASSERT_EQ(read_status(port), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R lower 12 x2", "R lower 16 x2"}));
    EXPECT_TRUE(sleeps_us().empty());
    EXPECT_FLOAT_EQ(status_.temperature, -3.25f);
    EXPECT_FLOAT_EQ(status_.vcc, 32500 * 0.0001f);
    EXPECT_EQ(std::memcmp(&status_.thresholds, &port->thresholds, sizeof status_.thresholds), 0);
    EXPECT_NE(status_.thresholds.vcc_high_alarm, 0.0f);
    EXPECT_EQ(status_.media_type, 8u);
    EXPECT_EQ(status_.is_copper, 1u);
    EXPECT_EQ(status_.wavelength_nm, 0.0f);
    EXPECT_EQ(status_.tx_disabled[0], 0u);
}

struct AccessFault {
    Op op;
    int page;
    std::uint8_t first;
    std::uint8_t last;
    const char *message;  // nullptr: the slot's own trace is the page-select one
};

// A failure at each access: its code and message, then the port still works.
TEST_F(CmisHwStatusTest, EveryAccessFailureReturnsItsCode) {
    const AccessFault faults[] = {
        {Op::read, 0x11, 135, 201, "Rx Monitor Read error. rc 0x5\n"},
        {Op::read, -1, 14, 15, "Temp Monitor Read error. rc 0x5\n"},
        {Op::read, -1, 16, 17, "Vcc Monitor Read error. rc 0x5\n"},
        {Op::read, 0x10, 130, 130, "tx disable read error\n"},
        {Op::read, -1, 9, 9, "temp and vcc alarm/wwarn reg read error. rc 0x5\n"},
    };
    qsfp_port_ctx *port = make("400G-LR8");
    for (const AccessFault &f : faults) {
        SCOPED_TRACE(f.message);
        clear_traces();
        cage().fail_range(f.op, f.page, f.first, f.last, 5);
        EXPECT_EQ(read_status(port), 5u);
        expect_failure_traced(f.message);
        cage().clear_faults();
        EXPECT_EQ(read_status(port), QSFP_OK);
        EXPECT_NEAR(status_.rx_power_dbm[0], dbm_of(1.1), 1e-5);
    }
}

// The second reading of the block fails: installed during the observation.
TEST_F(CmisHwStatusTest, SecondBlockReadFailureReturnsItsCode) {
    qsfp_port_ctx *port = make("400G-LR8");
    port->admin_state_notify = admin;
    g_round = [&](std::uint32_t round, std::uint32_t *) {
        if (round == 50) cage().fail_range(Op::read, 0x11, 135, 201, 7);
    };
    EXPECT_EQ(read_status(port), 7u);
    expect_failure_traced("Rx Monitor Read error. rc 0x7\n");
    EXPECT_EQ(slept_ms(), 500u);
    cage().clear_faults();
    g_round = nullptr;
    EXPECT_EQ(read_status(port), QSFP_OK);
}

// A failed page selection fails the access it belongs to: page 11h is still
// selected from the settling, so the first selection is lower memory's for
// the temperature.
TEST_F(CmisHwStatusTest, PageSelectFailureFailsTheBlockRead) {
    qsfp_port_ctx *port = make("400G-LR8");
    cage().fail_range(Op::write, -1, 127, 127, 6, 1);
    EXPECT_EQ(read_status(port), 6u);
    const std::vector<std::string> errors = err();
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.back(), "Controller 0 Port 1: Temp Monitor Read error. rc 0x6\n");
    EXPECT_EQ(read_status(port), QSFP_OK);
}

TEST_F(CmisHwStatusTest, PreReleaseFailuresReturnTheirCodes) {
    qsfp_port_ctx *port = make("PRE04-400G-LB");
    cage().fail_range(Op::read, -1, 12, 13, 5);
    EXPECT_EQ(read_status(port), 5u);
    expect_failure_traced("Temp Monitor Read error. rc 0x5\n");
    cage().clear_faults();
    clear_traces();
    cage().fail_range(Op::read, -1, 16, 17, 9);
    EXPECT_EQ(read_status(port), 9u);
    expect_failure_traced("Vcc Monitor Read error. rc 0x9\n");
    cage().clear_faults();
    EXPECT_EQ(read_status(port), QSFP_OK);
}

TEST_F(CmisHwStatusTest, NullArgumentsAreRefused) {
    qsfp_port_ctx *port = make("400G-LR8");
    EXPECT_EQ(qsfp_dd_fvt.get_hw_status(nullptr, &status_), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_hw_status(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"QSFP get hw status Null parameters\n"}));
    EXPECT_TRUE(accesses().empty());
}

TEST_F(CmisHwStatusTest, InventoryIsCopiedWhole) {
    qsfp_port_ctx *port = make("KORVA-400G-DR4");
    qsfp_hw_info info;
    std::memset(&info, 0x5A, sizeof info);
    ASSERT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_EQ(std::memcmp(&info, &port->hw_info, sizeof info), 0);
    EXPECT_EQ(info.qsfp_type, QSFP_DD_TYPE_400G_DR4);
    EXPECT_STREQ(info.vendor_name, "KORVA");
    EXPECT_TRUE(accesses().empty());
    EXPECT_EQ(qsfp_port_hw_info(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_dd_fvt.get_hw_info(nullptr, &info), QSFP_ERR_INVALID);
    // The port is released: another operation takes it.
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
}

}  // namespace
}  // namespace qsfp::test
