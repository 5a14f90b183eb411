// Field tables of the decoded records: where a row's bytes are in a page and
// how its value is rendered. A decoder is a table of fields walked by
// fill_rows(), plus whatever a record does that no table can say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <qsfp/qsfp_decode.h>

#include "decode/bit_tables.h"

namespace qsfp::decode {

using Row = qsfp8636_id_record;

// What each text of a row may take without its terminator.
inline constexpr int kLabelLimit = QSFP_DECODE_LABEL_SIZE - 1;
inline constexpr int kValueLimit = QSFP_DECODE_VALUE_SIZE - 1;
inline constexpr int kHexLimit = QSFP_DECODE_HEX_SIZE - 1;

// How a field's bytes become its value.
enum class Render : std::uint8_t {
    none,           // label (and hex column) only
    identifier,     // identifier text of one byte
    bits,           // every matching row of `table`
    code,           // the first matching row of `table`, else `otherwise`
    bit_rate,       // nominal bit rate, 100 Mb/s units
    length,         // link length: byte times `scale`, then `suffix`
    printable,      // vendor text, copied when its first byte is printable
    oui,            // three bytes as "xx.xx.xx"
    wavelength,     // big-endian word divided by `scale`
    date_code,      // eight characters
    case_temp,      // maximum case temperature in C, 0 meaning 70
    temperature,    // big-endian word, 1/256 C
    voltage,        // big-endian word, 100 uV
    voltage_high,   // the first byte as both bytes of a 100 uV word
    bias,           // big-endian word, 2 uA
    dbm,            // big-endian word, 0.1 uW, as mW and dBm
    ufixed,         // big-endian unsigned fixed-point word
    sfixed,         // big-endian signed fixed-point word
};

struct Field {
    std::uint8_t row;
    const char *label = nullptr;        // none: the row keeps no label
    std::uint8_t offset = 0;            // index of the first byte in the page buffer
    std::uint8_t length = 0;            // bytes shown in the hex column
    Render render = Render::none;
    std::span<const BitRow> table = {};
    const char *otherwise = nullptr;
    std::uint16_t scale = 0;
    const char *suffix = nullptr;
    std::int8_t hex_row = -1;           // the row whose hex column shows the bytes, -1 for its own
};

// Which texts a decoder writes: SFF-8636 records have labels and hex columns,
// the CMIS records values only.
enum class Columns : std::uint8_t { all, value_only };

// Clears a record of `rows` rows and answers its first row.
Row *clear_record(char *rec, std::size_t rows);
// The big-endian word at `bytes`.
constexpr std::uint16_t word(const std::uint8_t *bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}
void set_label(Row &row, const char *label);
void append_hex(Row &row, const std::uint8_t *bytes, unsigned count);
// Appends the value of one field, read from `page`.
void render_value(Row &row, const std::uint8_t *page, const Field &field);
// Label, value and (with Columns::all) hex column of every field.
void fill_rows(Row *rows, const std::uint8_t *page, std::span<const Field> fields, Columns columns);
// A whole decoder: clears the record of `rows` rows and fills it. Answers 0,
// or QSFP_ERR_INVALID (writing nothing) for a null pointer.
std::uint32_t decode_record(const std::uint8_t *page, char *rec, std::size_t rows, std::span<const Field> fields,
                            Columns columns);

// Bytes a rendering reads from the field's offset.
constexpr unsigned bytes_read(Render render) {
    switch (render) {
    case Render::none:
    case Render::printable:
        return 0;
    case Render::oui:
        return 3;
    case Render::date_code:
        return 8;
    case Render::wavelength:
    case Render::temperature:
    case Render::voltage:
    case Render::voltage_high:
    case Render::bias:
    case Render::dbm:
    case Render::ufixed:
    case Render::sfixed:
        return 2;
    default:
        return 1;
    }
}

// A field table stays within its record and within a 128-byte page, and every
// field covers the bytes its rendering reads.
constexpr bool fits(std::span<const Field> fields, std::size_t rows) {
    for (const Field &f : fields) {
        const bool rows_ok = f.row < rows && (f.hex_row < 0 || static_cast<std::size_t>(f.hex_row) < rows);
        const bool bytes_ok = f.length >= bytes_read(f.render) && f.offset + f.length <= 128;
        if (!rows_ok || !bytes_ok) {
            return false;
        }
    }
    return true;
}

}  // namespace qsfp::decode
