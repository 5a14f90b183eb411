// The pieces of CMIS bring-up that live apart from its main sequence.
#pragma once

#include <cstdint>

#include <qsfp/qsfp_port.h>

#include "cmis/cmis_regs.h"
#include "cmis/identity.h"

namespace qsfp::cmis {

inline constexpr IdentityLayout kMainLayout = {kVendorName, kVendorOui, kVendorPart,
                                               kVendorRev,  kVendorSerial, kDateCode};
inline constexpr const char *kPassiveLoopbackDescription = "QSFPDD 400G PASSIVE LB";

// A module of no known kind keeps its port, typed 0, for reads.
std::uint32_t unsupported_module(qsfp_port_ctx *port);

bool is_pre_release(std::uint8_t revision);
std::uint32_t bring_up_pre_release(qsfp_port_ctx *port, const std::uint8_t *id);

// Threshold quads of page 02h in engineering units: `module` is bytes
// 128-175, `lane` bytes 176-199; only the groups `dom_support` names (and
// temperature) are converted.
void save_thresholds(qsfp_port_ctx *port, const std::uint8_t *module, const std::uint8_t *lane,
                     std::uint8_t dom_support);
// Bytes 128-135 alone.
void save_temperature_thresholds(qsfp_port_ctx *port, const std::uint8_t *temperature);

}  // namespace qsfp::cmis
