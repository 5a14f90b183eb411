#include <qsfp/sim/image_file.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include <qsfp/sim/sff8636_map.h>

namespace qsfp::sim {

namespace {

// Lower memory and at most 256 upper pages.
constexpr std::size_t kMaxImage = kHalfPage * 257;
// A file larger than this is not a module image.
constexpr std::uintmax_t kMaxFile = 1u << 20;

constexpr std::uint8_t kCmisFlatMem = 0x80;  // CMIS lower byte 2 bit 7

ImageLoad failure(std::string why) { return {std::nullopt, std::move(why)}; }

bool cmis_identifier(std::uint8_t id) {
    // QSFP-DD, OSFP, QSFP+ with CMIS and the later CMIS form factors (SFF-8024).
    return id == 0x18 || id == 0x19 || (id >= 0x1E && id <= 0x25);
}

ImageLoad finish(ModuleMemory memory) {
    const std::uint8_t id = memory.get(0, sff8636::kIdentifier);
    const std::uint8_t status = memory.get(0, sff8636::kStatus);
    const bool says_flat = cmis_identifier(id) ? (status & kCmisFlatMem) != 0 : (status & sff8636::kFlatMem) != 0;
    memory.set_flat(says_flat && memory.pages().size() == 1);
    return {std::move(memory), {}};
}

std::string hex_byte(unsigned v) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    return {kDigits[(v >> 4) & 0xF], kDigits[v & 0xF]};
}

// "lower" or a page number in hex with an "h" suffix ("00h", "3h", "20h").
std::optional<int> page_name(const std::string &name) {
    if (name == "lower") {
        return -1;
    }
    if (name.size() < 2 || name.size() > 3 || (name.back() != 'h' && name.back() != 'H')) {
        return std::nullopt;
    }
    int page = 0;
    for (std::size_t i = 0; i + 1 < name.size(); ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        if (!std::isxdigit(c)) {
            return std::nullopt;
        }
        page = page * 16 + (std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10);
    }
    return page;
}

struct Block {
    int page;  // -1: lower memory
    std::size_t offset;
};

// The layout entries of a sidecar, checked against the data's size.
std::optional<std::string> read_layout(std::span<const std::uint8_t> data, std::string_view json, std::vector<Block> &out) {
    const nlohmann::json doc = nlohmann::json::parse(json.begin(), json.end(), nullptr, false);
    if (doc.is_discarded() || !doc.is_object()) {
        return "pages.json is not a JSON object";
    }
    const auto layout = doc.find("layout");
    if (layout == doc.end() || !layout->is_array() || layout->empty()) {
        return "pages.json has no \"layout\" list";
    }
    std::set<int> seen;
    for (const nlohmann::json &item : *layout) {
        if (!item.is_object() || !item.contains("page") || !item["page"].is_string() || !item.contains("offset") ||
            !item["offset"].is_number_unsigned() || !item.contains("length") || !item["length"].is_number_unsigned()) {
            return "pages.json: a layout entry lacks a page name, an offset or a length";
        }
        const std::string name = item["page"].get<std::string>();
        const std::optional<int> page = page_name(name);
        if (!page) {
            return "pages.json: \"" + name + "\" is not a page name";
        }
        const std::uint64_t offset = item["offset"].get<std::uint64_t>();
        const std::uint64_t length = item["length"].get<std::uint64_t>();
        if (length != kHalfPage) {
            return "pages.json: page " + name + " is not 128 bytes long";
        }
        if (offset > data.size() || data.size() - offset < length) {
            return "image is truncated: page " + name + " needs bytes up to " + std::to_string(offset + length) +
                   ", the file has " + std::to_string(data.size());
        }
        if (!seen.insert(*page).second) {
            return "pages.json: page " + name + " appears twice";
        }
        out.push_back({*page, static_cast<std::size_t>(offset)});
    }
    if (!seen.count(-1) || !seen.count(0)) {
        return "pages.json must list lower memory and page 00h";
    }
    return std::nullopt;
}

ModuleMemory assemble(std::span<const std::uint8_t> data, const std::vector<Block> &blocks) {
    ModuleMemory memory;
    for (const Block &b : blocks) {
        const auto bytes = data.subspan(b.offset, kHalfPage);
        if (b.page < 0) {
            memory.set_bytes(0, 0, bytes);
        } else {
            const auto page = static_cast<std::uint8_t>(b.page);
            memory.add_page(page);
            memory.set_bytes(page, kHalfPage, bytes);
        }
    }
    return memory;
}

std::optional<std::uint8_t> hex_value(std::string_view token) {
    if (token.size() != 2 || !std::isxdigit(static_cast<unsigned char>(token[0])) ||
        !std::isxdigit(static_cast<unsigned char>(token[1]))) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(std::stoul(std::string(token), nullptr, 16));
}

std::vector<std::string_view> split_words(std::string_view line) {
    std::vector<std::string_view> words;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) {
            ++i;
        }
        const std::size_t start = i;
        while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i]))) {
            ++i;
        }
        if (i > start) {
            words.push_back(line.substr(start, i - start));
        }
    }
    return words;
}

// "0x01a0:" -> 0x1a0; nullopt for any other word.
std::optional<std::size_t> line_address(std::string_view word) {
    if (word.size() < 4 || word[0] != '0' || (word[1] != 'x' && word[1] != 'X') || word.back() != ':') {
        return std::nullopt;
    }
    const std::string_view digits = word.substr(2, word.size() - 3);
    if (digits.size() > 6 || !std::all_of(digits.begin(), digits.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); })) {
        return std::nullopt;
    }
    return std::stoul(std::string(digits), nullptr, 16);
}

using Cells = std::vector<std::optional<std::uint8_t>>;

// One dump line into `cells`; an error text when it does not read.
std::optional<std::string> read_hex_line(std::size_t address, const std::vector<std::string_view> &words, std::size_t number,
                                         Cells &cells) {
    for (std::size_t w = 1; w < words.size(); ++w) {
        if (words[w] == ":") {
            continue;  // a separator between the two halves of a line
        }
        const std::optional<std::uint8_t> byte = hex_value(words[w]);
        if (!byte) {
            return "line " + std::to_string(number) + ": \"" + std::string(words[w]) + "\" is not a hex byte";
        }
        if (address >= kMaxImage) {
            return "line " + std::to_string(number) + ": address beyond the largest module image";
        }
        if (cells[address] && *cells[address] != *byte) {
            return "line " + std::to_string(number) + ": a second, different value for address " + std::to_string(address);
        }
        cells[address++] = *byte;
    }
    return std::nullopt;
}

// Whole 128-byte blocks of the dump: block 0 lower memory, block k page k-1.
ImageLoad memory_from_cells(const Cells &cells) {
    std::vector<std::uint8_t> data;
    std::vector<Block> blocks;
    for (std::size_t block = 0; block * kHalfPage < cells.size(); ++block) {
        const auto first = cells.begin() + static_cast<std::ptrdiff_t>(block * kHalfPage);
        const auto present = std::count_if(first, first + kHalfPage, [](const auto &c) { return c.has_value(); });
        if (present == 0) {
            continue;
        }
        const std::string what = block == 0 ? "lower memory" : "page " + hex_byte(static_cast<unsigned>(block - 1)) + "h";
        if (present != static_cast<std::ptrdiff_t>(kHalfPage)) {
            return failure("hex dump: " + what + " is incomplete");
        }
        blocks.push_back({static_cast<int>(block) - 1, data.size()});
        std::transform(first, first + kHalfPage, std::back_inserter(data), [](const auto &c) { return *c; });
    }
    if (blocks.empty() || blocks[0].page != -1 || blocks.size() < 2 || blocks[1].page != 0) {
        return failure("hex dump does not hold lower memory and page 00h");
    }
    return finish(assemble(data, blocks));
}

bool looks_like_text(std::span<const std::uint8_t> data) {
    return !data.empty() && std::all_of(data.begin(), data.end(), [](std::uint8_t c) {
        return c == '\n' || c == '\r' || c == '\t' || (c >= 0x20 && c < 0x7F);
    });
}

std::optional<std::vector<std::uint8_t>> read_file(const std::filesystem::path &path, std::string &error) {
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) {
        error = "cannot read " + path.string() + ": " + ec.message();
        return std::nullopt;
    }
    if (size > kMaxFile) {
        error = path.string() + " is too large to be a module image";
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (!in || !in.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        error = "cannot read " + path.string();
        return std::nullopt;
    }
    return bytes;
}

}  // namespace

std::filesystem::path sidecar_path(const std::filesystem::path &bin) {
    std::filesystem::path p = bin;
    return p.replace_extension(".pages.json");
}

ImageLoad image_from_binary(std::span<const std::uint8_t> data, std::string_view pages_json) {
    std::vector<Block> blocks;
    if (std::optional<std::string> error = read_layout(data, pages_json, blocks)) {
        return failure(*error);
    }
    return finish(assemble(data, blocks));
}

ImageLoad image_from_binary(std::span<const std::uint8_t> data) {
    if (data.size() < 2 * kHalfPage || data.size() % kHalfPage != 0 || data.size() > kMaxImage) {
        return failure("image of " + std::to_string(data.size()) +
                       " bytes is not lower memory and whole 128-byte pages (truncated or not an image)");
    }
    std::vector<Block> blocks;
    for (std::size_t offset = 0; offset < data.size(); offset += kHalfPage) {
        blocks.push_back({static_cast<int>(offset / kHalfPage) - 1, offset});
    }
    return finish(assemble(data, blocks));
}

ImageLoad image_from_hex_text(std::string_view text) {
    Cells cells(kMaxImage);
    std::size_t number = 0;
    bool any = false;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        ++number;
        const std::vector<std::string_view> words = split_words(text.substr(start, end - start));
        start = end + 1;
        const std::optional<std::size_t> address = words.empty() ? std::nullopt : line_address(words[0]);
        if (!address) {
            continue;  // headings, rules, blank lines
        }
        any = true;
        if (std::optional<std::string> error = read_hex_line(*address, words, number, cells)) {
            return failure("hex dump " + *error);
        }
    }
    if (!any) {
        return failure("no hex dump lines (\"0x0000: ...\") in the text");
    }
    return memory_from_cells(cells);
}

ImageLoad load_image_file(const std::filesystem::path &path) {
    std::string error;
    const std::optional<std::vector<std::uint8_t>> data = read_file(path, error);
    if (!data) {
        return failure(error);
    }
    const std::filesystem::path sidecar = sidecar_path(path);
    std::error_code ec;
    if (sidecar != path && std::filesystem::exists(sidecar, ec)) {
        const std::optional<std::vector<std::uint8_t>> json = read_file(sidecar, error);
        if (!json) {
            return failure(error);
        }
        return image_from_binary(*data, std::string_view(reinterpret_cast<const char *>(json->data()), json->size()));
    }
    if (looks_like_text(*data)) {
        return image_from_hex_text(std::string_view(reinterpret_cast<const char *>(data->data()), data->size()));
    }
    return image_from_binary(*data);
}

}  // namespace qsfp::sim
