// Conversions of SFF-8636 and CMIS monitor and threshold words (big-endian) into
// engineering units, in single precision as the status record carries them.
#pragma once

#include <cmath>
#include <cstdint>

namespace qsfp::units {

constexpr std::uint16_t word_at(const std::uint8_t *bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

// Signed, 1/256 degree C.
constexpr float temperature_c(std::uint16_t raw) { return static_cast<std::int16_t>(raw) / 256.0f; }
// 100 uV.
constexpr float vcc_v(std::uint16_t raw) { return raw * 0.0001f; }
// 0.1 uW.
constexpr float power_mw(std::uint16_t raw) { return raw * 0.0001f; }
// 2 uA.
constexpr float bias_ma(std::uint16_t raw) { return raw * 0.002f; }
// 0 mW gives minus infinity.
inline float dbm(float mw) { return 10.0f * std::log10(mw); }
// The CMIS live status record takes a lane's power as the product in double
// precision narrowed to single; it differs from power_mw in the last place for
// about a third of the words.
constexpr float power_mw_narrowed(std::uint16_t raw) { return static_cast<float>(raw * 0.0001); }
// A lane's optical power in dBm for the status record: a dark lane reads
// 0.0001 mW, -40 dBm, rather than minus infinity.
inline constexpr float kDarkPowerMw = 0.0001f;
inline float dbm_or_dark(float mw) { return dbm(mw == 0.0f ? kDarkPowerMw : mw); }

// A wavelength word counts 0.05 nm (SFF-8636 bytes 186-187, CMIS page 01h
// 138-139); the status record takes whole nanometres, the integer division
// dropping the 0.05 nm steps on purpose.
inline constexpr std::uint32_t kWavelengthSteps = 20;
constexpr float wavelength_whole_nm(std::uint16_t raw) {
    return static_cast<float>(raw / kWavelengthSteps);  // NOLINT(bugprone-integer-division)
}

}  // namespace qsfp::units
