#include <qsfp/sim/sff8636_vdm.h>

#include <algorithm>
#include <cmath>

#include <qsfp/sim/sff8636_map.h>
#include <qsfp/sim/sff8636_units.h>

namespace qsfp::sim::vdm {

namespace {

constexpr int kExponentBias = 24;
constexpr int kMaxExponent = 31;
constexpr int kMaxMantissa = 2047;
constexpr int kMantissaBits = 11;

std::uint16_t word_at(const ModuleMemory &m, std::uint8_t page, int addr) {
    const auto a = static_cast<std::uint8_t>(addr);
    return static_cast<std::uint16_t>(m.get(page, a) << 8 | m.get(page, static_cast<std::uint8_t>(a + 1)));
}

void put_word(ModuleMemory &m, std::uint8_t page, int addr, std::uint16_t w) {
    if (!m.has_page(page)) {
        return;
    }
    const auto a = static_cast<std::uint8_t>(addr);
    m.set(page, a, static_cast<std::uint8_t>(w >> 8));
    m.set(page, static_cast<std::uint8_t>(a + 1), static_cast<std::uint8_t>(w & 0xFF));
}

bool index_ok(int index) { return index >= 0 && index < kParameters; }

}  // namespace

const TypeInfo *type_info(std::uint8_t code) {
    for (const TypeInfo &t : kTypes) {
        if (t.code == code) {
            return &t;
        }
    }
    return nullptr;
}

std::uint16_t encode_f16(double value) {
    if (std::isnan(value) || value <= 0.0) {
        return 0;
    }
    for (int e = 0; e <= kMaxExponent; ++e) {
        const double m = std::round(value / std::pow(10.0, e - kExponentBias));
        if (m <= kMaxMantissa) {
            return static_cast<std::uint16_t>(e << kMantissaBits | static_cast<int>(m));
        }
    }
    return static_cast<std::uint16_t>(kMaxExponent << kMantissaBits | kMaxMantissa);
}

double decode_f16(std::uint16_t word) {
    const int e = word >> kMantissaBits;
    const int m = word & kMaxMantissa;
    return m * std::pow(10.0, e - kExponentBias);
}

std::uint16_t encode(std::uint8_t type, double value) {
    const TypeInfo *t = type_info(type);
    if (t == nullptr) {
        return 0;
    }
    if (t->format == Format::f16) {
        return encode_f16(value);
    }
    if (std::isnan(value)) {
        return 0;
    }
    const double n = std::clamp(std::round(value / t->scale), -32768.0, 32767.0);
    const long counts = static_cast<long>(n);
    return static_cast<std::uint16_t>(counts < 0 ? counts + 0x10000 : counts);
}

std::optional<double> decode(std::uint8_t type, std::uint16_t word) {
    const TypeInfo *t = type_info(type);
    if (t == nullptr) {
        return std::nullopt;
    }
    return t->format == Format::f16 ? decode_f16(word) : sff8636::as_signed(word) * t->scale;
}

Parameter parameter(const ModuleMemory &memory, int index) {
    if (!index_ok(index)) {
        return {};
    }
    const auto at = static_cast<std::uint8_t>(kConfig + 2 * index);
    const std::uint8_t where = memory.get(sff8636::kPage20, at);
    return {memory.get(sff8636::kPage20, static_cast<std::uint8_t>(at + 1)), static_cast<std::uint8_t>(where >> kSetShift),
            (where & kPerLane) != 0, static_cast<std::uint8_t>(where & kLaneBits)};
}

void set_parameter(ModuleMemory &memory, int index, const Parameter &p) {
    if (!index_ok(index) || !memory.has_page(sff8636::kPage20)) {
        return;
    }
    const auto at = static_cast<std::uint8_t>(kConfig + 2 * index);
    const auto where = static_cast<std::uint8_t>((p.threshold_set & 0x0F) << kSetShift | (p.per_lane ? kPerLane : 0) |
                                                 (p.lane & kLaneBits));
    memory.set(sff8636::kPage20, at, where);
    memory.set(sff8636::kPage20, static_cast<std::uint8_t>(at + 1), p.type);
}

void set_threshold_set(ModuleMemory &memory, int set, std::uint8_t type, const Limits &limits) {
    if (set < 0 || set >= kThresholdSets) {
        return;
    }
    const double values[] = {limits.high_alarm, limits.low_alarm, limits.high_warning, limits.low_warning};
    for (int i = 0; i < 4; ++i) {
        put_word(memory, sff8636::kPage21, kThresholds + kThresholdSetBytes * set + 2 * i, encode(type, values[i]));
    }
}

std::uint16_t threshold_word(const ModuleMemory &memory, int set, int which) {
    if (set < 0 || set >= kThresholdSets || which < 0 || which > 3) {
        return 0;
    }
    return word_at(memory, sff8636::kPage21, kThresholds + kThresholdSetBytes * set + 2 * which);
}

void set_value(ModuleMemory &memory, int index, std::uint8_t type, double value) {
    if (index_ok(index)) {
        put_word(memory, sff8636::kPage20, kValues + 2 * index, encode(type, value));
    }
}

std::uint16_t value_word(const ModuleMemory &memory, int index) {
    return index_ok(index) ? word_at(memory, sff8636::kPage20, kValues + 2 * index) : 0;
}

std::optional<double> value(const ModuleMemory &memory, int index) {
    if (!index_ok(index)) {
        return std::nullopt;
    }
    return decode(parameter(memory, index).type, value_word(memory, index));
}

std::uint8_t flag_nibble(const ModuleMemory &memory, int index) {
    const Parameter p = parameter(memory, index);
    const std::optional<double> v = value(memory, index);
    if (!v) {
        return 0;
    }
    double limit[4];
    for (int i = 0; i < 4; ++i) {
        limit[i] = decode(p.type, threshold_word(memory, p.threshold_set, i)).value_or(0.0);
    }
    std::uint8_t nibble = 0;
    nibble |= *v > limit[0] ? sff8636::kHighAlarm : 0;
    nibble |= *v < limit[1] ? sff8636::kLowAlarm : 0;
    nibble |= *v > limit[2] ? sff8636::kHighWarning : 0;
    nibble |= *v < limit[3] ? sff8636::kLowWarning : 0;
    return nibble;
}

}  // namespace qsfp::sim::vdm
