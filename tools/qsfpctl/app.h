// qsfpctl as a function: the program's main and the tests call the same entry.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "i2c_bus.h"

namespace qsfp::sim {
class LineCard;
}

namespace qsfpctl {

struct RunOptions {
    // How `--i2c DEVICE` reaches the bus; tests put a fake in its place.
    I2cOpener open_i2c = open_linux_i2c;
    // The library's waits stay on the virtual clock even for real backends
    // (tests of the backends themselves).
    bool virtual_time = false;
    // Standard output is a terminal: progress bars and views are redrawn in
    // place, alarms coloured.
    bool terminal = false;
    // The emulated line card to run on instead of a new one (tests look at
    // its modules afterwards); see make_emulated_card.
    std::shared_ptr<qsfp::sim::LineCard> card;
};

// `args` without the program name. Answers the exit code (exit_codes.h).
int run(const std::vector<std::string> &args, std::ostream &out, std::ostream &err, const RunOptions &options = {});

}  // namespace qsfpctl
