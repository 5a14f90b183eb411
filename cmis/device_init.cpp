// CMIS bring-up: read the module's identification memory, classify it, fill
// the inventory and thresholds, then either hand the port to the coherent
// driver or power the module up and configure its datapaths for the port's
// oper mode, leaving them disabled until the port is enabled.
#include <cstring>

#include "cmis/bring_up.h"
#include "cmis/driver.h"
#include "cmis/type_tables.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

constexpr std::uint32_t kAlphaSettleMs = 5000;
constexpr std::uint8_t kAocQuirkMinCode = 5;

// The creator's words on the Tx EQ, Rx pre-cursor and Rx post-cursor
// overrides; the amplitude override is only ever asked for later.
constexpr std::uint32_t kTxEqOverrideWord = 0;
constexpr std::uint32_t kRxPreOverrideWord = 2;
constexpr std::uint32_t kRxPostOverrideWord = 3;

void start_empty(qsfp_port_ctx *port) {
    port->hw_info = qsfp_hw_info{};
    port->thresholds = qsfp_threshold_data{};
    State &s = state(port);
    s = State{};
    s.tx_eq_override = port->cfg_word[kTxEqOverrideWord];
    s.rx_pre_override = port->cfg_word[kRxPreOverrideWord];
    s.rx_post_override = port->cfg_word[kRxPostOverrideWord];
    port->flat_mem = 0;
    port->is_copper = 0;
}

std::uint32_t read_identification(qsfp_port_ctx *port, std::uint8_t *id) {
    std::uint32_t rc = qsfp_access(port, 0, kHalfPage, kLower, id, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Lower Page 0 Read error\n");
        return rc;
    }
    rc = qsfp_access(port, kHalfPage, kHalfPage, kPage00, id + kHalfPage, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 0 Read error\n");
    }
    return rc;
}

// MULTILANE's CMIS 3.0 loopback plugs advertise nothing the tables know.
bool multilane_loopback(qsfp_port_ctx *port) {
    if (state(port).revision != kRevision30 || !vendor_begins(port, "MULTILANE")) {
        return false;
    }
    port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK;
    set_pid(port, "HDX-400G-PLB-V");
    set_description(port, kPassiveLoopbackDescription);
    state(port).passive = 1;
    return true;
}

std::uint32_t read_dom_support(qsfp_port_ctx *port) {
    State &s = state(port);
    if (s.qualified != 0) {
        const std::uint32_t rc = qsfp_access(port, kMakerDomSupport, 1, kPage03, &s.dom_support, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP DOM Support Reg Read error. rc 0x%x\n", rc);
            return rc;
        }
    } else {
        s.dom_support = s.media_type == kMediaActiveCable ? kDomModuleOnly : kDomAll;
    }
    trace_evt(port, "Korva Qualified(%s) DOM Supported(0x%x)\n", s.qualified != 0 ? "YES" : "NO", s.dom_support);
    return QSFP_OK;
}

std::uint32_t read_thresholds(qsfp_port_ctx *port) {
    std::uint8_t module[kModuleThresholdBytes];
    std::uint8_t lane[kLaneThresholdBytes];
    std::uint32_t rc = qsfp_access(port, kModuleThresholds, sizeof module, kPage02, module, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 2 Read error for module monitor\n");
        return rc;
    }
    rc = qsfp_access(port, kLaneThresholds, sizeof lane, kPage02, lane, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 2 Read error for lane monitor\n");
        return rc;
    }
    save_thresholds(port, module, lane, state(port).dom_support);
    return QSFP_OK;
}

std::uint32_t read_wavelength(qsfp_port_ctx *port) {
    State &s = state(port);
    const std::uint32_t rc =
        qsfp_access(port, kNominalWavelength, sizeof s.wavelength, kPage01, s.wavelength, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 1 Read error for wavelength\n");
    }
    return rc;
}

bool is_coherent(std::uint32_t type) { return type == QSFP_DD_TYPE_400G_ZR || type == QSFP_DD_TYPE_400G_ZRP; }

// From here on the port is a coherent port.
std::uint32_t hand_over_to_coherent(qsfp_port_ctx *port, std::uint32_t init_flag) {
    port->fvt = qsfp_dd_coh_dsp_fvt;
    state(port).media_lane_count = media_lane_count(port->hw_info.qsfp_type);
    state(port).coherent = 1;
    if (port->fvt.device_init == nullptr) {
        return QSFP_ERR_EMPTY_SLOT;
    }
    return port->fvt.device_init(port, init_flag);
}

bool alpha_module(const qsfp_port_ctx *port) {
    const char *rev = port->hw_info.vendor_rev;
    return vendor_begins(port, "KORVA-AVAGO") && rev[0] == 'A' && rev[1] == '0';
}

// Early samples of our own modules are only parked with every datapath
// deinitialised.
std::uint32_t park_alpha_module(qsfp_port_ctx *port) {
    wait_ms(kAlphaSettleMs);
    std::uint8_t all = kAllLanes;
    const std::uint32_t rc = qsfp_access(port, kDataPathControl, 1, kPage10, &all, QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 10h write error\n");
    } else {
        trace_evt(port, "KORVA-AVAGO Alpha Module init done\n");
    }
    return rc;
}

std::uint32_t read_durations(qsfp_port_ctx *port) {
    State &s = state(port);
    std::uint8_t codes = 0;
    std::uint32_t rc = qsfp_access(port, kDataPathDurations, 1, kPage01, &codes, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Datapath Max Duration Read error. rc 0x%x\n", rc);
        return rc;
    }
    s.dp_deinit_code = codes >> 4;
    s.dp_init_code = codes & 0x0F;
    if (s.revision != kRevision40) {
        return QSFP_OK;
    }
    rc = qsfp_access(port, kModuleDurations, 1, kPage01, &codes, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Module Max Duration Read error. rc 0x%x\n", rc);
        return rc;
    }
    s.power_down_code = codes >> 4;
    s.power_up_code = codes & 0x0F;
    // AOI's CWDM4 modules understate how long they take to power up and down.
    if (vendor_contains(port, "AOI") && port->hw_info.qsfp_type == QSFP_DD_TYPE_2X100G_CWDM4) {
        s.power_down_code = std::max(s.power_down_code, kAocQuirkMinCode);
        s.power_up_code = std::max(s.power_up_code, kAocQuirkMinCode);
    }
    port->fvt.port_disable = port_disable_cmis4;
    port->fvt.port_enable = port_enable_cmis4;
    return QSFP_OK;
}

std::uint32_t read_si_controls(qsfp_port_ctx *port) {
    State &s = state(port);
    const std::uint32_t rc =
        qsfp_access(port, kSiControls, sizeof s.si_controls, kPage01, s.si_controls, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "SI Controls Impl Read error. rc 0x%x\n", rc);
    }
    return rc;
}

std::uint8_t app_code_of(std::uint8_t reg) { return reg >> kAppSelectShift; }

// With init flag 0 a module that already runs one application on all eight
// lanes keeps it; true when bring-up ends here.
bool adopt_active_application(qsfp_port_ctx *port) {
    std::uint8_t active[kLanes];
    const std::uint32_t rc = qsfp_access(port, kActiveAppSelect, sizeof active, kPage11, active, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read the Active Control Set. rc %d\n", rc);
        return false;
    }
    const std::uint8_t code = app_code_of(active[0]);
    if (code > kApplications) {
        trace_err(port, "Active Set Ln%d has a wrong app code (%d)\n", 1, code);
        return false;
    }
    for (std::uint32_t lane = 1; lane < kLanes; ++lane) {
        const std::uint8_t lane_code = app_code_of(active[lane]);
        if (lane_code != code) {
            trace_evt(port, "Active Set Ln%d app code %d (reg val 0x%x) != app_code %d from previous lane\n",
                      lane + 1, lane_code, active[lane], code);
            return false;
        }
        trace_evt(port, "Active Set Ln%d app code %d (reg val 0x%x)\n", lane + 1, lane_code, active[lane]);
    }
    state(port).active_app_code = code;
    if (code < 2) {
        return true;
    }
    const std::uint32_t type = port->hw_info.qsfp_type;
    if (code == 2 && type == QSFP_DD_TYPE_8X50G_CU_BREAKOUT) {
        port->port_mode = QSFP_DD_OPER_MODE_8X50G;
    } else if (code == 2 && (type == QSFP_DD_TYPE_400G_DR4_2KM || type == QSFP_DD_TYPE_400G_DR4)) {
        port->port_mode = QSFP_DD_OPER_MODE_4X100G;
    }
    trace_evt(port, "App Code %d %s Oper Mode %d\n", code, port->hw_info.qsfp_type_str, port->port_mode);
    return true;
}

// Waits for ModuleReady as long as the module's power-up code allows.
std::uint32_t wait_module_ready(qsfp_port_ctx *port) {
    const std::uint8_t code = state(port).power_up_code;
    const Duration d = duration_or_default(code);
    if (code > kLastDurationCode) {
        trace_evt(port, "Unsupported module power init max code 0x%d. Use default init/loop/retries (%d/%d/%d)\n",
                  code, d.wait_ms, d.interval_ms, d.count);
    } else {
        trace_evt(port, "Module power up max code 0x%d. init/loop/retries (%d/%d/%d)\n", code, d.wait_ms,
                  d.interval_ms, d.count);
    }
    wait_ms(d.wait_ms);
    std::uint8_t reg = 0;
    for (std::uint32_t left = d.count; left > 0; --left) {
        trace_evt(port, "Checking module state. %d\n", left);
        const std::uint32_t rc = qsfp_access(port, kModuleState, 1, kLower, &reg, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "failed to write to the power reset control reg. rc %d\n", rc);
            return rc;
        }
        if (((reg & kModuleStateMask) >> kModuleStateShift) == kModuleReady) {
            trace_evt(port, "Module Ready State. Reg 0x%x. retries %d\n", reg, left - 1);
            return QSFP_OK;
        }
        wait_ms(d.interval_ms);
    }
    trace_err(port, "Module is not in ready state. Reg 0x%x state 0x%x\n", reg,
              (reg & kModuleStateMask) >> kModuleStateShift);
    return kModuleNotReady;
}

std::uint32_t power_up(qsfp_port_ctx *port) {
    const State &s = state(port);
    if (s.revision == kRevision40) {
        std::uint8_t all = kAllLanes;
        std::uint32_t rc = qsfp_access(port, kDataPathControl, 1, kPage10, &all, QSFP_ACCESS_WRITE);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP Upper Page 10h write error\n");
            return rc;
        }
        rc = set_low_power(port, false);
        if (rc != QSFP_OK) {
            return rc;
        }
        return wait_module_ready(port);
    }
    if (s.revision == kRevision30 && vendor_contains(port, "FINISAR")) {
        return set_low_power(port, true);
    }
    return QSFP_OK;
}

// Everything after the identification of a module the tables know.
std::uint32_t bring_up_known(qsfp_port_ctx *port, std::uint32_t init_flag) {
    State &s = state(port);
    if (s.passive != 0) {
        if (port->hw_info.qsfp_type == QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK) {
            s.dom_support = kDomModuleOnly;
        }
        return QSFP_OK;
    }
    std::uint32_t rc = read_dom_support(port);
    if (rc == QSFP_OK) {
        rc = read_thresholds(port);
    }
    if (rc == QSFP_OK) {
        rc = read_wavelength(port);
    }
    if (rc != QSFP_OK) {
        return rc;
    }
    if (is_coherent(port->hw_info.qsfp_type)) {
        return hand_over_to_coherent(port, init_flag);
    }
    if (alpha_module(port)) {
        return park_alpha_module(port);
    }
    rc = read_durations(port);
    if (rc == QSFP_OK) {
        rc = read_si_controls(port);
    }
    if (rc != QSFP_OK) {
        return rc;
    }
    if (init_flag == QSFP_DD_INIT_ADOPT && adopt_active_application(port)) {
        return QSFP_OK;
    }
    rc = power_up(port);
    if (rc != QSFP_OK) {
        return rc;
    }
    rc = configure_without_enable(port, port->port_mode);
    if (rc != QSFP_OK) {
        trace_err(port, "Port Mode Config without datapath enable failed. rc 0x%x\n", rc);
    }
    return rc;
}

}  // namespace

std::uint32_t unsupported_module(qsfp_port_ctx *port) {
    trace_evt(port, "Unsupport MSA version.  Assume 400G Copper\n");
    set_pid(port, kUnknownPid);
    set_description(port, "QSFPDD 400G UNKNOWN");
    port->hw_info.qsfp_type = 0;
    return QSFP_OK;
}

std::uint32_t device_init(qsfp_port_ctx *port, std::uint32_t init_flag) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Init:\n");
    start_empty(port);
    std::uint8_t id[kIdBufferBytes];
    if (const std::uint32_t rc = read_identification(port, id); rc != QSFP_OK) {
        return rc;
    }
    State &s = state(port);
    s.revision = id[kRevision];
    trace_evt(port, "Module CMIS 0x%02x\n", s.revision);
    if (is_pre_release(s.revision)) {
        return bring_up_pre_release(port, id);
    }
    copy_identity(port, id, kMainLayout);
    s.qualified = vendor_begins(port, "KORVA") ? 1 : 0;
    if (multilane_loopback(port)) {
        return QSFP_OK;
    }
    qsfp_dd_port_identify_type(port, id);
    if (port->hw_info.qsfp_type == 0) {
        return unsupported_module(port);
    }
    return bring_up_known(port, init_flag);
}

}  // namespace qsfp::cmis
