// Who is in a cage: from the library's inventory record for an SFF-8636
// port, or, for a module whose driver has no inventory yet (CMIS), from its
// identifier and page 00h text fields read through the library's port access.
#pragma once

#include <cstdint>
#include <string>

#include <qsfp/qsfp_records.h>

#include "port_session.h"

namespace qsfpctl {

struct ModuleIdentity {
    std::uint32_t rc = 0;            // of the inventory or register reads
    std::uint8_t identifier = 0;     // lower byte 0
    std::string form_factor;         // from the identifier
    std::uint32_t type_code = 0;     // the driver's module type (0: none)
    std::string type;                // the driver's type text, else the form factor
    std::string vendor;
    std::string part_number;
    std::string serial;
    std::uint32_t rate_gbps = 0;
};

ModuleIdentity identify(const OpenPort &port);

// "QSFP28" for 0x11; "unknown (0x42)" for codes the tool does not name.
std::string form_factor_name(std::uint8_t identifier);

}  // namespace qsfpctl
