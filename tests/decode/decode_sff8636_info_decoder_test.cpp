// The information record of the maker's page 02h layout.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

constexpr std::size_t kRows = QSFP8636_INFO_RECORD_ROWS;

RecordBuffer decode(const Page &page02) {
    RecordBuffer rec(kRows);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_korva_info(page02.data(), rec.data()), QSFP_OK);
    return rec;
}

TEST(Sff8636InfoDecoder, LabelsOfEveryRow) {
    const std::vector<const char *> labels = {
        "clei",         "korva_partnum", "vid",          "temp_range",       "lbcScaleMinus40",  "lbcScaleMinus5",
        "lbcScale20",   "lbcScale45",    "lbcScale70",   "lbcScale85",       "tempAtMfg",        "ch1_bias_current",
        "ch1_tx_op",    "pid",           "qsfp_spec_edcs", "qsfp_spec_rev",  "ch2_bias_current", "ch3_bias_current",
        "ch4_bias_current", "ch2_tx_op", "ch3_tx_op",    "ch4_tx_op",        "ch1_rx_power",     "ch2_rx_power",
        "ch3_rx_power", "ch4_rx_power"};
    const RecordBuffer rec = decode(Page{});
    expect_labels(rec, labels);
    for (std::size_t row : {12u, 19u, 20u, 21u, 22u, 23u, 24u, 25u}) {
        EXPECT_STREQ(rec[row].value, "") << "row " << row;
        EXPECT_STREQ(rec[row].hex, "") << "row " << row;
    }
}

TEST(Sff8636InfoDecoder, ValuesAndHexColumns) {
    Page page{};
    std::memcpy(&page[at(128)], "WMOTB00ARA", 10);
    std::memcpy(&page[at(138)], "10-2652-03", 10);
    std::memcpy(&page[at(148)], "V03 ", 4);
    page[at(152)] = 0x13;
    put_word(page, at(168), 0x0100);
    put_word(page, at(170), 0x0180);
    put_word(page, at(172), 0xFF80);
    put_word(page, at(180), 0xFF80);
    put_word(page, at(182), 3250);
    std::memcpy(&page[at(192)], "QSFP-40G-SR4        ", 20);
    std::memcpy(&page[at(224)], "EDCS01", 6);
    std::memcpy(&page[at(230)], "A0", 2);
    put_word(page, at(234), 6000);
    put_word(page, at(236), 0xFFFF);
    put_word(page, at(238), 1);
    const RecordBuffer rec = decode(page);
    EXPECT_STREQ(rec[0].value, "WMOTB00ARA");
    EXPECT_STREQ(rec[1].value, "10-2652-03");
    EXPECT_STREQ(rec[2].value, "V03 ");
    EXPECT_STREQ(rec[3].value, "IND, industrial -40C to 70C, ");
    EXPECT_STREQ(rec[4].value, "1.000");
    EXPECT_STREQ(rec[5].value, "1.500");
    EXPECT_STREQ(rec[6].value, "255.500");
    EXPECT_STREQ(rec[10].value, "-0.500");
    EXPECT_STREQ(rec[11].value, "6.500 mAmps");
    EXPECT_STREQ(rec[13].value, "QSFP-40G-SR4        ");
    EXPECT_STREQ(rec[14].value, "EDCS01");
    EXPECT_STREQ(rec[15].value, "A0");
    EXPECT_STREQ(rec[16].value, "12.000 mAmps");
    EXPECT_STREQ(rec[17].value, "131.070 mAmps");
    EXPECT_STREQ(rec[18].value, "0.002 mAmps");
    EXPECT_EQ(std::string(rec[0].hex), hex_of(&page[at(128)], 10));
    EXPECT_EQ(std::string(rec[13].hex), hex_of(&page[at(192)], 20));
    EXPECT_STREQ(rec[3].hex, "13 ");
    EXPECT_STREQ(rec[10].hex, "ff 80 ");
    EXPECT_STREQ(rec[18].hex, "00 01 ");
}

TEST(Sff8636InfoDecoder, TemperatureRangeFromTheLowNibble) {
    walk_byte(qsfp8636_xcvr_decode_qsfp8636_korva_info, kRows, Page{}, at(152), 3, [](std::uint8_t b) {
        switch (b & 0x0F) {
        case 1:
            return std::string("COM, commercial -5C to 70C, ");
        case 2:
            return std::string("EXT, extended -5C to 85, ");
        case 3:
            return std::string("IND, industrial -40C to 70C, ");
        default:
            return std::string("Unknown temp range, ");
        }
    });
}

TEST(Sff8636InfoDecoder, ClearsTheRecordAndRefusesNull) {
    RecordBuffer rec(kRows, '\x33');
    Page page{};
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_korva_info(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_korva_info(page.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].label[0], '\x33');
    ASSERT_EQ(qsfp8636_xcvr_decode_qsfp8636_korva_info(page.data(), rec.data()), QSFP_OK);
    EXPECT_STREQ(rec[0].value, "");
    EXPECT_STREQ(rec[12].value, "");
}

}  // namespace
