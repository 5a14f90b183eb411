#include "app.h"

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>
#include <utility>

#include <CLI/CLI.hpp>

#include "access_log.h"
#include "backend_choice.h"
#include "commands.h"
#include "exit_codes.h"
#include "replay_backend.h"

namespace qsfpctl {

namespace {

constexpr const char *kFooter =
    "Cages are numbered from 1. With no backend option the built-in emulated line card is used;\n"
    "each --image, --sysfs or --i2c adds one cage, in the order given; --replay takes the cages of its log.\n"
    "Exit codes: 0 ok; 1 the library answered an error; 2 bad command line; 3 backend not usable;\n"
    "4 no such cage or no module in it; 5 not supported by the module's driver (yet); 6 read-only backend.";

struct Arguments {
    std::vector<std::string> images, sysfs_files, i2c_devices;
    std::string record, replay;
    std::string cage, lanes, mode, page, buffer, trace_cage, metrics_output;
    RegisterArgs reg;
    CdbArgs cdb;
    SiArgs si;
    WatchArgs watch;
    ServeArgs serve;
    std::vector<std::string> data;
    bool json = false;
};

// The backends in command-line order, however the three options interleave.
std::vector<BackendRequest> backend_requests(const CLI::App &app, const Arguments &a, const CLI::Option *image,
                                             const CLI::Option *sysfs, const CLI::Option *i2c) {
    std::vector<BackendRequest> requests;
    std::map<const CLI::Option *, std::size_t> taken;
    for (const CLI::Option *option : app.parse_order()) {
        const std::size_t n = taken[option]++;
        if (option == image && n < a.images.size()) requests.push_back({BackendKind::image, a.images[n]});
        if (option == sysfs && n < a.sysfs_files.size()) requests.push_back({BackendKind::sysfs, a.sysfs_files[n]});
        if (option == i2c && n < a.i2c_devices.size()) requests.push_back({BackendKind::i2c, a.i2c_devices[n]});
    }
    return requests;
}

// The first word that is neither an option nor a backend option's value:
// the command the operator meant, for a clearer refusal than the parser's.
std::string first_word(const std::vector<std::string> &args) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (arg == "--image" || arg == "--sysfs" || arg == "--i2c" || arg == "--record" || arg == "--replay") {
            ++i;
        } else if (arg.empty() || arg[0] != '-') {
            return arg;
        }
    }
    return "";
}

CLI::App *add_command(CLI::App &app, const char *name, const char *description) {
    CLI::App *sub = app.add_subcommand(name, description);
    sub->fallthrough();
    return sub;
}

void add_cage(CLI::App *sub, Arguments &a) {
    sub->add_option("CAGE", a.cage, "cage number (1 = first)")->required();
}

void add_json(CLI::App *sub, Arguments &a) { sub->add_flag("--json", a.json, "print JSON for scripts"); }

void add_register_args(CLI::App *sub, Arguments &a) {
    sub->add_option("CAGE", a.reg.cage, "cage number")->required();
    sub->add_option("PAGE", a.reg.page, "upper page 0-255 (ignored for registers 0-127)")->required();
    sub->add_option("REG", a.reg.reg, "first register 0-255")->required();
    sub->add_option("LEN", a.reg.len, "number of bytes; REG + LEN at most 256")->required();
}

}  // namespace

int run(const std::vector<std::string> &args, std::ostream &out, std::ostream &err, const RunOptions &options) {
    CLI::App app{"qsfpctl - operate QSFP/QSFP28 (SFF-8636) and QSFP-DD (CMIS) transceivers through the qsfp library",
                 "qsfpctl"};
    app.footer(kFooter);
    app.require_subcommand(1);
    Arguments a;
    CLI::Option *image = app.add_option("--image", a.images,
                                        "module image file: raw binary (with its .pages.json sidecar if present) or "
                                        "`ethtool -m DEV hex on` text; read-only")
                             ->type_name("FILE");
    CLI::Option *sysfs =
        app.add_option("--sysfs", a.sysfs_files, "optoe-style sysfs EEPROM file (pages selected by the kernel)")
            ->type_name("FILE");
    CLI::Option *i2c =
        app.add_option("--i2c", a.i2c_devices, "Linux i2c-dev bus of a cage, module at address 0x50 (/dev/i2c-N)")
            ->type_name("DEVICE");
    app.add_option("--record", a.record, "write every bus access of the run to FILE, one JSON line each")
        ->type_name("FILE");
    app.add_option("--replay", a.replay, "answer the library from a --record log instead of a backend")
        ->type_name("FILE");

    CLI::App *list = add_command(app, "list", "one line per cage: type, vendor, part number, serial, rate, state");
    add_json(list, a);
    CLI::App *show = add_command(app, "show", "the library's show text of the module");
    add_cage(show, a);
    CLI::App *dom = add_command(app, "dom", "the driver's monitoring reports");
    add_cage(dom, a);
    add_json(dom, a);
    CLI::App *status = add_command(app, "status", "live status: lane powers, bias, Tx disable, flags, thresholds");
    add_cage(status, a);
    add_json(status, a);
    CLI::App *enable = add_command(app, "enable", "admin-up lanes of the port");
    CLI::App *disable = add_command(app, "disable", "admin-down lanes of the port");
    for (CLI::App *sub : {enable, disable}) {
        add_cage(sub, a);
        sub->add_option("--lanes", a.lanes, "lane mask, bit n = lane n+1 (default: every lane)")->type_name("MASK");
        add_json(sub, a);
    }
    CLI::App *mode = add_command(app, "mode", "ask the driver to accept a port mode");
    add_cage(mode, a);
    mode->add_option("MODE", a.mode, "port mode number")->required();
    add_json(mode, a);
    CLI::App *dump = add_command(app, "dump", "module memory as the library's page dump");
    add_cage(dump, a);
    dump->add_option("--page", a.page, "only this upper page (0-255), or \"lower\"")->type_name("P");
    CLI::App *read = add_command(app, "read", "read module registers");
    add_register_args(read, a);
    add_json(read, a);
    CLI::App *write = add_command(app, "write", "write module registers (not on read-only backends)");
    add_register_args(write, a);
    write->add_option("DATA", a.data, "LEN byte values (decimal or 0x hex)")->required();
    CLI::App *trace = add_command(app, "trace", "bring the ports up, then print the library's trace buffers");
    trace->add_option("BUFFER", a.buffer, "qsfp_err, qsfp_evt, qsfp_periodic or qsfp_port_periodic (default: all)");
    trace->add_option("--cage", a.trace_cage, "bring up only this cage")->type_name("N");
    CLI::App *cdb = add_command(app, "cdb", "CMIS CDB: firmware status query, firmware download (run, commit)");
    cdb->add_option("CAGES", a.cdb.cages, "cage, list or range: 9, 9,10, 9-12 (in parallel, one thread each)")
        ->required();
    cdb->add_option("ACTION", a.cdb.action, "query or download")->required()->check(CLI::IsMember({"query", "download"}));
    cdb->add_option("FILE", a.cdb.file, "firmware image of a download");
    cdb->add_flag("--run", a.cdb.run, "run the downloaded image");
    cdb->add_flag("--commit", a.cdb.commit, "commit the image after running it (with --run)");
    cdb->add_option("--sha256", a.cdb.sha256, "SHA-256 the image must have; checked before anything is sent")
        ->type_name("HEX");
    cdb->add_flag("--json", a.cdb.json, "print JSON for scripts: every cage's result, no progress display");
    CLI::App *si = add_command(app, "si", "set CMIS signal-integrity targets by lane, then show what the module holds");
    si->add_option("CAGE", a.si.cage, "cage number")->required();
    si->add_option("--lanes", a.si.lanes, "lane mask, bit n = lane n+1 (default: every lane)")->type_name("MASK");
    si->add_option("--tx-eq", a.si.tx_eq, "Tx input equaliser target 0-15")->type_name("V");
    si->add_option("--rx-pre", a.si.rx_pre, "Rx output pre-cursor target 0-15")->type_name("V");
    si->add_option("--rx-post", a.si.rx_post, "Rx output post-cursor target 0-15")->type_name("V");
    si->add_option("--rx-amp", a.si.rx_amp, "Rx output amplitude target 0-15")->type_name("V");
    si->add_flag("--json", a.si.json, "print JSON for scripts");
    CLI::App *watch = add_command(app, "watch", "refreshing view of a module's monitors, alarms highlighted");
    watch->add_option("CAGE", a.watch.cage, "cage number")->required();
    watch->add_option("--interval", a.watch.interval_s, "seconds between refreshes (default 1)")
        ->type_name("S")
        ->check(CLI::Range(0.0, 3600.0));
    watch->add_option("--count", a.watch.count, "stop after N views (default: until interrupted)")->type_name("N");
    CLI::App *metrics = add_command(app, "metrics", "every cage's monitors, thresholds and flags for Prometheus");
    metrics->add_option("--output", a.metrics_output,
                        "write a node-exporter textfile (replaced atomically) instead of printing")
        ->type_name("FILE");
    CLI::App *serve = add_command(app, "serve", "serve the metrics over HTTP at /metrics");
    serve->add_option("--listen", a.serve.listen, "address to listen on, ADDR:PORT (port 0: any free port)")
        ->type_name("ADDR:PORT")
        ->required();
    serve->add_option("--max-scrapes", a.serve.max_scrapes, "stop after N scrapes of /metrics (default: never)")
        ->type_name("N");
    const std::vector<std::pair<CLI::App *, std::function<int(Context &)>>> commands = {
        {list, [&a](Context &c) { return cmd_list(c, a.json); }},
        {show, [&a](Context &c) { return cmd_show(c, a.cage); }},
        {dom, [&a](Context &c) { return cmd_dom(c, a.cage, a.json); }},
        {status, [&a](Context &c) { return cmd_status(c, a.cage, a.json); }},
        {enable, [&a](Context &c) { return cmd_lanes(c, a.cage, a.lanes, true, a.json); }},
        {disable, [&a](Context &c) { return cmd_lanes(c, a.cage, a.lanes, false, a.json); }},
        {mode, [&a](Context &c) { return cmd_mode(c, a.cage, a.mode, a.json); }},
        {dump, [&a](Context &c) { return cmd_dump(c, a.cage, a.page); }},
        {read, [&a](Context &c) { return cmd_read(c, a.reg, a.json); }},
        {write, [&a](Context &c) { return cmd_write(c, a.reg, a.data); }},
        {trace, [&a](Context &c) { return cmd_trace(c, a.buffer, a.trace_cage); }},
        {cdb, [&a](Context &c) { return cmd_cdb(c, a.cdb); }},
        {si, [&a](Context &c) { return cmd_si(c, a.si); }},
        {watch, [&a](Context &c) { return cmd_watch(c, a.watch); }},
        {metrics, [&a](Context &c) { return cmd_metrics(c, a.metrics_output); }},
        {serve, [&a](Context &c) { return cmd_serve(c, a.serve); }},
    };

    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e, out, err);
    } catch (const CLI::ParseError &e) {
        const std::string word = first_word(args);
        if (app.get_subcommands().empty() && !word.empty()) {
            err << "qsfpctl: unknown command \"" << word << "\" (see qsfpctl --help)\n";
        } else {
            err << "qsfpctl: " << e.what() << " (see qsfpctl --help)\n";
        }
        return kExitUsage;
    }

    const std::vector<BackendRequest> requests = backend_requests(app, a, image, sysfs, i2c);
    if (!a.replay.empty() && !requests.empty()) {
        err << "qsfpctl: --replay answers from its log alone: no --image, --sysfs or --i2c with it\n";
        return kExitUsage;
    }
    std::string error;
    OpenedReplay replay;
    CageList cages;
    if (!a.replay.empty()) {
        replay = open_replay(a.replay);
        cages = std::move(replay.cages);
        error = replay.error;
    } else {
        cages = open_cages(requests, options.open_i2c, options.card, error);
    }
    if (cages.empty()) {
        err << "qsfpctl: " << (error.empty() ? "no cages" : error) << '\n';
        return kExitBackend;
    }
    AccessLog log;
    if (!a.record.empty()) {
        if (const std::string why = log.open(a.record); !why.empty()) {
            err << "qsfpctl: " << why << '\n';
            return kExitBackend;
        }
    }
    // A replay that leaves its log ends in one line naming the log line, not
    // in whatever the library made of the failed accesses.
    std::ostringstream replay_err;
    int code = kExitUsage;
    {
        PortSession session(cages, options.virtual_time, a.record.empty() ? nullptr : &log);
        Context ctx{out, replay.script ? replay_err : err, session, options.terminal};
        for (const auto &[sub, command] : commands) {
            if (*sub) code = command(ctx);
        }
    }
    if (replay.script) {
        if (const std::string diverged = replay_divergence(*replay.script); !diverged.empty()) {
            err << "qsfpctl: " << diverged << '\n';
            return kExitBackend;
        }
        err << replay_err.str();
    }
    return code;
}

}  // namespace qsfpctl
