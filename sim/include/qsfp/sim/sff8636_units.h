// SFF-8636 monitor words and engineering units. Every word is big-endian on
// the bus; encoders round to the nearest count and saturate at the word's range.
#pragma once

#include <cstdint>

namespace qsfp::sim::sff8636 {

// Temperature: signed, 1/256 degree C per count.
std::uint16_t encode_temperature(double celsius);
double decode_temperature(std::uint16_t word);

// Supply voltage: unsigned, 100 uV per count.
std::uint16_t encode_vcc(double volts);
double decode_vcc(std::uint16_t word);

// Optical power: unsigned, 0.1 uW per count.
std::uint16_t encode_power(double milliwatts);
double decode_power(std::uint16_t word);

// Laser bias current: unsigned, 2 uA per count.
std::uint16_t encode_bias(double milliamps);
double decode_bias(std::uint16_t word);

// Signed 16-bit two's complement in a word, and back.
std::int16_t as_signed(std::uint16_t word);

}  // namespace qsfp::sim::sff8636
