// Internal operations of the coherent DSP driver table and what its slots
// share: the SDK's device key and the driver's state beside the CMIS state
// that bring-up left in the port.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qsfp/qsfp_coherent.h>

#include "cmis/state.h"
#include "framework/driver_state.h"

namespace qsfp::coherent {

// The SDK names a module by (controller << 8, kept to 16 bits) | (port & 0xFF).
inline std::uint32_t device_key(const qsfp_port_ctx *port) {
    return ((port->controller << 8) & 0xFFFFu) | (port->port & 0xFFu);
}

// What the SDK told of the DSP at the last inventory request.
struct Inventory {
    std::uint32_t dsp_hw_revision;
    std::uint32_t dsp_fw_version;
    std::uint32_t module_fw_version;
    char dsp_part[8];  // not terminated, as the SDK gives it
};

// The CMIS state stays first: bring-up wrote it, and the coherent flag, DOM
// capability word and wavelength are read from it.
struct State {
    cmis::State cmis;
    Inventory inventory;
};
static_assert(offsetof(State, cmis) == 0, "the CMIS state keeps its place in the port's storage");

inline State &state(qsfp_port_ctx *port) { return framework::driver_state<State>(port); }

// Driver-table slots that are not exported as coherent_module_* functions.
std::uint32_t device_init(qsfp_port_ctx *port, std::uint32_t init_hw);
std::uint32_t get_type(qsfp_port_ctx *port, std::uint32_t *type, char *name, std::uint32_t name_len,
                       std::uint32_t *flag);
std::uint32_t get_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status);
std::uint32_t get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info);
std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t flag);
std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t flag);
std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode);
std::uint32_t set_sim_alarms(qsfp_port_ctx *port, void *alarms);
std::uint32_t get_firmware_update_progress(qsfp_port_ctx *port, void *percent, void *state, void *bytes);

}  // namespace qsfp::coherent
