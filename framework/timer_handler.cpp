// The timer handler: runs on the event manager's thread for every expired
// leaf of the library's timer tree. It takes no lock.
#include <cstdio>

#include <qsfp/qsfp_port.h>

#include "framework/timer_leaves.h"
#include "framework/trace.h"
#include "sff8636/sff8636_regs.h"

namespace {

using namespace qsfp::sff8636;

void check_tec(qsfp_port_ctx *port) {
    std::uint8_t tec = 0;
    const std::uint32_t rc = qsfp_access(port, kTecReady, 1, kPage00, &tec, QSFP_ACCESS_READ);
    trace_evt(port, "TEC ready reg 0x%x\n", tec);
    if (rc == QSFP_OK && (tec & kTecReadyBit) != 0) {
        trace_evt(port, "Init: TEC ready flag set after timer expiry\n");
    } else {
        trace_err(port, "Init: TEC fault, ready flag not set after timer expiry\n");
    }
}

void check_ctle(qsfp_port_ctx *port) {
    std::uint8_t flags = 0;
    const std::uint32_t rc = qsfp_access(port, kTxFaultFlags, 1, kPage00, &flags, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Read Page 0 Byte 4 for CTLE failed in qsfp_timer_tree_handler error 0x%x\n", rc);
    }
    if ((flags & kTxEqFaults) != 0) {
        trace_err(port, "CTLE fault \n");
    }
}

void cool_timer_expired(qsfp_port_ctx *port) {
    port->cool_expired = 1;
    trace_evt(port, "Init: Cool timer expiry\n");
    if (port->tec_present != 0) {
        check_tec(port);
    }
    if (port->rate == 100 && (port->sff.options[0] & kTxEqAdaptive) != 0 && port->force_non_adaptive_ctle == 0) {
        check_ctle(port);
    }
    // The settle period is over: the lanes requested meanwhile are enabled now.
    port->sff.ready = 1;
    if (qsfp_fvt.port_enable != nullptr) {
        qsfp_fvt.port_enable(port, port->ready_lanes, 0);
    }
    if (port->init_done_notify != nullptr) {
        port->init_done_notify(port->opaque, port->port);
    }
}

void keepalive_expired(qsfp_port_ctx *port) {
    std::uint8_t value = kVdmErrorReset;
    qsfp_access(port, kVdmControl, 1, kPageVdmConfig, &value, QSFP_ACCESS_WRITE);
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
