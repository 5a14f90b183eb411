// Signal-integrity writers: Tx input equalisation, Rx output emphasis and
// amplitude on page 03h bytes 234-239, two lanes per byte.
#include <cstring>

#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

namespace qsfp::sff8636 {

namespace {

// Each byte of a pair settles before the next is written.
constexpr std::uint32_t kSiWriteSettleUs = 10000;

// Writes the value to both bytes of a pair, waiting after each; answers the
// OR of the two results.
std::uint32_t write_both_settled(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t value) {
    std::uint32_t rc = write_page03(port, reg, value);
    wait_us(kSiWriteSettleUs);
    rc |= write_page03(port, reg + 1, value);
    wait_us(kSiWriteSettleUs);
    return rc;
}

}  // namespace

bool tx_eq_adaptive(const qsfp_port_ctx *port) { return (state(port).options[0] & kTxEqAdaptive) != 0; }

bool vendor_is(const qsfp_port_ctx *port, const char *prefix) {
    return std::strncmp(state(port).vendor_name, prefix, std::strlen(prefix)) == 0;
}

bool source_photonics_lr4(const qsfp_port_ctx *port) {
    return port->hw_info.qsfp_type == kType100GLr4 && vendor_is(port, "SOURCE PHOTONICS");
}

bool both_squelch_disables(const qsfp_port_ctx *port) {
    return state(port).rx_squelch_disable_absent == 0 && state(port).tx_squelch_disable_absent == 0;
}

bool rx_output_disable_usable(const qsfp_port_ctx *port) {
    return (state(port).options[1] & kRxOutputDisable) != 0 && state(port).skip_rx_disable == 0;
}

std::uint32_t write_page03(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t value) {
    return qsfp_access(port, reg, 1, kPage03, &value, QSFP_ACCESS_WRITE);
}

std::uint32_t write_si_pair(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t first, std::uint8_t second) {
    std::uint8_t pair[2] = {first, second};
    return qsfp_access(port, reg, sizeof pair, kPage03, pair, QSFP_ACCESS_WRITE);
}

std::uint32_t modify_eq(qsfp_port_ctx *port, std::uint32_t, std::uint8_t *value) {
    if (port == nullptr || value == nullptr) {
        return QSFP_ERR_INVALID;
    }
    // An adaptive equaliser in charge, or fixed settings not programmable: nothing to write.
    if ((tx_eq_adaptive(port) && port->force_non_adaptive_ctle == 0) || state(port).skip_tx_eq != 0) {
        return QSFP_OK;
    }
    const std::uint32_t rc = write_both_settled(port, kTxEq, *value);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write QSFP EQ values, rc: 0x%x", rc);
    }
    return rc;
}

std::uint32_t modify_deemphasis(qsfp_port_ctx *port, std::uint32_t, std::uint8_t *value) {
    if (port == nullptr || value == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (state(port).skip_rx_eq != 0) {
        return QSFP_OK;
    }
    const std::uint32_t rc = write_both_settled(port, kRxEmphasis, *value);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write QSFP DEEMPH values, rc: 0x%x", rc);
    }
    return rc;
}

std::uint32_t modify_amp(qsfp_port_ctx *port, std::uint32_t, std::uint8_t *value) {
    if (port == nullptr || value == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (state(port).skip_amp != 0) {
        return QSFP_OK;
    }
    const std::uint32_t rc = write_both_settled(port, kRxAmplitude, *value);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write QSFP AMP values, rc: 0x%x", rc);
    }
    return rc;
}

// Per-lane SI overrides are a CMIS feature; SFF-8636 modules take the fixed
// values of bring-up and the writers above.
std::uint32_t modify_si_values(qsfp_port_ctx *, std::uint8_t, std::uint8_t *, std::uint8_t, std::uint8_t *,
                               std::uint8_t, std::uint8_t *, std::uint8_t, std::uint8_t *) {
    return QSFP_ERR_EMPTY_SLOT;
}

}  // namespace qsfp::sff8636
