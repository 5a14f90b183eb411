// A plain module image for exercising the framework: identifier bytes, the
// flat-memory flag and the host-writable control bytes of SFF-8636, nothing
// that a driver would act on.
#pragma once

#include <cstdint>

#include <qsfp/sim/module.h>

namespace qsfp::sim {

// Identifier at lower byte 0 and upper byte 128; pages 00h-03h unless flat.
ModuleMemory basic_image(std::uint8_t identifier, bool flat = false);

}  // namespace qsfp::sim
