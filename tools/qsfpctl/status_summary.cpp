#include "status_summary.h"

namespace qsfpctl {

namespace {

constexpr std::uint32_t kDefaultLanes = 4;
constexpr std::uint32_t kLaneCountMask = 0xFF;

}  // namespace

std::uint32_t status_lanes(const qsfp_hw_status &status) {
    const std::uint32_t lanes = status.media_type & kLaneCountMask;
    if (lanes == 0) return kDefaultLanes;
    return lanes > QSFP_STATUS_LANES ? QSFP_STATUS_LANES : lanes;
}

FlagSummary summarize(const qsfp_hw_status &s) {
    FlagSummary f;
    for (std::uint32_t i = 0; i < status_lanes(s); ++i) {
        f.alarm = f.alarm || s.tx_fault[i] || s.tx_power_high_alarm[i] || s.tx_power_low_alarm[i] ||
                  s.rx_power_high_alarm[i] || s.rx_power_low_alarm[i] || s.tx_bias_high_alarm[i] ||
                  s.tx_bias_low_alarm[i];
        f.warning = f.warning || s.tx_power_high_warning[i] || s.tx_power_low_warning[i] ||
                    s.rx_power_high_warning[i] || s.rx_power_low_warning[i] || s.tx_bias_high_warning[i] ||
                    s.tx_bias_low_warning[i];
        f.rx_los = f.rx_los || s.rx_los[i];
        f.tx_off += s.tx_disabled[i] != 0 ? 1 : 0;
    }
    f.alarm = f.alarm || s.temp_flags[0] || s.temp_flags[1] || s.vcc_flags[0] || s.vcc_flags[1];
    f.warning = f.warning || s.temp_flags[2] || s.temp_flags[3] || s.vcc_flags[2] || s.vcc_flags[3];
    return f;
}

std::string flag_words(std::uint32_t high_alarm, std::uint32_t low_alarm, std::uint32_t high_warning,
                       std::uint32_t low_warning) {
    std::string words;
    const auto add = [&words](std::uint32_t flag, const char *word) {
        if (flag != 0) words += (words.empty() ? "" : ", ") + std::string(word);
    };
    add(high_alarm, "high alarm");
    add(low_alarm, "low alarm");
    add(high_warning, "high warning");
    add(low_warning, "low warning");
    return words.empty() ? "-" : words;
}

}  // namespace qsfpctl
