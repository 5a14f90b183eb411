// Every wait of the library is usleep(), so a test binary's usleep moves a
// virtual clock instead of the wall clock.
#pragma once

#include <unistd.h>

#include <cstdint>

namespace qsfp::framework {

inline void wait_us(std::uint32_t us) { usleep(us); }
inline void wait_ms(std::uint32_t ms) { wait_us(ms * 1000U); }

}  // namespace qsfp::framework
