// `read` / `write`: module registers through the library's port access.
#include <cstdio>

#include <nlohmann/json.hpp>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "linear_map.h"

namespace qsfpctl {

namespace {

constexpr std::uint32_t kLastRegister = 255;
constexpr std::uint32_t kMaxLength = 2 * kHalfPage;
constexpr std::uint32_t kBytesPerLine = 16;

struct Range {
    std::uint32_t page;
    std::uint32_t reg;
    std::uint32_t len;
};

// Page, register and length, checked: the bytes must lie within registers
// 0-255 of the page.
std::optional<Range> range_args(Context &ctx, const RegisterArgs &args, int &exit_code) {
    const auto page = number_arg(ctx, args.page, "page", 0, kLastPage, exit_code);
    if (!page) return std::nullopt;
    const auto reg = number_arg(ctx, args.reg, "register", 0, kLastRegister, exit_code);
    if (!reg) return std::nullopt;
    const auto len = number_arg(ctx, args.len, "length", 1, kMaxLength, exit_code);
    if (!len) return std::nullopt;
    if (*reg + *len > kMaxLength) {
        exit_code = fail(ctx, kExitUsage, "register " + args.reg + " plus length " + args.len +
                                              " runs past register 255");
        return std::nullopt;
    }
    return Range{*page, *reg, *len};
}

using Transfer = std::uint32_t (*)(qsfp_port_ctx *, std::uint32_t, std::uint32_t, std::uint32_t, void *);

// The library moves lower memory and an upper page in separate accesses, so
// a range across register 127/128 goes as two: lower part, then upper part.
std::uint32_t in_halves(Transfer transfer, qsfp_port_ctx *port, const Range &r, std::uint8_t *bytes) {
    const std::uint32_t end = r.reg + r.len;
    if (r.reg < kHalfPage && end > kHalfPage) {
        const std::uint32_t lower = kHalfPage - r.reg;
        const std::uint32_t rc = transfer(port, r.reg, r.page, lower, bytes);
        return rc != QSFP_OK ? rc : transfer(port, kHalfPage, r.page, r.len - lower, bytes + lower);
    }
    return transfer(port, r.reg, r.page, r.len, bytes);
}

std::string hex_lines(const Range &r, const std::vector<std::uint8_t> &bytes) {
    std::string text;
    char cell[16];
    for (std::uint32_t i = 0; i < bytes.size(); ++i) {
        if (i % kBytesPerLine == 0) {
            if (i != 0) text += '\n';
            std::snprintf(cell, sizeof cell, "0x%02x:", r.reg + i);
            text += cell;
        }
        std::snprintf(cell, sizeof cell, " %02x", bytes[i]);
        text += cell;
    }
    return text + '\n';
}

}  // namespace

int cmd_read(Context &ctx, const RegisterArgs &args, bool json) {
    int exit_code = kExitOk;
    const std::optional<Range> r = range_args(ctx, args, exit_code);
    if (!r) return exit_code;
    const OpenPort *port = open_port(ctx, args.cage, exit_code);
    if (port == nullptr) return exit_code;
    std::vector<std::uint8_t> bytes(r->len);
    const std::uint32_t rc = in_halves(qsfp_port_read, port->handle, *r, bytes.data());
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + args.cage + ": read of page " + args.page + " register " +
                                                args.reg + " failed: " + rc_text(rc));
    }
    if (json) {
        ctx.out << json_text({{"cage", port->cage}, {"page", r->page}, {"register", r->reg}, {"length", r->len},
                              {"data", bytes}})
                << '\n';
    } else {
        ctx.out << hex_lines(*r, bytes);
    }
    return kExitOk;
}

int cmd_write(Context &ctx, const RegisterArgs &args, const std::vector<std::string> &data) {
    int exit_code = kExitOk;
    const std::optional<Range> r = range_args(ctx, args, exit_code);
    if (!r) return exit_code;
    if (data.size() != r->len) {
        return fail(ctx, kExitUsage, "length " + args.len + " needs " + std::to_string(r->len) + " data bytes, " +
                                         std::to_string(data.size()) + " given");
    }
    std::vector<std::uint8_t> bytes;
    for (const std::string &d : data) {
        const auto byte = number_arg(ctx, d, "data byte", 0, 0xFF, exit_code);
        if (!byte) return exit_code;
        bytes.push_back(static_cast<std::uint8_t>(*byte));
    }
    // Checked before a port exists: a read-only backend sees no write at all.
    const std::optional<std::uint64_t> cage = parse_number(args.cage);
    if (cage && *cage >= 1 && *cage <= ctx.session.cage_count() && !ctx.session.writable(*cage)) {
        return fail(ctx, kExitReadOnly, "cage " + args.cage + " is read-only (" + ctx.session.describe(*cage) +
                                            "): nothing written");
    }
    const OpenPort *port = open_port(ctx, args.cage, exit_code);
    if (port == nullptr) return exit_code;
    const std::uint32_t rc = in_halves(qsfp_port_write, port->handle, *r, bytes.data());
    if (rc != QSFP_OK) {
        return fail(ctx, exit_code_for(rc), "cage " + args.cage + ": write of page " + args.page + " register " +
                                                args.reg + " failed: " + rc_text(rc));
    }
    ctx.out << "cage " << port->cage << ": wrote " << r->len << (r->len == 1 ? " byte" : " bytes") << " at page "
            << r->page << " register " << r->reg << '\n';
    return kExitOk;
}

}  // namespace qsfpctl
