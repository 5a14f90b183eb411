// The module's type code and string, classified again on demand while unknown.
#include <cstdio>

#include <qsfp/qsfp_sff8636.h>

#include "framework/trace.h"
#include "sff8636/state.h"
#include "sff8636/sff8636_regs.h"

using namespace qsfp::sff8636;

extern "C" uint32_t qsfp_port_get_type(qsfp_port_ctx *port, uint32_t *type, char *name, uint32_t name_len,
                                       uint32_t *korva) {
    if (port == nullptr) {
        trace_lib_err("QSFP Get Type : NULL Qsfp Port");
        return QSFP_ERR_INVALID;
    }
    if (type == nullptr || korva == nullptr) {
        trace_err(port, "QSFP Get type Null parameters");
        return QSFP_ERR_INVALID;
    }
    if (port->hw_info.qsfp_type == 0) {
        std::uint8_t page00[kHalfPage] = {};
        if (const std::uint32_t rc = qsfp_access(port, kHalfPage, kHalfPage, kPage00, page00, QSFP_ACCESS_READ);
            rc != QSFP_OK) {
            trace_err(port, "QSFP get type upper page0 data : Read error");
            return rc;
        }
        if (const std::uint32_t rc = qsfp_identify_type(port, page00); rc != QSFP_OK) {
            trace_err(port, "QSFP get optics type, error 0x%x", rc);
            return rc;
        }
    }
    *type = port->hw_info.qsfp_type;
    if (name != nullptr && name_len != 0) {
        std::snprintf(name, name_len, "%s", port->hw_info.qsfp_type_str);
    }
    *korva = state(port).is_korva_qualified;
    return QSFP_OK;
}
