// qsfpctl: the operator's tool over the transceiver driver library.
#include <iostream>
#include <unistd.h>

#include "app.h"

int main(int argc, char **argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    qsfpctl::RunOptions options;
    // A terminal gets redrawn progress bars and views; a pipe or file gets
    // plain lines.
    options.terminal = ::isatty(STDOUT_FILENO) == 1;
    return qsfpctl::run(args, std::cout, std::cerr, options);
}
