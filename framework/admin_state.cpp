// Admin state and transmitter disable: a change of the requested state
// disables or enables the port's lanes through the driver. A 100G passive
// loopback plug has nothing to switch.
#include <qsfp/qsfp_port_ops.h>

#include "framework/slot_call.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

constexpr std::uint32_t kAdminNotification = 1;
// The 100G passive loopback plug: no lanes to switch.
constexpr std::uint32_t kTypePassiveLoopback100G = 127;

enum class Request : std::uint32_t { admin_state = 0, tx_disable = 1 };

void trace_request(qsfp_port_ctx *port, Request request, std::uint32_t pre, std::uint32_t state, std::uint32_t lanes,
                   bool skipped) {
    if (request == Request::admin_state) {
        if (skipped) {
            trace_evt(port, "QSFP admin state handler, pre %d, state %d, lane 0x%x.  100G Passive loopback.  Skip\n",
                      pre, state, lanes);
        } else {
            trace_evt(port, "QSFP admin state handler, pre %d, state %d, lane 0x%x\n", pre, state, lanes);
        }
    } else if (skipped) {
        trace_evt(port, "QSFP tx disable handler, pre %d, state %d, lane 0x%x.  100G Passive loopback.  Skip\n", pre,
                  state, lanes);
    } else {
        trace_evt(port, "QSFP tx disable handler, pre %d, state %d, lane 0x%x\n", pre, state, lanes);
    }
}

void trace_failure(qsfp_port_ctx *port, Request request, std::uint32_t pre, std::uint32_t state, std::uint32_t lanes,
                   std::uint32_t rc) {
    if (request == Request::admin_state) {
        trace_err(port, "Failed qsfp_admin_state, pre_admin %d, state %d, lane 0x%x, rc: 0x%x\n", pre, state, lanes, rc);
    } else {
        trace_err(port, "Failed qsfp_tx_disable, pre_admin %d, state %d, lane 0x%x, rc: 0x%x\n", pre, state, lanes, rc);
    }
}

// Disables on a true-to-false change, enables on false-to-true; the slot's
// flag says whether only the transmitters are meant.
std::uint32_t apply_change(qsfp_port_ctx *port, Request request, std::uint32_t pre, std::uint32_t state,
                           std::uint32_t lanes) {
    if (port->hw_info.qsfp_type == kTypePassiveLoopback100G) {
        trace_request(port, request, pre, state, lanes, true);
        return QSFP_OK;
    }
    trace_request(port, request, pre, state, lanes, false);
    if ((pre != 0) == (state != 0)) {
        return QSFP_OK;
    }
    const qsfp_port_state_fn slot = pre != 0 ? port->fvt.port_disable : port->fvt.port_enable;
    if (slot == nullptr) {
        return QSFP_ERR_EMPTY_SLOT;
    }
    const std::uint32_t rc = slot(port, low_byte(lanes), static_cast<std::uint32_t>(request));
    if (rc != QSFP_OK) {
        trace_failure(port, request, pre, state, lanes, rc);
    }
    return rc;
}

std::uint32_t handle(qsfp_port_ctx *port, int line, Request request, std::uint32_t pre, std::uint32_t state,
                     std::uint32_t lanes) {
    if (const std::uint32_t rc = lock_for(port, line, nullptr); rc != QSFP_OK) {
        return rc;
    }
    const std::uint32_t rc = apply_change(port, request, pre, state, lanes);
    // The platform hears of every admin-state request it made, handled or not.
    if (request == Request::admin_state && port->admin_state_notify != nullptr) {
        port->admin_state_notify(port->controller, port->port, kAdminNotification, nullptr);
    }
    qsfp_port_unlock(port);
    return rc;
}

}  // namespace

extern "C" uint32_t qsfp_port_admin_state(qsfp_port_ctx *port, uint32_t pre, uint32_t state, uint32_t lanes) {
    return handle(port, 1176, Request::admin_state, pre, state, lanes);
}

extern "C" uint32_t qsfp_port_tx_disable(qsfp_port_ctx *port, uint32_t pre, uint32_t state, uint32_t lanes) {
    return handle(port, 1251, Request::tx_disable, pre, state, lanes);
}
