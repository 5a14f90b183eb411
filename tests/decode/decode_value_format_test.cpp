// The value formatters: rendering, single-precision narrowing, appending to
// the caller's field within its size, and bad arguments.
#include <array>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/text_field.h"

namespace {

constexpr int kValueLimit = 160;

// A field as the decoders pass it: 161 bytes, a limit of 160.
struct Field {
    std::array<char, kValueLimit + 1> text{};
    char *data() { return text.data(); }
    std::string str() const { return text.data(); }
};

template <typename Fn>
std::string render(Fn fn) {
    Field f;
    fn(f.data());
    return f.str();
}

TEST(ValueFormat, OuiIsThreeLowerCaseHexPairs) {
    const std::uint8_t oui[] = {0x00, 0x02, 0xC9};
    EXPECT_EQ(render([&](char *f) { xcvr_oui_to_string(oui, f, kValueLimit); }), "00.02.c9");
}

TEST(ValueFormat, FixedPointOneTakesTheSpecialBranch) {
    float value = 0.0f;
    EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0x0100, &value), 1);
    EXPECT_EQ(value, 1.0f);
    EXPECT_EQ(xcvr_id_unsigned_fixed_point16_to_float(0x0100, &value), 1);
    EXPECT_EQ(render([](char *f) { xcvr_id_signed_fixed_point16_to_string(0x0100, f, kValueLimit); }), "1.000");
    EXPECT_EQ(render([](char *f) { xcvr_id_unsigned_fixed_point16_to_string(0x0100, f, kValueLimit); }), "1.000");
}

TEST(ValueFormat, FixedPointAddsTheFractionByte) {
    float value = 0.0f;
    EXPECT_EQ(xcvr_id_unsigned_fixed_point16_to_float(0x0180, &value), 0);
    EXPECT_EQ(value, 1.5f);
    EXPECT_EQ(render([](char *f) { xcvr_id_unsigned_fixed_point16_to_string(0x0180, f, kValueLimit); }), "1.500");
    EXPECT_EQ(render([](char *f) { xcvr_id_signed_fixed_point16_to_string(0x0180, f, kValueLimit); }), "1.500");
    EXPECT_EQ(render([](char *f) { xcvr_id_unsigned_fixed_point16_to_string(0x0001, f, kValueLimit); }), "0.004");
}

TEST(ValueFormat, SignedFixedPointReadsTheHighByteAsSigned) {
    float value = 0.0f;
    EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0xFF80, &value), 0);
    EXPECT_EQ(value, -0.5f);
    EXPECT_EQ(render([](char *f) { xcvr_id_signed_fixed_point16_to_string(0xFF80, f, kValueLimit); }), "-0.500");
    EXPECT_EQ(render([](char *f) { xcvr_id_unsigned_fixed_point16_to_string(0xFF80, f, kValueLimit); }), "255.500");
}

TEST(ValueFormat, BiasCountsTwoMicroamps) {
    EXPECT_EQ(render([](char *f) { xcvr_curr_bias_uint16_to_string(6000, f, kValueLimit); }), "12.000 mAmps");
    EXPECT_EQ(render([](char *f) { xcvr_curr_bias_uint16_to_string(0, f, kValueLimit); }), "0.000 mAmps");
}

TEST(ValueFormat, BiasDoublingKeepsSeventeenBits) {
    EXPECT_EQ(render([](char *f) { xcvr_curr_bias_uint16_to_string(0xFFFF, f, kValueLimit); }), "131.070 mAmps");
}

TEST(ValueFormat, VoltageCountsHundredMicrovolts) {
    EXPECT_EQ(render([](char *f) { xcvr_voltage_to_string(33000, f, kValueLimit); }), "3.300 Volt");
}

TEST(ValueFormat, VoltageIsNarrowedToSinglePrecisionBeforePrinting) {
    // 0.0025 V and 0.0065 V round the other way in single precision than in
    // double (0.0024999999 and 0.0065000001).
    EXPECT_EQ(render([](char *f) { xcvr_voltage_to_string(25, f, kValueLimit); }), "0.002 Volt");
    EXPECT_EQ(render([](char *f) { xcvr_voltage_to_string(65, f, kValueLimit); }), "0.007 Volt");
}

TEST(ValueFormat, PowerInMicrowattsIsTruncated) {
    EXPECT_EQ(render([](char *f) { xcvr_id_power_to_string(12349, f, kValueLimit); }), "1234 uWatt");
    EXPECT_EQ(render([](char *f) { xcvr_id_power_to_string(9, f, kValueLimit); }), "0 uWatt");
}

TEST(ValueFormat, PowerOfZeroAndOneIsTheFloor) {
    EXPECT_EQ(render([](char *f) { xcvr_pwr_uint16_to_dbm_string(0, f, kValueLimit); }), " 0.000 mW (<-40.00 dBm)");
    EXPECT_EQ(render([](char *f) { xcvr_pwr_uint16_to_dbm_string(1, f, kValueLimit); }), " 0.000 mW (<-40.00 dBm)");
}

TEST(ValueFormat, PowerAboveTheFloorShowsMilliwattsAndDbm) {
    EXPECT_EQ(render([](char *f) { xcvr_pwr_uint16_to_dbm_string(2, f, kValueLimit); }),
              " 0.00020 mW (-36.98970 dBm)");
    EXPECT_EQ(render([](char *f) { xcvr_pwr_uint16_to_dbm_string(10000, f, kValueLimit); }),
              " 1.00000 mW (0.00000 dBm)");
    EXPECT_EQ(render([](char *f) { xcvr_pwr_uint16_to_dbm_string(65535, f, kValueLimit); }),
              " 6.55350 mW (8.16473 dBm)");
}

TEST(ValueFormat, BitRateAppendsTwoZeros) {
    EXPECT_EQ(render([](char *f) { qsfp8636_id_bitRate_to_string(103, f, kValueLimit); }), "10300 Mbps");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_bitRate_to_string(255, f, kValueLimit); }), "25500 Mbps");
}

TEST(ValueFormat, BitRateZeroLeavesTheFieldUntouched) {
    Field f;
    std::strcpy(f.data(), "kept");
    EXPECT_EQ(qsfp8636_id_bitRate_to_string(0, f.data(), kValueLimit), f.data());
    EXPECT_EQ(f.str(), "kept");
}

TEST(ValueFormat, LengthMultipliesAndAppendsTheUnit) {
    EXPECT_EQ(render([](char *f) { qsfp8636_id_length_to_string(10, 2, "M", f, kValueLimit); }), "20M");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_length_to_string(255, 1, "KM", f, kValueLimit); }), "255KM");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_length_to_string(255, 65535, "M", f, kValueLimit); }), "16711425M");
}

TEST(ValueFormat, WavelengthDividesInSinglePrecision) {
    EXPECT_EQ(render([](char *f) { qsfp8636_waveLength_to_string(17000, 20, f, kValueLimit); }), "850.000 nm");
    EXPECT_EQ(render([](char *f) { qsfp8636_waveLength_to_string(0x0BB8, 200, f, kValueLimit); }), "15.000 nm");
    // 26221 / 20 = 1311.05 is 1311.0500488... in single precision.
    EXPECT_EQ(render([](char *f) { qsfp8636_waveLength_to_string(26221, 20, f, kValueLimit); }), "1311.050 nm");
}

TEST(ValueFormat, DateCodeSplitsYearMonthDayAndLot) {
    const std::uint8_t code[] = {'2', '4', '0', '3', '1', '5', '0', '1'};
    EXPECT_EQ(render([&](char *f) { qsfp8636_date_code_to_string(code, f, kValueLimit); }), "24/03/15  lot code: 01");
}

TEST(ValueFormat, TemperatureKeepsTheSignedIntegerAndPositiveFraction) {
    EXPECT_EQ(render([](char *f) { qsfp8636_id_temp_threshold_to_string(0xFA80, f, kValueLimit); }), " -6.500 C");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_temp_threshold_to_string(0x1980, f, kValueLimit); }), "+25.500 C");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_temp_threshold_to_string(0x0000, f, kValueLimit); }), "+0.000 C");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_temp_threshold_to_string(0xFF00, f, kValueLimit); }), " -1.000 C");
    EXPECT_EQ(render([](char *f) { qsfp8636_id_temp_threshold_to_string(0x7FFF, f, kValueLimit); }), "+127.996 C");
}

TEST(ValueFormat, BitDecodeAppendsEveryMatchingRowInTableOrder) {
    const xcvr_bit_decode_row table[] = {{0x01, 0x01, "one"}, {0x00, 0x00, "always"}, {0x02, 0x03, "two only"}};
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0x03, f, kValueLimit, 3, table); }),
              "one, always, ");
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0x02, f, kValueLimit, 3, table); }),
              "always, two only, ");
}

TEST(ValueFormat, BitDecodeWithoutMatchLeavesTheFieldUnchanged) {
    const xcvr_bit_decode_row table[] = {{0x80, 0x80, "high"}, {0x01, 0xFF, "exactly one"}};
    Field f;
    std::strcpy(f.data(), "before");
    xcvr_decode_uint8_to_string(0x41, f.data(), kValueLimit, 2, table);
    EXPECT_EQ(f.str(), "before");
}

TEST(ValueFormat, BitDecodeWithNoRowsAppendsNothing) {
    const xcvr_bit_decode_row table[] = {{0x00, 0x00, "always"}};
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0, f, kValueLimit, 0, table); }), "");
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0, f, kValueLimit, -3, table); }), "");
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0, f, kValueLimit, 1, nullptr); }), "");
}

TEST(ValueFormat, ASingleValueIsCutAtSeventyNineCharacters) {
    const std::string longer(100, 'x');
    const xcvr_bit_decode_row table[] = {{0, 0, longer.c_str()}};
    EXPECT_EQ(render([&](char *f) { xcvr_decode_uint8_to_string(0, f, kValueLimit, 1, table); }), std::string(79, 'x'));
}

TEST(ValueFormat, FormattersAppendToWhatTheFieldHolds) {
    Field f;
    std::strcpy(f.data(), "A:");
    xcvr_curr_bias_uint16_to_string(6000, f.data(), kValueLimit);
    xcvr_voltage_to_string(33000, f.data(), kValueLimit);
    EXPECT_EQ(f.str(), "A:12.000 mAmps3.300 Volt");
}

TEST(ValueFormat, AppendStopsAtTheSizeAndNeverPastTheField) {
    // A 6-byte field with size 5 and guard bytes behind it.
    std::array<char, 6 + 4> area{};
    std::memset(area.data() + 6, 0x5A, 4);
    const std::uint8_t oui[] = {0xAB, 0xCD, 0xEF};
    xcvr_oui_to_string(oui, area.data(), 5);
    EXPECT_STREQ(area.data(), "ab.cd");
    xcvr_oui_to_string(oui, area.data(), 5);
    EXPECT_STREQ(area.data(), "ab.cd");
    for (int i = 6; i < 10; ++i) {
        EXPECT_EQ(area[i], 0x5A);
    }
}

TEST(ValueFormat, FieldLongerThanTheSizeReceivesNothing) {
    Field f;
    std::strcpy(f.data(), "0123456789");
    xcvr_voltage_to_string(33000, f.data(), 4);
    xcvr_voltage_to_string(33000, f.data(), -1);
    xcvr_voltage_to_string(33000, f.data(), 10);
    EXPECT_EQ(f.str(), "0123456789");
}

TEST(ValueFormat, UnterminatedFieldCountsAsFull) {
    std::array<char, 8> field;
    field.fill('z');
    xcvr_curr_bias_uint16_to_string(6000, field.data(), 7);
    EXPECT_EQ(std::string(field.data(), field.size()), std::string(8, 'z'));
}

TEST(ValueFormat, NullPointersWriteNothing) {
    Field f;
    EXPECT_EQ(xcvr_oui_to_string(nullptr, f.data(), kValueLimit), nullptr);
    EXPECT_EQ(qsfp8636_date_code_to_string(nullptr, f.data(), kValueLimit), nullptr);
    EXPECT_EQ(qsfp8636_id_length_to_string(3, 1, nullptr, f.data(), kValueLimit), nullptr);
    EXPECT_EQ(f.str(), "");
    EXPECT_EQ(xcvr_voltage_to_string(33000, nullptr, kValueLimit), nullptr);
    EXPECT_EQ(xcvr_id_signed_fixed_point16_to_float(0x0100, nullptr), -1);
    EXPECT_EQ(xcvr_id_unsigned_fixed_point16_to_float(0x0200, nullptr), -1);
    xcvr_decode_uint8_to_string(1, nullptr, kValueLimit, 0, nullptr);
}

TEST(ValueFormat, ZeroWavelengthDivisorWritesNothing) {
    Field f;
    EXPECT_EQ(qsfp8636_waveLength_to_string(17000, 0, f.data(), kValueLimit), nullptr);
    EXPECT_EQ(f.str(), "");
}

TEST(ValueFormat, IdentifierTextByCode) {
    const char *const names[] = {"UNSPECIFIED", "GBIC", "Soldered", "SFP",      "300 Pin XBI", "XENPAK",
                                 "XFP",         "XFF",  "XFP-E",    "XPAK",     "X2",          "DWDM-SFP",
                                 "QSFP",        "QSFP+", "CXP",     "4X",       "8X",          "QSFP28",
                                 "CXP2",        "CDFP", "4X-FNOUT", "8X-FNOUT", "CDFP 3",      "microQSFP"};
    for (unsigned code = 0; code < 256; ++code) {
        const std::string expected = code < std::size(names) ? names[code] : "Unknown";
        EXPECT_EQ(xcvr_identifier_to_string(static_cast<std::uint8_t>(code)), expected) << "code " << code;
    }
}

TEST(ValueFormat, HexColumnTakesTwentyBytesAtMost) {
    std::array<std::uint8_t, 32> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(0xA0 + i);
    }
    std::array<char, 65 + 4> hex{};
    std::memset(hex.data() + 65, 0x5A, 4);
    xcvr_bytes_to_hex(bytes.data(), 32, hex.data(), 64);
    std::string expected;
    for (std::size_t i = 0; i < 20; ++i) {
        char group[4];
        std::snprintf(group, sizeof group, "%02x ", bytes[i]);
        expected += group;
    }
    EXPECT_EQ(std::string(hex.data()), expected);
    EXPECT_EQ(expected.size(), 60u);
    EXPECT_EQ(hex[65], 0x5A);
}

TEST(ValueFormat, HexColumnAppendsGroups) {
    const std::uint8_t bytes[] = {0x00, 0x0F, 0xFF};
    std::array<char, 65> hex{};
    xcvr_bytes_to_hex(bytes, 1, hex.data(), 64);
    xcvr_bytes_to_hex(bytes + 1, 2, hex.data(), 64);
    EXPECT_STREQ(hex.data(), "00 0f ff ");
    xcvr_bytes_to_hex(bytes, 3, nullptr, 64);
    xcvr_bytes_to_hex(nullptr, 3, hex.data(), 64);
    EXPECT_STREQ(hex.data(), "00 0f ff ");
}

}  // namespace
