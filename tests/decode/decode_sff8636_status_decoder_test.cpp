// The status records of SFF-8636 lower memory: the paged module's 51 rows
// and the flat-memory module's 10, with every flag table.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

constexpr std::size_t kRows = QSFP8636_STATUS_RECORD_ROWS;
constexpr std::size_t kFlatRows = QSFP28_FLAT_STATUS_RECORD_ROWS;

RecordBuffer decode(const Page &lower) {
    RecordBuffer rec(kRows);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_status(lower.data(), rec.data()), QSFP_OK);
    return rec;
}

RecordBuffer decode_flat(const Page &lower) {
    RecordBuffer rec(kFlatRows);
    EXPECT_EQ(qsfp28_xcvr_decode_qsfp28_status(lower.data(), rec.data()), QSFP_OK);
    return rec;
}

void walk(std::size_t byte, std::size_t row, const std::function<std::string(std::uint8_t)> &expected) {
    walk_byte(qsfp8636_xcvr_decode_qsfp8636_status, kRows, Page{}, byte, row, expected);
}

// A lane text such as "TX# EQ", where # stands for the lane number.
std::string text_of(const std::string &pattern, int lane) {
    std::string text = pattern;
    text.replace(text.find('#'), 1, std::to_string(lane));
    return text;
}

// Four lanes on the high nibble (bit 4 = lane 1), then four on the low one.
std::string lanes(std::uint8_t b, const std::string &high_format, const std::string &low_format) {
    std::string out;
    for (int lane = 1; lane <= 4; ++lane) {
        if ((b >> (3 + lane)) & 1) {
            out += text_of(high_format, lane) + ", ";
        }
    }
    for (int lane = 1; lane <= 4; ++lane) {
        if ((b >> (lane - 1)) & 1) {
            out += text_of(low_format, lane) + ", ";
        }
    }
    return out;
}

// Two lanes of alarm and warning flags: high alarm, low alarm, high warning,
// low warning of the first lane on bits 7-4, of the second on bits 3-0.
std::string alarm_flags(std::uint8_t b, const std::string &first, const std::string &second) {
    const char *const kinds[] = {" HiAlarm", " LoAlarm", " HiWarn", " LoWarn"};
    std::string out;
    for (int i = 0; i < 8; ++i) {
        if ((b >> (7 - i)) & 1) {
            out += (i < 4 ? first : second) + kinds[i % 4] + ", ";
        }
    }
    return out;
}

TEST(Sff8636StatusDecoder, LabelsOfEveryRow) {
    const std::vector<const char *> labels = {
        "xcvrType",          "revision",         "status",       "tx_rx_los",     "tx_fault",
        "tx_rx_lol",         "tempAlarm_Warning", "vccAlarm_Warning", "rxPower1",  "rxPower2",
        "txBias1",           "txBias2",          "txPower1",     "txPower2",      "temp",
        "voltage",           "rx1Power",         "rx2Power",     "rx3Power",      "rx4Power",
        "tx1Power",          "tx2Power",         "tx3Power",     "tx4Power",      "tx1Bias",
        "tx2Bias",           "tx3Bias",          "tx4Bias",      "txDisable",     "rxRateSelect",
        "txRateSelect",      "rx4AppSelect",     "rx3AppSelect", "rx2AppSelect",  "rx1AppSelect",
        "power",             "tx4AppSelect",     "tx3AppSelect", "tx2AppSelect",  "tx1AppSelect",
        "tx_rx_cdrSelect",   "tx_rx_los_mask",   "tx_fault_mask", "tx_rx_cdr_lol_mask", "tempAlarm_Warning_mask",
        "vccAlarm_Warning_mask", "DDMCap",       "propdelay",    "oprmode",       "",
        ""};
    const RecordBuffer rec = decode(Page{});
    expect_labels(rec, labels);
    EXPECT_TRUE(rec.row_is_zero(49));
    EXPECT_TRUE(rec.row_is_zero(50));
}

TEST(Sff8636StatusDecoder, HexColumnsIncludingTheMovedAppSelectBytes) {
    Page lower;
    for (std::size_t i = 0; i < lower.size(); ++i) {
        lower[i] = static_cast<std::uint8_t>(i);
    }
    const RecordBuffer rec = decode(lower);
    const struct {
        std::size_t row;
        std::string hex;
    } expected[] = {
        {0, "00 "},       {1, "01 "},       {7, "07 "},       {8, "09 "},       {13, "0e "},
        {14, "16 17 "},   {15, "1a 1b "},   {16, "22 23 "},   {19, "28 29 "},   {20, "32 33 "},
        {23, "38 39 "},   {24, "2a 2b "},   {27, "30 31 "},   {28, "56 "},      {30, "58 "},
        {31, "59 5b "},   {32, "5a "},      {33, ""},         {34, "5c "},      {35, "5d "},
        {36, "5e 60 "},   {37, "5f "},      {38, ""},         {39, "61 "},      {40, "62 "},
        {45, "68 "},      {46, "6a "},      {47, "6c 6d "},   {48, "6e "},      {49, ""},
    };
    for (const auto &e : expected) {
        EXPECT_EQ(std::string(rec[e.row].hex), e.hex) << "row " << e.row;
    }
}

TEST(Sff8636StatusDecoder, VoltageIsShownFromByte26Alone) {
    Page lower{};
    lower[26] = 0x82;
    lower[27] = 0xC5;  // 33477 would be 3.348 V
    const RecordBuffer rec = decode(lower);
    EXPECT_STREQ(rec[15].value, "3.341 Volt");  // 0x8282 = 33410
    EXPECT_STREQ(rec[15].hex, "82 c5 ");
}

TEST(Sff8636StatusDecoder, MonitorValues) {
    Page lower{};
    lower[22] = 0x27;
    lower[23] = 0x79;
    lower[42] = 0x0C;  // 3250 x 2 uA
    lower[43] = 0xB2;
    lower[48] = 0xFF;
    lower[49] = 0xFF;
    lower[34] = 0x12;
    lower[35] = 0x34;
    const RecordBuffer rec = decode(lower);
    EXPECT_STREQ(rec[14].value, "+39.472 C");
    EXPECT_STREQ(rec[24].value, "6.500 mAmps");
    EXPECT_STREQ(rec[25].value, "0.000 mAmps");
    EXPECT_STREQ(rec[27].value, "131.070 mAmps");
    EXPECT_STREQ(rec[16].value, "");
    EXPECT_STREQ(rec[16].hex, "12 34 ");
}

TEST(Sff8636StatusDecoder, ClearsTheRecordAndRefusesNull) {
    RecordBuffer rec(kRows, '\x11');
    Page lower{};
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_status(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_status(lower.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].label[0], '\x11');
    ASSERT_EQ(qsfp8636_xcvr_decode_qsfp8636_status(lower.data(), rec.data()), QSFP_OK);
    EXPECT_TRUE(rec.row_is_zero(50));
    EXPECT_STREQ(rec[16].value, "");
}

TEST(Sff8636StatusDecoder, RevisionAndStatusTables) {
    walk(1, 1, [](std::uint8_t b) {
        const char *const names[] = {"Rev Not Specified", "SFF8436 Pre 4.8", "SFF8436 Pre 4.8 with 186-189",
                                     "SFF8636 Pre 1.3",   "SFF8636 1.4",     "SFF8636 1.5",
                                     "SFF8636 2.0",       "SFF8636 2.5"};
        return b < 8 ? listed({names[b]}) : "";
    });
    walk(2, 2, [](std::uint8_t b) { return set_bits(b, {{2, "Page 0 Only"}, {1, "IntL"}, {0, "Not Ready"}}); });
}

TEST(Sff8636StatusDecoder, LossFaultAndLockTables) {
    walk(3, 3, [](std::uint8_t b) { return lanes(b, "TX#", "RX#"); });
    walk(4, 4, [](std::uint8_t b) { return lanes(b, "TX# EQ", "TX#"); });
    walk(5, 5, [](std::uint8_t b) { return lanes(b, "TX#", "RX#"); });
}

TEST(Sff8636StatusDecoder, TemperatureAndVoltageFlagTables) {
    walk(6, 6, [](std::uint8_t b) {
        return set_bits(b, {{7, "Temp HiAlarm"}, {6, "Temp LoAlarm"}, {5, "Temp HiWarn"}, {4, "Temp LoWarn"},
                            {0, "Init Done"}});
    });
    walk(7, 7, [](std::uint8_t b) {
        return set_bits(b, {{7, "VCC HiAlarm"}, {6, "VCC LoAlarm"}, {5, "VCC HiWarn"}, {4, "VCC LoWarn"}});
    });
}

TEST(Sff8636StatusDecoder, LaneAlarmTables) {
    walk(9, 8, [](std::uint8_t b) { return alarm_flags(b, "RX1 Pwr", "RX2 Pwr"); });
    walk(11, 10, [](std::uint8_t b) { return alarm_flags(b, "TX1 Bias", "TX2 Bias"); });
    walk(12, 11, [](std::uint8_t b) { return alarm_flags(b, "TX3 Bias", "TX4 Bias"); });
    walk(13, 12, [](std::uint8_t b) { return alarm_flags(b, "TX1 PWR", "TX2 PWR"); });
    walk(14, 13, [](std::uint8_t b) { return alarm_flags(b, "TX3 PWR", "TX4 PWR"); });
}

TEST(Sff8636StatusDecoder, LanesThreeAndFourReceivePowerRepeatLowAlarm) {
    walk(10, 9, [](std::uint8_t b) {
        std::string out = set_bits(b, {{7, "RX3 Pwr HiAlarm"}});
        for (int bit = 6; bit >= 4; --bit) {
            out += set_bits(b, {{bit, "RX3 Pwr LoAlarm"}});
        }
        for (int bit = 3; bit >= 0; --bit) {
            out += set_bits(b, {{bit, "RX4 Pwr LoAlarm"}});
        }
        return out;
    });
}

TEST(Sff8636StatusDecoder, ControlTables) {
    walk(86, 28, [](std::uint8_t b) {
        return set_bits(b, {{0, "TX1 Disable"}, {1, "TX2 Disable"}, {2, "TX3 Disable"}, {3, "TX4 Disable"}});
    });
    const auto rate = [](std::uint8_t b, const std::string &format) {
        std::string out;
        for (int lane = 1; lane <= 4; ++lane) {
            if (((b >> (2 * (lane - 1))) & 3) == 3) {
                out += text_of(format, lane) + ", ";
            }
        }
        return out;
    };
    walk(87, 29, [&](std::uint8_t b) { return rate(b, "rate select. Rx Channel #"); });
    walk(88, 30, [&](std::uint8_t b) { return rate(b, "rate select. TX#"); });
    walk(93, 35, [](std::uint8_t b) {
        return set_bits(b, {{3, "High Power Class"}, {1, "Low Power Mode"}, {0, "Override LP mode"}});
    });
    walk(98, 40, [](std::uint8_t b) { return lanes(b, "TX# CDR", "RX# CDR"); });
}

TEST(Sff8636StatusDecoder, MaskTables) {
    walk(100, 41, [](std::uint8_t b) { return lanes(b, "TX# LOS Mask", "RX# LOS Mask"); });
    walk(101, 42, [](std::uint8_t b) { return lanes(b, "TX# EQ Fault Mask", "TX# Fault Mask"); });
    walk(102, 43, [](std::uint8_t b) { return lanes(b, "TX# LOL Mask", "RX# LOL Mask"); });
    walk(103, 44, [](std::uint8_t b) {
        return set_bits(b, {{7, "Temp HiAlarm Mask"}, {6, "Temp LoAlarm Mask"}, {5, "Temp HiWarm Mask"},
                            {4, "Temp LoWarn Mask"}});
    });
    walk(104, 45, [](std::uint8_t b) {
        return set_bits(b, {{7, "VCC HiAlarm Mask"}, {6, "VCC LoAlarm Mask"}, {5, "VCC HiWarn Mask"},
                            {4, "VCC LoWarn Mask"}});
    });
}

TEST(Sff8636StatusDecoder, MonitoringCapabilityAndOperatingModeTables) {
    walk(106, 46, [](std::uint8_t b) {
        return set_bits(b, {{4, "Volt"}, {3, "Temp"}, {2, "TX Power"}, {1, "TX Bias"}, {0, "RX Power"}});
    });
    const auto oprmode = [](std::uint8_t b) {
        const char *const power[] = {nullptr, "<1.00W", "<0.75W", "<0.50W"};
        const char *const supply[] = {"2.5V", "1.8V"};
        return listed({(b >> 4) < 4 ? power[b >> 4] : nullptr}) + set_bits(b, {{3, "8636 Complied"}}) +
               listed({(b & 7) < 2 ? supply[b & 7] : nullptr});
    };
    walk(110, 48, oprmode);
    walk_byte(qsfp28_xcvr_decode_qsfp28_status, kFlatRows, Page{}, 110, 8, oprmode);
}

TEST(Sff8636FlatStatusDecoder, RowsOfAFlatMemoryModule) {
    Page lower{};
    lower[0] = 0x0D;
    lower[1] = 0x07;
    lower[2] = 0x05;
    std::memcpy(&lower[34], "WMOTB00ARA", 10);
    std::memcpy(&lower[44], "10-2652-03", 10);
    std::memcpy(&lower[54], "V03 ", 4);
    std::memcpy(&lower[58], "QSFP-H40G-CU1M      ", 20);
    lower[110] = 0x18;
    lower[127] = 0x00;
    const RecordBuffer rec = decode_flat(lower);
    const std::vector<const char *> labels = {"xcvrType", "revision", "status", "clei", "vid",
                                           "korva_pn", "pid",      "",       "oprmode", "pageSelect"};
    expect_labels(rec, labels);
    EXPECT_STREQ(rec[0].value, "QSFP+");
    EXPECT_STREQ(rec[1].value, "SFF8636 2.5, ");
    EXPECT_STREQ(rec[2].value, "Page 0 Only, Not Ready, ");
    EXPECT_STREQ(rec[3].value, "WMOTB00ARA");
    EXPECT_STREQ(rec[4].value, "V03 ");
    EXPECT_STREQ(rec[5].value, "10-2652-03");
    EXPECT_STREQ(rec[6].value, "QSFP-H40G-CU1M      ");
    EXPECT_STREQ(rec[8].value, "<1.00W, 8636 Complied, 2.5V, ");
    EXPECT_STREQ(rec[9].value, "");
    EXPECT_STREQ(rec[9].hex, "00 ");
    EXPECT_EQ(std::string(rec[6].hex), hex_of(&lower[58], 20));
    EXPECT_TRUE(rec.row_is_zero(7));
}

TEST(Sff8636FlatStatusDecoder, UnprintableTextsStayEmptyAndNullIsRefused) {
    Page lower{};
    lower[34] = 0xFF;
    lower[44] = 0x00;
    const RecordBuffer rec = decode_flat(lower);
    EXPECT_STREQ(rec[3].value, "");
    EXPECT_STREQ(rec[5].value, "");
    EXPECT_EQ(std::string(rec[3].hex), hex_of(&lower[34], 10));
    RecordBuffer untouched(kFlatRows, '\x22');
    EXPECT_EQ(qsfp28_xcvr_decode_qsfp28_status(nullptr, untouched.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp28_xcvr_decode_qsfp28_status(lower.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(untouched[0].label[0], '\x22');
}

}  // namespace
