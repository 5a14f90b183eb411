// qsfpctl as a function: the program's main and the tests call the same entry.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "i2c_bus.h"

namespace qsfpctl {

struct RunOptions {
    // How `--i2c DEVICE` reaches the bus; tests put a fake in its place.
    I2cOpener open_i2c = open_linux_i2c;
    // The library's waits stay on the virtual clock even for real backends
    // (tests of the backends themselves).
    bool virtual_time = false;
};

// `args` without the program name. Answers the exit code (exit_codes.h).
int run(const std::vector<std::string> &args, std::ostream &out, std::ostream &err, const RunOptions &options = {});

}  // namespace qsfpctl
