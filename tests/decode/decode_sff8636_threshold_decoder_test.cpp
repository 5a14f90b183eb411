// The threshold record of SFF-8636 upper page 03h.
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

constexpr std::size_t kRows = QSFP8636_THRESHOLD_RECORD_ROWS;

TEST(Sff8636ThresholdDecoder, RowsLabelsValuesAndHex) {
    Page page{};
    const struct {
        const char *label;
        unsigned byte;
        std::uint16_t word;
        const char *value;
    } rows[] = {
        {"TempHighAlarm", 128, 0x5000, "+80.000 C"},  {"TempLowAlarm", 130, 0xF600, " -10.000 C"},
        {"TempHighWarn", 132, 0x4600, "+70.000 C"},   {"TempLowWarn", 134, 0x0000, "+0.000 C"},
        {"VCCHighAlarm", 144, 0x88B8, "3.500 Volt"},  {"VCCLowAlarm", 146, 0x7918, "3.100 Volt"},
        {"VCCHighWarn", 148, 0x875A, "3.465 Volt"},   {"VCCLowWarn", 150, 0x7A76, "3.135 Volt"},
        {"RxPwrHighAlarm", 176, 10000, " 1.00000 mW (0.00000 dBm)"},
        {"RxPwrLowAlarm", 178, 1, " 0.000 mW (<-40.00 dBm)"},
        {"RxPwrHighWarn", 180, 2, " 0.00020 mW (-36.98970 dBm)"},
        {"RxPwrLowWarn", 182, 0, " 0.000 mW (<-40.00 dBm)"},
        {"TxBiasHighAlarm", 184, 6000, "12.000 mAmps"}, {"TxBiasLowAlarm", 186, 0xFFFF, "131.070 mAmps"},
        {"TxBiasHighWarn", 188, 4000, "8.000 mAmps"},   {"TxBiasLowWarn", 190, 3000, "6.000 mAmps"},
        {"TxPwrHighAlarm", 192, 0x878C, " 3.47000 mW (5.40329 dBm)"},
        {"TxPwrLowAlarm", 194, 0x02D4, " 0.07240 mW (-11.40261 dBm)"},
        {"TxPwrHighWarn", 196, 0x43E2, " 1.73780 mW (2.40000 dBm)"},
        {"TxPwrLowWarn", 198, 0x05A5, " 0.14450 mW (-8.40132 dBm)"},
    };
    for (const auto &r : rows) {
        put_word(page, at(r.byte), r.word);
    }
    RecordBuffer rec(kRows);
    ASSERT_EQ(qsfp8636_xcvr_decode_qsfp8636_threshold(page.data(), rec.data()), QSFP_OK);
    for (std::size_t row = 0; row < std::size(rows); ++row) {
        EXPECT_STREQ(rec[row].label, rows[row].label) << "row " << row;
        EXPECT_STREQ(rec[row].value, rows[row].value) << "row " << row;
        EXPECT_EQ(std::string(rec[row].hex), hex_of(&page[at(rows[row].byte)], 2)) << "row " << row;
    }
    EXPECT_TRUE(rec.row_is_zero(20));
    EXPECT_TRUE(rec.row_is_zero(21));
}

TEST(Sff8636ThresholdDecoder, RefusesNull) {
    RecordBuffer rec(kRows, '\x44');
    Page page{};
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_threshold(nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_threshold(page.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].label[0], '\x44');
}

}  // namespace
