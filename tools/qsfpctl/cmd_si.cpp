// `si`: per-lane signal-integrity targets of a CMIS module through the
// library's SI operation (qsfp_modify_si_values), which records them in the
// port and applies them with the application; then the module's active
// control set (CMIS page 11h) as the module now holds it.
#include <algorithm>
#include <array>

#include <nlohmann/json.hpp>
#include <qsfp/qsfp_port_ops.h>

#include "cmis_datapath.h"
#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "text_table.h"

namespace qsfpctl {

namespace {

constexpr std::uint32_t kLanes = 8;
constexpr std::uint32_t kAllLanes = 0xFF;
constexpr std::uint32_t kMaxTarget = 15;  // one nibble per lane
// CMIS page 11h: the active control set, bytes 214-234 (Tx 214-221, Rx 222-234).
constexpr std::uint32_t kActiveSetPage = 0x11;
constexpr std::uint32_t kActiveSetFirst = 214;
constexpr std::uint32_t kActiveSetBytes = 21;

// A group of targets: its option, its column, where its four bytes (lanes
// 2k+1 and 2k+2 in the low and high nibble of byte k) are in the active set.
struct SiGroup {
    std::string SiArgs::*option;
    const char *name;
    const char *heading;
    const char *json_key;
    std::uint32_t first;  // CMIS page 11h byte
};

constexpr std::array kGroups = {
    SiGroup{&SiArgs::tx_eq, "--tx-eq", "TX EQ", "tx_eq", 217},
    SiGroup{&SiArgs::rx_pre, "--rx-pre", "RX PRE-CURSOR", "rx_pre_cursor", 223},
    SiGroup{&SiArgs::rx_post, "--rx-post", "RX POST-CURSOR", "rx_post_cursor", 227},
    SiGroup{&SiArgs::rx_amp, "--rx-amp", "RX AMPLITUDE", "rx_amplitude", 231},
};
static_assert(kGroups.back().first + kLanes / 2 == kActiveSetFirst + kActiveSetBytes);

struct Request {
    std::array<std::uint8_t, kGroups.size()> bitmap{};
    std::array<std::array<std::uint8_t, QSFP_MAX_LANES>, kGroups.size()> values{};
};

bool parse_request(Context &ctx, const SiArgs &args, Request &request, int &exit_code) {
    std::uint32_t lanes = 0xFF;
    if (!args.lanes.empty()) {
        const auto mask = number_arg(ctx, args.lanes, "lane mask", 1, 0xFF, exit_code);
        if (!mask) return false;
        lanes = *mask;
    }
    for (std::size_t g = 0; g < kGroups.size(); ++g) {
        const std::string &text = args.*kGroups[g].option;
        if (text.empty()) continue;
        const auto value = number_arg(ctx, text, kGroups[g].name, 0, kMaxTarget, exit_code);
        if (!value) return false;
        request.bitmap[g] = static_cast<std::uint8_t>(lanes);
        for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
            request.values[g][lane] = static_cast<std::uint8_t>(*value);
        }
    }
    return true;
}

using ActiveSet = std::array<std::uint8_t, kActiveSetBytes>;

// A lane's target of a group: the low nibble for odd lanes (1, 3 ...), the high for even.
std::uint32_t target(const ActiveSet &set, const SiGroup &group, std::uint32_t lane) {
    const std::uint8_t byte = set[group.first - kActiveSetFirst + lane / 2];
    return lane % 2 == 0 ? byte & 0x0Fu : byte >> 4u;
}

void print_active_set(Context &ctx, const std::string &cage, const ActiveSet &set) {
    ctx.out << "cage " << cage << ": active signal-integrity targets (CMIS page 11h)\n";
    std::vector<std::string> headings = {"LANE"};
    for (const SiGroup &g : kGroups) headings.emplace_back(g.heading);
    TextTable table(headings);
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        std::vector<std::string> row = {std::to_string(lane + 1)};
        for (const SiGroup &g : kGroups) row.push_back(std::to_string(target(set, g, lane)));
        table.add(row);
    }
    table.print(ctx.out);
}

void print_active_set_json(Context &ctx, std::size_t cage, const ActiveSet &set) {
    nlohmann::json lanes = nlohmann::json::array();
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        nlohmann::json row = {{"lane", lane + 1}};
        for (const SiGroup &g : kGroups) row[g.json_key] = target(set, g, lane);
        lanes.push_back(row);
    }
    ctx.out << json_text({{"cage", cage}, {"lanes", lanes}}) << '\n';
}

std::uint32_t modify(const OpenPort &port, Request &request) {
    return qsfp_modify_si_values(port.handle, request.bitmap[0], request.values[0].data(), request.bitmap[1],
                                 request.values[1].data(), request.bitmap[2], request.values[2].data(),
                                 request.bitmap[3], request.values[3].data());
}

// A CMIS module rejects new SI values for datapaths in use
// (ConfigRejectedInUse): when any is activated, the port's lanes go down for
// the change and come up again with the values, as a port manager does it.
int apply(Context &ctx, const OpenPort &port, Request &request) {
    const std::string cage = std::to_string(port.cage);
    const std::optional<DatapathCount> datapaths = datapath_count(port);
    const bool in_use = datapaths && datapaths->activated > 0;
    if (in_use) {
        qsfp_port_admin_state(port.handle, 1, 0, kAllLanes);
        if (!wait_datapaths_deactivated(port)) {
            qsfp_port_admin_state(port.handle, 0, 1, kAllLanes);
            return fail(ctx, kExitLibraryError, "cage " + cage + ": the datapaths did not deactivate for the change");
        }
    }
    const std::uint32_t rc = modify(port, request);
    const std::uint32_t up_rc = in_use ? qsfp_port_admin_state(port.handle, 0, 1, kAllLanes) : QSFP_OK;
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + cage + ": the SI targets were not applied: " + rc_text(rc));
    }
    if (up_rc != QSFP_OK) {
        return fail(ctx, exit_code_for(up_rc),
                    "cage " + cage + ": SI targets applied, but the lanes did not come up: " + rc_text(up_rc));
    }
    return kExitOk;
}

}  // namespace

int cmd_si(Context &ctx, const SiArgs &args) {
    int exit_code = kExitOk;
    Request request;
    if (!parse_request(ctx, args, request, exit_code)) return exit_code;
    const OpenPort *port = open_port(ctx, args.cage, exit_code);
    if (port == nullptr) return exit_code;
    const bool change = std::any_of(request.bitmap.begin(), request.bitmap.end(), [](std::uint8_t b) { return b != 0; });
    if (port->driver != DriverKind::cmis) {
        return fail(ctx, kExitNotSupported,
                    "cage " + args.cage + ": SI targets are a CMIS feature; this module's driver is " +
                        driver_name(port->driver));
    }
    if (change) {
        if (const int code = apply(ctx, *port, request); code != kExitOk) return code;
    }
    ActiveSet set{};
    const std::uint32_t rc = qsfp_port_read(port->handle, kActiveSetFirst, kActiveSetPage, kActiveSetBytes, set.data());
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + args.cage + ": the active SI set could not be read: " + rc_text(rc));
    }
    if (args.json) {
        print_active_set_json(ctx, port->cage, set);
    } else {
        print_active_set(ctx, args.cage, set);
    }
    return kExitOk;
}

}  // namespace qsfpctl
