// Module images from files: a raw binary with its `.pages.json` sidecar (the
// layout of tests/data/eeprom: {"layout": [{"page": "lower" | "NNh",
// "offset": n, "length": 128}, ...]}), a raw binary laid out as lower memory
// then pages 00h, 01h, 02h ... in turn, or the hex text that common Linux
// tools print ("0x0000:  11 07 06 00 ..."; addresses are offsets into that
// same linear layout).
//
// The memory is flat when only page 00h is present and lower byte 2 says so:
// bit 2 for SFF-8636/8436 identifiers, bit 7 for CMIS ones.
//
// Every failure is reported in `error`; nothing is thrown and no input, however
// short or malformed, is read out of bounds.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <qsfp/sim/module.h>

namespace qsfp::sim {

struct ImageLoad {
    std::optional<ModuleMemory> memory;
    std::string error;  // empty on success

    bool ok() const { return memory.has_value(); }
};

// Reads `path`: with a sidecar (the name with ".bin" replaced by
// ".pages.json") as binary plus layout; otherwise as hex text when the file
// is text, else as a sequential binary image.
ImageLoad load_image_file(const std::filesystem::path &path);

ImageLoad image_from_binary(std::span<const std::uint8_t> data, std::string_view pages_json);
ImageLoad image_from_binary(std::span<const std::uint8_t> data);
ImageLoad image_from_hex_text(std::string_view text);

// The sidecar a binary image would have.
std::filesystem::path sidecar_path(const std::filesystem::path &bin);

}  // namespace qsfp::sim
