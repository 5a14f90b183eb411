// The admin-state callback asked before every step of an observation period.
#include "framework/observation.h"

#include "framework/trace.h"
#include "framework/wait.h"

namespace qsfp::framework {

namespace {

constexpr std::uint32_t kAdminQuery = 0;
constexpr std::uint32_t kChangeInProgress = 1;

bool admin_change_pending(qsfp_port_ctx *port) {
    if (port->admin_state_notify == nullptr) {
        return false;
    }
    std::uint32_t answer = 0;
    port->admin_state_notify(port->controller, port->port, kAdminQuery, &answer);
    if (answer != kChangeInProgress) {
        return false;
    }
    trace_evt(port, "Admin State Notfn ProcessingReceived for port %d ctrl %d", port->port, port->controller);
    return true;
}

}  // namespace

bool observe(qsfp_port_ctx *port, std::uint32_t steps, std::uint32_t step_us) {
    for (std::uint32_t step = 0; step < steps; ++step) {
        if (admin_change_pending(port)) {
            return false;
        }
        wait_us(step_us);
    }
    return true;
}

}  // namespace qsfp::framework
