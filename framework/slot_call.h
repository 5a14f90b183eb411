// The bracket every port operation shares: validate and lock, call one slot
// of the port's driver table, unlock.
#pragma once

#include <cstdint>
#include <cstdio>

#include <qsfp/qsfp_port.h>

namespace qsfp::framework {

// The message a failed handle check prints to standard error (null: none).
inline constexpr const char *kReadCheckFailed = "qsfp port read check hdl failed \n";
inline constexpr const char *kTypeCheckFailed = "qsfp port qsfp type check hdl failed, will be retried\n";
inline constexpr const char *kThresholdsCheckFailed = "qsfp port qsfp hw thresholds check hdl failed \n";
inline constexpr const char *kHwStatusCheckFailed = "qsfp port qsfp hw status check hdl failed \n";
inline constexpr const char *kHwInfoCheckFailed = "qsfp port hw info check hdl failed \n";

// Validates and locks; on failure prints `message` and answers the code.
inline std::uint32_t lock_for(qsfp_port_ctx *port, int line, const char *message) {
    const std::uint32_t rc = qsfp_check_and_lock_hdl(port, line);
    if (rc != QSFP_OK && message != nullptr) {
        std::fputs(message, stderr);
    }
    return rc;
}

// A slot that is null answers QSFP_ERR_EMPTY_SLOT without being called.
template <auto Slot, typename... Args>
std::uint32_t call_slot(qsfp_port_ctx *port, int line, const char *message, Args... args) {
    if (const std::uint32_t rc = lock_for(port, line, message); rc != QSFP_OK) {
        return rc;
    }
    const auto slot = port->fvt.*Slot;
    const std::uint32_t rc = slot != nullptr ? slot(port, args...) : QSFP_ERR_EMPTY_SLOT;
    qsfp_port_unlock(port);
    return rc;
}

inline std::uint32_t low_byte(std::uint32_t value) { return value & 0xFF; }

}  // namespace qsfp::framework
