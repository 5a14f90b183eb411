#include "command_context.h"

#include <algorithm>
#include <cctype>

#include "exit_codes.h"
#include "library_answer.h"

namespace qsfpctl {

int fail(Context &ctx, int exit_code, const std::string &message) {
    ctx.err << "qsfpctl: " << message << '\n';
    return exit_code;
}

std::optional<std::uint64_t> parse_number(const std::string &text) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 10) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const char c : digits) {
        const auto u = static_cast<unsigned char>(c);
        if (hex ? !std::isxdigit(u) : !std::isdigit(u)) {
            return std::nullopt;
        }
        const int digit = std::isdigit(u) ? c - '0' : std::tolower(u) - 'a' + 10;
        value = value * (hex ? 16 : 10) + static_cast<std::uint64_t>(digit);
    }
    return value;
}

std::optional<std::uint32_t> number_arg(Context &ctx, const std::string &text, const char *what, std::uint32_t min,
                                        std::uint32_t max, int &exit_code) {
    const std::optional<std::uint64_t> value = parse_number(text);
    if (!value) {
        exit_code = fail(ctx, kExitUsage, std::string(what) + " \"" + text + "\" is not a number (decimal or 0x hex)");
        return std::nullopt;
    }
    if (*value < min || *value > max) {
        exit_code = fail(ctx, kExitUsage, std::string(what) + " " + text + " is out of range " + std::to_string(min) +
                                              "-" + std::to_string(max));
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*value);
}

namespace {

// A cage number that exists on this backend.
std::optional<std::size_t> cage_number(Context &ctx, const std::string &cage_text, int &exit_code) {
    const std::optional<std::uint64_t> cage = parse_number(cage_text);
    if (!cage) {
        exit_code = fail(ctx, kExitUsage, "cage \"" + cage_text + "\" is not a number");
        return std::nullopt;
    }
    const std::size_t count = ctx.session.cage_count();
    if (*cage < 1 || *cage > count) {
        exit_code = fail(ctx, kExitNoModule, "no cage " + cage_text + ": this backend has cage" +
                                                 (count == 1 ? " 1" : "s 1-" + std::to_string(count)));
        return std::nullopt;
    }
    return static_cast<std::size_t>(*cage);
}

}  // namespace

std::vector<std::size_t> cage_list(Context &ctx, const std::string &text, int &exit_code) {
    std::vector<std::size_t> cages;
    std::size_t from = 0;
    while (from <= text.size()) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        const std::string item = text.substr(from, comma - from);
        const std::size_t dash = item.find('-');
        const auto first = cage_number(ctx, item.substr(0, dash), exit_code);
        if (!first) return {};
        std::size_t last = *first;
        if (dash != std::string::npos) {
            const auto end = cage_number(ctx, item.substr(dash + 1), exit_code);
            if (!end) return {};
            if (*end < *first) {
                exit_code = fail(ctx, kExitUsage, "cage range \"" + item + "\" runs backwards");
                return {};
            }
            last = *end;
        }
        for (std::size_t cage = *first; cage <= last; ++cage) {
            if (std::find(cages.begin(), cages.end(), cage) == cages.end()) cages.push_back(cage);
        }
        from = comma + 1;
    }
    return cages;
}

const OpenPort *open_port(Context &ctx, const std::string &cage_text, int &exit_code) {
    const std::optional<std::size_t> cage = cage_number(ctx, cage_text, exit_code);
    if (!cage) {
        return nullptr;
    }
    ctx.session.open({*cage});
    return opened_port(ctx, *cage, exit_code);
}

const OpenPort *opened_port(Context &ctx, std::size_t cage, int &exit_code) {
    const OpenPort &port = ctx.session.port(cage);
    if (port.handle != nullptr && !port.empty) {
        return &port;
    }
    const std::string name = std::to_string(cage);
    if (port.empty) {
        exit_code = fail(ctx, kExitNoModule, "cage " + name + " is empty: no module answers");
    } else {
        exit_code = fail(ctx, exit_code_for(port.create_rc),
                         "cage " + name + ": the library could not create its port: " + rc_text(port.create_rc));
    }
    return nullptr;
}

}  // namespace qsfpctl
