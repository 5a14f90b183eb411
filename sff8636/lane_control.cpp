// Per-lane controls: Tx disable (byte 86), CDR control (byte 98), and on
// page 03h the Tx adaptive equaliser and Rx output disable bits of byte 241.
#include <qsfp/qsfp_sff8636.h>

#include "framework/trace.h"
#include "sff8636/state.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

using namespace qsfp::sff8636;

namespace {

constexpr std::uint8_t kLowLanes = 0x0F;

std::uint8_t low_lanes(std::uint32_t lanes) { return static_cast<std::uint8_t>(lanes & kLowLanes); }
std::uint8_t high_lanes(std::uint32_t lanes) { return static_cast<std::uint8_t>((lanes << 4) & 0xF0); }
std::uint32_t set_or_clear(bool set) { return set ? QSFP_SET_BITS : QSFP_CLEAR_BITS; }

// A QSFP-to-SFP adapter has a single Tx disable for its SFP: byte 86 as a whole.
std::uint32_t adapter_tx_disable(qsfp_port_ctx *port, std::uint32_t enable) {
    trace_evt(port, "QSA port:%u set:%u reg_addr:%u ", port->port, enable, kTxDisable);
    std::uint8_t value = enable != 0 ? 0x00 : 0x01;
    const std::uint32_t rc = qsfp_access(port, kTxDisable, 1, kPage00, &value, QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "QSA Set/Clear : Write register error");
    }
    return rc;
}

}  // namespace

extern "C" uint32_t qsfp_port_lane_tx_ena_dis(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (port->flat_mem != 0 && port->is_copper != 0) {
        trace_evt(port, "QSFP has flat memory and is copper, skip TX enable/disable");
        return QSFP_OK;
    }
    const std::uint32_t rc = port->hw_info.qsfp_type == kTypeQsfpToSfpAdapter
                                 ? adapter_tx_disable(port, enable)
                                 : qsfp_set_clear_bits(port, kTxDisable, kPage00, set_or_clear(enable == 0),
                                                       low_lanes(lanes));
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Tx Enable Write error");
    }
    return rc;
}

// The Rx side of SFF-8636 modules has no per-lane enable.
extern "C" uint32_t qsfp_port_lane_rx_ena_dis(qsfp_port_ctx *, uint32_t, uint32_t) { return QSFP_ERR_NOT_SUPPORTED; }

extern "C" uint32_t qsfp_port_lane_tx_cdr_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc = qsfp_set_clear_bits(port, kCdrControl, kPage00, set_or_clear(enable != 0), high_lanes(lanes));
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Tx CDR Enable Write error ");
    }
    return rc;
}

extern "C" uint32_t qsfp_port_lane_rx_cdr_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc = qsfp_set_clear_bits(port, kCdrControl, kPage00, set_or_clear(enable != 0), low_lanes(lanes));
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Rx CDR Enable Write error");
    }
    return rc;
}

extern "C" uint32_t qsfp_port_lane_ctle_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if ((state(port).options[0] & kTxEqAdaptive) == 0) {
        trace_evt(port, "QSFP CTLE enable %d is not supported for this module", enable);
        return QSFP_OK;
    }
    const std::uint32_t rc =
        qsfp_set_clear_bits(port, kOutputControl, kPage03, set_or_clear(enable != 0), low_lanes(lanes));
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP CTLE enable %d error", enable);
    }
    return rc;
}

extern "C" uint32_t qsfp_port_lane_rx_output_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc =
        qsfp_set_clear_bits(port, kOutputControl, kPage03, set_or_clear(enable == 0), high_lanes(lanes));
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Rx output enable %d error", enable);
    }
    return rc;
}
