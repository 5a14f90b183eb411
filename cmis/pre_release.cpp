// Modules that shipped before CMIS settled on its memory map report revision
// 03h, 04h or 07h and keep their identity at offsets of their own.
#include <cstring>

#include "cmis/bring_up.h"
#include "cmis/identity.h"
#include "cmis/state.h"
#include "cmis/type_tables.h"
#include "framework/trace.h"
#include "framework/units.h"

namespace qsfp::cmis {

namespace {

constexpr IdentityLayout kPre03Layout = {pre03::kVendorName, pre03::kVendorOui, pre03::kVendorPart,
                                         pre03::kVendorRev,  pre03::kVendorSerial, pre03::kDateCode};
constexpr IdentityLayout kPre07Layout = {pre07::kVendorName, pre07::kVendorOui, pre07::kVendorPart,
                                         pre07::kVendorRev,  pre07::kVendorSerial, pre07::kDateCode};
constexpr const char *kCopperDescription = "QSFPDD 400G PASSIVE COPPER";
constexpr const char *kPre07Maker = "Molex";

// The cable PIDs by length in metres.
const char *copper_pid(std::uint8_t metres) {
    switch (metres) {
    case 1: return "HDX-400G-CU1M";
    case 2: return "HDX-400G-CU2M";
    case 3: return "HDX-400G-CU3M";
    default: return "HDX-400G-CUxM";
    }
}

void passive_copper(qsfp_port_ctx *port, std::uint8_t metres) {
    port->is_copper = 1;
    port->flat_mem = 1;
    state(port).passive = 1;
    set_pid(port, copper_pid(metres));
    set_description(port, kCopperDescription);
    port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_COPPER;
}

std::uint32_t bring_up_pre03(qsfp_port_ctx *port, const std::uint8_t *id) {
    if (id[pre03::kCopperMark] == pre03::kCopper) {
        passive_copper(port, id[pre03::kCableLength]);
    }
    copy_identity(port, id, kPre03Layout);
    set_revision_vid(port, state(port).revision);
    return QSFP_OK;
}

// Revision 04h modules are loopback plugs with temperature and supply
// thresholds only.
std::uint32_t bring_up_pre04(qsfp_port_ctx *port, const std::uint8_t *id) {
    copy_identity(port, id, kMainLayout);
    set_revision_vid(port, state(port).revision);
    std::uint8_t temp[kThresholdQuadBytes];
    std::uint32_t rc = qsfp_access(port, kTempThresholds, sizeof temp, kPage02, temp, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 2 Temp Threshold (bytes 0x%x) Read error\n", kTempThresholds);
        return rc;
    }
    std::uint8_t vcc[kVccAlarmThresholdBytes];
    rc = qsfp_access(port, kVccAlarmThresholds, sizeof vcc, kPage02, vcc, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 2 Vcc Threshold (bytes 0x%x) Read error\n", kVccAlarmThresholds);
        return rc;
    }
    save_temperature_thresholds(port, temp);
    port->thresholds.vcc_high_alarm = units::vcc_v(units::word_at(vcc));
    port->thresholds.vcc_low_alarm = units::vcc_v(units::word_at(vcc + 2));
    port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK;
    set_pid(port, "HDX-400G-LB-V");
    set_description(port, kPassiveLoopbackDescription);
    state(port).dom_support = kDomModuleOnly;
    state(port).passive = 1;
    return QSFP_OK;
}

std::uint32_t bring_up_pre07(qsfp_port_ctx *port, const std::uint8_t *id) {
    if (std::memcmp(id + pre07::kVendorName, kPre07Maker, std::strlen(kPre07Maker)) != 0) {
        trace_evt(port, "Not Molex\n");
        return unsupported_module(port);
    }
    if (id[pre07::kDeviceTech] != pre07::kCopper) {
        trace_evt(port, "Molex.  But device tech(0x%x) is not copper\n", id[pre07::kDeviceTech]);
        return unsupported_module(port);
    }
    passive_copper(port, id[pre07::kCableLength]);
    copy_identity(port, id, kPre07Layout);
    set_revision_vid(port, state(port).revision);
    return QSFP_OK;
}

}  // namespace

bool is_pre_release(std::uint8_t revision) {
    return revision == kRevisionPre03 || revision == kRevisionPre04 || revision == kRevisionPre07;
}

std::uint32_t bring_up_pre_release(qsfp_port_ctx *port, const std::uint8_t *id) {
    switch (state(port).revision) {
    case kRevisionPre03: return bring_up_pre03(port, id);
    case kRevisionPre04: return bring_up_pre04(port, id);
    default: return bring_up_pre07(port, id);
    }
}

}  // namespace qsfp::cmis
