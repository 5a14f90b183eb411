// The built-in emulated line card: SFF-8636 and QSFP-DD catalogue modules,
// a few with conditions raised through the emulator's monitors, one empty cage.
#pragma once

#include <memory>

#include <qsfp/sim/line_card.h>

#include "cage_backend.h"

namespace qsfpctl {

// The card with its modules inserted and their conditions raised.
std::shared_ptr<qsfp::sim::LineCard> make_emulated_card();
// The cages of a card made by make_emulated_card, in order (cage 1 first).
CageList emulated_cages(const std::shared_ptr<qsfp::sim::LineCard> &card);

}  // namespace qsfpctl
