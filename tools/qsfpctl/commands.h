// The commands of qsfpctl. Each reaches the module only through the
// library's public API, as a port manager does, and answers an exit code.
#pragma once

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
int cmd_mode(Context &ctx, const std::string &cage, const std::string &mode);
// An empty `page` dumps what the driver's page dump holds.
int cmd_dump(Context &ctx, const std::string &cage, const std::string &page);
int cmd_read(Context &ctx, const RegisterArgs &args, bool json);
int cmd_write(Context &ctx, const RegisterArgs &args, const std::vector<std::string> &data);
// An empty `buffer` dumps every buffer; an empty `cage` brings up every cage first.
int cmd_trace(Context &ctx, const std::string &buffer, const std::string &cage);

}  // namespace qsfpctl
