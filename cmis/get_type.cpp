// What bring-up found the module to be.
#include <cstdio>

#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

std::uint32_t get_type(qsfp_port_ctx *port, std::uint32_t *type, char *description, std::uint32_t length,
                       std::uint32_t *qualified) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (type == nullptr) {
        trace_err(port, "QSFP Get type Null parameters\n");
        return QSFP_ERR_INVALID;
    }
    *type = port->hw_info.qsfp_type;
    if (description != nullptr && length != 0) {
        std::snprintf(description, length, "%s", port->hw_info.qsfp_type_str);
    }
    if (qualified != nullptr) {
        *qualified = state(port).qualified;
    }
    trace_evt(port, "QSFP type 0x%x\n", port->hw_info.qsfp_type);
    return QSFP_OK;
}

}  // namespace qsfp::cmis
