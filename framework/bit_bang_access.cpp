// The slow read path: the read half of the paged access over the caller's
// bit-banged read, for modules whose flags must be read byte by byte.
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_port.h>

#include "framework/paging_rules.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

std::uint32_t check_bounds(qsfp_port_ctx *port, std::uint32_t reg, std::uint32_t len) {
    switch (crossed_boundary(reg, len)) {
    case Boundary::lower:
        trace_err(port, "bb QSFP Access : register address cross lower page boundary\n");
        return QSFP_ERR_INVALID;
    case Boundary::upper:
        trace_err(port, "bb QSFP Access : register address cross upper page boundary\n");
        return QSFP_ERR_INVALID;
    case Boundary::none:
        break;
    }
    return QSFP_OK;
}

std::uint32_t check_upper_page(qsfp_port_ctx *port, std::uint32_t page) {
    if (page != 0 && port->flat_mem != 0) {
        trace_err(port, "bb QSFP Access : requested PAGE %d is beyond page 0 for this flat memory module\n", page);
        return QSFP_ERR_INVALID;
    }
    if (!standard_page(*port, page)) {
        trace_err(port, "bb QSFP Access : requested PAGE %u is not a supported page\n", page);
        return QSFP_ERR_INVALID;
    }
    return QSFP_OK;
}

}  // namespace

extern "C" uint32_t qsfp_special_bit_bang_read(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page,
                                               void *buf, uint64_t arg) {
    if (qsfp_get_ctx() == nullptr) {
        std::fputs("QSFP is not initialized", stderr);
        return QSFP_ERR_NO_CONTEXT;
    }
    if (port == nullptr) {
        trace_lib_err("bb NULL Qsfp Port\n");
        return QSFP_ERR_INVALID;
    }
    if (port->write == nullptr || port->bit_bang_read == nullptr || buf == nullptr) {
        trace_err(port, "bb QSFP Access : Call with empty parameters\n");
        return QSFP_ERR_INVALID;
    }
    const bool path_selects_page = port->is_direct_page_rd_support != 0;
    if (!path_selects_page) {
        if (const std::uint32_t rc = check_bounds(port, reg, len); rc != QSFP_OK) {
            return rc;
        }
    }
    if (!within_module_map(reg, len, page)) {
        trace_err(port, "bb QSFP Access : Reg 0x%x Sz %u page %u beyond the module map\n", reg, len, page);
        return QSFP_ERR_INVALID;
    }
    if (reg > kLowerPageLast) {
        if (const std::uint32_t rc = check_upper_page(port, page); rc != QSFP_OK) {
            return rc;
        }
    }
    // Unlike the normal path, a flat-memory module is not exempt here: the
    // page-select write is attempted and refused by qsfp_set_page.
    if (!path_selects_page && cached_page(port).load() != page) {
        if (const std::uint32_t rc = qsfp_set_page(static_cast<std::uint8_t>(page & 0xFF), port); rc != QSFP_OK) {
            trace_err(port, "bb cannot set page. rc: 0x%x\n", rc);
            return rc;
        }
    }
    cached_page(port).store(page);

    std::memset(buf, 0, len);
    const std::uint32_t rc = port->bit_bang_read(port->opaque, static_cast<std::uint8_t>(reg & 0xFF),
                                                 static_cast<std::uint8_t>(page & 0xFF), len, buf, arg);
    if (rc != QSFP_OK) {
        trace_err(port, "bb access error. Reg 0x%x Sz %d page %d read rc: 0x%x\n", reg, len, page, rc);
    }
    return rc;
}
