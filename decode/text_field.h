// Text fields of the decoded records: the bounded append that every formatter
// ends with, and the two helpers of the formatters that are not exported.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
// Identifier text of lower byte 0 ("Unknown" above 23).
const char *xcvr_identifier_to_string(uint8_t id);
// Appends up to `count` bytes as "%02x " to a hex column; at most 20 bytes
// reach a column of `size` 64. Nothing happens for a null column or bytes.
void xcvr_bytes_to_hex(const uint8_t *bytes, unsigned count, char *hex, int size);
}

namespace qsfp::decode {

// A formatter renders one value into a scratch of this size, so a single value
// is cut at 79 characters.
inline constexpr std::size_t kScratchSize = 80;

// Appends `text` to the NUL-terminated `field`, taking at most `size` less the
// field's current length characters (the field holds `size` + 1 bytes). A
// field already that long receives nothing. Answers the field.
char *append_bounded(char *field, long long size, const char *text);

}  // namespace qsfp::decode
