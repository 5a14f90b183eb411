// A small builder of SFF-8636 module images: identifier, vendor strings padded
// with spaces, thresholds on page 03h, lower-memory monitor values, and the
// two page 00h check codes (191: sum of 128-190, 223: sum of 192-222, mod 256)
// filled in when the image is taken.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <qsfp/sim/module.h>
#include <qsfp/sim/sff8636_map.h>

namespace qsfp::sim {

struct AlarmLimits {
    double high_alarm = 0;
    double low_alarm = 0;
    double high_warning = 0;
    double low_warning = 0;
};

// Engineering units: C, V, mW, mA.
struct Thresholds {
    AlarmLimits temperature_c;
    AlarmLimits vcc_v;
    AlarmLimits rx_power_mw;
    AlarmLimits tx_bias_ma;
    AlarmLimits tx_power_mw;
};

struct MonitorValues {
    double temperature_c = 0;
    double vcc_v = 0;
    std::array<double, sff8636::kLanes> rx_power_mw{};
    std::array<double, sff8636::kLanes> tx_bias_ma{};
    std::array<double, sff8636::kLanes> tx_power_mw{};
};

struct VendorId {
    std::string_view name;        // 16 characters, space padded
    std::array<std::uint8_t, 3> oui{};
    std::string_view part;        // 16
    std::string_view revision;    // 2
    std::string_view serial;      // 16
    std::string_view date_code;   // 8: YYMMDD and a lot code
};

class ImageBuilder {
public:
    // Identifier in lower byte 0 and upper byte 128. A paged image has upper
    // pages 00h-03h; a flat one has page 00h only and lower byte 2 bit 2 set.
    explicit ImageBuilder(std::uint8_t identifier, bool flat = false);

    ImageBuilder &add_page(std::uint8_t page);
    // Writes to an upper page the image lacks are dropped.
    ImageBuilder &set(std::uint8_t page, std::uint8_t addr, std::uint8_t value);
    ImageBuilder &set_bits(std::uint8_t page, std::uint8_t addr, std::uint8_t bits);
    ImageBuilder &set_word(std::uint8_t page, std::uint8_t addr, std::uint16_t value);
    // ASCII text in a field of `width` bytes: cut to the width, padded with spaces.
    ImageBuilder &set_text(std::uint8_t page, std::uint8_t addr, std::size_t width, std::string_view text);

    ImageBuilder &vendor(const VendorId &id);
    ImageBuilder &thresholds(const Thresholds &t);
    ImageBuilder &monitors(const MonitorValues &m);

    const ModuleMemory &memory() const { return memory_; }
    // The image itself, for layouts the builder has no method for.
    ModuleMemory &edit() { return memory_; }
    // Fills in both check codes and hands the image over; the builder is then empty.
    ModuleMemory build();

private:
    bool reachable(std::uint8_t page, std::uint8_t addr) const;

    ModuleMemory memory_;
};

// The check code over page 00h bytes first..last: their sum modulo 256.
std::uint8_t check_code(const ModuleMemory &memory, std::uint8_t first, std::uint8_t last);
void fill_check_codes(ModuleMemory &memory);

}  // namespace qsfp::sim
