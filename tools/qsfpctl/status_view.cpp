#include "status_view.h"

#include <sstream>

#include <nlohmann/json.hpp>

#include <qsfp/qsfp_port_ops.h>

#include "coherent_view.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "status_summary.h"
#include "text_table.h"

namespace qsfpctl {

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

std::vector<MonitorRow> all_monitors(const qsfp_hw_status &s) {
    std::vector<MonitorRow> rows;
    for (const Monitor &m : module_monitors(s)) rows.push_back({0, m});
    // A coherent port's optical readings are the DSP's, not lane monitors.
    for (std::uint32_t i = 0; !has_coherent_section(s) && i < status_lanes(s); ++i) {
        for (const Monitor &m : lane_monitors(s, i)) rows.push_back({i + 1, m});
    }
    return rows;
}

namespace {

std::string where(const MonitorRow &row) { return row.lane == 0 ? "module" : "lane " + std::to_string(row.lane); }

// ANSI colours of a terminal: alarms red, warnings yellow.
constexpr const char *kAlarmColour = "\x1b[1;31m";
constexpr const char *kWarningColour = "\x1b[33m";
constexpr const char *kPlain = "\x1b[0m";

const char *row_colour(const Monitor &m) {
    if (m.flags[0] != 0 || m.flags[1] != 0) return kAlarmColour;
    if (m.flags[2] != 0 || m.flags[3] != 0) return kWarningColour;
    return nullptr;
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

// The monitor table; with `colour`, each row with a raised flag in its colour.
void print_monitors(std::ostream &out, const std::vector<MonitorRow> &rows, bool colour) {
    TextTable monitors({"WHERE", "QUANTITY", "VALUE", "LOW ALARM", "LOW WARN", "HIGH WARN", "HIGH ALARM", "FLAGS"});
    for (const MonitorRow &row : rows) monitors.add(monitor_row(where(row), row.monitor));
    std::ostringstream text;
    monitors.print(text);
    std::istringstream lines(text.str());
    std::string line;
    std::getline(lines, line);
    out << line << '\n';
    for (const MonitorRow &row : rows) {
        std::getline(lines, line);
        const char *c = colour ? row_colour(row.monitor) : nullptr;
        out << (c != nullptr ? c : "") << line << (c != nullptr ? kPlain : "") << '\n';
    }
}

}  // namespace

void print_status(Context &ctx, const qsfp_hw_status &s, bool colour) {
    print_monitors(ctx.out, all_monitors(s), colour);
    ctx.out << '\n';
    if (has_coherent_section(s)) {
        print_coherent(ctx.out, s);
        return;
    }
    const std::uint32_t lanes = status_lanes(s);
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

namespace {

nlohmann::json status_json(std::size_t cage, const qsfp_hw_status &s) {
    nlohmann::json module = nlohmann::json::object();
    for (const Monitor &m : module_monitors(s)) module[m.name] = monitor_json(m);
    nlohmann::json lanes = nlohmann::json::array();
    if (has_coherent_section(s)) {
        return {{"cage", cage}, {"module", module}, {"lanes", lanes}, {"coherent", coherent_json(s)}};
    }
    for (std::uint32_t i = 0; i < status_lanes(s); ++i) {
        nlohmann::json lane = {{"lane", i + 1}};
        for (const Monitor &m : lane_monitors(s, i)) lane[m.name] = monitor_json(m);
        for (const LaneStates &state : kLaneStates) lane[state.name] = (s.*state.values)[i] != 0;
        lanes.push_back(lane);
    }
    return {{"cage", cage}, {"module", module}, {"lanes", lanes}};
}

}  // namespace

std::string no_monitors_reason(const OpenPort &port) {
    const std::string cage = std::to_string(port.cage);
    if (port.driver == DriverKind::sff8636 && port.create_rc != QSFP_OK) {
        return "cage " + cage + ": the module's bring-up failed, so it has no live status: " + rc_text(port.create_rc);
    }
    // SFF-8636 or CMIS alike: a flat-memory cable's record would hold zeros.
    if (port.driver != DriverKind::none && port.handle->flat_mem != 0) {
        return "cage " + cage + " holds a flat-memory module (a passive cable): it has no monitors";
    }
    return "";
}

const OpenPort *monitored_port(Context &ctx, const std::string &cage, int &exit_code) {
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return nullptr;
    }
    // A port whose bring-up stopped has no thresholds or monitor set-up, and
    // a flat-memory module no monitors: their status records would hold
    // zeros, not readings.
    if (const std::string why = no_monitors_reason(*port); !why.empty()) {
        exit_code = fail(ctx, port->create_rc != QSFP_OK ? exit_code_for(port->create_rc) : kExitNotSupported, why);
        return nullptr;
    }
    return port;
}

int live_status(Context &ctx, const OpenPort &port, qsfp_hw_status &status) {
    const std::uint32_t rc = qsfp_port_hw_status(port.handle, &status);
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + std::to_string(port.cage) + ": no live status: " + rc_text(rc));
    }
    return kExitOk;
}

int cmd_status(Context &ctx, const std::string &cage, bool json) {
    int exit_code = kExitOk;
    const OpenPort *port = monitored_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    qsfp_hw_status status{};
    if (const int code = live_status(ctx, *port, status); code != kExitOk) {
        return code;
    }
    if (json) {
        ctx.out << json_text(status_json(port->cage, status)) << '\n';
    } else {
        print_status(ctx, status, false);
    }
    return kExitOk;
}

}  // namespace qsfpctl
