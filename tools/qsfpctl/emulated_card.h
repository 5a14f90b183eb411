// The built-in emulated line card: SFF-8636 and QSFP-DD catalogue modules,
// a few with conditions raised through the emulator's monitors, one empty cage.
#pragma once

#include "cage_backend.h"

namespace qsfpctl {

// The cages of the card, in order (cage 1 first).
CageList emulated_card();

}  // namespace qsfpctl
