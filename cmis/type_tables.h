// What the CMIS driver knows of module kinds: the module types with their
// texts and default modes, the applications that identify each type, and the
// waits that each CMIS max-duration code stands for.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include <qsfp/qsfp_cmis.h>

namespace qsfp::cmis {

struct TypeRow {
    std::uint32_t type;
    const char *description;
    bool flat;      // also the copper flag
    bool passive;
    std::uint32_t default_mode;
    const char *pid;  // "%s" takes the cable length text
};

// Row 0 is found by a direct test, the others by a scan, in this order.
inline constexpr TypeRow kTypes[] = {
    {QSFP_DD_TYPE_400G_FR4, "QSFPDD 400G FR4", false, false, 7, "HDX-400G-FR4-V"},
    {QSFP_DD_TYPE_400G_DR4, "QSFPDD 400G DR4", false, false, 7, "HDX-400G-DR4-V"},
    {QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK, "QSFPDD 400G PASSIVE LOOPBACK", false, true, 7, "HDX-400G-PLB-V"},
    {QSFP_DD_TYPE_8X50G_CU_BREAKOUT, "QSFPDD 8x50G CU BREAKOUT", true, true, 13, "HDX-8S50G-CU%s"},
    {QSFP_DD_TYPE_400G_ACTIVE_LOOPBACK, "QSFPDD 400G ACTIVE LOOPBACK", false, false, 7, "HDX-400G-LB-V"},
    {QSFP_DD_TYPE_400G_LR8, "QSFPDD 400G LR8", false, false, 7, "HDX-400G-LR8-V"},
    {QSFP_DD_TYPE_400G_COPPER, "QSFPDD 400G PASSIVE COPPER", true, true, 7, "HDX-400-CU%s"},
    {QSFP_DD_TYPE_2X100G_SR4, "QSFPDD 2x100G SR4", false, false, 15, "HDX-2x100G-SR4-V"},
    {QSFP_DD_TYPE_2X100G_PSM4, "QSFPDD 2x100G PSM4", false, false, 15, "HDX-2x100G-PSM4-V"},
    {QSFP_DD_TYPE_2X100G_CWDM4, "QSFPDD 2x100G CWDM4", false, false, 15, "HDX-2x100G-CWDM4-V"},
    {QSFP_DD_TYPE_2X100G_LR4, "QSFPDD 2x100G LR4", false, false, 15, "HDX-2x100G-LR4-V"},
    {QSFP_DD_TYPE_400G_AOC, "QSFPDD 400G AOC", false, false, 7, "HDX-400-AOC%s"},
    {QSFP_DD_TYPE_400G_ZR, "QSFPDD 400G ZR", false, false, 7, "HDX-400G-ZR-V"},
    {QSFP_DD_TYPE_400G_ZRP, "QSFPDD 400G ZRP", false, false, 7, "HDX-400G-ZRP-V"},
    {QSFP_DD_TYPE_400G_AEC, "QSFPDD 400G AEC", false, false, 7, "BASIC-HDX-400G-AEC"},
};
static_assert(std::size(kTypes) == 15);
static_assert(kTypes[0].type == 0xC2 && kTypes[6].type == 0xC1 && kTypes[12].type == 0xCF && kTypes[14].type == 0xCD);

// The row of `type` (row 0 by a direct test, then a scan of the others).
constexpr const TypeRow *find_type(std::uint32_t type) {
    if (type == kTypes[0].type) {
        return &kTypes[0];
    }
    for (const TypeRow &row : std::span(kTypes).subspan(1)) {
        if (row.type == type) {
            return &row;
        }
    }
    return nullptr;
}
static_assert(find_type(QSFP_DD_TYPE_400G_DR4_2KM) == nullptr, "the 2 km DR4 has no row of its own");
static_assert(find_type(QSFP_DD_TYPE_8X50G_CU_BREAKOUT)->default_mode == QSFP_DD_OPER_MODE_8X50G);

// The four bytes an advertised application must show for a module type.
struct AppRow {
    std::uint32_t type;
    std::uint8_t media_type;
    std::uint8_t host_interface;
    std::uint8_t media_interface;  // 0 matches any code (except in the ZR+ promotion)
    std::uint8_t lane_counts;
};

inline constexpr AppRow kApplicationTypes[] = {
    {0xC1, 0x03, 0x1D, 0x01, 0x88}, {0xC2, 0x02, 0x11, 0x1D, 0x84}, {0xC3, 0x02, 0x11, 0x1C, 0x84},
    {0xC3, 0x02, 0x0D, 0x14, 0x21}, {0xC7, 0x02, 0x11, 0x1B, 0x88}, {0xC8, 0x01, 0x0B, 0x09, 0x44},
    {0xC8, 0x01, 0x05, 0x03, 0x11}, {0xC8, 0x01, 0x07, 0x04, 0x44}, {0xC8, 0x01, 0x07, 0x02, 0x11},
    {0xC9, 0x02, 0x0B, 0x0F, 0x44}, {0xC9, 0x02, 0x05, 0x00, 0x11}, {0xCA, 0x02, 0x0B, 0x10, 0x44},
    {0xCB, 0x02, 0x0B, 0x0D, 0x44}, {0xCC, 0x04, 0x11, 0x03, 0x88}, {0xCC, 0x04, 0x11, 0x02, 0x88},
    {0xCC, 0x04, 0x11, 0x01, 0x88}, {0xC4, 0x03, 0x11, 0x00, 0x88}, {0xD0, 0x02, 0x11, 0xC5, 0x81},
    {0xD0, 0x02, 0x11, 0xC0, 0x81}, {0xD0, 0x02, 0x0D, 0xC0, 0x21}, {0xD0, 0x02, 0x0D, 0xC1, 0x21},
    {0xD0, 0x02, 0x0D, 0xC2, 0x21}, {0xD0, 0x02, 0x0D, 0xC4, 0x21}, {0xCF, 0x02, 0x11, 0x3E, 0x81},
    {0xCF, 0x02, 0x11, 0x3F, 0x81}, {0xCF, 0x02, 0x0D, 0x3E, 0x21}, {0xCD, 0x04, 0x0B, 0x01, 0x88},
    {0xCD, 0x04, 0x11, 0x02, 0x88},
};
static_assert(std::size(kApplicationTypes) == 28);
static_assert(kApplicationTypes[16].type == 0xC4 && kApplicationTypes[16].media_interface == 0);
static_assert(kApplicationTypes[23].type == 0xCF && kApplicationTypes[27].lane_counts == 0x88);

// Initial wait, poll interval (ms) and poll count for a max-duration code.
struct Duration {
    std::uint32_t wait_ms;
    std::uint32_t interval_ms;
    std::uint32_t count;
};

inline constexpr Duration kDurations[] = {
    {1, 1, 1},         {1, 1, 4},          {5, 1, 5},          {10, 1, 40},       {50, 1, 50},
    {100, 10, 40},     {500, 50, 10},      {1000, 500, 8},     {5000, 500, 10},   {10000, 1000, 50},
    {60000, 2000, 120}, {300000, 10000, 30}, {600000, 60000, 40}, {3000000, 60000, 10},
};
static_assert(std::size(kDurations) == 14);
inline constexpr std::uint32_t kLastDurationCode = 13;
// Codes 14 and 15 (reserved) take this.
inline constexpr Duration kDefaultDuration = {1000, 1000, 60};

// The row of a code, or nothing for a code above 13.
constexpr std::optional<Duration> duration_of(std::uint32_t code) {
    if (code > kLastDurationCode) {
        return std::nullopt;
    }
    return kDurations[code];
}
static_assert(duration_of(13)->wait_ms == 3000000 && !duration_of(14).has_value());

// The wait of a code; codes 14 and 15 have no row and take the default.
constexpr Duration duration_or_default(std::uint32_t code) { return duration_of(code).value_or(kDefaultDuration); }

// Media lanes of a module type: the 400G FR4 and DR4 kinds carry four
// wavelengths or fibres, the coherent ZR kinds one; every other type eight.
constexpr std::uint32_t media_lane_count(std::uint32_t type) {
    switch (type) {
    case QSFP_DD_TYPE_400G_FR4:
    case QSFP_DD_TYPE_400G_DR4:
    case QSFP_DD_TYPE_400G_DR4_2KM: return 4;
    case QSFP_DD_TYPE_400G_ZR:
    case QSFP_DD_TYPE_400G_ZRP: return 1;
    default: return 8;
    }
}
static_assert(media_lane_count(QSFP_DD_TYPE_400G_DR4_2KM) == 4 && media_lane_count(QSFP_DD_TYPE_400G_ZRP) == 1 &&
              media_lane_count(QSFP_DD_TYPE_400G_LR8) == 8 && media_lane_count(0) == 8);

}  // namespace qsfp::cmis
