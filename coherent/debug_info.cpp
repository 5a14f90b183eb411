// Debug information of a coherent port: the page dump of a 400G CMIS module
// with every page read through the SDK, then the SDK's own debug text.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <qsfp/qsfp_port_ops.h>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

constexpr std::uint32_t kHalfPage = 128;
constexpr std::uint32_t kLowerPage = 0;
// The upper pages a 400G CMIS module's dump shows: 00h-03h, 10h and 11h.
constexpr std::uint32_t kDumpPages[] = {0x00, 0x01, 0x02, 0x03, 0x10, 0x11};

std::uint32_t read_half_page(qsfp_port_ctx *port, std::uint32_t page, std::uint32_t reg, std::uint8_t *bytes) {
    return coherent_module_reg_read_write(port, reg, kHalfPage, page, bytes, QSFP_ACCESS_READ);
}

// The upper pages after lower memory; a failed read ends the dump, keeping
// the text so far.
std::uint32_t dump_upper_pages(qsfp_port_ctx *port, char *text, std::uint32_t room, std::uint32_t *total) {
    std::uint8_t bytes[kHalfPage] = {};
    std::uint32_t written = 0;
    for (const std::uint32_t page : kDumpPages) {
        const std::uint32_t rc = read_half_page(port, page, kHalfPage, bytes);
        if (rc != QSFP_OK) {
            return rc;
        }
        qsfp_debug_copy_page_info(text + *total, kHalfPage, page, bytes, room - *total, &written);
        *total += written;
    }
    return QSFP_OK;
}

// The SDK is given the whole room, as it expects, in a scratch area of that
// size; what fits of its text is appended after the dump and terminated.
std::uint32_t append_sdk_text(qsfp_port_ctx *port, char *text, std::uint32_t room, std::uint32_t *total) {
    char *scratch = static_cast<char *>(std::calloc(room, 1));
    if (scratch == nullptr) {
        trace_err(port, "coherent module debug info failed, memory alloc failed\n");
        return QSFP_ERR_NO_MEMORY;
    }
    std::uint32_t sdk_used = 0;
    const std::uint32_t rc = coh_sdk_module_get_debug_info(qsfp::coherent::device_key(port), scratch, room, &sdk_used);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent module debug info get failed, rc 0x%x \n", rc);
    } else {
        const std::uint32_t left = room - *total;
        const std::uint32_t n = std::min({sdk_used, room, left > 0 ? left - 1 : 0});
        std::memcpy(text + *total, scratch, n);
        *total += n;
        if (left > 0) {
            text[*total] = '\0';
        }
    }
    std::free(scratch);
    return rc;
}

}  // namespace

extern "C" uint32_t coherent_module_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (text == nullptr || used == nullptr || room == 0) {
        trace_err(port, "coherent module debug info failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    std::uint8_t lower[kHalfPage] = {};
    if (const std::uint32_t rc = read_half_page(port, kLowerPage, 0, lower); rc != QSFP_OK) {
        *used = 0;
        return rc;
    }
    std::uint32_t total = 0;
    qsfp_debug_copy_page_info(text, 0, kLowerPage, lower, room, &total);
    const std::uint32_t dump_rc = dump_upper_pages(port, text, room, &total);
    const std::uint32_t sdk_rc = append_sdk_text(port, text, room, &total);
    *used = total;
    return dump_rc != QSFP_OK ? dump_rc : sdk_rc;
}
