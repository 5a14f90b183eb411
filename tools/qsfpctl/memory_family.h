// Which memory map a module's identifier byte (SFF-8024) says it follows,
// for the show text of modules the library bound no driver to.
#pragma once

#include <cstdint>

namespace qsfpctl {

enum class MemoryFamily { unknown, sff8636, cmis };

constexpr MemoryFamily memory_family(std::uint8_t identifier) {
    switch (identifier) {
    case 0x0C:  // QSFP
    case 0x0D:  // QSFP+
    case 0x11:  // QSFP28
        return MemoryFamily::sff8636;
    case 0x18:  // QSFP-DD
    case 0x19:  // OSFP
    case 0x1E:  // QSFP+ with CMIS
        return MemoryFamily::cmis;
    default:
        return MemoryFamily::unknown;
    }
}

static_assert(memory_family(0x11) == MemoryFamily::sff8636);
static_assert(memory_family(0x19) == MemoryFamily::cmis);
static_assert(memory_family(0x00) == MemoryFamily::unknown);

}  // namespace qsfpctl
