#include <qsfp/sim/sff8636_units.h>

#include <algorithm>
#include <cmath>

namespace qsfp::sim::sff8636 {

namespace {

constexpr double kTemperaturePerCount = 1.0 / 256.0;
constexpr double kVoltsPerCount = 0.0001;
constexpr double kMilliwattsPerCount = 0.0001;
constexpr double kMilliampsPerCount = 0.002;

// Rounds to the nearest count and keeps the result inside [lo, hi]; NaN reads as 0.
long counts(double value, double per_count, long lo, long hi) {
    if (std::isnan(value)) {
        return 0;
    }
    const double n = std::round(value / per_count);
    return static_cast<long>(std::clamp(n, static_cast<double>(lo), static_cast<double>(hi)));
}

std::uint16_t unsigned_word(double value, double per_count) {
    return static_cast<std::uint16_t>(counts(value, per_count, 0, 0xFFFF));
}

}  // namespace

std::int16_t as_signed(std::uint16_t word) {
    return static_cast<std::int16_t>(word >= 0x8000 ? static_cast<int>(word) - 0x10000 : static_cast<int>(word));
}

std::uint16_t encode_temperature(double celsius) {
    const long n = counts(celsius, kTemperaturePerCount, -32768, 32767);
    return static_cast<std::uint16_t>(n < 0 ? n + 0x10000 : n);
}

double decode_temperature(std::uint16_t word) { return as_signed(word) * kTemperaturePerCount; }

std::uint16_t encode_vcc(double volts) { return unsigned_word(volts, kVoltsPerCount); }
double decode_vcc(std::uint16_t word) { return word * kVoltsPerCount; }

std::uint16_t encode_power(double milliwatts) { return unsigned_word(milliwatts, kMilliwattsPerCount); }
double decode_power(std::uint16_t word) { return word * kMilliwattsPerCount; }

std::uint16_t encode_bias(double milliamps) { return unsigned_word(milliamps, kMilliampsPerCount); }
double decode_bias(std::uint16_t word) { return word * kMilliampsPerCount; }

}  // namespace qsfp::sim::sff8636
