// The value formatters. Input: which formatter, its raw value, the caller's
// size (-8 to 247), how much the field already holds, then bytes for the
// OUI, date code and bit-decode byte.
#include <vector>

#include "fuzz/fuzz_input.h"

namespace {

constexpr int kMinSize = -8;

void format(std::uint8_t which, std::uint16_t raw, const std::uint8_t *bytes, char *field, int size) {
    const auto usize = static_cast<unsigned>(size);
    static const xcvr_bit_decode_row kRows[] = {{0, 0, "always"}, {0x80, 0x80, "high"}, {0x03, 0x0F, "three"}};
    switch (which % 14) {
    case 0: xcvr_oui_to_string(bytes, field, size); break;
    case 1: xcvr_decode_uint8_to_string(bytes[0], field, size, static_cast<int>(raw % 5) - 1, kRows); break;
    case 2: xcvr_id_signed_fixed_point16_to_string(raw, field, size); break;
    case 3: xcvr_id_unsigned_fixed_point16_to_string(raw, field, size); break;
    case 4: xcvr_curr_bias_uint16_to_string(raw, field, size); break;
    case 5: xcvr_voltage_to_string(raw, field, size); break;
    case 6: xcvr_id_power_to_string(raw, field, size); break;
    case 7: xcvr_pwr_uint16_to_dbm_string(raw, field, size); break;
    case 8: if (size >= 0) qsfp8636_id_bitRate_to_string(static_cast<std::uint8_t>(raw), field, usize); break;
    case 9: if (size >= 0) qsfp8636_id_length_to_string(bytes[0], raw, "KM", field, usize); break;
    case 10: if (size >= 0) qsfp8636_waveLength_to_string(raw, bytes[0], field, usize); break;
    case 11: if (size >= 0) qsfp8636_date_code_to_string(bytes, field, usize); break;
    case 12: qsfp8636_id_temp_threshold_to_string(raw, field, size); break;
    default: xcvr_id_power_to_string(raw, nullptr, size); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::uint8_t which = in.u8();
    const std::uint16_t raw = in.u16();
    const int field_size = static_cast<int>(in.u8()) + kMinSize;
    const std::size_t held = in.u8();
    const std::vector<std::uint8_t> bytes = in.bytes(8);

    // The field holds field_size + 1 bytes (at least one), then guard bytes.
    const std::size_t area = static_cast<std::size_t>(std::max(field_size, 0)) + 1;
    std::vector<char> field(area + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const std::size_t prefix = std::min(held, area - 1);
    std::memset(field.data(), 'p', prefix);
    field[prefix] = '\0';
    format(which, raw, bytes.data(), field.data(), field_size);
    if (memchr(field.data(), 0, area) == nullptr) {
        std::abort();
    }
    for (std::size_t i = area; i < field.size(); ++i) {
        if (field[i] != qsfp::fuzz::kGuard) {
            std::abort();
        }
    }
    return 0;
}
