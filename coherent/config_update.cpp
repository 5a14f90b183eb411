// Module configuration and alarm thresholds of a coherent module, copied
// field by field into the SDK's records; either part may be left out.
#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

coh_sdk_module_cfg sdk_config(const qsfp_coh_module_config &in) {
    coh_sdk_module_cfg out{};
    out.tx_power = in.tx_power;
    out.cd_min = in.cd_min;
    out.cd_max = in.cd_max;
    out.frequency = in.frequency;
    out.opt_lb_internal = in.opt_lb_internal;
    out.opt_lb_line = in.opt_lb_line;
    out.dsp_lb_internal = in.dsp_lb_internal;
    out.dsp_lb_line = in.dsp_lb_line;
    out.flags = in.flags & QSFP_COH_CONFIG_FLAGS;
    return out;
}

coh_sdk_thresholds sdk_thresholds(const qsfp_coh_thresholds &in) {
    coh_sdk_thresholds out{};
    out.rx_power_th = in.rx_power_th;
    out.rx_max_power_th = in.rx_max_power_th;
    out.tx_power_th = in.tx_power_th;
    out.tx_high_power_th = in.tx_high_power_th;
    out.lbc_th = in.lbc_th;
    out.cd_low_th = in.cd_low_th;
    out.cd_high_th = in.cd_high_th;
    out.osnr_low_th = in.osnr_low_th;
    out.dgd_high_th = in.dgd_high_th;
    out.flags = in.flags & QSFP_COH_THRESHOLD_FLAGS;
    return out;
}

void trace_config(qsfp_port_ctx *port, const coh_sdk_module_cfg &c) {
    trace_evt(port,
              "tx power %d, cd_min %d, cd_max %d, frequency %u, opt-lb-internal %d, opt-lb-line %d, "
              "dsp-lb-internal %d, dsp-lb-line %d, flags 0x%x \n",
              c.tx_power, c.cd_min, c.cd_max, c.frequency, c.opt_lb_internal, c.opt_lb_line, c.dsp_lb_internal, c.dsp_lb_line, c.flags);
}

void trace_thresholds(qsfp_port_ctx *port, const coh_sdk_thresholds &t) {
    trace_evt(port,
              "rx_power_th %d, rx_max_power_th %d, tx_power_th %d, tx_high_power_th %d, lbc_th %d, cd_low_th %d, "
              "cd_high_th %d, osnr_low_th %d, dgd_high_th %d, flags 0x%x \n",
              t.rx_power_th, t.rx_max_power_th, t.tx_power_th, t.tx_high_power_th, t.lbc_th, t.cd_low_th, t.cd_high_th, t.osnr_low_th, t.dgd_high_th, t.flags);
}

}  // namespace

extern "C" uint32_t coherent_module_config_update(qsfp_port_ctx *port, void *config, void *thresholds) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "updating module config and thresholds \n");
    coh_sdk_module_cfg cfg{};
    coh_sdk_thresholds th{};
    const coh_sdk_module_cfg *cfg_arg = nullptr;
    const coh_sdk_thresholds *th_arg = nullptr;
    if (config != nullptr) {
        cfg = sdk_config(*static_cast<const qsfp_coh_module_config *>(config));
        trace_config(port, cfg);
        cfg_arg = &cfg;
    }
    if (thresholds != nullptr) {
        th = sdk_thresholds(*static_cast<const qsfp_coh_thresholds *>(thresholds));
        trace_thresholds(port, th);
        th_arg = &th;
    }
    const std::uint32_t rc = coh_sdk_module_cfg_and_thresholds_update(qsfp::coherent::device_key(port), cfg_arg, th_arg);
    if (rc != COH_SDK_OK) {
        trace_err(port, "module config and thresholds update failed, rc 0x%x \n", rc);
    } else {
        trace_evt(port, "module config and thresholds update success \n");
    }
    return rc;
}
