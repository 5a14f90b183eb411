// The real module images of tests/data/eeprom: each .bin with the page at
// each 128-byte offset given by its .pages.json.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace qsfp::test {

struct ModuleImage {
    std::string name;                                     // file name without ".bin"
    std::map<std::string, std::vector<std::uint8_t>> pages;  // "lower", "00h", "01h", ... 128 bytes each

    // The page, or 128 zero bytes when the file lacks it.
    std::vector<std::uint8_t> page(const std::string &which) const;
    // The named pages one after the other, absent ones zero-filled.
    std::vector<std::uint8_t> layout(const std::vector<std::string> &order) const;
};

// How a test names an image in its messages.
inline void PrintTo(const ModuleImage &image, std::ostream *os) {
    *os << image.name;
}

// Images whose file names start with `prefix` ("sff8636_", "cmis_") in the top
// level of tests/data/eeprom, sorted by name.
std::vector<ModuleImage> module_images(const std::string &prefix);
ModuleImage load_module_image(const std::string &bin_path);

}  // namespace qsfp::test
