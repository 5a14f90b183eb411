// Reading a module's memory image: lower memory and upper pages 00h-03h
// (00h only on flat memory), each a separate 128-byte read unless the
// platform reads the whole image at once.
#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"

namespace qsfp::sff8636 {

bool whole_image_read(const qsfp_port_ctx *port) { return port->cfg_word[2] != 0; }

std::uint32_t read_image(qsfp_port_ctx *port, std::uint8_t *image) {
    if (whole_image_read(port)) {
        const std::uint32_t rc = qsfp_access(port, 0, kImageBytes, kPage00, image, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP page data: Read error");
        }
        return rc;
    }
    if (const std::uint32_t rc = qsfp_access(port, 0, kHalfPage, kPage00, image, QSFP_ACCESS_READ); rc != QSFP_OK) {
        trace_err(port, "QSFP Lower Page 0 Read error");
        return rc;
    }
    const std::uint32_t pages = port->flat_mem != 0 ? 1 : kImagePages;
    for (std::uint32_t page = 0; page < pages; ++page) {
        const std::uint32_t rc = qsfp_access(port, kHalfPage, kHalfPage, page, image + image_offset(page, kHalfPage),
                                             QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "QSFP Upper Page %d Read error", page);
            return rc;
        }
    }
    return QSFP_OK;
}

}  // namespace qsfp::sff8636
