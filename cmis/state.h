// The CMIS driver's private state: what bring-up learnt of the module and
// what the datapath steps last programmed. The inventory record holds the
// type code, description, PID, VID and identity texts; the port context holds
// the oper mode (port_mode), rate, flat-memory and copper flags.
#pragma once

#include <cstdint>

#include <qsfp/qsfp_port.h>

#include "cmis/cmis_regs.h"
#include "framework/driver_state.h"

namespace qsfp::cmis {

struct State {
    std::uint8_t revision;               // lower byte 1
    std::uint8_t dom_support;            // kDom* bits; temperature is always monitored
    std::uint8_t media_type;             // lower byte 85
    std::uint8_t apps[kApplications][kAppDescriptorBytes];  // lower bytes 86-117
    std::uint8_t wavelength[2];          // page 01h 138-139, raw
    std::uint8_t si_controls[2];         // page 01h 161-162, raw
    std::uint8_t dp_deinit_code;         // max-duration codes
    std::uint8_t dp_init_code;
    std::uint8_t power_up_code;
    std::uint8_t power_down_code;
    std::uint32_t qualified;             // vendor name begins "KORVA"
    std::uint32_t passive;
    std::uint32_t hw_info_valid;
    std::uint32_t active_app_code;       // the application last found in or written to the active set
    std::uint32_t media_lane_count;      // for the coherent driver
    std::uint32_t coherent;              // the port was handed to the coherent driver
    // Signal-integrity overrides to apply (the lane values are the port's
    // lane_tx_eq, lane_rx_pre, lane_rx_post and lane_rx_amp arrays).
    std::uint32_t tx_eq_override;
    std::uint32_t rx_pre_override;
    std::uint32_t rx_post_override;
    std::uint32_t rx_amp_override;
};


inline State &state(qsfp_port_ctx *port) { return framework::driver_state<State>(port); }
inline const State &state(const qsfp_port_ctx *port) { return framework::driver_state<State>(port); }

// Whether any signal-integrity override is recorded.
inline bool si_overrides_present(const qsfp_port_ctx *port) {
    const State &s = state(port);
    return s.tx_eq_override != 0 || s.rx_pre_override != 0 || s.rx_post_override != 0 || s.rx_amp_override != 0;
}

// One application descriptor (1-based code) of the stored copy.
inline const std::uint8_t *app_descriptor(const qsfp_port_ctx *port, std::uint32_t app_code) {
    return state(port).apps[app_code - 1];
}
inline std::uint32_t host_lanes(std::uint8_t lane_counts) { return lane_counts >> 4; }
inline std::uint32_t media_lanes(std::uint8_t lane_counts) { return lane_counts & 0x0F; }

}  // namespace qsfp::cmis
