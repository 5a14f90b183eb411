// The emulated SFF-8636 module through the bus, in both bus modes: timing on
// the virtual clock, latched flags, IntL and masks, monitors and thresholds,
// Tx disable and low power, host-writable and read-only bytes, page select,
// flat-memory cables and the DWDM keep-alive byte.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/image_builder.h>
#include <qsfp/sim/sff8636_module.h>

#include "sim_bus.h"

namespace {

using namespace std::chrono_literals;
using namespace qsfp::sim;
using namespace qsfp::sim::sff8636;
using qsfp::test::BusMode;
using qsfp::test::SimBus;

constexpr std::uint8_t kQsfp28 = 0x11;

Thresholds test_thresholds() {
    Thresholds t;
    t.temperature_c = {75, -5, 70, 0};
    t.vcc_v = {3.6, 3.0, 3.5, 3.1};
    t.rx_power_mw = {2.0, 0.05, 1.5, 0.1};
    t.tx_bias_ma = {12, 2, 10, 3};
    t.tx_power_mw = {2.0, 0.1, 1.5, 0.2};
    return t;
}

MonitorValues nominal() {
    MonitorValues m;
    m.temperature_c = 35;
    m.vcc_v = 3.3;
    m.rx_power_mw = {0.8, 0.8, 0.8, 0.8};
    m.tx_bias_ma = {7, 7, 7, 7};
    m.tx_power_mw = {0.9, 0.9, 0.9, 0.9};
    return m;
}

// A QSFP28 optical module with monitoring: Rx average power and Tx power.
ImageBuilder optical_image() {
    ImageBuilder b(kQsfp28);
    b.thresholds(test_thresholds()).monitors(nominal());
    b.set(kPage00, kDiagType, 0x0C);
    return b;
}

class Sff8636ModuleTest : public ::testing::TestWithParam<BusMode> {
protected:
    Sff8636Module &insert(ModuleMemory memory, Sff8636Module::Timing timing) {
        auto module = std::make_unique<Sff8636Module>(std::move(memory), timing);
        Sff8636Module &ref = *module;
        cage_.insert(std::move(module));
        bus_ = std::make_unique<SimBus>(cage_, GetParam());
        return ref;
    }
    Sff8636Module &insert(ModuleMemory memory) { return insert(std::move(memory), {}); }
    Sff8636Module &insert_optical() { return insert(optical_image().build()); }

    bool intl_pin_asserted() { return (bus_->read(kStatus) & kIntL) == 0; }

    Cage cage_;
    std::unique_ptr<SimBus> bus_;
};

// ---- Power-up timing -------------------------------------------------------------------

TEST_P(Sff8636ModuleTest, DataNotReadyClearsAtTheSetTime) {
    Sff8636Module &m = insert_optical();
    m.set_data_not_ready_time(500ms);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, kDataNotReady);
    usleep(499000);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, kDataNotReady);
    usleep(1000);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, 0);
    EXPECT_TRUE(m.data_ready());
}

TEST_P(Sff8636ModuleTest, DataNotReadyCanLastForEver) {
    Sff8636Module &m = insert_optical();
    m.set_data_not_ready_time(std::nullopt);
    usleep(3600u * 1000000u);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, kDataNotReady);
}

TEST_P(Sff8636ModuleTest, MonitorsReadZeroUntilDataIsReady) {
    Sff8636Module &m = insert_optical();
    m.set_data_not_ready_time(100ms);
    EXPECT_EQ(bus_->read_word(kTemperature), 0);
    EXPECT_EQ(bus_->read_word(kRxPower), 0);
    usleep(100000);
    EXPECT_EQ(bus_->read_word(kTemperature), 35 * 256);
    EXPECT_EQ(bus_->read_word(kRxPower), 8000);
}

TEST_P(Sff8636ModuleTest, PowerUpRestartsTheDelayAndRestoresControls) {
    Sff8636Module &m = insert_optical();
    m.set_data_not_ready_time(200ms);
    usleep(300000);
    bus_->write(kTxDisable, 0x0F);
    EXPECT_EQ(bus_->read(kTxDisable), 0x0F);
    m.power_up();
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, kDataNotReady);
    EXPECT_EQ(bus_->read(kTxDisable), 0x00);
    usleep(200000);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, 0);
}

TEST_P(Sff8636ModuleTest, TecReadyFlagComesAtItsTimeWhenAdvertised) {
    ImageBuilder b = optical_image();
    b.set_bits(kPage00, kDeviceTech, kCooledTx).set(kPage03, kFecControl, kTecFlagImplemented).set(kPage03, kMaxTecTime, 5);
    Sff8636Module &m = insert(b.build(), {.tec_ready = 3s});
    EXPECT_EQ(bus_->read(kVendorFlags) & kTecReadyVendor, 0);
    EXPECT_FALSE(m.tec_ready());
    usleep(2999000);
    EXPECT_EQ(bus_->read(kVendorFlags) & kTecReadyVendor, 0);
    usleep(1000);
    EXPECT_EQ(bus_->read(kVendorFlags) & kTecReadyVendor, kTecReadyVendor);
    // A status-like flag: it re-latches at once while the TEC stays ready.
    EXPECT_EQ(bus_->read(kVendorFlags) & kTecReadyVendor, kTecReadyVendor);
    EXPECT_TRUE(intl_pin_asserted());
    bus_->write(kVendorFlagMask, 0x01);
    EXPECT_FALSE(intl_pin_asserted());
}

TEST_P(Sff8636ModuleTest, TecReadyCanNeverCome) {
    ImageBuilder b = optical_image();
    b.set(kPage03, kFecControl, kTecFlagImplemented);
    Sff8636Module &m = insert(b.build(), {.tec_ready = std::nullopt});
    usleep(600u * 1000000u);
    EXPECT_EQ(bus_->read(kVendorFlags), 0);
    EXPECT_FALSE(m.tec_ready());
}

TEST_P(Sff8636ModuleTest, NoTecFlagWithoutTheAdvertisement) {
    insert_optical();
    usleep(1000);
    EXPECT_EQ(bus_->read(kVendorFlags), 0);
}

TEST_P(Sff8636ModuleTest, TcReadinessFlagFollowsByte221Bit1) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kEnhancedOptions, kTcReadinessImplemented);
    Sff8636Module &m = insert(b.build());
    m.set_tec_ready_time(1s);
    m.power_up();
    EXPECT_EQ(bus_->read(kTempFlags) & kTcReadiness, 0);
    usleep(1000000);
    EXPECT_EQ(bus_->read(kTempFlags) & kTcReadiness, kTcReadiness);
    EXPECT_EQ(bus_->read(kVendorFlags), 0);  // the maker's flag is not advertised
}

TEST_P(Sff8636ModuleTest, InitCompleteFlagLatchesOnceAndClearsWhenRead) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kEnhancedOptions, kInitCompleteImplemented);
    insert(b.build(), {.data_not_ready = 50ms});
    EXPECT_EQ(bus_->read(kTempFlags) & kInitComplete, 0);
    usleep(50000);
    EXPECT_EQ(bus_->read(kTempFlags) & kInitComplete, kInitComplete);
    EXPECT_FALSE(intl_pin_asserted());  // it has no mask and does not assert IntL
    EXPECT_EQ(bus_->read(kTempFlags) & kInitComplete, 0);  // an event, not a condition
}

// ---- Latched flags ----------------------------------------------------------------------

TEST_P(Sff8636ModuleTest, FlagLatchesClearsOnReadAndReLatchesWhileTheConditionHolds) {
    Sff8636Module &m = insert_optical();
    EXPECT_EQ(bus_->read(kFaultFlags), 0);
    ASSERT_TRUE(m.set_tx_fault(2, true));
    EXPECT_EQ(bus_->read(kFaultFlags), 0x04);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x04);  // still faulty: latched again at once
    m.set_tx_fault(2, false);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x04);  // latched until read
    EXPECT_EQ(bus_->read(kFaultFlags), 0x00);
}

TEST_P(Sff8636ModuleTest, ATransientConditionStaysLatchedUntilRead) {
    Sff8636Module &m = insert_optical();
    m.set_rx_cdr_lol(1, true);
    m.set_rx_cdr_lol(1, false);
    usleep(10000);
    EXPECT_EQ(bus_->read(kLolFlags), 0x02);
    EXPECT_EQ(bus_->read(kLolFlags), 0x00);
}

TEST_P(Sff8636ModuleTest, ReadingOneFlagByteLeavesTheOthersLatched) {
    Sff8636Module &m = insert_optical();
    m.set_tx_fault(0, true);
    m.set_tx_fault(0, false);
    m.set_tx_los(3, true);
    m.set_tx_los(3, false);
    EXPECT_EQ(bus_->read(kLosFlags), 0x80);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x01);
    EXPECT_EQ(bus_->read(kLosFlags), 0x00);
}

TEST_P(Sff8636ModuleTest, OneReadOfAllFlagBytesClearsThemAll) {
    Sff8636Module &m = insert_optical();
    m.set_tx_fault(1, true);
    m.set_tx_adaptive_eq_fault(3, true);
    m.set_tx_cdr_lol(0, true);
    m.set_tx_fault(1, false);
    m.set_tx_adaptive_eq_fault(3, false);
    m.set_tx_cdr_lol(0, false);
    const std::vector<std::uint8_t> first = bus_->read_range(0, kFirstFlag, 12);
    EXPECT_EQ(first[kFaultFlags - kFirstFlag], 0x82);
    EXPECT_EQ(first[kLolFlags - kFirstFlag], 0x10);
    EXPECT_EQ(bus_->read_range(0, kFirstFlag, 12), std::vector<std::uint8_t>(12, 0));
}

TEST_P(Sff8636ModuleTest, LaneConditionsUseTheirBits) {
    Sff8636Module &m = insert_optical();
    m.set_tx_los(1, true);
    m.set_tx_cdr_lol(2, true);
    m.set_rx_cdr_lol(3, true);
    m.set_tx_adaptive_eq_fault(0, true);
    EXPECT_EQ(bus_->read(kLosFlags), 0x20);
    EXPECT_EQ(bus_->read(kLolFlags), 0x48);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x10);
}

TEST_P(Sff8636ModuleTest, RxLosWhenRxPowerIsBelowTheLosThreshold) {
    Sff8636Module &m = insert_optical();
    m.set_rx_los_threshold(0.05);
    EXPECT_EQ(bus_->read(kLosFlags), 0);
    m.set_rx_power(2, 0.049);
    EXPECT_EQ(bus_->read(kLosFlags), 0x04);
    m.set_rx_power(2, 0.05);
    EXPECT_EQ(bus_->read(kLosFlags), 0x04);  // latched until read
    EXPECT_EQ(bus_->read(kLosFlags), 0x00);
}

TEST_P(Sff8636ModuleTest, LaneOutsideZeroToThreeIsRefused) {
    Sff8636Module &m = insert_optical();
    EXPECT_FALSE(m.set_tx_fault(4, true));
    EXPECT_FALSE(m.set_rx_power(-1, 1.0));
    EXPECT_FALSE(m.transmitting(7));
    EXPECT_EQ(bus_->read(kFaultFlags), 0);
}

// ---- IntL and masks -----------------------------------------------------------------------

TEST_P(Sff8636ModuleTest, IntLFollowsTheUnmaskedFlags) {
    Sff8636Module &m = insert_optical();
    EXPECT_FALSE(intl_pin_asserted());
    m.set_tx_fault(1, true);
    EXPECT_TRUE(intl_pin_asserted());
    EXPECT_TRUE(m.intl_asserted());
    bus_->write(kFaultMask, 0x02);
    EXPECT_FALSE(intl_pin_asserted());
    EXPECT_EQ(bus_->read(kFaultFlags), 0x02);  // a masked flag still latches
    bus_->write(kFaultMask, 0x00);
    m.set_tx_fault(1, false);
    EXPECT_TRUE(intl_pin_asserted());          // latched until read
    EXPECT_EQ(bus_->read(kFaultFlags), 0x02);
    EXPECT_FALSE(intl_pin_asserted());
}

TEST_P(Sff8636ModuleTest, Page03MasksMaskTheChannelMonitorFlags) {
    Sff8636Module &m = insert_optical();
    m.set_rx_power(0, 1.6);  // above the high warning
    EXPECT_TRUE(intl_pin_asserted());
    bus_->write(kPage03, kRxPowerMask, 0x20);
    EXPECT_FALSE(intl_pin_asserted());
    EXPECT_EQ(bus_->read(kRxPowerFlags), 0x20);
}

TEST_P(Sff8636ModuleTest, ModuleMonitorMasksAreBytes103And104) {
    Sff8636Module &m = insert_optical();
    m.set_temperature(72);
    m.set_vcc(3.55);
    EXPECT_TRUE(intl_pin_asserted());
    bus_->write(kTempMask, 0x20);
    EXPECT_TRUE(intl_pin_asserted());
    bus_->write(kVccMask, 0x20);
    EXPECT_FALSE(intl_pin_asserted());
}

// ---- Monitors and thresholds ---------------------------------------------------------------

TEST_P(Sff8636ModuleTest, MonitorsAreWrittenInTheirUnits) {
    Sff8636Module &m = insert_optical();
    m.set_temperature(25.5);
    m.set_vcc(3.3);
    m.set_rx_power(1, 1.0);
    m.set_tx_bias(2, 6.0);
    m.set_tx_power(3, 0.5);
    EXPECT_EQ(bus_->read_word(kTemperature), 0x1980);
    EXPECT_EQ(bus_->read_word(kVcc), 33000);
    EXPECT_EQ(bus_->read_word(kRxPower + 2), 10000);
    EXPECT_EQ(bus_->read_word(kTxBias + 4), 3000);
    EXPECT_EQ(bus_->read_word(kTxPower + 6), 5000);
    m.set_temperature(-0.5);
    EXPECT_EQ(bus_->read_word(kTemperature), 0xFF80);
}

TEST_P(Sff8636ModuleTest, TemperatureFlagsAgainstPage03Thresholds) {
    Sff8636Module &m = insert_optical();
    EXPECT_EQ(bus_->read(kTempFlags), 0);
    m.set_temperature(71);
    EXPECT_EQ(bus_->read(kTempFlags), 0x20);  // high warning
    m.set_temperature(76);
    EXPECT_EQ(bus_->read(kTempFlags), 0xA0);  // the warning read cleared; alarm and warning hold
    m.set_temperature(-6);
    EXPECT_EQ(bus_->read(kTempFlags), 0xA0 | 0x50);  // the high ones were latched before
    EXPECT_EQ(bus_->read(kTempFlags), 0x50);
}

TEST_P(Sff8636ModuleTest, VccFlags) {
    Sff8636Module &m = insert_optical();
    m.set_vcc(3.05);
    EXPECT_EQ(bus_->read(kVccFlags), 0x10);
    m.set_vcc(2.9);
    EXPECT_EQ(bus_->read(kVccFlags), 0x50);
}

TEST_P(Sff8636ModuleTest, ChannelFlagsUseOneNibblePerLane) {
    Sff8636Module &m = insert_optical();
    m.set_rx_power(3, 0.07);  // below the low warning, above the low alarm
    m.set_tx_bias(0, 13);     // above the high alarm
    m.set_tx_power(1, 1.6);   // above the high warning
    EXPECT_EQ(bus_->read(kRxPowerFlags), 0x00);
    EXPECT_EQ(bus_->read(kRxPowerFlags + 1), 0x01);
    EXPECT_EQ(bus_->read(kTxBiasFlags), 0xA0);
    EXPECT_EQ(bus_->read(kTxPowerFlags), 0x02);
    EXPECT_EQ(bus_->read(kTxPowerFlags + 1), 0x00);
}

TEST_P(Sff8636ModuleTest, NoMonitorFlagsWithoutDiagnostics) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kDiagType, 0x00);
    Sff8636Module &m = insert(b.build());
    m.set_temperature(90);
    m.set_tx_bias(0, 50);
    EXPECT_EQ(bus_->read(kTempFlags), 0);
    EXPECT_EQ(bus_->read(kTxBiasFlags), 0);
}

TEST_P(Sff8636ModuleTest, TxPowerFlagsOnlyWhenTxPowerIsMonitored) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kDiagType, 0x08);  // Rx average power only
    Sff8636Module &m = insert(b.build());
    m.set_tx_power(0, 3.0);
    m.set_tx_bias(0, 13);
    EXPECT_EQ(bus_->read(kTxPowerFlags), 0);
    EXPECT_EQ(bus_->read(kTxBiasFlags), 0xA0);
}

// ---- Tx disable, low power, power class --------------------------------------------------

TEST_P(Sff8636ModuleTest, TxDisableZeroesThatLanesTxPowerAndBias) {
    Sff8636Module &m = insert_optical();
    bus_->write(kTxDisable, 0x02);
    EXPECT_EQ(bus_->read_word(kTxBias + 2), 0);
    EXPECT_EQ(bus_->read_word(kTxPower + 2), 0);
    EXPECT_EQ(bus_->read_word(kTxBias), 3500);
    EXPECT_EQ(bus_->read_word(kTxPower), 9000);
    EXPECT_EQ(bus_->read_word(kRxPower + 2), 8000);  // the receiver is not affected
    EXPECT_FALSE(m.transmitting(1));
    EXPECT_EQ(m.tx_disabled_lanes(), 0x02);
    bus_->write(kTxDisable, 0x00);
    EXPECT_EQ(bus_->read_word(kTxBias + 2), 3500);
    EXPECT_EQ(bus_->read_word(kTxPower + 2), 9000);
}

TEST_P(Sff8636ModuleTest, ADisabledLaneLatchesItsLowBiasAndPowerFlags) {
    insert_optical();
    bus_->write(kTxDisable, 0x01);
    EXPECT_EQ(bus_->read(kTxBiasFlags), 0x50);   // lane 1: low alarm and low warning
    EXPECT_EQ(bus_->read(kTxPowerFlags), 0x50);
}

TEST_P(Sff8636ModuleTest, LowPowerModeTurnsEveryLaserOff) {
    Sff8636Module &m = insert_optical();
    bus_->write(kPowerControl, kPowerOverride | kPowerSet);
    EXPECT_TRUE(m.low_power());
    for (int lane = 0; lane < kLanes; ++lane) {
        EXPECT_EQ(bus_->read_word(static_cast<std::uint8_t>(kTxPower + 2 * lane)), 0);
        EXPECT_EQ(bus_->read_word(static_cast<std::uint8_t>(kTxBias + 2 * lane)), 0);
    }
    bus_->write(kPowerControl, kPowerOverride);
    EXPECT_EQ(bus_->read_word(kTxPower), 9000);
    // Without the override the LPMode contact decides.
    bus_->write(kPowerControl, 0);
    m.set_lpmode_pin(true);
    EXPECT_EQ(bus_->read_word(kTxPower), 0);
    m.set_lpmode_pin(false);
    EXPECT_EQ(bus_->read_word(kTxPower), 9000);
}

TEST_P(Sff8636ModuleTest, AHighPowerClassModuleTransmitsOnlyOnceEnabled) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kExtIdentifier, 0xC0 | 0x02);  // class 6
    Sff8636Module &m = insert(b.build());
    EXPECT_FALSE(m.transmitting(0));
    EXPECT_EQ(bus_->read_word(kTxPower), 0);
    bus_->write(kPowerControl, kHighPowerClass5to7);
    EXPECT_TRUE(m.transmitting(0));
    EXPECT_EQ(bus_->read_word(kTxPower), 9000);
}

// ---- Writable and read-only bytes ------------------------------------------------------------

TEST_P(Sff8636ModuleTest, HostControlsAcceptWrites) {
    Sff8636Module &m = insert_optical();
    const std::uint8_t lower[] = {kRxRateSelect, kTxRateSelect, 89, 90, 91, 92, 94, 95, 96, 97, kCdrControl,
                                  kLosMask, kFaultMask, kLolMask, kVendorMaskA, kVendorMaskB, kVendorFlagMask, 111, 112};
    for (std::uint8_t reg : lower) {
        bus_->write(reg, 0xA5);
        EXPECT_EQ(bus_->read(reg), 0xA5) << "byte " << int(reg);
    }
    const std::uint8_t page3[] = {kVendorCtle, 231, 233, 234, 235, 236, 237, 238, 239, kSquelchDisable,
                                  kRxOutputDisableAdaptEq, 242, 243, 244, 245, 246, 247};
    for (std::uint8_t reg : page3) {
        bus_->write(kPage03, reg, 0x5A);
        EXPECT_EQ(bus_->read(kPage03, reg), 0x5A) << "page 03h byte " << int(reg);
    }
    EXPECT_EQ(m.host_wrote(kPage03, kSquelchDisable), 0x5A);
    EXPECT_EQ(m.host_wrote(0, kRxRateSelect), 0xA5);
    EXPECT_FALSE(m.host_wrote(kPage03, 250).has_value());
}

TEST_P(Sff8636ModuleTest, ReservedBitsOfControlBytesIgnoreWrites) {
    insert_optical();
    bus_->write(kTxDisable, 0xFF);
    EXPECT_EQ(bus_->read(kTxDisable), 0x0F);
    bus_->write(kPowerControl, 0x7F);
    EXPECT_EQ(bus_->read(kPowerControl), 0x0F);
    bus_->write(kTempMask, 0xFF);
    EXPECT_EQ(bus_->read(kTempMask), 0xF2);
    bus_->write(kVccMask, 0xFF);
    EXPECT_EQ(bus_->read(kVccMask), 0xF0);
    bus_->write(kSignalControl, 0xFF);
    EXPECT_EQ(bus_->read(kSignalControl), 0x03);
}

TEST_P(Sff8636ModuleTest, ReadOnlyBytesIgnoreWrites) {
    ImageBuilder b = optical_image();
    b.set(kPage03, kMaxTecTime, 7).set(kPage03, kFecControl, kTecFlagImplemented).set(kPage02, 200, 0x33);
    Sff8636Module &m = insert(b.build());
    const std::uint8_t before_vendor = bus_->read(kPage00, kVendorName);
    bus_->write(kTemperature, 0x12);
    bus_->write(kPage00, kVendorName, 0x41);
    bus_->write(kPage01, 130, 0x41);
    bus_->write(kPage02, 200, 0x41);
    bus_->write(kPage03, kTempThresholds, 0x41);
    bus_->write(kPage03, kMaxTecTime, 0x41);
    bus_->write(108, 0x41);
    EXPECT_EQ(bus_->read_word(kTemperature), 35 * 256);
    EXPECT_EQ(bus_->read(kPage00, kVendorName), before_vendor);
    EXPECT_EQ(bus_->read(kPage01, 130), 0);
    EXPECT_EQ(bus_->read(kPage02, 200), 0x33);
    EXPECT_EQ(bus_->read(kPage03, kTempThresholds), 75);
    EXPECT_EQ(bus_->read(kPage03, kMaxTecTime), 7);
    EXPECT_EQ(bus_->read(108), 0);
    EXPECT_EQ(m.host_wrote(kPage02, 200), 0x41);  // seen, not kept
    // Byte 230: the FEC enables are the host's, bit 0 stays the maker's.
    bus_->write(kPage03, kFecControl, 0xC0);
    EXPECT_EQ(bus_->read(kPage03, kFecControl), 0xC0 | kTecFlagImplemented);
    bus_->write(kPage03, kFecControl, 0x00);
    EXPECT_EQ(bus_->read(kPage03, kFecControl), kTecFlagImplemented);
}

TEST_P(Sff8636ModuleTest, FlagBytesIgnoreWrites) {
    Sff8636Module &m = insert_optical();
    m.set_tx_fault(0, true);
    bus_->write(kFaultFlags, 0x00);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x01);
    bus_->write(kStatus, 0xFF);
    EXPECT_EQ(bus_->read(kStatus) & kFlatMem, 0);
}

TEST_P(Sff8636ModuleTest, PasswordBytesAreWriteOnly) {
    Sff8636Module &m = insert_optical();
    for (std::uint8_t reg = kPasswordChange; reg <= kLastPassword; ++reg) {
        bus_->write(reg, 0x77);
        EXPECT_EQ(bus_->read(reg), 0) << "byte " << int(reg);
        EXPECT_EQ(m.host_wrote(0, reg), 0x77);
    }
}

TEST_P(Sff8636ModuleTest, SoftwareResetWhenImplemented) {
    ImageBuilder b = optical_image();
    b.set(kPage00, kEnhancedOptions, kSoftwareResetImplemented);
    Sff8636Module &m = insert(b.build());
    m.set_data_not_ready_time(10ms);
    usleep(10000);
    bus_->write(kTxDisable, 0x05);
    bus_->write(kPowerControl, kSoftwareReset | kPowerOverride);
    EXPECT_EQ(bus_->read(kPowerControl), 0x00);  // self-clearing; the override was reset too
    EXPECT_EQ(bus_->read(kTxDisable), 0x00);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, kDataNotReady);
    usleep(10000);
    EXPECT_EQ(bus_->read(kStatus) & kDataNotReady, 0);
}

TEST_P(Sff8636ModuleTest, SoftwareResetBitIsIgnoredWhenNotImplemented) {
    insert_optical();
    bus_->write(kTxDisable, 0x05);
    bus_->write(kPowerControl, kSoftwareReset | kPowerOverride);
    EXPECT_EQ(bus_->read(kPowerControl), kPowerOverride);
    EXPECT_EQ(bus_->read(kTxDisable), 0x05);
}

// ---- Pages --------------------------------------------------------------------------------

TEST_P(Sff8636ModuleTest, UpperPagesAreReachedByTheBusModesRule) {
    ImageBuilder b = optical_image();
    b.set(kPage02, 128, 0x22).set(kPage03, 128 + 60, 0x33);
    insert(b.build());
    EXPECT_EQ(bus_->read(kPage02, 128), 0x22);
    EXPECT_EQ(bus_->read(kPage03, 188), 0x33);
    EXPECT_EQ(bus_->read(kPage00, kUpperIdentifier), kQsfp28);
}

TEST_P(Sff8636ModuleTest, PageSelectRefusesPagesTheModuleLacks) {
    Sff8636Module &m = insert_optical();
    bus_->write(kPageSelectReg, 0x03);
    EXPECT_EQ(m.selected_page(), 0x03);
    bus_->write(kPageSelectReg, 0x20);  // no page 20h on this module
    EXPECT_EQ(m.selected_page(), 0x03);
    EXPECT_EQ(bus_->read(kPageSelectReg), 0x03);
}

TEST_P(Sff8636ModuleTest, FlatMemoryCable) {
    ImageBuilder b(0x0D, true);
    b.set_text(0, kFlatClei, 10, "CLEI012345");
    Sff8636Module &m = insert(b.build());
    EXPECT_EQ(bus_->read(kStatus) & kFlatMem, kFlatMem);
    EXPECT_EQ(m.memory().pages(), std::vector<std::uint8_t>{0});
    bus_->write(kPageSelectReg, 0x03);
    EXPECT_EQ(bus_->read(kPageSelectReg), 0);
    EXPECT_EQ(m.selected_page(), 0);
    // Monitors never overwrite the maker's data kept in lower bytes 34-77.
    m.set_rx_power(0, 1.0);
    EXPECT_EQ(bus_->read(kFlatClei), 'C');
    EXPECT_EQ(bus_->read(kFlatClei + 9), '5');
    // No upper byte takes a write.
    bus_->write(kPage00, kVendorName, 0x41);
    EXPECT_EQ(bus_->read(kPage00, kVendorName), 0);
}

TEST_P(Sff8636ModuleTest, DwdmKeepAliveByteIsWritable) {
    ImageBuilder b = optical_image();
    b.add_page(kPage20).add_page(kPage21).set(kPage00, kExtendedCompliance, 26);
    Sff8636Module &m = insert(b.build());
    bus_->write(kPage20, kKeepAlive, 0x5C);
    EXPECT_EQ(bus_->read(kPage20, kKeepAlive), 0x5C);
    EXPECT_EQ(m.host_wrote(kPage20, kKeepAlive), 0x5C);
    bus_->write(kPage20, 0xF9, 0x5C);
    EXPECT_EQ(bus_->read(kPage20, 0xF9), 0);
}

INSTANTIATE_TEST_SUITE_P(BothBusModes, Sff8636ModuleTest, ::testing::Values(BusMode::raw, BusMode::direct),
                         qsfp::test::bus_mode_name);

// ---- Without a bus -----------------------------------------------------------------------------

TEST(Sff8636ModuleDirectTest, ReadOutsideATransactionAlsoClearsTheFlag) {
    Sff8636Module m(optical_image().build());
    m.set_tx_fault(3, true);
    m.set_tx_fault(3, false);
    EXPECT_EQ(m.read_byte(0, kFaultFlags), 0x08);
    EXPECT_EQ(m.read_byte(0, kFaultFlags), 0x00);
}

TEST(Sff8636ModuleDirectTest, StartsFromTheImagesMonitorValues) {
    Sff8636Module m(optical_image().build());
    EXPECT_EQ(m.read_byte(0, kTxBias), 3500 >> 8);
    EXPECT_EQ(m.read_byte(0, kTxBias + 1), 3500 & 0xFF);
    EXPECT_TRUE(m.transmitting(0));
}

TEST(Sff8636ModuleDirectTest, WholeImageReadInOneTransactionClearsFlags) {
    Cage cage;
    auto module = std::make_unique<Sff8636Module>(optical_image().build());
    Sff8636Module &m = *module;
    cage.insert(std::move(module));
    cage.set_direct_page(true, true);
    m.set_tx_fault(0, true);
    m.set_tx_fault(0, false);
    std::vector<std::uint8_t> image(640);
    ASSERT_EQ(cage.read(0, 0, 640, image.data()), 0u);
    EXPECT_EQ(image[kFaultFlags], 0x01);
    EXPECT_EQ(m.read_byte(0, kFaultFlags), 0x00);
}

// Random memory (every page, with diagnostics announced and odd threshold-set
// numbers) and random host traffic in both bus modes: every access answers.
TEST(Sff8636ModuleRobustnessTest, RandomMemoryAndTrafficNeverFail) {
    std::mt19937 rng(8636);
    for (int round = 0; round < 20; ++round) {
        ImageBuilder b(kQsfp28);
        b.add_page(kPage20).add_page(kPage21);
        ModuleMemory memory = b.build();
        randomize(memory, static_cast<std::uint32_t>(round));
        memory.set(0, kStatus, 0);
        memory.set(0, kEnhancedOptions, 0xFF);
        Cage cage;
        cage.insert(std::make_unique<Sff8636Module>(std::move(memory)));
        cage.set_direct_page(round % 2 == 1, round % 2 == 1);
        std::vector<std::uint8_t> buf(256);
        for (int access = 0; access < 300; ++access) {
            const auto reg = static_cast<std::uint8_t>(rng());
            const std::uint8_t pages[] = {0, 1, 2, 3, 0x20, 0x21};
            const std::uint8_t page = pages[rng() % std::size(pages)];
            const auto len = static_cast<std::uint32_t>(1 + rng() % (256 - reg));
            if (rng() % 3 == 0) {
                std::generate(buf.begin(), buf.end(), [&] { return static_cast<std::uint8_t>(rng()); });
                EXPECT_EQ(cage.write(reg, page, len, buf.data()), 0u);
            } else {
                EXPECT_EQ(cage.read(reg, page, len, buf.data()), 0u);
            }
        }
    }
}

}  // namespace
