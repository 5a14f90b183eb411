// Stub operations of the driver tables: a slot that the module kind does not
// support but that must answer success. Each stub says "Unsupported" with a
// trace-point number of its own (table and slot), so the slots stay
// distinguishable in the trace.
#pragma once

#include <cstdint>

#include <qsfp/qsfp_port.h>

#include "framework/trace.h"

namespace qsfp::framework {

enum class StubTable : std::uint32_t { cmis = 1, coherent = 2 };

// Numbers above any line of this header, one per table and slot.
constexpr std::uint32_t stub_tracepoint(StubTable table, std::uint32_t slot) {
    return (::qsfp::trace::source_index(__FILE__) << 16) | 0x8000u |
           (static_cast<std::uint32_t>(table) << 5) | slot;
}

template <StubTable Table, std::uint32_t Slot, typename... Args>
std::uint32_t unsupported(qsfp_port_ctx *port, Args...) {
    static_assert(Slot < QSFP_DRV_FVT_SLOTS);
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (port->trace_err != nullptr) {
        ztrace_internal(port->trace_err, stub_tracepoint(Table, Slot), "uu", "Controller %d Port %d: Unsupported\n",
                        port->controller, port->port);
    }
    return QSFP_OK;
}

}  // namespace qsfp::framework
