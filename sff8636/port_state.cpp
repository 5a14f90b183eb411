// Port enable and disable. While the module settles after bring-up (the cool
// timer runs) requests only move the pending-lanes bitmap; the timer's
// expiry enables the lanes then pending.
#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

namespace qsfp::sff8636 {

namespace {

constexpr std::uint32_t kLaneMask = 0xFF;
constexpr std::uint32_t kTxEnableSettleUs = 400000;
// Without a module-given figure an adaptive equaliser gets 5 s to train.
constexpr std::uint32_t kAdaptiveCtleSettleUs = 5000000;
constexpr std::uint32_t kCtleSettleUnitUs = 100000;   // page 03h byte 229 counts 100 ms
constexpr std::uint8_t kSquelchAllowed = 0x00;

// Lower bytes 0-14 as far as a flag read filled them.
using Flags = std::array<std::uint8_t, kFlagsFirst + kFlagsLen>;

// Port enable reads bytes 3-14 through the normal path only.
constexpr FlagsReadFailure kFlagsReadFailure{
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "QSFP Read Channel Interrupt Flags failed in port_enableerror 0x%x", rc);
    },
    nullptr,
};

// The latched flags, read to clear them: the whole lower page where the
// platform reads it in one go, else bytes 3-14.
std::uint32_t read_flags(qsfp_port_ctx *port, Flags &flags, bool second) {
    if (whole_image_read(port)) {
        std::array<std::uint8_t, kHalfPage> lower{};
        const std::uint32_t rc = qsfp_access(port, 0, kHalfPage, kPage00, lower.data(), QSFP_ACCESS_READ);
        std::copy_n(lower.begin(), flags.size(), flags.begin());
        if (rc != QSFP_OK && second) {
            trace_err(port, "QSFP PAGE0 Read2 failed in port_enable, error 0x%x", rc);
        } else if (rc != QSFP_OK) {
            trace_err(port, "QSFP PAGE0 read failed in port_enable, error 0x%x", rc);
        }
        return rc;
    }
    return read_latched_flags(port, std::span(flags).subspan<kFlagsFirst, kFlagsLen>(), BitBang::never,
                              kFlagsReadFailure);
}

// SOURCE PHOTONICS 100G LR4 modules take fixed equaliser settings with the
// adaptive equaliser and Rx output disables cleared.
void source_photonics_eq(qsfp_port_ctx *port) {
    write_page03(port, kOutputControl, 0x00);
    if (port->cfg_byte_a != 0) {
        port->lane_tx_eq[0] = kSourcePhotonicsEq;
        port->lane_tx_eq[1] = kSourcePhotonicsEq;
    }
    if (state(port).skip_tx_eq == 0) {
        write_si_pair(port, kTxEq, port->lane_tx_eq[0], port->lane_tx_eq[1]);
    }
}

// Answers the time the adaptive equaliser needs, or an error.
std::uint32_t adaptive_ctle(qsfp_port_ctx *port, std::uint32_t *wait) {
    trace_evt(port, "Adp CTLE enable");
    qsfp_port_lane_ctle_ena(port, kAllLanes, 1);
    if (state(port).is_korva_qualified != 0) {
        trace_evt(port, "QSFP Korva qualified adp delay read");
        std::uint8_t settle = 0;
        const std::uint32_t rc = qsfp_access(port, kCtleSettle, 1, kPage03, &settle, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP CTLE Stabilization Time Read failed in port_enable, error 0x%x", rc);
            return rc;
        }
        *wait = settle * kCtleSettleUnitUs;
    } else {
        *wait = kAdaptiveCtleSettleUs;
    }
    trace_evt(port, "CTLE sleep time %d usecs", *wait);
    return QSFP_OK;
}

std::uint32_t fixed_ctle(qsfp_port_ctx *port) {
    if (port->is_copper != 0 || port->flat_mem != 0) {
        return 0;
    }
    std::uint32_t rc = QSFP_OK;
    if (state(port).skip_tx_eq == 0) {
        rc = write_si_pair(port, kTxEq, port->lane_tx_eq[0], port->lane_tx_eq[0]);
    }
    if (state(port).is_korva_qualified != 0 && port->cfg_byte_a != 0) {
        if (const std::uint32_t vrc = write_page03(port, kVendorCtle, kVendorCtleOn); vrc != QSFP_OK) {
            trace_err(port, "Port Enable: Vendor CTLE Byte Write Error, rc: 0x%x", vrc);
        } else {
            trace_evt(port, "Port Enable: Vendor CTLE Byte updated");
        }
    }
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write QSFP EQ values, rc: 0x%x", rc);
    }
    if (state(port).skip_tx_eq != 0) {
        return 0;
    }
    trace_evt(port, "Non-adaptive CTLE sleep time 300 msecs");
    return kNonAdaptiveCtleSettleUs;
}

// 100G modules: CDRs on, equaliser set and settled, loss-of-lock reported.
std::uint32_t prepare_100g_lanes(qsfp_port_ctx *port, std::uint32_t lanes) {
    const std::uint8_t options = state(port).options[1];
    if ((options & kTxCdrControl) != 0) {
        trace_evt(port, "Tx CDR enable");
        qsfp_port_lane_tx_cdr_ena(port, lanes, 1);
    }
    if ((options & kRxCdrControl) != 0) {
        trace_evt(port, "Rx CDR enable");
        qsfp_port_lane_rx_cdr_ena(port, lanes, 1);
    }
    std::uint32_t wait = 0;
    if (source_photonics_lr4(port)) {
        source_photonics_eq(port);
    } else if (port->force_non_adaptive_ctle == 0 && tx_eq_adaptive(port)) {
        if (const std::uint32_t rc = adaptive_ctle(port, &wait); rc != QSFP_OK) {
            return rc;
        }
    } else {
        wait = fixed_ctle(port);
    }
    if (wait != 0) {
        wait_us(wait);
    }
    Flags flags{};
    if (const std::uint32_t rc = read_flags(port, flags, false); rc != QSFP_OK) {
        return rc;
    }
    if ((options & kTxCdrLolFlag) != 0 && flags[kCdrLolFlags] > 0x0F) {
        trace_evt(port, "Tx CDR LOL ");
    }
    if ((options & kRxCdrLolFlag) != 0 && (flags[kCdrLolFlags] & 0x0F) != 0) {
        trace_evt(port, "Rx CDR LOL ");
    }
    return QSFP_OK;
}

// Reading byte 4 clears a Tx fault latched while the lasers came up.
std::uint32_t clear_tx_fault(qsfp_port_ctx *port, std::uint32_t lanes) {
    std::uint8_t fault = 0;
    if (const std::uint32_t rc = qsfp_access(port, kTxFaultFlags, 1, kPage00, &fault, QSFP_ACCESS_READ); rc != QSFP_OK) {
        trace_err(port, "QSFP Read Page 0 Byte 0x4 for TX CLR failed in port_enableerror 0x%x", rc);
        return rc;
    }
    Flags flags{};
    if (const std::uint32_t rc = read_flags(port, flags, true); rc != QSFP_OK) {
        return rc;
    }
    trace_evt(port, "Complete clear Tx Fault");
    if ((flags[kTxFaultFlags] & 0x0F & lanes) != 0) {
        trace_err(port, "Tx fault reg4 0x%x, lane bitmap 0x%x", flags[kTxFaultFlags], lanes);
    }
    return QSFP_OK;
}

std::uint32_t finish_enable(qsfp_port_ctx *port, std::uint32_t lanes) {
    if (rx_output_disable_usable(port)) {
        qsfp_port_lane_rx_output_ena(port, lanes, 1);
        trace_evt(port, "Rx output enabled");
    }
    // Bring-up disabled Tx squelch on PSM4 modules; normal operation squelches.
    if (port->hw_info.qsfp_type == kType100GPsm4 && both_squelch_disables(port)) {
        write_page03(port, kSquelchDisable, kSquelchAllowed);
        trace_evt(port, "Port Enable : PSM4 optics Page3 WR Reg 0x%x val 0x%x ", kSquelchDisable, kSquelchAllowed);
    }
    std::array<std::uint8_t, kFlagsLen> flags{};
    if (const std::uint32_t rc = read_latched_flags(port, flags, BitBang::never, kFlagsReadFailure); rc != QSFP_OK) {
        return rc;
    }
    if (port->any_page != 0) {
        std::array<std::uint8_t, kHalfPage> vdm{};
        qsfp_access(port, kHalfPage, kHalfPage, kPageVdmConfig, vdm.data(), QSFP_ACCESS_READ);
    }
    trace_evt(port, "Enable done, rc 0x%x", QSFP_OK);
    return QSFP_OK;
}

// While the module settles a request only moves the pending mask, which the
// timer handler enables when the period ends. The handler runs without the
// port lock: it marks the port ready before it reads the mask, and a request
// records its lanes before it reads the state, so whichever comes second sees
// the other and no request is lost (one may act twice, which is harmless).
// A port whose bring-up stopped before its settle period began has nothing to
// wait for: its requests are refused until it is created again.
std::optional<std::uint32_t> hold_while_settling(qsfp_port_ctx *port, std::uint32_t lanes, bool enable) {
    switch (settle_of(port)) {
    case Settle::ready:
        return std::nullopt;
    case Settle::unbrought:
        trace_err(port, "Optics bring-up incomplete, lane request 0x%x refused", lanes);
        return QSFP_ERR_NOT_READY;
    case Settle::settling:
        break;
    }
    if (enable) {
        const std::uint32_t pending = pending_lanes(port).fetch_or(lanes) | lanes;
        trace_evt(port, "Optics still in cool time, updated pending enable 0x%x", pending);
    } else {
        const std::uint32_t pending = pending_lanes(port).fetch_and(~lanes) & ~lanes;
        trace_evt(port, "Optics still in cool time, updated pending disable 0x%x", pending);
    }
    if (!is_ready(port)) {
        return QSFP_OK;
    }
    trace_evt(port, "Optics settled meanwhile, lane request 0x%x applied now", lanes);
    return std::nullopt;
}

}  // namespace

std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t tx_only) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    lanes &= kLaneMask;
    if (const auto pending = hold_while_settling(port, lanes, false)) {
        return *pending;
    }
    trace_evt(port, "qsfp_port disable, lane 0x%x ", lanes);
    trace_evt(port, "Tx laser disable");
    qsfp_port_lane_tx_ena_dis(port, lanes, 0);
    wait_us(kTxDisableSettleUs);
    if (tx_only != 0) {
        trace_evt(port, "Tx laser disable only,            return");
        return QSFP_OK;
    }
    if (port->rate == 100 && tx_eq_adaptive(port)) {
        qsfp_port_lane_ctle_ena(port, kAllLanes, 0);
        trace_evt(port, "CTLE disable");
    }
    if (rx_output_disable_usable(port)) {
        qsfp_port_lane_rx_output_ena(port, lanes, 0);
        trace_evt(port, "Rx output disabled");
    }
    return QSFP_OK;
}

std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t tx_only) {
    lanes &= kLaneMask;
    if (port == nullptr || lanes == 0) {
        return QSFP_ERR_INVALID;
    }
    if (const auto pending = hold_while_settling(port, lanes, true)) {
        return *pending;
    }
    trace_evt(port, "qsfp_port enable, lane 0x%x", lanes);
    if (port->rate == 100) {
        if (const std::uint32_t rc = prepare_100g_lanes(port, lanes); rc != QSFP_OK) {
            return rc;
        }
    }
    qsfp_port_lane_tx_ena_dis(port, lanes, 1);
    trace_evt(port, "Tx enabled");
    wait_us(kTxEnableSettleUs);
    if (const std::uint32_t rc = clear_tx_fault(port, lanes); rc != QSFP_OK) {
        return rc;
    }
    if (tx_only != 0) {
        trace_evt(port, "Tx enabled, return");
        return QSFP_OK;
    }
    return finish_enable(port, lanes);
}

}  // namespace qsfp::sff8636
