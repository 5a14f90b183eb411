// Page dump: "0x0080: 03 04 07 00 00 00 00 00 : 00 00 00 05 8d 00 00 00 \n"
// and so on, sixteen bytes a line with a colon between the halves.
#include "decode/page_dump.h"

#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_decode.h>

#include "decode/text_field.h"

namespace qsfp::decode {

namespace {

constexpr std::uint32_t kBytesPerLine = 16;
constexpr std::uint32_t kHalfLine = 7;      // the byte followed by " : "
constexpr std::size_t kLineSize = 81;
constexpr long long kLineLimit = 80;

// One byte as "%02x " prints it, or "%02x : " at the middle of the line;
// by table, as a show text dumps a few thousand bytes.
void hex_byte(std::uint8_t value, bool half_line, char (&piece)[kLineSize]) {
    constexpr char kDigits[] = "0123456789abcdef";
    piece[0] = kDigits[value >> 4];
    piece[1] = kDigits[value & 0x0F];
    piece[2] = ' ';
    piece[3] = half_line ? ':' : '\0';
    piece[4] = ' ';
    piece[5] = '\0';
}

void format_line(const std::uint8_t *bytes, std::uint32_t address, char (&line)[kLineSize]) {
    char piece[kLineSize] = {};
    std::snprintf(piece, sizeof piece, "0x%04x: ", address);
    append_bounded(line, kLineLimit, piece);
    for (std::uint32_t i = 0; i < kBytesPerLine; ++i) {
        hex_byte(bytes[i], i == kHalfLine, piece);
        append_bounded(line, kLineLimit, piece);
    }
    append_bounded(line, kLineLimit, "\n");
}

}  // namespace

std::uint32_t dump_page(const std::uint8_t *bytes, std::uint32_t address, char *out, int out_size,
                        std::uint32_t length) {
    if (bytes == nullptr || out == nullptr || out_size < 1) {
        return QSFP_ERR_INVALID;
    }
    std::memset(out, 0, static_cast<std::size_t>(out_size));
    for (std::uint32_t offset = 0;; offset += kBytesPerLine) {
        char line[kLineSize] = {};
        format_line(bytes + offset, address + offset, line);
        // The text is cut where the area ends; the last byte keeps the terminator.
        append_bounded(out, out_size - 1LL, line);
        const std::uint32_t end = offset + kBytesPerLine;
        if (length <= end || end >= kPageBytes) {
            return QSFP_OK;
        }
    }
}

}  // namespace qsfp::decode

extern "C" uint32_t varnel_phy_qsfp_plug_eeprom_page_to_ascii(const uint8_t *mem, uint32_t start, char *out,
                                                              int out_size, uint32_t length) {
    if (mem == nullptr) {
        return QSFP_ERR_INVALID;
    }
    return qsfp::decode::dump_page(mem + start, start, out, out_size, length);
}
