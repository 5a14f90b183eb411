// The identifier record of SFF-8636 upper page 00h: labels, values, hex
// columns, the Ethernet compliance rows and every bit-decode table.
#include <cstring>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

constexpr std::size_t kRows = QSFP8636_ID_RECORD_ROWS;

// Page 00h buffer index of memory byte `byte`.
RecordBuffer decode(const Page &page) {
    RecordBuffer rec(kRows);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_id(page.data(), rec.data()), QSFP_OK);
    return rec;
}

void walk(std::size_t byte, std::size_t row, const std::function<std::string(std::uint8_t)> &expected,
          Page page = {}) {
    walk_byte(qsfp8636_xcvr_decode_qsfp8636_id, kRows, page, at(byte), row, expected);
}

// The one text whose value equals the byte (or the masked byte), if any.
std::string exact(std::uint8_t value, const std::map<unsigned, const char *> &texts) {
    const auto it = texts.find(value);
    return it == texts.end() ? "" : listed({it->second});
}

TEST(Sff8636IdDecoder, AllZeroPage) {
    const RecordBuffer rec = decode(Page{});
    EXPECT_STREQ(rec[0].value, "UNSPECIFIED");
    EXPECT_STREQ(rec[2].value, "unspecified");
    EXPECT_STREQ(rec[3].value, "");
    EXPECT_STREQ(rec[11].value, "Undefined, ");
    EXPECT_STREQ(rec[27].value, "70C");
    EXPECT_STREQ(rec[12].value, "");
    EXPECT_STREQ(rec[1].value, "1.5W, ");
}

TEST(Sff8636IdDecoder, LabelsOfEveryRow) {
    const std::vector<const char *> labels = {
        "xcvrType",     "extType",       "connectorType",  "etherCompCode",     "sonetCompCode",
        "sasCompCode",  "gigEthCompCode", "fibreChLinkLength", "fibreChTranTech", "fibreChTranMedia",
        "fibreChSpeed", "encoding",      "bitRate",        "rateSelect",        "length1",
        "length2",      "length3",       "length4",        "length5",           "devTech",
        "vendor_name",  "extModule",     "vendorOUI",      "vendor_pn",         "vendor_rev",
        "wavelength",   "wavelengthTol", "maxCaseTemp",    "baseIdChecksum",    "linkcodes",
        "",             "vendor_sn",     "dateCode",       "diagMonType",       "enhancedOptions",
        "nbitRate",     "extIdChecksum", ""};
    const RecordBuffer rec = decode(Page{});
    expect_labels(rec, labels);
    EXPECT_TRUE(rec.row_is_zero(30));
    EXPECT_TRUE(rec.row_is_zero(37));
}

TEST(Sff8636IdDecoder, HexColumnsShowEachRowsBytes) {
    Page page;
    for (std::size_t i = 0; i < page.size(); ++i) {
        page[i] = static_cast<std::uint8_t>(0x80 + i);
    }
    const RecordBuffer rec = decode(page);
    // {row, first memory byte, count}
    const struct {
        std::size_t row;
        unsigned byte;
        std::size_t count;
    } spans[] = {{0, 128, 1},  {1, 129, 1},  {2, 130, 1},  {3, 131, 1},  {4, 132, 1},  {5, 133, 1},  {6, 134, 1},
                 {7, 135, 1},  {8, 136, 1},  {9, 137, 1},  {10, 138, 1}, {11, 139, 1}, {12, 140, 1}, {13, 141, 1},
                 {14, 142, 1}, {15, 143, 1}, {16, 144, 1}, {17, 145, 1}, {18, 146, 1}, {19, 147, 1}, {20, 148, 16},
                 {21, 164, 1}, {22, 165, 3}, {23, 168, 16}, {24, 184, 2}, {25, 186, 2}, {26, 188, 2}, {27, 190, 1},
                 {28, 191, 1}, {29, 224, 1}, {31, 196, 16}, {32, 212, 8}, {33, 220, 1}, {34, 221, 1}, {35, 222, 1},
                 {36, 223, 1}};
    for (const auto &s : spans) {
        EXPECT_EQ(std::string(rec[s.row].hex), hex_of(page.data() + at(s.byte), s.count)) << "row " << s.row;
    }
    EXPECT_STREQ(rec[30].hex, "");
    EXPECT_STREQ(rec[37].hex, "");
}

TEST(Sff8636IdDecoder, DecoderClearsTheRecordFirst) {
    RecordBuffer rec(kRows, '\x7F');
    ASSERT_EQ(qsfp8636_xcvr_decode_qsfp8636_id(Page{}.data(), rec.data()), QSFP_OK);
    EXPECT_TRUE(rec.row_is_zero(30));
    EXPECT_TRUE(rec.row_is_zero(37));
    EXPECT_STREQ(rec[13].value, "");
}

TEST(Sff8636IdDecoder, NullPointersAnswerInvalid) {
    RecordBuffer rec(kRows, '\x7F');
    Page page{};
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_id(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_id(page.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].label[0], '\x7F');
}

TEST(Sff8636IdDecoder, NoComplianceBytesShowTheVendorCodeTwice) {
    Page page{};
    page[at(224)] = 1;
    RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[3].value, "100G ER4L-V, 100G ER4L-V, ");
    EXPECT_STREQ(rec[29].label, "linkcodes");
    EXPECT_STREQ(rec[29].value, "");
    EXPECT_STREQ(rec[29].hex, "01 ");
    EXPECT_STREQ(rec[3].hex, "00 ");

    page[at(224)] = 5;
    rec = decode(page);
    EXPECT_STREQ(rec[3].value, "100G CWDM4-FEC, 100G CWDM4-FEC, ");

    page[at(224)] = 2;
    rec = decode(page);
    EXPECT_STREQ(rec[3].value, "");
    EXPECT_STREQ(rec[29].value, "");
}

TEST(Sff8636IdDecoder, ExtendedIdBitDecodesByte192IntoBothRows) {
    Page page{};
    page[at(131)] = 0x80;
    page[at(192)] = 0x02;
    page[at(224)] = 1;
    const RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[3].value, "100G BASE-SR4, ");
    EXPECT_STREQ(rec[29].label, "linkcodes");
    EXPECT_STREQ(rec[29].value, "100G BASE-SR4, ");
    EXPECT_STREQ(rec[29].hex, "01 ");
}

TEST(Sff8636IdDecoder, EthernetCodeWithoutExtendedBit) {
    Page page{};
    page[at(131)] = 0x04;
    RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[3].value, "40G BASE-SR4, ");
    EXPECT_STREQ(rec[29].value, "Unspecified, ");

    page[at(131)] = 0x00;
    page[at(192)] = 0x0B;
    rec = decode(page);
    EXPECT_STREQ(rec[3].value, "40G BASE-CR4(Active), ");
    EXPECT_STREQ(rec[29].value, "100G BASE-CR4, ");
}

TEST(Sff8636IdDecoder, EthernetComplianceTableMatchesWholeBytes) {
    Page page{};
    page[at(192)] = 0x55;  // no link code: row 3 shows only what byte 131 gives
    const std::map<unsigned, const char *> single = {
        {0x40, "10G BASE-LRM"}, {0x20, "10G BASE-LR"}, {0x10, "10G BASE-SR"}, {0x08, "40G BASE-CR4(Passive)"},
        {0x04, "40G BASE-SR4"}, {0x02, "40G BASE-LR4"}, {0x01, "40G Active Cable"}, {0x00, "40G BASE-CR4(Active)"}};
    walk(131, 3, [&](std::uint8_t b) { return (b & 0x80) != 0 ? "" : exact(b, single); }, page);
}

TEST(Sff8636IdDecoder, LinkCodesTable) {
    Page page{};
    page[at(131)] = 0x80;
    const std::map<unsigned, const char *> codes = {
        {0x00, "Unspecified"},   {0x01, "100G AOC"},      {0x02, "100G BASE-SR4"},  {0x03, "100G BASE-LR4"},
        {0x04, "100G BASE-ER4"}, {0x05, "100G BASE-SR10"}, {0x06, "100G CWDM4-FEC"}, {0x07, "100G PSM4-V"},
        {0x08, "100G ACC"},      {0x09, "100G CWDM4"},    {0x0B, "100G BASE-CR4"},  {0x0D, "100G BASE-CR4 NO FEC"},
        {0x10, "40G BASE-ER4"},  {0x11, "4x10G BASE-SR"}, {0x12, "40G PSM4"},       {0x13, "G959 P1I1-2D1"},
        {0x14, "G959 P1S1-2D2"}, {0x15, "G959 P1L1-2D2"}, {0x16, "10G BASE-SFI"},   {0x1F, "100G ER4L-V"},
        {0x26, "100G FR-V"},     {0x27, "100G LR-V"}};
    walk(192, 29, [&](std::uint8_t b) { return exact(b, codes); }, page);
    walk(192, 3, [&](std::uint8_t b) { return exact(b, codes); }, page);
}

TEST(Sff8636IdDecoder, IdentifierAndConnectorTexts) {
    // The identifier texts themselves are walked in the formatter suite.
    const std::map<unsigned, const char *> identifiers = {
        {0x00, "UNSPECIFIED"}, {0x0C, "QSFP"}, {0x0D, "QSFP+"}, {0x11, "QSFP28"}, {0x17, "microQSFP"},
        {0x18, "Unknown"},     {0xFF, "Unknown"}};
    for (const auto &[code, text] : identifiers) {
        Page page{};
        page[at(128)] = static_cast<std::uint8_t>(code);
        EXPECT_STREQ(decode(page)[0].value, text);
    }
    const std::map<unsigned, const char *> connectors = {
        {0x00, "unspecified"}, {0x01, "SC"},          {0x02, "FC Style 1"},      {0x03, "FC Style 2"},
        {0x04, "BNC/TNC"},     {0x05, "FC Coax Headers"}, {0x06, "Fiberjack"},   {0x07, "LC"},
        {0x08, "MT-RJ"},       {0x09, "MU"},          {0x0A, "SG"},              {0x0B, "Optical Pigtail"},
        {0x0C, "MPO"},         {0x0D, "MPO2"},        {0x20, "HSSDC II"},        {0x21, "Copper Pigtail"},
        {0x22, "RJ45"},        {0x23, "No Separable"}};
    walk(130, 2, [&](std::uint8_t b) {
        const auto it = connectors.find(b);
        return std::string(it == connectors.end() ? "Reserved" : it->second);
    });
}

TEST(Sff8636IdDecoder, ExtTypeTable) {
    walk(129, 1, [](std::uint8_t b) {
        const char *const power[] = {"1.5W", "2.0W", "2.5W", "3.5W"};
        const char *const high_power[] = {nullptr, "4.0W", "4.5W", "5.0W"};
        return listed({power[b >> 6]}) + set_bits(b, {{4, "CLEI"}, {3, "TX CDR"}, {2, "RX CDR"}}) +
               listed({high_power[b & 3]});
    });
}

TEST(Sff8636IdDecoder, SonetSasAndGigabitEthernetTables) {
    walk(132, 4, [](std::uint8_t b) {
        return exact(b & 0x07, {{4, "OC48 Long"}, {2, "OC48 Intermedite"}, {1, "OC48 Short"}});
    });
    walk(133, 5, [](std::uint8_t b) {
        return exact(b >> 4, {{8, "Reserved"}, {4, "SAS 12.0G"}, {2, "SAS 6.0G"}, {1, "SAS 3.0G"}});
    });
    walk(134, 6, [](std::uint8_t b) {
        return exact(b & 0x0F, {{8, "1000BASE-T"}, {4, "1000BASE-CX"}, {2, "1000BASE-LX"}, {1, "1000BASE-SX"}});
    });
}

TEST(Sff8636IdDecoder, FibreChannelTables) {
    walk(135, 7, [](std::uint8_t b) {
        return exact(b >> 3, {{0, "Undefined"}, {16, "Very Long"}, {8, "Short"}, {4, "Intermediate"}, {2, "Long"},
                              {1, "Medium"}}) +
               exact(b & 3, {{2, "Longwave Laser"}, {1, "Electrical Inter-enclosure"}});
    });
    walk(136, 8, [](std::uint8_t b) {
        return exact(b >> 4, {{0, "Undefined"}, {8, "Electrical Intra-enclosure"}, {4, "Shortwave Laser w/o OFC"},
                              {2, "Shortwave Laser w OFC"}, {1, "Longwave Laser"}});
    });
    walk(137, 9, [](std::uint8_t b) {
        return exact(b, {{0x00, "Undefined"}, {0x80, "Twin Axial Pair"}, {0x40, "Shielded Twisted Pair"},
                         {0x20, "Miniature Coax"}, {0x10, "Video Coax"}, {0x08, "MM 62.5m"}, {0x04, "MM 50m"},
                         {0x02, "MM 50um"}, {0x01, "SM"}});
    });
    walk(138, 10, [](std::uint8_t b) {
        return exact(b, {{0x00, "Undefined"}, {0x80, "1200MB"}, {0x40, "800MB"}, {0x20, "1600MB"}, {0x10, "400MB"},
                         {0x08, "3200MB"}, {0x04, "200MB"}, {0x01, "100MB"}});
    });
}

TEST(Sff8636IdDecoder, EncodingTable) {
    walk(139, 11, [](std::uint8_t b) {
        const char *const names[] = {"Undefined", "8B10B",  "4B5B",       "NRZ",
                                     "SONET Scrambled", "64B66B", "MANCHESTER", "256B257B"};
        return b < 8 ? listed({names[b]}) : "";
    });
}

TEST(Sff8636IdDecoder, DeviceTechnologyTable) {
    walk(147, 19, [](std::uint8_t b) {
        const char *const lasers[16] = {"850nm VCSEL",
                                        "1310nm VCSEL",
                                        "1550nm VCSEL",
                                        "1310nm FP",
                                        "1310nm DFB",
                                        "1550nm DFB",
                                        "1310nm EML",
                                        "1550nm EML",
                                        "Others",
                                        "1490nm DFB",
                                        "Copper cable unequalized",
                                        "Copper cable passive equalized",
                                        "Copper cable, near and far end limiting active equalizers",
                                        "Copper cable, far end limiting active equalizers",
                                        "Copper cable, near end limiting active equalizers",
                                        "Copper cable, linear active equalizers"};
        return listed({lasers[b >> 4]}) + set_bits(b, {{3, "Active WL Control"},
                                                       {2, "Cooled Transmitter"},
                                                       {1, "APD Detector"},
                                                       {0, "Tunable Transmitter"}});
    });
}

TEST(Sff8636IdDecoder, ExtendedModuleAndOptionTables) {
    walk(164, 21, [](std::uint8_t b) {
        return exact(b, {{0x10, "EDR"}, {0x08, "FDR"}, {0x04, "QDR"}, {0x02, "DDR"}, {0x01, "SDR"}});
    });
    walk(220, 33, [](std::uint8_t b) { return set_bits(b, {{3, "RX Avg"}, {2, "TX"}}); });
    walk(221, 34, [](std::uint8_t b) {
        return set_bits(b, {{4, "Init Complete Flag Impl"},
                            {3, "Extended Rate Selection"},
                            {2, "Application Select Table"}});
    });
}

TEST(Sff8636IdDecoder, NumbersAndTexts) {
    Page page{};
    page[at(140)] = 103;
    page[at(142)] = 10;
    page[at(143)] = 50;
    page[at(144)] = 3;
    page[at(145)] = 4;
    page[at(146)] = 5;
    std::memcpy(&page[at(148)], "FINISAR CORP.   ", 16);
    page[at(165)] = 0x00;
    page[at(166)] = 0x90;
    page[at(167)] = 0x65;
    std::memcpy(&page[at(168)], "FTL410QE2C      ", 16);
    std::memcpy(&page[at(184)], "A ", 2);
    page[at(186)] = 0x42;  // 17000 / 20 = 850 nm
    page[at(187)] = 0x68;
    page[at(188)] = 0x0B;  // 3000 / 200 = 15 nm
    page[at(189)] = 0xB8;
    page[at(190)] = 75;
    std::memcpy(&page[at(196)], "UY30DTX         ", 16);
    std::memcpy(&page[at(212)], "11051400", 8);
    const RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[12].value, "10300 Mbps");
    EXPECT_STREQ(rec[14].value, "10KM");
    EXPECT_STREQ(rec[15].value, "100M");
    EXPECT_STREQ(rec[16].value, "3M");
    EXPECT_STREQ(rec[17].value, "4M");
    EXPECT_STREQ(rec[18].value, "5M");
    EXPECT_STREQ(rec[20].value, "FINISAR CORP.   ");
    EXPECT_STREQ(rec[22].value, "00.90.65");
    EXPECT_STREQ(rec[23].value, "FTL410QE2C      ");
    EXPECT_STREQ(rec[24].value, "A ");
    EXPECT_STREQ(rec[25].value, "850.000 nm");
    EXPECT_STREQ(rec[26].value, "15.000 nm");
    EXPECT_STREQ(rec[27].value, "75C");
    EXPECT_STREQ(rec[31].value, "UY30DTX         ");
    EXPECT_STREQ(rec[32].value, "11/05/14  lot code: 00");
    EXPECT_STREQ(rec[13].value, "");
    EXPECT_STREQ(rec[28].value, "");
}

TEST(Sff8636IdDecoder, VendorTextStartingWithNulOrFfStaysEmpty) {
    Page page{};
    std::memcpy(&page[at(148)], "\0BCDEFGHIJKLMNOP", 16);
    RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[20].value, "");
    EXPECT_EQ(std::string(rec[20].hex), hex_of(&page[at(148)], 16));

    page[at(148)] = 0xFF;
    rec = decode(page);
    EXPECT_STREQ(rec[20].value, "");
    EXPECT_EQ(std::string(rec[20].hex), "ff 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 ");

    page[at(148)] = 0x1F;
    rec = decode(page);
    EXPECT_STREQ(rec[20].value, "");
}

TEST(Sff8636IdDecoder, VendorTextStopsAtItsNulOrLength) {
    Page page{};
    std::memcpy(&page[at(148)], "AB\0DEFGHIJKLMNOP", 16);
    std::memcpy(&page[at(168)], "0123456789ABCDEF", 16);
    page[at(184)] = 'Z';
    page[at(185)] = 0x01;  // only the first byte needs to be printable
    const RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[20].value, "AB");
    EXPECT_STREQ(rec[23].value, "0123456789ABCDEF");
    EXPECT_STREQ(rec[24].value, "Z\x01");
}

}  // namespace
