// Versatile diagnostics on upper pages 20h-21h of an SFF-8636 module, in the
// SFF-8636 rev 2.10a register layout. A module announces them with page 00h
// byte 195 bit 0 (pages 20h-21h provided); the catalogue's modules also set
// byte 221 bit 5, reserved in rev 2.10a, because our driver looks at it. Up to
// 24 parameters i = 0-23, each with a type, an optional lane, a live value, a
// threshold set and four latched flags.
//
// Page 20h:
//   128 + k    latched flags of parameters 2k (bits 7-4) and 2k+1 (bits 3-0),
//              k = 0-11; each nibble from its top bit: high alarm, low alarm,
//              high warning, low warning; a byte clears when read
//   140 + k    masks in the flags' layout, host written (1 = the flag does not
//              assert IntL)
//   152 + 2i   live value of parameter i, big-endian, in its type's format
//   200 + 2i   configuration of parameter i: first byte bits 7-4 threshold
//              set (0-15), bit 3 reserved, bit 2 per-lane (1 = the parameter
//              belongs to one lane), bits 1-0 its lane (0-3 for lanes 1-4);
//              second byte the type code (0 = unused)
//   248-249    lane mapping (read-only)
//   250        control, host written: bit 7 error reset (DWDM hosts write 80h
//              here as their keep-alive)
//   251-255    reserved
// Page 21h:
//   128 + 8s   threshold set s (0-15): high alarm, low alarm, high warning,
//              low warning; big-endian words in the number format of the
//              parameters that use the set (read-only)
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
#include <qsfp/sim/sff8636_map.h>

namespace qsfp::sim::vdm {

inline constexpr int kParameters = 24;
inline constexpr int kFlagBytes = kParameters / 2;
inline constexpr int kThresholdSets = 16;
inline constexpr int kThresholdSetBytes = 8;

// Page 20h.
inline constexpr std::uint8_t kFlags = 128;
inline constexpr std::uint8_t kMasks = 140;
inline constexpr std::uint8_t kValues = 152;
inline constexpr std::uint8_t kConfig = 200;
inline constexpr std::uint8_t kLaneMapping = 248;
inline constexpr std::uint8_t kControl = sff8636::kKeepAlive;
inline constexpr std::uint8_t kErrorReset = 0x80;  // byte 250 bit 7
// Page 21h.
inline constexpr std::uint8_t kThresholds = 128;

static_assert(kMasks == kFlags + kFlagBytes);
static_assert(kValues == kMasks + kFlagBytes);
static_assert(kConfig == kValues + 2 * kParameters);
static_assert(kLaneMapping == kConfig + 2 * kParameters);
static_assert(kControl == kLaneMapping + 2);
static_assert(kThresholds + kThresholdSets * kThresholdSetBytes == 256);

// Configuration, first byte.
inline constexpr std::uint8_t kSetShift = 4;
inline constexpr std::uint8_t kPerLane = 0x04;
inline constexpr std::uint8_t kLaneBits = 0x03;

enum class Format { f16, s16 };

struct TypeInfo {
    std::uint8_t code;
    std::string_view name;
    Format format;
    double scale;  // engineering units per count (S16 only)
    std::string_view unit;
};

// Codes 17-255 are reserved or the vendor's own and are not decoded.
inline constexpr std::array<TypeInfo, 16> kTypes{{
    {1, "SNR, media input", Format::s16, 1.0 / 256.0, "dB"},
    {2, "residual ISI, media input", Format::s16, 1.0 / 256.0, "dB"},
    {3, "PAM4 level transition, media input", Format::s16, 1.0 / 256.0, "dB"},
    {4, "pre-FEC BER, average", Format::f16, 0.0, ""},
    {5, "frame error rate, average", Format::f16, 0.0, ""},
    {6, "TEC current", Format::s16, 0.1, "%"},
    {7, "laser frequency offset", Format::s16, 0.1, "GHz"},
    {8, "laser temperature", Format::s16, 1.0 / 256.0, "C"},
    {9, "pre-FEC BER, minimum", Format::f16, 0.0, ""},
    {10, "pre-FEC BER, maximum", Format::f16, 0.0, ""},
    {11, "pre-FEC BER, prior period", Format::f16, 0.0, ""},
    {12, "pre-FEC BER, current", Format::f16, 0.0, ""},
    {13, "frame error rate, minimum", Format::f16, 0.0, ""},
    {14, "frame error rate, maximum", Format::f16, 0.0, ""},
    {15, "frame error rate, prior period", Format::f16, 0.0, ""},
    {16, "frame error rate, current", Format::f16, 0.0, ""},
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
    std::uint8_t type = 0;  // 0: the slot is unused
    std::uint8_t threshold_set = 0;
    bool per_lane = false;
    std::uint8_t lane = 0;  // 0-3 for lanes 1-4, when per_lane
};

struct Limits {
    double high_alarm;
    double low_alarm;
    double high_warning;
    double low_warning;
};

// Reading and writing the layout in a module's memory. Writers do nothing
// when the page they write is missing or the index is out of range.
Parameter parameter(const ModuleMemory &memory, int index);
void set_parameter(ModuleMemory &memory, int index, const Parameter &p);
// Encodes the set's limits in the format of `type`.
void set_threshold_set(ModuleMemory &memory, int set, std::uint8_t type, const Limits &limits);
std::uint16_t threshold_word(const ModuleMemory &memory, int set, int which);  // 0 HA, 1 LA, 2 HW, 3 LW
void set_value(ModuleMemory &memory, int index, std::uint8_t type, double value);
std::uint16_t value_word(const ModuleMemory &memory, int index);
// The live value in its type's unit; nullopt for an unused or undecoded slot.
std::optional<double> value(const ModuleMemory &memory, int index);

// The flag nibble a value earns against its set (kHighAlarm ... in sff8636_map.h).
std::uint8_t flag_nibble(const ModuleMemory &memory, int index);

}  // namespace qsfp::sim::vdm
