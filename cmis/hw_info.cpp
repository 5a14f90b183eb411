// The inventory slot: the record bring-up filled, handed out whole. Nothing
// is read from the module.
#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

std::uint32_t get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (info == nullptr) {
        trace_err(port, "QSFP get hw info Null parameters\n");
        return QSFP_ERR_INVALID;
    }
    *info = port->hw_info;
    return QSFP_OK;
}

}  // namespace qsfp::cmis
