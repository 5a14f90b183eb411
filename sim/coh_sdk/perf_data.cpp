// coh_sdk_get_hw_cfg_alarms_pm_data: every call reads the module's monitors
// through the device's callbacks, takes one sample of the performance model,
// adds it to the statistics while performance monitoring runs, and reports
// configuration, state, FEC counters, performance data and alarms.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "cmis_addresses.h"
#include "perf_model.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

constexpr double kTemperatureLsbC = 1.0 / 256;
constexpr double kVccLsbV = 0.0001;
constexpr double kPowerLsbMw = 0.0001;  // 0.1 uW
constexpr double kBiasLsbMa = 0.002;    // 2 uA
constexpr double kFecBlockBits = 10240; // one FEC codeword's worth of payload

std::uint16_t word(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint16_t>(b[at] << 8 | b[at + 1]);
}

std::uint32_t read_module(Device &d, ModuleReadings &m) {
    std::uint8_t state = 0;
    std::uint8_t temp_vcc[4] = {};
    std::uint8_t lane[cmis::kMonitorsLength] = {};
    if (const std::uint32_t rc = module_read(d, 0, cmis::kModuleState, std::span(&state, 1))) {
        return rc;
    }
    if (const std::uint32_t rc = module_read(d, 0, cmis::kTemperature, temp_vcc)) {
        return rc;
    }
    if (const std::uint32_t rc = module_read(d, cmis::kPage11, cmis::kMonitorsFirst, lane)) {
        return rc;
    }
    m.module_state = static_cast<std::uint8_t>((state & cmis::kModuleStateMask) >> cmis::kModuleStateShift);
    m.temperature_c = static_cast<std::int16_t>(word(temp_vcc, 0)) * kTemperatureLsbC;
    m.vcc_v = word(temp_vcc, 2) * kVccLsbV;
    m.tx_power_mw = word(lane, cmis::kTxPower1 - cmis::kMonitorsFirst) * kPowerLsbMw;
    m.tx_bias_ma = word(lane, cmis::kTxBias1 - cmis::kMonitorsFirst) * kBiasLsbMa;
    m.rx_power_mw = word(lane, cmis::kRxPower1 - cmis::kMonitorsFirst) * kPowerLsbMw;
    return 0;
}

void add_sample(PmStatistics &st, const Sample &s, std::uint64_t now) {
    for (std::size_t i = 0; i < s.value.size(); ++i) {
        const double v = s.value[i];
        st.min[i] = st.samples == 0 ? v : std::min(st.min[i], v);
        st.max[i] = st.samples == 0 ? v : std::max(st.max[i], v);
        st.sum[i] += v;
    }
    ++st.samples;
    // The counters cover the time since the previous sample at this sample's rates.
    const double seconds = static_cast<double>(now - std::min(now, st.last_ns)) / 1e9;
    const double bits = s.locked ? s.line_rate_bps * seconds : 0.0;
    const double blocks = bits / kFecBlockBits;
    st.corrected_bits += s.traffic ? bits * s.value[COH_SDK_PM_PRE_FEC_BER] : 0.0;
    st.uncorrected_blocks += blocks * s.value[COH_SDK_PM_UNCORRECTED_RATIO];
    st.total_blocks += blocks;
    st.last_ns = now;
}

coh_sdk_hw_config config_of(const Device &d) {
    const coh_sdk_module_cfg &c = d.cfg;
    coh_sdk_hw_config h{};
    h.device_key = d.created.device_key;
    h.traffic_mode = d.traffic_mode;
    h.frequency = c.frequency;
    h.tx_power = c.tx_power;
    h.cd_min = c.cd_min;
    h.cd_max = c.cd_max;
    h.loopbacks = std::uint32_t{c.opt_lb_internal} | std::uint32_t{c.opt_lb_line} << 8 |
                  std::uint32_t{c.dsp_lb_internal} << 16 | std::uint32_t{c.dsp_lb_line} << 24;
    h.perf_mon = d.perf_mon ? 1 : 0;
    return h;
}

std::uint32_t up(bool on) { return on ? COH_SDK_STATE_UP : COH_SDK_STATE_DOWN; }

coh_sdk_hw_state state_of(const Device &d, const ModuleReadings &m, const Sample &s) {
    coh_sdk_hw_state h{};
    h.device_key = d.created.device_key;
    h.module_state = m.module_state;
    h.laser = up(d.laser_on);
    h.rx_signal = up(s.locked);
    h.traffic = up(s.locked && s.traffic);
    return h;
}

coh_sdk_hw_counters counters_of(const Device &d) {
    const PmStatistics &st = d.stats;
    coh_sdk_hw_counters c{};
    c.device_key = d.created.device_key;
    c.interval_s = static_cast<std::uint32_t>((st.last_ns - st.since_ns) / 1000000000u);
    c.fec_corrected_bits = static_cast<std::uint64_t>(std::llround(st.corrected_bits));
    c.fec_uncorrected_blocks = static_cast<std::uint64_t>(std::llround(st.uncorrected_blocks));
    c.fec_total_blocks = static_cast<std::uint64_t>(std::llround(st.total_blocks));
    return c;
}

void fill_pm(coh_sdk_pm_data &pm, const Device &d, const Sample &s) {
    const PmStatistics &st = d.stats;
    std::memset(&pm, 0, sizeof pm);
    pm.device_key = d.created.device_key;
    pm.valid = st.samples > 0 ? 1 : 0;
    pm.interval_ms = static_cast<std::uint32_t>((st.last_ns - st.since_ns) / 1000000u);
    pm.samples = st.samples;
    for (std::size_t i = 0; i < COH_SDK_PM_CURRENT; ++i) {
        pm.current[i] = static_cast<float>(s.value[i]);
    }
    for (std::size_t i = 0; st.samples > 0 && i < COH_SDK_PM_PARAMS; ++i) {
        pm.stats[i] = {static_cast<float>(st.sum[i] / st.samples), static_cast<float>(st.min[i]),
                       static_cast<float>(st.max[i])};
    }
}

coh_sdk_alarms with_simulated(coh_sdk_alarms a, const coh_sdk_alarms &sim) {
    a.ntwk_flexo |= sim.ntwk_flexo;
    a.ntwk |= sim.ntwk;
    a.optical |= sim.optical;
    a.module |= sim.module;
    return a;
}

}  // namespace
}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

// Any of the five records may be null (that part is not reported); not all.
extern "C" uint32_t coh_sdk_get_hw_cfg_alarms_pm_data(uint32_t device_key, coh_sdk_hw_config *config,
                                                      coh_sdk_hw_state *state, coh_sdk_hw_counters *counters,
                                                      coh_sdk_pm_data *pm, coh_sdk_alarms *alarms) {
    return with_device(__func__, device_key, [&](Device &d) -> std::uint32_t {
        if (!config && !state && !counters && !pm && !alarms) {
            return COH_SDK_ERR_INVALID_ARG;
        }
        LinkInputs in;
        if (const std::uint32_t rc = read_module(d, in.module)) {
            return rc;
        }
        in.laser_on = d.laser_on;
        in.traffic_mode = d.traffic_mode;
        in.cfg = d.cfg;
        in.fibre = d.fibre;
        const Sample s = take_sample(in);
        if (d.perf_mon) {
            add_sample(d.stats, s, now_ns());
        }
        if (config) {
            *config = config_of(d);
        }
        if (state) {
            *state = state_of(d, in.module, s);
        }
        if (counters) {
            *counters = counters_of(d);
        }
        if (pm) {
            fill_pm(*pm, d, s);
        }
        if (alarms) {
            *alarms = with_simulated(evaluate_alarms(s, in.module, d.thresholds), d.sim_alarms);
        }
        return COH_SDK_OK;
    });
}
