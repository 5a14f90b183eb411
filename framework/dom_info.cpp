// Monitoring reports: one report slot, or the chain of the first five into
// one buffer.
#include <array>
#include <cstdio>

#include <qsfp/qsfp_port_ops.h>

#include "framework/slot_call.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

constexpr std::uint32_t kReportKinds = 6;
constexpr std::uint32_t kChainKind = 6;

constexpr std::array<qsfp_dom_report_fn qsfp_drv_fvt::*, kReportKinds> kReportSlots = {
    &qsfp_drv_fvt::dom_chan_intr_flags,           &qsfp_drv_fvt::dom_module_monitor,
    &qsfp_drv_fvt::dom_channel_monitor,           &qsfp_drv_fvt::dom_alarm_warn_monitor,
    &qsfp_drv_fvt::dom_channel_ctrl_monitor_mask, &qsfp_drv_fvt::dom_channel_alarm_warn,
};
// The chain leaves out the current-versus-threshold table (the last report).
constexpr std::uint32_t kChainedReports = 5;

std::uint32_t one_report(qsfp_port_ctx *port, char *buf, std::uint32_t kind, std::uint32_t len) {
    const qsfp_dom_report_fn slot = port->fvt.*kReportSlots[kind];
    if (slot == nullptr) {
        return QSFP_ERR_NOT_SUPPORTED;
    }
    std::uint32_t written = 0;
    return slot(port, buf, &written, len);
}

std::uint32_t chained_reports(qsfp_port_ctx *port, char *buf, std::uint32_t len) {
    std::uint32_t total = 0;
    for (std::uint32_t kind = 0; kind < kChainedReports && total < len; ++kind) {
        const qsfp_dom_report_fn slot = port->fvt.*kReportSlots[kind];
        if (slot == nullptr) {
            continue;
        }
        std::uint32_t written = 0;
        if (const std::uint32_t rc = slot(port, buf + total, &written, len - total); rc != QSFP_OK) {
            return rc;
        }
        total += written;
    }
    return QSFP_OK;
}

}  // namespace

extern "C" uint32_t qsfp_port_dom_info(qsfp_port_ctx *port, char *buf, uint32_t kind, uint32_t len) {
    if (buf == nullptr || len == 0) {
        trace_lib_err("QSFP Dom NULL Paremeters \n");
        return QSFP_ERR_INVALID;
    }
    if (const std::uint32_t rc = qsfp_check_and_lock_hdl(port, 1326); rc != QSFP_OK) {
        std::fprintf(stderr, "%s : line = %d qsfp port dom check hdl failed \n", "qsfp_port_dom_info", 1326);
        return rc;
    }
    std::uint32_t rc = QSFP_OK;
    if (kind < kReportKinds) {
        rc = one_report(port, buf, kind, len);
    } else if (kind == kChainKind) {
        rc = chained_reports(port, buf, len);
    }
    qsfp_port_unlock(port);
    return rc;
}
