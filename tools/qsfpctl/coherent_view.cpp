#include "coherent_view.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include <qsfp/qsfp.h>

#include "json_value.h"
#include "text_table.h"

namespace qsfpctl {

namespace {

struct Parameter {
    const char *name;
    const char *unit;
    int decimals;  // below 0: scientific notation with two decimals
};

// In the SDK's parameter order (coh_sdk_pm_param).
constexpr Parameter kParameters[] = {
    {"rx_total_power", "dBm", 2},     {"rx_signal_power", "dBm", 2}, {"tx_power", "dBm", 2},
    {"osnr", "dB", 1},                {"esnr", "dB", 1},             {"chromatic_dispersion", "ps/nm", 0},
    {"dgd", "ps", 1},                 {"pdl", "dB", 1},              {"pre_fec_ber", "", -1},
    {"uncorrected_ratio", "", -1},     {"carrier_offset", "MHz", 0},  {"q_factor", "dB", 2},
    {"sopmd", "ps^2", 1},             {"sop_rate", "krad/s", 1},     {"evm", "%", 1},
    {"mer", "dB", 1},                 {"clock_recovery", "%", 1},    {"laser_temperature", "C", 1},
    {"laser_frequency_offset", "MHz", 0}, {"laser_bias", "%", 1},    {"snr_margin", "dB", 2},
    {"power_imbalance", "dB", 2},
};
static_assert(std::size(kParameters) == COH_SDK_PM_PARAMS);

constexpr const char *kAlarmWords[QSFP_COH_STATUS_ALARM_WORDS] = {"flexo", "network", "optical", "module"};

std::uint32_t word(const qsfp_hw_status &s, std::uint32_t entry) { return s.coherent[QSFP_COH_ENTRY(entry)]; }

float value(const qsfp_hw_status &s, std::uint32_t entry) {
    float f = 0;
    const std::uint32_t w = word(s, entry);
    std::memcpy(&f, &w, sizeof f);
    return f;
}

std::string text(int decimals, float v) {
    if (!std::isfinite(v)) {
        return "-";
    }
    char buf[32];
    if (decimals < 0) {
        std::snprintf(buf, sizeof buf, "%.2e", static_cast<double>(v));
    } else {
        std::snprintf(buf, sizeof buf, "%.*f", decimals, static_cast<double>(v));
    }
    return buf;
}

bool up(const qsfp_hw_status &s, std::uint32_t state_word) {
    return word(s, QSFP_COH_STATUS_STATE + state_word) == COH_SDK_STATE_UP;
}

bool measured(const qsfp_hw_status &s) { return word(s, QSFP_COH_STATUS_PM_VALID) != 0; }

float stat(const qsfp_hw_status &s, std::size_t parameter, std::uint32_t which) {
    return value(s, QSFP_COH_STATUS_PM_STATS + 3 * static_cast<std::uint32_t>(parameter) + which);
}

}  // namespace

bool has_coherent_section(const qsfp_hw_status &s) { return (s.coherent[0] & 0xFF) == 1; }

DspState dsp_state(const qsfp_hw_status &s) {
    bool alarm = false;
    for (std::uint32_t w = 0; w < QSFP_COH_STATUS_ALARM_WORDS; ++w) {
        alarm = alarm || word(s, QSFP_COH_STATUS_ALARMS + w) != 0;
    }
    return {word(s, QSFP_COH_STATUS_STATE), up(s, 1), up(s, 2), up(s, 3), alarm};
}

void print_coherent(std::ostream &out, const qsfp_hw_status &s) {
    const DspState d = dsp_state(s);
    out << "coherent DSP: module state " << d.module_state << ", laser " << (d.laser_on ? "on" : "off") << ", "
        << (d.signal_locked ? "signal locked" : "no signal") << ", "
        << (d.frames_aligned ? "frames aligned" : "frames not aligned") << ", Tx "
        << (s.tx_disabled[0] != 0 ? "disabled" : "enabled") << '\n';
    out << "alarms:";
    for (std::uint32_t w = 0; w < QSFP_COH_STATUS_ALARM_WORDS; ++w) {
        char buf[32];
        std::snprintf(buf, sizeof buf, " %s 0x%08x", kAlarmWords[w], word(s, QSFP_COH_STATUS_ALARMS + w));
        out << buf;
    }
    out << "\n\n";
    if (!measured(s)) {
        out << "no performance data yet\n";
        return;
    }
    TextTable table({"PARAMETER", "UNIT", "CURRENT", "AVERAGE", "MINIMUM", "MAXIMUM"});
    for (std::size_t p = 0; p < std::size(kParameters); ++p) {
        const Parameter &param = kParameters[p];
        const std::string current = p < COH_SDK_PM_CURRENT
                                        ? text(param.decimals, value(s, QSFP_COH_STATUS_PM_CURRENT + static_cast<std::uint32_t>(p)))
                                        : "-";
        table.add({param.name, param.unit, current, text(param.decimals, stat(s, p, 0)),
                   text(param.decimals, stat(s, p, 1)), text(param.decimals, stat(s, p, 2))});
    }
    table.print(out);
}

nlohmann::json coherent_json(const qsfp_hw_status &s) {
    nlohmann::json alarms = nlohmann::json::object();
    for (std::uint32_t w = 0; w < QSFP_COH_STATUS_ALARM_WORDS; ++w) {
        alarms[kAlarmWords[w]] = word(s, QSFP_COH_STATUS_ALARMS + w);
    }
    nlohmann::json performance = nlohmann::json::array();
    if (measured(s)) {
        for (std::size_t p = 0; p < std::size(kParameters); ++p) {
            nlohmann::json entry = {{"name", kParameters[p].name},
                                    {"unit", kParameters[p].unit},
                                    {"average", json_number(stat(s, p, 0))},
                                    {"minimum", json_number(stat(s, p, 1))},
                                    {"maximum", json_number(stat(s, p, 2))}};
            if (p < COH_SDK_PM_CURRENT) {
                entry["current"] = json_number(value(s, QSFP_COH_STATUS_PM_CURRENT + static_cast<std::uint32_t>(p)));
            }
            performance.push_back(entry);
        }
    }
    const DspState d = dsp_state(s);
    return {{"module_state", d.module_state},
            {"laser_on", d.laser_on},
            {"signal_locked", d.signal_locked},
            {"frames_aligned", d.frames_aligned},
            {"tx_disabled", s.tx_disabled[0] != 0},
            {"alarms", alarms},
            {"performance", performance}};
}

}  // namespace qsfpctl
