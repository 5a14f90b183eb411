// What a port defaults to for its rate and module type: FEC and
// autonegotiation. Module type codes are the drivers' (SFF-8636 1-383, CMIS
// 0xC1-0xD0).
#pragma once

#include <cstdint>
#include <iterator>

namespace qsfp::framework {

struct CodeRange {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr bool in_ranges(const CodeRange *begin, const CodeRange *end, std::uint32_t code) {
    for (const CodeRange *r = begin; r != end; ++r) {
        if (code >= r->first && code <= r->last) {
            return true;
        }
    }
    return false;
}

// 100G modules whose links need RS-FEC by default.
inline constexpr CodeRange kFec100G[] = {{1, 2}, {4, 8}, {11, 11}, {25, 25}, {127, 127}, {129, 133}};
// The one 200G type that runs without FEC (2x100G LR4).
inline constexpr std::uint32_t kNoFec200G = 203;
// Copper cables that autonegotiate.
inline constexpr CodeRange kAutoneg100G[] = {{8, 8}, {11, 11}, {13, 13}, {132, 132}};
inline constexpr CodeRange kAutoneg400G[] = {{193, 193}};
inline constexpr CodeRange kAutoneg40G[] = {{67, 67}, {361, 365}};
// Active copper cables; 360 is deliberately not one of them.
inline constexpr CodeRange kActiveCopper[] = {{8, 8}, {355, 359}, {361, 365}};

constexpr std::uint32_t default_fec(std::uint32_t rate, std::uint32_t type) {
    switch (rate) {
    case 400: return 1;
    case 200: return type != kNoFec200G ? 1 : 0;
    case 100: return in_ranges(std::begin(kFec100G), std::end(kFec100G), type) ? 1 : 0;
    default: return 0;
    }
}

constexpr std::uint32_t default_autoneg(std::uint32_t rate, std::uint32_t type) {
    switch (rate) {
    case 100: return in_ranges(std::begin(kAutoneg100G), std::end(kAutoneg100G), type) ? 1 : 0;
    case 400: return in_ranges(std::begin(kAutoneg400G), std::end(kAutoneg400G), type) ? 1 : 0;
    case 40: return in_ranges(std::begin(kAutoneg40G), std::end(kAutoneg40G), type) ? 1 : 0;
    default: return 0;
    }
}

constexpr bool active_copper(std::uint32_t type) {
    return in_ranges(std::begin(kActiveCopper), std::end(kActiveCopper), type);
}

static_assert(default_fec(100, 3) == 0 && default_fec(100, 4) == 1);
static_assert(default_autoneg(40, 363) == 1 && default_autoneg(40, 360) == 0);
static_assert(!active_copper(360) && active_copper(355));

}  // namespace qsfp::framework
