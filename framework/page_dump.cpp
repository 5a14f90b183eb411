// Page dump for debugging: lower memory and the upper pages a module of the
// port's kind has, as lines of hex bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <qsfp/qsfp_port_ops.h>

#include "framework/bounded_text.h"

namespace {

using qsfp::framework::BoundedText;

constexpr std::uint32_t kHalfPage = 128;
constexpr std::uint32_t kBytesPerLine = 16;
constexpr std::uint32_t kLastDumpPage = 21;

// Which pages after page 00h a dump walks: SFF-8636 modules have 01h-03h
// (and, for DWDM modules, 20 and 21); CMIS modules 01h-03h and 10h-15h, or
// only up to 11h at 200G and 400G.
enum class Next { dump, skip, stop };

Next walk(const qsfp_port_ctx *port, std::uint32_t page) {
    if (page == 0) {
        return Next::dump;
    }
    if (port->flat_mem != 0) {
        return Next::stop;
    }
    if (port->rate == 40 || port->rate == 100) {
        if (page <= 3) {
            return Next::dump;
        }
        if (port->any_page == 0) {
            return Next::stop;
        }
        return page == 20 || page == 21 ? Next::dump : Next::skip;
    }
    if ((port->rate == 200 || port->rate == 400) && page > 17) {
        return Next::stop;
    }
    return page >= 4 && page <= 15 ? Next::skip : Next::dump;
}

}  // namespace

extern "C" uint32_t qsfp_debug_copy_page_info(char *out, uint32_t offset, uint32_t page, const uint8_t *bytes,
                                              uint32_t room, uint32_t *written) {
    if (out == nullptr || bytes == nullptr || room == 0) {
        if (written != nullptr) {
            *written = 0;
        }
        return QSFP_OK;
    }
    // Stops at the first piece that does not fit; the area then counts as used up.
    BoundedText w(out, room);
    bool more = w.add(std::snprintf(w.cursor(), w.left(), "\nRead Data :\n\n    Page = %u, Offset = 0x%08x :  ", page,
                                    offset));
    for (std::uint32_t i = 0; more && i < kHalfPage; ++i) {
        if (i != 0 && i % kBytesPerLine == 0) {
            more = w.add(std::snprintf(w.cursor(), w.left(), "\n    Page = %u, Offset = 0x%08x :  ", page, offset + i));
        }
        more = more && w.add(std::snprintf(w.cursor(), w.left(), "0x%02x  ", bytes[i]));
    }
    if (written != nullptr) {
        *written = static_cast<std::uint32_t>(w.stored());
    }
    return QSFP_OK;
}

extern "C" uint32_t qsfp_port_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used) {
    if (port == nullptr || text == nullptr || used == nullptr) {
        return QSFP_ERR_INVALID;
    }
    std::uint8_t bytes[kHalfPage] = {};
    std::uint32_t rc = qsfp_access(port, 0, kHalfPage, 0, bytes, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        *used = 0;
        return rc;
    }
    std::uint32_t total = 0;
    std::uint32_t written = 0;
    qsfp_debug_copy_page_info(text, 0, 0, bytes, room, &written);
    total += written;
    for (std::uint32_t page = 0; page <= kLastDumpPage; ++page) {
        const Next next = walk(port, page);
        if (next == Next::stop) {
            break;
        }
        if (next == Next::skip) {
            continue;
        }
        rc = qsfp_access(port, kHalfPage, kHalfPage, page, bytes, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            break;
        }
        qsfp_debug_copy_page_info(text + total, kHalfPage, page, bytes, room - total, &written);
        total += written;
    }
    *used = total;
    return rc;
}
