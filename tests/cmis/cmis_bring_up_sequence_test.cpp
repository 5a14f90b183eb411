// Full CMIS bring-up from power-on through the emulator: the ordered module
// writes, the virtual time the waits take against the advertised durations,
// and the module's own state afterwards; then port enable and disable, and
// the module-ready wait on modules that are slow or never ready.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cmis/driver.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

using sim::CmisModule;
using DpState = sim::cmis::DataPathState;
using ModState = sim::cmis::ModuleState;
using Strings = std::vector<std::string>;

// A module fresh from power-on with no application in its active set.
void no_application(sim::ModuleMemory &m) {
    for (std::uint8_t lane = 0; lane < 8; ++lane) {
        m.set(0x11, cmis::kActiveAppSelect + lane, 0);
        m.set(0x10, cmis::kStagedAppSelect + lane, 0);
    }
}

class CmisSequenceTest : public CmisPortTest {
protected:
    std::uint64_t slept_us() {
        std::uint64_t total = 0;
        for (std::uint64_t us : sleeps_us()) total += us;
        return total;
    }
};

const Strings kStagedApp1 = {"10h 145: 10", "10h 146: 10", "10h 147: 10", "10h 148: 10",
                             "10h 149: 10", "10h 150: 10", "10h 151: 10", "10h 152: 10"};

Strings concat(std::initializer_list<Strings> parts) {
    Strings out;
    for (const Strings &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

TEST_F(CmisSequenceTest, Cmis40Fr4FromPowerOnWithMode7) {
    CmisModule &m = insert_cmis("400G-FR4", no_application);
    const std::uint64_t start = now_us();
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(writes(), concat({{"10h 128: ff", "lower 26: 00"}, kStagedApp1, {"10h 143: ff", "10h 130: ff", "10h 138: ff"}}));
    // Power-up code 6 (page 01h byte 167 = 56h): 500 ms, then polls 50 ms apart
    // until the module (750 ms, the middle of the code's range) is ready;
    // datapath init code 5 (byte 144 = 45h): 100 ms, and the first poll finds
    // the configuration accepted.
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{500000, 50000, 50000, 50000, 50000, 50000, 100000}));
    EXPECT_EQ(now_us() - start, 850000U);
    EXPECT_EQ(m.module_state(), ModState::ready);
    for (int lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(m.data_path_state(lane), DpState::deactivated) << lane;
        EXPECT_EQ(m.config_status(lane), sim::cmis::ConfigStatus::success) << lane;
        EXPECT_EQ(m.memory().get(0x11, cmis::kActiveAppSelect + lane), 0x10) << lane;
        EXPECT_FALSE(m.transmitting(lane));
    }
    EXPECT_EQ(state(port).active_app_code, 1U);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Module power up max code 0x6. init/loop/retries (500/50/10)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Checking module state. 10\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Module Ready State. Reg 0x6. retries 4\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Found app sel code for 400G, media lane cnt 4.  app code sel 1\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln1 app code 0 (reg val 0x0) != Desired app_code 1.  "
                                "Require programming\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Config accepted by all lanes. retries left 39\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Power Reset Control Reg 0x0: Force Low Pwr Down Bit not set\n"));
    EXPECT_TRUE(trace_entries(kErr).empty());
}

TEST_F(CmisSequenceTest, Cmis40Fr4EnableThenDisable) {
    CmisModule &m = insert_cmis("400G-FR4", no_application);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    forget_traffic();
    // 8 host lanes over 4 media lanes: media lanes 0x0F are host lanes 0xFF.
    ASSERT_EQ(qsfp_port_admin_state(port, 0, 1, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (Strings{"10h 128: 00", "10h 130: f0", "10h 138: 00"}));
    // Initial wait of the deinit code (4: 50 ms), then 10 ms polls of the init
    // code (5) until DPInit (300 ms) is over.
    EXPECT_EQ(slept_us(), 300000U);
    EXPECT_EQ(sleeps_us().front(), 50000U);
    for (int lane = 0; lane < 8; ++lane) EXPECT_EQ(m.data_path_state(lane), DpState::activated) << lane;
    for (int lane = 0; lane < 4; ++lane) EXPECT_TRUE(m.transmitting(lane)) << lane;
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Datapath bitmap 0xff all activated: 4,4,4,4,4,4,4,4\n"));

    forget_traffic();
    ASSERT_EQ(qsfp_port_admin_state(port, 1, 0, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (Strings{"10h 138: ff", "10h 130: 0f", "10h 128: ff"}));
    EXPECT_TRUE(sleeps_us().empty());
    usleep(1000000);
    for (int lane = 0; lane < 8; ++lane) EXPECT_EQ(m.data_path_state(lane), DpState::deactivated) << lane;
    for (int lane = 0; lane < 4; ++lane) EXPECT_FALSE(m.transmitting(lane)) << lane;
}

TEST_F(CmisSequenceTest, Cmis30Fr4FromPowerOnWithMode7) {
    // CMIS 3.0: no module-state wait; the platform has LPMode deasserted, so
    // the module powers itself up and byte 128 powers datapaths up.
    CmisModule &m = insert_cmis("400G-FR4-CMIS3", no_application);
    m.set_lpmode_pin(false);
    const std::uint64_t start = now_us();
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(writes(), concat({kStagedApp1, {"10h 143: ff", "10h 130: ff", "10h 138: ff"}}));
    EXPECT_EQ(sleeps_us(), std::vector<std::uint64_t>{100000});
    EXPECT_EQ(now_us() - start, 100000U);
    EXPECT_EQ(m.module_state(), ModState::ready);
    EXPECT_EQ(port->fvt.port_enable, qsfp_dd_fvt.port_enable);
    for (int lane = 0; lane < 8; ++lane) EXPECT_EQ(m.memory().get(0x11, cmis::kActiveAppSelect + lane), 0x10);

    forget_traffic();
    ASSERT_EQ(qsfp_port_admin_state(port, 0, 1, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (Strings{"10h 128: ff", "10h 130: f0", "10h 138: 00"}));
    for (int lane = 0; lane < 8; ++lane) EXPECT_EQ(m.data_path_state(lane), DpState::activated) << lane;
    forget_traffic();
    ASSERT_EQ(qsfp_port_admin_state(port, 1, 0, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (Strings{"10h 138: ff", "10h 130: 0f", "10h 128: 00"}));
}

TEST_F(CmisSequenceTest, FinisarCmis30ModuleIsPutInLowPowerInsteadOfWaitedFor) {
    CmisModule &m = insert_cmis("FINISAR-400G-FR4", no_application);
    m.set_lpmode_pin(false);
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    const Strings w = writes();
    ASSERT_FALSE(w.empty());
    EXPECT_EQ(w.front(), "lower 26: 40");
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Power Reset Control Reg 0x40: set the Low Pwr Down Bit\n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Checking module state. 10\n"));
}

TEST_F(CmisSequenceTest, AdoptionMismatchGoesOnToTheFullBringUp) {
    insert_cmis("400G-FR4", [](sim::ModuleMemory &m) { m.set(0x11, cmis::kActiveAppSelect + 3, 0x20); });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT, QSFP_DD_OPER_MODE_400G);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln3 app code 1 (reg val 0x10)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln4 app code 2 (reg val 0x20) != app_code 1 from "
                                "previous lane\n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln5 app code 1 (reg val 0x10)\n"));
    EXPECT_EQ(writes().front(), "10h 128: ff");  // the power-up of the full bring-up
    EXPECT_EQ(state(port).active_app_code, 1U);
}

TEST_F(CmisSequenceTest, AdoptionReadFailureGoesOnToTheFullBringUp) {
    insert_cmis("400G-FR4");
    cage().fail_range(sim::Op::read, 0x11, cmis::kActiveAppSelect, cmis::kActiveAppSelect, 5, 1);
    bring_up(QSFP_DD_INIT_ADOPT, QSFP_DD_OPER_MODE_400G);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Failed to read the Active Control Set. rc 5\n"));
    EXPECT_EQ(writes().front(), "10h 128: ff");
}

TEST_F(CmisSequenceTest, AdoptionWithAWrongCodeOnLane1GoesOnToTheFullBringUp) {
    // The configuration step finds the same wrong code and refuses.
    insert_cmis("400G-FR4", [](sim::ModuleMemory &m) { m.set(0x11, cmis::kActiveAppSelect, 0x90); });
    bring_up(QSFP_DD_INIT_ADOPT, QSFP_DD_OPER_MODE_400G, cmis::kRefused);
    EXPECT_EQ(trace_count(kErr, "Controller 0 Port 1: Active Set Ln1 has a wrong app code (9)\n"), 2U);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Port Mode Config without datapath enable failed. rc 0xffffffff\n"));
    EXPECT_EQ(writes(), (Strings{"10h 128: ff", "lower 26: 00"}));
}

TEST_F(CmisSequenceTest, PowerUpCode14WaitsOneSecondAndPolls60TimesAtOneSecond) {
    CmisModule &m = insert_cmis("400G-FR4", [](sim::ModuleMemory &mem) { mem.set(1, cmis::kModuleDurations, 0x5E); });
    m.set_stuck_in_low_power(true);
    const std::uint64_t start = now_us();
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, cmis::kModuleNotReady);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupported module power init max code 0x14. Use default "
                                "init/loop/retries (1000/1000/60)\n"));
    EXPECT_EQ(sleeps_us(), std::vector<std::uint64_t>(61, 1000000));
    EXPECT_EQ(now_us() - start, 61000000U);
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Checking module state. 1\n"), 1U);
    // ModuleLowPwr; nothing latched since bring-up read lower memory: IntL
    // deasserted (bit 0).
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Module is not in ready state. Reg 0x3 state 0x1\n"));
    // Nothing is configured on a module that never got ready.
    EXPECT_EQ(writes(), (Strings{"10h 128: ff", "lower 26: 00"}));
}

TEST_F(CmisSequenceTest, PowerUpCode15IsTheDefaultToo) {
    insert_cmis("400G-FR4", [](sim::ModuleMemory &mem) { mem.set(1, cmis::kModuleDurations, 0x5F); });
    // Code 15 reads as 3 s in the module; the third poll finds it ready.
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupported module power init max code 0x15. Use default "
                                "init/loop/retries (1000/1000/60)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Module Ready State. Reg 0x6. retries 57\n"));
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Checking module state. 58\n"), 1U);
}

TEST_F(CmisSequenceTest, ModuleInFaultIsNotReady) {
    CmisModule &m = insert_cmis("400G-FR4");
    m.set_module_fault();
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, cmis::kModuleNotReady);
    // ModuleFault; the state-changed flag was cleared by bring-up's read of
    // lower memory, so IntL is deasserted (bit 0).
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Module is not in ready state. Reg 0xb state 0x5\n"));
}

TEST_F(CmisSequenceTest, ModuleStateReadFailureUsesTheWriteText) {
    // A dry run in another cage finds which access reads the module state.
    insert_cmis("400G-FR4", 1);
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, QSFP_OK, 1);
    const auto log = cage(1).log();
    std::uint32_t nth = 0;
    for (std::uint32_t i = 0; i < log.size(); ++i) {
        if (log[i].op == sim::Op::read && log[i].reg == cmis::kModuleState && log[i].len == 1) {
            nth = i + 1;
            break;
        }
    }
    ASSERT_NE(nth, 0U);
    insert_cmis("400G-FR4");
    cage().fail_nth_access(nth, 7);
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, 7);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: failed to write to the power reset control reg. rc 7\n"));
}

TEST_F(CmisSequenceTest, ConfigurationFailureIsTracedAndReturned) {
    CmisModule &m = insert_cmis("400G-FR4", no_application);
    m.set_config_fault({sim::CmisModule::ConfigFault::Kind::reject, sim::cmis::ConfigStatus::rejected_invalid_app_sel});
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, QSFP_ERR_INVALID);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Port Mode Config without datapath enable failed. rc 0x16\n"));
}

TEST_F(CmisSequenceTest, DefaultModeOfTheTypeIsUsedWhenTheCreatorGivesNone) {
    insert_cmis("2X100G-SR4", no_application);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_DEFAULT);
    // Mode 15 (2 x 100G over four media lanes): application 1, two datapaths
    // starting at lanes 1 and 5 (host lane assignment 11h).
    const Strings w = writes();
    const Strings staged(w.begin() + 2, w.begin() + 10);
    EXPECT_EQ(staged, (Strings{"10h 145: 10", "10h 146: 10", "10h 147: 10", "10h 148: 10", "10h 149: 18", "10h 150: 18",
                               "10h 151: 18", "10h 152: 18"}));
    EXPECT_EQ(state(port).active_app_code, 1U);
    EXPECT_EQ(port->rate, 200U);
}

TEST_F(CmisSequenceTest, TwoKilometreDR4HasNoDefaultMode) {
    // Type CEh has no row of its own, so only a mode its creator names
    // configures it.
    insert_cmis("400G-XDR4", no_application);
    bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_DEFAULT, cmis::kRefused);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Can't find our type (0xce) in the type table\n"));
    insert_cmis("400G-XDR4", no_application, 1);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_4X100G, QSFP_OK, 1);
    // 4 x 100G-DR: application 2 (0D 14 21 55), a datapath at each odd lane pair.
    EXPECT_EQ(state(port).active_app_code, 2U);
    for (std::uint8_t lane = 0; lane < 8; ++lane) {
        EXPECT_EQ(module(1).memory().get(0x11, cmis::kActiveAppSelect + lane), 0x20 | ((lane & ~1) << 1)) << int(lane);
    }
}

}  // namespace
}  // namespace qsfp::test
