// Formatters of single values of module memory. Each renders its value into a
// scratch with a literal printf format and appends it to the caller's field.
// Several values go through single precision on purpose: the show output has
// always been computed in double, narrowed to float and widened again for
// printing, and the last printed digit depends on that narrowing.
#include <cmath>
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_decode.h>

#include "decode/bit_tables.h"
#include "decode/text_field.h"

namespace qsfp::decode {

char *append_bounded(char *field, long long size, const char *text) {
    if (field == nullptr) {
        return nullptr;
    }
    if (size <= 0 || text == nullptr) {
        return field;
    }
    // A field with no terminator within `size` is treated as full.
    const std::size_t limit = static_cast<std::size_t>(size);
    const std::size_t used = strnlen(field, limit);
    if (used < limit) {
        std::strncat(field, text, limit - used);
    }
    return field;
}

namespace {

// 1/256: the unit of the fraction byte of fixed-point words.
constexpr double kFractionUnit = 0.00390625;
// The word whose value 1.0 is stored without arithmetic.
constexpr std::uint16_t kFixedPointOne = 0x0100;
// Bias words count 2 uA; the doubled value keeps 17 bits.
constexpr unsigned kBiasMask = 0x1FFFE;
// Power words count 0.1 uW; at or below 0.1 uW (-40 dBm) no dBm is computed.
constexpr double kPowerUnitMw = 0.0001;
// A hex column takes groups of three characters while more than four
// remain of its budget: twenty bytes at the most.
constexpr std::uint8_t kHexBytesPerColumn = 20;
constexpr int kHexGroup = 3;
constexpr int kHexBudgetFloor = 4;

template <typename HighByte>
int fixed_point16_to_float(std::uint16_t raw, float *out) {
    if (out == nullptr) {
        return -1;
    }
    if (raw == kFixedPointOne) {
        *out = 1.0f;
        return 1;
    }
    const auto fraction = static_cast<float>((raw & 0xFFu) * kFractionUnit);
    *out = fraction + static_cast<float>(static_cast<HighByte>(raw >> 8));
    return 0;
}

template <typename HighByte>
char *fixed_point16_to_string(std::uint16_t raw, char *field, int size) {
    float value = 0.0f;
    char scratch[kScratchSize] = {};
    if (fixed_point16_to_float<HighByte>(raw, &value) == 1) {
        std::snprintf(scratch, sizeof scratch, "1.000");
    } else {
        std::snprintf(scratch, sizeof scratch, "%0.3f", static_cast<double>(value));
    }
    return append_bounded(field, size, scratch);
}

}  // namespace

}  // namespace qsfp::decode

using qsfp::decode::append_bounded;
using qsfp::decode::kScratchSize;

extern "C" const char *xcvr_identifier_to_string(uint8_t id) {
    return qsfp::decode::code_text(qsfp::decode::kIdentifierText, id, qsfp::decode::kUnknownIdentifier);
}

extern "C" void xcvr_bytes_to_hex(const uint8_t *bytes, unsigned count, char *hex, int size) {
    if (bytes == nullptr || hex == nullptr) {
        return;
    }
    // The budget drops by a group per byte, so no more than 20 bytes reach a
    // 64-character column whatever `count` says.
    int budget = size;
    for (unsigned i = 0; i < count && i < qsfp::decode::kHexBytesPerColumn && budget > qsfp::decode::kHexBudgetFloor;
         ++i) {
        char scratch[4] = {};
        std::snprintf(scratch, sizeof scratch, "%02x ", bytes[i]);
        append_bounded(hex, size, scratch);
        budget -= qsfp::decode::kHexGroup;
    }
}

extern "C" char *xcvr_oui_to_string(const uint8_t *oui, char *field, int size) {
    if (oui == nullptr || field == nullptr) {
        return nullptr;
    }
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%02x.%02x.%02x", oui[0], oui[1], oui[2]);
    return append_bounded(field, size, scratch);
}

extern "C" void xcvr_decode_uint8_to_string(uint8_t byte, char *field, int size, int rows,
                                            const xcvr_bit_decode_row *table) {
    if (field == nullptr || table == nullptr) {
        return;
    }
    for (int i = 0; i < rows; ++i) {
        const xcvr_bit_decode_row &row = table[i];
        if ((byte & row.mask) == row.value && row.text != nullptr) {
            char scratch[kScratchSize] = {};
            std::snprintf(scratch, sizeof scratch, "%s, ", row.text);
            append_bounded(field, size, scratch);
        }
    }
}

extern "C" int xcvr_id_signed_fixed_point16_to_float(uint16_t raw, float *out) {
    return qsfp::decode::fixed_point16_to_float<std::int8_t>(raw, out);
}

extern "C" char *xcvr_id_signed_fixed_point16_to_string(uint16_t raw, char *field, int size) {
    return qsfp::decode::fixed_point16_to_string<std::int8_t>(raw, field, size);
}

extern "C" int xcvr_id_unsigned_fixed_point16_to_float(uint16_t raw, float *out) {
    return qsfp::decode::fixed_point16_to_float<std::uint8_t>(raw, out);
}

extern "C" char *xcvr_id_unsigned_fixed_point16_to_string(uint16_t raw, char *field, int size) {
    return qsfp::decode::fixed_point16_to_string<std::uint8_t>(raw, field, size);
}

extern "C" char *xcvr_curr_bias_uint16_to_string(uint16_t raw, char *field, int size) {
    const auto milliamps = static_cast<float>(((raw * 2u) & qsfp::decode::kBiasMask) / 1000.0);
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%3.3f mAmps", static_cast<double>(milliamps));
    return append_bounded(field, size, scratch);
}

extern "C" char *xcvr_voltage_to_string(uint16_t raw, char *field, int size) {
    const auto volts = static_cast<float>((raw * 100u) / 1000000.0);
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%1.3f Volt", static_cast<double>(volts));
    return append_bounded(field, size, scratch);
}

extern "C" char *xcvr_id_power_to_string(uint16_t raw, char *field, int size) {
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%u uWatt", raw / 10u);
    return append_bounded(field, size, scratch);
}

extern "C" char *xcvr_pwr_uint16_to_dbm_string(uint16_t raw, char *field, int size) {
    const double milliwatts = raw * qsfp::decode::kPowerUnitMw;
    char scratch[kScratchSize] = {};
    // Raw 1 is exactly -40 dBm and is shown as the floor too.
    if (milliwatts <= qsfp::decode::kPowerUnitMw) {
        std::snprintf(scratch, sizeof scratch, " 0.000 mW (<-40.00 dBm)");
    } else {
        std::snprintf(scratch, sizeof scratch, " %0.5f mW (%2.5f dBm)", milliwatts, 10.0 * std::log10(milliwatts));
    }
    return append_bounded(field, size, scratch);
}

extern "C" char *qsfp8636_id_bitRate_to_string(uint8_t raw, char *field, unsigned size) {
    if (raw == 0) {
        return field;
    }
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%u00 Mbps", static_cast<unsigned>(raw));
    return append_bounded(field, size, scratch);
}

extern "C" char *qsfp8636_id_length_to_string(uint8_t len, uint16_t unit, const char *suffix, char *field,
                                              unsigned size) {
    if (suffix == nullptr || field == nullptr) {
        return nullptr;
    }
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%u%s", static_cast<unsigned>(len) * unit, suffix);
    return append_bounded(field, size, scratch);
}

extern "C" char *qsfp8636_waveLength_to_string(uint16_t raw, uint8_t divisor, char *field, unsigned size) {
    if (divisor == 0 || field == nullptr) {
        return nullptr;
    }
    const float nanometres = static_cast<float>(raw) / static_cast<float>(divisor);
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%.3f nm", static_cast<double>(nanometres));
    return append_bounded(field, size, scratch);
}

extern "C" char *qsfp8636_date_code_to_string(const uint8_t *code, char *field, unsigned size) {
    if (code == nullptr || field == nullptr) {
        return nullptr;
    }
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%c%c/%c%c/%c%c  lot code: %c%c", code[0], code[1], code[2], code[3],
                  code[4], code[5], code[6], code[7]);
    return append_bounded(field, size, scratch);
}

extern "C" char *qsfp8636_id_temp_threshold_to_string(uint16_t raw, char *field, int size) {
    // The integer part is the signed high byte and the fraction is always
    // added as a positive number (FA80h, -5.5 C, reads " -6.500 C"); the
    // show output has always read so and is kept.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): the high byte is a two's complement number
    const int whole = static_cast<std::int8_t>(raw >> 8);
    const unsigned thousandths = ((raw & 0xFFu) * 1000u) >> 8;
    const char sign = whole < 0 ? ' ' : '+';
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%c%d.%03u C", sign, whole, thousandths);
    return append_bounded(field, size, scratch);
}
