// What bring-up found the coherent module to be, and whether the port is
// coherent-managed.
#include <cstdio>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

std::uint32_t get_type(qsfp_port_ctx *port, std::uint32_t *type, char *name, std::uint32_t name_len,
                       std::uint32_t *flag) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (type == nullptr) {
        trace_err(port, "QSFP Get type Null parameters\n");
        return QSFP_ERR_INVALID;
    }
    *type = port->hw_info.qsfp_type;
    if (name != nullptr && name_len != 0) {
        std::snprintf(name, name_len, "%s", port->hw_info.qsfp_type_str);
    }
    if (flag != nullptr) {
        *flag = state(port).cmis.coherent;
    }
    return QSFP_OK;
}

}  // namespace qsfp::coherent
