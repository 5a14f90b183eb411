// An optoe-style sysfs EEPROM file as a cage: the kernel driver selects pages
// itself, so the file is one linear address space (see linear_map.h).
#pragma once

#include <string>

#include "cage_backend.h"

namespace qsfpctl {

OpenedCage open_sysfs(const std::string &path);

}  // namespace qsfpctl
