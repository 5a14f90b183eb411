// Identification of CMIS modules at bring-up: type, description, PID, VID,
// flags, DOM support and rate of every module of the emulator's CMIS
// catalogue and of the real module images.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/sim/image_file.h>

#include "cmis/cmis_regs.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

struct Expected {
    const char *name;
    std::uint32_t type;
    const char *description;
    const char *pid;
    const char *vid;
    bool flat;     // also the copper flag
    bool passive;
    std::uint8_t dom;
    std::uint32_t rate;
    std::uint32_t rc = QSFP_OK;
};

// The coherent table's device init answers 0 whatever the SDK says.
constexpr std::uint32_t kCoherentHandOver = QSFP_OK;

// Worked out from each image's bytes by hand: the maker's extended identifier
// (byte 224) of qualified modules, else the first advertised application a
// row recognises; the cable length of byte 202 for copper and AOC PIDs.
const Expected kCatalogue[] = {
    {"400G-CR8-FLAT", 0xC1, "QSFPDD 400G PASSIVE COPPER", "HDX-400-CU2M", "", true, true, 0x00, 400},
    {"400G-FR4", 0xC2, "QSFPDD 400G FR4", "HDX-400G-FR4-V", "", false, false, 0x1F, 400},
    {"400G-DR4", 0xC3, "QSFPDD 400G DR4", "HDX-400G-DR4-V", "", false, false, 0x1F, 400},
    {"400G-XDR4", 0xCE, "QSFPDD UNKNOWN", "HDX-400G-UNKNOWN", "", false, false, 0x1F, 400},
    {"400G-PLB", 0xC4, "QSFPDD 400G PASSIVE LOOPBACK", "HDX-400G-PLB-V", "", false, true, 0x18, 400},
    {"400G-LR8", 0xC7, "QSFPDD 400G LR8", "HDX-400G-LR8-V", "", false, false, 0x1F, 400},
    {"2X100G-SR4", 0xC8, "QSFPDD 2x100G SR4", "HDX-2x100G-SR4-V", "", false, false, 0x1F, 200},
    {"2X100G-PSM4", 0xC9, "QSFPDD 2x100G PSM4", "HDX-2x100G-PSM4-V", "", false, false, 0x1F, 200},
    {"2X100G-CWDM4", 0xCA, "QSFPDD 2x100G CWDM4", "HDX-2x100G-CWDM4-V", "", false, false, 0x1F, 200},
    {"2X100G-LR4", 0xCB, "QSFPDD 2x100G LR4", "HDX-2x100G-LR4-V", "", false, false, 0x1F, 200},
    {"400G-AOC", 0xCC, "QSFPDD 400G AOC", "HDX-400-AOC3M", "", false, false, 0x18, 400},
    {"400G-AEC", 0xCD, "QSFPDD 400G AEC", "BASIC-HDX-400G-AEC", "", false, false, 0x18, 400},
    {"400G-ZR", 0xCF, "QSFPDD 400G ZR", "HDX-400G-ZR-V", "", false, false, 0x1F, 400, kCoherentHandOver},
    {"400G-ZR-ZRP", 0xD0, "QSFPDD 400G ZRP", "HDX-400G-ZRP-V", "", false, false, 0x1F, 400, kCoherentHandOver},
    {"400G-ZRP", 0xD0, "QSFPDD 400G ZRP", "HDX-400G-ZRP-V", "", false, false, 0x1F, 400, kCoherentHandOver},
    {"400G-FR4-CMIS3", 0xC2, "QSFPDD 400G FR4", "HDX-400G-FR4-V", "", false, false, 0x1F, 400},
    {"400G-DR4-CMIS3", 0xC3, "QSFPDD 400G DR4", "HDX-400G-DR4-V", "", false, false, 0x1F, 400},
    {"400G-LR8-CMIS3", 0xC7, "QSFPDD 400G LR8", "HDX-400G-LR8-V", "", false, false, 0x1F, 400},
    {"8X50G-CU", 0, "QSFPDD 400G UNKNOWN", "HDX-400G-UNKNOWN", "", false, false, 0x00, 400},
    {"KORVA-400G-CR8-FLAT", 0xC1, "QSFPDD 400G PASSIVE COPPER", "QDD-400G-CR8-FLAT", "V01", true, true, 0x00, 400},
    {"KORVA-400G-FR4", 0xC2, "QSFPDD 400G FR4", "QDD-400G-FR4", "V01", false, false, 0x1F, 400},
    {"KORVA-400G-DR4", 0xC3, "QSFPDD 400G DR4", "QDD-400G-DR4", "V01", false, false, 0x1F, 400},
    {"KORVA-400G-PLB", 0xC4, "QSFPDD 400G PASSIVE LOOPBACK", "QDD-400G-PLB", "V01", false, true, 0x18, 400},
    {"KORVA-8X50G-CU", 0xC5, "QSFPDD 8x50G CU BREAKOUT", "QDD-8X50G-CU", "V01", true, true, 0x00, 400},
    {"KORVA-400G-ALB", 0xC6, "QSFPDD 400G ACTIVE LOOPBACK", "QDD-400G-ALB", "V01", false, false, 0x18, 400},
    {"KORVA-400G-LR8", 0xC7, "QSFPDD 400G LR8", "QDD-400G-LR8", "V01", false, false, 0x1F, 400},
    {"KORVA-2X100G-SR4", 0xC8, "QSFPDD 2x100G SR4", "QDD-2X100G-SR4", "V01", false, false, 0x1F, 200},
    {"KORVA-2X100G-PSM4", 0xC9, "QSFPDD 2x100G PSM4", "QDD-2X100G-PSM4", "V01", false, false, 0x1F, 200},
    {"KORVA-2X100G-CWDM4", 0xCA, "QSFPDD 2x100G CWDM4", "QDD-2X100G-CWDM4", "V01", false, false, 0x1F, 200},
    {"KORVA-2X100G-LR4", 0xCB, "QSFPDD 2x100G LR4", "QDD-2X100G-LR4", "V01", false, false, 0x1F, 200},
    {"AOI-2X100G-CWDM4", 0xCA, "QSFPDD 2x100G CWDM4", "HDX-2x100G-CWDM4-V", "", false, false, 0x1F, 200},
    {"KORVA-AVAGO-ALPHA", 0xC3, "QSFPDD 400G DR4", "QDD-AVAGO-ALPHA", "V01", false, false, 0x1F, 400},
    {"FINISAR-400G-FR4", 0xC2, "QSFPDD 400G FR4", "HDX-400G-FR4-V", "", false, false, 0x1F, 400},
    {"MULTILANE-400G-PLB", 0xC4, "QSFPDD 400G PASSIVE LB", "HDX-400G-PLB-V", "", false, true, 0x00, 400},
    {"400G-DR4-DPINIT14", 0xC3, "QSFPDD 400G DR4", "HDX-400G-DR4-V", "", false, false, 0x1F, 400},
    {"400G-SR8", 0, "QSFPDD 400G UNKNOWN", "HDX-400G-UNKNOWN", "", false, false, 0x00, 400},
    {"PRE03-400G-CU", 0xC1, "QSFPDD 400G PASSIVE COPPER", "HDX-400G-CU1M", "0.3", true, true, 0x00, 400},
    {"PRE04-400G-LB", 0xC4, "QSFPDD 400G PASSIVE LB", "HDX-400G-LB-V", "0.4", false, true, 0x18, 400},
    {"PRE07-MOLEX-CU", 0xC1, "QSFPDD 400G PASSIVE COPPER", "HDX-400G-CU2M", "0.7", true, true, 0x00, 400},
    {"PRE07-MOLEX-AOC", 0, "QSFPDD 400G UNKNOWN", "HDX-400G-UNKNOWN", "", false, false, 0x00, 400},
};

void PrintTo(const Expected &e, std::ostream *os) { *os << e.name; }

class CmisIdentifyTest : public CmisPortTest, public ::testing::WithParamInterface<Expected> {};

TEST_P(CmisIdentifyTest, GivesTheTablesTypeTextsAndFlags) {
    const Expected &e = GetParam();
    insert_cmis(e.name);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT, 0, e.rc);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->hw_info.qsfp_type, e.type);
    EXPECT_STREQ(port->hw_info.qsfp_type_str, e.description);
    EXPECT_STREQ(port->hw_info.pid, e.pid);
    EXPECT_STREQ(port->hw_info.vid, e.vid);
    EXPECT_EQ(port->flat_mem, e.flat ? 1U : 0U);
    EXPECT_EQ(port->is_copper, e.flat ? 1U : 0U);
    EXPECT_EQ(state(port).passive, e.passive ? 1U : 0U);
    EXPECT_EQ(state(port).dom_support, e.dom);
    EXPECT_EQ(port->rate, e.rate);
    EXPECT_EQ(state(port).qualified, std::string(e.name).starts_with("KORVA") ? 1U : 0U);

    if (e.rc != QSFP_OK) {
        return;  // handed to the coherent driver, whose table answers from here on
    }
    std::uint32_t type = 0;
    char text[QSFP_TYPE_STR_LEN + 1] = {};
    std::uint32_t qualified = 7;
    ASSERT_EQ(qsfp_port_type(port, &type, text, sizeof text, &qualified), QSFP_OK);
    EXPECT_EQ(type, e.type);
    EXPECT_STREQ(text, e.description);
    // A coherent port's table answers its coherent flag in place of the qualified flag.
    EXPECT_EQ(qualified, state(port).coherent != 0 ? state(port).coherent : state(port).qualified);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, CmisIdentifyTest, ::testing::ValuesIn(kCatalogue),
                         [](const auto &info) {
                             std::string n = info.param.name;
                             for (char &c : n) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return n;
                         });

TEST_F(CmisPortTest, EveryCatalogueModuleHasAnExpectation) {
    for (const auto &entry : sim::cmis_catalogue()) {
        bool found = false;
        for (const Expected &e : kCatalogue) {
            if (entry.name == e.name) {
                found = true;
                EXPECT_EQ(entry.type_code, e.type) << entry.name << ": the catalogue expects another type";
            }
        }
        EXPECT_TRUE(found) << entry.name;
    }
}

}  // namespace
}  // namespace qsfp::test
