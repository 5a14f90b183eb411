// Performance data of the coherent SDK emulator: values that follow the
// emulated module (Rx and Tx power of media lane 1, temperature), the laser
// and the fibre, alarms raised and cleared against the thresholds, simulated
// alarms on top, statistics over the samples since monitoring started, and
// the hardware state.
#include <cmath>

#include "coh_sdk_fixture.h"

namespace {

using namespace qsfp::sim;
using qsfp::test::CohSdkBench;

constexpr std::uint32_t kKey = 0x0305;
constexpr double kDbmTolerance = 0.001;

class CohSdkPerfTest : public CohSdkBench {
protected:
    void SetUp() override {
        CohSdkBench::SetUp();
        init();
        module_ = &bring_up(cage_, kKey);
        ASSERT_TRUE(module_->set_rx_power(0, 0.5));   // -3.01 dBm from the far end
        ASSERT_EQ(laser(kKey, COH_SDK_LASER_ON), COH_SDK_OK);
        ASSERT_TRUE(module_->set_tx_power(0, 0.25));  // -6.02 dBm launched
        ASSERT_TRUE(module_->set_tx_bias(0, 60.0));
        module_->set_temperature(40.0);
        module_->set_vcc(3.3);
    }

    void set_osnr(double db) {
        coh_sdk::Fibre f = coh_sdk::device(kKey)->fibre;
        f.osnr_db = db;
        ASSERT_TRUE(coh_sdk::set_fibre(kKey, f));
    }
    void update_thresholds(void (*change)(coh_sdk_thresholds &)) {
        coh_sdk_thresholds t = coh_sdk::device(kKey)->thresholds;
        change(t);
        ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, nullptr, &t), COH_SDK_OK);
    }
    void enable_perf_mon(bool on) {
        const coh_sdk_perf_mon_record r{kKey, {0, static_cast<std::uint8_t>(on ? 1 : 0), 0, 0}};
        ASSERT_EQ(coh_sdk_module_config_perf_mon(&r), COH_SDK_OK);
    }

    Cage cage_;
    CmisModule *module_ = nullptr;
};

TEST_F(CohSdkPerfTest, ALockedLinkReportsTheModulesPowersAndTheFibre) {
    enable_perf_mon(true);
    const Report r = report(kKey);
    EXPECT_NEAR(r.current(COH_SDK_PM_RX_TOTAL_POWER), -3.0103, kDbmTolerance);
    EXPECT_NEAR(r.current(COH_SDK_PM_TX_POWER), -6.0206, kDbmTolerance);
    EXPECT_LT(r.current(COH_SDK_PM_RX_SIGNAL_POWER), r.current(COH_SDK_PM_RX_TOTAL_POWER)) << "less the line noise";
    EXPECT_GT(r.current(COH_SDK_PM_RX_SIGNAL_POWER), r.current(COH_SDK_PM_RX_TOTAL_POWER) - 0.1);
    // The line's 32 dB barely suffers from the receiver's noise at -3 dBm.
    EXPECT_LT(r.current(COH_SDK_PM_OSNR), 32.0f);
    EXPECT_GT(r.current(COH_SDK_PM_OSNR), 31.8f);
    EXPECT_LT(r.current(COH_SDK_PM_ESNR), r.current(COH_SDK_PM_OSNR) - 6.8f) << "60 GBd takes 6.8 dB of 0.1 nm";
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CD), 800.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_DGD), 3.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_PDL), 0.6f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CFO), 0.0f);
    // Parameters without a current value: the statistics of the one sample.
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_SOPMD].max, 4.5f);
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_POWER_IMBALANCE].min, 0.3f);
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_LASER_TEMPERATURE].avg, 45.0f) << "the laser's TEC set point";
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_LBC].avg, 40.0f) << "60 mA of 150 mA";
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_CLOCK_RECOVERY].avg, 100.0f);
    EXPECT_GT(r.pm->stats[COH_SDK_PM_SNR_MARGIN].avg, 3.0f);
    EXPECT_GT(r.current(COH_SDK_PM_PRE_FEC_BER), 1e-7f);
    EXPECT_LT(r.current(COH_SDK_PM_PRE_FEC_BER), 1e-4f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_UNCORRECTED_RATIO), 0.0f);
    EXPECT_GT(r.current(COH_SDK_PM_Q_FACTOR), 12.0f);
    EXPECT_EQ(r.pm->device_key, kKey);
    EXPECT_EQ(r.state.device_key, kKey);
    EXPECT_EQ(r.state.module_state, 3u) << "ModuleReady";
    EXPECT_EQ(r.state.laser, COH_SDK_STATE_UP);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_UP);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_UP);
    EXPECT_EQ(r.alarms.ntwk, 0u);
    EXPECT_EQ(r.alarms.ntwk_flexo, 0u);
    EXPECT_EQ(r.alarms.optical, 0u);
    EXPECT_EQ(r.alarms.module, 0u);
}

TEST_F(CohSdkPerfTest, ValuesFollowTheModulesMonitors) {
    ASSERT_TRUE(module_->set_rx_power(0, 0.1));
    ASSERT_TRUE(module_->set_tx_power(0, 1.0));
    const Report r = report(kKey);
    EXPECT_NEAR(r.current(COH_SDK_PM_RX_TOTAL_POWER), -10.0, kDbmTolerance);
    EXPECT_NEAR(r.current(COH_SDK_PM_TX_POWER), 0.0, kDbmTolerance);
    EXPECT_NEAR(r.pm->stats[COH_SDK_PM_LBC].avg, 0.0, 1e-6) << "no statistics without monitoring";
    module_->set_temperature(80.0);
    EXPECT_EQ(report(kKey).alarms.module, COH_SDK_MOD_TEMP_HIGH);
    module_->set_temperature(-10.0);
    EXPECT_EQ(report(kKey).alarms.module, COH_SDK_MOD_TEMP_LOW);
    module_->set_temperature(30.0);
    module_->set_vcc(3.0);
    EXPECT_EQ(report(kKey).alarms.module, COH_SDK_MOD_VCC_LOW);
    module_->set_vcc(3.3);
    EXPECT_EQ(report(kKey).alarms.module, 0u);
}

TEST_F(CohSdkPerfTest, WithTheLaserOffNothingIsDemodulated) {
    ASSERT_EQ(laser(kKey, COH_SDK_LASER_OFF), COH_SDK_OK);
    const Report r = report(kKey);
    EXPECT_NEAR(r.current(COH_SDK_PM_RX_TOTAL_POWER), -3.0103, kDbmTolerance) << "the far end still reaches us";
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_TX_POWER), -40.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_OSNR), 0.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CD), 0.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_PRE_FEC_BER), 0.5f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_UNCORRECTED_RATIO), 1.0f);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_Q_FACTOR), 0.0f);
    EXPECT_EQ(r.state.laser, COH_SDK_STATE_DOWN);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_DOWN);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_DOWN);
    EXPECT_EQ(r.alarms.ntwk, COH_SDK_NTWK_LOF | COH_SDK_NTWK_LOM | COH_SDK_NTWK_SIGNAL_FAIL);
    EXPECT_EQ(r.alarms.ntwk_flexo, COH_SDK_FLEXO_LOF | COH_SDK_FLEXO_LOM);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_TX_POWER_LOW | COH_SDK_OPT_PRE_FEC_BER_HIGH);
    ASSERT_EQ(laser(kKey, COH_SDK_LASER_ON), COH_SDK_OK);
    const Report back = report(kKey);
    EXPECT_EQ(back.state.traffic, COH_SDK_STATE_UP);
    EXPECT_EQ(back.alarms.optical, 0u);
    EXPECT_EQ(back.alarms.ntwk, 0u);
}

TEST_F(CohSdkPerfTest, TheErrorRateGrowsAsTheOsnrFalls) {
    float last_ber = 0;
    for (double osnr : {35.0, 30.0, 26.0, 23.0, 20.0, 17.0}) {
        set_osnr(osnr);
        const Report r = report(kKey);
        EXPECT_GT(r.current(COH_SDK_PM_PRE_FEC_BER), last_ber) << osnr;
        last_ber = r.current(COH_SDK_PM_PRE_FEC_BER);
    }
}

TEST_F(CohSdkPerfTest, AnOsnrBelowTheThresholdRaisesOsnrLowWhileTheFecStillCorrects) {
    enable_perf_mon(true);
    set_osnr(25.0);
    const Report r = report(kKey);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_OSNR_LOW);
    EXPECT_EQ(r.alarms.ntwk, 0u);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_UP);
    EXPECT_GT(r.pm->stats[COH_SDK_PM_SNR_MARGIN].avg, 0.0f);
    update_thresholds([](coh_sdk_thresholds &t) { t.osnr_low_th = 240; });
    EXPECT_EQ(report(kKey).alarms.optical, 0u) << "24.0 dB is fine";
    update_thresholds([](coh_sdk_thresholds &t) {
        t.osnr_low_th = 260;
        t.flags = 0x100;
    });
    EXPECT_EQ(report(kKey).alarms.optical, 0u) << "the group is not applied";
}

TEST_F(CohSdkPerfTest, NearTheFecLimitTheSignalDegradesAndBeyondItFails) {
    set_osnr(22.0);
    Report r = report(kKey);
    EXPECT_EQ(r.alarms.ntwk, COH_SDK_NTWK_SIGNAL_DEGRADE);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_UP);
    set_osnr(20.0);
    enable_perf_mon(true);
    r = report(kKey);
    EXPECT_EQ(r.alarms.ntwk, COH_SDK_NTWK_SIGNAL_DEGRADE | COH_SDK_NTWK_SIGNAL_FAIL);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_OSNR_LOW | COH_SDK_OPT_PRE_FEC_BER_HIGH);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_UP);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_DOWN);
    EXPECT_GT(r.current(COH_SDK_PM_UNCORRECTED_RATIO), 0.0f);
    EXPECT_LT(r.pm->stats[COH_SDK_PM_SNR_MARGIN].avg, 0.0f);
}

TEST_F(CohSdkPerfTest, RxPowerAlarmsFollowTheModuleAndTheirThresholds) {
    ASSERT_TRUE(module_->set_rx_power(0, 0.005));  // -23 dBm
    Report r = report(kKey);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_RX_POWER_LOW);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_UP);
    update_thresholds([](coh_sdk_thresholds &t) { t.rx_power_th = -2500; });
    EXPECT_EQ(report(kKey).alarms.optical, 0u);
    ASSERT_TRUE(module_->set_rx_power(0, 3.0));  // +4.8 dBm
    EXPECT_EQ(report(kKey).alarms.optical, COH_SDK_OPT_RX_POWER_HIGH);
    update_thresholds([](coh_sdk_thresholds &t) { t.flags = 0x200; });
    EXPECT_EQ(report(kKey).alarms.optical, 0u) << "the Rx power group is not applied";
}

TEST_F(CohSdkPerfTest, BelowTheLossOfSignalLevelTheReceiverLosesLock) {
    ASSERT_TRUE(module_->set_rx_power(0, 0.0005));  // -33 dBm
    const Report r = report(kKey);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_RX_LOS | COH_SDK_OPT_RX_POWER_LOW | COH_SDK_OPT_PRE_FEC_BER_HIGH);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_DOWN);
    EXPECT_EQ(r.alarms.ntwk, COH_SDK_NTWK_LOF | COH_SDK_NTWK_LOM | COH_SDK_NTWK_SIGNAL_FAIL);
}

TEST_F(CohSdkPerfTest, DispersionOutsideTheSearchRangeLosesLockAndRaisesCdHigh) {
    coh_sdk::Fibre f = coh_sdk::device(kKey)->fibre;
    f.cd_ps_nm = 3000;
    ASSERT_TRUE(coh_sdk::set_fibre(kKey, f));
    Report r = report(kKey);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_DOWN);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_CD_HIGH | COH_SDK_OPT_PRE_FEC_BER_HIGH);
    coh_sdk_module_cfg cfg{};
    cfg.cd_max = 5000;
    cfg.flags = 0x08;
    ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, &cfg, nullptr), COH_SDK_OK);
    r = report(kKey);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_UP);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CD), 3000.0f);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_CD_HIGH) << "above the 2400 ps/nm threshold";
    update_thresholds([](coh_sdk_thresholds &t) { t.cd_high_th = 4000; });
    EXPECT_EQ(report(kKey).alarms.optical, 0u);
    f.cd_ps_nm = -3000;
    ASSERT_TRUE(coh_sdk::set_fibre(kKey, f));
    EXPECT_EQ(report(kKey).alarms.optical, COH_SDK_OPT_CD_LOW | COH_SDK_OPT_PRE_FEC_BER_HIGH);
}

TEST_F(CohSdkPerfTest, DgdCarrierOffsetAndBiasRaiseTheirAlarms) {
    coh_sdk::Fibre f = coh_sdk::device(kKey)->fibre;
    f.dgd_ps = 40;
    f.frequency_offset_mhz = 2000;
    ASSERT_TRUE(coh_sdk::set_fibre(kKey, f));
    Report r = report(kKey);
    EXPECT_EQ(r.state.rx_signal, COH_SDK_STATE_UP);
    EXPECT_EQ(r.alarms.optical & (COH_SDK_OPT_DGD_HIGH | COH_SDK_OPT_FREQ_OFFSET),
              COH_SDK_OPT_DGD_HIGH | COH_SDK_OPT_FREQ_OFFSET);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CFO), 2000.0f);
    f.frequency_offset_mhz = 4000;  // beyond the carrier recovery's reach
    ASSERT_TRUE(coh_sdk::set_fibre(kKey, f));
    EXPECT_EQ(report(kKey).state.rx_signal, COH_SDK_STATE_DOWN);
    ASSERT_TRUE(module_->set_tx_bias(0, 100.0));  // 66.7 % of the laser's end-of-life bias
    r = report(kKey);
    EXPECT_EQ(r.alarms.optical & COH_SDK_OPT_LBC_HIGH, 0u);
    update_thresholds([](coh_sdk_thresholds &t) { t.lbc_th = 500; });
    EXPECT_EQ(report(kKey).alarms.optical & COH_SDK_OPT_LBC_HIGH, COH_SDK_OPT_LBC_HIGH);
}

TEST_F(CohSdkPerfTest, AnInternalOpticalLoopbackFeedsTheTransmitterBack) {
    set_osnr(10.0);  // a line nothing could be received from
    ASSERT_EQ(report(kKey).state.rx_signal, COH_SDK_STATE_UP);
    EXPECT_EQ(report(kKey).state.traffic, COH_SDK_STATE_DOWN);
    coh_sdk_module_cfg cfg{};
    cfg.opt_lb_internal = 1;
    cfg.flags = 0x20;
    ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, &cfg, nullptr), COH_SDK_OK);
    const Report r = report(kKey);
    EXPECT_NEAR(r.current(COH_SDK_PM_RX_TOTAL_POWER), -6.0206, kDbmTolerance);
    EXPECT_EQ(r.state.traffic, COH_SDK_STATE_UP);
    EXPECT_FLOAT_EQ(r.current(COH_SDK_PM_CD), 0.0f);
    EXPECT_EQ(r.config.loopbacks, 0x01u);
}

TEST_F(CohSdkPerfTest, SimulatedAlarmsAreAddedToTheComputedOnes) {
    coh_sdk_alarms sim{};
    sim.ntwk_flexo = COH_SDK_FLEXO_RDI;
    sim.optical = COH_SDK_OPT_DGD_HIGH;
    sim.module = COH_SDK_MOD_LASER_FAULT;
    ASSERT_EQ(coh_sdk_set_sim_alarms(kKey, &sim), COH_SDK_OK);
    ASSERT_TRUE(module_->set_rx_power(0, 0.005));
    Report r = report(kKey);
    EXPECT_EQ(r.alarms.ntwk_flexo, COH_SDK_FLEXO_RDI);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_DGD_HIGH | COH_SDK_OPT_RX_POWER_LOW);
    EXPECT_EQ(r.alarms.module, COH_SDK_MOD_LASER_FAULT);
    sim = {};
    ASSERT_EQ(coh_sdk_set_sim_alarms(kKey, &sim), COH_SDK_OK);
    r = report(kKey);
    EXPECT_EQ(r.alarms.optical, COH_SDK_OPT_RX_POWER_LOW);
    EXPECT_EQ(r.alarms.module, 0u);
}

TEST_F(CohSdkPerfTest, StatisticsCoverTheSamplesSinceMonitoringStarted) {
    Report r = report(kKey);
    EXPECT_EQ(r.pm->valid, 0u);
    EXPECT_EQ(r.pm->samples, 0u);
    enable_perf_mon(true);
    for (double mw : {0.5, 0.25, 1.0}) {
        ASSERT_TRUE(module_->set_rx_power(0, mw));
        r = report(kKey);
        usleep(1000000);
    }
    EXPECT_EQ(r.pm->valid, 1u);
    EXPECT_EQ(r.pm->samples, 3u);
    EXPECT_EQ(r.pm->interval_ms, 2000u);
    const coh_sdk_pm_stat rx = r.pm->stats[COH_SDK_PM_RX_TOTAL_POWER];
    EXPECT_NEAR(rx.avg, (-3.0103 - 6.0206 + 0.0) / 3, kDbmTolerance);
    EXPECT_NEAR(rx.min, -6.0206, kDbmTolerance);
    EXPECT_NEAR(rx.max, 0.0, kDbmTolerance);
    EXPECT_FLOAT_EQ(r.pm->stats[COH_SDK_PM_CLOCK_RECOVERY].avg, 100.0f);
    EXPECT_EQ(r.counters.device_key, kKey);
    EXPECT_EQ(r.counters.interval_s, 2u);
    EXPECT_EQ(r.counters.fec_total_blocks, 78125000u) << "400 Gb/s for 2 s in 10240-bit blocks";
    EXPECT_EQ(r.counters.fec_uncorrected_blocks, 0u);
    EXPECT_GT(r.counters.fec_corrected_bits, 0u);
    EXPECT_EQ(coh_sdk::device(kKey)->samples, 3u);
    enable_perf_mon(false);
    r = report(kKey);
    EXPECT_EQ(r.pm->samples, 3u) << "stopped monitoring keeps its statistics";
    EXPECT_EQ(r.pm->valid, 1u);
    enable_perf_mon(true);
    r = report(kKey);
    EXPECT_EQ(r.pm->samples, 1u) << "monitoring starts afresh";
    EXPECT_EQ(r.pm->interval_ms, 0u);
}

TEST_F(CohSdkPerfTest, AnyRecordMayBeLeftOut) {
    coh_sdk_alarms alarms{};
    ASSERT_EQ(coh_sdk_get_hw_cfg_alarms_pm_data(kKey, nullptr, nullptr, nullptr, nullptr, &alarms), COH_SDK_OK);
    coh_sdk_hw_state state{};
    ASSERT_EQ(coh_sdk_get_hw_cfg_alarms_pm_data(kKey, nullptr, &state, nullptr, nullptr, nullptr), COH_SDK_OK);
    EXPECT_EQ(state.laser, COH_SDK_STATE_UP);
}

TEST_F(CohSdkPerfTest, APulledModuleGivesNoSample) {
    enable_perf_mon(true);
    report(kKey);
    ASSERT_NE(cage_.pull(), nullptr);
    Report r = report(kKey, COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_EQ(r.pm->samples, 0u) << "the records are left as they were";
    EXPECT_EQ(coh_sdk::device(kKey)->samples, 1u);
}

}  // namespace
