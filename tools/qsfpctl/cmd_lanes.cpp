// `enable` / `disable`: an admin-state change of lanes, as a port manager
// makes it, then the transmitters' state as the module reports it.
#include <nlohmann/json.hpp>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "status_summary.h"

namespace qsfpctl {

namespace {

constexpr std::uint32_t kSff8636AllLanes = 0x0F;
constexpr std::uint32_t kAllLanes = 0xFF;

std::string mask_text(std::uint32_t mask) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%02x", mask);
    return text;
}

}  // namespace

int cmd_lanes(Context &ctx, const std::string &cage, const std::string &lanes_text, bool enable, bool json) {
    int exit_code = kExitOk;
    std::optional<std::uint32_t> lanes;
    if (!lanes_text.empty()) {
        lanes = number_arg(ctx, lanes_text, "lane mask", 1, kAllLanes, exit_code);
        if (!lanes) return exit_code;
    }
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    const std::uint32_t mask = lanes.value_or(port->driver == DriverKind::sff8636 ? kSff8636AllLanes : kAllLanes);
    // Admin state: from up to down disables, from down to up enables.
    const std::uint32_t rc = enable ? qsfp_port_admin_state(port->handle, 0, 1, mask)
                                    : qsfp_port_admin_state(port->handle, 1, 0, mask);
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + cage + ": " + (enable ? "enable" : "disable") + " of lanes " +
                                                mask_text(mask) + " failed: " + rc_text(rc));
    }
    qsfp_hw_status status{};
    const std::uint32_t status_rc = qsfp_port_hw_status(port->handle, &status);
    nlohmann::json tx_disabled = nlohmann::json::array();
    std::string disabled_text;
    if (status_rc == QSFP_OK) {
        for (std::uint32_t i = 0; i < status_lanes(status); ++i) {
            tx_disabled.push_back(status.tx_disabled[i] != 0);
            disabled_text += status.tx_disabled[i] != 0 ? " off" : " on";
        }
    }
    if (json) {
        nlohmann::json j = {{"cage", port->cage}, {"lanes", mask}, {"enabled", enable}, {"rc", rc}};
        j["tx_on"] = nlohmann::json::array();
        for (const auto &off : tx_disabled) j["tx_on"].push_back(!off.get<bool>());
        ctx.out << json_text(j) << '\n';
        return kExitOk;
    }
    ctx.out << "cage " << port->cage << ": lanes " << mask_text(mask) << (enable ? " enabled" : " disabled") << '\n';
    if (status_rc == QSFP_OK) {
        ctx.out << "transmitters by lane:" << disabled_text << '\n';
    } else {
        ctx.out << "transmitters: no live status (" << rc_text(status_rc) << ")\n";
    }
    return kExitOk;
}

}  // namespace qsfpctl
