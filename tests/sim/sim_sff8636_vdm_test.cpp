// Versatile diagnostics on pages 20h-21h: the number formats, the layout of a
// catalogue DWDM module as the host reads it, flags that latch against the
// threshold sets, clear on read and re-latch, their masks and IntL.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <memory>

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

// ---- Number formats ------------------------------------------------------------------

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

TEST(VdmFormatTest, SignedTypesUseTheirScale) {
    EXPECT_EQ(vdm::encode(1, 45.0), 45 * 256);  // laser temperature, 1/256 C
    EXPECT_EQ(vdm::encode(2, -80), 0xFFF8);     // frequency error, 10 MHz
    EXPECT_DOUBLE_EQ(*vdm::decode(2, 0xFFF8), -80);
    EXPECT_EQ(vdm::encode(12, 28.3), 283);      // OSNR, 0.1 dB
    EXPECT_EQ(vdm::encode(13, -40000), 0x8000); // saturates
    EXPECT_EQ(vdm::encode(99, 1.0), 0);
    EXPECT_FALSE(vdm::decode(99, 1).has_value());
    EXPECT_EQ(vdm::type_info(0), nullptr);
}

// ---- A catalogue DWDM module on the bus ------------------------------------------------

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

    Cage cage_;
    Sff8636Module *module_ = nullptr;
    std::unique_ptr<SimBus> bus_;
};

TEST_P(VdmModuleTest, AnnouncedInPage00h) {
    EXPECT_EQ(bus_->read(kPage00, kEnhancedOptions) & kVdmImplemented, kVdmImplemented);
    EXPECT_EQ(bus_->read(kPage00, kOptions3) & kPages20To21, kPages20To21);
    EXPECT_TRUE(module_->vdm_implemented());
}

TEST_P(VdmModuleTest, LayoutAsTheHostReadsIt) {
    // Parameter 0: laser temperature (type 1), threshold set 0, module wide.
    EXPECT_EQ(bus_->read(kPage20, 128), 1);
    EXPECT_EQ(bus_->read(kPage20, 129), 0x00);
    // Parameter 9: pre-FEC BER current (type 7), set 6, lane 1.
    EXPECT_EQ(bus_->read(kPage20, 128 + 18), 7);
    EXPECT_EQ(bus_->read(kPage20, 128 + 19), 0x61);
    // Slots 21-23 are unused.
    EXPECT_EQ(bus_->read(kPage20, 128 + 42), 0);
    // Set 6 high alarm 2.4e-4 in F16, set 0 high alarm 75 C in 1/256 C.
    EXPECT_EQ(bus_->read_word(kPage20, 176 + 8 * 6), (18 << 11) | 240);
    EXPECT_EQ(bus_->read_word(kPage20, 176), 75 * 256);
    // Live values on page 21h.
    EXPECT_EQ(bus_->read_word(kPage21, 128), 45 * 256);
    EXPECT_NEAR(vdm::decode_f16(bus_->read_word(kPage21, 128 + 18)), 3.2e-6, 1e-12);
    EXPECT_NEAR(*module_->vdm_value(9), 3.2e-6, 1e-12);
}

TEST_P(VdmModuleTest, QuietAtNominalValues) {
    EXPECT_EQ(bus_->read_range(kPage21, vdm::kFlags, vdm::kFlagBytes), std::vector<std::uint8_t>(vdm::kFlagBytes, 0));
    EXPECT_FALSE(intl());
}

TEST_P(VdmModuleTest, FlagLatchesClearsOnReadAndReLatches) {
    ASSERT_TRUE(module_->set_vdm_value(9, 5e-4));  // above the high alarm and warning
    // Parameter 9 is odd: bits 3-0 of byte 176 + 4.
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x0A);
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x0A);
    module_->set_vdm_value(9, 3e-6);
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x0A);  // latched until read
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x00);
}

TEST_P(VdmModuleTest, LowFlagsOfAnEvenParameter) {
    ASSERT_TRUE(module_->set_vdm_value(0, -10));  // laser temperature below both lows
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags), 0x50);
    EXPECT_EQ(bus_->read_word(kPage21, 128), 0xF600);  // -10 x 256
}

TEST_P(VdmModuleTest, FlagsAssertIntLUnlessMasked) {
    module_->set_vdm_value(19, 16.0);  // OSNR lane 1 below the low warning (18 dB)
    EXPECT_TRUE(intl());
    bus_->write(kPage21, vdm::kMasks + 9, 0x01);  // parameter 19 (odd): bits 3-0 of flag byte 9
    EXPECT_EQ(bus_->read(kPage21, vdm::kMasks + 9), 0x01);
    EXPECT_FALSE(intl());
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 9), 0x01);  // low warning
}

TEST_P(VdmModuleTest, LayoutIsReadOnlyButTheKeepAliveByteIsNot) {
    bus_->write(kPage20, 128, 0x55);
    bus_->write(kPage20, 176, 0x55);
    bus_->write(kPage21, 128, 0x55);
    bus_->write(kPage21, vdm::kFlags, 0x55);
    EXPECT_EQ(bus_->read(kPage20, 128), 1);
    EXPECT_EQ(bus_->read(kPage20, 176), 75);
    EXPECT_EQ(bus_->read(kPage21, 128), 45);
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags), 0);
    bus_->write(kPage20, kKeepAlive, 0x01);
    EXPECT_EQ(bus_->read(kPage20, kKeepAlive), 0x01);
    EXPECT_EQ(module_->host_wrote(kPage20, kKeepAlive), 0x01);
}

TEST_P(VdmModuleTest, NoFlagsBeforeDataIsReady) {
    insert(make_module("100G-DWDM2", {.data_not_ready = 1s}));
    module_->set_vdm_value(9, 5e-4);
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x00);
    usleep(1000000);
    EXPECT_EQ(bus_->read(kPage21, vdm::kFlags + 4), 0x0A);
}

TEST_P(VdmModuleTest, UnusedOrMissingParametersAreRefused) {
    EXPECT_FALSE(module_->set_vdm_value(21, 1.0));
    EXPECT_FALSE(module_->set_vdm_value(24, 1.0));
    EXPECT_FALSE(module_->set_vdm_value(-1, 1.0));
    EXPECT_FALSE(module_->vdm_value(23).has_value());
}

INSTANTIATE_TEST_SUITE_P(BothBusModes, VdmModuleTest, ::testing::Values(BusMode::raw, BusMode::direct),
                         qsfp::test::bus_mode_name);

// Pages 20h-21h without the announcement: no diagnostics behaviour at all.
TEST(VdmAbsentTest, PagesWithoutTheAnnouncementAreJustMemory) {
    ImageBuilder b(0x11);
    b.add_page(kPage20).add_page(kPage21);
    Sff8636Module m(b.build());
    EXPECT_FALSE(m.vdm_implemented());
    EXPECT_FALSE(m.set_vdm_value(0, 1.0));
    m.write_byte(kPage21, vdm::kMasks, 0xFF);
    EXPECT_EQ(m.read_byte(kPage21, vdm::kMasks), 0);
    m.write_byte(kPage20, kKeepAlive, 0x07);
    EXPECT_EQ(m.read_byte(kPage20, kKeepAlive), 0x07);
}

TEST(VdmAbsentTest, OtherCatalogueModulesHaveNone) {
    auto sr4 = make_module("100G-SR4");
    ASSERT_NE(sr4, nullptr);
    EXPECT_FALSE(sr4->vdm_implemented());
    EXPECT_FALSE(sr4->memory().has_page(kPage20));
}

}  // namespace
