// Observation periods: a driver watches a module for a while (latched flags,
// data-ready) and lets the platform cut the wait short while it processes an
// administrative change of the port. SFF-8636 and CMIS drivers share it.
#pragma once

#include <cstdint>

#include <qsfp/qsfp_port.h>

namespace qsfp::framework {

// Waits `steps` times `step_us`, asking the caller's admin-state callback
// before each step whether an admin change is being processed; false (after
// tracing it) when one is, and the driver abandons with kAbandoned.
bool observe(qsfp_port_ctx *port, std::uint32_t steps, std::uint32_t step_us);
inline constexpr std::uint32_t kAbandoned = 1;

}  // namespace qsfp::framework
