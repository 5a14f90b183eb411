// Live status of a coherent module: temperature, supply voltage and lane 1's
// Tx disable read through the SDK, wavelength and thresholds saved at
// bring-up, and the coherent section from the SDK's configuration, state,
// alarms and performance data.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cmis/cmis_regs.h"
#include "coherent/coherent.h"
#include "framework/trace.h"
#include "framework/units.h"

namespace qsfp::coherent {

namespace {

using namespace units;

constexpr std::uint32_t kMediaType = 1;
constexpr std::uint8_t kDomMonitors = cmis::kDomAll;
constexpr std::uint8_t kLane1 = 0x01;  // page 10h byte 130 bit 0: the coherent module's one media lane
constexpr std::uint8_t kSectionPresent = 1;

std::uint32_t read(qsfp_port_ctx *port, std::uint32_t page, std::uint32_t reg, std::uint32_t len, std::uint8_t *buf) {
    return coh_sdk_read_write_reg(device_key(port), 0, page, reg, len, buf, QSFP_ACCESS_READ);
}

// A failed read leaves its trace; the value is converted from what the
// buffer holds, and the next read follows.
std::uint32_t read_monitors(qsfp_port_ctx *port, qsfp_hw_status *status) {
    std::uint8_t word[cmis::kMonitorBytes] = {};
    std::uint32_t rc = read(port, cmis::kLower, cmis::kTemperatureMonitor, sizeof word, word);
    if (rc != COH_SDK_OK) {
        trace_err(port, "Coherent module Temp Monitor Read error. rc 0x%x\n", rc);
    }
    status->temperature = temperature_c(word_at(word));
    rc = read(port, cmis::kLower, cmis::kVccMonitor, sizeof word, word);
    if (rc != COH_SDK_OK) {
        trace_err(port, "Coherent module Vcc Monitor Read error. rc 0x%x\n", rc);
    }
    status->vcc = vcc_v(word_at(word));
    std::uint8_t tx_disable = 0;
    rc = read(port, cmis::kPage10, cmis::kTxDisable, 1, &tx_disable);
    if (rc != COH_SDK_OK) {
        trace_err(port, "Coherent module tx disable read error rc 0x%x\n", rc);
    }
    status->tx_disabled[0] = (tx_disable & kLane1) != 0 ? 1 : 0;
    return rc;
}

void fill_saved(qsfp_port_ctx *port, qsfp_hw_status *status) {
    const std::uint8_t *w = state(port).cmis.wavelength;
    status->wavelength_nm = wavelength_whole_nm(word_at(w));
    status->thresholds = port->thresholds;
    status->vdm_present = 0;
    std::memcpy(&status->coherent[QSFP_COH_ENTRY(QSFP_COH_STATUS_PRESENT)], &kSectionPresent, 1);
}

struct FreeBlock {
    void operator()(coh_sdk_pm_data *block) const { std::free(block); }
};

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
    status->media_type = kMediaType;
    const std::uint8_t dom = state(port).cmis.dom_support;
    if ((dom & kDomMonitors) == 0) {
        trace_evt(port, "Coherent module DOM not supported, flags 0x%x\n", dom);
    }
    const std::uint32_t read_rc = read_monitors(port, status);
    fill_saved(port, status);

    const std::unique_ptr<coh_sdk_pm_data, FreeBlock> pm(
        static_cast<coh_sdk_pm_data *>(std::calloc(1, sizeof(coh_sdk_pm_data))));
    if (pm == nullptr) {
        trace_err(port, "memory alloc failed,hw status and pm data get failed\n");
        return read_rc;
    }
    coh_sdk_hw_config config{};
    coh_sdk_hw_state hw_state{};
    coh_sdk_hw_counters counters{};
    coh_sdk_alarms alarms{};
    const std::uint32_t rc =
        coh_sdk_get_hw_cfg_alarms_pm_data(device_key(port), &config, &hw_state, &counters, pm.get(), &alarms);
    if (rc != COH_SDK_OK) {
        trace_err(port, "Coherent module hw config, alarms and pm data get failed, rc 0x%x\n", rc);
        return rc;
    }
    coherent_module_copy_hw_config_alarms_pm_data(status, &config, &hw_state, pm.get(), &alarms);
    return rc;
}

}  // namespace qsfp::coherent
