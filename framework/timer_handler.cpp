// The timer handler: runs on the event manager's thread for every expired
// leaf of the library's timer tree. It takes no lock.
#include <cstdio>

#include <qsfp/qsfp_port.h>

#include "framework/trace.h"

namespace {

constexpr std::uint32_t kCoolTimerType = 1;
constexpr std::uint32_t kKeepaliveTimerType = 2;

// Lower page byte 8 bit 0: the TEC has settled (vendor-specific TEC-ready flag).
constexpr std::uint32_t kTecReadyReg = 8;
constexpr std::uint8_t kTecReady = 0x01;
// Lower page byte 4 bits 7-4: Tx adaptive equaliser fault, lanes 4-1.
constexpr std::uint32_t kTxFaultReg = 4;
constexpr std::uint8_t kCtleFaultMask = 0xF0;
// Byte 193 bit 3: Tx input equalisation auto-adaptive capable.
constexpr std::uint8_t kAdaptiveEqCapable = 0x08;

// DWDM modules drop their laser unless page 20h byte FAh is touched regularly.
constexpr std::uint32_t kKeepalivePage = 0x20;
constexpr std::uint32_t kKeepaliveReg = 0xFA;
constexpr std::uint8_t kKeepaliveValue = 0x80;
constexpr std::uint32_t kKeepaliveSeconds = 900;
constexpr std::uint32_t kKeepaliveNanoseconds = 1000;

void check_tec(qsfp_port_ctx *port) {
    std::uint8_t tec = 0;
    const std::uint32_t rc = qsfp_access(port, kTecReadyReg, 1, 0, &tec, QSFP_ACCESS_READ);
    trace_evt(port, "TEC ready reg 0x%x\n", tec);
    if (rc == QSFP_OK && (tec & kTecReady) != 0) {
        trace_evt(port, "Init: TEC ready flag set after timer expiry\n");
    } else {
        trace_err(port, "Init: TEC fault, ready flag not set after timer expiry\n");
    }
}

void check_ctle(qsfp_port_ctx *port) {
    std::uint8_t flags = 0;
    const std::uint32_t rc = qsfp_access(port, kTxFaultReg, 1, 0, &flags, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Read Page 0 Byte 4 for CTLE failed in qsfp_timer_tree_handler error 0x%x\n", rc);
    }
    if ((flags & kCtleFaultMask) != 0) {
        trace_err(port, "CTLE fault \n");
    }
}

void cool_timer_expired(qsfp_port_ctx *port) {
    port->cool_expired = 1;
    trace_evt(port, "Init: Cool timer expiry\n");
    if (port->tec_present != 0) {
        check_tec(port);
    }
    if (port->rate == 100 && (port->sff.options[0] & kAdaptiveEqCapable) != 0 && port->force_non_adaptive_ctle == 0) {
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
    std::uint8_t value = kKeepaliveValue;
    qsfp_access(port, kKeepaliveReg, 1, kKeepalivePage, &value, QSFP_ACCESS_WRITE);
    mgd_timer_leaf_start(port->keepalive_timer, kKeepaliveSeconds, kKeepaliveNanoseconds);
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
        case kCoolTimerType:
            cool_timer_expired(port);
            break;
        case kKeepaliveTimerType:
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
