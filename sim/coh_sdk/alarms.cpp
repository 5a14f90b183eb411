// The alarms of the emulated coherent DSP: threshold alarms of a sample
// against the device's thresholds, the receiver's own defects, the module's
// temperature, supply and state, and the simulated alarms a caller sets.
#include <cmath>

#include "cmis_addresses.h"
#include "perf_model.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

constexpr std::uint32_t kRxPowerGroup = 0x100;
constexpr std::uint32_t kOtherGroup = 0x200;

// One threshold alarm: the parameter, the side of the threshold that raises
// it, the threshold field and its unit, and whether it needs a locked signal
// (there is no CD, OSNR or DGD to compare without one).
struct Limit {
    std::uint32_t bit;
    std::uint32_t group;
    coh_sdk_pm_param param;
    bool below;
    std::int32_t coh_sdk_thresholds::*threshold;
    double unit;
    bool needs_lock;
};
constexpr Limit kLimits[] = {
    {COH_SDK_OPT_RX_POWER_LOW, kRxPowerGroup, COH_SDK_PM_RX_TOTAL_POWER, true, &coh_sdk_thresholds::rx_power_th, 0.01, false},
    {COH_SDK_OPT_RX_POWER_HIGH, kRxPowerGroup, COH_SDK_PM_RX_TOTAL_POWER, false, &coh_sdk_thresholds::rx_max_power_th, 0.01, false},
    {COH_SDK_OPT_TX_POWER_LOW, kOtherGroup, COH_SDK_PM_TX_POWER, true, &coh_sdk_thresholds::tx_power_th, 0.01, false},
    {COH_SDK_OPT_TX_POWER_HIGH, kOtherGroup, COH_SDK_PM_TX_POWER, false, &coh_sdk_thresholds::tx_high_power_th, 0.01, false},
    {COH_SDK_OPT_LBC_HIGH, kOtherGroup, COH_SDK_PM_LBC, false, &coh_sdk_thresholds::lbc_th, 0.1, false},
    {COH_SDK_OPT_CD_LOW, kOtherGroup, COH_SDK_PM_CD, true, &coh_sdk_thresholds::cd_low_th, 1.0, true},
    {COH_SDK_OPT_CD_HIGH, kOtherGroup, COH_SDK_PM_CD, false, &coh_sdk_thresholds::cd_high_th, 1.0, true},
    {COH_SDK_OPT_OSNR_LOW, kOtherGroup, COH_SDK_PM_OSNR, true, &coh_sdk_thresholds::osnr_low_th, 0.1, true},
    {COH_SDK_OPT_DGD_HIGH, kOtherGroup, COH_SDK_PM_DGD, false, &coh_sdk_thresholds::dgd_high_th, 1.0, true},
};

// Beyond this the carrier offset is reported (half the pull-in range).
constexpr double kCarrierOffsetAlarmMhz = 1800;
// The degrade alarm warns before the FEC runs out.
constexpr double kDegradeFraction = 0.5;
// Module limits: a commercial-temperature module, 3.3 V +-5 %.
constexpr double kTempHighC = 75.0;
constexpr double kTempLowC = -5.0;
constexpr double kVccHighV = 3.465;
constexpr double kVccLowV = 3.135;

std::uint32_t threshold_alarms(const Sample &s, const coh_sdk_thresholds &t) {
    std::uint32_t bits = 0;
    for (const Limit &l : kLimits) {
        if (!(t.flags & l.group) || (l.needs_lock && !s.locked)) {
            continue;
        }
        const double value = s.value[l.param];
        const double limit = t.*l.threshold * l.unit;
        if (l.below ? value < limit : value > limit) {
            bits |= l.bit;
        }
    }
    return bits;
}

std::uint32_t receiver_alarms(const Sample &s) {
    std::uint32_t bits = 0;
    bits |= s.los ? COH_SDK_OPT_RX_LOS : 0;
    bits |= s.value[COH_SDK_PM_PRE_FEC_BER] > s.fec_threshold ? COH_SDK_OPT_PRE_FEC_BER_HIGH : 0;
    bits |= std::fabs(s.carrier_offset_mhz) > kCarrierOffsetAlarmMhz ? COH_SDK_OPT_FREQ_OFFSET : 0;
    // The dispersion lies outside the range the DSP searches.
    bits |= s.cd_range == CdRange::below ? COH_SDK_OPT_CD_LOW : 0;
    bits |= s.cd_range == CdRange::above ? COH_SDK_OPT_CD_HIGH : 0;
    return bits;
}

std::uint32_t module_alarms(const ModuleReadings &m) {
    std::uint32_t bits = 0;
    bits |= m.temperature_c > kTempHighC ? COH_SDK_MOD_TEMP_HIGH : 0;
    bits |= m.temperature_c < kTempLowC ? COH_SDK_MOD_TEMP_LOW : 0;
    if (m.vcc_v > 0) {  // 0: the module does not monitor its supply
        bits |= m.vcc_v > kVccHighV ? COH_SDK_MOD_VCC_HIGH : 0;
        bits |= m.vcc_v < kVccLowV ? COH_SDK_MOD_VCC_LOW : 0;
    }
    bits |= m.module_state == cmis::kModuleFaultState ? COH_SDK_MOD_DSP_FAULT : 0;
    return bits;
}

}  // namespace

coh_sdk_alarms evaluate_alarms(const Sample &s, const ModuleReadings &m, const coh_sdk_thresholds &t) {
    coh_sdk_alarms a{};
    if (!s.locked) {
        a.ntwk = COH_SDK_NTWK_LOF | COH_SDK_NTWK_LOM | COH_SDK_NTWK_SIGNAL_FAIL;
        a.ntwk_flexo = COH_SDK_FLEXO_LOF | COH_SDK_FLEXO_LOM;
    } else {
        const double ber = s.value[COH_SDK_PM_PRE_FEC_BER];
        a.ntwk |= s.traffic ? 0 : COH_SDK_NTWK_SIGNAL_FAIL;
        a.ntwk |= ber > kDegradeFraction * s.fec_threshold ? COH_SDK_NTWK_SIGNAL_DEGRADE : 0;
    }
    a.optical = threshold_alarms(s, t) | receiver_alarms(s);
    a.module = module_alarms(m);
    return a;
}

}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

// The simulated alarms are reported on top of the computed ones until replaced.
extern "C" uint32_t coh_sdk_set_sim_alarms(uint32_t device_key, const coh_sdk_alarms *record) {
    return with_record(__func__, device_key, record, [](Device &d, const coh_sdk_alarms &r) -> std::uint32_t {
        d.sim_alarms = r;
        return COH_SDK_OK;
    });
}
