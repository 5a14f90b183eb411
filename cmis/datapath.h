// What the datapath steps share: per-lane states, the waits the max-duration
// codes stand for, and the lanes a datapath request reaches.
#pragma once

#include <array>
#include <cstdint>

#include "cmis/driver.h"
#include "cmis/type_tables.h"

namespace qsfp::cmis {

inline constexpr std::uint32_t kConfigTimeout = QSFP_ERR_CONFIG_TIMEOUT;

using LaneStates = std::array<std::uint8_t, kLanes>;

// Whether every lane of `lanes` (bit i: lane i + 1) is in `wanted`.
constexpr bool lanes_in(const LaneStates &states, std::uint8_t lanes, std::uint8_t wanted) {
    for (std::uint32_t i = 0; i < kLanes; ++i) {
        if (((lanes >> i) & 1U) != 0 && states[i] != wanted) {
            return false;
        }
    }
    return true;
}


// One nibble per lane, lane 1 in bits 3-0 of the first byte (page 11h
// datapath states and configuration status alike).
constexpr std::uint8_t lane_nibble(const std::uint8_t *bytes, std::uint32_t lane) {
    return static_cast<std::uint8_t>((bytes[lane / 2] >> ((lane % 2) * 4)) & 0x0F);
}

}  // namespace qsfp::cmis
