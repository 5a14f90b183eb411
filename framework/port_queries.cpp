// Port operations that decide from the port context, or touch the module
// directly, rather than reach one driver slot.
#include <cstdlib>
#include <cstring>

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/qsfp_sff8636.h>

#include "framework/port_defaults.h"
#include "framework/lock.h"
#include "framework/paging_rules.h"
#include "framework/slot_call.h"
#include "framework/trace.h"

namespace {

using namespace qsfp::framework;

constexpr std::uint32_t kUpperPage = 128;
constexpr std::uint32_t kPhyDecodeBytes = 9000;
// Lower byte 1 of a QSFP-to-SFP adapter: bit 0 is the SFP's module-absent line.
constexpr std::uint32_t kQsaStatusReg = 1;
constexpr std::uint8_t kSfpAbsent = 0x01;

std::uint32_t access(qsfp_port_ctx *port, int line, const char *message, std::uint32_t reg, std::uint32_t page,
                     std::uint32_t len, void *buf, std::uint32_t rw) {
    if (const std::uint32_t rc = lock_for(port, line, message); rc != QSFP_OK) {
        return rc;
    }
    std::uint32_t rc;
    if (port->fvt.reg_read_write == nullptr) {
        rc = qsfp_access(port, reg, len, page, buf, rw);
    } else {
        // Coherent modules are reached through their SDK, within the same map.
        rc = check_module_map(port, reg, len, page);
        if (rc == QSFP_OK) {
            rc = port->fvt.reg_read_write(port, reg, len, page, buf, rw);
        }
    }
    qsfp_port_unlock(port);
    return rc;
}

}  // namespace

extern "C" uint32_t qsfp_port_read(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t len, void *buf) {
    return access(port, 844, "qsfp port read check hdl failed \n", reg, page, len, buf, QSFP_ACCESS_READ);
}

extern "C" uint32_t qsfp_port_write(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t len, void *buf) {
    return access(port, 867, "qsfp port write check hdl failed \n", reg, page, len, buf, QSFP_ACCESS_WRITE);
}

extern "C" uint32_t qsfp_port_rate(qsfp_port_ctx *port, uint32_t *rate) {
    if (const std::uint32_t rc = lock_for(port, 892, "qsfp port rate check hdl failed \n"); rc != QSFP_OK) {
        return rc;
    }
    std::uint32_t rc = QSFP_OK;
    if (port->rate == 0) {
        std::uint8_t page00[kUpperPage] = {};
        rc = qsfp_access(port, kUpperPage, sizeof page00, 0, page00, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "Unable to read QSFP data\n");
        } else {
            port->rate = qsfp_port_get_rate(page00[0]);
        }
    }
    if (rate != nullptr) {
        *rate = rc == QSFP_OK ? port->rate : 0;
    }
    qsfp_port_unlock(port);
    return rc;
}

extern "C" uint32_t qsfp_port_hw_thresholds(qsfp_port_ctx *port, qsfp_threshold_data *out) {
    if (const std::uint32_t rc = lock_for(port, 1084, kThresholdsCheckFailed); rc != QSFP_OK) {
        return rc;
    }
    if (out != nullptr) {
        *out = port->thresholds;
    }
    qsfp_port_unlock(port);
    return out != nullptr ? QSFP_OK : QSFP_ERR_INVALID;
}

extern "C" uint32_t qsfp_get_module_type(qsfp_port_ctx *port) {
    if (lock_for(port, 1490, kTypeCheckFailed) != QSFP_OK) {
        return 0;
    }
    const std::uint32_t kind = port->is_copper != 0 ? 1 : 2;
    qsfp_port_unlock(port);
    return kind;
}

extern "C" uint32_t qsfp_is_active_copper_type(qsfp_port_ctx *port) {
    if (lock_for(port, 1512, nullptr) != QSFP_OK) {
        return 0;
    }
    const std::uint32_t answer = active_copper(port->hw_info.qsfp_type) ? 1 : 0;
    qsfp_port_unlock(port);
    return answer;
}

// A default the port context decides; a failed check leaves `out` untouched.
template <typename Decide>
std::uint32_t port_default(qsfp_port_ctx *port, int line, uint32_t *out, Decide decide) {
    if (const std::uint32_t rc = lock_for(port, line, kTypeCheckFailed); rc != QSFP_OK) {
        return rc;
    }
    if (out != nullptr) {
        *out = decide(port->rate, port->hw_info.qsfp_type);
    }
    qsfp_port_unlock(port);
    return out != nullptr ? QSFP_OK : QSFP_ERR_INVALID;
}

extern "C" uint32_t qsfp_port_get_default_fec(qsfp_port_ctx *port, uint32_t *fec) {
    return port_default(port, 1538, fec, default_fec);
}

extern "C" uint32_t qsfp_port_get_default_autoneg(qsfp_port_ctx *port, uint32_t *autoneg) {
    return port_default(port, 1590, autoneg, default_autoneg);
}

extern "C" uint32_t qsfp_port_phy_reg_decode(qsfp_port_ctx *port, void **text, uint32_t *len) {
    auto *buffer = static_cast<char *>(std::calloc(kPhyDecodeBytes, 1));
    if (buffer == nullptr) {
        return QSFP_ERR_NO_MEMORY;
    }
    if (const std::uint32_t rc = lock_for(port, 1656, kHwInfoCheckFailed); rc != QSFP_OK) {
        std::free(buffer);
        return rc;
    }
    if (port->fvt.phy_reg_decode == nullptr || text == nullptr || len == nullptr) {
        std::free(buffer);
        qsfp_port_unlock(port);
        return port->fvt.phy_reg_decode == nullptr ? QSFP_ERR_EMPTY_SLOT : QSFP_ERR_INVALID;
    }
    std::uint32_t rc;
    {
        // The show text calls the inventory slot, which releases the port;
        // the port stays held until the whole text is built.
        qsfp::framework::KeepPortHeld keep(port);
        rc = port->fvt.phy_reg_decode(port, text, len, buffer);
    }
    buffer[kPhyDecodeBytes - 1] = '\0';
    *text = buffer;
    *len = static_cast<std::uint32_t>(std::strlen(buffer) + 1);
    qsfp_port_unlock(port);
    return rc;
}

extern "C" uint32_t qsfp_port_qsa_sfp_inserted(qsfp_port_ctx *port, uint32_t *inserted) {
    if (const std::uint32_t rc = lock_for(port, 1337, "QSA qsfp port write check hdl failed \n"); rc != QSFP_OK) {
        return rc;
    }
    std::uint8_t status = 0;
    std::uint32_t present = 0;
    if (qsfp_access(port, kQsaStatusReg, 1, 0, &status, QSFP_ACCESS_READ) == QSFP_OK) {
        trace_evt(port, "QSA : port:%d sfp_mod_abs 0x%x\n", port->port, status);
        present = (status & kSfpAbsent) == 0 ? 1 : 0;
    } else {
        trace_err(port, "QSA  : Read error lower page0 mod_abs port:%d\n", port->port);
    }
    if (inserted != nullptr) {
        *inserted = present;
    }
    qsfp_port_unlock(port);
    return QSFP_OK;
}

extern "C" uint32_t is_qsfp_multirate(qsfp_port_ctx *port, uint8_t *answer) {
    if (const std::uint32_t rc = lock_for(port, 2335, kHwInfoCheckFailed); rc != QSFP_OK) {
        return rc;
    }
    const std::uint32_t rc = qsfp_check_multirate(port, answer);
    if (rc != QSFP_OK) {
        trace_err(port, "check_qsfp_is_multirate is failed for port: %d\n", port->port);
    }
    qsfp_port_unlock(port);
    return rc;
}
