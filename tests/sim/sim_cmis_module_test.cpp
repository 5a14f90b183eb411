// The emulated CMIS module through the bus, in both bus modes: the module
// state machine and the data path state machines on the virtual clock with
// the durations the module advertises, configuration commands and every
// rejection code, Tx and Rx output disable, monitors, latched flags and the
// interrupt, the memory map, and the fault switches.
#include <unistd.h>

#include <chrono>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/virtual_clock.h>

#include "sim_bus.h"

namespace {

using namespace std::chrono_literals;
using namespace qsfp::sim;
using namespace qsfp::sim::cmis;
using qsfp::test::BusMode;
using qsfp::test::SimBus;
using State = cmis::ModuleState;
using Dp = cmis::DataPathState;

// The catalogue's 400G FR4 advertises PwrUp code 6 (500 ms-1 s), PwrDn code 5
// (100-500 ms), DPInit code 5 and DPDeinit code 4 (50-100 ms).
constexpr auto kFr4PowerUp = 750ms;
constexpr auto kFr4PowerDown = 300ms;
constexpr auto kFr4DpInit = 300ms;
constexpr auto kFr4DpDeinit = 75ms;

void sleep_for(std::chrono::microseconds d) { usleep(static_cast<useconds_t>(d.count())); }

class CmisModuleTest : public ::testing::TestWithParam<BusMode> {
protected:
    CmisModule &insert(std::string_view name) {
        auto module = make_cmis_module(name);
        EXPECT_NE(module, nullptr) << name;
        CmisModule &ref = *module;
        cage_.insert(std::move(module));
        bus_ = std::make_unique<SimBus>(cage_, GetParam());
        return ref;
    }

    State state() { return static_cast<State>((bus_->read(kModuleStateReg) & kModuleStateMask) >> kModuleStateShift); }
    std::uint8_t dp_states(int pair = 0) { return bus_->read(kPage11, static_cast<std::uint8_t>(kDataPathState + pair)); }
    std::uint8_t status(int pair = 0) { return bus_->read(kPage11, static_cast<std::uint8_t>(kConfigStatus + pair)); }

    // Clears the low-power bit and waits out the advertised power-up.
    void power_up(CmisModule &m) {
        bus_->write(kGlobalControls, 0x00);
        sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.module_power_up_time()));
        ASSERT_EQ(state(), State::ready);
    }
    // Deinitialises every data path and waits until they are deactivated.
    void deactivate_all(CmisModule &m) {
        bus_->write(kPage10, kDataPathControl, 0xFF);
        sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.module_power_up_time() + m.dp_init_time() +
                                                                        m.dp_deinit_time()));
        for (int pair = 0; pair < 4; ++pair) ASSERT_EQ(dp_states(pair), 0x11);
    }
    void stage(int lane, std::uint8_t app, int first_lane, bool explicit_si = false) {
        bus_->write(kPage10, static_cast<std::uint8_t>(kStagedDpConfig + lane),
                    static_cast<std::uint8_t>(app << 4 | first_lane << 1 | (explicit_si ? 1 : 0)));
    }

    Cage cage_;
    std::unique_ptr<SimBus> bus_;
};

// ---- Module state machine ------------------------------------------------------------------

TEST_P(CmisModuleTest, StaysInLowPowerWhileTheLowPowerBitAndLpModeAsk) {
    insert("400G-FR4");
    EXPECT_EQ(state(), State::low_power);
    usleep(10000000);
    EXPECT_EQ(state(), State::low_power);
}

TEST_P(CmisModuleTest, PowerUpLastsTheAdvertisedPowerUpDuration) {
    CmisModule &m = insert("400G-FR4");
    EXPECT_EQ(bus_->read(kPage01, kModuleDurations) & 0x0F, 6);  // 500 ms <= t < 1 s
    EXPECT_EQ(m.module_power_up_time(), kFr4PowerUp);
    bus_->write(kGlobalControls, 0x00);
    EXPECT_EQ(state(), State::power_up);
    sleep_for(kFr4PowerUp - 1ms);
    EXPECT_EQ(state(), State::power_up);
    usleep(1000);
    EXPECT_EQ(state(), State::ready);
}

TEST_P(CmisModuleTest, PowerDownLastsTheAdvertisedPowerDownDuration) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    EXPECT_EQ(m.module_power_down_time(), kFr4PowerDown);
    bus_->write(kGlobalControls, kLowPwrAllowRequestHw);
    EXPECT_EQ(state(), State::power_down);
    sleep_for(kFr4PowerDown - 1ms);
    EXPECT_EQ(state(), State::power_down);
    usleep(1000);
    EXPECT_EQ(state(), State::low_power);
}

TEST_P(CmisModuleTest, ForcedLowPowerWinsOverEverythingElse) {
    CmisModule &m = insert("400G-FR4");
    m.set_lpmode_pin(false);  // bit 6 alone no longer asks for low power
    bus_->write(kGlobalControls, kLowPwrAllowRequestHw);
    EXPECT_EQ(state(), State::power_up);
    sleep_for(kFr4PowerUp);
    EXPECT_EQ(state(), State::ready);
    bus_->write(kGlobalControls, kLowPwrRequestSw);
    EXPECT_EQ(state(), State::power_down);
    sleep_for(kFr4PowerDown);
    EXPECT_EQ(state(), State::low_power);
}

TEST_P(CmisModuleTest, AskingForLowPowerDuringPowerUpPowersDown) {
    insert("400G-FR4");
    bus_->write(kGlobalControls, 0x00);
    usleep(100000);
    bus_->write(kGlobalControls, kLowPwrRequestSw);
    EXPECT_EQ(state(), State::power_down);
}

TEST_P(CmisModuleTest, TestSetDurationsReplaceTheAdvertisedOnes) {
    CmisModule &m = insert("400G-FR4");
    m.set_module_power_up_time(20ms);
    bus_->write(kGlobalControls, 0x00);
    usleep(19000);
    EXPECT_EQ(state(), State::power_up);
    usleep(1000);
    EXPECT_EQ(state(), State::ready);
}

TEST_P(CmisModuleTest, Cmis3ModulesAdvertiseNoModuleDurationsAndPowerUpAtOnce) {
    CmisModule &m = insert("400G-FR4-CMIS3");
    EXPECT_TRUE(m.cmis3());
    EXPECT_EQ(m.module_power_up_time(), 0ns);
    bus_->write(kGlobalControls, 0x00);
    EXPECT_EQ(state(), State::ready);
}

TEST_P(CmisModuleTest, AModuleStuckInLowPowerNeverLeavesIt) {
    CmisModule &m = insert("400G-FR4");
    m.set_stuck_in_low_power(true);
    bus_->write(kGlobalControls, 0x00);
    usleep(60000000);
    EXPECT_EQ(state(), State::low_power);
    m.set_stuck_in_low_power(false);
    EXPECT_EQ(state(), State::power_up);
}

TEST_P(CmisModuleTest, AFaultedModuleReportsModuleFaultUntilPowerCycled) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    m.set_module_fault();
    EXPECT_EQ(state(), State::fault);
    bus_->write(kGlobalControls, kLowPwrRequestSw);
    usleep(1000000);
    EXPECT_EQ(state(), State::fault);
    m.power_up();
    EXPECT_EQ(state(), State::low_power);
}

TEST_P(CmisModuleTest, ModuleStateChangedFlagLatchesOnSteadyStatesAndClearsOnRead) {
    CmisModule &m = insert("400G-FR4");
    EXPECT_EQ(bus_->read(kModuleFlags) & kModuleStateChanged, kModuleStateChanged);  // entered ModuleLowPwr
    EXPECT_EQ(bus_->read(kModuleFlags) & kModuleStateChanged, 0);
    bus_->write(kGlobalControls, 0x00);
    EXPECT_EQ(bus_->read(kModuleFlags) & kModuleStateChanged, 0);  // ModulePwrUp is transient
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.module_power_up_time()));
    EXPECT_EQ(bus_->read(kModuleFlags) & kModuleStateChanged, kModuleStateChanged);
    EXPECT_EQ(bus_->read(kModuleFlags) & kModuleStateChanged, 0);
}

TEST_P(CmisModuleTest, SoftwareResetRestoresTheControlsAndStartsAgain) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    bus_->write(kPage10, kTxDisable, 0x0F);
    bus_->write(kGlobalControls, kSoftwareReset);
    EXPECT_EQ(state(), State::low_power);
    EXPECT_EQ(bus_->read(kGlobalControls), kLowPwrAllowRequestHw);
    EXPECT_EQ(bus_->read(kPage10, kTxDisable), 0);
}

TEST_P(CmisModuleTest, AFlatMemoryModuleIsAlwaysReady) {
    insert("400G-CR8-FLAT");
    EXPECT_EQ(state(), State::ready);
    bus_->write(kGlobalControls, kLowPwrRequestSw);
    EXPECT_EQ(state(), State::ready);
}

// ---- Data path state machine ----------------------------------------------------------------

TEST_P(CmisModuleTest, DataPathsInitialiseWhenTheModuleBecomesReady) {
    CmisModule &m = insert("400G-FR4");
    EXPECT_EQ(m.dp_init_time(), kFr4DpInit);
    power_up(m);  // byte 128 is clear: every data path is asked for
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(dp_states(pair), 0x22);
    sleep_for(kFr4DpInit - 1ms);
    EXPECT_EQ(dp_states(), 0x22);
    usleep(1000);
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(dp_states(pair), 0x44);
    EXPECT_EQ(m.data_path_state(7), Dp::activated);
}

TEST_P(CmisModuleTest, Cmis4DataPathsPassThroughDpInitialized) {
    CmisModule &m = insert("400G-FR4");
    m.set_tx_turn_on_time(10ms);
    power_up(m);
    sleep_for(kFr4DpInit);
    EXPECT_EQ(dp_states(), 0x77);
    usleep(10000);
    EXPECT_EQ(dp_states(), 0x44);
}

TEST_P(CmisModuleTest, DpDeinitTakesTheAdvertisedDeinitDuration) {
    CmisModule &m = insert("400G-FR4");
    EXPECT_EQ(m.dp_deinit_time(), kFr4DpDeinit);
    power_up(m);
    sleep_for(kFr4DpInit);
    bus_->write(kPage10, kDataPathControl, 0xFF);
    EXPECT_EQ(dp_states(), 0x33);
    sleep_for(kFr4DpDeinit - 1ms);
    EXPECT_EQ(dp_states(3), 0x33);
    usleep(1000);
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(dp_states(pair), 0x11);
}

TEST_P(CmisModuleTest, OneLaneAskingForDeinitTakesDownItsWholeDataPath) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    bus_->write(kPage10, kDataPathControl, 0x01);
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(dp_states(pair), 0x33);
}

TEST_P(CmisModuleTest, Cmis3DataPathsPowerUpOnlyWhenAskedAndSkipDpInitialized) {
    CmisModule &m = insert("400G-FR4-CMIS3");
    bus_->write(kGlobalControls, 0x00);
    ASSERT_EQ(state(), State::ready);
    usleep(2000000);
    EXPECT_EQ(dp_states(), 0x11);  // DataPathPwrUp clear: powered down
    bus_->write(kPage10, kDataPathControl, 0xFF);
    EXPECT_EQ(dp_states(), 0x22);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(dp_states(), 0x44);
    bus_->write(kPage10, kDataPathControl, 0x00);
    EXPECT_EQ(dp_states(), 0x33);
}

TEST_P(CmisModuleTest, ModulePowerDownTakesTheDataPathsDown) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    bus_->write(kGlobalControls, kLowPwrRequestSw);
    EXPECT_EQ(dp_states(), 0x33);
    sleep_for(kFr4PowerDown);
    EXPECT_EQ(dp_states(), 0x11);
}

TEST_P(CmisModuleTest, AStuckDataPathKeepsItsState) {
    CmisModule &m = insert("400G-FR4");
    m.stick_data_path(2, Dp::init);
    power_up(m);
    usleep(5000000);
    EXPECT_EQ(dp_states(1), 0x42);  // lane 3 stuck in DPInit, lane 4 activated
    m.stick_data_path(2, std::nullopt);
    EXPECT_NE(dp_states(1), 0x42);
}

TEST_P(CmisModuleTest, DataPathStateChangedFlagLatchesAndClearsOnRead) {
    CmisModule &m = insert("400G-FR4");
    bus_->read(kPage11, kDataPathStateChanged);  // clears what power-up latched
    power_up(m);
    sleep_for(kFr4DpInit);
    EXPECT_EQ(bus_->read(kPage11, kDataPathStateChanged), 0xFF);
    EXPECT_EQ(bus_->read(kPage11, kDataPathStateChanged), 0x00);
}

// ---- Configuration commands -------------------------------------------------------------------

// The catalogue's 400G DR4 advertises application 1 (400G, 8 host lanes,
// starting at lane 1) and application 2 (100G-DR, 2 host lanes, starting at
// lanes 1, 3, 5 or 7).
TEST_P(CmisModuleTest, ApplyDpInitIsInProgressWhileTheModuleChecksThenAccepted) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    m.set_config_time(5ms);
    for (int lane = 0; lane < kLanes; ++lane) stage(lane, 2, lane & ~1);
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    EXPECT_EQ(bus_->read(kPage10, kApplyDpInit), 0);  // a trigger, not a setting
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(status(pair), 0xCC);
    sleep_for(4ms);
    EXPECT_EQ(status(), 0xCC);
    usleep(1000);
    for (int pair = 0; pair < 4; ++pair) EXPECT_EQ(status(pair), 0x11);
    const std::vector<std::uint8_t> active = bus_->read_range(kPage11, kActiveDpConfig, kLanes);
    EXPECT_EQ(active, (std::vector<std::uint8_t>{0x20, 0x20, 0x24, 0x24, 0x28, 0x28, 0x2C, 0x2C}));
}

TEST_P(CmisModuleTest, StagedBytesWrittenWithTheTriggerInOneTransactionCount) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    // Bytes 143-152: ApplyDPInit, ApplyImmediate, then the eight DPConfig bytes.
    std::vector<std::uint8_t> block = {0xFF, 0x00};
    for (int lane = 0; lane < kLanes; ++lane) block.push_back(static_cast<std::uint8_t>(0x20 | (lane & ~1) << 1));
    if (GetParam() == BusMode::raw) {
        std::uint8_t page = kPage10;
        ASSERT_EQ(cage_.write(kPageSelectReg, 0, 1, &page), 0u);
    }
    ASSERT_EQ(cage_.write(kApplyDpInit, kPage10, static_cast<std::uint32_t>(block.size()), block.data()), 0u);
    sleep_for(1ms);  // the default checking time
    EXPECT_EQ(status(3), 0x11);
    EXPECT_EQ(bus_->read(kPage11, static_cast<std::uint8_t>(kActiveDpConfig + 7)), 0x2C);
}

TEST_P(CmisModuleTest, AnUnknownApplicationIsRejectedAsInvalidAppSel) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    for (int lane = 0; lane < kLanes; ++lane) stage(lane, 5, 0);  // descriptor 5 is unused
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(m.config_status(0), ConfigStatus::rejected_invalid_app_sel);
    EXPECT_EQ(status(), 0x33);
    EXPECT_EQ(bus_->read(kPage11, kActiveDpConfig), 0x10);  // the active set is unchanged
}

TEST_P(CmisModuleTest, ALaneLayoutOutsideTheHostLaneAssignmentIsRejected) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    stage(1, 2, 1);  // application 2 may not start at lane 2
    stage(2, 2, 1);
    bus_->write(kPage10, kApplyDpInit, 0x06);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(m.config_status(1), ConfigStatus::rejected_invalid_data_path);
    EXPECT_EQ(status(0) >> 4, 0x4);
    EXPECT_EQ(status(1) & 0x0F, 0x4);
}

TEST_P(CmisModuleTest, ApplyingPartOfADataPathIsRejectedAsPartial) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    stage(0, 2, 0);
    stage(1, 2, 0);
    bus_->write(kPage10, kApplyDpInit, 0x01);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(m.config_status(0), ConfigStatus::rejected_partial_data_path);
}

TEST_P(CmisModuleTest, LanesNotDeactivatedAreRejectedAsInUse) {
    CmisModule &m = insert("400G-DR4");
    power_up(m);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(status(), 0x66);
}

// The catalogue's 2 x 100G SR4 implements fixed Tx EQ and Rx amplitude only.
TEST_P(CmisModuleTest, ExplicitSiTheModuleDoesNotImplementIsRejected) {
    CmisModule &m = insert("2X100G-SR4");
    deactivate_all(m);
    for (int lane = 0; lane < kLanes; ++lane) stage(lane, 1, lane < 4 ? 0 : 4, true);
    bus_->write(kPage10, static_cast<std::uint8_t>(kStagedSi + kSiRxPreCursor), 0x03);  // lane 1 pre-cursor
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(m.config_status(0), ConfigStatus::rejected_invalid_si);
    EXPECT_EQ(m.config_status(4), ConfigStatus::success);  // the other data path asks nothing unimplemented
}

TEST_P(CmisModuleTest, ExplicitControlDecidesWhetherStagedSiBecomesActive) {
    CmisModule &m = insert("2X100G-SR4");
    deactivate_all(m);
    const auto amplitude = static_cast<std::uint8_t>(kStagedSi + kSiRxAmplitude);
    bus_->write(kPage10, amplitude, 0x22);  // lanes 1 and 2
    for (int lane = 0; lane < 4; ++lane) stage(lane, 1, 0, true);
    for (int lane = 4; lane < 8; ++lane) stage(lane, 1, 4, false);
    bus_->write(kPage10, static_cast<std::uint8_t>(kStagedSi + kSiRxAmplitude + 2), 0x33);  // lanes 5 and 6
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(status(), 0x11);
    EXPECT_EQ(bus_->read(kPage11, static_cast<std::uint8_t>(kActiveSi + kSiRxAmplitude)), 0x22);
    EXPECT_EQ(bus_->read(kPage11, static_cast<std::uint8_t>(kActiveSi + kSiRxAmplitude + 2)), 0x00);  // defaults
    EXPECT_EQ(bus_->read(kPage11, kActiveDpConfig), 0x11);
}

TEST_P(CmisModuleTest, Cmis3ReportsNoStatusWhileInProgress) {
    CmisModule &m = insert("400G-DR4-CMIS3");
    bus_->write(kGlobalControls, 0x00);
    for (int lane = 0; lane < kLanes; ++lane) stage(lane, 7, 0);
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    EXPECT_EQ(status(), 0x00);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(status(), 0x33);
}

TEST_P(CmisModuleTest, ApplyImmediateTakesEffectAtOnce) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    for (int lane = 0; lane < kLanes; ++lane) stage(lane, 2, lane & ~1);
    bus_->write(kPage10, kApplyImmediate, 0xFF);
    EXPECT_EQ(status(3), 0x11);
}

TEST_P(CmisModuleTest, AConfigurationCanStayInProgressOrBeRejectedByFault) {
    CmisModule &m = insert("400G-DR4");
    deactivate_all(m);
    m.set_config_fault({CmisModule::ConfigFault::Kind::stay_in_progress});
    bus_->write(kPage10, kApplyDpInit, 0x0F);
    usleep(600000000);
    EXPECT_EQ(status(0), 0xCC);
    // A lane whose command is still in progress ignores a new one.
    m.set_config_fault({CmisModule::ConfigFault::Kind::reject, ConfigStatus::rejected});
    bus_->write(kPage10, kApplyDpInit, 0xFF);
    sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(m.dp_init_time()));
    EXPECT_EQ(status(0), 0xCC);
    EXPECT_EQ(status(2), 0x22);
}

// ---- Outputs, monitors and flags --------------------------------------------------------------

TEST_P(CmisModuleTest, TxDisableTurnsTheTransmitterOff) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    ASSERT_TRUE(m.transmitting(0));
    EXPECT_GT(bus_->read_word(kPage11, kTxPowerMonitors), 0);
    EXPECT_GT(bus_->read_word(kPage11, kTxBiasMonitors), 0);
    EXPECT_EQ(bus_->read(kPage11, kTxOutputStatus) & 0x01, 0x01);
    bus_->write(kPage10, kTxDisable, 0x01);
    EXPECT_FALSE(m.transmitting(0));
    EXPECT_EQ(bus_->read_word(kPage11, kTxPowerMonitors), 0);
    EXPECT_EQ(bus_->read_word(kPage11, kTxBiasMonitors), 0);
    EXPECT_EQ(bus_->read(kPage11, kTxOutputStatus) & 0x01, 0);
    EXPECT_GT(bus_->read_word(kPage11, kTxPowerMonitors + 2), 0);  // lane 2 still transmits
}

TEST_P(CmisModuleTest, RxOutputDisableTurnsTheHostOutputOffButNotTheMonitor) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    EXPECT_EQ(bus_->read(kPage11, kRxOutputStatus) & 0x0F, 0x0F);
    bus_->write(kPage10, kRxOutputDisable, 0x02);
    EXPECT_EQ(bus_->read(kPage11, kRxOutputStatus) & 0x0F, 0x0D);
    EXPECT_GT(bus_->read_word(kPage11, kRxPowerMonitors + 2), 0);
}

TEST_P(CmisModuleTest, LaneMonitorsReadZeroUntilTheDataPathIsActivated) {
    CmisModule &m = insert("400G-FR4");
    EXPECT_EQ(bus_->read_word(kPage11, kRxPowerMonitors), 0);
    power_up(m);
    sleep_for(kFr4DpInit);
    EXPECT_GT(bus_->read_word(kPage11, kRxPowerMonitors), 0);
}

TEST_P(CmisModuleTest, LaneFlagsLatchWhileTheConditionHoldsAndClearOnRead) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    bus_->read_range(kPage11, kFirstLaneFlag, kLaneFlagBytes);  // clear what bring-up latched
    m.set_tx_fault(2, true);
    EXPECT_EQ(bus_->read(kPage11, kTxFault), 0x04);
    EXPECT_EQ(bus_->read(kPage11, kTxFault), 0x04);  // re-latched: still faulty
    m.set_tx_fault(2, false);
    EXPECT_EQ(bus_->read(kPage11, kTxFault), 0x04);  // latched until read
    EXPECT_EQ(bus_->read(kPage11, kTxFault), 0x00);
}

TEST_P(CmisModuleTest, LaneThresholdFlagsFollowThePage02hThresholds) {
    CmisModule &m = insert("400G-FR4");
    power_up(m);
    sleep_for(kFr4DpInit);
    bus_->read_range(kPage11, kFirstLaneFlag, kLaneFlagBytes);
    m.set_rx_power(0, 5.0);  // above +5 dBm: high alarm and high warning
    EXPECT_EQ(bus_->read(kPage11, kRxPowerFlags + kHighAlarm), 0x01);
    EXPECT_EQ(bus_->read(kPage11, kRxPowerFlags + kHighWarning), 0x01);
    EXPECT_EQ(bus_->read(kPage11, kRxPowerFlags + kLowAlarm), 0x00);
    m.set_rx_los_threshold(0.01);
    m.set_rx_power(1, 0.005);
    EXPECT_EQ(bus_->read(kPage11, kRxLos), 0x02);
    EXPECT_EQ(bus_->read(kPage11, kRxPowerFlags + kLowAlarm), 0x02);
}

TEST_P(CmisModuleTest, ModuleFlagsFollowTemperatureAndVcc) {
    CmisModule &m = insert("400G-FR4");
    bus_->read(kMonitorFlags);
    EXPECT_EQ(bus_->read(kMonitorFlags), 0);
    m.set_temperature(72);  // above the high warning (70), below the alarm (75)
    EXPECT_EQ(bus_->read_word(kTemperature), 72 * 256);
    EXPECT_EQ(bus_->read(kMonitorFlags), 0x04);
    m.set_temperature(40);
    m.set_vcc(2.9);  // below the low alarm and warning
    EXPECT_EQ(bus_->read(kMonitorFlags), 0xA4);  // the temperature flag was still latched
    EXPECT_EQ(bus_->read(kMonitorFlags), 0xA0);
}

TEST_P(CmisModuleTest, TheInterruptFollowsUnmaskedLatchedFlags) {
    CmisModule &m = insert("400G-FR4");
    bus_->read(kModuleFlags);
    EXPECT_EQ(bus_->read(kModuleStateReg) & kInterruptDeasserted, kInterruptDeasserted);
    m.set_temperature(90);
    EXPECT_TRUE(m.intl_asserted());
    EXPECT_EQ(bus_->read(kModuleStateReg) & kInterruptDeasserted, 0);
    bus_->write(kModuleMasks + 1, 0xFF);  // mask byte 9
    EXPECT_EQ(bus_->read(kModuleStateReg) & kInterruptDeasserted, kInterruptDeasserted);
}

// ---- Memory map ----------------------------------------------------------------------------------

TEST_P(CmisModuleTest, ReadOnlyPagesIgnoreWritesAndWritablePagesKeepThem) {
    insert("400G-ZR");
    for (std::uint8_t page : {kPage00, kPage01, kPage02, kPage11}) {
        const std::uint8_t before = bus_->read(page, 200);
        bus_->write(page, 200, static_cast<std::uint8_t>(before ^ 0x5A));
        EXPECT_EQ(bus_->read(page, 200), before) << "page " << int(page);
    }
    for (std::uint8_t page : {kPage03, kPage10, kPage9F, kPageA0, kPageAF}) {
        bus_->write(page, 240, 0x5A);
        EXPECT_EQ(bus_->read(page, 240), 0x5A) << "page " << int(page);
    }
}

TEST_P(CmisModuleTest, PasswordBytesAreWriteOnly) {
    CmisModule &m = insert("400G-FR4");
    bus_->write(kPasswordEntry, 0x12);
    EXPECT_EQ(bus_->read(kPasswordEntry), 0);
    EXPECT_EQ(m.host_wrote(0, kPasswordEntry), 0x12);
}

TEST(CmisModuleRawBusTest, ByteOneTwentySevenSelectsOnlyPagesTheModuleHas) {
    Cage cage;
    cage.insert(make_cmis_module("400G-FR4"));
    std::uint8_t page = kPage11;
    ASSERT_EQ(cage.write(kPageSelectReg, 0, 1, &page), 0u);
    page = 0x20;  // the FR4 has no VDM pages
    ASSERT_EQ(cage.write(kPageSelectReg, 0, 1, &page), 0u);
    std::uint8_t selected = 0;
    ASSERT_EQ(cage.read(kPageSelectReg, 0, 1, &selected), 0u);
    EXPECT_EQ(selected, kPage11);
}

TEST(CmisModuleRawBusTest, AFlatModuleIgnoresPageSelect) {
    Cage cage;
    cage.insert(make_cmis_module("400G-CR8-FLAT"));
    std::uint8_t page = kPage01;
    ASSERT_EQ(cage.write(kPageSelectReg, 0, 1, &page), 0u);
    std::uint8_t selected = 0xFF;
    ASSERT_EQ(cage.read(kPageSelectReg, 0, 1, &selected), 0u);
    EXPECT_EQ(selected, 0);
}

// ---- Access faults ---------------------------------------------------------------------------------

TEST_P(CmisModuleTest, AnAccessFailsAtTheNthTransaction) {
    insert("400G-FR4");
    cage_.fail_nth_access(2, 5);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(kRevision, 0, 1, &b), 0u);
    EXPECT_EQ(cage_.read(kRevision, 0, 1, &b), 5u);
    EXPECT_EQ(cage_.read(kRevision, 0, 1, &b), 0u);
    EXPECT_EQ(b, kRevision40);
}

TEST_P(CmisModuleTest, APulledModuleAnswersNoAcknowledge) {
    insert("400G-FR4");
    EXPECT_NE(cage_.pull(), nullptr);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(kIdentifier, 0, 1, &b), kNoModuleCode);
}

TEST_P(CmisModuleTest, ABusyModuleDoesNotAcknowledge) {
    CmisModule &m = insert("400G-ZR");
    bool busy = true;
    m.set_busy_hook([&busy] { return busy; });
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(kIdentifier, 0, 1, &b), kNoModuleCode);
    busy = false;
    EXPECT_EQ(cage_.read(kIdentifier, 0, 1, &b), 0u);
    EXPECT_EQ(b, kQsfpDd);
}

TEST(CmisModuleDurationTest, EachCodeTakesATimeInsideItsAdvertisedRange) {
    // Upper bounds of codes 0-12 in microseconds; code 13 is 50 min or more.
    constexpr std::uint64_t kBound[] = {1000, 5000, 10000, 50000, 100000, 500000, 1000000, 5000000, 10000000,
                                        60000000, 300000000, 600000000, 3000000000};
    std::uint64_t lower = 0;
    for (std::size_t code = 0; code < std::size(kBound); ++code) {
        EXPECT_GE(kDurationUs[code], lower) << code;
        EXPECT_LT(kDurationUs[code], kBound[code]) << code;
        lower = kBound[code];
    }
    EXPECT_GE(kDurationUs[13], 3000000000u);
}

TEST(CmisModuleDurationTest, AReservedDpInitCodeStillTakesAFiniteTime) {
    auto m = make_cmis_module("400G-DR4-DPINIT14");
    EXPECT_EQ(m->memory().get(kPage01, kDataPathDurations) & 0x0F, 14);
    EXPECT_EQ(m->dp_init_time(), 3s);
}

// Random memory, random host writes everywhere and time passing: the module
// keeps to its memory and its state machines keep to their states.
TEST(CmisModuleRobustnessTest, RandomMemoryAndRandomWritesAreSafe) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        ModuleMemory memory;
        for (std::uint8_t page : {kPage01, kPage02, kPage03, kPage10, kPage11, kPage9F, kPageA0}) memory.add_page(page);
        randomize(memory, seed);
        memory.set(0, kMemoryModel, static_cast<std::uint8_t>(memory.get(0, kMemoryModel) & ~kFlatMemory));
        Cage cage;
        auto owned = std::make_unique<CmisModule>(memory);
        CmisModule &m = *owned;
        cage.insert(std::move(owned));
        std::mt19937 rng(seed);
        for (int i = 0; i < 2000; ++i) {
            const auto page = static_cast<std::uint8_t>(rng() % 2 ? kPage10 : rng() % 256);
            const auto reg = static_cast<std::uint8_t>(rng());
            std::uint8_t bytes[8] = {};
            const std::uint32_t len = 1 + rng() % 8;
            for (std::uint8_t &b : bytes) b = static_cast<std::uint8_t>(rng());
            if (rng() % 2) {
                cage.write(reg, page, len, bytes);
            } else {
                cage.read(reg, page, len, bytes);
            }
            VirtualClock::instance().advance_ns(rng() % 50000000);
        }
        const auto state = static_cast<int>(m.module_state());
        EXPECT_GE(state, 1) << seed;
        EXPECT_LE(state, 5) << seed;
        for (int lane = 0; lane < kLanes; ++lane) {
            const auto dp = static_cast<int>(m.data_path_state(lane));
            EXPECT_GE(dp, 1) << seed;
            EXPECT_LE(dp, 7) << seed;
        }
        EXPECT_EQ(m.data_path_state(8), Dp::deactivated);
        EXPECT_FALSE(m.set_rx_power(-1, 1.0));
        EXPECT_EQ(m.config_status(99), ConfigStatus::undefined);
    }
}

INSTANTIATE_TEST_SUITE_P(BothBusModes, CmisModuleTest, ::testing::Values(BusMode::raw, BusMode::direct),
                         qsfp::test::bus_mode_name);

}  // namespace
