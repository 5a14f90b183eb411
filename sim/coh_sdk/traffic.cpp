// Traffic, laser and configuration requests of the coherent SDK emulator:
// the traffic record, the laser (the module's Tx disable of media lane 1, page
// 10h byte 130), the module configuration and alarm thresholds, and
// performance monitoring on or off.
#include <algorithm>

#include "cmis_addresses.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

constexpr std::uint32_t kTrafficModeChanges = 0x08;
constexpr std::uint32_t kKnownTrafficModes[] = {COH_SDK_TRAFFIC_400ZR, COH_SDK_TRAFFIC_100G, COH_SDK_TRAFFIC_300G,
                                                COH_SDK_TRAFFIC_200G, COH_SDK_TRAFFIC_400G_OFEC};

// The chromatic dispersion a module kind compensates out of the box: 400ZR
// links are short unamplified or single-span (+-2400 ps/nm); ZR+ modules
// serve long amplified links.
struct KindDefaults {
    std::uint32_t kind;
    std::int32_t cd_min;
    std::int32_t cd_max;
};
constexpr KindDefaults kKindDefaults[] = {
    {COH_SDK_MODULE_ZR, -2400, 2400},
    {COH_SDK_MODULE_ZR_PLUS, -50000, 50000},
};
constexpr std::int32_t kDefaultTxPower = -1000;     // -10 dBm, 400ZR launch power
constexpr std::uint32_t kDefaultFrequency = 193100000;  // 193.1 THz, the DWDM grid anchor

// Which field of the module configuration each flag bit carries.
enum CfgFlag : std::uint32_t {
    kCfgTxPower = 0x02,
    kCfgCdMin = 0x04,
    kCfgCdMax = 0x08,
    kCfgFrequency = 0x10,
    kCfgOptLbInternal = 0x20,
    kCfgOptLbLine = 0x40,
    kCfgDspLbInternal = 0x80,
    kCfgDspLbLine = 0x100,
};
constexpr std::uint32_t kCfgAll = 0x1FE;
constexpr std::uint32_t kThresholdGroups = 0x300;

coh_sdk_module_cfg merged(const coh_sdk_module_cfg &now, const coh_sdk_module_cfg &in) {
    coh_sdk_module_cfg c = now;
    const std::uint32_t f = in.flags;
    // Packed fields: assigned one by one (no references to them).
    c.tx_power = (f & kCfgTxPower) ? in.tx_power : c.tx_power;
    c.cd_min = (f & kCfgCdMin) ? in.cd_min : c.cd_min;
    c.cd_max = (f & kCfgCdMax) ? in.cd_max : c.cd_max;
    c.frequency = (f & kCfgFrequency) ? in.frequency : c.frequency;
    c.opt_lb_internal = (f & kCfgOptLbInternal) ? in.opt_lb_internal : c.opt_lb_internal;
    c.opt_lb_line = (f & kCfgOptLbLine) ? in.opt_lb_line : c.opt_lb_line;
    c.dsp_lb_internal = (f & kCfgDspLbInternal) ? in.dsp_lb_internal : c.dsp_lb_internal;
    c.dsp_lb_line = (f & kCfgDspLbLine) ? in.dsp_lb_line : c.dsp_lb_line;
    c.flags = now.flags | (f & kCfgAll);
    return c;
}

std::uint32_t switch_laser(Device &d, bool on) {
    std::uint8_t tx_disable = 0;
    if (const std::uint32_t rc = module_read(d, cmis::kPage10, cmis::kTxDisable, std::span(&tx_disable, 1))) {
        return rc;
    }
    tx_disable = static_cast<std::uint8_t>(on ? tx_disable & ~cmis::kMediaLane1 : tx_disable | cmis::kMediaLane1);
    return module_write(d, cmis::kPage10, cmis::kTxDisable, std::span(&tx_disable, 1));
}

}  // namespace

coh_sdk_module_cfg default_cfg(std::uint32_t module_kind) {
    coh_sdk_module_cfg c{};
    c.tx_power = kDefaultTxPower;
    c.frequency = kDefaultFrequency;
    for (const KindDefaults &k : kKindDefaults) {
        if (k.kind == module_kind) {
            c.cd_min = k.cd_min;
            c.cd_max = k.cd_max;
        }
    }
    return c;
}

// 400ZR (OIF) figures: Rx input -20 to +3 dBm at the alarm limits, Tx -15 to
// +4 dBm, bias 90 %, CD +-2400 ps/nm, OSNR 26 dB at end of life, DGD 30 ps.
coh_sdk_thresholds default_thresholds() {
    coh_sdk_thresholds t{};
    t.rx_power_th = -2000;
    t.rx_max_power_th = 300;
    t.tx_power_th = -1500;
    t.tx_high_power_th = 400;
    t.lbc_th = 900;
    t.cd_low_th = -2400;
    t.cd_high_th = 2400;
    t.osnr_low_th = 260;
    t.dgd_high_th = 30;
    t.flags = kThresholdGroups;
    return t;
}

}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

extern "C" uint32_t coh_sdk_module_config_traffic(const coh_sdk_traffic_record *record) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    if (record == nullptr) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return with_registered(record->device_key, [&](Device &d) -> std::uint32_t {
        const std::uint32_t mode = record->value[2];
        const bool mode_changes = (record->flags & kTrafficModeChanges) != 0;
        if (mode_changes && std::ranges::find(kKnownTrafficModes, mode) == std::end(kKnownTrafficModes)) {
            log(kLogError, "coh-sdk: device 0x%04x: unknown traffic mode %u\n", d.created.device_key, mode);
            return COH_SDK_ERR_INVALID_ARG;
        }
        d.traffic = *record;
        if (mode_changes) {
            d.traffic_mode = mode;
        }
        return COH_SDK_OK;
    });
}

extern "C" uint32_t coh_sdk_module_set_laser(const coh_sdk_laser_record *record) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    if (record == nullptr || (record->action != COH_SDK_LASER_ON && record->action != COH_SDK_LASER_OFF)) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return with_registered(record->device_key, [&](Device &d) -> std::uint32_t {
        const bool on = record->action == COH_SDK_LASER_ON;
        if (const std::uint32_t rc = switch_laser(d, on)) {
            return rc;
        }
        d.laser_on = on;
        d.laser = *record;
        log(kLogEvent, "coh-sdk: device 0x%04x laser %s\n", d.created.device_key, on ? "on" : "off");
        return COH_SDK_OK;
    });
}

extern "C" uint32_t coh_sdk_module_cfg_and_thresholds_update(uint32_t device_key, const coh_sdk_module_cfg *cfg,
                                                             const coh_sdk_thresholds *thresholds) {
    return with_device(__func__, device_key, [&](Device &d) -> std::uint32_t {
        const coh_sdk_module_cfg next = cfg != nullptr ? merged(d.cfg, *cfg) : d.cfg;
        if (next.cd_min > next.cd_max) {
            return COH_SDK_ERR_INVALID_ARG;
        }
        if (thresholds != nullptr && thresholds->cd_low_th > thresholds->cd_high_th) {
            return COH_SDK_ERR_INVALID_ARG;
        }
        d.cfg = next;
        if (thresholds != nullptr) {
            d.thresholds = *thresholds;
            d.thresholds.flags &= kThresholdGroups;
        }
        return COH_SDK_OK;
    });
}

extern "C" uint32_t coh_sdk_module_config_perf_mon(const coh_sdk_perf_mon_record *record) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    if (record == nullptr || record->config[1] > 1) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return with_registered(record->device_key, [&](Device &d) -> std::uint32_t {
        const bool on = record->config[1] == 1;
        if (on && !d.perf_mon) {
            d.stats = {};
            d.stats.since_ns = d.stats.last_ns = now_ns();
        }
        d.perf_mon = on;
        std::ranges::copy(record->config, d.perf_mon_config.begin());
        return COH_SDK_OK;
    });
}
