// Helpers of the decoder suites: a record buffer to decode into, and ways to
// write what a row should hold independently of the decoders' tables.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

namespace qsfp::test {

// A caller's record of `rows` rows, first filled with a pattern so that a
// test sees what the decoder clears.
class RecordBuffer {
public:
    explicit RecordBuffer(std::size_t rows, char fill = 0x5A) : bytes_(rows * sizeof(qsfp8636_id_record), fill) {}
    char *data() { return bytes_.data(); }
    const qsfp8636_id_record &operator[](std::size_t row) const {
        return reinterpret_cast<const qsfp8636_id_record *>(bytes_.data())[row];
    }
    std::size_t rows() const { return bytes_.size() / sizeof(qsfp8636_id_record); }
    bool row_is_zero(std::size_t row) const {
        const char *p = reinterpret_cast<const char *>(&(*this)[row]);
        for (std::size_t i = 0; i < sizeof(qsfp8636_id_record); ++i) {
            if (p[i] != 0) {
                return false;
            }
        }
        return true;
    }

private:
    std::vector<char> bytes_;
};

using Page = std::array<std::uint8_t, 128>;

// Buffer index of byte `byte` (128-255) of an upper page.
constexpr std::size_t at(unsigned byte) {
    return byte - 128;
}

// A big-endian word at buffer index `index`.
inline void put_word(Page &page, std::size_t index, std::uint16_t word) {
    page[index] = static_cast<std::uint8_t>(word >> 8);
    page[index + 1] = static_cast<std::uint8_t>(word);
}

// Every row's label, in order ("" for a row without one).
inline void expect_labels(const RecordBuffer &rec, const std::vector<const char *> &labels) {
    ASSERT_EQ(labels.size(), rec.rows());
    for (std::size_t row = 0; row < labels.size(); ++row) {
        EXPECT_STREQ(rec[row].label, labels[row]) << "row " << row;
    }
}

// "a, b, ": how a bit-decoded value lists its matches.
inline std::string listed(std::initializer_list<const char *> texts) {
    std::string out;
    for (const char *t : texts) {
        if (t != nullptr) {
            out += t;
            out += ", ";
        }
    }
    return out;
}

// The texts of the set bits, in the order given.
struct BitText {
    int bit;
    const char *text;
};
inline std::string set_bits(std::uint8_t byte, std::initializer_list<BitText> bits) {
    std::string out;
    for (const BitText &b : bits) {
        if ((byte >> b.bit) & 1) {
            out += listed({b.text});
        }
    }
    return out;
}

// "%02x " of each byte.
inline std::string hex_of(const std::uint8_t *bytes, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i) {
        char group[4];
        std::snprintf(group, sizeof group, "%02x ", bytes[i]);
        out += group;
    }
    return out;
}

// Sets page byte `index` to every value in turn, decodes, and compares the
// value of `row` with `expected(byte)`.
using Decoder = std::function<std::uint32_t(const std::uint8_t *, char *)>;
inline void walk_byte(const Decoder &decode, std::size_t rows, Page page, std::size_t index, std::size_t row,
                      const std::function<std::string(std::uint8_t)> &expected) {
    for (unsigned value = 0; value < 256; ++value) {
        page[index] = static_cast<std::uint8_t>(value);
        RecordBuffer rec(rows);
        ASSERT_EQ(decode(page.data(), rec.data()), QSFP_OK);
        EXPECT_EQ(std::string(rec[row].value), expected(static_cast<std::uint8_t>(value)))
            << "byte " << index << " = 0x" << std::hex << value;
    }
}

}  // namespace qsfp::test
