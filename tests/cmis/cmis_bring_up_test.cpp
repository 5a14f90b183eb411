// CMIS bring-up paths that stop before the datapaths are configured: maker
// identifiers, the 2 km DR4, ZR+ promotion and the coherent hand-over,
// adoption of a running application, the module-ready wait, the pre-release
// maps and vendor quirks.
#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "cmis/cmis_regs.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

using sim::CmisModule;

bool same_table(const qsfp_drv_fvt &a, const qsfp_drv_fvt &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST_F(CmisPortTest, MakerExtendedIdentifier0AIsAnActiveLoopbackWithoutMatchingApplications) {
    insert_cmis("KORVA-400G-ALB");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC6U);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Korva HDX: Extended Id (0xa)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Korva HDX. Type 0xc6\n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Matching the App Advertisements\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Korva Qualified(YES) DOM Supported(0x18)\n"));
}

TEST_F(CmisPortTest, UnknownMakerExtendedIdentifierFallsBackToTheApplications) {
    insert_cmis("KORVA-400G-FR4", [](sim::ModuleMemory &m) { m.set(0, cmis::kMakerExtendedId, 0x20); });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Korva HDX, with an unknown extended Id (0x20)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Matching the App Advertisements\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Found our type! 0xc2\n"));
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC2U);
    EXPECT_STREQ(port->hw_info.pid, "QDD-400G-FR4");  // still our module: its own PID
}

TEST_F(CmisPortTest, DR4With2kmReachIsTheUnknownVariant) {
    insert_cmis("400G-XDR4");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_DR4_2KM);
    EXPECT_STREQ(port->hw_info.qsfp_type_str, "QSFPDD UNKNOWN");
    EXPECT_STREQ(port->hw_info.pid, "HDX-400G-UNKNOWN");
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSFP-DD length 66, type 206 vendor_pn OWD-400G-XDR4\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Found our type (0xce), but can't find our entry in type table\n"));
}

TEST_F(CmisPortTest, DR4WhoseReachCannotBeReadStaysADR4) {
    insert_cmis("400G-XDR4");
    cage().fail_range(sim::Op::read, cmis::kPage01, cmis::kSmfLength, cmis::kSmfLength, 5, 1);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_DR4);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP-DD length read error. Optics Type:195. Optics will be "
                                "considered as 400G-DR4 type.\n"));
}

TEST_F(CmisPortTest, ZRAdvertisingAZRPlusApplicationIsPromotedAndHandedToTheCoherentDriver) {
    insert_cmis("400G-ZR-ZRP");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, 0, QSFP_OK);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZRP);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: check and update ZR module type \n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: change coherent module type as ZRP, in-type 207, out-type 208 \n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: ZR module updated to ZRPlus \n"));
    EXPECT_TRUE(same_table(port->fvt, qsfp_dd_coh_dsp_fvt));
    EXPECT_EQ(state(port).coherent, 1U);
    EXPECT_EQ(state(port).media_lane_count, 1U);
    // The hand-over comes after thresholds and wavelength, before any control
    // write: what the module was written is the coherent SDK's own
    // initialisation of it (high power, data paths up, transmitters off).
    EXPECT_EQ(writes(), (std::vector<std::string>{"lower 26: 00", "10h 128: 00", "10h 130: ff"}));
    EXPECT_EQ(state(port).wavelength[0], 0x78);
}

TEST_F(CmisPortTest, PlainZRStaysZR) {
    insert_cmis("400G-ZR");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, 0, QSFP_OK);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZR);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: check and update ZR module type \n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: ZR module updated to ZRPlus \n"));
    EXPECT_TRUE(same_table(port->fvt, qsfp_dd_coh_dsp_fvt));
}

TEST_F(CmisPortTest, PromotionNeedsTheExactMediaInterface) {
    qsfp_port_ctx port{};
    state(&port).media_type = cmis::kMediaSingleMode;
    port.hw_info.qsfp_type = QSFP_DD_TYPE_400G_ZR;
    const std::uint8_t zr_plus_any_media[] = {0x11, 0x00, 0x81, 0x01};  // the table's media code 0 is no wildcard here
    std::memcpy(state(&port).apps[3], zr_plus_any_media, sizeof zr_plus_any_media);
    qsfp_dd_port_update_coherent_moudle_type(&port);
    EXPECT_EQ(port.hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZR);
    const std::uint8_t zr_plus[] = {0x0D, 0xC4, 0x21, 0x55};
    std::memcpy(state(&port).apps[7], zr_plus, sizeof zr_plus);
    qsfp_dd_port_update_coherent_moudle_type(&port);
    EXPECT_EQ(port.hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZRP);
    state(&port).media_type = cmis::kMediaMultimode;
    port.hw_info.qsfp_type = QSFP_DD_TYPE_400G_ZR;
    qsfp_dd_port_update_coherent_moudle_type(&port);
    EXPECT_EQ(port.hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZR);
}

TEST_F(CmisPortTest, MediaLaneCountOfTheHandOverIsOneForZRPlus) {
    insert_cmis("400G-ZRP");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL, 0, QSFP_OK);
    EXPECT_EQ(state(port).media_lane_count, 1U);
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: check and update ZR module type \n"));
}

TEST_F(CmisPortTest, InitFlag0WithApplication1OnAllLanesReturnsBeforePowerUp) {
    CmisModule &m = insert_cmis("400G-FR4");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_TRUE(data_writes().empty());
    for (int lane = 2; lane <= 8; ++lane) {
        EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln" + std::to_string(lane) +
                                        " app code 1 (reg val 0x10)\n"));
    }
    EXPECT_EQ(state(port).active_app_code, 1U);
    EXPECT_EQ(port->port_mode, 0U);
    EXPECT_EQ(m.module_state(), sim::cmis::ModuleState::low_power);
    EXPECT_TRUE(sleeps_us().empty());
}

TEST_F(CmisPortTest, AdoptionOfApplication2OnADR4SelectsFourTimes100G) {
    insert_cmis("400G-DR4", [](sim::ModuleMemory &m) {
        for (std::uint8_t lane = 0; lane < 8; ++lane) m.set(0x11, cmis::kActiveAppSelect + lane, 0x20 | (lane << 1));
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->port_mode, QSFP_DD_OPER_MODE_4X100G);
    EXPECT_EQ(state(port).active_app_code, 2U);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Active Set Ln8 app code 2 (reg val 0x2e)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: App Code 2 QSFPDD 400G DR4 Oper Mode 14\n"));
    EXPECT_TRUE(data_writes().empty());
}

TEST_F(CmisPortTest, EightTimes50GBreakoutIsPassiveAndNeverAdopts) {
    // Even a paged image running application 2: the type table makes the
    // breakout flat and passive, so bring-up ends before the active set.
    insert_cmis("KORVA-400G-FR4", [](sim::ModuleMemory &m) {
        m.set(0, cmis::kMakerExtendedId, 9);  // 8x50G breakout, but paged here
        for (std::uint8_t lane = 0; lane < 8; ++lane) m.set(0x11, cmis::kActiveAppSelect + lane, 0x20);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_8X50G_CU_BREAKOUT);
    // The type table makes it flat and passive: bring-up ends before adoption.
    EXPECT_EQ(state(port).passive, 1U);
    EXPECT_EQ(port->port_mode, 0U);
}


std::uint16_t word(const sim::ModuleMemory &m, std::uint8_t page, std::uint8_t addr) {
    return static_cast<std::uint16_t>(m.get(page, addr) << 8 | m.get(page, addr + 1));
}

TEST_F(CmisPortTest, ThresholdsAreConvertedFromPage02h) {
    CmisModule &m = insert_cmis("400G-FR4");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    const sim::ModuleMemory &mem = m.memory();
    const qsfp_threshold_data &t = port->thresholds;
    EXPECT_FLOAT_EQ(t.temp_high_alarm, static_cast<std::int16_t>(word(mem, 2, 128)) / 256.0f);
    EXPECT_FLOAT_EQ(t.temp_low_warning, static_cast<std::int16_t>(word(mem, 2, 134)) / 256.0f);
    EXPECT_FLOAT_EQ(t.vcc_low_alarm, word(mem, 2, 138) * 0.0001f);
    EXPECT_FLOAT_EQ(t.tx_power_high_alarm, 10.0f * std::log10(word(mem, 2, 176) * 0.0001f));
    EXPECT_FLOAT_EQ(t.bias_high_warning, word(mem, 2, 188) * 0.002f);
    EXPECT_FLOAT_EQ(t.rx_power_low_warning, 10.0f * std::log10(word(mem, 2, 198) * 0.0001f));
    EXPECT_GT(t.temp_high_alarm, 50.0f);  // a real module's limit, not a zero page
    EXPECT_LT(t.rx_power_low_alarm, 0.0f);
}

TEST_F(CmisPortTest, ActiveCableThresholdsAreTemperatureAndSupplyOnly) {
    insert_cmis("400G-AOC");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(state(port).dom_support, 0x18);
    EXPECT_GT(port->thresholds.temp_high_alarm, 0.0f);
    EXPECT_GT(port->thresholds.vcc_high_alarm, 3.0f);
    EXPECT_EQ(port->thresholds.tx_power_high_alarm, 0.0f);
    EXPECT_EQ(port->thresholds.rx_power_high_alarm, 0.0f);
    EXPECT_EQ(port->thresholds.bias_high_alarm, 0.0f);
}

TEST_F(CmisPortTest, ZeroPowerThresholdIsMinusInfinity) {
    insert_cmis("400G-FR4", [](sim::ModuleMemory &m) {
        m.set(2, 192, 0);
        m.set(2, 193, 0);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_TRUE(std::isinf(port->thresholds.rx_power_high_alarm) && port->thresholds.rx_power_high_alarm < 0);
}

TEST_F(CmisPortTest, QualifiedModuleTakesItsDomSupportFromPage03h) {
    insert_cmis("KORVA-400G-FR4", [](sim::ModuleMemory &m) { m.set(3, 154, 0x11); });  // Rx power and Vcc only
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(state(port).dom_support, 0x11);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Korva Qualified(YES) DOM Supported(0x11)\n"));
    EXPECT_NE(port->thresholds.rx_power_high_alarm, 0.0f);
    EXPECT_EQ(port->thresholds.tx_power_high_alarm, 0.0f);
    EXPECT_EQ(port->thresholds.bias_high_alarm, 0.0f);
}

TEST_F(CmisPortTest, Revision04IsAlwaysAPassiveLoopback) {
    // Even when its advertisement reads like an FR4.
    insert_cmis("PRE04-400G-LB", [](sim::ModuleMemory &m) {
        m.set(0, cmis::kMediaType, cmis::kMediaSingleMode);
        const std::uint8_t fr4[] = {0x11, 0x1D, 0x84, 0x01};
        for (std::uint8_t i = 0; i < 4; ++i) m.set(0, cmis::kAppDescriptors + i, fr4[i]);
        m.set(2, 128, 0x50);  // temperature high alarm 80 C
        m.set(2, 129, 0x00);
        m.set(2, 144, 0x8C);  // Vcc high alarm 3.6 V
        m.set(2, 145, 0xA0);
        m.set(2, 146, 0x75);  // Vcc low alarm 3.0 V
        m.set(2, 147, 0x30);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC4U);
    EXPECT_STREQ(port->hw_info.qsfp_type_str, "QSFPDD 400G PASSIVE LB");
    EXPECT_STREQ(port->hw_info.pid, "HDX-400G-LB-V");
    EXPECT_STREQ(port->hw_info.vid, "0.4");
    EXPECT_EQ(state(port).dom_support, 0x18);
    EXPECT_FLOAT_EQ(port->thresholds.temp_high_alarm, 80.0f);
    EXPECT_FLOAT_EQ(port->thresholds.vcc_high_alarm, 3.6f);
    EXPECT_FLOAT_EQ(port->thresholds.vcc_low_alarm, 3.0f);
    EXPECT_EQ(port->thresholds.vcc_high_warning, 0.0f);
    EXPECT_TRUE(data_writes().empty());
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Matching the App Advertisements\n"));
}

TEST_F(CmisPortTest, Revision04ThresholdReadFailures) {
    insert_cmis("PRE04-400G-LB");
    cage().fail_range(sim::Op::read, 2, 144, 147, 5, 1);
    bring_up(QSFP_DD_INIT_FULL, 0, 5);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Upper Page 2 Vcc Threshold (bytes 0x90) Read error\n"));
}

TEST_F(CmisPortTest, Revision03WithoutTheCopperMarkKeepsOnlyItsIdentity) {
    insert_cmis("PRE03-400G-CU", [](sim::ModuleMemory &m) { m.set(0, 34, 0); });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_EQ(port->hw_info.qsfp_type, 0U);
    EXPECT_STREQ(port->hw_info.vid, "0.3");
    EXPECT_STREQ(port->hw_info.vendor_name, "CUPRALINK");
    EXPECT_EQ(port->is_copper, 0U);
}

TEST_F(CmisPortTest, Revision07FromAnotherMakerIsUnsupported) {
    insert_cmis("PRE07-MOLEX-CU", [](sim::ModuleMemory &m) { m.set(0, 148, 'N'); });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Not Molex\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupport MSA version.  Assume 400G Copper\n"));
    EXPECT_EQ(port->hw_info.qsfp_type, 0U);
    EXPECT_STREQ(port->hw_info.qsfp_type_str, "QSFPDD 400G UNKNOWN");
}

TEST_F(CmisPortTest, Revision07MolexOpticsAreUnsupported) {
    insert_cmis("PRE07-MOLEX-AOC");
    bring_up(QSFP_DD_INIT_FULL);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Molex.  But device tech(0x0) is not copper\n"));
}

TEST_F(CmisPortTest, Revision07MolexCopperIdentity) {
    insert_cmis("PRE07-MOLEX-CU");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_STREQ(port->hw_info.vendor_name, "Molex");
    EXPECT_STREQ(port->hw_info.vendor_pn, "MX-PRE07-MOLEX-C");
}

TEST_F(CmisPortTest, MultilaneCmis30LoopbackIsKnownByItsVendor) {
    insert_cmis("MULTILANE-400G-PLB");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC4U);
    EXPECT_STREQ(port->hw_info.qsfp_type_str, "QSFPDD 400G PASSIVE LB");
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Matching the App Advertisements\n"));
    EXPECT_TRUE(data_writes().empty());
}

TEST_F(CmisPortTest, UnknownModuleKeepsItsPortForReads) {
    insert_cmis("400G-SR8");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupport MSA version.  Assume 400G Copper\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: AppCode 1: Module Type 0x1 Host Elect Intf 0x11\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Module Media Intf 0x10 Host Media lane 0x88"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: App Advert Entry 2: Exhausted all valid app entries\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSFP qsfp_type = 0x0, qsfp_type_str = QSFPDD UNKNOWN\n"));
    std::uint8_t id = 0;
    EXPECT_EQ(qsfp_port_read(port, 0, 0, 1, &id), QSFP_OK);
    EXPECT_EQ(id, 0x18);
    EXPECT_TRUE(data_writes().empty());
}

TEST_F(CmisPortTest, Revision20DescriptorsWithoutLanesDoNotEndTheWalk) {
    insert_cmis("400G-FR4", [](sim::ModuleMemory &m) {
        m.set(0, cmis::kRevision, 0x20);
        const std::uint8_t empty_then_fr4[] = {0x00, 0x00, 0x00, 0x00, 0x11, 0x1D, 0x84, 0x01};
        for (std::uint8_t i = 0; i < 8; ++i) m.set(0, cmis::kAppDescriptors + i, empty_then_fr4[i]);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC2U);
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: App Advert Entry 1: Exhausted all valid app entries\n"));
}

TEST_F(CmisPortTest, EarlierDescriptorWinsOverALaterOne) {
    insert_cmis("400G-DR4", [](sim::ModuleMemory &m) {
        const std::uint8_t lr8_then_dr4[] = {0x11, 0x1B, 0x88, 0x01, 0x11, 0x1C, 0x84, 0x01};
        for (std::uint8_t i = 0; i < 8; ++i) m.set(0, cmis::kAppDescriptors + i, lr8_then_dr4[i]);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->hw_info.qsfp_type, 0xC7U);
}

TEST_F(CmisPortTest, CableLengthBeforeRevision28IsPlainMetres) {
    insert_cmis("400G-AOC", [](sim::ModuleMemory &m) {
        m.set(0, cmis::kRevision, 0x27);
        m.set(0, cmis::kCableLength, 0x43);
    });
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_STREQ(port->hw_info.pid, "HDX-400-AOC67M");
}

TEST_F(CmisPortTest, CableLengthMultipliers) {
    const std::pair<std::uint8_t, const char *> cases[] = {
        {0x05, "HDX-400-AOC0.5M"}, {0x0F, "HDX-400-AOC1.5M"}, {0x4A, "HDX-400-AOC10M"},
        {0x83, "HDX-400-AOC30M"},  {0xC2, "HDX-400-AOC200M"}, {0xFF, "HDX-400-AOC6300M"},
    };
    for (const auto &[raw, pid] : cases) {
        const std::uint8_t byte = raw;
        insert_cmis("400G-AOC", [byte](sim::ModuleMemory &m) { m.set(0, cmis::kCableLength, byte); });
        qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
        EXPECT_STREQ(port->hw_info.pid, pid) << int(raw);
        qsfp_port_delete(port);
        forget(port);
    }
}

TEST_F(CmisPortTest, AlphaModuleIsParkedWithEveryDatapathDeinitialised) {
    insert_cmis("KORVA-AVAGO-ALPHA");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_FULL);
    ASSERT_EQ(data_writes().size(), 1U);
    EXPECT_EQ(data_writes()[0].page, 0x10);
    EXPECT_EQ(data_writes()[0].reg, 128);
    EXPECT_EQ(data_writes()[0].data, std::vector<std::uint8_t>{0xFF});
    EXPECT_EQ(sleeps_us(), std::vector<std::uint64_t>{5000000});
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: KORVA-AVAGO Alpha Module init done\n"));
    EXPECT_EQ(port->fvt.port_enable, qsfp_dd_fvt.port_enable);  // never reaches the 4.0 slot swap
}

TEST_F(CmisPortTest, AlphaModuleWriteFailure) {
    insert_cmis("KORVA-AVAGO-ALPHA");
    cage().fail_range(sim::Op::write, 0x10, 128, 128, 5, 1);
    bring_up(QSFP_DD_INIT_FULL, 0, 5);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Upper Page 10h write error\n"));
}

TEST_F(CmisPortTest, Cmis40ModuleGetsTheDeinitVariantsOfPortEnableAndDisable) {
    insert_cmis("400G-FR4");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_NE(port->fvt.port_enable, qsfp_dd_fvt.port_enable);
    EXPECT_NE(port->fvt.port_disable, qsfp_dd_fvt.port_disable);
    EXPECT_EQ(state(port).power_up_code, 6);  // page 01h byte 167 = 0x56
    EXPECT_EQ(state(port).power_down_code, 5);
    EXPECT_EQ(state(port).dp_init_code, 5);   // byte 144 = 0x45
    EXPECT_EQ(state(port).dp_deinit_code, 4);
    EXPECT_EQ(state(port).si_controls[0], 0x0C);
    EXPECT_EQ(state(port).si_controls[1], 0x1C);
}

TEST_F(CmisPortTest, Cmis30ModuleKeepsThePowerUpVariantsAndReadsNoModuleDurations) {
    insert_cmis("400G-FR4-CMIS3");
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(port->fvt.port_enable, qsfp_dd_fvt.port_enable);
    EXPECT_EQ(port->fvt.port_disable, qsfp_dd_fvt.port_disable);
    EXPECT_EQ(state(port).power_up_code, 0);
    for (const auto &t : cage().log()) {
        EXPECT_FALSE(t.page == 1 && t.reg <= 167 && t.reg + t.len > 167) << "read of byte 167";
    }
}

TEST_F(CmisPortTest, AoiCwdm4DurationsAreRaisedToAtLeastCode5) {
    insert_cmis("AOI-2X100G-CWDM4");  // advertises 0x33
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT);
    EXPECT_EQ(state(port).power_up_code, 5);
    EXPECT_EQ(state(port).power_down_code, 5);
}

}  // namespace
}  // namespace qsfp::test
