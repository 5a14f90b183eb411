// `dump`: module memory as the library's page dump prints it.
#include <array>
#include <string>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "library_answer.h"
#include "linear_map.h"

namespace qsfpctl {

namespace {

// Room for lower memory and every page the driver's dump walks.
constexpr std::uint32_t kDumpRoom = 256 * 1024;

// One half page through the port, formatted by the library's page formatter.
int dump_half(Context &ctx, const OpenPort &port, bool lower, std::uint32_t page) {
    std::array<std::uint8_t, kHalfPage> bytes{};
    const std::uint32_t reg = lower ? 0 : kHalfPage;
    const std::uint32_t rc = qsfp_port_read(port.handle, reg, page, kHalfPage, bytes.data());
    const std::string what = lower ? "lower memory" : "page " + std::to_string(page);
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + std::to_string(port.cage) + ": " + what + " not readable: " +
                                                rc_text(rc));
    }
    std::string text(4096, '\0');
    std::uint32_t written = 0;
    qsfp_debug_copy_page_info(text.data(), reg, page, bytes.data(), static_cast<std::uint32_t>(text.size()), &written);
    text.resize(written);
    ctx.out << text << '\n';
    return kExitOk;
}

}  // namespace

int cmd_dump(Context &ctx, const std::string &cage, const std::string &page) {
    int exit_code = kExitOk;
    std::optional<std::uint32_t> one_page;
    const bool lower = page == "lower";
    if (!page.empty() && !lower) {
        one_page = number_arg(ctx, page, "page", 0, kLastPage, exit_code);
        if (!one_page) return exit_code;
    }
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    if (lower || one_page) {
        return dump_half(ctx, *port, lower, one_page.value_or(0));
    }
    std::string text(kDumpRoom, '\0');
    std::uint32_t used = 0;
    const std::uint32_t rc = qsfp_module_get_debug_info(port->handle, text.data(), kDumpRoom, &used);
    if (rc == QSFP_ERR_EMPTY_SLOT) {
        // No page dump in this module's driver yet: lower memory and page 00h,
        // the pages every module has, through the port.
        ctx.out << "(this module's driver has no page dump yet: lower memory and page 00h read through the port;"
                   " --page P shows another page)\n";
        const int lower_rc = dump_half(ctx, *port, true, 0);
        return lower_rc != kExitOk ? lower_rc : dump_half(ctx, *port, false, 0);
    }
    text.resize(std::min<std::size_t>(used, text.size()));
    ctx.out << text << '\n';
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + cage + ": the page dump stopped: " + rc_text(rc));
    }
    return kExitOk;
}

}  // namespace qsfpctl
