// `mode`: the driver's check of a port mode against the module.
#include <nlohmann/json.hpp>
#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"

namespace qsfpctl {

int cmd_mode(Context &ctx, const std::string &cage, const std::string &mode_text, bool json) {
    int exit_code = kExitOk;
    const std::optional<std::uint32_t> mode = number_arg(ctx, mode_text, "mode", 0, 0xFFFF, exit_code);
    if (!mode) return exit_code;
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    // The driver answers the empty-slot code also for a mode it refuses, so
    // the table itself says whether the operation exists.
    if (port->handle->fvt.mode_config == nullptr) {
        return fail(ctx, kExitNotSupported, "cage " + cage + ": mode configuration: " +
                                                rc_text(QSFP_ERR_EMPTY_SLOT));
    }
    const std::uint32_t rc = qsfp_port_mode_config(port->handle, *mode);
    std::uint32_t rate = 0;
    qsfp_port_rate(port->handle, &rate);
    if (rc == QSFP_ERR_EMPTY_SLOT) {
        return fail(ctx, kExitLibraryError, "cage " + cage + ": mode " + mode_text + " is not accepted for this " +
                                                std::to_string(rate) + "G module");
    }
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + cage + ": mode " + mode_text + " failed: " + rc_text(rc));
    }
    if (json) {
        ctx.out << json_text({{"cage", port->cage}, {"mode", *mode}, {"accepted", true}, {"rate_gbps", rate}}) << '\n';
    } else {
        ctx.out << "cage " << port->cage << ": mode " << *mode << " accepted (" << rate << "G module)\n";
    }
    return kExitOk;
}

}  // namespace qsfpctl
