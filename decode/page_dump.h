// Hex dump of one memory page as text lines, as the show texts print it under
// their "MSA Data" headings.
#pragma once

#include <cstdint>

namespace qsfp::decode {

// The area the show texts dump a page into, and what they dump.
inline constexpr int kDumpAreaSize = 1936;
inline constexpr std::uint32_t kPageBytes = 128;

// Lines of 16 bytes from `bytes`, the first labelled `address`: at least one
// line and at most eight, whatever `length` says. `out` (of `out_size` bytes)
// is cleared first and takes as much of the text as fits, NUL-terminated.
// Answers 0, or QSFP_ERR_INVALID for a null pointer or an `out_size` below 1.
std::uint32_t dump_page(const std::uint8_t *bytes, std::uint32_t address, char *out, int out_size,
                        std::uint32_t length);

}  // namespace qsfp::decode
