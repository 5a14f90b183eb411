// Vendor-name tests of the quirks some makers' modules need.
#include <cstring>

#include "cmis/driver.h"

namespace qsfp::cmis {

bool vendor_begins(const qsfp_port_ctx *port, const char *prefix) {
    return std::strncmp(port->hw_info.vendor_name, prefix, std::strlen(prefix)) == 0;
}

bool vendor_contains(const qsfp_port_ctx *port, const char *part) {
    return std::strstr(port->hw_info.vendor_name, part) != nullptr;
}

}  // namespace qsfp::cmis
