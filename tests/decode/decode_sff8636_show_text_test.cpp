// The SFF-8636 show text: its sections, the optional lines, the driver's
// records, the flat-memory text, and what the caller's size does to it.
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
constexpr std::size_t kPage02 = 384;

// A paged module with all of pages 00h-03h.
std::vector<std::uint8_t> paged_image() {
    return load_module_image(QSFP_TEST_DATA_DIR "/eeprom/sff8636_Mellanox_MMA1B00-SS1_1.bin")
        .layout({"lower", "00h", "01h", "02h", "03h"});
}

std::vector<std::uint8_t> flat_image() {
    return load_module_image(QSFP_TEST_DATA_DIR "/eeprom/sff8636_OEM_QSFP-H40G-CU1M-C_1.bin").layout({"lower", "00h"});
}

BuiltText build(const std::vector<std::uint8_t> &pages, std::uint32_t size, bool flat = false,
                qsfp_port_ctx *custom = nullptr) {
    qsfp_port_ctx port = show_text_port(7, flat);
    qsfp_port_ctx *p = custom != nullptr ? custom : &port;
    return build_text(size, [&](char *out, std::uint32_t n) {
        return qsfp_drv_qsfp8636_get_eeprom_str(p, out, n, pages.data());
    });
}

TEST(Sff8636ShowText, PagedModuleSectionsInOrder) {
    const BuiltText r = build(paged_image(), kDriverSize);
    ASSERT_EQ(r.rc, 0);
    const std::string &t = r.text;
    const char *const in_order[] = {
        "\nQSFP8636 EEPROM port: 7\n\tXcvr Type: QSFP28\n\tExt Type: 2.5W, TX CDR, RX CDR, ",
        "\n\tEthernet Compliance Codes: 100G BASE-SR4, ",
        "\n\tEncoding: 64B66B, \n\tBR, nominal: 25500 Mbps",
        "\n\tDeice Tech: 850nm VCSEL, ",
        "\n\tVendor Name: Mellanox        \n\tVendor OUI: 00.02.c9",
        "\n\tVendor Serial Number: FIXEDSN00001\n\tDate Code (yy/mm/dd): 24/03/15  lot code: 01",
        "\n\tOptions: \n",
        "\n\tL-Tx/Rx LOS: ",
        "\n\tModule DDM: ",
        "\nMSA Data (Lower Memory)\n0x0000: 11 07 00 ",
        "\n\nMSA Data (Upper Memory Page 00)\n0x0080: 11 8c 0c ",
        "\n\tCLEI Code: CLEI000001\n\tPart Number: TEST-PN-0001 (ver.: V01)\n\tProduct Id: QSFP-100G-TEST",
        "\nMSA Data (Upper Memory Page 02)\n0x0180: ",
        "\n\tModule\n\tThresholds:                   Alarm High          Warning High          Warning Low          "
        "Alarm Low\n\t      Temperature:            +80.000 C             +70.000 C              +0.000 C      "
        "       -10.000 C",
        "\n\n\tTemperature: +39.472 C\n\tVoltage: 3.341 Volt\n\n\tLanes\n\tThresholds:",
        "\n\n\tTxRxIOMagId: \n\n\tRxOpAmpSupprt: ",
        "\n\n\t\t Lane            Temp            Bias                   Tx Power                   Rx Power",
        "\n\t\t    0             N/A     6.500 mAmps   1.12202 mW (0.50000 dBm)   0.74989 mW (-1.25000 dBm)",
        "\n\t\t    3             N/A    12.002 mAmps   0.63096 mW (-2.00000 dBm)   0.00010 mW (-40.00000 dBm)",
        "\nMSA Data (Upper Memory Page 03)\n0x0200: 50 00 f6 00 ",
    };
    std::size_t at = 0;
    for (const char *part : in_order) {
        const std::size_t found = t.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part;
        at = found;
    }
    EXPECT_EQ(t.substr(t.size() - 59), "0x0270: 00 00 00 00 00 00 00 00 : 00 00 00 00 00 00 00 00 \n");
    EXPECT_EQ(count(t, "N/A"), 4u);
}

TEST(Sff8636ShowText, SizeSmallerThanTheFirstLineCopiesAnEmptyText) {
    StderrCapture err;
    const BuiltText r = build(paged_image(), 10);
    EXPECT_EQ(r.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(r.text, "");
    EXPECT_TRUE(r.guard_intact);
    EXPECT_EQ(err.take(), " line 1  in FUN qsfp_drv_qsfp8636_print_eeprom_str _size 24 __SIZZE__ 10 \n");
}

TEST(Sff8636ShowText, SizeThatCutsMidwayKeepsTheLinesSoFar) {
    const BuiltText full = build(paged_image(), kDriverSize);
    ASSERT_EQ(full.rc, 0);
    // The Vendor OUI line ends at a known place; one character less cuts it.
    const std::string oui = "\n\tVendor OUI: 00.02.c9";
    const std::size_t end = full.text.find(oui) + oui.size();
    StderrCapture err;
    const BuiltText r = build(paged_image(), static_cast<std::uint32_t>(end));
    EXPECT_EQ(r.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(r.text, full.text.substr(0, full.text.find(oui)));
    EXPECT_TRUE(r.guard_intact);
    const std::string report = err.take();
    EXPECT_TRUE(std::regex_match(report, std::regex(" line [0-9]+  in FUN qsfp_drv_qsfp8636_print_eeprom_str _size "
                                                    "22 __SIZZE__ 22 \n")))
        << report;
    const BuiltText fits = build(paged_image(), static_cast<std::uint32_t>(end + 1));
    EXPECT_EQ(fits.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(fits.text.substr(0, end), full.text.substr(0, end));
}

TEST(Sff8636ShowText, NeverWritesPastTheCallersSize) {
    const BuiltText full = build(paged_image(), kDriverSize);
    const std::uint32_t length = static_cast<std::uint32_t>(full.text.size());
    StderrCapture err;
    for (std::uint32_t size = 1; size <= length + 2; ++size) {
        const BuiltText r = build(paged_image(), size);
        ASSERT_TRUE(r.guard_intact) << "size " << size;
        ASSERT_EQ(r.rc, size > length ? 0 : QSFP_SHOW_TEXT_OVERFLOW) << "size " << size;
        ASSERT_EQ(full.text.compare(0, r.text.size(), r.text), 0) << "size " << size;
    }
    err.take();
}

TEST(Sff8636ShowText, SizeAbove9000GivesTheSameText) {
    const BuiltText at_limit = build(paged_image(), kDriverSize);
    StderrCapture err;
    const BuiltText larger = build(paged_image(), 20000);
    EXPECT_EQ(larger.rc, 0);
    EXPECT_EQ(larger.text, at_limit.text);
    EXPECT_TRUE(larger.guard_intact);
    EXPECT_EQ(err.take(), "");
}

TEST(Sff8636ShowText, UnmonitoredCableHasNoModuleOrLanesSection) {
    std::vector<std::uint8_t> pages = paged_image();
    std::memcpy(&pages[kPage02 + 64], "QSFP-T40G-CAB10M    ", 20);
    const BuiltText r = build(pages, kDriverSize);
    ASSERT_EQ(r.rc, 0);
    EXPECT_FALSE(has(r.text, "\n\tModule\n"));
    EXPECT_FALSE(has(r.text, "\n\n\tLanes"));
    EXPECT_FALSE(has(r.text, "TxRxIOMagId"));
    EXPECT_FALSE(has(r.text, " Lane "));
    EXPECT_TRUE(has(r.text, "\nMSA Data (Upper Memory Page 02)\n"));
    EXPECT_TRUE(has(r.text, "\nMSA Data (Upper Memory Page 03)\n0x0200: "));

    std::memcpy(&pages[kPage02 + 64], "QSFP-T40G-CAB10MX", 17);  // only 16 characters count
    EXPECT_FALSE(has(build(pages, kDriverSize).text, "\n\tModule\n"));
    std::memcpy(&pages[kPage02 + 64], "QSFP-T40G-CAB1  ", 16);
    EXPECT_TRUE(has(build(pages, kDriverSize).text, "\n\tModule\n"));
}

TEST(Sff8636ShowText, EmptyOptionalValuesArePrintedWithNothingBehind) {
    std::vector<std::uint8_t> pages = paged_image();
    pages[132] = 0;  // SONET, SAS, Gigabit Ethernet compliance
    pages[133] = 0;
    pages[134] = 0;
    const std::string t = build(pages, kDriverSize).text;
    EXPECT_TRUE(has(t, "\n\tSONET Compliance codes: \n\tSAS/SATA compliance codes: \n\tGigabit Ethernet Compliant "
                       "codes: \n\tEncoding: "));
}

TEST(Sff8636ShowText, ValuesBeginningWithUAreLeftOut) {
    std::vector<std::uint8_t> pages = paged_image();
    for (std::size_t byte = 135; byte <= 139; ++byte) {
        pages[byte] = 0;  // Fibre Channel bytes and encoding: "Undefined, "
    }
    std::string t = build(pages, kDriverSize).text;
    for (const char *label : {"\n\tEncoding:", "\n\tFibre Channel link length:", "\n\tTransmitter Technology:",
                              "\n\tFibre Channel transmission media:", "\n\tFibre Channel Speed:"}) {
        EXPECT_FALSE(has(t, label)) << label;
    }
    pages[135] = 0x40;
    pages[136] = 0x10;
    pages[137] = 0x01;
    pages[138] = 0x80;
    pages[139] = 0x03;
    t = build(pages, kDriverSize).text;
    EXPECT_TRUE(has(t, "\n\tEncoding: NRZ, \n\tBR, nominal:"));
    EXPECT_TRUE(has(t, "\n\tFibre Channel link length: Short, \n\tTransmitter Technology: Longwave Laser, "
                       "\n\tFibre Channel transmission media: SM, \n\tFibre Channel Speed: 1200MB, \n\tL-Tx/Rx LOS:"));
}

TEST(Sff8636ShowText, AsksTheDriverForStatusAndInventoryOnce) {
    slot_calls() = {};
    ASSERT_EQ(build(paged_image(), kDriverSize).rc, 0);
    EXPECT_EQ(slot_calls().hw_status, 1);
    EXPECT_EQ(slot_calls().hw_info, 1);
}

TEST(Sff8636ShowText, DriverWithoutTheSlotsLeavesTheRecordsEmpty) {
    qsfp_port_ctx port = show_text_port(7, false);
    port.fvt.get_hw_status = nullptr;
    port.fvt.get_hw_info = nullptr;
    const BuiltText r = build(paged_image(), kDriverSize, false, &port);
    ASSERT_EQ(r.rc, 0);
    EXPECT_TRUE(has(r.text, "\n\tVendor Serial Number: \n\tDate Code (yy/mm/dd): \n\tDiagnostic Monitoring Type:"));
    EXPECT_TRUE(has(r.text, "\n\tCLEI Code: \n\tPart Number:  (ver.: )\n\tProduct Id: \n"));
    EXPECT_TRUE(has(r.text, "Rx Power\nMSA Data (Upper Memory Page 03)"));
}

TEST(Sff8636ShowText, InventoryTextsAreCutAtTheirFields) {
    qsfp_port_ctx port = show_text_port(7, false);
    port.fvt.get_hw_info = [](qsfp_port_ctx *, qsfp_hw_info *info) -> std::uint32_t {
        *info = fixed_hw_info();
        std::memset(info->serial_number, 'S', sizeof info->serial_number);  // no terminator
        std::memset(info->pid, 'P', sizeof info->pid);
        return 0;
    };
    const BuiltText r = build(paged_image(), kDriverSize, false, &port);
    ASSERT_EQ(r.rc, 0);
    EXPECT_TRUE(has(r.text, "\n\tVendor Serial Number: " + std::string(16, 'S') + "\n\tDate Code"));
    EXPECT_TRUE(has(r.text, "\n\tProduct Id: " + std::string(20, 'P') + "\nMSA Data (Upper Memory Page 02)"));
}

TEST(Sff8636ShowText, LaneLinesFollowTheLaneCount) {
    qsfp_port_ctx port = show_text_port(7, false);
    port.fvt.get_hw_status = [](qsfp_port_ctx *, qsfp_hw_status *s) -> std::uint32_t {
        *s = fixed_hw_status();
        s->media_type = 0x208;
        return 0;
    };
    const BuiltText r = build(paged_image(), kDriverSize, false, &port);
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(count(r.text, "N/A"), 8u);
    EXPECT_TRUE(has(r.text, "\n\t\t    7             N/A     0.000 mAmps   1.00000 mW (0.00000 dBm)"));
}

TEST(Sff8636ShowText, FlatMemoryModule) {
    slot_calls() = {};
    const std::vector<std::uint8_t> pages = flat_image();
    const BuiltText r = build(pages, kDriverSize, true);
    ASSERT_EQ(r.rc, 0);
    const std::string &t = r.text;
    EXPECT_EQ(t.rfind("\nQSFP8636 EEPROM port: 7\n\tXcvr Type: QSFP+\n", 0), 0u);
    EXPECT_TRUE(has(t, "\n\tDevice Tech: "));
    EXPECT_FALSE(has(t, "Deice"));
    EXPECT_TRUE(has(t, "\n\tVendor Serial Number: "));
    EXPECT_FALSE(has(t, "FIXEDSN00001"));
    EXPECT_TRUE(std::regex_search(t, std::regex("\n\tDate Code \\(yy/mm/dd\\): [0-9]{2}/[0-9]{2}/[0-9]{2}  lot code: ")));
    EXPECT_TRUE(has(t, "\nMSA Data (Lower Memory)\n0x0000: "));
    EXPECT_TRUE(has(t, "\n\nMSA Data (Upper Memory Page 00)\n0x0080: "));
    EXPECT_TRUE(std::regex_search(t, std::regex("0x00f0: [^\n]*\n\n\tCLEI Code: [^\n]*\n\tPart Number: [^\n]* \\(ver\\.: "
                                                "[^\n]*\\)\n\tProduct Id: [^\n]*$")));
    for (const char *absent : {"L-Tx", "Page 02", "Page 03", "\n\tModule", "Lanes"}) {
        EXPECT_FALSE(has(t, absent)) << absent;
    }
    EXPECT_EQ(slot_calls().hw_status, 0);
    EXPECT_EQ(slot_calls().hw_info, 0);
}

TEST(Sff8636ShowText, FlatMemoryOverflowNamesItsBuilder) {
    StderrCapture err;
    const BuiltText r = build(flat_image(), 5, true);
    EXPECT_EQ(r.rc, QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(r.text, "");
    EXPECT_EQ(err.take(), " line 1  in FUN qsfp_drv_qsfp28_print_eeprom_str _size 24 __SIZZE__ 5 \n");
}

TEST(Sff8636ShowText, BadArgumentsWriteNothing) {
    qsfp_port_ctx port = show_text_port(7, false);
    const std::vector<std::uint8_t> pages = paged_image();
    std::vector<char> out(64, kGuard);
    EXPECT_EQ(qsfp_drv_qsfp8636_get_eeprom_str(nullptr, out.data(), 64, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfp8636_get_eeprom_str(&port, nullptr, 64, pages.data()), 22);
    EXPECT_EQ(qsfp_drv_qsfp8636_get_eeprom_str(&port, out.data(), 64, nullptr), 22);
    EXPECT_EQ(qsfp_drv_qsfp8636_get_eeprom_str(&port, out.data(), 0, pages.data()), 22);
    EXPECT_EQ(std::string(out.begin(), out.end()), std::string(64, kGuard));
}

}  // namespace
