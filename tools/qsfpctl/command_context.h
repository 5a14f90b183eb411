// What every command works with: the output streams, the cages and their
// ports, and the common steps of reaching a port.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "port_session.h"

namespace qsfpctl {

struct Context {
    std::ostream &out;
    std::ostream &err;
    PortSession &session;
    // `out` is a terminal (see RunOptions::terminal).
    bool terminal = false;
};

// Prints the one-line error ("qsfpctl: ...") and answers `exit_code`.
int fail(Context &ctx, int exit_code, const std::string &message);

// A number as operators type it: decimal, or hexadecimal with 0x.
std::optional<std::uint64_t> parse_number(const std::string &text);
// Parses `text` as `what` within [min, max]; on failure prints why and sets
// `exit_code`.
std::optional<std::uint32_t> number_arg(Context &ctx, const std::string &text, const char *what, std::uint32_t min,
                                        std::uint32_t max, int &exit_code);

// Opens the port of `cage_text` (a cage number). Answers null, having said
// why and set `exit_code`, when there is no such cage, the cage is empty or
// the library has no port for it.
const OpenPort *open_port(Context &ctx, const std::string &cage_text, int &exit_code);
// The same for a cage already opened in the session.
const OpenPort *opened_port(Context &ctx, std::size_t cage, int &exit_code);

// Cages as operators name several: "9", "9,10", "9-12", "1-4,9". Each must
// exist; answers an empty list, having said why and set `exit_code`, if not.
std::vector<std::size_t> cage_list(Context &ctx, const std::string &text, int &exit_code);

}  // namespace qsfpctl
