// Versatile diagnostics of SFF-8636 rev 2.10a modules (upper pages 20h and
// 21h): up to 24 typed parameters with live values, latched flags and
// threshold sets.
//   page 20h 128-139  latched flags, parameter 2k in bits 7-4 of byte 128+k,
//                     2k+1 in bits 3-0; each nibble high alarm, low alarm,
//                     high warning, low warning from its top bit
//   page 20h 152-199  live value of parameter i at 152+2i (big-endian)
//   page 20h 200-247  configuration of parameter i at 200+2i: bits 7-4
//                     threshold set, bit 2 lane-specific, bits 1-0 lane;
//                     then the type code
//   page 21h 128-255  threshold set s at 128+8s: high alarm, low alarm,
//                     high warning, low warning words
#pragma once

#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>

namespace qsfp::sff8636::vdm {

inline constexpr int kParameters = 24;
inline constexpr std::uint32_t kFlags = 128;         // page 20h
inline constexpr std::uint32_t kValues = 152;        // page 20h
inline constexpr std::uint32_t kConfiguration = 200; // page 20h
inline constexpr std::uint32_t kThresholdSets = 128; // page 21h
inline constexpr std::uint8_t kLaneSpecific = 0x04;

enum Type : std::uint8_t {
    kUnused = 0,
    kSnr = 1,
    kResidualIsi = 2,
    kPam4LevelTransition = 3,
    kPreFecBerAverage = 4,
    kFerAverage = 5,
    kTecCurrent = 6,
    kLaserFrequency = 7,
    kLaserTemperature = 8,
    kPreFecBerMin = 9,
    kPreFecBerCurrent = 12,
    kFerMin = 13,
    kFerCurrent = 16,
};

// F16: bits 15-11 exponent e, bits 10-0 mantissa m; m * 10^(e - 24).
inline double f16(std::uint16_t word) { return (word & 0x7FF) * std::pow(10.0, (word >> 11) - 24); }

// How each type's words are read: F16, or a signed word times a scale.
struct Format {
    bool f16;
    double scale;
};
inline constexpr Format kFormats[] = {
    {false, 0.0},          // 0 unused
    {false, 1.0 / 256.0},  // 1 SNR, dB
    {false, 1.0 / 256.0},  // 2 residual ISI, dB
    {false, 1.0 / 256.0},  // 3 PAM4 level transition, dB
    {true, 0.0},           // 4 pre-FEC BER average
    {true, 0.0},           // 5 frame error rate average
    {false, 0.1},          // 6 TEC current, %
    {false, 0.1},          // 7 laser frequency offset, GHz
    {false, 1.0 / 256.0},  // 8 laser temperature, C
    {true, 0.0}, {true, 0.0}, {true, 0.0}, {true, 0.0},  // 9-12 pre-FEC BER min, max, prior, current
    {true, 0.0}, {true, 0.0}, {true, 0.0}, {true, 0.0},  // 13-16 frame error rate min, max, prior, current
};
static_assert(std::size(kFormats) == kFerCurrent + 1);

// A word in its type's unit; unused, reserved and vendor types are not decoded.
inline std::optional<double> decode(std::uint8_t type, std::uint16_t word) {
    if (type == kUnused || type >= std::size(kFormats)) {
        return std::nullopt;
    }
    const Format &f = kFormats[type];
    return f.f16 ? f16(word) : static_cast<std::int16_t>(word) * f.scale;
}

}  // namespace qsfp::sff8636::vdm
