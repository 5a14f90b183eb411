// The identity texts of a CMIS module's inventory and the texts of modules of
// no known kind.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qsfp/qsfp_port.h>

namespace qsfp::cmis {

inline constexpr const char *kUnknownDescription = "QSFPDD UNKNOWN";
inline constexpr const char *kUnknownPid = "HDX-400G-UNKNOWN";

// Where a memory map keeps the identity texts (offsets into the 256-byte
// identification buffer).
struct IdentityLayout {
    std::uint32_t vendor_name;
    std::uint32_t oui;
    std::uint32_t part;
    std::uint32_t revision;
    std::uint32_t serial;
    std::uint32_t date_code;
};

// `length` bytes of a fixed-width text field, trailing blanks trimmed.
void copy_text(char *out, std::size_t room, const std::uint8_t *from, std::size_t length);
template <std::size_t N>
void copy_text(char (&out)[N], const std::uint8_t *from, std::size_t length) {
    copy_text(out, N, from, length);
}

// Copies the identity texts and marks the inventory valid.
void copy_identity(qsfp_port_ctx *port, const std::uint8_t *id, const IdentityLayout &layout);
void set_description(qsfp_port_ctx *port, const char *text);
void set_pid(qsfp_port_ctx *port, const char *text);
// The pre-release maps' VID: the revision byte's nibbles, "major.minor".
void set_revision_vid(qsfp_port_ctx *port, std::uint8_t revision);

}  // namespace qsfp::cmis
