// The live status record: Tx disable per lane, optical power, bias,
// temperature, voltage, wavelength, thresholds and the latched flags.
#include <cstring>
#include <optional>

#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"
#include "framework/units.h"
#include "sff8636/vdm.h"

namespace qsfp::sff8636 {

using namespace units;

namespace {

constexpr std::uint32_t kLanes = 4;
constexpr std::uint32_t kDataReadyChecks = 20;
constexpr std::uint32_t kDataReadySteps = 10;
constexpr std::uint32_t kStepUs = 10000;
constexpr std::uint32_t kFlagObservationSteps = 20;
// Rx power, bias and Tx power of lanes 1-4 in one read (bytes 34-57).
constexpr std::uint32_t kLaneMonitorLen = kTxPower + 2 * kLanes - kLaneMonitors;

// Media lane count by type code: a DWDM2 module has 2 wavelengths, the
// single-lambda DR/FR/LR modules 1, everything else 4 lanes.
std::uint32_t media_type(std::uint32_t type) {
    if (type == kType100GDwdm2) {
        return 2;
    }
    return type >= kType100GDr && type <= kType100GLr ? 1 : 4;
}

std::uint32_t read_tx_disable(qsfp_port_ctx *port, qsfp_hw_status *status) {
    std::uint8_t tx_disable = 0;
    std::uint32_t rc;
    if (whole_image_read(port)) {
        Image image{};
        rc = qsfp_access(port, 0, kImageBytes, kPage00, image.data(), QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "errno: qsfp paged mem all page read failed. rc: 0x%x", rc);
        }
        tx_disable = image[kTxDisable];
    } else {
        rc = qsfp_access(port, kTxDisable, 1, kPage00, &tx_disable, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "Tx Disable Read error");
        }
    }
    // Some makers' AOC and AEC cables leave the Tx disable byte unreadable.
    if (rc != QSFP_OK && port->hw_info.qsfp_type != kType100GAec && port->hw_info.qsfp_type != kType100GAoc) {
        return rc;
    }
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        status->tx_disabled[lane] = (tx_disable >> lane) & 1u;
    }
    return QSFP_OK;
}

enum class Readiness { ready, not_ready, abandoned };

// Lower byte 2 bit 0: the module's monitors are not valid yet.
Readiness wait_data_ready(qsfp_port_ctx *port) {
    for (std::uint32_t check = 1; check <= kDataReadyChecks; ++check) {
        std::uint8_t status = 0;
        if (qsfp_access(port, kStatus, 1, kPage00, &status, QSFP_ACCESS_READ) != QSFP_OK ||
            (status & kDataNotReady) == 0) {
            return Readiness::ready;
        }
        if (check == kDataReadyChecks) {
            break;
        }
        if (!observe(port, kDataReadySteps, kStepUs)) {
            return Readiness::abandoned;
        }
    }
    trace_err(port, "QSFP Tx is not data ready ");
    return Readiness::not_ready;
}

std::uint32_t read_monitors(qsfp_port_ctx *port, qsfp_hw_status *status) {
    std::uint8_t lanes[kLaneMonitorLen] = {};
    if (const std::uint32_t rc = qsfp_access(port, kLaneMonitors, sizeof lanes, kPage00, lanes, QSFP_ACCESS_READ);
        rc != QSFP_OK) {
        trace_err(port, "Channel Monitor info read error");
        return rc;
    }
    std::uint8_t temperature[2] = {};
    if (const std::uint32_t rc = qsfp_access(port, kTemperature, 2, kPage00, temperature, QSFP_ACCESS_READ);
        rc != QSFP_OK) {
        trace_err(port, "Temperature Read error");
        return rc;
    }
    std::uint8_t vcc[2] = {};
    if (const std::uint32_t rc = qsfp_access(port, kVcc, 2, kPage00, vcc, QSFP_ACCESS_READ); rc != QSFP_OK) {
        trace_err(port, "Voltage Read error");
        return rc;
    }
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        status->rx_power_dbm[lane] = dbm_or_dark(power_mw(word_at(lanes + (kRxPower - kLaneMonitors) + 2 * lane)));
        status->tx_bias_ma[lane] = bias_ma(word_at(lanes + (kTxBias - kLaneMonitors) + 2 * lane));
        status->tx_power_dbm[lane] = dbm_or_dark(power_mw(word_at(lanes + (kTxPower - kLaneMonitors) + 2 * lane)));
    }
    status->temperature = temperature_c(word_at(temperature));
    status->vcc = vcc_v(word_at(vcc));
    status->wavelength_nm = wavelength_whole_nm(word_at(state(port).wavelength));
    return QSFP_OK;
}

// Lane n of a pair of threshold-flag bytes: lanes 1 and 3 in bits 7-4,
// lanes 2 and 4 in bits 3-0, each nibble high alarm, low alarm, high
// warning, low warning. The entries keep the masked bit itself.
void lane_threshold_flags(const std::uint8_t *pair, std::uint32_t (&ha)[QSFP_STATUS_LANES],
                          std::uint32_t (&la)[QSFP_STATUS_LANES], std::uint32_t (&hw)[QSFP_STATUS_LANES],
                          std::uint32_t (&lw)[QSFP_STATUS_LANES]) {
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        const std::uint8_t byte = pair[lane / 2];
        const unsigned shift = lane % 2 == 0 ? 4 : 0;
        ha[lane] = byte & (0x08u << shift);
        la[lane] = byte & (0x04u << shift);
        hw[lane] = byte & (0x02u << shift);
        lw[lane] = byte & (0x01u << shift);
    }
}

void store_flags(const std::uint8_t *flags, qsfp_hw_status *status) {
    auto at = [&](std::uint32_t reg) { return flags[reg - kFlagsFirst]; };
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        status->rx_los[lane] = (at(3) >> lane) & 1u;
        status->tx_los[lane] = (at(3) >> (lane + 4)) & 1u;
        status->tx_fault[lane] = (at(4) >> lane) & 1u;
        status->rx_cdr_lol[lane] = (at(5) >> lane) & 1u;
        status->tx_cdr_lol[lane] = (at(5) >> (lane + 4)) & 1u;
    }
    lane_threshold_flags(&flags[13 - kFlagsFirst], status->tx_power_high_alarm, status->tx_power_low_alarm,
                         status->tx_power_high_warning, status->tx_power_low_warning);
    lane_threshold_flags(&flags[9 - kFlagsFirst], status->rx_power_high_alarm, status->rx_power_low_alarm,
                         status->rx_power_high_warning, status->rx_power_low_warning);
    lane_threshold_flags(&flags[11 - kFlagsFirst], status->tx_bias_high_alarm, status->tx_bias_low_alarm,
                         status->tx_bias_high_warning, status->tx_bias_low_warning);
    for (std::uint32_t k = 0; k < 4; ++k) {
        status->temp_flags[k] = at(6) & (0x80u >> k);
        status->vcc_flags[k] = at(7) & (0x80u >> k);
    }
}

constexpr FlagsReadFailure kFlagsReadFailure{
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "errno: Channel Interrupt flag reg read failed. rc: 0x%x", rc);
    },
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "errno: Channel interrupt flag reg second bitbang read failed rc: 0x%x", rc);
    },
};

// The status record bit-bangs whenever the port is marked for it.
std::uint32_t read_flags(qsfp_port_ctx *port, qsfp_hw_status *status) {
    std::uint8_t flags[kFlagsLen] = {};
    if (const std::uint32_t rc = read_latched_flags(port, flags, BitBang::when_marked, kFlagsReadFailure);
        rc != QSFP_OK) {
        return rc;
    }
    store_flags(flags, status);
    return QSFP_OK;
}

// Where a parameter's flags go in the status map: group * 16 + slot * 4.
std::optional<unsigned> status_map_base(std::uint8_t type, unsigned lane) {
    switch (type) {
    case vdm::kLaserTemperature: return 0u;
    case vdm::kTecCurrent: return 4u;
    case vdm::kLaserFrequency: return 8u;
    case vdm::kSnr: return 16 + lane * 4;
    default: break;
    }
    if (type == vdm::kPreFecBerAverage || (type >= vdm::kPreFecBerMin && type <= vdm::kPreFecBerCurrent)) {
        return 32 + lane * 4;
    }
    if (type == vdm::kFerAverage || (type >= vdm::kFerMin && type <= vdm::kFerCurrent)) {
        return 48 + lane * 4;
    }
    return std::nullopt;
}

void store_vdm_value(qsfp_hw_status *status, std::uint8_t type, unsigned lane, double value, bool &ber_current) {
    const auto v = static_cast<float>(value);
    switch (type) {
    case vdm::kLaserTemperature: status->vdm_laser_temperature = v; break;
    case vdm::kTecCurrent: status->vdm_tec_current = v; break;
    case vdm::kSnr: status->vdm_snr_db[lane] = v; break;
    case vdm::kPreFecBerCurrent:
        status->vdm_pre_fec_ber[lane] = v;
        ber_current = true;
        break;
    case vdm::kPreFecBerAverage:
        // The current BER wins where the module reports both.
        if (!ber_current) status->vdm_pre_fec_ber[lane] = v;
        break;
    default: break;
    }
}

// Page 20h holds configuration, values and latched flags, page 21h the
// threshold sets.
std::uint32_t read_vdm(qsfp_port_ctx *port, qsfp_hw_status *status) {
    std::uint8_t config[kHalfPage] = {};
    std::uint8_t thresholds[kHalfPage] = {};
    std::uint32_t rc = qsfp_access(port, kHalfPage, kHalfPage, kPageVdmConfig, config, QSFP_ACCESS_READ);
    if (rc == QSFP_OK) {
        rc = qsfp_access(port, kHalfPage, kHalfPage, kPageVdmThresholds, thresholds, QSFP_ACCESS_READ);
    }
    if (rc != QSFP_OK) {
        return rc;
    }
    auto at = [&](std::uint32_t reg) { return config + (reg - kHalfPage); };
    std::uint64_t map = 0;
    bool ber_current[QSFP_STATUS_LANES] = {};
    for (int i = 0; i < vdm::kParameters; ++i) {
        const std::uint8_t cfg = *at(vdm::kConfiguration + 2 * i);
        const std::uint8_t type = *at(vdm::kConfiguration + 2 * i + 1);
        if (type == vdm::kUnused) {
            continue;
        }
        const unsigned lane = (cfg & vdm::kLaneSpecific) != 0 ? (cfg & 0x03u) : 0u;
        const std::uint16_t value = word_at(at(vdm::kValues + 2 * i));
        const std::uint8_t *set = thresholds + 8 * (cfg >> 4);
        const unsigned nibble = (*at(vdm::kFlags + i / 2) >> (i % 2 == 0 ? 4 : 0)) & 0x0Fu;
        trace_periodic(port,
                       "Param type %u Channel %u Value=0x%x alarm high threshold=0x%x alarm low threshold=0x%x warn "
                       "high threshold=0x%x warn low threshold=0x%x alarm high status=%x alarm low status=%xwarn high "
                       "status=%x warn low status=%xrc=%d",
                       type, (cfg & vdm::kLaneSpecific) != 0 ? lane + 1 : 0u, value, word_at(set), word_at(set + 2),
                       word_at(set + 4), word_at(set + 6), (nibble >> 3) & 1u, (nibble >> 2) & 1u, (nibble >> 1) & 1u,
                       nibble & 1u, 0);
        if (const auto v = vdm::decode(type, value)) {
            store_vdm_value(status, type, lane, *v, ber_current[lane]);
        }
        if (const auto base = status_map_base(type, lane)) {
            // Flag order in the map: high alarm, low alarm, high warning, low warning.
            for (unsigned flag = 0; flag < 4; ++flag) {
                if ((nibble >> (3 - flag)) & 1u) {
                    map |= std::uint64_t{1} << (*base + flag);
                }
            }
        }
    }
    status->vdm_status_map[0] = static_cast<std::uint32_t>(map);
    status->vdm_status_map[1] = static_cast<std::uint32_t>(map >> 32);
    return QSFP_OK;
}

}  // namespace

}  // namespace qsfp::sff8636

using namespace qsfp::sff8636;

extern "C" uint32_t qsfp_port_get_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status) {
    if (port == nullptr) {
        trace_lib_err("QSFP get hw status : NULL Qsfp Port");
        return QSFP_ERR_INVALID;
    }
    if (status == nullptr) {
        trace_err(port, "QSFP get hw status Null parameters");
        return QSFP_ERR_INVALID;
    }
    std::memset(status, 0, sizeof *status);
    if (port->is_copper == 0) {
        if (const std::uint32_t rc = read_tx_disable(port, status); rc != QSFP_OK) {
            return rc;
        }
    } else {
        status->is_copper = 1;
    }
    if (port->flat_mem != 0 || state(port).dom_supported == 0) {
        status->media_type = media_type(port->hw_info.qsfp_type);
        return QSFP_OK;
    }
    switch (wait_data_ready(port)) {
    case Readiness::abandoned: return kAbandoned;
    case Readiness::not_ready: return QSFP_ERR_NOT_READY;
    case Readiness::ready: break;
    }
    if (const std::uint32_t rc = read_monitors(port, status); rc != QSFP_OK) {
        return rc;
    }
    status->thresholds = port->thresholds;
    if (!observe(port, kFlagObservationSteps, kStepUs)) {
        return kAbandoned;
    }
    if (const std::uint32_t rc = read_flags(port, status); rc != QSFP_OK) {
        return rc;
    }
    status->media_type = media_type(port->hw_info.qsfp_type);
    if ((state(port).enhanced_options & kVdmImplemented) != 0) {
        status->vdm_present = 1;
        if (const std::uint32_t rc = read_vdm(port, status); rc != QSFP_OK) {
            trace_err(port, "qsfp_port_get_ext_hw_status failed with  rc: %d ", rc);
        }
    }
    return QSFP_OK;
}
