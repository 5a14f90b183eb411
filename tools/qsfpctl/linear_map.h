// Addresses of the linear layout that sysfs EEPROM files (optoe) and image
// files use: bytes 0-127 are lower memory, then upper page 00h at 128-255,
// page 01h at 256-383 and so on; page P byte R (R >= 128) sits at P * 128 + R.
#pragma once

#include <cstdint>

namespace qsfpctl {

inline constexpr std::uint32_t kHalfPage = 128;
inline constexpr std::uint32_t kLastPage = 255;

// Where register `reg` of upper page `page` (or of lower memory, reg < 128)
// lives in the linear layout.
constexpr std::uint64_t linear_offset(std::uint8_t page, std::uint8_t reg) {
    return reg < kHalfPage ? reg : static_cast<std::uint64_t>(page) * kHalfPage + reg;
}

static_assert(linear_offset(0, 0) == 0);
static_assert(linear_offset(5, 127) == 127);
static_assert(linear_offset(0, 128) == 128);
static_assert(linear_offset(1, 128) == 256);
static_assert(linear_offset(3, 255) == 639);

}  // namespace qsfpctl
