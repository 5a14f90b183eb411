// Which cages a run has: the backends named on the command line, in the
// order given, or the built-in emulated line card when none is named.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cage_backend.h"
#include "i2c_bus.h"

namespace qsfp::sim {
class LineCard;
}

namespace qsfpctl {

enum class BackendKind { image, sysfs, i2c };

struct BackendRequest {
    BackendKind kind;
    std::string path;
};

// Opens every requested backend, one cage each. On the first failure the
// list is empty and `error` says what went wrong. With no request: the
// cages of `card`, or of a new emulated card when `card` is null.
CageList open_cages(const std::vector<BackendRequest> &requests, const I2cOpener &i2c_opener,
                    const std::shared_ptr<qsfp::sim::LineCard> &card, std::string &error);

}  // namespace qsfpctl
