// The commands of qsfpctl. Each reaches the module only through the
// library's public API, as a port manager does, and answers an exit code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "command_context.h"

namespace qsfpctl {

struct RegisterArgs {
    std::string cage;
    std::string page;
    std::string reg;
    std::string len;
};

int cmd_list(Context &ctx, bool json);
int cmd_show(Context &ctx, const std::string &cage);
int cmd_dom(Context &ctx, const std::string &cage, bool json);
int cmd_status(Context &ctx, const std::string &cage, bool json);
// An empty `lanes` means every lane of the module.
int cmd_lanes(Context &ctx, const std::string &cage, const std::string &lanes, bool enable, bool json);
int cmd_mode(Context &ctx, const std::string &cage, const std::string &mode, bool json);
// An empty `page` dumps what the driver's page dump holds.
int cmd_dump(Context &ctx, const std::string &cage, const std::string &page);
int cmd_read(Context &ctx, const RegisterArgs &args, bool json);
int cmd_write(Context &ctx, const RegisterArgs &args, const std::vector<std::string> &data);
struct CdbArgs {
    std::string cages;   // "9", "9,10", "9-12"
    std::string action;  // query, download
    std::string file;
    bool run = false;
    bool commit = false;
    std::string sha256;  // empty: not checked
    bool json = false;   // one JSON document of every cage's result, no progress display
};

// One group of signal-integrity targets: empty when not to be changed.
struct SiArgs {
    std::string cage;
    std::string lanes;  // empty: every lane
    std::string tx_eq, rx_pre, rx_post, rx_amp;
    bool json = false;
};

struct WatchArgs {
    std::string cage;
    double interval_s = 1.0;
    std::uint32_t count = 0;  // 0: until interrupted
};

struct ServeArgs {
    std::string listen;
    std::uint32_t max_scrapes = 0;  // 0: until interrupted
};

// An empty `buffer` dumps every buffer; an empty `cage` brings up every cage first.
int cmd_trace(Context &ctx, const std::string &buffer, const std::string &cage);
int cmd_cdb(Context &ctx, const CdbArgs &args);
int cmd_si(Context &ctx, const SiArgs &args);
int cmd_watch(Context &ctx, const WatchArgs &args);
// An empty `output` prints to standard output.
int cmd_metrics(Context &ctx, const std::string &output);
int cmd_serve(Context &ctx, const ServeArgs &args);

}  // namespace qsfpctl
