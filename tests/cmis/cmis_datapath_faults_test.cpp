// A failed bus access at each step of mode configuration, port enable and
// port disable: the step's message, the access's code returned, and a port
// that works again once the bus does. Also the power-mode step.
#include <gtest/gtest.h>

#include "cmis/cmis_fault_sweep.h"

namespace {

using namespace qsfp::test;
namespace sim = qsfp::sim;
using qsfp::cmis::mode_config;
using qsfp::cmis::set_low_power;
using std::chrono::milliseconds;

class CmisDatapathFaultTest : public CmisFaultSweepTest {};

TEST_F(CmisDatapathFaultTest, ModeConfiguration) {
    const std::string down = "Failed to read the Power Reset Control Reg. rc 5\n";
    std::vector<Step> steps = {
        {"R 11h 206 x8", "Failed to read the Active Control Set. rc 5\n"},
        {"R 11h 128 x4", down},
        {"W 10h 128 x1", "failed to write to the datapath power ctrl reg. rc 5\n"},
        {"R 11h 128 x4", down},
    };
    for (const char *staged : {"W 10h 145 x1", "W 10h 146 x1", "W 10h 147 x1", "W 10h 148 x1", "W 10h 149 x1", "W 10h 150 x1",
                               "W 10h 151 x1", "W 10h 152 x1"}) {
        steps.push_back({staged, "Failed to write to stage ctrl set 0 reg (0x91) rc 0x5\n"});
    }
    steps.push_back({"W 10h 143 x1", "Failed to write to apply datapath init reg (0x8f) rc 0x5\n"});
    steps.push_back({"R 11h 202 x4", "Failed to read the Config Error Code Reg. rc 5\n"});
    steps.push_back({"W 10h 130 x1", "Failed to write to Tx Disable Reg. rc 0x5\n"});
    steps.push_back({"W 10h 138 x1", "Failed to write to Rx Output Disable Reg. rc 0x5\n"});
    steps.push_back({"R lower 26 x1", "Failed to read the Power Reset Control Reg. rc 5\n"});
    sweep(
        steps,
        [&] {
            qsfp_port_ctx *port = make("400G-DR4");
            module().set_dp_init_time(milliseconds(50));
            module().set_dp_deinit_time(milliseconds(50));
            forget_traffic();
            return port;
        },
        [](qsfp_port_ctx *port) { return mode_config(port, QSFP_DD_OPER_MODE_4X100G); },
        // The mode was recorded before the failure; back to the default.
        [](qsfp_port_ctx *port) { return mode_config(port, QSFP_DD_OPER_MODE_DEFAULT); });
}

TEST_F(CmisDatapathFaultTest, Cmis3PortEnable) {
    sweep(
        {
            {"R 10h 130 x1", "Failed to read to Tx Disable Reg. rc 0x5\n"},
            {"R 10h 138 x1", "Failed to read to Rx Output Disable Reg. rc 0x5\n"},
            {"R 10h 128 x1", "Failed to read from the datapath power ctrl reg. rc 5\n"},
            {"W 10h 128 x1", "Failed to write to the datapath power ctrl reg. rc 5\n"},
            {"R 11h 128 x4", "Failed to read the Power Reset Control Reg. rc 5\n"},
            {"W 10h 130 x1", "Failed to write to Tx Disable Reg. rc 0x5\n"},
            {"W 10h 138 x1", "Failed to write to Rx Output Disable Reg. rc 0x5\n"},
        },
        [&] {
            qsfp_port_ctx *port = make("400G-DR4-CMIS3");
            module().set_dp_init_time(milliseconds(50));
            EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
            forget_traffic();
            return port;
        },
        [](qsfp_port_ctx *port) { return port->fvt.port_enable(port, 0x01, 0); },
        [&](qsfp_port_ctx *port) {
            const std::uint32_t rc = port->fvt.port_enable(port, 0x01, 0);
            EXPECT_EQ(lanes_in(DpState::activated), 0x03);
            return rc;
        });
}

TEST_F(CmisDatapathFaultTest, Cmis4PortEnable) {
    sweep(
        {
            {"R 10h 130 x1", "Failed to read to Tx Disable Reg. rc 0x5\n"},
            {"R 10h 138 x1", "Failed to read to Rx Output Disable Reg. rc 0x5\n"},
            {"R 10h 128 x1", "Failed to read from the datapath deinit reg. rc 5\n"},
            {"W 10h 128 x1", "Failed to write to the datapath deinit reg. rc 5\n"},
            {"R 11h 128 x4", "Failed to read the Power Reset Control Reg. rc 5\n"},
            {"W 10h 130 x1", "Failed to write to Tx Disable Reg. rc 0x5\n"},
            {"W 10h 138 x1", "Failed to write to Rx Output Disable Reg. rc 0x5\n"},
        },
        [&] {
            qsfp_port_ctx *port = make("2X100G-LR4");
            module().set_dp_init_time(milliseconds(50));
            EXPECT_EQ(port->fvt.port_disable(port, 0x0F, 0), QSFP_OK);
            sim::VirtualClock::instance().advance_ns(200000000);
            forget_traffic();
            return port;
        },
        [](qsfp_port_ctx *port) { return port->fvt.port_enable(port, 0x0F, 0); },
        [&](qsfp_port_ctx *port) {
            const std::uint32_t rc = port->fvt.port_enable(port, 0x0F, 0);
            EXPECT_EQ(lanes_in(DpState::activated), 0xFF);
            return rc;
        });
}

TEST_F(CmisDatapathFaultTest, Cmis3PortDisable) {
    sweep(
        {
            {"R 10h 130 x1", "Failed to read to Tx Disable Reg. rc 0x5\n"},
            {"R 10h 138 x1", "Failed to read to Rx Output Disable Reg. rc 0x5\n"},
            {"R 10h 128 x1", "Failed to read from the datapath power ctrl reg. rc 5\n"},
            {"W 10h 138 x1", "Failed to write to Rx Output Disable Reg. rc 0x5\n"},
            {"W 10h 130 x1", "Failed to write to Tx Disable Reg. rc 0x5\n"},
            {"W 10h 128 x1", "Failed to write to the datapath power ctrl reg. rc 5\n"},
        },
        [&] {
            qsfp_port_ctx *port = make("400G-DR4-CMIS3");
            module().set_dp_init_time(milliseconds(50));
            EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
            EXPECT_EQ(port->fvt.port_enable(port, 0x0F, 0), QSFP_OK);
            forget_traffic();
            return port;
        },
        [](qsfp_port_ctx *port) { return port->fvt.port_disable(port, 0x02, 0); },
        [&](qsfp_port_ctx *port) {
            const std::uint32_t rc = port->fvt.port_disable(port, 0x02, 0);
            sim::VirtualClock::instance().advance_ns(200000000);
            EXPECT_EQ(lanes_in(DpState::activated), 0xF3);
            return rc;
        });
}

TEST_F(CmisDatapathFaultTest, Cmis4PortDisable) {
    sweep(
        {
            {"R 10h 130 x1", "Failed to read to Tx Disable Reg. rc 0x5\n"},
            {"R 10h 138 x1", "Failed to read to Rx Output Disable Reg. rc 0x5\n"},
            {"R 10h 128 x1", "Failed to read from the datapath deinit reg. rc 5\n"},
            {"W 10h 138 x1", "Failed to write to Rx Output Disable Reg. rc 0x5\n"},
            {"W 10h 130 x1", "Failed to write to Tx Disable Reg. rc 0x5\n"},
            {"W 10h 128 x1", "Failed to write to the datapath deinit reg. rc 5\n"},
        },
        [&] { return make("2X100G-LR4"); },
        [](qsfp_port_ctx *port) { return port->fvt.port_disable(port, 0x0F, 0); },
        [&](qsfp_port_ctx *port) {
            const std::uint32_t rc = port->fvt.port_disable(port, 0x0F, 0);
            sim::VirtualClock::instance().advance_ns(200000000);
            EXPECT_EQ(lanes_in(DpState::activated), 0xF0);
            return rc;
        });
}

class CmisPowerModeTest : public CmisPortTest {};

TEST_F(CmisPowerModeTest, LowPowerBitSetAndCleared) {
    qsfp_port_ctx *port = make("400G-FR4");
    EXPECT_EQ(set_low_power(port, false), QSFP_OK);
    module().set_lpmode_pin(true);
    EXPECT_EQ(module().module_state(), sim::CmisModule::ModuleState::ready);  // the pin no longer counts
    EXPECT_EQ(set_low_power(port, true), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"lower 26: 00", "lower 26: 40"}));
    EXPECT_EQ(evt(), prefixed({"Power Reset Control Reg 0x40: unset the Low Pwr Down Bit\n",
                               "Power Reset Control Reg 0x0: set the Low Pwr Down Bit\n"}));
    sim::VirtualClock::instance().advance_ns(1000000000);
    EXPECT_EQ(module().module_state(), sim::CmisModule::ModuleState::low_power);
}

TEST_F(CmisPowerModeTest, FailedReadWritesNothingAndFailedWriteIsReported) {
    qsfp_port_ctx *port = make("400G-FR4");
    cage().fail_range(sim::Op::read, -1, 26, 26, kFault, 1);
    EXPECT_EQ(set_low_power(port, true), kFault);
    EXPECT_TRUE(writes().empty());
    cage().fail_range(sim::Op::write, -1, 26, 26, kFault, 1);
    EXPECT_EQ(set_low_power(port, true), kFault);
    const std::vector<std::string> errors = err();
    ASSERT_EQ(errors.size(), 4u);
    EXPECT_EQ(errors[1], "Controller 0 Port 1: Failed to read the Power Reset Control Reg. rc 5\n");
    EXPECT_EQ(errors[3], "Controller 0 Port 1: failed to write to the power reset control reg. rc 5\n");
    EXPECT_EQ(set_low_power(port, true), QSFP_OK);
}

}  // namespace
