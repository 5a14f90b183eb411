// Classification of a module into a type code and type string from its
// compliance bytes: byte 131 bit 7 points at byte 192 (SFF-8636), another
// nonzero byte 131 is an SFF-8436 code, and a zero byte 131 leaves the vendor
// byte 224 to say what the module is.
#include <cstdio>

#include <qsfp/qsfp_sff8636.h>

#include "framework/trace.h"
#include "sff8636/state.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

namespace {

using namespace qsfp::sff8636;

std::uint8_t upper(const std::uint8_t *page00, std::uint32_t addr) { return page00[addr - kHalfPage]; }

void set_type(qsfp_port_ctx *port, std::uint32_t code, const char *text) {
    port->hw_info.qsfp_type = code;
    std::snprintf(port->hw_info.qsfp_type_str, sizeof(port->hw_info.qsfp_type_str), "%s", text);
}

void apply_row(qsfp_port_ctx *port, const TypeRow &row, std::uint32_t key) {
    set_type(port, code_of(row, key), row.text);
    if (row.flag == TypeFlag::copper) {
        port->is_copper = 1;
    } else if (row.flag == TypeFlag::dwdm) {
        port->any_page = 1;
    }
}

// A copper or passive device with no copper length is a passive loopback plug.
bool passive_plug(const std::uint8_t *page00) {
    return (upper(page00, kDeviceTech) & kCopperOrPassive) != 0 && upper(page00, kLengthCopper) == 0;
}

void classify_extended(qsfp_port_ctx *port, const std::uint8_t *page00) {
    const std::uint8_t ext = upper(page00, kExtCompliance);
    trace_evt(port, "SFF-8636 type QSFP, ether_compliance 0x%x extended_compliance 0x%x",
              upper(page00, kEthCompliance), ext);
    const TypeRow *row = ext < kExtendedComplianceLimit ? find_type(kExtendedComplianceTypes, ext) : nullptr;
    if (row != nullptr) {
        apply_row(port, *row, ext);
        return;
    }
    const std::uint8_t vendor = upper(page00, kVendorSpecific224);
    trace_evt(port, "QSFP extended_trans_id val = 0x%x", vendor);
    if (vendor == kSmSr224) {
        set_type(port, kType100GSmSr, kTextSmSr);
    } else {
        set_type(port, kTypeUnknown, kTextUnknown);
    }
    if (passive_plug(page00)) {
        set_type(port, kTypePassiveLoopback, kTextPassiveLoopback);
        port->is_copper = 1;
    }
}

void classify_sff8436(qsfp_port_ctx *port, const std::uint8_t *page00) {
    const std::uint8_t eth = upper(page00, kEthCompliance);
    trace_evt(port, "SFF-8436 type QSFP, ether_compliance 0x%x", eth);
    // A module coded 40G SR4 whose vendor byte says 3 is a 100G loopback plug.
    if (eth == kSr4Compliance && upper(page00, kVendorSpecific224) == kSr4LoopbackMarker) {
        set_type(port, kTypePassiveLoopback, kTextSr4Loopback);
        port->is_copper = 1;
        return;
    }
    if (const TypeRow *row = find_type(kEthernetComplianceTypes, eth)) {
        apply_row(port, *row, eth);
    } else {
        set_type(port, kTypeUnknown, kTextUnknown);
    }
}

void classify_vendor(qsfp_port_ctx *port, const std::uint8_t *page00) {
    const std::uint32_t code = upper(page00, kVendorSpecific224) + kVendorCodeBase;
    trace_evt(port,
              "QSFP  pctx->hw_info.qsfp_type= 0x%x QSFP_TYPE_40G_SR_BD = 0x%x QSFP_TYPE_40G_ER4 = 0x%x "
              "QSFP_TYPE_40G_CSR4 = 0x%x",
              code, 373u, 376u, 369u);
    if (const TypeRow *row = find_type(kVendorCodeTypes, code)) {
        apply_row(port, *row, code);
        return;
    }
    set_type(port, kTypeUnknown, kTextUnknown);
    if (passive_plug(page00) && upper(page00, kLengthSmf) == 0) {
        set_type(port, kTypePassiveLoopback, kTextVendorPassiveLoopback);
        state(port).is_passive_loopback = 1;
    }
}

}  // namespace

extern "C" uint32_t qsfp_identify_type(qsfp_port_ctx *port, const uint8_t *page00) {
    if (port == nullptr) {
        trace_lib_err("QSFP Get Type : NULL Qsfp Port");
        return QSFP_ERR_INVALID;
    }
    if (page00 == nullptr) {
        trace_err(port, "QSFP Get type Null parameters");
        return QSFP_ERR_INVALID;
    }
    // A re-classification describes the module now in the cage.
    set_type(port, kTypeUnknown, "");
    port->is_copper = 0;
    port->any_page = 0;
    state(port).is_passive_loopback = 0;

    const std::uint8_t eth = upper(page00, kEthCompliance);
    if ((eth & kExtendedCompliance) != 0) {
        classify_extended(port, page00);
    } else if (eth != 0) {
        classify_sff8436(port, page00);
    } else {
        classify_vendor(port, page00);
    }
    trace_evt(port, "QSFP qsfp_type = 0x%x, qsfp_type_str = %s", port->hw_info.qsfp_type, port->hw_info.qsfp_type_str);
    return QSFP_OK;
}
