// The real CMIS module images of the test data, and the blank pages a
// capture lacks.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <qsfp/sim/module.h>

namespace qsfp::test {

// tests/data/eeprom/**/cmis_*.bin, sorted.
inline std::vector<std::filesystem::path> cmis_image_files() {
    std::vector<std::filesystem::path> out;
    const auto root = std::filesystem::path(QSFP_TEST_DATA_DIR) / "eeprom";
    for (const auto &f : std::filesystem::recursive_directory_iterator(root)) {
        if (f.path().extension() == ".bin" && f.path().filename().string().starts_with("cmis_")) {
            out.push_back(f.path());
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Pages 01h, 02h, 03h, 10h and 11h that a paged image lacks, added as zeros,
// as on a blank module: a raw read of a missing page would otherwise reach
// whichever page was selected last.
inline void add_blank_pages(sim::ModuleMemory &memory) {
    if (memory.flat()) {
        return;
    }
    for (std::uint8_t page : {0x01, 0x02, 0x03, 0x10, 0x11}) {
        if (!memory.has_page(page)) memory.add_page(page);
    }
}

}  // namespace qsfp::test
