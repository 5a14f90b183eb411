// A module image file as a read-only cage: raw binary (with or without the
// pages.json sidecar) or the hex text `ethtool -m DEV hex on` prints.
#pragma once

#include <string>

#include "cage_backend.h"

namespace qsfpctl {

OpenedCage open_image(const std::string &path);

}  // namespace qsfpctl
