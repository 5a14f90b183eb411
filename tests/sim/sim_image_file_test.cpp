// Loading module images from files: every real image of tests/data/eeprom
// with its sidecar, sequential binaries, the hex text of Linux tools, and
// truncated, malformed and random input, which must give an error, not a crash.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/image_file.h>

namespace {

namespace fs = std::filesystem;
using namespace qsfp::sim;

const fs::path kEeprom = fs::path(QSFP_TEST_DATA_DIR) / "eeprom";

std::vector<std::uint8_t> read_bytes(const fs::path &p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string read_text(const fs::path &p) {
    std::ifstream in(p);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

struct LayoutEntry {
    std::string page;
    std::size_t offset;
};

// The sidecar's entries, read here with a pattern rather than the loader's parser.
std::vector<LayoutEntry> layout_of(const fs::path &bin) {
    const std::string json = read_text(sidecar_path(bin));
    const std::regex entry(R"re("page"\s*:\s*"([^"]+)"\s*,\s*"offset"\s*:\s*(\d+))re");
    std::vector<LayoutEntry> out;
    for (auto it = std::sregex_iterator(json.begin(), json.end(), entry); it != std::sregex_iterator(); ++it) {
        out.push_back({(*it)[1].str(), std::stoul((*it)[2].str())});
    }
    return out;
}

std::vector<fs::path> real_images() {
    std::vector<fs::path> out;
    for (const auto &e : fs::recursive_directory_iterator(kEeprom)) {
        if (e.path().extension() == ".bin") {
            out.push_back(e.path());
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

int page_number(const std::string &name) { return name == "lower" ? -1 : std::stoi(name, nullptr, 16); }

TEST(ImageFileTest, EveryRealImageLoadsWithItsPages) {
    const std::vector<fs::path> images = real_images();
    ASSERT_GE(images.size(), 40u);
    for (const fs::path &bin : images) {
        const ImageLoad load = load_image_file(bin);
        ASSERT_TRUE(load.ok()) << bin << ": " << load.error;
        const std::vector<LayoutEntry> layout = layout_of(bin);
        ASSERT_FALSE(layout.empty()) << bin;
        EXPECT_EQ(load.memory->pages().size(), layout.size() - 1) << bin;  // every page but lower memory
        const std::vector<std::uint8_t> bytes = read_bytes(bin);
        for (const LayoutEntry &l : layout) {
            const int page = page_number(l.page);
            const std::vector<std::uint8_t> expected(bytes.begin() + l.offset, bytes.begin() + l.offset + 128);
            const auto got = page < 0 ? load.memory->get_bytes(0, 0, 128)
                                      : load.memory->get_bytes(static_cast<std::uint8_t>(page), 128, 128);
            EXPECT_EQ(got, expected) << bin << " page " << l.page;
        }
    }
}

TEST(ImageFileTest, FlatMemoryFollowsByte2AndThePages) {
    // SFF-8636 copper cable: byte 2 bit 2, page 00h only.
    EXPECT_TRUE(load_image_file(kEeprom / "sff8636_3M-Company_9QA0-111-12-1.00_1.bin").memory->flat());
    // CMIS copper cable: byte 2 bit 7.
    EXPECT_TRUE(load_image_file(kEeprom / "cmis_Mellanox_MCP1660-W00AE30_1.bin").memory->flat());
    // Paged optics, and a 256-byte capture of a paged module (bit 2 clear).
    EXPECT_FALSE(load_image_file(kEeprom / "sff8636_Mellanox_MMA1B00-SS1_1.bin").memory->flat());
    EXPECT_FALSE(load_image_file(kEeprom / "sff8636_DELL_3MFXG_1.bin").memory->flat());
}

class ImageFileTempTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::path(::testing::TempDir()) / ("sim_image_file_" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    fs::path write(const std::string &name, const std::vector<std::uint8_t> &bytes) {
        std::ofstream out(dir_ / name, std::ios::binary);
        out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return dir_ / name;
    }
    fs::path write(const std::string &name, const std::string &text) {
        return write(name, std::vector<std::uint8_t>(text.begin(), text.end()));
    }

    fs::path dir_;
};

TEST_F(ImageFileTempTest, TruncatedImagesAreReported) {
    const fs::path real = kEeprom / "sff8636_Mellanox_MMA1B00-SS1_1.bin";
    std::vector<std::uint8_t> bytes = read_bytes(real);
    const std::string json = read_text(sidecar_path(real));
    for (std::size_t keep : {0u, 1u, 127u, 200u, 511u, 639u}) {
        bytes.resize(keep);
        const fs::path bin = write("cut.bin", bytes);
        write("cut.pages.json", json);
        const ImageLoad load = load_image_file(bin);
        EXPECT_FALSE(load.ok()) << keep;
        EXPECT_NE(load.error.find("truncated"), std::string::npos) << keep << ": " << load.error;
    }
}

TEST_F(ImageFileTempTest, MalformedSidecarsAreReported) {
    const std::vector<std::uint8_t> bytes(640, 0x11);
    const std::string good_start = R"({"layout": [{"page": "lower", "offset": 0, "length": 128}, )";
    const std::pair<std::string, std::string> cases[] = {
        {"{not json", "not a JSON object"},
        {"[1, 2]", "not a JSON object"},
        {R"({"layout": 5})", "no \"layout\""},
        {R"({"layout": []})", "no \"layout\""},
        {good_start + R"({"page": "zz", "offset": 128, "length": 128}]})", "not a page name"},
        {good_start + R"({"page": "100h", "offset": 128, "length": 128}]})", "not a page name"},
        {good_start + R"({"page": "00h", "offset": 128, "length": 64}]})", "not 128 bytes"},
        {good_start + R"({"page": "00h", "offset": -128, "length": 128}]})", "lacks"},
        {good_start + R"({"page": "00h", "offset": 1e30, "length": 128}]})", "lacks"},
        {good_start + R"({"page": "00h", "offset": 99999999999999, "length": 128}]})", "truncated"},
        {good_start + R"({"page": "00h", "offset": 128, "length": 128}, {"page": "00h", "offset": 256, "length": 128}]})",
         "twice"},
        {R"({"layout": [{"page": "00h", "offset": 0, "length": 128}]})", "must list lower"},
        {good_start + R"({"page": "03h", "offset": 128, "length": 128}]})", "must list lower"},
    };
    for (const auto &[json, message] : cases) {
        const ImageLoad load = image_from_binary(bytes, json);
        EXPECT_FALSE(load.ok()) << json;
        EXPECT_NE(load.error.find(message), std::string::npos) << json << " -> " << load.error;
    }
}

TEST_F(ImageFileTempTest, SequentialBinaryWithoutSidecar) {
    const CatalogueEntry *e = find_entry("100G-SR4");
    ASSERT_NE(e, nullptr);
    std::vector<std::uint8_t> bytes(e->image.begin(), e->image.begin() + 640);  // lower, 00h-03h in order
    const ImageLoad load = load_image_file(write("seq.bin", bytes));
    ASSERT_TRUE(load.ok()) << load.error;
    EXPECT_EQ(load.memory->pages(), (std::vector<std::uint8_t>{0, 1, 2, 3}));
    EXPECT_EQ(load.memory->get(3, 128), e->image[512]);
    EXPECT_FALSE(load.memory->flat());
}

TEST_F(ImageFileTempTest, GarbageFilesAreReported) {
    std::mt19937 rng(1);
    std::vector<std::uint8_t> noise(300);
    for (auto &b : noise) {
        b = static_cast<std::uint8_t>(rng() | 0x80);
    }
    EXPECT_FALSE(load_image_file(write("noise.bin", noise)).ok());
    EXPECT_FALSE(load_image_file(write("empty.bin", std::vector<std::uint8_t>{})).ok());
    const ImageLoad text = load_image_file(write("prose.txt", std::string("this is not a module image\n")));
    EXPECT_FALSE(text.ok());
    EXPECT_NE(text.error.find("no hex dump lines"), std::string::npos) << text.error;
    const ImageLoad missing = load_image_file(dir_ / "no-such-file.bin");
    EXPECT_FALSE(missing.ok());
    EXPECT_NE(missing.error.find("cannot read"), std::string::npos) << missing.error;
}

// ---- Hex text ---------------------------------------------------------------------

// The image as `ethtool -m <dev> hex on` prints it.
std::string ethtool_dump(const std::vector<std::uint8_t> &bytes, bool own_separator = false) {
    std::ostringstream out;
    out << "Offset\t\tValues\n------\t\t------";
    char buf[24];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            std::snprintf(buf, sizeof buf, "%04zx", i);
            out << "\n0x" << buf << ":\t\t";
        } else if (own_separator && i % 16 == 8) {
            out << ": ";
        }
        std::snprintf(buf, sizeof buf, "%02x ", bytes[i]);
        out << buf;
    }
    out << "\n";
    return out.str();
}

TEST(ImageHexTest, EthtoolDumpLoads) {
    const CatalogueEntry *e = find_entry("KORVA-100G-LR4");
    ASSERT_NE(e, nullptr);
    const std::vector<std::uint8_t> bytes(e->image.begin(), e->image.begin() + 640);
    const ImageLoad load = image_from_hex_text(ethtool_dump(bytes));
    ASSERT_TRUE(load.ok()) << load.error;
    EXPECT_EQ(load.memory->pages(), (std::vector<std::uint8_t>{0, 1, 2, 3}));
    for (std::uint8_t page : {0, 1, 2, 3}) {
        EXPECT_EQ(load.memory->get_bytes(page, 128, 128),
                  std::vector<std::uint8_t>(bytes.begin() + 128 * (page + 1), bytes.begin() + 128 * (page + 2)));
    }
    EXPECT_EQ(load.memory->get_bytes(0, 0, 128), std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 128));
}

TEST(ImageHexTest, MidLineSeparatorIsAccepted) {
    const std::vector<std::uint8_t> bytes(find_entry("40G-SR4")->image.begin(), find_entry("40G-SR4")->image.begin() + 256);
    const ImageLoad load = image_from_hex_text(ethtool_dump(bytes, true));
    ASSERT_TRUE(load.ok()) << load.error;
    EXPECT_EQ(load.memory->get(0, 148), bytes[148]);
}

TEST(ImageHexTest, FlatCableDumpIsFlat) {
    const CatalogueEntry *e = find_entry("100G-CR4-FLAT");
    ASSERT_NE(e, nullptr);
    const ImageLoad load = image_from_hex_text(ethtool_dump(e->image));
    ASSERT_TRUE(load.ok()) << load.error;
    EXPECT_TRUE(load.memory->flat());
}

TEST(ImageHexTest, AMissingWholePageIsSkipped) {
    const std::vector<std::uint8_t> bytes(find_entry("100G-SR4")->image.begin(), find_entry("100G-SR4")->image.begin() + 640);
    std::string dump = ethtool_dump(bytes);
    // Drop pages 01h and 02h (addresses 0x0100-0x01ff).
    const std::regex middle(R"(\n0x01[0-9a-f]0:[^\n]*)");
    dump = std::regex_replace(dump, middle, "");
    const ImageLoad load = image_from_hex_text(dump);
    ASSERT_TRUE(load.ok()) << load.error;
    EXPECT_EQ(load.memory->pages(), (std::vector<std::uint8_t>{0, 3}));
}

TEST(ImageHexTest, BadDumpsAreReported) {
    const std::vector<std::uint8_t> bytes(256, 0x5A);
    const std::string good = ethtool_dump(bytes);
    const std::pair<std::string, std::string> cases[] = {
        {"", "no hex dump lines"},
        {"Offset Values\n------ ------\n", "no hex dump lines"},
        {good.substr(0, good.rfind("0x00f0")), "incomplete"},
        {good + "0x0010:\t\tzz 00\n", "not a hex byte"},
        {good + "0x0010:\t\t00\n", "different value"},
        {"0x0000: " + std::string(128 * 3, ' ') + "\n", "does not hold lower memory"},
        {good.substr(0, good.find("0x0080")), "does not hold lower memory"},
        {"0xffffff: 00\n", "beyond the largest"},
        {"0x0000: 123\n", "not a hex byte"},
    };
    for (const auto &[text, message] : cases) {
        const ImageLoad load = image_from_hex_text(text);
        EXPECT_FALSE(load.ok()) << text.substr(0, 60);
        EXPECT_NE(load.error.find(message), std::string::npos) << text.substr(0, 60) << " -> " << load.error;
    }
}

// Random edits of valid inputs: every result is either a memory or an error.
TEST(ImageHexTest, RandomlyDamagedInputNeverCrashes) {
    std::mt19937 rng(20261121);
    const std::vector<std::uint8_t> bytes(find_entry("100G-DWDM2")->image.begin(), find_entry("100G-DWDM2")->image.end());
    const std::string dump = ethtool_dump(bytes);
    const std::string json = R"({"layout": [{"page": "lower", "offset": 0, "length": 128}, {"page": "00h", "offset": 128, "length": 128}]})";
    int loaded = 0;
    for (int round = 0; round < 400; ++round) {
        std::string text = round % 2 ? dump : json;
        for (int edit = 0; edit < 1 + static_cast<int>(rng() % 6); ++edit) {
            const std::size_t at = rng() % text.size();
            switch (rng() % 3) {
            case 0: text[at] = static_cast<char>(rng() % 256); break;
            case 1: text.erase(at, 1 + rng() % 40); break;
            default: text.insert(at, std::string(1 + rng() % 4, static_cast<char>(rng() % 128))); break;
            }
            if (text.empty()) {
                text = "x";
            }
        }
        const ImageLoad load = round % 2 ? image_from_hex_text(text) : image_from_binary(bytes, text);
        EXPECT_NE(load.ok(), !load.error.empty());
        loaded += load.ok();
    }
    EXPECT_GT(loaded, 0);  // some edits leave a valid input
}

}  // namespace
