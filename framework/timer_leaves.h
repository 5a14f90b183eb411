// The kinds of leaf on the library's timer tree: each port's cool timer, and
// the keep-alive of DWDM modules, which drop their laser unless page 20h is
// written regularly.
#pragma once

#include <cstdint>

namespace qsfp {

inline constexpr std::uint32_t kCoolTimerLeaf = 1;
inline constexpr std::uint32_t kKeepaliveLeaf = 2;

inline constexpr std::uint32_t kKeepaliveSeconds = 900;
inline constexpr std::uint32_t kKeepaliveNanoseconds = 1000;

}  // namespace qsfp
