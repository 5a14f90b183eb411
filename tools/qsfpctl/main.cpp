// qsfpctl: the operator's tool over the transceiver driver library.
#include <iostream>

#include "app.h"

int main(int argc, char **argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return qsfpctl::run(args, std::cout, std::cerr);
}
