// Port enable and disable: media lanes map onto host lanes through the
// active application's host-to-media lane ratio; page 10h byte 128 turns
// the host lanes' datapaths on or off, Tx disable (130) follows the media
// lanes and Rx output disable (138) the host lanes. Below CMIS 4.0 byte 128
// is DataPathPwrUp (set = up); from 4.0 on it is DPDeinit (set = down).
#include "cmis/datapath.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

enum class Control { power_up, deinit };  // what a set bit of byte 128 asks for

// The media lanes a request names and the host lanes they carry.
struct Lanes {
    std::uint8_t media;
    std::uint8_t host;
};

// The three registers as they will be written back.
struct Registers {
    std::uint8_t dp_control;
    std::uint8_t tx_disable;
    std::uint8_t rx_output_disable;
};

// Media lanes 1-4 each carry `ratio` consecutive host lanes (none when the
// application has more media than host lanes); what falls beyond lane 8 is
// not there.
std::uint8_t carried_host_lanes(std::uint8_t media, std::uint32_t ratio) {
    std::uint8_t host = 0;
    for (std::uint32_t lane = 0; ratio != 0 && lane < kLanes; ++lane) {
        const std::uint32_t carrier = lane / ratio;
        if (carrier < 4 && ((media >> carrier) & 1U) != 0) {
            host = static_cast<std::uint8_t>(host | 1U << lane);
        }
    }
    return host;
}

// The active application and its ratio give the host lanes.
std::uint32_t plan(qsfp_port_ctx *port, std::uint32_t lanes, Lanes *out) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t app_code = state(port).active_app_code;
    if (app_code < 1 || app_code > kApplications) {
        trace_err(port, "Module is programmed with invalid app_code(%d).  Cannot enable/disable port\n", app_code);
        return QSFP_ERR_INVALID;
    }
    const std::uint8_t lane_counts = app_descriptor(port, app_code)[kAppLaneCounts];
    if (host_lanes(lane_counts) == 0 || media_lanes(lane_counts) == 0) {
        trace_err(
            port,
            "App_code %d. Module is programmed with invalid host media lane count(0x%x).  Cannot enable/disable port\n",
            app_code, lane_counts);
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t ratio = host_lanes(lane_counts) / media_lanes(lane_counts);
    const auto media = static_cast<std::uint8_t>(lanes);
    out->host = ratio == 1 ? media : carried_host_lanes(media, ratio);
    out->media = media;
    trace_evt(port, "Host to media lane ratio %d media_lane_cnt %d lane_bitmap 0x%x rx_lane_bitmap 0x%x\n", ratio,
              media_lanes(lane_counts), out->media, out->host);
    return QSFP_OK;
}

std::uint32_t read_byte(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t *value) {
    return qsfp_access(port, reg, 1, kPage10, value, QSFP_ACCESS_READ);
}

std::uint32_t write_byte(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t value) {
    return qsfp_access(port, reg, 1, kPage10, &value, QSFP_ACCESS_WRITE);
}

// The registers as the module holds them.
std::uint32_t read_registers(qsfp_port_ctx *port, Control control, Registers *regs) {
    if (const std::uint32_t rc = read_byte(port, kTxDisable, &regs->tx_disable); rc != QSFP_OK) {
        trace_err(port, "Failed to read to Tx Disable Reg. rc 0x%x\n", rc);
        return rc;
    }
    trace_evt(port, "Read Tx Disable Reg: 0x%x\n", regs->tx_disable);
    if (const std::uint32_t rc = read_byte(port, kRxOutputDisable, &regs->rx_output_disable); rc != QSFP_OK) {
        trace_err(port, "Failed to read to Rx Output Disable Reg. rc 0x%x\n", rc);
        return rc;
    }
    trace_evt(port, "Read Rx Output Disable Reg: 0x%x\n", regs->rx_output_disable);
    const std::uint32_t rc = read_byte(port, kDataPathControl, &regs->dp_control);
    if (control == Control::deinit) {
        if (rc != QSFP_OK) {
            trace_err(port, "Failed to read from the datapath deinit reg. rc %d\n", rc);
            return rc;
        }
        trace_evt(port, "Read Datapath Deinit Reg: 0x%x\n", regs->dp_control);
    } else {
        if (rc != QSFP_OK) {
            trace_err(port, "Failed to read from the datapath power ctrl reg. rc %d\n", rc);
            return rc;
        }
        trace_evt(port, "Read Datapath Pwr Ctrl Reg: 0x%x\n", regs->dp_control);
    }
    return QSFP_OK;
}

std::uint32_t write_dp_control(qsfp_port_ctx *port, Control control, std::uint8_t value) {
    const std::uint32_t rc = write_byte(port, kDataPathControl, value);
    if (rc != QSFP_OK && control == Control::deinit) {
        trace_err(port, "Failed to write to the datapath deinit reg. rc %d\n", rc);
    } else if (rc != QSFP_OK) {
        trace_err(port, "Failed to write to the datapath power ctrl reg. rc %d\n", rc);
    }
    return rc;
}

std::uint32_t write_tx_disable(qsfp_port_ctx *port, std::uint8_t value) {
    const std::uint32_t rc = write_byte(port, kTxDisable, value);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write to Tx Disable Reg. rc 0x%x\n", rc);
    }
    return rc;
}

std::uint32_t write_rx_output_disable(qsfp_port_ctx *port, std::uint8_t value) {
    const std::uint32_t rc = write_byte(port, kRxOutputDisable, value);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write to Rx Output Disable Reg. rc 0x%x\n", rc);
    }
    return rc;
}

void trace_wrote_back(qsfp_port_ctx *port, Control control, const char *what, const Lanes &lanes,
                      const Registers &regs) {
    if (control == Control::deinit) {
        trace_evt(port,
                  "%s: Tx bitmap: 0x%x Rx bitmap: 0x%x - Wrote back (0x%x : 0x%x : 0x%x) to (Datapath Deinit: Tx "
                  "Disable: Rx Output Disable)\n",
                  what, lanes.media, lanes.host, regs.dp_control, regs.tx_disable, regs.rx_output_disable);
    } else {
        trace_evt(port,
                  "%s: Tx bitmap: 0x%x Rx bitmap: 0x%x - Wrote back (0x%x : 0x%x : 0x%x) to (Datapth Pwr Ctrl: Tx "
                  "Disable: Rx Output Disable)\n",
                  what, lanes.media, lanes.host, regs.dp_control, regs.tx_disable, regs.rx_output_disable);
    }
}

// Byte 128 with the host lanes' datapaths asked up (or down).
std::uint8_t datapaths_up(Control control, std::uint8_t dp_control, std::uint8_t host, bool up) {
    const bool set_bits = (control == Control::power_up) == up;
    return set_bits ? static_cast<std::uint8_t>(dp_control | host) : static_cast<std::uint8_t>(dp_control & ~host);
}

// The initial wait comes from the deinit code's row while interval
// and count come from the init code's row; only the init code is checked
// against the table. A deinit code without a row waits the default.
Duration activation_wait(qsfp_port_ctx *port) {
    const std::uint32_t init = state(port).dp_init_code;
    if (init > kLastDurationCode) {
        const Duration d = kDefaultDuration;
        trace_evt(port, "Unsupported datapath power down max code 0x%d. Use default init/loop/retries(%dms/%dms/%d)\n",
                  init, d.wait_ms, d.interval_ms, d.count);
        return d;
    }
    Duration d = duration_or_default(init);
    d.wait_ms = duration_or_default(state(port).dp_deinit_code).wait_ms;
    trace_evt(port, "Datapath power init max code 0x%d. init/loop/retries(%dms/%dms/%d)\n", init, d.wait_ms,
              d.interval_ms, d.count);
    return d;
}

// Activation is awaited, not required; only a failed read ends it.
std::uint32_t await_activation(qsfp_port_ctx *port, std::uint8_t host) {
    const Duration d = activation_wait(port);
    wait_ms(d.wait_ms);
    LaneStates states{};
    for (std::uint32_t left = d.count; left > 0; --left) {
        if (const std::uint32_t rc = read_datapath_states(port, states); rc != QSFP_OK) {
            return rc;
        }
        if (lanes_in(states, host, kDataPathActivated)) {
            trace_evt(port, "Datapath bitmap 0x%x all activated: %d,%d,%d,%d,%d,%d,%d,%d\n", host, states[0], states[1],
                      states[2], states[3], states[4], states[5], states[6], states[7]);
            return QSFP_OK;
        }
        if (left > 1) {
            wait_ms(d.interval_ms);
        }
    }
    trace_evt(port, "Datapath bitmap 0x%x NOT all activated: %d,%d,%d,%d,%d,%d,%d,%d\n", host, states[0], states[1],
              states[2], states[3], states[4], states[5], states[6], states[7]);
    return QSFP_OK;
}

// The three registers as they are to be written back for `lanes`. When the
// request reaches every host lane nothing needs reading.
std::uint32_t target_registers(qsfp_port_ctx *port, Control control, const Lanes &lanes, bool up, Registers *regs) {
    if (lanes.host == kAllLanes) {
        *regs = {datapaths_up(control, kNoLanes, kAllLanes, up),
                 static_cast<std::uint8_t>(up ? ~lanes.media : lanes.media), up ? kNoLanes : kAllLanes};
        return QSFP_OK;
    }
    if (const std::uint32_t rc = read_registers(port, control, regs); rc != QSFP_OK) {
        return rc;
    }
    regs->tx_disable = static_cast<std::uint8_t>(up ? regs->tx_disable & ~lanes.media : regs->tx_disable | lanes.media);
    regs->rx_output_disable =
        static_cast<std::uint8_t>(up ? regs->rx_output_disable & ~lanes.host : regs->rx_output_disable | lanes.host);
    regs->dp_control = datapaths_up(control, regs->dp_control, lanes.host, up);
    return QSFP_OK;
}

std::uint32_t enable(qsfp_port_ctx *port, std::uint32_t lane_bitmap, Control control) {
    Lanes lanes{};
    Registers regs{};
    if (const std::uint32_t rc = plan(port, lane_bitmap, &lanes); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = target_registers(port, control, lanes, true, &regs); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_dp_control(port, control, regs.dp_control); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = await_activation(port, lanes.host); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_tx_disable(port, regs.tx_disable); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_rx_output_disable(port, regs.rx_output_disable); rc != QSFP_OK) {
        return rc;
    }
    trace_wrote_back(port, control, "Enable", lanes, regs);
    return QSFP_OK;
}

// Outputs go off before the datapaths, so no lane sends while it stops.
std::uint32_t disable(qsfp_port_ctx *port, std::uint32_t lane_bitmap, Control control) {
    Lanes lanes{};
    Registers regs{};
    if (const std::uint32_t rc = plan(port, lane_bitmap, &lanes); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = target_registers(port, control, lanes, false, &regs); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_rx_output_disable(port, regs.rx_output_disable); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_tx_disable(port, regs.tx_disable); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = write_dp_control(port, control, regs.dp_control); rc != QSFP_OK) {
        return rc;
    }
    trace_wrote_back(port, control, "Disable", lanes, regs);
    return QSFP_OK;
}

}  // namespace

std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t) {
    return enable(port, lanes, Control::power_up);
}

std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t) {
    return disable(port, lanes, Control::power_up);
}

std::uint32_t port_enable_cmis4(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t) {
    return enable(port, lanes, Control::deinit);
}

std::uint32_t port_disable_cmis4(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t) {
    return disable(port, lanes, Control::deinit);
}

}  // namespace qsfp::cmis
