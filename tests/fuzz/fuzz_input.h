// Reading a fuzzer's bytes as the arguments of a decoder, and the checks a
// target makes of what the decoder wrote.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <qsfp/qsfp_decode.h>

namespace qsfp::fuzz {

// Takes the input front to back; what is missing reads as zero bytes.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t *data, std::size_t size) : data_(data), size_(size) {}

    std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> out(count, 0);
        const std::size_t n = std::min(count, size_ - used_);
        if (n != 0) {
            std::memcpy(out.data(), data_ + used_, n);
        }
        used_ += n;
        return out;
    }
    std::uint8_t u8() { return bytes(1)[0]; }
    std::uint16_t u16() {
        const std::vector<std::uint8_t> b = bytes(2);
        return static_cast<std::uint16_t>(b[0] | b[1] << 8);
    }
    std::uint32_t u32() { return static_cast<std::uint32_t>(u16()) | static_cast<std::uint32_t>(u16()) << 16; }
    // Everything not yet taken.
    std::vector<std::uint8_t> rest() { return bytes(size_ - used_); }

private:
    const std::uint8_t *data_;
    std::size_t size_;
    std::size_t used_ = 0;
};

constexpr std::size_t kPageBytes = 128;

// A port context whose flat-memory flag is the low bit of the next byte.
inline qsfp_port_ctx port_with_flat_flag(FuzzInput &in) {
    qsfp_port_ctx port{};
    port.port = 9;
    port.flat_mem = in.u8() & 1;
    return port;
}

// Every text of every row ends inside its field.
inline void check_record(const std::vector<char> &rec) {
    const auto *rows = reinterpret_cast<const qsfp8636_id_record *>(rec.data());
    for (std::size_t i = 0; i < rec.size() / sizeof(qsfp8636_id_record); ++i) {
        if (memchr(rows[i].label, 0, sizeof rows[i].label) == nullptr ||
            memchr(rows[i].value, 0, sizeof rows[i].value) == nullptr ||
            memchr(rows[i].hex, 0, sizeof rows[i].hex) == nullptr) {
            std::abort();
        }
    }
}

// A show text fits the caller's size with its terminator, and the guard
// bytes behind the area are untouched.
constexpr std::size_t kGuardBytes = 16;
constexpr char kGuard = '\x5C';
inline void check_text(const std::vector<char> &out, std::size_t size, int rc) {
    for (std::size_t i = size; i < out.size(); ++i) {
        if (out[i] != kGuard) {
            std::abort();
        }
    }
    const bool written = rc == 0 || rc == QSFP_SHOW_TEXT_OVERFLOW;
    if (written && memchr(out.data(), 0, size) == nullptr) {
        std::abort();
    }
}

}  // namespace qsfp::fuzz
