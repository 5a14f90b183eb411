#include "app.h"

#include <algorithm>
#include <functional>
#include <map>

#include <CLI/CLI.hpp>

#include "backend_choice.h"
#include "commands.h"
#include "exit_codes.h"

namespace qsfpctl {

namespace {

constexpr const char *kFooter =
    "Cages are numbered from 1. With no backend option the built-in emulated line card is used;\n"
    "each --image, --sysfs or --i2c adds one cage, in the order given.\n"
    "Exit codes: 0 ok; 1 the library answered an error; 2 bad command line; 3 backend not usable;\n"
    "4 no such cage or no module in it; 5 not supported by the module's driver (yet); 6 read-only backend.";

struct Arguments {
    std::vector<std::string> images, sysfs_files, i2c_devices;
    std::string cage, lanes, mode, page, buffer, trace_cage;
    RegisterArgs reg;
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
        if (arg == "--image" || arg == "--sysfs" || arg == "--i2c") {
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

    std::string error;
    CageList cages = open_cages(backend_requests(app, a, image, sysfs, i2c), options.open_i2c, error);
    if (cages.empty()) {
        err << "qsfpctl: " << (error.empty() ? "no cages" : error) << '\n';
        return kExitBackend;
    }
    PortSession session(cages, options.virtual_time);
    Context ctx{out, err, session};
    if (*list) return cmd_list(ctx, a.json);
    if (*show) return cmd_show(ctx, a.cage);
    if (*dom) return cmd_dom(ctx, a.cage, a.json);
    if (*status) return cmd_status(ctx, a.cage, a.json);
    if (*enable) return cmd_lanes(ctx, a.cage, a.lanes, true, a.json);
    if (*disable) return cmd_lanes(ctx, a.cage, a.lanes, false, a.json);
    if (*mode) return cmd_mode(ctx, a.cage, a.mode);
    if (*dump) return cmd_dump(ctx, a.cage, a.page);
    if (*read) return cmd_read(ctx, a.reg, a.json);
    if (*write) return cmd_write(ctx, a.reg, a.data);
    if (*trace) return cmd_trace(ctx, a.buffer, a.trace_cage);
    return kExitUsage;
}

}  // namespace qsfpctl
