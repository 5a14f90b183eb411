// What bring-up found the coherent module to be, and whether the port is
// coherent-managed: the CMIS answer, with the coherent flag as the flag.
#include "cmis/driver.h"
#include "coherent/coherent.h"

namespace qsfp::coherent {

std::uint32_t get_type(qsfp_port_ctx *port, std::uint32_t *type, char *name, std::uint32_t name_len,
                       std::uint32_t *flag) {
    const std::uint32_t rc = cmis::get_type(port, type, name, name_len, nullptr);
    if (rc == QSFP_OK && flag != nullptr) {
        *flag = state(port).cmis.coherent;
    }
    return rc;
}

}  // namespace qsfp::coherent
