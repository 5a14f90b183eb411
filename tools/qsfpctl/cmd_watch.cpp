// `watch`: the live status of one module, refreshed. On a terminal the
// screen is cleared and redrawn with alarms coloured; otherwise each view is
// a block of its own under a heading with the time.
#include <chrono>
#include <thread>

#include "commands.h"
#include "exit_codes.h"
#include "status_view.h"
#include "text_table.h"

namespace qsfpctl {

namespace {

constexpr const char *kClearScreen = "\x1b[H\x1b[2J";

}  // namespace

int cmd_watch(Context &ctx, const WatchArgs &args) {
    int exit_code = kExitOk;
    const OpenPort *port = monitored_port(ctx, args.cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    const auto period = std::chrono::duration<double>(args.interval_s);
    const auto start = std::chrono::steady_clock::now();
    for (std::uint32_t view = 1; args.count == 0 || view <= args.count; ++view) {
        qsfp_hw_status status{};
        if (const int code = live_status(ctx, *port, status); code != kExitOk) {
            return code;
        }
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (ctx.terminal) ctx.out << kClearScreen;
        ctx.out << "cage " << args.cage << " (" << ctx.session.describe(port->cage) << "), view " << view << " at "
                << fixed(elapsed, 1) << " s" << (ctx.terminal ? ", every " + fixed(args.interval_s, 1) + " s" : "")
                << "\n\n";
        print_status(ctx, status, ctx.terminal);
        if (!ctx.terminal) ctx.out << '\n';
        ctx.out.flush();
        if (args.count != 0 && view == args.count) break;
        // Real time: the operator's screen, not the library's waits.
        std::this_thread::sleep_for(period);
    }
    return kExitOk;
}

}  // namespace qsfpctl
