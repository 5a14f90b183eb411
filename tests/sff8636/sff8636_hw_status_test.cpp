// The live status record: entries from module bytes, the data-ready wait,
// the admin-state cut-off and the paths that stop early.
#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

std::uint32_t g_calls;
std::uint32_t g_cut_at;

void admin(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t *answer) {
    ++g_calls;
    if (answer != nullptr && g_calls == g_cut_at) *answer = 1;
}

class HwStatusTest : public SffPortTest {
protected:
    void SetUp() override {
        SffPortTest::SetUp();
        g_calls = 0;
        g_cut_at = 0;
    }
    void set_word(std::uint8_t page, std::uint8_t addr, std::uint16_t value) {
        module().memory().set(page, addr, static_cast<std::uint8_t>(value >> 8));
        module().memory().set(page, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(value));
    }
    qsfp_hw_status status_{};
};

TEST_F(HwStatusTest, MonitorsAndFlagsFillTheirEntries) {
    qsfp_port_ctx *port = make();
    port->thresholds.temp_high_alarm = 70.0f;
    set_word(0, 36, 5000);                               // Rx lane 2: 0.5 mW
    set_word(0, 42, 3600);                               // bias lane 1: 7.2 mA
    set_word(0, 50, 12589);                              // Tx lane 1: 1.2589 mW
    set_word(0, 56, 20000);                              // Tx lane 4: 2 mW
    set_word(0, 22, static_cast<std::uint16_t>(-896));   // -3.5 C
    set_word(0, 26, 32900);                              // 3.29 V
    module().memory().set(0, 86, 0x05);
    module().memory().set(0, 3, 0x21);   // Rx1 LOS, Tx2 LOS
    module().memory().set(0, 4, 0x08);   // Tx4 fault
    module().memory().set(0, 5, 0x42);   // Tx3 LOL, Rx2 LOL
    module().memory().set(0, 6, 0x80);
    module().memory().set(0, 7, 0x10);
    module().memory().set(0, 9, 0x84);   // Rx1 high alarm, Rx2 low alarm
    module().memory().set(0, 12, 0x01);  // bias lane 4 low warning
    module().memory().set(0, 14, 0x20);  // Tx power lane 3 high warning
    state(port).wavelength[0] = 0x65;      // 25950 / 20 = 1297 nm
    state(port).wavelength[1] = 0x5E;
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_FLOAT_EQ(status_.rx_power_dbm[1], 10.0f * std::log10(0.5f));
    EXPECT_NEAR(status_.rx_power_dbm[1], -3.0103f, 1e-4);
    EXPECT_FLOAT_EQ(status_.rx_power_dbm[0], -40.0f);  // a dark lane
    EXPECT_FLOAT_EQ(status_.tx_bias_ma[0], 7.2f);
    // Tx power, bytes 50-57, as the Rx power: a dark transmitter is -40 dBm.
    EXPECT_NEAR(status_.tx_power_dbm[0], 10.0f * std::log10(1.2589f), 1e-5);
    EXPECT_NEAR(status_.tx_power_dbm[0], 1.0f, 1e-4);
    EXPECT_FLOAT_EQ(status_.tx_power_dbm[1], -40.0f);
    EXPECT_FLOAT_EQ(status_.tx_power_dbm[2], -40.0f);
    EXPECT_NEAR(status_.tx_power_dbm[3], 3.0103f, 1e-4);
    EXPECT_FLOAT_EQ(status_.temperature, -3.5f);
    EXPECT_FLOAT_EQ(status_.vcc, 3.29f);
    EXPECT_FLOAT_EQ(status_.wavelength_nm, 1297.0f);
    EXPECT_EQ(std::memcmp(&status_.thresholds, &port->thresholds, sizeof status_.thresholds), 0);
    EXPECT_EQ(status_.tx_disabled[0], 1u);
    EXPECT_EQ(status_.tx_disabled[1], 0u);
    EXPECT_EQ(status_.tx_disabled[2], 1u);
    EXPECT_EQ(status_.rx_los[0], 1u);
    EXPECT_EQ(status_.tx_los[1], 1u);
    EXPECT_EQ(status_.tx_fault[3], 1u);
    EXPECT_EQ(status_.tx_cdr_lol[2], 1u);
    EXPECT_EQ(status_.rx_cdr_lol[1], 1u);
    EXPECT_EQ(status_.temp_flags[0], 0x80u);
    EXPECT_EQ(status_.vcc_flags[3], 0x10u);
    EXPECT_EQ(status_.rx_power_high_alarm[0], 0x80u);
    EXPECT_EQ(status_.rx_power_low_alarm[1], 0x04u);
    EXPECT_EQ(status_.tx_bias_low_warning[3], 0x01u);
    EXPECT_EQ(status_.tx_power_high_warning[2], 0x20u);
    EXPECT_EQ(status_.tx_power_high_warning[3], 0u);
    EXPECT_EQ(status_.media_type, 4u);
    EXPECT_EQ(status_.is_copper, 0u);
    for (int lane = 4; lane < 8; ++lane) {
        EXPECT_EQ(status_.rx_power_dbm[lane], 0.0f);
        EXPECT_EQ(status_.tx_power_dbm[lane], 0.0f);
        EXPECT_EQ(status_.rx_los[lane], 0u);
    }
    // Flag observation: 20 steps of 10 ms.
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>(20, 10000));
}

TEST_F(HwStatusTest, MediaTypeGivesTheLaneCount) {
    qsfp_port_ctx *port = make();
    for (const auto &[type, lanes] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {26, 2}, {37, 1}, {38, 1}, {39, 1}, {2, 4}, {36, 4}, {40, 4}}) {
        port->hw_info.qsfp_type = type;
        ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
        EXPECT_EQ(status_.media_type, lanes) << type;
    }
}

TEST_F(HwStatusTest, NeverReadyModuleAnswers11AfterAbout2Seconds) {
    qsfp_port_ctx *port = make();
    module().stick(0, 2, 0x01);
    const std::uint64_t start = qsfp::sim::VirtualClock::instance().now_ns();
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), QSFP_ERR_NOT_READY);
    const std::uint64_t took = qsfp::sim::VirtualClock::instance().now_ns() - start;
    EXPECT_EQ(took, 1900000000u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Tx is not data ready "));
}

TEST_F(HwStatusTest, AdminChangeDuringTheDataReadyWaitAbandonsWith1) {
    qsfp_port_ctx *port = make();
    port->admin_state_notify = admin;
    g_cut_at = 13;  // in the second 100 ms wait
    module().stick(0, 2, 0x01);
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), 1u);
    EXPECT_EQ(g_calls, 13u);
    EXPECT_EQ(sleeps().size(), 12u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Admin State Notfn ProcessingReceived for port 1 ctrl 0"));
}

TEST_F(HwStatusTest, AdminChangeDuringTheFlagObservationAbandonsWith1) {
    qsfp_port_ctx *port = make();
    port->admin_state_notify = admin;
    g_cut_at = 20;
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), 1u);
    EXPECT_EQ(g_calls, 20u);
    EXPECT_EQ(sleeps().size(), 19u);
}

TEST_F(HwStatusTest, CopperCableSkipsTxDisableAndFlatOrNoDomStopsEarly) {
    qsfp_port_ctx *port = make();
    port->is_copper = 1;
    port->flat_mem = 1;
    port->hw_info.qsfp_type = 11;
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.is_copper, 1u);
    EXPECT_EQ(status_.media_type, 4u);
    EXPECT_EQ(cage().stats().transactions, 0u);
    port->is_copper = 0;
    port->flat_mem = 0;
    state(port).dom_supported = 0;
    module().memory().set(0, 86, 0x0F);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.tx_disabled[3], 1u);
    EXPECT_EQ(status_.temperature, 0.0f);
    EXPECT_TRUE(sleeps().empty());
}

TEST_F(HwStatusTest, TxDisableReadFailureIsFatalExceptForAocAndAec) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::read, -1, 86, 86, 5);
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Tx Disable Read error"));
    for (std::uint32_t type : {1u, 25u}) {
        port->hw_info.qsfp_type = type;
        EXPECT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK) << type;
    }
}

TEST_F(HwStatusTest, MonitorReadFailuresAreReturned) {
    const std::pair<std::uint8_t, const char *> cases[] = {{34, "Channel Monitor info read error"},
                                                           {22, "Temperature Read error"},
                                                           {26, "Voltage Read error"},
                                                           {3, "errno: Channel Interrupt flag reg read failed. rc: 0x5"}};
    qsfp_port_ctx *port = make();
    for (const auto &[reg, message] : cases) {
        cage().clear_faults();
        clear_traces();
        cage().fail_range(Op::read, -1, reg, reg, 5);
        EXPECT_EQ(qsfp_port_hw_status(port, &status_), 5u) << message;
        EXPECT_TRUE(trace_has(kErr, std::string("Controller 0 Port 1: ") + message)) << message;
    }
}

std::vector<qsfp::sim::Transaction> flag_reads(const std::vector<qsfp::sim::Transaction> &log) {
    std::vector<qsfp::sim::Transaction> out;
    for (const auto &t : log) {
        if (t.op == Op::read && t.reg == 3) out.push_back(t);
    }
    return out;
}

TEST_F(HwStatusTest, PortMarkedForBitBangReadsItsFlagsByteByByte) {
    qsfp_port_ctx *port = make();
    state(port).bit_bang = 1;
    module().memory().set(0, 3, 0x01);  // Rx1 LOS
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.rx_los[0], 1u);
    const auto reads = flag_reads(cage().log());
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_TRUE(reads[0].bit_bang);
    EXPECT_EQ(reads[0].len, 12u);
    EXPECT_EQ(cage().stats().delay_ns, 11u * 200000);
}

// The status record goes by the port's mark alone: without a bit-bang
// function the bit-bang read itself refuses, and the record fails.
TEST_F(HwStatusTest, PortMarkedForBitBangWithoutTheFunctionFailsItsFlagRead) {
    qsfp_port_ctx *port = make();
    state(port).bit_bang = 1;
    port->bit_bang_read = nullptr;
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), QSFP_ERR_INVALID);
    EXPECT_TRUE(
        trace_has(kErr, "Controller 0 Port 1: errno: Channel interrupt flag reg second bitbang read failed rc: 0x16"));
    EXPECT_TRUE(flag_reads(cage().log()).empty());
}

TEST_F(HwStatusTest, FailedBitBangedFlagReadIsTracedAndReturned) {
    qsfp_port_ctx *port = make();
    state(port).bit_bang = 1;
    cage().fail_range(Op::read, -1, 3, 3, 7);
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), 7u);
    EXPECT_TRUE(
        trace_has(kErr, "Controller 0 Port 1: errno: Channel interrupt flag reg second bitbang read failed rc: 0x7"));
    EXPECT_FALSE(trace_has(kErr, "Controller 0 Port 1: errno: Channel Interrupt flag reg read failed. rc: 0x7"));
}

TEST_F(HwStatusTest, MissingArguments) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_get_hw_status(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_get_hw_status(nullptr, &status_), QSFP_ERR_INVALID);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP get hw status Null parameters"));
    EXPECT_TRUE(trace_has(kErr, "QSFP get hw status : NULL Qsfp Port"));
}

}  // namespace
