#include "show_fallback.h"

#include <array>
#include <vector>

#include <qsfp/qsfp_decode.h>
#include <qsfp/qsfp_port_ops.h>

#include "exit_codes.h"
#include "library_answer.h"
#include "linear_map.h"

namespace qsfpctl {

namespace {

// The most a show text holds.
constexpr std::uint32_t kShowTextBytes = 9000;
// The pages of the library's full CMIS view, after lower memory.
constexpr std::array<std::uint8_t, 6> kCmisViewPages = {0x00, 0x01, 0x02, 0x03, 0x10, 0x11};
constexpr std::uint8_t kThresholdPage = 0x03;

using HalfPage = std::array<std::uint8_t, kHalfPage>;

std::uint32_t read_half(const OpenPort &port, bool lower, std::uint8_t page, std::uint8_t *out) {
    return qsfp_port_read(port.handle, lower ? 0 : kHalfPage, page, kHalfPage, out);
}

int unreadable(Context &ctx, const OpenPort &port, const char *what, std::uint32_t rc) {
    return fail(ctx, exit_code_for(rc),
                "cage " + std::to_string(port.cage) + ": " + what + " not readable: " + rc_text(rc));
}

void print_text(Context &ctx, std::string text) {
    text.resize(text.find('\0'));
    ctx.out << text;
    if (!text.empty() && text.back() != '\n') ctx.out << '\n';
}

// "\tLabel: value" for every labelled row of a decoded record.
void print_rows(Context &ctx, const char *title, const std::vector<qsfp8636_id_record> &rows) {
    ctx.out << title << '\n';
    for (const qsfp8636_id_record &row : rows) {
        if (row.label[0] != '\0') ctx.out << '\t' << row.label << ": " << row.value << '\n';
    }
}

}  // namespace

int show_cmis(Context &ctx, const OpenPort &port) {
    std::array<std::uint8_t, QSFPDD_SHOW_IMAGE_SIZE> pages{};
    if (const std::uint32_t rc = read_half(port, true, 0, pages.data()); rc != QSFP_OK) {
        return unreadable(ctx, port, "lower memory", rc);
    }
    bool all_pages = true;
    for (std::size_t i = 0; i < kCmisViewPages.size() && all_pages; ++i) {
        const std::uint32_t rc = read_half(port, false, kCmisViewPages[i], pages.data() + (i + 1) * kHalfPage);
        if (rc != QSFP_OK && i == 0) {
            return unreadable(ctx, port, "page 00h", rc);
        }
        all_pages = rc == QSFP_OK;
    }
    std::string text(kShowTextBytes, '\0');
    const int built = all_pages
                          ? qsfp_drv_op_qsfpdd_get_eeprom_str(port.handle, text.data(), kShowTextBytes, pages.data())
                          : qsfp_drv_qsfpdd_get_eeprom_str(port.handle, text.data(), kShowTextBytes, pages.data(),
                                                           pages.data() + kHalfPage);
    if (built != 0) {
        return fail(ctx, kExitLibraryError, "cage " + std::to_string(port.cage) +
                                                ": the library's CMIS show text failed: " +
                                                rc_text(static_cast<std::uint32_t>(built)));
    }
    ctx.out << "(CMIS module, whose driver has no show text yet: the library's CMIS " << (all_pages ? "full" : "identifier")
            << " view of the pages read through the port)\n";
    print_text(ctx, std::move(text));
    return kExitOk;
}

int show_sff8636_partial(Context &ctx, const OpenPort &port) {
    HalfPage lower{};
    HalfPage page00{};
    HalfPage page03{};
    if (const std::uint32_t rc = read_half(port, true, 0, lower.data()); rc != QSFP_OK) {
        return unreadable(ctx, port, "lower memory", rc);
    }
    if (const std::uint32_t rc = read_half(port, false, 0, page00.data()); rc != QSFP_OK) {
        return unreadable(ctx, port, "page 00h", rc);
    }
    const bool thresholds = read_half(port, false, kThresholdPage, page03.data()) == QSFP_OK;
    std::vector<qsfp8636_id_record> id(QSFP8636_ID_RECORD_ROWS);
    std::vector<qsfp8636_id_record> status(QSFP8636_STATUS_RECORD_ROWS);
    std::vector<qsfp8636_id_record> limits(QSFP8636_THRESHOLD_RECORD_ROWS);
    qsfp8636_xcvr_decode_qsfp8636_id(page00.data(), reinterpret_cast<char *>(id.data()));
    qsfp8636_xcvr_decode_qsfp8636_status(lower.data(), reinterpret_cast<char *>(status.data()));
    ctx.out << "(SFF-8636 module without readable pages 01h-03h, so no full show text: the library's decoded "
               "records of the pages that are there)\n";
    print_rows(ctx, "Identifier (page 00h):", id);
    print_rows(ctx, "Status (lower memory):", status);
    if (thresholds) {
        qsfp8636_xcvr_decode_qsfp8636_threshold(page03.data(), reinterpret_cast<char *>(limits.data()));
        print_rows(ctx, "Thresholds (page 03h):", limits);
    }
    return kExitOk;
}

}  // namespace qsfpctl
