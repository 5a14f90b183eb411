// Walking the field tables of the decoded records.
#include "decode/record_fields.h"

#include <cctype>
#include <cstdio>
#include <cstring>

extern "C" {
#include <safe_str_lib.h>
}

#include "decode/text_field.h"

namespace qsfp::decode {

namespace {

// SFF-8636 byte 190: zero means the default maximum case temperature.
constexpr int kDefaultMaxCaseTemp = 70;
constexpr unsigned kLongestText = 32;

// Vendor texts are shown only when their first byte is a printable character
// of the process's locale (and not 255, which some locales call printable).
bool printable_start(std::uint8_t first) {
    return std::isprint(first) != 0 && first <= 254;
}

void append_printable(Row &row, const std::uint8_t *bytes, unsigned length) {
    if (length == 0 || !printable_start(bytes[0])) {
        return;
    }
    // Copied to its NUL or its full length, whichever comes first.
    char text[kLongestText + 1] = {};
    std::memcpy(text, bytes, length < kLongestText ? length : kLongestText);
    append_bounded(row.value, kValueLimit, text);
}

void append_text(Row &row, const char *text) {
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%s", text);
    append_bounded(row.value, kValueLimit, scratch);
}

void append_case_temp(Row &row, std::uint8_t byte) {
    char scratch[kScratchSize] = {};
    std::snprintf(scratch, sizeof scratch, "%dC", byte == 0 ? kDefaultMaxCaseTemp : byte);
    append_bounded(row.value, kValueLimit, scratch);
}

void append_bits(Row &row, std::uint8_t byte, std::span<const BitRow> table) {
    xcvr_decode_uint8_to_string(byte, row.value, kValueLimit, static_cast<int>(table.size()), table.data());
}

}  // namespace

Row *clear_record(char *rec, std::size_t rows) {
    std::memset(rec, 0, rows * sizeof(Row));
    return reinterpret_cast<Row *>(rec);
}

void set_label(Row &row, const char *label) {
    strcpy_s(row.label, sizeof row.label, label);
}

void append_hex(Row &row, const std::uint8_t *bytes, unsigned count) {
    xcvr_bytes_to_hex(bytes, count, row.hex, kHexLimit);
}

void render_value(Row &row, const std::uint8_t *page, const Field &field) {
    const std::uint8_t *bytes = page + field.offset;
    char *value = row.value;
    switch (field.render) {
    case Render::none:
        break;
    case Render::identifier:
        append_text(row, xcvr_identifier_to_string(bytes[0]));
        break;
    case Render::bits:
        append_bits(row, bytes[0], field.table);
        break;
    case Render::code:
        append_text(row, code_text(field.table, bytes[0], field.otherwise));
        break;
    case Render::bit_rate:
        qsfp8636_id_bitRate_to_string(bytes[0], value, kValueLimit);
        break;
    case Render::length:
        qsfp8636_id_length_to_string(bytes[0], field.scale, field.suffix, value, kValueLimit);
        break;
    case Render::printable:
        append_printable(row, bytes, field.length);
        break;
    case Render::oui:
        xcvr_oui_to_string(bytes, value, kValueLimit);
        break;
    case Render::wavelength:
        qsfp8636_waveLength_to_string(word(bytes), static_cast<std::uint8_t>(field.scale), value, kValueLimit);
        break;
    case Render::date_code:
        qsfp8636_date_code_to_string(bytes, value, kValueLimit);
        break;
    case Render::case_temp:
        append_case_temp(row, bytes[0]);
        break;
    case Render::temperature:
        qsfp8636_id_temp_threshold_to_string(word(bytes), value, kValueLimit);
        break;
    case Render::voltage:
        xcvr_voltage_to_string(word(bytes), value, kValueLimit);
        break;
    case Render::voltage_high:
        xcvr_voltage_to_string(static_cast<std::uint16_t>(bytes[0] << 8 | bytes[0]), value, kValueLimit);
        break;
    case Render::bias:
        xcvr_curr_bias_uint16_to_string(word(bytes), value, kValueLimit);
        break;
    case Render::dbm:
        xcvr_pwr_uint16_to_dbm_string(word(bytes), value, kValueLimit);
        break;
    case Render::ufixed:
        xcvr_id_unsigned_fixed_point16_to_string(word(bytes), value, kValueLimit);
        break;
    case Render::sfixed:
        xcvr_id_signed_fixed_point16_to_string(word(bytes), value, kValueLimit);
        break;
    }
}

void fill_rows(Row *rows, const std::uint8_t *page, std::span<const Field> fields, Columns columns) {
    for (const Field &field : fields) {
        Row &row = rows[field.row];
        if (field.label != nullptr) {
            set_label(row, field.label);
        }
        render_value(row, page, field);
        if (columns == Columns::all) {
            append_hex(field.hex_row < 0 ? row : rows[field.hex_row], page + field.offset, field.length);
        }
    }
}

std::uint32_t decode_record(const std::uint8_t *page, char *rec, std::size_t rows, std::span<const Field> fields,
                            Columns columns) {
    if (page == nullptr || rec == nullptr) {
        return QSFP_ERR_INVALID;
    }
    fill_rows(clear_record(rec, rows), page, fields, columns);
    return QSFP_OK;
}

}  // namespace qsfp::decode
