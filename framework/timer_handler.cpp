// The timer handler: runs on the event manager's thread for every expired
// leaf of the library's timer tree. It takes no lock; what a leaf means to the
// module is the driver's, reached through the hooks the driver set.
#include <atomic>
#include <cstdio>

#include <qsfp/qsfp_port.h>

#include "framework/driver_hooks.h"
#include "framework/timer_leaves.h"
#include "framework/trace.h"

namespace {

void cool_timer_expired(qsfp_port_ctx *port) {
    std::atomic_ref<std::uint32_t>(port->cool_expired).store(1);
    trace_evt(port, "Init: Cool timer expiry\n");
    if (port->hooks != nullptr) {
        port->hooks->settle_over(port);
    }
    if (port->init_done_notify != nullptr) {
        port->init_done_notify(port->opaque, port->port);
    }
}

void keepalive_expired(qsfp_port_ctx *port) {
    if (port->hooks != nullptr) {
        port->hooks->keep_alive(port);
    }
    mgd_timer_leaf_start(port->keepalive_timer, qsfp::kKeepaliveSeconds, qsfp::kKeepaliveNanoseconds);
}

}  // namespace

extern "C" void qsfp_timer_tree_handler(mgd_timer *tree) {
    while (mgd_timer *leaf = mgd_timer_tree_first_expired(tree)) {
        auto *port = static_cast<qsfp_port_ctx *>(mgd_timer_leaf_get_context(leaf));
        mgd_timer_leaf_stop(leaf);
        if (port == nullptr) {
            trace_lib_err("NULL port ctx in timer expiry\n");
            continue;
        }
        switch (mgd_timer_leaf_get_type(leaf)) {
        case qsfp::kCoolTimerLeaf:
            cool_timer_expired(port);
            break;
        case qsfp::kKeepaliveLeaf:
            keepalive_expired(port);
            break;
        default:
            trace_err(port, "Unknown timer expired \n");
            break;
        }
    }
}

extern "C" uint32_t qsfp_port_handle_event_irq(qsfp_port_ctx *port) {
    if (port == nullptr) {
        std::fputs("qsfp port irq handle : NULL hdl \n", stderr);
        return QSFP_ERR_INVALID;
    }
    if (port->initialized == 0) {
        std::fputs("qsfp port irq handle : QSFP is not initialized \n", stderr);
        return QSFP_ERR_INVALID;
    }
    return QSFP_OK;
}
