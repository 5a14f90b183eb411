// The register-decode slot: the module's memory, read page by page, rendered
// as the show text by the SFF-8636 text builder.
#include <qsfp/qsfp_decode.h>

#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"

namespace qsfp::sff8636 {

namespace {

constexpr std::uint32_t kShowTextBytes = 9000;

std::uint32_t read_flat(qsfp_port_ctx *port, std::uint8_t *image) {
    if (whole_image_read(port)) {
        const std::uint32_t rc = qsfp_access(port, 0, kFlatImageBytes, kPage00, image, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "errno: qsfp flat mem all page read failed. rc: 0x%x", rc);
        }
        return rc;
    }
    if (const std::uint32_t rc = qsfp_access(port, 0, kHalfPage, kPage00, image, QSFP_ACCESS_READ); rc != QSFP_OK) {
        trace_err(port, "errno: qsfp flat mem lower page read failed. rc: 0x%x", rc);
        return rc;
    }
    const std::uint32_t rc = qsfp_access(port, kHalfPage, kHalfPage, kPage00, image + kHalfPage, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "errno: qsfp flat mem upper page read failed. rc: 0x%x", rc);
    }
    return rc;
}

}  // namespace

}  // namespace qsfp::sff8636

using namespace qsfp::sff8636;

extern "C" uint32_t qsfp_phy_reg_decode(qsfp_port_ctx *port, void ** /*text*/, uint32_t * /*len*/, char *buffer) {
    if (port == nullptr || buffer == nullptr) {
        return QSFP_ERR_INVALID;
    }
    Image image{};
    const std::uint32_t rc = port->flat_mem != 0 ? read_flat(port, image.data()) : read_image(port, image.data());
    if (rc != QSFP_OK) {
        return rc;
    }
    return static_cast<std::uint32_t>(qsfp_drv_qsfp8636_get_eeprom_str(port, buffer, kShowTextBytes, image.data()));
}
