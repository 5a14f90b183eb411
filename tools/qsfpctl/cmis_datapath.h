// Where the datapaths of a QSFP-DD port stand, read through the library's
// port access (CMIS page 11h bytes 128-131, a nibble per lane).
#pragma once

#include <optional>

#include "port_session.h"

namespace qsfpctl {

struct DatapathCount {
    int activated = 0;    // DPActivated
    int deactivated = 0;  // DPDeactivated
};

// nullopt when the states cannot be read.
std::optional<DatapathCount> datapath_count(const OpenPort &port);

// Waits (the library's clock: usleep) until every datapath is deactivated,
// at most the longest DataPathDeinit a module may advertise; false if not.
bool wait_datapaths_deactivated(const OpenPort &port);

// Waits until the datapaths the module initialises are activated (the
// others deactivated), at most the longest DataPathInit a module may
// advertise; false if not.
bool wait_datapaths_activated(const OpenPort &port);

}  // namespace qsfpctl
