// Mode configuration (slot 19) and the configuration it runs: the rate
// checks, the default mode, the active set compared with the mode's
// application, datapaths powered down, staged set 0 applied, outputs
// disabled, the forced low-power bit released.
#include <gtest/gtest.h>

#include "cmis/cmis_port.h"

namespace {

using namespace qsfp::test;
namespace sim = qsfp::sim;
using qsfp::cmis::configure_without_enable;
using qsfp::cmis::mode_config;
using std::chrono::milliseconds;

// Lines "Checking power down progress N" for N = from down to to.
std::vector<std::string> power_down_polls(int from, int to) {
    std::vector<std::string> out;
    for (int n = from; n >= to; --n) {
        out.push_back("Controller 0 Port 1: Checking power down progress " + std::to_string(n) + "\n");
    }
    return out;
}

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> out;
    for (const auto &p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

class CmisModeConfigTest : public CmisPortTest {};

TEST_F(CmisModeConfigTest, Mode7AskedForAt400GIsRefusedWithoutTouchingTheModule) {
    qsfp_port_ctx *port = make("400G-DR4");
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_400G), QSFP_ERR_REFUSED);
    EXPECT_EQ(err(), prefixed({"400G with unsupported mode 7\n"}));
    EXPECT_TRUE(evt().empty());
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(port->port_mode, 0u);
}

TEST_F(CmisModeConfigTest, RateChecks) {
    qsfp_port_ctx *port = make("400G-DR4");
    EXPECT_EQ(mode_config(port, 8), QSFP_ERR_REFUSED);
    port->rate = 100;
    EXPECT_EQ(mode_config(port, 14), QSFP_ERR_REFUSED);
    EXPECT_EQ(err(), prefixed({"400G with unsupported mode 8\n", "Non-QSFP-DD optics! rate 100 mode 14\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(CmisModeConfigTest, TwoBy100GPortTakesOnlyMode15WhichIsItsDefault) {
    qsfp_port_ctx *port = make("2X100G-SR4");
    ASSERT_EQ(port->rate, 200u);
    EXPECT_EQ(mode_config(port, 14), QSFP_ERR_REFUSED);
    EXPECT_EQ(mode_config(port, 13), QSFP_ERR_REFUSED);
    // Mode 15 is the type's default: the port already runs it.
    EXPECT_EQ(mode_config(port, 15), QSFP_OK);
    EXPECT_EQ(err(), prefixed({"200G with unsupported mode 14\n", "200G with unsupported mode 13\n"}));
    EXPECT_EQ(evt(), prefixed({"200G with mode 15\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(port->port_mode, 0u);
}

TEST_F(CmisModeConfigTest, PassiveModuleAt400GRefusesEveryMode) {
    qsfp_port_ctx *port = make("400G-PLB");
    for (std::uint32_t mode : {13u, 14u, 15u}) {
        EXPECT_EQ(mode_config(port, mode), QSFP_ERR_REFUSED);
    }
    EXPECT_EQ(err(), prefixed({"Copper/Passive 400G with unsupported mode 13\n", "Copper/Passive 400G with unsupported mode 14\n",
                               "Copper/Passive 400G with unsupported mode 15\n"}));
    // Mode 0 on a port still at 0 is no change at all.
    EXPECT_EQ(mode_config(port, 0), QSFP_OK);
    EXPECT_EQ(configure_without_enable(port, 7), QSFP_OK);
    EXPECT_EQ(evt(), prefixed({"Nothing to configure for passive modules\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(CmisModeConfigTest, TypeWithoutDefaultGoesOnWithAnExplicitModeAndRefusesMode0) {
    qsfp_port_ctx *port = make("400G-SR8");  // no module type row lists its application
    ASSERT_EQ(port->hw_info.qsfp_type, 0u);
    EXPECT_EQ(mode_config(port, 14), QSFP_ERR_REFUSED);
    EXPECT_EQ(port->port_mode, 14u);
    EXPECT_EQ(mode_config(port, 0), QSFP_ERR_REFUSED);
    EXPECT_EQ(port->port_mode, 14u);
    EXPECT_EQ(evt(), prefixed({"400G with mode 14\n", "Current oper mode 0. New oper mode 14\n"}));
    EXPECT_EQ(err(), prefixed({"Failed to find the default mode\n", "ERR: Got an invalid app_code(0) from oper_mode(14)\n",
                               "Failed to find the default mode\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(CmisModeConfigTest, FinisarAlphaModuleIsLeftAlone) {
    sim::ModuleMemory m = image("FINISAR-400G-FR4");
    m.set(0, qsfp::cmis::kRevision, qsfp::cmis::kFinisarAlphaRevision);
    qsfp_port_ctx *port = make(module_of(std::move(m)));
    EXPECT_EQ(mode_config(port, 14), QSFP_OK);
    EXPECT_EQ(evt(), prefixed({"400G with mode 14\n", "Current oper mode 7. New oper mode 14\n", "Finisar Alpha module.  Nothing to do"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
}

// A DR4 from its default (400G, application 1) to 4 x 100G (application 2)
// and back; a mode the port already runs changes nothing.
TEST_F(CmisModeConfigTest, Dr4To4x100GAndBack) {
    qsfp_port_ctx *port = make("400G-DR4");
    ASSERT_EQ(lanes_in(DpState::activated), 0xFF);  // CMIS 4.0: DPDeinit clear, the module brought them up
    module().set_dp_init_time(milliseconds(50));
    module().set_dp_deinit_time(milliseconds(55));
    forget_traffic();

    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_EQ(port->port_mode, 14u);
    EXPECT_EQ(state(port).active_app_code, 2u);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: ff", "10h 145: 20", "10h 146: 20", "10h 147: 24", "10h 148: 24",
                                                  "10h 149: 28", "10h 150: 28", "10h 151: 2c", "10h 152: 2c", "10h 143: ff",
                                                  "10h 130: ff", "10h 138: ff"}));
    EXPECT_EQ(evt(), joined({prefixed({
                                 "400G with mode 14\n",
                                 "Current oper mode 7. New oper mode 14\n",
                                 "App Code 1: Speed 100G Media lane cnt advertised(4) != Media lane cnt(1)\n",
                                 "App Code 2: Speed 100G Mismatch module type: MM 100G SR4\n",
                                 "App Code 2: Speed 100G SM 100G SR4 Media Intf Code/Media lane cnt mismatch SM 100G SR4:SM 100G DR 4:1\n",
                                 "App Code 2: Speed 100G SM 100G ER4 Media Intf Code/Media lane cnt mismatch SM 100G ER4:SM 100G DR 4:1\n",
                                 "App Code 2: Speed 100G SM 100G PSM4 Media Intf Code/Media lane cnt mismatch SM 100G PSM4:SM 100G DR 4:1\n",
                                 "App Code 2: Speed 100G SM 100G CWDM4 Media Intf Code/Media lane cnt mismatch SM 100G CWDM4:SM 100G DR 4:1\n",
                                 "App Code 2: Speed 100G lane cnt 1 SM 100G DR SELECT\n",
                                 "Active Set Ln1 app code 1 (reg val 0x10) != Desired app_code 2.  Require programming\n",
                                 "Powered down all datapaths\n",
                                 "Datapath power down max code 0x4. init/loop/retries (50/1/50)\n",
                             }),
                             power_down_polls(50, 45),
                             prefixed({
                                 "All datapath lanes are powered down. retries left 44\n",
                                 "Writing 0x20 to staged ctrl set 0, app select ctrl lane 1 reg\n",
                                 "Writing 0x20 to staged ctrl set 0, app select ctrl lane 2 reg\n",
                                 "Writing 0x24 to staged ctrl set 0, app select ctrl lane 3 reg\n",
                                 "Writing 0x24 to staged ctrl set 0, app select ctrl lane 4 reg\n",
                                 "Writing 0x28 to staged ctrl set 0, app select ctrl lane 5 reg\n",
                                 "Writing 0x28 to staged ctrl set 0, app select ctrl lane 6 reg\n",
                                 "Writing 0x2c to staged ctrl set 0, app select ctrl lane 7 reg\n",
                                 "Writing 0x2c to staged ctrl set 0, app select ctrl lane 8 reg\n",
                                 "Set Staged Control Set 0 Apply Datapath Init for all 8 lanes\n",
                                 "Datapath power init max code 0x5. init/loop/retries (100/10/40)\n",
                                 "Checking configuration progress 40\n",
                                 "Config accepted by all lanes. retries left 39\n",
                                 "Disable both Tx and Rx output on all lanes\n",
                                 "Power Reset Control Reg 0x40: Force Low Pwr Down Bit not set\n",
                             })}));
    EXPECT_TRUE(err().empty());
    // 50 ms, five 1 ms polls until the 55 ms deinit ends, then the 100 ms init wait.
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{50000, 1000, 1000, 1000, 1000, 1000, 100000}));
    for (int lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(module().config_status(lane), sim::CmisModule::ConfigStatus::success) << lane;
    }
    EXPECT_EQ(lanes_in(DpState::deactivated), 0xFF);  // left for port enable

    // The same mode again: nothing to do.
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(evt(), prefixed({"400G with mode 14\n"}));

    // Back to the default: every datapath is already down, so the staged set
    // comes first.
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_DEFAULT), QSFP_OK);
    EXPECT_EQ(port->port_mode, 7u);
    EXPECT_EQ(state(port).active_app_code, 1u);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 145: 10", "10h 146: 10", "10h 147: 10", "10h 148: 10", "10h 149: 10",
                                                  "10h 150: 10", "10h 151: 10", "10h 152: 10", "10h 143: ff", "10h 130: ff",
                                                  "10h 138: ff"}));
    const std::vector<std::string> back = evt();
    ASSERT_GE(back.size(), 2u);
    EXPECT_EQ(back[0], "Controller 0 Port 1: Current oper mode 14. New oper mode 7\n");
    EXPECT_EQ(std::count(back.begin(), back.end(),
                         "Controller 0 Port 1: Active Set Ln1 app code 2 (reg val 0x20) != Desired app_code 1.  Require programming\n"),
              1);
    EXPECT_EQ(std::count(back.begin(), back.end(), "Controller 0 Port 1: Powered down all datapaths\n"), 0);
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{100000}));

    // Mode 0 now is the default the port runs.
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_DEFAULT), QSFP_OK);
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_TRUE(evt().empty());
}

// The application the mode needs already runs on every lane: only the
// outputs are disabled.
TEST_F(CmisModeConfigTest, ActiveSetThatMatchesIsNotReprogrammed) {
    qsfp_port_ctx *port = make("400G-DR4");
    state(port).active_app_code = 0;
    EXPECT_EQ(configure_without_enable(port, QSFP_DD_OPER_MODE_400G), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 130: ff", "10h 138: ff"}));
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 11h 206 x8", "W 10h 130 x1", "W 10h 138 x1", "R lower 26 x1"}));
    std::vector<std::string> expected;
    for (int lane = 1; lane <= 8; ++lane) {
        expected.push_back("Controller 0 Port 1: Active Set Ln" + std::to_string(lane) + " app code 1 (reg val 0x10)\n");
    }
    const std::vector<std::string> tail = prefixed({"Disable both Tx and Rx output on all lanes\n",
                                                    "Power Reset Control Reg 0x40: Force Low Pwr Down Bit not set\n"});
    expected.insert(expected.end(), tail.begin(), tail.end());
    const std::vector<std::string> texts = evt();
    ASSERT_GE(texts.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(texts.end() - static_cast<std::ptrdiff_t>(expected.size()), texts.end()), expected);
    EXPECT_EQ(state(port).active_app_code, 1u);
    EXPECT_EQ(sleeps_us().size(), 0u);
    EXPECT_EQ(lanes_in(DpState::activated), 0xFF);
}

TEST_F(CmisModeConfigTest, AllLanesAlreadyDeactivatedMeansNoDatapathWriteBeforeTheStagedSet) {
    qsfp_port_ctx *port = make("400G-DR4-CMIS3");  // CMIS 3.0: DataPathPwrUp clear, nothing came up
    ASSERT_EQ(lanes_in(DpState::deactivated), 0xFF);
    module().set_dp_init_time(milliseconds(50));
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 11h 206 x8", "R 11h 128 x4", "W 10h 145 x1", "W 10h 146 x1",
                                                    "W 10h 147 x1", "W 10h 148 x1", "W 10h 149 x1", "W 10h 150 x1",
                                                    "W 10h 151 x1", "W 10h 152 x1", "W 10h 143 x1", "R 11h 202 x4",
                                                    "W 10h 130 x1", "W 10h 138 x1", "R lower 26 x1"}));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{100000}));
}

// Below CMIS 4.0 byte 128 powers datapaths up: clearing it powers them down.
TEST_F(CmisModeConfigTest, Cmis3DatapathsArePoweredDownByClearingTheControl) {
    qsfp_port_ctx *port = make("400G-DR4-CMIS3");
    ASSERT_EQ(port->fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    ASSERT_EQ(lanes_in(DpState::activated), 0xFF);
    module().set_dp_init_time(milliseconds(50));
    module().set_dp_deinit_time(milliseconds(52));
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    const std::vector<std::string> w = writes();
    ASSERT_FALSE(w.empty());
    EXPECT_EQ(w[0], "10h 128: 00");
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{50000, 1000, 1000, 100000}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: All datapath lanes are powered down. retries left 47\n"));
}

TEST_F(CmisModeConfigTest, LanesThatStayUpAreTracedAndTolerated) {
    qsfp_port_ctx *port = make("400G-DR4");
    module().stick_data_path(3, DpState::activated);
    module().set_dp_init_time(milliseconds(50));
    forget_traffic();
    // The stuck lane is in use: the module rejects its configuration.
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Not all datapath lanes are deactivated: 1,1,1,4,1,1,1,1\n",
                               "Config Error! Ln 1: ACCEPTED. Ln 2: ACCEPTED. Ln 3: ACCEPTED. Ln 4: REJECTED INVALID IN USELn 5: "
                               "ACCEPTED. Ln 6: ACCEPTED. Ln 7: ACCEPTED. Ln 8: ACCEPTED\n"}));
    // 50 ms, 49 polls 1 ms apart, then the init wait.
    EXPECT_EQ(slept_ms(), 50u + 49u + 100u);
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Checking power down progress 1\n"), 1u);
}

TEST_F(CmisModeConfigTest, ForcedLowPowerIsReleased) {
    qsfp_port_ctx *port = make("400G-DR4");
    module().write_byte(0, qsfp::cmis::kPowerControl, 0x50);  // LowPwrRequestSW as well
    forget_traffic();
    EXPECT_EQ(configure_without_enable(port, QSFP_DD_OPER_MODE_400G), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 130: ff", "10h 138: ff", "lower 26: 40"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Power Reset Control Reg 0x50: Need to unset the Force Low Pwr Down Bit\n"));
}

TEST_F(CmisModeConfigTest, WrongCodeInTheActiveSetIsRefused) {
    qsfp_port_ctx *port = make("400G-DR4");
    module().memory().set(0x11, qsfp::cmis::kActiveAppSelect + 2, 0x90);
    EXPECT_EQ(configure_without_enable(port, QSFP_DD_OPER_MODE_400G), QSFP_ERR_REFUSED);
    EXPECT_EQ(err(), prefixed({"Active Set Ln3 has a wrong app code (9)\n"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln2 app code 1 (reg val 0x10)\n"));
    EXPECT_TRUE(writes().empty());
}

TEST_F(CmisModeConfigTest, UnsupportedDeinitCodeWaitsTheDefault) {
    sim::ModuleMemory m = image("400G-DR4");
    m.set(0x01, qsfp::cmis::kDataPathDurations, 0xE5);  // DPDeinit code 14 (reserved), DPInit code 5
    qsfp_port_ctx *port = make(module_of(std::move(m)));
    module().set_dp_init_time(milliseconds(50));
    module().set_dp_deinit_time(milliseconds(1500));
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupported datapath power down max code 0x14. Use default init/loop/retries (1000/1000/60)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: All datapath lanes are powered down. retries left 58\n"));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{1000000, 1000000, 100000}));
}

}  // namespace
