// The paging rules shared by the register access paths: page bounds, the
// pages a module offers, and when the page-select byte must be written.
#pragma once

#include <atomic>
#include <cstdint>

#include <qsfp/qsfp_port.h>

namespace qsfp::framework {

inline constexpr std::uint32_t kLowerPageLast = 127;
inline constexpr std::uint32_t kUpperPageLast = 255;
inline constexpr std::uint32_t kPageSelectReg = 127;
// Versatile diagnostics pages of SFF-8636 modules, reachable on any QSFP.
inline constexpr std::uint32_t kVdmPageFirst = 0x20;
inline constexpr std::uint32_t kVdmPageLast = 0x21;
inline constexpr std::uint32_t kLastStandardPage = 3;

enum class Boundary { none, lower, upper };

// Which 128-byte half an access of `len` bytes at `reg` runs out of, if any.
// Counted in 64 bits, so no length wraps the arithmetic; an empty access
// crosses nothing.
constexpr Boundary crossed_boundary(std::uint32_t reg, std::uint32_t len) {
    if (len == 0) {
        return Boundary::none;
    }
    const std::uint64_t last = std::uint64_t{reg} + len - 1;
    if (reg <= kLowerPageLast) {
        return last > kLowerPageLast ? Boundary::lower : Boundary::none;
    }
    if (reg <= kUpperPageLast) {
        return last > kUpperPageLast ? Boundary::upper : Boundary::none;
    }
    return Boundary::none;
}

// The module map as a path that selects pages itself lays it out: lower
// memory, then the 256 upper pages one after another, 128 bytes each. An
// access must start inside it (register and page each a byte) and end within
// it; anything else could only be moved by wrapping an address.
inline constexpr std::uint64_t kHalfPageBytes = 128;
inline constexpr std::uint64_t kModuleMapBytes = kHalfPageBytes + 256 * kHalfPageBytes;
inline constexpr std::uint32_t kLastPage = 255;

constexpr bool within_module_map(std::uint32_t reg, std::uint32_t len, std::uint32_t page) {
    if (reg > kUpperPageLast || page > kLastPage) {
        return false;
    }
    const std::uint64_t start = reg <= kLowerPageLast ? reg : kHalfPageBytes * (page + 1) + (reg - kHalfPageBytes);
    return std::uint64_t{len} <= kModuleMapBytes - start;
}
static_assert(within_module_map(0, 640, 0), "lower memory and pages 00h-03h in one read");
static_assert(within_module_map(255, 1, 255) && !within_module_map(255, 2, 255), "the map ends at page FFh byte 255");
static_assert(!within_module_map(0, 0xFFFFFFFF, 0) && !within_module_map(256, 1, 0) && !within_module_map(128, 1, 256),
              "no access wraps an address");
static_assert(crossed_boundary(126, 4) == Boundary::lower && crossed_boundary(200, 0xFFFFFFF0) == Boundary::upper,
              "crossings are found for any length");

// The page byte 127 is believed to hold. The timer handler reaches the module
// on the event manager's thread without the port lock, so the cache is read
// and written atomically.
inline std::atomic_ref<std::uint32_t> cached_page(qsfp_port_ctx *port) {
    return std::atomic_ref<std::uint32_t>(port->cur_page);
}

// Pages 0-3 and the diagnostics pages 20h-21h exist on every module the
// library serves; a DWDM module (any_page) accepts every page.
constexpr bool standard_page(const qsfp_port_ctx &port, std::uint32_t page) {
    return port.any_page != 0 || page <= kLastStandardPage || page == kVdmPageFirst || page == kVdmPageLast;
}

// The first checks of the register access paths: a library context (else
// "QSFP is not initialized" on standard error, 14) and a port ("NULL Qsfp
// Port" on the library trace, 22).
std::uint32_t check_context_and_port(const qsfp_port_ctx *port);

// An access the module map cannot hold: traced ("QSFP Access : Reg 0x%x Sz %u
// page %u beyond the module map") and answered 22; else 0.
std::uint32_t check_module_map(qsfp_port_ctx *port, std::uint32_t reg, std::uint32_t len, std::uint32_t page);

// Writes the page-select byte when the path cannot select pages itself and
// the cached page differs.
inline bool page_select_needed(qsfp_port_ctx *port, std::uint32_t page, bool path_selects_page) {
    return port->flat_mem == 0 && !path_selects_page && cached_page(port).load() != page;
}

}  // namespace qsfp::framework
