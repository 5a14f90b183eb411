// Register dump: 22 key bytes of lower memory and upper page 00h as text, for
// a quick look at a module's state without decoding its memory.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

extern "C" {
#include <safe_str_lib.h>
}

#include <qsfp/qsfp_port.h>

#include "framework/paging_rules.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

struct DumpRow {
    const char *name;
    std::uint8_t reg;
};

// All on page 0, each read as one byte.
constexpr DumpRow kDumpRows[] = {
    {"QSFP_Ident", 0x00},
    {"Data_Ready_Status", 0x02},
    {"RX LOSS", 0x03},
    {"TX FAULT STATUS", 0x04},
    {"TX CDR LOL STATUS", 0x05},
    {"Interrupt Flag", 0x06},
    {"TX DISABLE", 0x56},
    {"TX CDR CNTL", 0x62},
    {"Identifier", 0x80},
    {"Extended Identifer", 0x81},
    {"Ether compliance", 0x83},
    {"Device Technology", 0x93},
    {"Ext Ether compliance", 0xC0},
    {"TX CTLE", 0xC1},
    {"CDR Power", 0xC2},
    {"TX12 Input Eq control", 0xEA},
    {"TX34 Input Eq control", 0xEB},
    {"RX12 Output Emphasis control", 0xEC},
    {"RX34 Output Emphasis control", 0xED},
    {"RX12 Output Amp control", 0xEE},
    {"RX34 Output Amp control", 0xEF},
    {"TXRX Output Disable", 0xF1},
};
static_assert(std::size(kDumpRows) == 22);

constexpr std::uint32_t kDumpTextBytes = 1500;
constexpr std::size_t kDumpLineBytes = 80;

}  // namespace

extern "C" uint32_t qsfp_reg_access(qsfp_port_ctx *port, char **text, uint32_t *size, uint32_t rw) {
    if (const std::uint32_t rc = check_context_and_port(port); rc != QSFP_OK) {
        return rc;
    }
    if (port->write == nullptr || port->read == nullptr || text == nullptr || size == nullptr) {
        trace_err(port, "QSFP REG Access : Call with empty parameters\n");
        return QSFP_ERR_INVALID;
    }
    if (port->flat_mem == 0) {
        const bool paged_read = rw == QSFP_ACCESS_READ && port->is_direct_page_rd_support == 0;
        const bool raw_write = rw == QSFP_ACCESS_WRITE && port->is_direct_page_wr_support == 0;
        if (page_select_needed(port, 0, !(paged_read || raw_write))) {
            if (const std::uint32_t rc = qsfp_set_page(0, port); rc != QSFP_OK) {
                trace_err(port, "cannot set page. rc: 0x%x. page %d last page %d\n", rc, 0, cached_page(port).load());
                return rc;
            }
        }
        cached_page(port).store(0);
    }
    auto *dump = static_cast<char *>(std::calloc(kDumpTextBytes, 1));
    if (dump == nullptr) {
        return QSFP_ERR_NO_MEMORY;
    }
    strcpy_s(dump, kDumpTextBytes, "\nOPTICS registers:\n");
    std::uint32_t rc = QSFP_OK;
    for (const DumpRow &row : kDumpRows) {
        std::uint8_t value = 0;
        rc = port->read(port->opaque, row.reg, 0, 1, &value);
        if (rc != QSFP_OK) {
            trace_err(port, "access error. Reg %s Sz %d page %d rw %d rc: 0x%x\n", row.name, 1, 0, rw, rc);
        }
        char line[kDumpLineBytes];
        std::snprintf(line, sizeof(line), "0x%04X \t  %-30s \t : 0x%08X\n", row.reg, row.name, value);
        strncat_s(dump, kDumpTextBytes, line, sizeof(line));
    }
    *text = dump;
    *size = kDumpTextBytes;
    return rc;
}

extern "C" uint32_t qsfp_port_read_reg(qsfp_port_ctx *port, char **text, uint32_t *size) {
    const std::uint32_t rc = qsfp_check_and_lock_hdl(port, 1293);
    if (rc != QSFP_OK) {
        std::fputs("qsfp port read check hdl failed \n", stderr);
        return rc;
    }
    const std::uint32_t dump_rc = qsfp_reg_access(port, text, size, QSFP_ACCESS_READ);
    qsfp_port_unlock(port);
    return dump_rc;
}
