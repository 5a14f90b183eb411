// Monitoring end to end: values set on an emulated module come out in the
// status record, the reports and the threshold record; latched flags as the
// module latches them.
#include <cmath>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/sff8636_module.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Sff8636Module;

class MonitoringTest : public SffPortTest {
protected:
    // A catalogue module brought up with the hardware and all lanes enabled.
    qsfp_port_ctx *enabled(const char *name) {
        auto module = qsfp::sim::make_module(name);
        module_ = module.get();
        insert(0, std::move(module));
        qsfp_port_create_params p = params(0);
        p.init_arg = 1;
        qsfp_port_ctx *port = create(p, QSFP_OK);
        qsfp_port_admin_state(port, 0, 1, 0x0F);
        usleep(11000000);  // past any settle period
        forget_traffic();
        return port;
    }
    std::string report(qsfp_port_ctx *port, std::uint32_t kind) {
        std::vector<char> buf(16384, '\0');
        EXPECT_EQ(qsfp_port_dom_info(port, buf.data(), kind, static_cast<std::uint32_t>(buf.size())), QSFP_OK);
        return buf.data();
    }
    Sff8636Module *module_ = nullptr;
    qsfp_hw_status status_{};
};

TEST_F(MonitoringTest, ValuesSetOnTheModuleReachTheStatusRecordAndTheReports) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    ASSERT_TRUE(module_->transmitting(0));
    module_->set_rx_power(1, 0.5);
    module_->set_temperature(-3.5);
    module_->set_vcc(3.29);
    module_->set_tx_bias(0, 7.2);
    module_->set_rx_power(3, 0.0);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_NEAR(status_.rx_power_dbm[1], -3.0103f, 2e-5f);
    EXPECT_FLOAT_EQ(status_.rx_power_dbm[3], -40.0f);
    EXPECT_FLOAT_EQ(status_.temperature, -3.5f);
    EXPECT_NEAR(status_.vcc, 3.29f, 1e-6f);
    EXPECT_NEAR(status_.tx_bias_ma[0], 7.2f, 1e-6f);
    // The emulated module's transmitters follow their Tx disable: lane 1 is on.
    EXPECT_GT(status_.tx_power_dbm[0], -10.0f);
    EXPECT_LT(status_.tx_power_dbm[0], 10.0f);

    const std::string module_text = report(port, 1);
    EXPECT_NE(module_text.find("Temperature       \t\t -3.50 C  \n"), std::string::npos) << module_text;
    EXPECT_NE(module_text.find("Supply voltage     \t\t 3.2900 V  \n"), std::string::npos) << module_text;
    const std::string lanes = report(port, 2);
    EXPECT_NE(lanes.find("RX2 power          \t\t 0.5000 mW \t [ -3.0103 dBm ] \n"), std::string::npos) << lanes;
    EXPECT_NE(lanes.find("RX4 power          \t\t 0.0000 mW \t [ -inf dBm ]\n"), std::string::npos) << lanes;
    EXPECT_NE(lanes.find("TX1 bias current   \t\t 7.2000 mA \n"), std::string::npos) << lanes;
}

TEST_F(MonitoringTest, ThresholdRecordIsPage03InEngineeringUnits) {
    qsfp_port_ctx *port = enabled("100G-LR4");
    const auto &mem = module_->memory();
    auto word = [&](int addr) { return static_cast<std::uint16_t>(mem.get(3, addr) << 8 | mem.get(3, addr + 1)); };
    auto dbm = [](std::uint16_t raw) { return 10.0f * std::log10(raw * 0.0001f); };
    qsfp_threshold_data t{};
    ASSERT_EQ(qsfp_port_hw_thresholds(port, &t), QSFP_OK);
    EXPECT_FLOAT_EQ(t.temp_high_alarm, static_cast<std::int16_t>(word(128)) / 256.0f);
    EXPECT_FLOAT_EQ(t.temp_low_warning, static_cast<std::int16_t>(word(134)) / 256.0f);
    EXPECT_FLOAT_EQ(t.vcc_low_alarm, word(146) * 0.0001f);
    EXPECT_FLOAT_EQ(t.rx_power_high_alarm, dbm(word(176)));
    EXPECT_FLOAT_EQ(t.rx_power_low_warning, dbm(word(182)));
    EXPECT_FLOAT_EQ(t.bias_high_warning, word(188) * 0.002f);
    EXPECT_FLOAT_EQ(t.tx_power_low_alarm, dbm(word(194)));
    EXPECT_GT(t.temp_high_alarm, t.temp_high_warning);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(std::memcmp(&status_.thresholds, &t, sizeof t), 0);
}

TEST_F(MonitoringTest, TxDisableTakesTheLanesPowerAndBiasToZero) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    module_->set_tx_bias(2, 6.0);
    qsfp_port_tx_disable(port, 1, 0, 0x04);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.tx_disabled[2], 1u);
    EXPECT_FLOAT_EQ(status_.tx_bias_ma[2], 0.0f);
    const std::string lanes = report(port, 2);
    EXPECT_NE(lanes.find("TX3 bias current   \t\t 0.0000 mA \n"), std::string::npos);
    EXPECT_NE(lanes.find("TX3 power          \t\t 0.0000 mW \t [ -inf dBm ]\n"), std::string::npos);
}

TEST_F(MonitoringTest, FlagLatchedAndClearedBeforeTheStatusReadShowsOnceInTheRecord) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    module_->set_tx_fault(2, true);
    std::uint8_t b = 0;
    qsfp_port_read(port, 2, 0, 1, &b);  // the module sees the fault
    module_->set_tx_fault(2, false);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.tx_fault[2], 1u);
    EXPECT_EQ(status_.tx_fault[1], 0u);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.tx_fault[2], 0u);  // the read cleared it
}

Sff8636Module *g_module;
int g_step;

// Called before each 10 ms step of the report's observation period.
void raise_then_clear(std::uint32_t, std::uint32_t, std::uint32_t kind, std::uint32_t *) {
    if (kind != 0) return;
    ++g_step;
    if (g_step == 5) g_module->set_rx_cdr_lol(0, true);
    if (g_step == 9) g_module->set_rx_cdr_lol(0, false);
}

TEST_F(MonitoringTest, FlagRaisedAndClearedDuringTheObservationShowsInTheReport) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    g_module = module_;
    g_step = 0;
    port->admin_state_notify = raise_then_clear;
    const std::string text = report(port, 0);
    EXPECT_EQ(g_step, 20);
    EXPECT_NE(text.find("L-RX1 CDR LOL \t\t\t   YES\n"), std::string::npos) << text;
    EXPECT_NE(text.find("L-RX2 CDR LOL \t\t\t   NO\n"), std::string::npos);
}

TEST_F(MonitoringTest, FlagFromBeforeTheReportIsClearedByItsFirstRead) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    module_->set_rx_cdr_lol(0, true);
    std::uint8_t b = 0;
    qsfp_port_read(port, 2, 0, 1, &b);
    module_->set_rx_cdr_lol(0, false);
    const std::string text = report(port, 0);
    EXPECT_NE(text.find("L-RX1 CDR LOL \t\t\t   NO\n"), std::string::npos) << text;
}

TEST_F(MonitoringTest, ReceivePowerAlarmOfLane3ShowsOnTransmitLane3Too) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    module_->set_rx_power(2, 20.0);  // far above the Rx power high alarm
    const std::string text = report(port, 0);
    EXPECT_NE(text.find("L-RX3 power high alarm   \t   YES\n"), std::string::npos) << text;
    EXPECT_NE(text.find("L-TX3 power high alarm   \t   YES\n"), std::string::npos) << text;
    EXPECT_NE(text.find("L-TX4 power high alarm   \t   NO\n"), std::string::npos) << text;
    // A real Tx lane 3 power alarm (byte 14) does not show there.
    module_->set_rx_power(2, 0.5);
    module_->set_tx_power(2, 20.0);
    const std::string tx = report(port, 0);
    EXPECT_NE(tx.find("L-TX3 power high alarm   \t   NO\n"), std::string::npos) << tx;
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_NE(status_.tx_power_high_alarm[2], 0u);  // the status record reads byte 14
}

TEST_F(MonitoringTest, NeverReadyModuleAnswers11AfterAbout2Seconds) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    module_->set_data_not_ready_time(std::nullopt);
    const std::uint64_t start = qsfp::sim::VirtualClock::instance().now_ns();
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), QSFP_ERR_NOT_READY);
    EXPECT_NEAR((qsfp::sim::VirtualClock::instance().now_ns() - start) / 1e9, 2.0, 0.15);
}

std::uint32_t g_calls;
void cut_at_7(std::uint32_t, std::uint32_t, std::uint32_t kind, std::uint32_t *answer) {
    if (kind == 0 && ++g_calls == 7) *answer = 1;
}

TEST_F(MonitoringTest, StatusAbandonedByTheAdminCallbackAnswers1AfterItsCalls) {
    qsfp_port_ctx *port = enabled("100G-SR4");
    g_calls = 0;
    port->admin_state_notify = cut_at_7;
    EXPECT_EQ(qsfp_port_hw_status(port, &status_), 1u);
    EXPECT_EQ(g_calls, 7u);
}

}  // namespace
