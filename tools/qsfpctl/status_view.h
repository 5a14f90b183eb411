// The library's live status record (qsfp_port_hw_status) as the tool shows
// it: every monitored quantity beside its thresholds and latched flags, for
// `status`, `watch` and `metrics` alike.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <qsfp/qsfp_records.h>

#include "command_context.h"

namespace qsfpctl {

// One monitored quantity: its value, thresholds and the four latched flags.
struct Monitor {
    std::string name;
    std::string unit;
    int decimals;
    float value;
    float low_alarm, low_warning, high_warning, high_alarm;
    std::uint32_t flags[4];  // high alarm, low alarm, high warning, low warning
};

std::vector<Monitor> module_monitors(const qsfp_hw_status &s);
std::vector<Monitor> lane_monitors(const qsfp_hw_status &s, std::uint32_t lane_index);

struct MonitorRow {
    std::uint32_t lane;  // 0: the module
    Monitor monitor;
};
// The module's monitors, then each lane's.
std::vector<MonitorRow> all_monitors(const qsfp_hw_status &s);

// The monitor table and the lane-state table; with `colour`, rows with a
// raised alarm in red and with a warning in yellow (ANSI).
void print_status(Context &ctx, const qsfp_hw_status &s, bool colour);

// Why an open port has no monitors to read ("" when it has): a module
// whose bring-up stopped, or a flat-memory cable.
std::string no_monitors_reason(const OpenPort &port);
// The port of `cage` if it has monitors to read: a module whose bring-up
// stopped or a flat-memory cable has none (says why, sets `exit_code`).
const OpenPort *monitored_port(Context &ctx, const std::string &cage, int &exit_code);
// Fills `status`; answers kExitOk or the exit code, having said why.
int live_status(Context &ctx, const OpenPort &port, qsfp_hw_status &status);

}  // namespace qsfpctl
