// Read-modify-write of control bits, and the multirate capability test.
#include <qsfp/qsfp_sff8636.h>

#include "framework/trace.h"
#include "sff8636/sff8636_regs.h"

using namespace qsfp::sff8636;

extern "C" uint32_t qsfp_set_clear_bits(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t operation,
                                        uint8_t mask) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    std::uint8_t value = 0;
    std::uint32_t rc = qsfp_access(port, reg, 1, page, &value, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Set/Clear : Read register error");
        return rc;
    }
    std::uint8_t updated = 0;
    if (operation == QSFP_SET_BITS) {
        updated = value | mask;
    } else if (operation == QSFP_CLEAR_BITS) {
        updated = value & static_cast<std::uint8_t>(~mask);
    }
    // Control bytes are written only when they change.
    if (updated != value) {
        rc = qsfp_access(port, reg, 1, page, &updated, QSFP_ACCESS_WRITE);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP Set/Clear : Write register error");
        }
    }
    return rc;
}

// A module is multirate when it implements rate select (byte 195 bit 5) with
// the extended rate-select declaration (byte 221 bits 3-2 = 10b).
extern "C" uint32_t qsfp_check_multirate(qsfp_port_ctx *port, uint8_t *multirate) {
    if (port == nullptr || multirate == nullptr) {
        return QSFP_ERR_INVALID;
    }
    *multirate = 0;
    std::uint8_t options = 0;
    std::uint32_t rc = qsfp_access(port, kOptions195, 1, kPage00, &options, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP read failed for port: %d at byte 195 in upper page0.", port->port);
        return rc;
    }
    std::uint8_t enhanced = 0;
    rc = qsfp_access(port, kEnhancedOptions, 1, kPage00, &enhanced, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP read failed for port: %d at byte 221 in upper page0.", port->port);
        return rc;
    }
    *multirate = (options & kRateSelect) != 0 && (enhanced & kRateSelectDeclaration) == kExtendedRateSelect ? 1 : 0;
    return QSFP_OK;
}
