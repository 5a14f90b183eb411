// `trace`: the library's trace buffers after its ports came up in this run.
#include <array>
#include <string_view>

#include <qsfp/platform_ref.h>

#include "commands.h"
#include "exit_codes.h"

namespace qsfpctl {

namespace {

// The buffers the library opens at its first port creation.
constexpr std::array<std::string_view, 4> kBuffers = {"qsfp_err", "qsfp_evt", "qsfp_periodic",
                                                      "qsfp_port_periodic"};

void print_entry(void *cookie, uint64_t sequence, uint32_t, const char *, const char *text) {
    auto &out = *static_cast<std::ostream *>(cookie);
    std::string_view t(text);
    while (!t.empty() && t.back() == '\n') t.remove_suffix(1);
    out << sequence << ' ' << t << '\n';
}

void print_buffer(Context &ctx, std::string_view name) {
    ztrace_buffer *buf = ztrace_ref_find(std::string(name).c_str());
    ctx.out << "=== " << name << " (" << (buf != nullptr ? ztrace_ref_entry_count(buf) : 0) << " entries) ===\n";
    if (buf != nullptr) {
        ztrace_ref_for_each(buf, print_entry, &ctx.out);
    }
}

}  // namespace

int cmd_trace(Context &ctx, const std::string &buffer, const std::string &cage) {
    bool known = buffer.empty();
    for (const std::string_view name : kBuffers) known = known || name == buffer;
    if (!known) {
        return fail(ctx, kExitUsage, "no trace buffer \"" + buffer +
                                         "\": the buffers are qsfp_err, qsfp_evt, qsfp_periodic, qsfp_port_periodic");
    }
    if (cage.empty()) {
        ctx.session.open_all();
    } else {
        int exit_code = kExitOk;
        if (open_port(ctx, cage, exit_code) == nullptr) {
            return exit_code;
        }
    }
    for (const std::string_view name : kBuffers) {
        if (buffer.empty() || name == buffer) print_buffer(ctx, name);
    }
    return kExitOk;
}

}  // namespace qsfpctl
