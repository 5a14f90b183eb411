// The application lookup: each speed's candidate media interfaces, the
// cable rules, and the traces of skipped and mismatched descriptors. The
// descriptors are set in the driver's copy, as bring-up stores them.
#include <gtest/gtest.h>

#include "cmis/cmis_port.h"

namespace {

using namespace qsfp::test;
using qsfp::cmis::find_application;
using qsfp::cmis::kNoApplication;

struct Case {
    std::uint32_t speed;
    std::uint8_t media_type;
    std::uint8_t media_interface;
    std::uint8_t media_lanes;
    const char *name;
};

// Every candidate that names a media interface and a lane count.
constexpr Case kCandidates[] = {
    {40, 1, 0x04, 4, "MM 40G SR4"},     {100, 1, 0x09, 4, "MM 100G SR4"},   {100, 2, 0x0D, 4, "SM 100G SR4"},
    {100, 2, 0x0E, 4, "SM 100G ER4"},   {100, 2, 0x0F, 4, "SM 100G PSM4"},  {100, 2, 0x10, 4, "SM 100G CWDM4"},
    {100, 2, 0x14, 1, "SM 100G DR"},    {100, 2, 0x15, 1, "SM 100G FR"},    {400, 1, 0x11, 4, "MM 400G SR4"},
    {400, 1, 0x0F, 16, "MM 400G SR16"}, {400, 1, 0x10, 8, "MM 400G SR8"},   {400, 2, 0x1A, 8, "SM 400G FR8"},
    {400, 2, 0x1B, 8, "SM 400G LR8"},   {400, 2, 0x1C, 4, "SM 400G DR4"},   {400, 2, 0x1D, 4, "SM 400G FR4"},
    {400, 2, 0x1E, 4, "SM 400G LR4"},
};

class CmisAppLookupTest : public CmisPortTest {
protected:
    // The port's copy holds `descriptors` and nothing after them.
    void advertise(qsfp_port_ctx *port, std::uint8_t media_type, std::initializer_list<std::array<std::uint8_t, 4>> descriptors) {
        qsfp::cmis::State &s = state(port);
        s.media_type = media_type;
        std::memset(s.apps, 0, sizeof s.apps);
        std::size_t i = 0;
        for (const auto &d : descriptors) {
            std::memcpy(s.apps[i++], d.data(), d.size());
        }
        clear_traces();
    }
};

TEST_F(CmisAppLookupTest, EveryNamedCandidateSelectsItsDescriptor) {
    qsfp_port_ctx *port = make("400G-DR4");
    for (const Case &c : kCandidates) {
        // A descriptor of another lane count first (skipped), then the one that fits (the lane count nibble holds 16 as 0).
        const auto lanes = static_cast<std::uint8_t>(0x80 | (c.media_lanes & 0x0F));
        advertise(port, c.media_type, {{0x11, c.media_interface, 0x87, 0x01}, {0x11, c.media_interface, lanes, 0x01}});
        std::uint32_t app = 0;
        const std::uint32_t n = c.media_lanes & 0x0F;
        EXPECT_EQ(find_application(port, c.speed, n, &app), QSFP_OK) << c.name;
        if (c.media_lanes == 16) {
            // Sixteen media lanes do not fit the four-bit count: nothing selects it.
            EXPECT_EQ(app, kNoApplication) << c.name;
            continue;
        }
        EXPECT_EQ(app, 2u) << c.name;
        const std::vector<std::string> texts = evt();
        ASSERT_GE(texts.size(), 2u) << c.name;
        EXPECT_EQ(texts.front(), "Controller 0 Port 1: App Code 1: Speed " + std::to_string(c.speed) + "G Media lane cnt advertised(7) != Media lane cnt(" + std::to_string(n) + ")\n");
        EXPECT_EQ(texts.back(), "Controller 0 Port 1: App Code 2: Speed " + std::to_string(c.speed) + "G lane cnt " + std::to_string(n) + " " + c.name + " SELECT\n");
    }
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(CmisAppLookupTest, MismatchTraces) {
    qsfp_port_ctx *port = make("400G-DR4");
    advertise(port, 2, {{0x11, 0x1C, 0x88, 0x01}});  // DR4 code over eight media lanes
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 400, 8, &app), QSFP_OK);
    EXPECT_EQ(app, kNoApplication);
    EXPECT_EQ(evt(), prefixed({
                         "App Code 1: Speed 400G Mismatch module type: MM 400G SR4\n",
                         "App Code 1: Speed 400G Mismatch module type: MM 400G SR16\n",
                         "App Code 1: Speed 400G Mismatch module type: MM 400G SR8\n",
                         "App Code 1: Speed 400G SM 400G FR8 Media Intf Code mismatch SM 400G FR8:SM 400G DR4\n",
                         "App Code 1: Speed 400G SM 400G LR8 Media Intf Code mismatch SM 400G LR8:SM 400G DR4\n",
                         "App Code 1: Speed 400G SM 400G DR4: lane cnt mismatch: 4:8\n",
                         "App Code 1: Speed 400G SM 400G FR4 Media Intf Code/Media lane cnt mismatch SM 400G FR4:SM 400G DR4 4:8\n",
                         "App Code 1: Speed 400G SM 400G LR4 Media Intf Code/Media lane cnt mismatch SM 400G LR4:SM 400G DR4 4:8\n",
                         "App Code 1: Speed 400G Mismatch module type: UNDEFINED\n",
                         "App Code 1: Speed 400G Mismatch module type: Passive Copper\n",
                     }));
}

TEST_F(CmisAppLookupTest, DescriptorWithoutLaneCountsEndsTheWalk) {
    qsfp_port_ctx *port = make("400G-DR4");
    advertise(port, 2, {{0x11, 0x1C, 0x00, 0x01}, {0x11, 0x1C, 0x84, 0x01}});
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 400, 4, &app), QSFP_OK);
    EXPECT_EQ(app, kNoApplication);
    EXPECT_TRUE(evt().empty());
    EXPECT_TRUE(err().empty());
}

TEST_F(CmisAppLookupTest, UnsupportedSpeedEndsTheLookup) {
    qsfp_port_ctx *port = make("400G-DR4");
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 200, 1, &app), QSFP_OK);
    EXPECT_EQ(app, kNoApplication);
    EXPECT_EQ(evt(), prefixed({"App Code 1: Speed 200G Media lane cnt advertised(4) != Media lane cnt(1)\n"}));
    EXPECT_EQ(err(), prefixed({"App Code 2: Unsupported Intf speed(200)\n"}));
}

// Cables: the media interface code names the cable, not a speed, so the cable
// rows take the first descriptor of the module's media type with the lane count.
TEST_F(CmisAppLookupTest, CopperBreakoutCableServesOnly50GOnOneLane) {
    qsfp_port_ctx *port = make("KORVA-8X50G-CU");
    ASSERT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_8X50G_CU_BREAKOUT);
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 50, 1, &app), QSFP_OK);
    EXPECT_EQ(app, 1u);
    EXPECT_EQ(evt(), prefixed({"App Code 1: Speed 50G Copper Cable SELECT\n"}));
    app = 77;
    EXPECT_EQ(find_application(port, 100, 1, &app), QSFP_ERR_REFUSED);
    EXPECT_EQ(find_application(port, 50, 8, &app), QSFP_ERR_REFUSED);
    EXPECT_EQ(app, 77u);
    EXPECT_EQ(err(), prefixed({"8x50 Copper cable. media_lane_cnt(1) should be 1. intf speed(100) should be 50G\n",
                               "8x50 Copper cable. media_lane_cnt(8) should be 1. intf speed(50) should be 50G\n"}));
}

TEST_F(CmisAppLookupTest, ActiveCableServesOnly400GOnEightLanes) {
    qsfp_port_ctx *port = make("400G-AOC");
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 400, 8, &app), QSFP_OK);
    EXPECT_EQ(app, 1u);
    const std::vector<std::string> texts = evt();
    ASSERT_EQ(texts.size(), 9u);
    EXPECT_EQ(texts[7], "Controller 0 Port 1: App Code 1: Speed 400G Mismatch module type: SM 400G LR4\n");
    EXPECT_EQ(texts[8], "Controller 0 Port 1: App Code 1: Speed 400G AOC BER 10^-12 SELECT\n");
    EXPECT_EQ(find_application(port, 400, 4, &app), QSFP_ERR_REFUSED);
    EXPECT_EQ(find_application(port, 100, 8, &app), QSFP_ERR_REFUSED);
    EXPECT_EQ(err(), prefixed({"AOC cable. media_lane_cnt(4) should be 8. intf speed(400) should be 400G\n",
                               "AOC cable. media_lane_cnt(8) should be 8. intf speed(100) should be 400G\n"}));
}

TEST_F(CmisAppLookupTest, ActiveElectricalCableIsFoundByItsMediaTypeAndLaneCount) {
    qsfp_port_ctx *port = make("400G-AEC");  // advertises host interface 0Bh over eight lanes
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 400, 8, &app), QSFP_OK);
    EXPECT_EQ(app, 1u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: App Code 1: Speed 400G AOC BER 10^-12 SELECT\n"));
}

TEST_F(CmisAppLookupTest, PassiveCopperAt400G) {
    qsfp_port_ctx *port = make("400G-CR8-FLAT");
    std::uint32_t app = 0;
    EXPECT_EQ(find_application(port, 400, 8, &app), QSFP_OK);
    EXPECT_EQ(app, 1u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: App Code 1: Speed 400G Copper Cable SELECT\n"));
    EXPECT_EQ(find_application(port, 400, 8, nullptr), QSFP_ERR_INVALID);
}

// The default mode of each catalogue kind finds the application it runs.
TEST_F(CmisAppLookupTest, DefaultModesOfTheCatalogueFindApplication1) {
    for (const char *name : {"400G-FR4", "400G-DR4", "400G-LR8", "2X100G-SR4", "2X100G-PSM4", "2X100G-CWDM4", "2X100G-LR4", "400G-AOC"}) {
        qsfp_port_ctx *port = make(name);
        std::uint32_t app = 0;
        EXPECT_EQ(qsfp_dd_port_oper_mode_2_app_sel_code(port, QSFP_DD_OPER_MODE_DEFAULT, &app), QSFP_OK) << name;
        EXPECT_EQ(app, 1u) << name;
        TearDown();
        SetUp();
    }
}

}  // namespace
