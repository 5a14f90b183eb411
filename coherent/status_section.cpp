// The coherent section of the live status record (entries 292-399): the
// SDK's performance data, configuration, state and alarms in the places
// qsfp_coherent.h lists.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include <qsfp/qsfp_coherent.h>

namespace {

using Section = std::span<std::uint32_t, std::size(qsfp_hw_status{}.coherent)>;

std::uint32_t &entry(Section section, std::uint32_t number) { return section[QSFP_COH_ENTRY(number)]; }

void put_float(Section section, std::uint32_t number, float value) {
    std::memcpy(&entry(section, number), &value, sizeof value);
}

void copy_pm(Section section, const coh_sdk_pm_data &pm) {
    entry(section, QSFP_COH_STATUS_PM_VALID) = pm.valid;
    for (std::uint32_t i = 0; i < COH_SDK_PM_CURRENT; ++i) {
        put_float(section, QSFP_COH_STATUS_PM_CURRENT + i, pm.current[i]);
    }
    for (std::uint32_t p = 0; p < COH_SDK_PM_PARAMS; ++p) {
        const std::uint32_t first = QSFP_COH_STATUS_PM_STATS + 3 * p;
        put_float(section, first, pm.stats[p].avg);
        put_float(section, first + 1, pm.stats[p].min);
        put_float(section, first + 2, pm.stats[p].max);
    }
}

void put_words(Section section, std::uint32_t first, std::span<const std::uint32_t> words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        entry(section, first + static_cast<std::uint32_t>(i)) = words[i];
    }
}

// Words 1-7 of the configuration record; the signed ones keep their bits.
void copy_config(Section section, const coh_sdk_hw_config &c) {
    const std::uint32_t words[QSFP_COH_STATUS_CONFIG_WORDS] = {
        c.traffic_mode, c.frequency, static_cast<std::uint32_t>(c.tx_power), static_cast<std::uint32_t>(c.cd_min),
        static_cast<std::uint32_t>(c.cd_max), c.loopbacks, c.perf_mon};
    put_words(section, QSFP_COH_STATUS_CONFIG, words);
}

void copy_state(Section section, const coh_sdk_hw_state &s) {
    const std::uint32_t words[QSFP_COH_STATUS_STATE_WORDS] = {s.module_state, s.laser, s.rx_signal, s.traffic};
    put_words(section, QSFP_COH_STATUS_STATE, words);
}

void copy_alarms(Section section, const coh_sdk_alarms &a) {
    const std::uint32_t words[QSFP_COH_STATUS_ALARM_WORDS] = {a.ntwk_flexo, a.ntwk, a.optical, a.module};
    put_words(section, QSFP_COH_STATUS_ALARMS, words);
}

}  // namespace

extern "C" uint32_t coherent_module_copy_hw_config_alarms_pm_data(qsfp_hw_status *status,
                                                                  const coh_sdk_hw_config *config,
                                                                  const coh_sdk_hw_state *state,
                                                                  const coh_sdk_pm_data *pm,
                                                                  const coh_sdk_alarms *alarms) {
    if (status == nullptr || config == nullptr || state == nullptr || pm == nullptr || alarms == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const Section section(status->coherent);
    copy_pm(section, *pm);
    copy_config(section, *config);
    copy_state(section, *state);
    copy_alarms(section, *alarms);
    return QSFP_OK;
}
