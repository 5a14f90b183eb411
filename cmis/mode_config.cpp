// Mode configuration: the oper mode's application is programmed through
// staged control set 0 after every datapath is down, and Tx and Rx outputs
// are left disabled until port enable turns the lanes on.
#include <array>

#include "cmis/datapath.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

inline constexpr std::uint32_t kRate200G = 200;
inline constexpr std::uint32_t kRate400G = 400;

// The modes a port of the rate may be set to explicitly; 7 (400G on all
// lanes) is only ever reached as a type's default.
bool rate_allows(qsfp_port_ctx *port, std::uint32_t mode) {
    if (port->rate == kRate200G) {
        if (mode == QSFP_DD_OPER_MODE_2X100G) {
            trace_evt(port, "200G with mode %d\n", mode);
            return true;
        }
        trace_err(port, "200G with unsupported mode %d\n", mode);
        return false;
    }
    if (port->rate == kRate400G) {
        if (state(port).passive != 0) {
            trace_err(port, "Copper/Passive 400G with unsupported mode %d\n", mode);
            return false;
        }
        if (mode == QSFP_DD_OPER_MODE_8X50G || mode == QSFP_DD_OPER_MODE_4X100G || mode == QSFP_DD_OPER_MODE_2X100G) {
            trace_evt(port, "400G with mode %d\n", mode);
            return true;
        }
        trace_err(port, "400G with unsupported mode %d\n", mode);
        return false;
    }
    trace_err(port, "Non-QSFP-DD optics! rate %d mode %d\n", port->rate, mode);
    return false;
}

// Whether some lane of the active control set runs another application than
// `app_code`; kRefused for a lane code beyond the eight.
std::uint32_t active_set_differs(qsfp_port_ctx *port, std::uint32_t app_code, bool *differs) {
    std::array<std::uint8_t, kLanes> active{};
    const std::uint32_t rc = qsfp_access(port, kActiveAppSelect, kLanes, kPage11, active.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read the Active Control Set. rc %d\n", rc);
        return rc;
    }
    *differs = false;
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        const std::uint32_t code = active[lane] >> kAppSelectShift;
        if (code > kApplications) {
            trace_err(port, "Active Set Ln%d has a wrong app code (%d)\n", lane + 1, code);
            return kRefused;
        }
        if (code != app_code) {
            trace_evt(port, "Active Set Ln%d app code %d (reg val 0x%x) != Desired app_code %d.  Require programming\n",
                      lane + 1, code, active[lane], app_code);
            *differs = true;
            return QSFP_OK;
        }
        trace_evt(port, "Active Set Ln%d app code %d (reg val 0x%x)\n", lane + 1, code, active[lane]);
    }
    return QSFP_OK;
}

// Every datapath down before the new application is applied. From
// CMIS 4.0 on byte 128 is DPDeinit (set = deinitialise); before, it is
// DataPathPwrUp (clear = power down). Lanes that stay up are tolerated.
std::uint32_t power_down_datapaths(qsfp_port_ctx *port) {
    LaneStates states{};
    if (const std::uint32_t rc = read_datapath_states(port, states); rc != QSFP_OK) {
        return rc;
    }
    if (lanes_in(states, kAllLanes, kDataPathDeactivated)) {
        return QSFP_OK;
    }
    std::uint8_t control = state(port).revision == kRevision40 ? kAllLanes : kNoLanes;
    if (const std::uint32_t rc = qsfp_access(port, kDataPathControl, 1, kPage10, &control, QSFP_ACCESS_WRITE);
        rc != QSFP_OK) {
        trace_err(port, "failed to write to the datapath power ctrl reg. rc %d\n", rc);
        return rc;
    }
    trace_evt(port, "Powered down all datapaths\n");
    const std::uint32_t code = state(port).dp_deinit_code;
    const Duration d = duration_or_default(code);
    if (code > kLastDurationCode) {
        trace_evt(port, "Unsupported datapath power down max code 0x%d. Use default init/loop/retries (%d/%d/%d)\n",
                  code, d.wait_ms, d.interval_ms, d.count);
    } else {
        trace_evt(port, "Datapath power down max code 0x%d. init/loop/retries (%d/%d/%d)\n", code, d.wait_ms,
                  d.interval_ms, d.count);
    }
    wait_ms(d.wait_ms);
    for (std::uint32_t left = d.count; left > 0; --left) {
        trace_evt(port, "Checking power down progress %d\n", left);
        if (const std::uint32_t rc = read_datapath_states(port, states); rc != QSFP_OK) {
            return rc;
        }
        if (lanes_in(states, kAllLanes, kDataPathDeactivated)) {
            trace_evt(port, "All datapath lanes are powered down. retries left %d\n", left - 1);
            return QSFP_OK;
        }
        if (left > 1) {
            wait_ms(d.interval_ms);
        }
    }
    trace_err(port, "Not all datapath lanes are deactivated: %d,%d,%d,%d,%d,%d,%d,%d\n", states[0], states[1],
              states[2], states[3], states[4], states[5], states[6], states[7]);
    return QSFP_OK;
}

// Outputs stay off until port enable. Both writes are made; the
// later failure is the one reported.
std::uint32_t disable_outputs(qsfp_port_ctx *port) {
    trace_evt(port, "Disable both Tx and Rx output on all lanes\n");
    std::uint32_t result = QSFP_OK;
    std::uint8_t all = kAllLanes;
    if (const std::uint32_t rc = qsfp_access(port, kTxDisable, 1, kPage10, &all, QSFP_ACCESS_WRITE); rc != QSFP_OK) {
        trace_err(port, "Failed to write to Tx Disable Reg. rc 0x%x\n", rc);
        result = rc;
    }
    if (const std::uint32_t rc = qsfp_access(port, kRxOutputDisable, 1, kPage10, &all, QSFP_ACCESS_WRITE);
        rc != QSFP_OK) {
        trace_err(port, "Failed to write to Rx Output Disable Reg. rc 0x%x\n", rc);
        result = rc;
    }
    return result;
}

// A module forced to low power by software cannot run the
// datapaths, so the force bit (and the reset bit beside it) is cleared. The
// write's own result is not reported.
std::uint32_t release_forced_low_power(qsfp_port_ctx *port) {
    std::uint8_t control = 0;
    if (const std::uint32_t rc = qsfp_access(port, kPowerControl, 1, kLower, &control, QSFP_ACCESS_READ);
        rc != QSFP_OK) {
        trace_err(port, "Failed to read the Power Reset Control Reg. rc %d\n", rc);
        return rc;
    }
    if ((control & kForceLowPower) == 0) {
        trace_evt(port, "Power Reset Control Reg 0x%x: Force Low Pwr Down Bit not set\n", control);
        return QSFP_OK;
    }
    trace_evt(port, "Power Reset Control Reg 0x%x: Need to unset the Force Low Pwr Down Bit\n", control);
    control &= kKeepAfterForceLowPower;
    qsfp_access(port, kPowerControl, 1, kLower, &control, QSFP_ACCESS_WRITE);
    return QSFP_OK;
}

}  // namespace

std::uint32_t configure_without_enable(qsfp_port_ctx *port, std::uint32_t oper_mode) {
    if (state(port).passive != 0) {
        trace_evt(port, "Nothing to configure for passive modules\n");
        return QSFP_OK;
    }
    if (vendor_begins(port, "FINISAR") && state(port).revision == kFinisarAlphaRevision) {
        trace_evt(port, "Finisar Alpha module.  Nothing to do");
        return QSFP_OK;
    }
    std::uint32_t app_code = 0;
    if (const std::uint32_t rc = qsfp_dd_port_oper_mode_2_app_sel_code(port, oper_mode, &app_code); rc != QSFP_OK) {
        return rc;
    }
    if (app_code < 1 || app_code > kApplications) {
        trace_err(port, "ERR: Got an invalid app_code(%d) from oper_mode(%d)\n", app_code, oper_mode);
        return kRefused;
    }
    bool differs = false;
    if (const std::uint32_t rc = active_set_differs(port, app_code, &differs); rc != QSFP_OK) {
        return rc;
    }
    // Overrides are programmed again on every configuration: applying the
    // application without explicit control brings back its default SI values.
    if (differs || si_overrides_present(port)) {
        if (const std::uint32_t rc = power_down_datapaths(port); rc != QSFP_OK) {
            return rc;
        }
        if (const std::uint32_t rc = apply_application(port, app_code, 0); rc != QSFP_OK) {
            return rc;
        }
        if (si_overrides_present(port)) {
            if (const std::uint32_t rc = apply_si_overrides(port, app_code); rc != QSFP_OK) {
                return rc;
            }
        }
    }
    state(port).active_app_code = app_code;
    const std::uint32_t outputs = disable_outputs(port);
    const std::uint32_t power = release_forced_low_power(port);
    return power != QSFP_OK ? power : outputs;
}

std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (mode != QSFP_DD_OPER_MODE_DEFAULT && !rate_allows(port, mode)) {
        return kRefused;
    }
    std::uint32_t current = port->port_mode;
    std::uint32_t target = mode;
    if (target == current) {
        return QSFP_OK;
    }
    if (target == QSFP_DD_OPER_MODE_DEFAULT || current == QSFP_DD_OPER_MODE_DEFAULT) {
        std::uint32_t default_mode = 0;
        if (qsfp_dd_port_get_default_oper_mode(port, &default_mode) != QSFP_OK) {
            trace_err(port, "Failed to find the default mode\n");
            if (target == QSFP_DD_OPER_MODE_DEFAULT) {
                return kRefused;
            }
        } else {
            if (current == QSFP_DD_OPER_MODE_DEFAULT) {
                current = default_mode;
            } else {
                target = default_mode;
            }
            if (current == target) {
                return QSFP_OK;
            }
        }
    }
    trace_evt(port, "Current oper mode %d. New oper mode %d\n", current, target);
    port->port_mode = target;
    return configure_without_enable(port, target);
}

}  // namespace qsfp::cmis
