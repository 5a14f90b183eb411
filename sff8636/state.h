// The SFF-8636 driver's private state: capability bytes cached at bring-up,
// the flags derived from them, and where the module's settle period stands.
#pragma once

#include <atomic>
#include <cstdint>

#include <qsfp/qsfp_port.h>

#include "framework/driver_state.h"

namespace qsfp::sff8636 {

// Where bring-up left the port. `unbrought` until bring-up gets past
// identification; `settling` while the cool timer runs.
enum class Settle : std::uint32_t { unbrought = 0, settling = 1, ready = 2 };

struct State {
    char vendor_name[QSFP_VENDOR_NAME_LEN + 1]; // bytes 148-163 as read
    std::uint8_t options[3];             // bytes 193, 194, 195
    std::uint8_t device_tech;            // byte 147
    std::uint8_t length_smf;             // byte 142
    std::uint8_t length_copper;          // byte 146
    std::uint8_t wavelength[2];          // bytes 186-187
    std::uint8_t enhanced_options;       // byte 221
    std::uint32_t dom_supported;
    std::uint32_t is_korva_qualified;
    std::uint32_t skip_rx_disable;
    std::uint32_t skip_tx_eq;
    std::uint32_t skip_rx_eq;
    std::uint32_t skip_amp;
    std::uint32_t rx_squelch_disable_absent;
    std::uint32_t tx_squelch_disable_absent;
    std::uint32_t is_passive_loopback;
    // A Settle value. The timer handler changes it on the event manager's
    // thread without the port lock: access it through settle_of() only.
    std::uint32_t settle;
    std::uint32_t hw_info_saved;
    std::uint32_t bit_bang;              // read the flags byte by byte
};

inline State &state(qsfp_port_ctx *port) { return framework::driver_state<State>(port); }
inline const State &state(const qsfp_port_ctx *port) { return framework::driver_state<State>(port); }

inline std::atomic_ref<std::uint32_t> settle_word(qsfp_port_ctx *port) {
    return std::atomic_ref<std::uint32_t>(state(port).settle);
}
inline Settle settle_of(qsfp_port_ctx *port) { return static_cast<Settle>(settle_word(port).load()); }
inline void set_settle(qsfp_port_ctx *port, Settle settle) {
    settle_word(port).store(static_cast<std::uint32_t>(settle));
}
inline bool is_ready(qsfp_port_ctx *port) { return settle_of(port) == Settle::ready; }

}  // namespace qsfp::sff8636
