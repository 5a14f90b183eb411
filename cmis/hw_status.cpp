// The live status record of a CMIS module: per-lane optical power, bias, Tx
// disable and latched lane flags (page 11h 135-201, page 10h 130), module
// temperature, supply voltage and their flags (lower memory), and the
// wavelength and thresholds saved at bring-up. Per-lane groups are eight
// entries wide; lanes beyond the module type's media lanes stay 0.
#include <algorithm>
#include <array>
#include <cstring>

#include "cmis/driver.h"
#include "cmis/type_tables.h"
#include "framework/observation.h"
#include "framework/trace.h"
#include "framework/units.h"

namespace qsfp::cmis {

namespace {

using namespace units;

// The latched lane flags are read, the module watched for 50 rounds of 10 ms,
// and read again: the first read clears them, so the second shows what the
// module raised during the half second in between.
constexpr std::uint32_t kObservationRounds = 50;
constexpr std::uint32_t kObservationRoundUs = 10000;
constexpr std::uint8_t kDomMonitors = kDomAll;

using LaneStatus = std::array<std::uint8_t, kLaneStatusBytes>;
using Status = qsfp_hw_status;

float lane_power_dbm(std::uint16_t raw) { return dbm_or_dark(power_mw_narrowed(raw)); }

std::uint8_t byte_of(const LaneStatus &block, std::uint32_t reg) { return block[reg - kLaneStatus]; }
std::uint16_t word_of(const LaneStatus &block, std::uint32_t reg) { return word_at(&block[reg - kLaneStatus]); }

// A lane monitor: its words, the entries it fills and the DOM bit it needs.
struct LaneMonitor {
    std::uint32_t reg;
    float (Status::*entries)[QSFP_STATUS_LANES];
    std::uint8_t dom_bit;
    float (*convert)(std::uint16_t);
};
constexpr LaneMonitor kLaneMonitors[] = {
    {kRxPowerMonitors, &Status::rx_power_dbm, kDomRxPower, lane_power_dbm},
    {kTxPowerMonitors, &Status::tx_power_dbm, kDomTxPower, lane_power_dbm},
    {kTxBiasMonitors, &Status::tx_bias_ma, kDomTxBias, bias_ma},
};

// A lane flag byte (bit i = lane i + 1) and the entries it fills as 0 or 1;
// a DOM bit of 0 means the flag is always reported.
struct LaneFlag {
    std::uint32_t reg;
    std::uint32_t (Status::*entries)[QSFP_STATUS_LANES];
    std::uint8_t dom_bit;
};
constexpr LaneFlag kLaneFlags[] = {
    {kRxLos, &Status::rx_los, 0},
    {kTxLos, &Status::tx_los, 0},
    {kTxFault, &Status::tx_fault, 0},
    {kRxCdrLol, &Status::rx_cdr_lol, 0},
    {kTxCdrLol, &Status::tx_cdr_lol, 0},
    {kTxPowerFlags, &Status::tx_power_high_alarm, kDomTxPower},
    {kTxPowerFlags + 1, &Status::tx_power_low_alarm, kDomTxPower},
    {kTxPowerFlags + 2, &Status::tx_power_high_warning, kDomTxPower},
    {kTxPowerFlags + 3, &Status::tx_power_low_warning, kDomTxPower},
    {kRxPowerFlags, &Status::rx_power_high_alarm, kDomRxPower},
    {kRxPowerFlags + 1, &Status::rx_power_low_alarm, kDomRxPower},
    {kRxPowerFlags + 2, &Status::rx_power_high_warning, kDomRxPower},
    {kRxPowerFlags + 3, &Status::rx_power_low_warning, kDomRxPower},
    {kTxBiasFlags, &Status::tx_bias_high_alarm, kDomTxBias},
    {kTxBiasFlags + 1, &Status::tx_bias_low_alarm, kDomTxBias},
    {kTxBiasFlags + 2, &Status::tx_bias_high_warning, kDomTxBias},
    {kTxBiasFlags + 3, &Status::tx_bias_low_warning, kDomTxBias},
};

bool has(std::uint8_t dom_support, std::uint8_t bit) { return bit == 0 || (dom_support & bit) != 0; }

std::uint32_t read_lane_status(qsfp_port_ctx *port, LaneStatus &block) {
    const std::uint32_t rc = qsfp_access(port, kLaneStatus, kLaneStatusBytes, kPage11, block.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Rx Monitor Read error. rc 0x%x\n", rc);
    }
    return rc;
}

// The block as the module latched it over the observation period; kAbandoned
// when the admin-state callback cut the period short.
std::uint32_t observe_lane_status(qsfp_port_ctx *port, LaneStatus &block) {
    if (const std::uint32_t rc = read_lane_status(port, block); rc != QSFP_OK) {
        return rc;
    }
    if (!framework::observe(port, kObservationRounds, kObservationRoundUs)) {
        return framework::kAbandoned;
    }
    return read_lane_status(port, block);
}

std::uint32_t read_monitor(qsfp_port_ctx *port, std::uint32_t reg, std::uint16_t &word) {
    std::uint8_t bytes[kMonitorBytes] = {};
    const std::uint32_t rc = qsfp_access(port, reg, kMonitorBytes, kLower, bytes, QSFP_ACCESS_READ);
    word = word_at(bytes);
    return rc;
}

std::uint32_t read_temperature(qsfp_port_ctx *port, std::uint32_t reg, Status *status) {
    std::uint16_t word = 0;
    const std::uint32_t rc = read_monitor(port, reg, word);
    if (rc != QSFP_OK) {
        trace_err(port, "Temp Monitor Read error. rc 0x%x\n", rc);
        return rc;
    }
    status->temperature = temperature_c(word);
    return QSFP_OK;
}

std::uint32_t read_vcc(qsfp_port_ctx *port, std::uint32_t reg, Status *status) {
    std::uint16_t word = 0;
    const std::uint32_t rc = read_monitor(port, reg, word);
    if (rc != QSFP_OK) {
        trace_err(port, "Vcc Monitor Read error. rc 0x%x\n", rc);
        return rc;
    }
    status->vcc = vcc_v(word);
    return QSFP_OK;
}

std::uint32_t read_tx_disable(qsfp_port_ctx *port, std::uint32_t lanes, Status *status) {
    std::uint8_t tx_disable = 0;
    const std::uint32_t rc = qsfp_access(port, kTxDisable, 1, kPage10, &tx_disable, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "tx disable read error\n");
        return rc;
    }
    for (std::uint32_t lane = 0; lane < lanes; ++lane) {
        status->tx_disabled[lane] = (tx_disable >> lane) & 1u;
    }
    return QSFP_OK;
}

void store_lane_monitors(const LaneStatus &block, std::uint8_t dom_support, std::uint32_t lanes, Status *status) {
    for (const LaneMonitor &m : kLaneMonitors) {
        if (!has(dom_support, m.dom_bit)) {
            continue;
        }
        for (std::uint32_t lane = 0; lane < lanes; ++lane) {
            (status->*m.entries)[lane] = m.convert(word_of(block, m.reg + 2 * lane));
        }
    }
}

void store_lane_flags(const LaneStatus &block, std::uint8_t dom_support, std::uint32_t lanes, Status *status) {
    for (const LaneFlag &f : kLaneFlags) {
        if (!has(dom_support, f.dom_bit)) {
            continue;
        }
        for (std::uint32_t lane = 0; lane < lanes; ++lane) {
            (status->*f.entries)[lane] = (byte_of(block, f.reg) >> lane) & 1u;
        }
    }
}

// Lower byte 9. The entries keep the masked bit itself (1, 2, 4 ... 128),
// not 0 or 1: a consumer tests them for non-zero.
std::uint32_t read_module_flags(qsfp_port_ctx *port, std::uint8_t dom_support, Status *status) {
    if ((dom_support & (kDomTemperature | kDomVcc)) == 0) {
        return QSFP_OK;
    }
    std::uint8_t flags = 0;
    const std::uint32_t rc = qsfp_access(port, kMonitorFlags, 1, kLower, &flags, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "temp and vcc alarm/wwarn reg read error. rc 0x%x\n", rc);
        return rc;
    }
    for (std::uint32_t k = 0; k < 4; ++k) {
        if ((dom_support & kDomTemperature) != 0) {
            status->temp_flags[k] = flags & (0x01u << k);
        }
        if ((dom_support & kDomVcc) != 0) {
            status->vcc_flags[k] = flags & (0x10u << k);
        }
    }
    return QSFP_OK;
}

// Revision 04h modules keep their temperature at lower 12-13 and report
// only the module monitors.
std::uint32_t pre_release_status(qsfp_port_ctx *port, Status *status) {
    if (const std::uint32_t rc = read_temperature(port, pre04::kTemperatureMonitor, status); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = read_vcc(port, pre04::kVccMonitor, status); rc != QSFP_OK) {
        return rc;
    }
    status->thresholds = port->thresholds;
    return QSFP_OK;
}

std::uint32_t module_status(qsfp_port_ctx *port, std::uint32_t lanes, Status *status) {
    const std::uint8_t dom_support = state(port).dom_support;
    // A passive loopback plug has no lane monitors or flags: its block reads as zeros.
    LaneStatus block{};
    if (port->hw_info.qsfp_type != QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK) {
        if (const std::uint32_t rc = observe_lane_status(port, block); rc != QSFP_OK) {
            return rc;
        }
    }
    store_lane_monitors(block, dom_support, lanes, status);
    if ((dom_support & kDomTemperature) != 0) {
        if (const std::uint32_t rc = read_temperature(port, kTemperatureMonitor, status); rc != QSFP_OK) {
            return rc;
        }
    }
    if ((dom_support & kDomVcc) != 0) {
        if (const std::uint32_t rc = read_vcc(port, kVccMonitor, status); rc != QSFP_OK) {
            return rc;
        }
    }
    if (port->is_copper == 0) {
        if (const std::uint32_t rc = read_tx_disable(port, lanes, status); rc != QSFP_OK) {
            return rc;
        }
    }
    status->wavelength_nm = wavelength_whole_nm(word_at(state(port).wavelength));
    status->thresholds = port->thresholds;
    store_lane_flags(block, dom_support, lanes, status);
    return read_module_flags(port, dom_support, status);
}

}  // namespace

std::uint32_t get_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (status == nullptr) {
        trace_err(port, "QSFP get hw status Null parameters\n");
        return QSFP_ERR_INVALID;
    }
    std::memset(status, 0, sizeof *status);
    const State &s = state(port);
    const std::uint32_t lanes = std::min<std::uint32_t>(media_lane_count(port->hw_info.qsfp_type), QSFP_STATUS_LANES);
    status->media_type = lanes;
    status->is_copper = port->is_copper != 0 || s.passive != 0 ? 1 : 0;
    if (port->flat_mem != 0 || (s.dom_support & kDomMonitors) == 0) {
        trace_evt(port, "Flat Memory: no DOM\n");
        return QSFP_OK;
    }
    const std::uint32_t rc = s.revision == kRevisionPre04 ? pre_release_status(port, status)
                                                          : module_status(port, lanes, status);
    if (rc != QSFP_OK) {
        return rc;
    }
    // No versatile diagnostics and no coherent section.
    status->vdm_present = 0;
    status->coherent[0] = 0;
    return QSFP_OK;
}

}  // namespace qsfp::cmis
