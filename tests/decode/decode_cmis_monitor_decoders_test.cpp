// The QSFP-DD status, information, threshold and lane monitor records.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

Page lower_with_monitors() {
    Page lower{};
    put_word(lower, 14, 0x39EE);  // +57.929 C
    put_word(lower, 16, 0x8121);  // 3.3057 V
    return lower;
}

TEST(CmisStatusDecoder, TypeTemperatureAndVoltage) {
    qsfp_port_ctx port{};
    const Page lower = lower_with_monitors();
    RecordBuffer rec(QSFPDD_STATUS_RECORD_ROWS, '\x55');
    ASSERT_EQ(qsfpdd_xcvr_decode_status(lower.data(), rec.data(), &port), QSFP_OK);
    EXPECT_STREQ(rec[0].value, "QSFP-DD");
    EXPECT_STREQ(rec[4].value, "+57.929 C");
    EXPECT_STREQ(rec[5].value, "3.306 Volt");
    for (std::size_t row : {1u, 2u, 3u}) {
        EXPECT_TRUE(rec.row_is_zero(row));
    }
    EXPECT_STREQ(rec[4].label, "");
    EXPECT_STREQ(rec[4].hex, "");
}

TEST(CmisStatusDecoder, FlatMemoryModuleHasNoMonitors) {
    qsfp_port_ctx port{};
    port.flat_mem = 1;
    const Page lower = lower_with_monitors();
    RecordBuffer rec(QSFPDD_STATUS_RECORD_ROWS);
    ASSERT_EQ(qsfpdd_xcvr_decode_status(lower.data(), rec.data(), &port), QSFP_OK);
    EXPECT_STREQ(rec[0].value, "QSFP-DD");
    EXPECT_STREQ(rec[4].value, "");
    EXPECT_STREQ(rec[5].value, "");
}

TEST(CmisStatusDecoder, NullPointersAnswerInvalid) {
    qsfp_port_ctx port{};
    Page lower{};
    RecordBuffer rec(QSFPDD_STATUS_RECORD_ROWS, '\x55');
    EXPECT_EQ(qsfpdd_xcvr_decode_status(nullptr, rec.data(), &port), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_status(lower.data(), nullptr, &port), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_status(lower.data(), rec.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].value[0], '\x55');
}

TEST(CmisInfoDecoder, PartNumberVersionAndProductId) {
    Page page{};
    std::memcpy(&page[at(138)], "68-1234-01", 10);
    std::memcpy(&page[at(148)], "V01 ", 4);
    std::memcpy(&page[at(192)], "QDD-400G-DR4-S  ", 16);
    RecordBuffer rec(QSFPDD_INFO_RECORD_ROWS, '\0');
    ASSERT_EQ(qsfpdd_xcvr_decode_korva_info(page.data(), rec.data()), QSFP_OK);
    EXPECT_STREQ(rec[0].value, "68-1234-01");
    EXPECT_STREQ(rec[1].value, "V01 ");
    EXPECT_STREQ(rec[2].value, "QDD-400G-DR4-S  ");
    EXPECT_STREQ(rec[0].label, "");
    EXPECT_STREQ(rec[0].hex, "");
}

TEST(CmisInfoDecoder, AppendsToTheRecordAsItStands) {
    Page page{};
    std::memcpy(&page[at(138)], "PN", 2);
    RecordBuffer rec(QSFPDD_INFO_RECORD_ROWS, '\0');
    ASSERT_EQ(qsfpdd_xcvr_decode_korva_info(page.data(), rec.data()), QSFP_OK);
    ASSERT_EQ(qsfpdd_xcvr_decode_korva_info(page.data(), rec.data()), QSFP_OK);
    EXPECT_STREQ(rec[0].value, "PNPN");
    EXPECT_STREQ(rec[1].value, "");
}

TEST(CmisInfoDecoder, UnterminatedValueTakesNothingMore) {
    Page page{};
    std::memcpy(&page[at(138)], "PN", 2);
    RecordBuffer rec(QSFPDD_INFO_RECORD_ROWS, 'q');
    ASSERT_EQ(qsfpdd_xcvr_decode_korva_info(page.data(), rec.data()), QSFP_OK);
    EXPECT_EQ(std::string(rec[0].value, 2), "qq");
    EXPECT_EQ(qsfpdd_xcvr_decode_korva_info(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_korva_info(page.data(), nullptr), QSFP_ERR_INVALID);
}

TEST(CmisThresholdDecoder, RowsInTheSff8636Order) {
    Page page{};
    const struct {
        std::size_t row;
        unsigned byte;
        std::uint16_t word;
        const char *value;
    } rows[] = {
        {0, 128, 0x4C00, "+76.000 C"},  {1, 130, 0xFA00, " -6.000 C"},   {2, 132, 0x4900, "+73.000 C"},
        {3, 134, 0xFD00, " -3.000 C"},  {4, 136, 37000, "3.700 Volt"},   {5, 138, 30000, "3.000 Volt"},
        {6, 140, 36000, "3.600 Volt"},  {7, 142, 30500, "3.050 Volt"},   {8, 192, 47863, " 4.78630 mW (6.80000 dBm)"},
        {9, 194, 1288, " 0.12880 mW (-8.90084 dBm)"},                    {10, 196, 38018, " 3.80180 mW (5.79989 dBm)"},
        {11, 198, 1819, " 0.18190 mW (-7.40167 dBm)"},                   {12, 184, 65000, "130.000 mAmps"},
        {13, 186, 5000, "10.000 mAmps"}, {14, 188, 62500, "125.000 mAmps"}, {15, 190, 7500, "15.000 mAmps"},
        {16, 176, 39810, " 3.98100 mW (5.99992 dBm)"},                   {17, 178, 2570, " 0.25700 mW (-5.90067 dBm)"},
        {18, 180, 31622, " 3.16220 mW (4.99989 dBm)"},                   {19, 182, 1, " 0.000 mW (<-40.00 dBm)"},
    };
    for (const auto &r : rows) {
        put_word(page, at(r.byte), r.word);
    }
    RecordBuffer rec(QSFPDD_THRESHOLD_RECORD_ROWS);
    ASSERT_EQ(qsfpdd_xcvr_decode_threshold(page.data(), rec.data()), QSFP_OK);
    for (const auto &r : rows) {
        EXPECT_STREQ(rec[r.row].value, r.value) << "row " << r.row;
        EXPECT_STREQ(rec[r.row].label, "") << "row " << r.row;
        EXPECT_STREQ(rec[r.row].hex, "") << "row " << r.row;
    }
    EXPECT_EQ(qsfpdd_xcvr_decode_threshold(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_threshold(page.data(), nullptr), QSFP_ERR_INVALID);
}

TEST(CmisLaneMonitorDecoder, EightLanesOfRxPowerTxPowerAndBias) {
    Page page{};
    for (unsigned lane = 0; lane < 8; ++lane) {
        put_word(page, at(186 + 2 * lane), static_cast<std::uint16_t>(10000 + lane));
        put_word(page, at(154 + 2 * lane), static_cast<std::uint16_t>(20000 + lane));
        put_word(page, at(170 + 2 * lane), static_cast<std::uint16_t>(1000 * (lane + 1)));
    }
    RecordBuffer rec(QSFPDD_LANE_RECORD_ROWS, '\x12');
    ASSERT_EQ(qsfpdd_xcvr_decode_chnl_interrupt(page.data(), rec.data()), QSFP_OK);
    EXPECT_STREQ(rec[0].value, " 1.00000 mW (0.00000 dBm)");
    EXPECT_STREQ(rec[7].value, " 1.00070 mW (0.00304 dBm)");
    EXPECT_STREQ(rec[8].value, " 2.00000 mW (3.01030 dBm)");
    EXPECT_STREQ(rec[15].value, " 2.00070 mW (3.01182 dBm)");
    EXPECT_STREQ(rec[16].value, "2.000 mAmps");
    EXPECT_STREQ(rec[23].value, "16.000 mAmps");
    EXPECT_STREQ(rec[23].label, "");
    EXPECT_STREQ(rec[23].hex, "");
    EXPECT_EQ(qsfpdd_xcvr_decode_chnl_interrupt(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_chnl_interrupt(page.data(), nullptr), QSFP_ERR_INVALID);
}

}  // namespace
