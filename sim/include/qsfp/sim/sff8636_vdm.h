// Versatile diagnostics on upper pages 20h-21h of an SFF-8636 module, as this
// emulator lays them out. A module announces them with page 00h byte 221 bit 5
// (and byte 195 bit 0, pages 20h-21h provided). The layout follows the
// versatile-diagnostics idea of the module standards: up to 24 parameters,
// each with a type, a lane, a live value, four thresholds (through a shared
// threshold set) and latched high alarm / low alarm / high warning / low
// warning flags that clear when read.
//
// Page 20h (read-only except byte 250, the DWDM keep-alive byte):
//   128 + 2i   parameter i (0-23): type code (kTypes; 0 = slot unused)
//   129 + 2i   bits 7-4 threshold set (0-8), bits 3-0 lane (0 module, 1-4 lane)
//   176 + 8s   threshold set s (0-8): high alarm, low alarm, high warning,
//              low warning; big-endian words in the number format of the
//              parameters that use the set (176-247)
//   248-249, 251-255 reserved; 250 keep-alive
// Page 21h:
//   128 + 2i   live value of parameter i, big-endian, in its type's format
//   176 + k    latched flags of parameters 2k (bits 7-4) and 2k+1 (bits 3-0);
//              each nibble: bit 3 high alarm, 2 low alarm, 1 high warning,
//              0 low warning (k = 0-11; clear on read)
//   188 + k    masks in the flags' layout, host written (1 = the flag does not
//              assert IntL)
//   200-255    reserved
//
// Number formats:
//   F16: bits 15-11 exponent e (0-31), bits 10-0 mantissa m (0-2047);
//        value = m * 10^(e - 24)
//   S16: two's complement word times the type's scale.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include <qsfp/sim/module.h>

namespace qsfp::sim::vdm {

inline constexpr int kParameters = 24;
inline constexpr int kThresholdSets = 9;
inline constexpr std::uint8_t kDescriptors = 128;  // page 20h
inline constexpr std::uint8_t kThresholds = 176;   // page 20h
inline constexpr std::uint8_t kValues = 128;       // page 21h
inline constexpr std::uint8_t kFlags = 176;        // page 21h
inline constexpr std::uint8_t kMasks = 188;        // page 21h
inline constexpr int kFlagBytes = kParameters / 2;

enum class Format { f16, s16 };

struct TypeInfo {
    std::uint8_t code;
    std::string_view name;
    Format format;
    double scale;  // engineering units per count (S16 only)
    std::string_view unit;
};

inline constexpr std::array<TypeInfo, 13> kTypes{{
    {1, "laser temperature", Format::s16, 1.0 / 256.0, "C"},
    {2, "laser frequency error", Format::s16, 10.0, "MHz"},
    {3, "TEC current", Format::s16, 0.1, "% of maximum"},
    {4, "laser age", Format::s16, 0.1, "% (0 beginning of life, 100 end of life)"},
    {5, "eSNR, media input", Format::s16, 1.0 / 256.0, "dB"},
    {6, "PAM4 level transition, media input", Format::s16, 1.0 / 256.0, "dB"},
    {7, "pre-FEC BER, current", Format::f16, 0.0, ""},
    {8, "pre-FEC BER, minimum", Format::f16, 0.0, ""},
    {9, "pre-FEC BER, maximum", Format::f16, 0.0, ""},
    {10, "pre-FEC BER, average", Format::f16, 0.0, ""},
    {11, "errored frames ratio, current", Format::f16, 0.0, ""},
    {12, "received OSNR", Format::s16, 0.1, "dB"},
    {13, "chromatic dispersion", Format::s16, 1.0, "ps/nm"},
}};

const TypeInfo *type_info(std::uint8_t code);

// F16 encoding picks the smallest exponent that holds the value (the most
// precise form); negative values and NaN give 0, values too large saturate.
std::uint16_t encode_f16(double value);
double decode_f16(std::uint16_t word);

// By type; an unknown type encodes 0 and decodes to nullopt.
std::uint16_t encode(std::uint8_t type, double value);
std::optional<double> decode(std::uint8_t type, std::uint16_t word);

struct Parameter {
    std::uint8_t type = 0;
    std::uint8_t threshold_set = 0;
    std::uint8_t lane = 0;
};

struct Limits {
    double high_alarm;
    double low_alarm;
    double high_warning;
    double low_warning;
};

// Reading and writing the layout in a module's memory (pages 20h and 21h
// must exist for the writers).
Parameter parameter(const ModuleMemory &memory, int index);
void set_parameter(ModuleMemory &memory, int index, const Parameter &p);
// Encodes the set's limits in the format of `type`.
void set_threshold_set(ModuleMemory &memory, int set, std::uint8_t type, const Limits &limits);
std::uint16_t threshold_word(const ModuleMemory &memory, int set, int which);  // 0 HA, 1 LA, 2 HW, 3 LW
void set_value(ModuleMemory &memory, int index, std::uint8_t type, double value);

// The flag nibble a value earns against its set (kHighAlarm ... in sff8636_map.h).
std::uint8_t flag_nibble(const ModuleMemory &memory, int index);

}  // namespace qsfp::sim::vdm
