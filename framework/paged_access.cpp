// The one door to the module: every byte the drivers move passes through
// qsfp_access, which keeps the page-select byte (127) in step with the cached
// current page and enforces the paging rules.
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_port.h>

#include "framework/paging_rules.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

constexpr std::uint32_t kFirstReadOnlyPage = 1;
constexpr std::uint32_t kLastReadOnlyPage = 2;

// Rate-400 and rate-200 modules (CMIS) have banked pages beyond 03h.
bool cmis_rate(const qsfp_port_ctx &port) { return port.rate == 400 || port.rate == 200; }

std::uint32_t check_bounds(qsfp_port_ctx *port, std::uint32_t reg, std::uint32_t len) {
    switch (crossed_boundary(reg, len)) {
    case Boundary::lower:
        trace_err(port, "QSFP Access : register address cross lower page boundary\n");
        return QSFP_ERR_INVALID;
    case Boundary::upper:
        trace_err(port, "QSFP Access : register address cross upper page boundary\n");
        return QSFP_ERR_INVALID;
    case Boundary::none:
        break;
    }
    return QSFP_OK;
}

std::uint32_t check_upper_page(qsfp_port_ctx *port, std::uint32_t page, std::uint32_t rw) {
    if (page != 0 && port->flat_mem != 0) {
        trace_err(port, "QSFP Access : requested PAGE %d is beyond page 0 for this flat memory module\n", page);
        return QSFP_ERR_INVALID;
    }
    if (!standard_page(*port, page) && !cmis_rate(*port)) {
        trace_err(port, "QSFP Access : requested PAGE %u is not a supported page\n", page);
        return QSFP_ERR_INVALID;
    }
    // Pages 01h and 02h are read-only to the host.
    if (rw == QSFP_ACCESS_WRITE && page >= kFirstReadOnlyPage && page <= kLastReadOnlyPage) {
        trace_err(port, "QSFP Access : Invalid access permission\n");
        return QSFP_ERR_INVALID;
    }
    return QSFP_OK;
}

}  // namespace

namespace qsfp::framework {

std::uint32_t check_context_and_port(const qsfp_port_ctx *port) {
    if (qsfp_get_ctx() == nullptr) {
        std::fputs("QSFP is not initialized", stderr);
        return QSFP_ERR_NO_CONTEXT;
    }
    if (port == nullptr) {
        trace_lib_err("NULL Qsfp Port\n");
        return QSFP_ERR_INVALID;
    }
    return QSFP_OK;
}

std::uint32_t check_module_map(qsfp_port_ctx *port, std::uint32_t reg, std::uint32_t len, std::uint32_t page) {
    if (within_module_map(reg, len, page)) {
        return QSFP_OK;
    }
    trace_err(port, "QSFP Access : Reg 0x%x Sz %u page %u beyond the module map\n", reg, len, page);
    return QSFP_ERR_INVALID;
}

}  // namespace qsfp::framework

extern "C" uint32_t qsfp_set_page(uint8_t page, qsfp_port_ctx *port) {
    if (const std::uint32_t rc = check_context_and_port(port); rc != QSFP_OK) {
        return rc;
    }
    if (port->flat_mem != 0) {
        trace_err(port, "Flat memory.  Skip setting the page register.\n");
        return QSFP_ERR_INVALID;
    }
    if (port->write == nullptr) {
        trace_err(port, "QSFP Access : Call with empty parameters\n");
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc = port->write(port->opaque, kPageSelectReg, 0, 1, &page);
    if (rc != QSFP_OK) {
        trace_err(port, "Page update error. rc: 0x%x\n", rc);
    }
    return rc;
}

extern "C" uint32_t qsfp_access(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page, void *buf,
                                uint32_t rw) {
    if (const std::uint32_t rc = check_context_and_port(port); rc != QSFP_OK) {
        return rc;
    }
    if (port->write == nullptr || port->read == nullptr || buf == nullptr) {
        trace_err(port, "QSFP Access : Call with empty parameters\n");
        return QSFP_ERR_INVALID;
    }
    // A read through a path that cannot select pages stays in its half: the
    // module's address counter would run into the other half.
    const bool paged_read = rw == QSFP_ACCESS_READ && port->is_direct_page_rd_support == 0;
    if (paged_read) {
        if (const std::uint32_t rc = check_bounds(port, reg, len); rc != QSFP_OK) {
            return rc;
        }
    }
    if (const std::uint32_t rc = check_module_map(port, reg, len, page); rc != QSFP_OK) {
        return rc;
    }
    if (reg > kLowerPageLast) {
        if (const std::uint32_t rc = check_upper_page(port, page, rw); rc != QSFP_OK) {
            return rc;
        }
    }
    const bool raw_write = rw == QSFP_ACCESS_WRITE && port->is_direct_page_wr_support == 0;
    if (page_select_needed(port, page, !(paged_read || raw_write))) {
        if (const std::uint32_t rc = qsfp_set_page(static_cast<std::uint8_t>(page & 0xFF), port); rc != QSFP_OK) {
            trace_err(port, "cannot set page. rc: 0x%x. page %d last page %d\n", rc, page, cached_page(port).load());
            return rc;
        }
    }
    cached_page(port).store(page);

    std::uint32_t rc;
    if (rw == QSFP_ACCESS_READ) {
        std::memset(buf, 0, len);
        rc = port->read(port->opaque, static_cast<std::uint8_t>(reg & 0xFF), static_cast<std::uint8_t>(page & 0xFF),
                        len, buf);
    } else {
        rc = port->write(port->opaque, static_cast<std::uint8_t>(reg & 0xFF), static_cast<std::uint8_t>(page & 0xFF),
                         len, buf);
    }
    if (rc != QSFP_OK) {
        trace_err(port, "access error. Reg 0x%x Sz %d page %d rw %d rc: 0x%x\n", reg, len, page, rw, rc);
    }
    return rc;
}
