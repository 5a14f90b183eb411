// The end of a module's settle period and the DWDM keep-alive, called by the
// library's timer handler on the event manager's thread without the port
// lock. What they share with callers is handed over through atomics (the
// settle state, the pending-lanes mask, the page cache).
#include "framework/driver_hooks.h"
#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"

namespace qsfp::sff8636 {

namespace {

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

void settle_over(qsfp_port_ctx *port) {
    if (port->tec_present != 0) {
        check_tec(port);
    }
    if (port->rate == 100 && tx_eq_adaptive(port) && port->force_non_adaptive_ctle == 0) {
        check_ctle(port);
    }
    // Ready first, then the pending mask: a request recorded after this load
    // sees the port ready and acts on its lanes itself.
    set_settle(port, Settle::ready);
    port_enable(port, pending_lanes(port).load(), 0);
}

void keep_alive(qsfp_port_ctx *port) {
    std::uint8_t value = kVdmErrorReset;
    qsfp_access(port, kVdmControl, 1, kPageVdmConfig, &value, QSFP_ACCESS_WRITE);
}

}  // namespace

const qsfp_drv_hooks kTimerHooks = {.settle_over = settle_over, .keep_alive = keep_alive};

}  // namespace qsfp::sff8636
