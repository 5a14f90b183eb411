// A module on a two-wire bus at address 50h: the bus cannot select pages, so
// the library selects them by writing byte 127.
#pragma once

#include <string>

#include "cage_backend.h"
#include "i2c_bus.h"

namespace qsfpctl {

OpenedCage open_i2c(const std::string &device, const I2cOpener &opener);

}  // namespace qsfpctl
