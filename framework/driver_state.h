// A driver's private state lives in the port context's driver storage. Each
// driver keeps one plain record there; the framework never looks inside.
#pragma once

#include <type_traits>

#include <qsfp/qsfp_port.h>

namespace qsfp::framework {

// The record of type State in a port's driver storage. The storage is
// zero-filled with the context, and a zero State is a driver's initial state.
template <typename State>
State &driver_state(qsfp_port_ctx *port) {
    static_assert(sizeof(State) <= QSFP_DRIVER_STATE_BYTES, "driver state exceeds the port's storage");
    static_assert(alignof(State) <= alignof(qsfp_driver_state), "driver state is over-aligned");
    static_assert(std::is_trivially_copyable_v<State> && std::is_trivially_default_constructible_v<State>,
                  "driver state must be a plain record");
    return *reinterpret_cast<State *>(port->driver.bytes);
}

template <typename State>
const State &driver_state(const qsfp_port_ctx *port) {
    return driver_state<State>(const_cast<qsfp_port_ctx *>(port));
}

}  // namespace qsfp::framework
