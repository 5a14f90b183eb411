// The real SFF-8636 module images of the test data, as emulated modules.
#pragma once

#include <algorithm>
#include <filesystem>
#include <vector>

#include <qsfp/sim/image_file.h>
#include <qsfp/sim/module.h>

namespace qsfp::test {

inline std::vector<std::filesystem::path> sff8636_image_files() {
    std::vector<std::filesystem::path> out;
    for (const auto &f : std::filesystem::directory_iterator(std::filesystem::path(QSFP_TEST_DATA_DIR) / "eeprom")) {
        if (f.path().extension() == ".bin" && f.path().filename().string().rfind("sff8636_", 0) == 0) {
            out.push_back(f.path());
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Most captures hold lower memory and page 00h only; a paged module had
// pages 01h-03h too, with contents that were not captured (zero here).
inline std::optional<sim::ModuleMemory> real_module_memory(const std::filesystem::path &file) {
    auto load = sim::load_image_file(file);
    if (!load.memory) {
        return std::nullopt;
    }
    if (!load.memory->flat()) {
        for (std::uint8_t page = 1; page <= 3; ++page) load.memory->add_page(page);
    }
    return std::move(load.memory);
}

}  // namespace qsfp::test
