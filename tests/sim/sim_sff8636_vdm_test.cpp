// Versatile diagnostics on pages 20h-21h in the rev 2.10a register layout: the
// number formats and type table, a catalogue DWDM module as the host reads it,
// flags that latch against the threshold sets, clear on read and re-latch,
// their masks and IntL, error reset through byte 250, and which bytes take
// writes.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/image_builder.h>
#include <qsfp/sim/sff8636_vdm.h>

#include "sim_bus.h"

namespace {

using namespace std::chrono_literals;
using namespace qsfp::sim;
using namespace qsfp::sim::sff8636;
using qsfp::test::BusMode;
using qsfp::test::SimBus;

constexpr std::uint8_t flag_byte(int index) { return static_cast<std::uint8_t>(vdm::kFlags + index / 2); }
constexpr std::uint8_t mask_byte(int index) { return static_cast<std::uint8_t>(vdm::kMasks + index / 2); }
constexpr std::uint8_t value_at(int index) { return static_cast<std::uint8_t>(vdm::kValues + 2 * index); }
constexpr std::uint8_t set_at(int set) { return static_cast<std::uint8_t>(vdm::kThresholds + 8 * set); }
// A parameter's nibble placed in its flag byte: even indices in bits 7-4.
constexpr std::uint8_t in_byte(int index, std::uint8_t nibble) {
    return static_cast<std::uint8_t>(index % 2 == 0 ? nibble << 4 : nibble);
}

// ---- Number formats and types ----------------------------------------------------------

TEST(VdmFormatTest, F16UsesTheSmallestExponentThatHoldsTheValue) {
    // 1e-5 = 1000 x 10^(16 - 24): exponent 16 in bits 15-11, mantissa 1000.
    EXPECT_EQ(vdm::encode_f16(1e-5), 0x83E8);
    EXPECT_NEAR(vdm::decode_f16(0x83E8), 1e-5, 1e-20);
    // 2.4e-4 = 240 x 10^(18 - 24).
    EXPECT_EQ(vdm::encode_f16(2.4e-4), (18 << 11) | 240);
    EXPECT_EQ(vdm::encode_f16(2047e-24), 0x07FF);
    EXPECT_NEAR(vdm::decode_f16(0x07FF), 2047e-24, 1e-35);
    EXPECT_DOUBLE_EQ(vdm::decode_f16((24 << 11) | 7), 7.0);
}

TEST(VdmFormatTest, F16EdgeValues) {
    EXPECT_EQ(vdm::encode_f16(0), 0);
    EXPECT_EQ(vdm::encode_f16(-3), 0);
    EXPECT_EQ(vdm::encode_f16(std::nan("")), 0);
    EXPECT_EQ(vdm::encode_f16(1e30), 0xFFFF);
}

struct TypeRow {
    std::uint8_t code;
    vdm::Format format;
    double scale;   // S16 only
    double sample;  // a value that encodes exactly
    std::uint16_t word;
};

// F16 samples: 3e-5 = 300 x 10^(17 - 24), 1e-3 = 1000 x 10^(18 - 24).
constexpr std::uint16_t kF16Sample = (17 << 11) | 300;
constexpr std::uint16_t kF16Other = (18 << 11) | 1000;

const TypeRow kTypeRows[] = {
    {1, vdm::Format::s16, 1.0 / 256, 24.5, 0x1880},     // SNR, 1/256 dB
    {2, vdm::Format::s16, 1.0 / 256, -1.25, 0xFEC0},    // residual ISI
    {3, vdm::Format::s16, 1.0 / 256, 21.5, 0x1580},     // PAM4 level transition
    {4, vdm::Format::f16, 0, 3e-5, kF16Sample},         // pre-FEC BER average
    {5, vdm::Format::f16, 0, 1e-3, kF16Other},          // frame error rate average
    {6, vdm::Format::s16, 0.1, -35.5, 0xFE9D},          // TEC current, 0.1 %
    {7, vdm::Format::s16, 0.1, 1.2, 0x000C},            // laser frequency offset, 0.1 GHz
    {8, vdm::Format::s16, 1.0 / 256, 45.0, 0x2D00},     // laser temperature, 1/256 C
    {9, vdm::Format::f16, 0, 3e-5, kF16Sample},         // pre-FEC BER minimum
    {10, vdm::Format::f16, 0, 1e-3, kF16Other},         // maximum
    {11, vdm::Format::f16, 0, 3e-5, kF16Sample},        // prior period
    {12, vdm::Format::f16, 0, 1e-3, kF16Other},         // current
    {13, vdm::Format::f16, 0, 3e-5, kF16Sample},        // frame error rate minimum
    {14, vdm::Format::f16, 0, 1e-3, kF16Other},         // maximum
    {15, vdm::Format::f16, 0, 3e-5, kF16Sample},        // prior period
    {16, vdm::Format::f16, 0, 1e-3, kF16Other},         // current
};

TEST(VdmFormatTest, EveryTypeHasItsFormatAndScale) {
    for (const TypeRow &row : kTypeRows) {
        const vdm::TypeInfo *t = vdm::type_info(row.code);
        ASSERT_NE(t, nullptr) << int(row.code);
        EXPECT_EQ(t->format, row.format) << int(row.code);
        if (row.format == vdm::Format::s16) {
            EXPECT_DOUBLE_EQ(t->scale, row.scale) << int(row.code);
        }
        EXPECT_EQ(vdm::encode(row.code, row.sample), row.word) << int(row.code);
        ASSERT_TRUE(vdm::decode(row.code, row.word).has_value());
        EXPECT_NEAR(*vdm::decode(row.code, row.word), row.sample, std::fabs(row.sample) * 1e-9) << int(row.code);
    }
}

TEST(VdmFormatTest, UnusedReservedAndVendorCodesAreNotDecoded) {
    for (int code : {0, 17, 100, 255}) {
        const auto c = static_cast<std::uint8_t>(code);
        EXPECT_EQ(vdm::type_info(c), nullptr) << code;
        EXPECT_EQ(vdm::encode(c, 1.0), 0) << code;
        EXPECT_FALSE(vdm::decode(c, 1).has_value()) << code;
    }
}

TEST(VdmFormatTest, SignedValuesSaturate) {
    EXPECT_EQ(vdm::encode(6, -4000), 0x8000);  // -40000 counts
    EXPECT_EQ(vdm::encode(6, 4000), 0x7FFF);
    EXPECT_DOUBLE_EQ(*vdm::decode(6, 0x8000), -3276.8);
    EXPECT_EQ(vdm::encode(8, std::nan("")), 0);
}

// ---- A catalogue DWDM module on the bus ------------------------------------------------

// The catalogue's DWDM2 parameters: index -> configuration and value.
struct Expected {
    std::uint8_t config;  // set << 4 | per-lane << 2 | lane
    std::uint8_t type;
    std::uint16_t word;
};

const Expected kDwdm2[] = {
    {0x00, 8, 0x2D00},                     // 0 laser temperature 45 C, set 0, module
    {0x10, 6, 355},                        // 1 TEC current 35.5 %, set 1, module
    {0x24, 7, 3},                          // 2 frequency offset +0.3 GHz, set 2, lane 1
    {0x25, 7, 0xFFFE},                     // 3 frequency offset -0.2 GHz, lane 2
    {0x34, 1, 24 * 256},                   // 4 SNR 24 dB, set 3, lane 1
    {0x35, 1, 0x1780},                     // 5 SNR 23.5 dB, lane 2
    {0x44, 3, 22 * 256},                   // 6 PAM4 level transition 22 dB, set 4, lane 1
    {0x45, 3, 0x1580},                     // 7 21.5 dB, lane 2
    {0x54, 12, (16 << 11) | 2000},         // 8 pre-FEC BER current 2e-5, set 5, lane 1
    {0x55, 12, (17 << 11) | 260},          // 9 2.6e-5 (2600 is too big a mantissa for exponent 16)
    {0x64, 4, (16 << 11) | 1800},          // 10 pre-FEC BER average 1.8e-5, set 6, lane 1
    {0x65, 4, (17 << 11) | 240},           // 11 2.4e-5, lane 2
    {0x74, 16, 0},                         // 12 frame error rate current 0, set 7, lane 1
    {0x75, 16, 0},                         // 13 lane 2
};
constexpr int kDwdm2Parameters = 14;

class VdmModuleTest : public ::testing::TestWithParam<BusMode> {
protected:
    void SetUp() override { insert(make_module("100G-DWDM2")); }

    void insert(std::unique_ptr<Sff8636Module> module) {
        ASSERT_NE(module, nullptr);
        module_ = module.get();
        cage_.insert(std::move(module));
        bus_ = std::make_unique<SimBus>(cage_, GetParam());
        // Bring it up as a host would: the TEC-ready flags masked, the high
        // power class (class 6) enabled, and the flags latched meanwhile read.
        bus_->write(kVendorFlagMask, 0x01);
        bus_->write(kTempMask, kTcReadiness);
        bus_->write(kPowerControl, kHighPowerClass5to7);
        bus_->read_range(0, kFirstFlag, kLastFlag - kFirstFlag + 1);
    }
    bool intl() { return (bus_->read(kStatus) & kIntL) == 0; }
    std::uint8_t flags_of(int index) { return bus_->read(kPage20, flag_byte(index)); }
    std::vector<std::uint8_t> all_flags() { return bus_->read_range(kPage20, vdm::kFlags, vdm::kFlagBytes); }

    Cage cage_;
    Sff8636Module *module_ = nullptr;
    std::unique_ptr<SimBus> bus_;
};

TEST_P(VdmModuleTest, AnnouncedInPage00h) {
    EXPECT_EQ(bus_->read(kPage00, kOptions3) & kPages20To21, kPages20To21);
    EXPECT_EQ(bus_->read(kPage00, kEnhancedOptions) & kVdmImplemented, kVdmImplemented);
    EXPECT_TRUE(module_->vdm_implemented());
}

TEST_P(VdmModuleTest, ConfigurationBytes) {
    const std::vector<std::uint8_t> config = bus_->read_range(kPage20, vdm::kConfig, 2 * vdm::kParameters);
    for (int i = 0; i < vdm::kParameters; ++i) {
        const std::uint8_t where = i < kDwdm2Parameters ? kDwdm2[i].config : 0;
        const std::uint8_t type = i < kDwdm2Parameters ? kDwdm2[i].type : 0;
        EXPECT_EQ(config[2 * i], where) << "parameter " << i;
        EXPECT_EQ(config[2 * i + 1], type) << "parameter " << i;
    }
    // The same through the helper: parameter 9 is set 5, per-lane, lane 2.
    const vdm::Parameter p = vdm::parameter(module_->memory(), 9);
    EXPECT_EQ(p.type, 12);
    EXPECT_EQ(p.threshold_set, 5);
    EXPECT_TRUE(p.per_lane);
    EXPECT_EQ(p.lane, 1);
    EXPECT_FALSE(vdm::parameter(module_->memory(), 1).per_lane);
}

TEST_P(VdmModuleTest, ValuesInBothFormats) {
    const std::vector<std::uint8_t> values = bus_->read_range(kPage20, vdm::kValues, 2 * vdm::kParameters);
    for (int i = 0; i < vdm::kParameters; ++i) {
        const std::uint16_t word = static_cast<std::uint16_t>(values[2 * i] << 8 | values[2 * i + 1]);
        const std::uint16_t expected = i < kDwdm2Parameters ? kDwdm2[i].word : 0;
        EXPECT_EQ(word, expected) << "parameter " << i;
    }
    EXPECT_DOUBLE_EQ(*module_->vdm_value(0), 45.0);
    EXPECT_NEAR(*module_->vdm_value(3), -0.2, 1e-12);
    EXPECT_NEAR(*module_->vdm_value(8), 2e-5, 1e-15);
    EXPECT_DOUBLE_EQ(*module_->vdm_value(12), 0.0);
    EXPECT_FALSE(module_->vdm_value(14).has_value());  // unused slot
}

TEST_P(VdmModuleTest, ThresholdSetsOnPage21h) {
    // Set 0, laser temperature: 70 / 20 / 65 / 25 C in 1/256 C.
    EXPECT_EQ(bus_->read_word(kPage21, set_at(0)), 70 * 256);
    EXPECT_EQ(bus_->read_word(kPage21, set_at(0) + 2), 20 * 256);
    EXPECT_EQ(bus_->read_word(kPage21, set_at(0) + 4), 65 * 256);
    EXPECT_EQ(bus_->read_word(kPage21, set_at(0) + 6), 25 * 256);
    // Set 2, frequency offset: low alarm -2.5 GHz is -25 counts.
    EXPECT_EQ(bus_->read_word(kPage21, set_at(2) + 2), 0xFFE7);
    // Set 5, pre-FEC BER current: 2.4e-4 and 1e-4 in F16, lows 0.
    EXPECT_EQ(bus_->read_word(kPage21, set_at(5)), (18 << 11) | 240);
    EXPECT_EQ(bus_->read_word(kPage21, set_at(5) + 2), 0);
    EXPECT_EQ(bus_->read_word(kPage21, set_at(5) + 4), (17 << 11) | 1000);
    EXPECT_EQ(vdm::threshold_word(module_->memory(), 5, 0), (18 << 11) | 240);
    // Sets 8-15 are unused.
    EXPECT_EQ(bus_->read_range(kPage21, set_at(8), 64), std::vector<std::uint8_t>(64, 0));
}

TEST_P(VdmModuleTest, LaneMappingControlAndReservedBytesReadZero) {
    EXPECT_EQ(bus_->read_range(kPage20, vdm::kLaneMapping, 8), std::vector<std::uint8_t>(8, 0));
}

TEST_P(VdmModuleTest, QuietAtNominalValues) {
    EXPECT_EQ(all_flags(), std::vector<std::uint8_t>(vdm::kFlagBytes, 0));
    EXPECT_FALSE(intl());
}

TEST_P(VdmModuleTest, FlagLatchesClearsOnReadAndReLatches) {
    ASSERT_TRUE(module_->set_vdm_value(9, 5e-4));  // BER lane 2 above the high alarm and warning
    std::vector<std::uint8_t> expected(vdm::kFlagBytes, 0);
    expected[4] = in_byte(9, kHighAlarm | kHighWarning);
    EXPECT_EQ(expected[4], 0x0A);
    EXPECT_EQ(all_flags(), expected);
    EXPECT_EQ(flags_of(9), 0x0A);  // read and cleared, latched again at once
    module_->set_vdm_value(9, 3e-5);
    EXPECT_EQ(flags_of(9), 0x0A);  // latched until read
    EXPECT_EQ(flags_of(9), 0x00);
}

TEST_P(VdmModuleTest, LowFlagsOfAnEvenParameter) {
    ASSERT_TRUE(module_->set_vdm_value(0, -10));  // laser temperature below both lows
    EXPECT_EQ(bus_->read_word(kPage20, value_at(0)), 0xF600);  // -10 x 256
    EXPECT_EQ(flags_of(0), in_byte(0, kLowAlarm | kLowWarning));
    EXPECT_EQ(flags_of(0), 0x50);
    module_->set_vdm_value(0, 22.0);  // between the low alarm and the low warning
    flags_of(0);
    EXPECT_EQ(flags_of(0), 0x10);
}

TEST_P(VdmModuleTest, FlagsNeedAValueStrictlyBeyondTheThreshold) {
    module_->set_vdm_value(0, 70.0);  // the high alarm itself: a high warning only
    EXPECT_EQ(flags_of(0), 0x20);
    module_->set_vdm_value(0, 45.0);
    flags_of(0);
    module_->set_vdm_value(8, 1e-4);  // the BER high warning itself: nothing
    EXPECT_EQ(flags_of(8), 0x00);
    module_->set_vdm_value(8, 1.01e-4);
    EXPECT_EQ(flags_of(8), 0x20);
}

TEST_P(VdmModuleTest, SignedThresholdsCompareAsSigned) {
    module_->set_vdm_value(3, -3.0);  // frequency offset lane 2 below -2.5 GHz
    EXPECT_EQ(flags_of(3), in_byte(3, kLowAlarm | kLowWarning));
    module_->set_vdm_value(3, 2.2);  // above the +2.0 GHz warning only
    flags_of(3);
    EXPECT_EQ(flags_of(3), 0x02);
}

TEST_P(VdmModuleTest, FlagsAssertIntLUnlessMasked) {
    module_->set_vdm_value(4, 16.0);  // SNR lane 1 below the low warning (18 dB)
    EXPECT_TRUE(intl());
    bus_->write(kPage20, mask_byte(4), 0x01);  // parameter 5's low warning: no help
    bus_->write(kPage20, mask_byte(6), 0xFF);  // parameters 6 and 7: no help
    EXPECT_TRUE(intl());
    bus_->write(kPage20, mask_byte(4), 0x10);  // parameter 4 (even): bits 7-4
    EXPECT_EQ(bus_->read(kPage20, mask_byte(4)), 0x10);
    EXPECT_FALSE(intl());
    EXPECT_EQ(flags_of(4), 0x10);  // still latched, only masked
    bus_->write(kPage20, mask_byte(4), 0x00);
    EXPECT_TRUE(intl());  // the condition still holds: latched again
    module_->set_vdm_value(4, 24.0);
    flags_of(4);
    EXPECT_FALSE(intl());
}

TEST_P(VdmModuleTest, ErrorResetClearsEveryLatchedFlag) {
    module_->set_vdm_value(0, 80.0);
    module_->set_vdm_value(9, 5e-4);
    module_->set_vdm_value(0, 45.0);
    module_->set_vdm_value(9, 2e-5);  // both conditions gone, both flags latched
    module_->set_tx_fault(0, true);
    module_->set_tx_fault(0, false);
    EXPECT_TRUE(intl());
    bus_->write(kPage20, vdm::kControl, vdm::kErrorReset);
    EXPECT_EQ(all_flags(), std::vector<std::uint8_t>(vdm::kFlagBytes, 0));
    EXPECT_EQ(bus_->read(kPage20, vdm::kControl), 0x80);  // reads back as written
    EXPECT_EQ(module_->host_wrote(kPage20, vdm::kControl), 0x80);
    EXPECT_EQ(bus_->read(kFaultFlags), 0x01);  // lower-memory flags are not touched
    EXPECT_FALSE(intl());
}

TEST_P(VdmModuleTest, ErrorResetReLatchesWhatStillHolds) {
    module_->set_vdm_value(9, 5e-4);
    module_->set_vdm_value(0, 80.0);
    module_->set_vdm_value(0, 45.0);
    bus_->write(kPage20, vdm::kControl, 0x80);
    std::vector<std::uint8_t> expected(vdm::kFlagBytes, 0);
    expected[4] = 0x0A;
    EXPECT_EQ(all_flags(), expected);
    EXPECT_TRUE(intl());
}

TEST_P(VdmModuleTest, ControlWritesWithoutBit7ClearNothing) {
    module_->set_vdm_value(9, 5e-4);
    module_->set_vdm_value(9, 2e-5);
    bus_->write(kPage20, vdm::kControl, 0x7F);
    EXPECT_EQ(bus_->read(kPage20, vdm::kControl), 0x7F);
    EXPECT_EQ(flags_of(9), 0x0A);
    EXPECT_EQ(flags_of(9), 0x00);
}

TEST_P(VdmModuleTest, TheKeepAliveWrittenAgainClearsAgain) {
    bus_->write(kPage20, vdm::kControl, 0x80);
    module_->set_vdm_value(1, 95.0);  // TEC current above its high alarm
    module_->set_vdm_value(1, 35.5);
    EXPECT_TRUE(intl());
    bus_->write(kPage20, vdm::kControl, 0x80);
    EXPECT_FALSE(intl());
    EXPECT_EQ(flags_of(1), 0x00);
}

TEST_P(VdmModuleTest, OnlyTheMasksAndByte250TakeWrites) {
    const std::vector<std::uint8_t> page20 = bus_->read_range(kPage20, 128, 128);
    const std::vector<std::uint8_t> page21 = bus_->read_range(kPage21, 128, 128);
    for (int a = 128; a < 256; ++a) {
        const auto addr = static_cast<std::uint8_t>(a);
        bus_->write(kPage20, addr, 0x5A);
        bus_->write(kPage21, addr, 0x5A);
    }
    const std::vector<std::uint8_t> after20 = bus_->read_range(kPage20, 128, 128);
    const std::vector<std::uint8_t> after21 = bus_->read_range(kPage21, 128, 128);
    for (int a = 128; a < 256; ++a) {
        const bool writable = (a >= vdm::kMasks && a < vdm::kMasks + vdm::kFlagBytes) || a == vdm::kControl;
        EXPECT_EQ(after20[a - 128], writable ? 0x5A : page20[a - 128]) << "page 20h byte " << a;
        EXPECT_EQ(after21[a - 128], page21[a - 128]) << "page 21h byte " << a;
    }
    EXPECT_EQ(module_->host_wrote(kPage21, 200), 0x5A);  // recorded, not kept
}

TEST_P(VdmModuleTest, PowerCycleRestoresMasksAndControl) {
    bus_->write(kPage20, vdm::kMasks, 0xFF);
    bus_->write(kPage20, vdm::kControl, 0x80);
    module_->set_vdm_value(0, 80.0);
    module_->power_up();
    EXPECT_EQ(bus_->read(kPage20, vdm::kMasks), 0x00);
    EXPECT_EQ(bus_->read(kPage20, vdm::kControl), 0x00);
    EXPECT_EQ(flags_of(0), 0xA0);  // the value stays, so it latches again
}

TEST_P(VdmModuleTest, NoFlagsBeforeDataIsReady) {
    insert(make_module("100G-DWDM2", {.data_not_ready = 1s}));
    module_->set_vdm_value(9, 5e-4);
    EXPECT_EQ(flags_of(9), 0x00);
    usleep(1000000);
    EXPECT_EQ(flags_of(9), 0x0A);
}

TEST_P(VdmModuleTest, UnusedOrMissingParametersAreRefused) {
    EXPECT_FALSE(module_->set_vdm_value(14, 1.0));
    EXPECT_FALSE(module_->set_vdm_value(24, 1.0));
    EXPECT_FALSE(module_->set_vdm_value(-1, 1.0));
    EXPECT_FALSE(module_->vdm_value(23).has_value());
    EXPECT_FALSE(module_->vdm_value(24).has_value());
    EXPECT_EQ(bus_->read_word(kPage20, value_at(14)), 0);
}

INSTANTIATE_TEST_SUITE_P(BothBusModes, VdmModuleTest, ::testing::Values(BusMode::raw, BusMode::direct),
                         qsfp::test::bus_mode_name);

// ---- Hand-made modules -------------------------------------------------------------------

ImageBuilder diagnostics_image(std::uint8_t options3) {
    ImageBuilder b(0x11);
    b.add_page(kPage20).add_page(kPage21).set(kPage00, kOptions3, options3);
    return b;
}

// The last parameter on the last threshold set: the far end of both pages.
TEST(VdmEdgeTest, LastParameterOnLastSet) {
    ImageBuilder b = diagnostics_image(kPages20To21);
    ModuleMemory &m = b.edit();
    vdm::set_parameter(m, 23, {7, 15, true, 3});
    vdm::set_threshold_set(m, 15, 7, {5.0, -5.0, 4.0, -4.0});
    vdm::set_value(m, 23, 7, 6.0);
    Sff8636Module module(b.build());
    EXPECT_TRUE(module.vdm_implemented());
    EXPECT_EQ(module.read_byte(kPage20, 246), 0xF7);
    EXPECT_EQ(module.read_byte(kPage20, 247), 7);
    EXPECT_EQ(module.read_byte(kPage21, 248), 0x00);  // 50 counts
    EXPECT_EQ(module.read_byte(kPage21, 249), 50);
    EXPECT_EQ(module.read_byte(kPage21, 254), 0xFF);  // -40 counts
    EXPECT_EQ(module.read_byte(kPage21, 255), 0xD8);
    EXPECT_EQ(module.read_byte(kPage20, 139), 0x0A);
    EXPECT_EQ(module.read_byte(kPage20, 138), 0x00);
    module.write_byte(kPage20, 151, 0x08);
    EXPECT_TRUE(module.intl_asserted());  // the high warning is not masked
    module.write_byte(kPage20, 151, 0x0A);
    EXPECT_FALSE(module.intl_asserted());
}

TEST(VdmEdgeTest, VendorTypesNeverFlag) {
    ImageBuilder b = diagnostics_image(kPages20To21);
    ModuleMemory &m = b.edit();
    vdm::set_parameter(m, 0, {200, 0, false, 0});
    m.set(kPage20, vdm::kValues, 0x7F);  // far above a zero threshold set, were it decoded
    Sff8636Module module(b.build());
    EXPECT_FALSE(module.vdm_value(0).has_value());
    EXPECT_FALSE(module.set_vdm_value(0, 1.0));
    EXPECT_EQ(module.read_byte(kPage20, vdm::kFlags), 0x00);
}

TEST(VdmEdgeTest, Byte195Bit0AloneAnnouncesThem) {
    ImageBuilder b = diagnostics_image(kPages20To21);
    vdm::set_parameter(b.edit(), 0, {8, 0, false, 0});
    Sff8636Module module(b.build());
    EXPECT_TRUE(module.vdm_implemented());
    EXPECT_TRUE(module.set_vdm_value(0, 1.0));  // above a zero high alarm
    EXPECT_EQ(module.read_byte(kPage20, vdm::kFlags), 0xA0);
}

TEST(VdmEdgeTest, RandomMemoryIsHandledSafely) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        ImageBuilder b = diagnostics_image(kPages20To21);
        ModuleMemory memory = b.build();
        randomize(memory, seed);
        memory.set(kPage00, kOptions3, static_cast<std::uint8_t>(memory.get(kPage00, kOptions3) | kPages20To21));
        memory.set(0, kPageSelectReg, 0);
        Sff8636Module module(std::move(memory));
        ASSERT_TRUE(module.vdm_implemented());
        for (int i = -1; i <= vdm::kParameters; ++i) {
            const bool decoded = vdm::type_info(vdm::parameter(module.memory(), i).type) != nullptr;
            EXPECT_EQ(module.vdm_value(i).has_value(), decoded) << "seed " << seed << " parameter " << i;
        }
        for (int a = 128; a < 256; ++a) {
            module.read_byte(kPage20, static_cast<std::uint8_t>(a));
            module.read_byte(kPage21, static_cast<std::uint8_t>(a));
        }
        module.write_byte(kPage20, vdm::kControl, vdm::kErrorReset);
    }
}

// Pages 20h-21h without byte 195 bit 0: no diagnostics behaviour at all, even
// with byte 221 bit 5 set.
TEST(VdmAbsentTest, PagesWithoutTheAnnouncementAreJustMemory) {
    ImageBuilder b = diagnostics_image(0);
    b.set(kPage00, kEnhancedOptions, kVdmImplemented);
    vdm::set_parameter(b.edit(), 0, {8, 0, false, 0});
    vdm::set_value(b.edit(), 0, 8, 45.0);  // above a zero high alarm, were it evaluated
    Sff8636Module m(b.build());
    EXPECT_FALSE(m.vdm_implemented());
    EXPECT_FALSE(m.set_vdm_value(0, 1.0));
    EXPECT_FALSE(m.vdm_value(0).has_value());
    EXPECT_EQ(m.read_byte(kPage20, vdm::kFlags), 0);
    m.write_byte(kPage20, vdm::kMasks, 0xFF);
    EXPECT_EQ(m.read_byte(kPage20, vdm::kMasks), 0);
    m.write_byte(kPage20, vdm::kControl, 0x87);
    EXPECT_EQ(m.read_byte(kPage20, vdm::kControl), 0x87);  // the keep-alive byte still takes writes
    EXPECT_EQ(m.host_wrote(kPage20, vdm::kControl), 0x87);
}

TEST(VdmAbsentTest, OtherCatalogueModulesHaveNone) {
    for (const CatalogueEntry &e : catalogue()) {
        const auto m = make_module(e);
        ASSERT_NE(m, nullptr) << e.name;
        EXPECT_EQ(m->vdm_implemented(), e.vdm) << e.name;
        EXPECT_EQ(e.vdm, e.type_code == 26) << e.name;
    }
    auto sr4 = make_module("100G-SR4");
    ASSERT_NE(sr4, nullptr);
    EXPECT_FALSE(sr4->memory().has_page(kPage20));
}

}  // namespace
