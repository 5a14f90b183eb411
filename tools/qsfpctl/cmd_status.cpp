// `status`: the library's live status record as tables, each value beside
// its thresholds and flags.
#include <nlohmann/json.hpp>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "status_summary.h"
#include "text_table.h"

namespace qsfpctl {

namespace {

// One monitored quantity: its value, thresholds and the four latched flags.
struct Monitor {
    std::string name;
    std::string unit;
    int decimals;
    double value;
    float low_alarm, low_warning, high_warning, high_alarm;
    std::uint32_t flags[4];  // high alarm, low alarm, high warning, low warning
};

std::vector<Monitor> module_monitors(const qsfp_hw_status &s) {
    const qsfp_threshold_data &t = s.thresholds;
    return {
        {"temperature", "C", 2, s.temperature, t.temp_low_alarm, t.temp_low_warning, t.temp_high_warning,
         t.temp_high_alarm, {s.temp_flags[0], s.temp_flags[1], s.temp_flags[2], s.temp_flags[3]}},
        {"vcc", "V", 3, s.vcc, t.vcc_low_alarm, t.vcc_low_warning, t.vcc_high_warning, t.vcc_high_alarm,
         {s.vcc_flags[0], s.vcc_flags[1], s.vcc_flags[2], s.vcc_flags[3]}},
    };
}

std::vector<Monitor> lane_monitors(const qsfp_hw_status &s, std::uint32_t i) {
    const qsfp_threshold_data &t = s.thresholds;
    return {
        {"rx_power", "dBm", 2, s.rx_power_dbm[i], t.rx_power_low_alarm, t.rx_power_low_warning,
         t.rx_power_high_warning, t.rx_power_high_alarm,
         {s.rx_power_high_alarm[i], s.rx_power_low_alarm[i], s.rx_power_high_warning[i], s.rx_power_low_warning[i]}},
        {"tx_power", "dBm", 2, s.tx_power_dbm[i], t.tx_power_low_alarm, t.tx_power_low_warning,
         t.tx_power_high_warning, t.tx_power_high_alarm,
         {s.tx_power_high_alarm[i], s.tx_power_low_alarm[i], s.tx_power_high_warning[i], s.tx_power_low_warning[i]}},
        {"tx_bias", "mA", 2, s.tx_bias_ma[i], t.bias_low_alarm, t.bias_low_warning, t.bias_high_warning,
         t.bias_high_alarm,
         {s.tx_bias_high_alarm[i], s.tx_bias_low_alarm[i], s.tx_bias_high_warning[i], s.tx_bias_low_warning[i]}},
    };
}

std::vector<std::string> monitor_row(const std::string &where, const Monitor &m) {
    return {where,
            m.name + " " + m.unit,
            fixed(m.value, m.decimals),
            fixed(m.low_alarm, m.decimals),
            fixed(m.low_warning, m.decimals),
            fixed(m.high_warning, m.decimals),
            fixed(m.high_alarm, m.decimals),
            flag_words(m.flags[0], m.flags[1], m.flags[2], m.flags[3])};
}

nlohmann::json monitor_json(const Monitor &m) {
    return {{"value", json_number(m.value)},
            {"unit", m.unit},
            {"thresholds",
             {{"low_alarm", json_number(m.low_alarm)},
              {"low_warning", json_number(m.low_warning)},
              {"high_warning", json_number(m.high_warning)},
              {"high_alarm", json_number(m.high_alarm)}}},
            {"flags",
             {{"high_alarm", m.flags[0] != 0},
              {"low_alarm", m.flags[1] != 0},
              {"high_warning", m.flags[2] != 0},
              {"low_warning", m.flags[3] != 0}}}};
}

struct LaneStates {
    const char *name;
    const std::uint32_t (qsfp_hw_status::*values)[QSFP_STATUS_LANES];
};

constexpr LaneStates kLaneStates[] = {
    {"tx_disabled", &qsfp_hw_status::tx_disabled}, {"rx_los", &qsfp_hw_status::rx_los},
    {"tx_los", &qsfp_hw_status::tx_los},           {"tx_fault", &qsfp_hw_status::tx_fault},
    {"rx_cdr_lol", &qsfp_hw_status::rx_cdr_lol},   {"tx_cdr_lol", &qsfp_hw_status::tx_cdr_lol},
};

void print_tables(Context &ctx, const qsfp_hw_status &s) {
    TextTable monitors({"WHERE", "QUANTITY", "VALUE", "LOW ALARM", "LOW WARN", "HIGH WARN", "HIGH ALARM", "FLAGS"});
    for (const Monitor &m : module_monitors(s)) monitors.add(monitor_row("module", m));
    const std::uint32_t lanes = status_lanes(s);
    for (std::uint32_t i = 0; i < lanes; ++i) {
        for (const Monitor &m : lane_monitors(s, i)) monitors.add(monitor_row("lane " + std::to_string(i + 1), m));
    }
    monitors.print(ctx.out);
    ctx.out << '\n';
    std::vector<std::string> headings = {"LANE"};
    for (const LaneStates &state : kLaneStates) {
        std::string h = state.name;
        for (char &c : h) c = c == '_' ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        headings.push_back(h);
    }
    TextTable states(headings);
    for (std::uint32_t i = 0; i < lanes; ++i) {
        std::vector<std::string> row = {std::to_string(i + 1)};
        for (const LaneStates &state : kLaneStates) row.push_back((s.*state.values)[i] != 0 ? "yes" : "no");
        states.add(row);
    }
    states.print(ctx.out);
}

nlohmann::json status_json(std::size_t cage, const qsfp_hw_status &s) {
    nlohmann::json module = nlohmann::json::object();
    for (const Monitor &m : module_monitors(s)) module[m.name] = monitor_json(m);
    nlohmann::json lanes = nlohmann::json::array();
    for (std::uint32_t i = 0; i < status_lanes(s); ++i) {
        nlohmann::json lane = {{"lane", i + 1}};
        for (const Monitor &m : lane_monitors(s, i)) lane[m.name] = monitor_json(m);
        for (const LaneStates &state : kLaneStates) lane[state.name] = (s.*state.values)[i] != 0;
        lanes.push_back(lane);
    }
    return {{"cage", cage}, {"module", module}, {"lanes", lanes}};
}

}  // namespace

int cmd_status(Context &ctx, const std::string &cage, bool json) {
    int exit_code = kExitOk;
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    // A port whose bring-up stopped has no thresholds or monitor set-up: its
    // status record would be empty, not the module's.
    if (port->driver == DriverKind::sff8636 && port->create_rc != QSFP_OK) {
        return fail(ctx, exit_code_for(port->create_rc),
                    "cage " + cage + ": the module's bring-up failed, so it has no live status: " +
                        rc_text(port->create_rc));
    }
    // A flat-memory module (a passive cable) has no monitors or thresholds;
    // its status record would hold zeros, not readings.
    if (port->driver == DriverKind::sff8636 && port->handle->flat_mem != 0) {
        return fail(ctx, kExitNotSupported,
                    "cage " + cage + " holds a flat-memory module (a passive cable): it has no monitors");
    }
    qsfp_hw_status status{};
    const std::uint32_t rc = qsfp_port_hw_status(port->handle, &status);
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + cage + ": no live status: " + rc_text(rc));
    }
    if (json) {
        ctx.out << json_text(status_json(port->cage, status)) << '\n';
    } else {
        print_tables(ctx, status);
    }
    return kExitOk;
}

}  // namespace qsfpctl
