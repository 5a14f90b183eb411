#include "decode/image_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace qsfp::test {

namespace {

constexpr std::size_t kPageBytes = 128;

std::vector<std::uint8_t> read_bytes(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

std::vector<std::uint8_t> ModuleImage::page(const std::string &which) const {
    const auto it = pages.find(which);
    return it == pages.end() ? std::vector<std::uint8_t>(kPageBytes, 0) : it->second;
}

std::vector<std::uint8_t> ModuleImage::layout(const std::vector<std::string> &order) const {
    std::vector<std::uint8_t> out;
    for (const std::string &which : order) {
        const std::vector<std::uint8_t> p = page(which);
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

ModuleImage load_module_image(const std::string &bin_path) {
    const std::filesystem::path bin(bin_path);
    std::filesystem::path json_path = bin;
    json_path.replace_extension(".pages.json");
    const std::vector<std::uint8_t> bytes = read_bytes(bin);
    std::ifstream json_in(json_path);
    const nlohmann::json sidecar = nlohmann::json::parse(json_in);

    ModuleImage image;
    image.name = bin.stem().string();
    for (const nlohmann::json &entry : sidecar.at("layout")) {
        const auto offset = entry.at("offset").get<std::size_t>();
        const auto length = entry.at("length").get<std::size_t>();
        if (length != kPageBytes || offset + length > bytes.size()) {
            throw std::runtime_error("unexpected page layout in " + json_path.string());
        }
        image.pages[entry.at("page").get<std::string>()] =
            std::vector<std::uint8_t>(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                                      bytes.begin() + static_cast<std::ptrdiff_t>(offset + length));
    }
    return image;
}

std::vector<ModuleImage> module_images(const std::string &prefix) {
    std::vector<std::string> paths;
    for (const auto &entry : std::filesystem::directory_iterator(QSFP_TEST_DATA_DIR "/eeprom")) {
        const std::string file = entry.path().filename().string();
        if (entry.is_regular_file() && file.rfind(prefix, 0) == 0 && entry.path().extension() == ".bin") {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<ModuleImage> images;
    for (const std::string &p : paths) {
        images.push_back(load_module_image(p));
    }
    return images;
}

}  // namespace qsfp::test
