// The register-decode slot: the module's memory read page by page and
// rendered as show text by the CMIS decoders. A flat-memory module gets the
// identifier view of lower memory and page 00h; a paged one the full view
// of lower memory and pages 00h-03h, 10h and 11h.
#include <array>
#include <cstring>

#include <qsfp/qsfp_decode.h>

#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

// The buffer qsfp_port_phy_reg_decode allocates.
constexpr std::uint32_t kShowTextBytes = 9000;

using ShowImage = std::array<std::uint8_t, QSFPDD_SHOW_IMAGE_SIZE>;
static_assert(QSFPDD_SHOW_IMAGE_SIZE == 7 * kHalfPage);

// Upper pages of the full view after page 00h, in image order.
constexpr std::uint32_t kFullViewPages[] = {kPage01, kPage02, kPage03, kPage10, kPage11};

std::uint8_t *page_at(ShowImage &image, std::size_t index) { return image.data() + (index + 2) * kHalfPage; }

void trace_page_failure(qsfp_port_ctx *port, std::uint32_t page) {
    switch (page) {
    case kPage01: trace_err(port, "QSFP Upper Page 1 Read error\n"); break;
    case kPage02: trace_err(port, "QSFP Upper Page 2 Read error\n"); break;
    case kPage03: trace_err(port, "QSFP Upper Page 3 Read error\n"); break;
    case kPage10: trace_err(port, "QSFP Upper Page 10 Read error\n"); break;
    default: trace_err(port, "QSFP Upper Page 11 Read error\n"); break;
    }
}

// Lower memory and page 00h, one after the other at the start of the image.
std::uint32_t read_identification(qsfp_port_ctx *port, ShowImage &image) {
    std::uint32_t rc = qsfp_access(port, 0, kHalfPage, kLower, image.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Lower Page 0 Read error\n");
        return rc;
    }
    rc = qsfp_access(port, kHalfPage, kHalfPage, kPage00, image.data() + kHalfPage, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "QSFP Upper Page 0 Read error\n");
    }
    return rc;
}

// Page 11h holds only live lane state: a page that cannot be read is shown
// as zeros rather than failing the whole text.
std::uint32_t read_upper_pages(qsfp_port_ctx *port, ShowImage &image) {
    for (std::size_t i = 0; i < std::size(kFullViewPages); ++i) {
        const std::uint32_t page = kFullViewPages[i];
        std::uint8_t *to = page_at(image, i);
        const std::uint32_t rc = qsfp_access(port, kHalfPage, kHalfPage, page, to, QSFP_ACCESS_READ);
        if (rc == QSFP_OK) {
            continue;
        }
        trace_page_failure(port, page);
        if (page != kPage11) {
            return rc;
        }
        std::memset(to, 0, kHalfPage);
    }
    return QSFP_OK;
}

// The port's flag, or the module's own mark: a flat module that bring-up
// could not type keeps the port's flag clear, and its "upper pages" would
// all read as page 00h.
bool flat_memory(const qsfp_port_ctx *port, const ShowImage &image) {
    return port->flat_mem != 0 || (image[kMemoryModel] & kFlatMemory) != 0;
}

std::uint32_t text_result(qsfp_port_ctx *port, int rc) {
    if (rc != 0) {
        trace_err(port, "QSFP EEPROM Read Data failed \n");
    }
    return static_cast<std::uint32_t>(rc);
}

}  // namespace

std::uint32_t phy_reg_decode(qsfp_port_ctx *port, void ** /*text*/, std::uint32_t * /*len*/, char *buffer) {
    if (port == nullptr || buffer == nullptr) {
        return QSFP_ERR_INVALID;
    }
    ShowImage image{};
    if (const std::uint32_t rc = read_identification(port, image); rc != QSFP_OK) {
        return rc;
    }
    const std::uint32_t rc = text_result(
        port, qsfp_drv_qsfpdd_get_eeprom_str(port, buffer, kShowTextBytes, image.data(), image.data() + kHalfPage));
    if (rc != QSFP_OK || flat_memory(port, image)) {
        return rc;
    }
    if (const std::uint32_t read_rc = read_upper_pages(port, image); read_rc != QSFP_OK) {
        return read_rc;
    }
    return text_result(port, qsfp_drv_op_qsfpdd_get_eeprom_str(port, buffer, kShowTextBytes, image.data()));
}

}  // namespace qsfp::cmis
