// The QSFP-DD show texts: the identifier view and the full paged view.
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/image_files.h"
#include "decode/show_text_port.h"
#include "support/stderr_capture.h"

namespace {

using namespace qsfp::test;

constexpr std::uint32_t kDriverSize = 9000;
const std::vector<std::string> kFullViewPages = {"lower", "00h", "01h", "02h", "03h", "10h", "11h"};

ModuleImage juniper() {
    return load_module_image(QSFP_TEST_DATA_DIR "/eeprom/cmis_JUNIPER-1G1_740-174932_1.bin");
}

BuiltText identifier_view(const std::vector<std::uint8_t> &lower, const std::vector<std::uint8_t> &page00,
                          std::uint32_t size, bool flat = false) {
    qsfp_port_ctx port = show_text_port(3, flat);
    return build_text(size, [&](char *out, std::uint32_t n) {
        return qsfp_drv_qsfpdd_get_eeprom_str(&port, out, n, lower.data(), page00.data());
    });
}

BuiltText full_view(const std::vector<std::uint8_t> &pages, std::uint32_t size, bool flat = false) {
    qsfp_port_ctx port = show_text_port(3, flat);
    return build_text(size, [&](char *out, std::uint32_t n) {
        return qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out, n, pages.data());
    });
}

TEST(CmisShowText, IdentifierViewLinesAndDumps) {
    const ModuleImage image = juniper();
    const BuiltText r = identifier_view(image.page("lower"), image.page("00h"), kDriverSize);
    ASSERT_EQ(r.rc, 0);
    const std::string expected_head =
        "\nQSFP EEPROM port: 3\n\tXcvr Type: QSFP-DD\n\tExt Type: \n\tConnector Type: Reserved\n\tEncoding: "
        "\n\tBR, nominal: \n\tLength SMF: , OM3: , OM2: , OM1: , Cable: 0M\n\tDevice Tech: 850nm VCSEL, Cooled "
        "Transmitter, APD Detector, \n\tVendor Name: JUNIPER-1G1     \n\tVendor OUI: 20.1b.c9\n\tVendor Part Number: "
        "740-174932        (rev.: 01)\n\tVendor Serial Number: 1G1TK1AA350AZ   \n\tWavelength: \n\tWavelength "
        "Tolerance: \n\tDate Code (yy/mm/dd): 25/08/26  lot code:   \n\tCLEI Code: CMUIAZ7BAA\nMSA Data (Lower "
        "Memory)\n0x0000: 19 51 00 07 ";
    EXPECT_EQ(r.text.substr(0, expected_head.size()), expected_head);
    EXPECT_TRUE(has(r.text, "0x0070: 22 55 4e e0 22 55 00 00 : 00 00 00 00 00 00 00 00 \n\nMSA Data (Upper Page0 "
                            "Memory)\n0x0080: 19 4a 55 4e 49 50 45 52 : "));
    EXPECT_EQ(count(r.text, "\n0x00"), 16u);
    EXPECT_EQ(r.text.back(), '\n');
}

TEST(CmisShowText, Revision7UsesTheSff8636Layout) {
    const ModuleImage sff = load_module_image(QSFP_TEST_DATA_DIR "/eeprom/sff8636_Mellanox_MMA1B00-SS1_1.bin");
    std::vector<std::uint8_t> lower = sff.page("lower");
    lower[1] = 7;
    const BuiltText r = identifier_view(lower, sff.page("00h"), kDriverSize);
    ASSERT_EQ(r.rc, 0);
    EXPECT_TRUE(has(r.text, "\n\tExt Type: 2.5W, TX CDR, RX CDR, \n\tConnector Type: MPO\n\tEncoding: 64B66B, "
                            "\n\tBR, nominal: 25500 Mbps\n\tLength SMF: 0KM, OM3: 70M, OM2: 0M, OM1: 0M, Cable: 50M"));
    EXPECT_TRUE(has(r.text, "\n\tVendor Name: Mellanox        "));
    EXPECT_TRUE(has(r.text, "\n\tWavelength: \n\tWavelength Tolerance: 15.000 nm"));
}

TEST(CmisShowText, FullViewSections) {
    const BuiltText r = full_view(juniper().layout(kFullViewPages), kDriverSize);
    ASSERT_EQ(r.rc, 0);
    const std::string &t = r.text;
    const char *const in_order[] = {
        "\nQSFP EEPROM port: 3\n\tXcvr Type: QSFP-DD",
        "\n\tCLEI Code: CMUIAZ7BAA\n\tPart Number: ",
        "\n\tModule\n\tThresholds:",
        "\n\t      Temperature:            +76.000 C             +73.000 C              -3.000 C              -6.000 C",
        "\n\n\tTemperature: +57.929 C\n\tVoltage: 3.306 Volt\n\n\tLanes\n\tThresholds:",
        "\n\t             Bias:        130.000 mAmps",
        "\n\n\t\t Lane            Temp            Bias                   Tx Power                        Rx Power",
        "\n\t\t    0             N/A            69.982 mAmps           1.97230 mW (2.94973 dBm)   1.69460 mW (2.29067 dBm)",
        "\n\t\t    7             N/A",
        "\nMSA Data (Lower Memory)\n0x0000: ",
        "\nMSA Data (Lower Memory)\n0x0000: ",
        "\n\nMSA Data (Upper Memory Page 00)\n0x0080: ",
        "\n\nMSA Data (Upper Memory Page 01)\n0x0100: ",
        "\n\nMSA Data (Upper Memory Page 02)\n0x0180: ",
        "\n\nMSA Data (Upper Memory Page 03)\n0x0200: ",
        "\n\nMSA Data (Upper Memory Page 10h)\n0x0280: ",
        "\n\nMSA Data (Upper Memory Page 11h)\n0x0300: ",
    };
    std::size_t at = 0;
    for (const char *part : in_order) {
        const std::size_t found = t.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part;
        at = found + 1;
    }
    EXPECT_EQ(count(t, "\nMSA Data (Lower Memory)\n"), 2u);
    EXPECT_EQ(t.substr(t.size() - 59), "0x0370: 11 22 33 44 55 66 77 88 : 11 22 33 44 55 66 77 88 \n");
}

TEST(CmisShowText, FullViewAlwaysShowsEightLanes) {
    std::vector<std::uint8_t> pages(QSFPDD_SHOW_IMAGE_SIZE, 0);
    pages[0] = 0x18;
    const BuiltText r = full_view(pages, kDriverSize);
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(count(r.text, "             N/A"), 8u);
    EXPECT_TRUE(has(r.text, "\n\t\t    7             N/A             0.000 mAmps             0.000 mW (<-40.00 dBm)     "
                            "0.000 mW (<-40.00 dBm)\n"));
}

TEST(CmisShowText, FlatMemoryShowsTheTypeButNoMonitors) {
    const std::vector<std::uint8_t> pages = juniper().layout(kFullViewPages);
    const BuiltText r = full_view(pages, kDriverSize, true);
    ASSERT_EQ(r.rc, 0);
    EXPECT_TRUE(has(r.text, "\n\tXcvr Type: QSFP-DD\n"));
    EXPECT_TRUE(has(r.text, "\n\n\tTemperature: \n\tVoltage: \n\n\tLanes"));
    const BuiltText id = identifier_view(std::vector<std::uint8_t>(pages.begin(), pages.begin() + 128),
                                         std::vector<std::uint8_t>(pages.begin() + 128, pages.begin() + 256),
                                         kDriverSize, true);
    EXPECT_TRUE(has(id.text, "\n\tXcvr Type: QSFP-DD\n"));
}

TEST(CmisShowText, FullViewOverflowLeavesTheCallersAreaAlone) {
    const std::vector<std::uint8_t> pages = juniper().layout(kFullViewPages);
    const BuiltText full = full_view(pages, kDriverSize);
    StderrCapture err;
    const BuiltText r = full_view(pages, static_cast<std::uint32_t>(full.text.size()));
    EXPECT_EQ(r.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(r.text, std::string(full.text.size(), kGuard));
    EXPECT_TRUE(r.guard_intact);
    EXPECT_TRUE(std::regex_match(err.take(), std::regex(" line [0-9]+  in FUN qsfpdd_op_drv_print_eeprom_str _size 472 "
                                                        "__SIZZE__ 472 \n")));
    const BuiltText tiny = full_view(pages, 4);
    EXPECT_EQ(tiny.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(err.take(), " line 1  in FUN qsfpdd_op_drv_print_eeprom_str _size 20 __SIZZE__ 4 \n");
}

TEST(CmisShowText, IdentifierViewOverflowKeepsTheTextSoFar) {
    const ModuleImage image = juniper();
    const BuiltText full = identifier_view(image.page("lower"), image.page("00h"), kDriverSize);
    StderrCapture err;
    const BuiltText tiny = identifier_view(image.page("lower"), image.page("00h"), 4);
    EXPECT_EQ(tiny.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(tiny.text, "");
    EXPECT_EQ(err.take(), " line 1  in FUN qsfpdd_drv_print_eeprom_str _size 20 __SIZZE__ 4 \n");
    const std::size_t cut = full.text.find("\nMSA Data (Upper Page0 Memory)\n");
    const BuiltText r = identifier_view(image.page("lower"), image.page("00h"), static_cast<std::uint32_t>(cut + 10));
    EXPECT_EQ(r.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(r.text, full.text.substr(0, cut));
    EXPECT_EQ(err.take(), " line 19  in FUN qsfpdd_drv_print_eeprom_str _size 31 __SIZZE__ 10 \n");
}

TEST(CmisShowText, NeverWritesPastTheCallersSize) {
    const ModuleImage image = juniper();
    const std::vector<std::uint8_t> pages = image.layout(kFullViewPages);
    const std::string id_full = identifier_view(image.page("lower"), image.page("00h"), kDriverSize).text;
    const std::string full = full_view(pages, kDriverSize).text;
    StderrCapture err;
    for (std::uint32_t size = 1; size <= full.size() + 2; ++size) {
        const BuiltText r = full_view(pages, size);
        ASSERT_TRUE(r.guard_intact) << "size " << size;
        ASSERT_EQ(r.rc, size > full.size() ? 0 : QSFP_SHOW_TEXT_OVERFLOW) << "size " << size;
        if (size <= id_full.size() + 2) {
            const BuiltText id = identifier_view(image.page("lower"), image.page("00h"), size);
            ASSERT_TRUE(id.guard_intact) << "size " << size;
            ASSERT_EQ(id_full.compare(0, id.text.size(), id.text), 0) << "size " << size;
        }
    }
    err.take();
}

TEST(CmisShowText, BadArgumentsWriteNothing) {
    qsfp_port_ctx port = show_text_port(3, false);
    const std::vector<std::uint8_t> pages(QSFPDD_SHOW_IMAGE_SIZE, 0);
    std::vector<char> out(64, kGuard);
    EXPECT_EQ(qsfp_drv_op_qsfpdd_get_eeprom_str(nullptr, out.data(), 64, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_op_qsfpdd_get_eeprom_str(&port, nullptr, 64, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out.data(), 64, nullptr), 22);
    EXPECT_EQ(qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out.data(), 0, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfpdd_get_eeprom_str(nullptr, out.data(), 64, pages.data(), pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfpdd_get_eeprom_str(&port, nullptr, 64, pages.data(), pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfpdd_get_eeprom_str(&port, out.data(), 64, nullptr, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfpdd_get_eeprom_str(&port, out.data(), 64, pages.data(), nullptr), 22);
    EXPECT_EQ(qsfp_drv_qsfpdd_get_eeprom_str(&port, out.data(), 0, pages.data(), pages.data()), 22);
    EXPECT_EQ(std::string(out.begin(), out.end()), std::string(64, kGuard));
}

}  // namespace
