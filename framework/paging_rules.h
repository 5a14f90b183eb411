// The paging rules shared by the register access paths: page bounds, the
// pages a module offers, and when the page-select byte must be written.
#pragma once

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
constexpr Boundary crossed_boundary(std::uint32_t reg, std::uint32_t len) {
    const std::uint32_t last = reg + len - 1;
    if (reg <= kLowerPageLast) {
        return last > kLowerPageLast ? Boundary::lower : Boundary::none;
    }
    if (reg <= kUpperPageLast) {
        return last > kUpperPageLast ? Boundary::upper : Boundary::none;
    }
    return Boundary::none;
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

// Writes the page-select byte when the path cannot select pages itself and
// the cached page differs.
inline bool page_select_needed(const qsfp_port_ctx &port, std::uint32_t page, bool path_selects_page) {
    return port.flat_mem == 0 && !path_selects_page && port.cur_page != page;
}

}  // namespace qsfp::framework
