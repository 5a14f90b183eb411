// qsfpctl on module image files: every image of tests/data/eeprom opens and
// shows, in each of the three file forms; broken files and writes are refused
// with one line, their exit code, and the file left as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include <qsfp/sim/image_file.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

namespace fs = std::filesystem;
using qsfpctl::test::file_bytes;
using qsfpctl::test::line_count;
using qsfpctl::test::run;
using qsfpctl::test::schema_errors;
using qsfpctl::test::scratch_dir;

const fs::path kImages = fs::path(QSFP_TEST_DATA_DIR) / "eeprom";

std::vector<fs::path> every_image() {
    std::vector<fs::path> images;
    for (const auto &entry : fs::recursive_directory_iterator(kImages)) {
        if (entry.path().extension() == ".bin") images.push_back(entry.path());
    }
    std::sort(images.begin(), images.end());
    return images;
}

bool is_anomalous(const fs::path &image) { return image.parent_path().filename() == "anomalous"; }

// The vendor name as the image holds it, trimmed: page 00h 148-163 in the
// SFF-8636 map, 129-144 in the CMIS one.
std::string vendor_in(const fs::path &image) {
    const qsfp::sim::ImageLoad load = qsfp::sim::load_image_file(image);
    EXPECT_TRUE(load.ok()) << load.error;
    if (!load.ok()) return "";
    const std::uint8_t id = load.memory->get(0, 0);
    const bool cmis = id == 0x18 || id == 0x19 || id == 0x1E;
    const auto bytes = load.memory->get_bytes(0, cmis ? 129 : 148, 16);
    std::string vendor(bytes.begin(), bytes.end());
    vendor.erase(vendor.find_last_not_of(' ') + 1);
    return vendor;
}

// The text `ethtool -m DEV hex on` prints for the bytes of a linear image.
std::string ethtool_hex(const std::vector<std::uint8_t> &bytes) {
    std::string text = "Offset\t\tValues\n------\t\t------";
    char cell[32];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            std::snprintf(cell, sizeof cell, "\n0x%04zx:\t\t", i);
            text += cell;
        }
        std::snprintf(cell, sizeof cell, "%02x ", bytes[i]);
        text += cell;
    }
    return text + "\n";
}

TEST(QsfpctlImage, TheDataSetIsThere) { EXPECT_GE(every_image().size(), 45u); }

TEST(QsfpctlImage, EveryImageOpensAndShows) {
    for (const fs::path &image : every_image()) {
        SCOPED_TRACE(image.filename().string());
        const auto o = run({"--image", image.string(), "show", "1"});
        if (is_anomalous(image)) {
            // Lower memory is shifted (identifier 00h): the library binds no driver.
            EXPECT_EQ(o.code, qsfpctl::kExitLibraryError);
            EXPECT_EQ(o.err, "qsfpctl: cage 1: the library bound no driver to this module (identifier unknown "
                             "(0x00)): rc 11 (EAGAIN: module not ready, or of a kind the library does not know)\n");
            continue;
        }
        ASSERT_EQ(o.code, 0) << o.err;
        EXPECT_EQ(o.err, "");
        const std::string vendor = vendor_in(image);
        ASSERT_FALSE(vendor.empty());
        EXPECT_NE(o.out.find(vendor), std::string::npos) << o.out;
        EXPECT_GT(line_count(o.out), 30);
    }
}

TEST(QsfpctlImage, AFullSff8636ImageGetsTheDriverShowText) {
    const auto o = run({"--image", (kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin").string(), "show", "1"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.rfind("\nQSFP8636 EEPROM port: 1", 0), 0u) << o.out;
    EXPECT_NE(o.out.find("Vendor Part Number: MMA1B00-SS1"), std::string::npos);
}

TEST(QsfpctlImage, APartialSff8636ImageShowsOnlyWhatItHolds) {
    const auto o = run({"--image", (kImages / "sff8636_DELL_3MFXG_1.bin").string(), "show", "1"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.rfind("(SFF-8636 module without readable pages 01h-03h", 0), 0u) << o.out;
    EXPECT_NE(o.out.find("Identifier (page 00h):"), std::string::npos);
    EXPECT_EQ(o.out.find("Thresholds (page 03h):"), std::string::npos);
    EXPECT_NE(o.out.find("vendor_pn: 3MFXG"), std::string::npos);
    // Its bring-up could not read the module's pages: no status is made up.
    const auto status = run({"--image", (kImages / "sff8636_DELL_3MFXG_1.bin").string(), "status", "1"});
    EXPECT_EQ(status.code, qsfpctl::kExitLibraryError);
    EXPECT_EQ(status.err, "qsfpctl: cage 1: the module's bring-up failed, so it has no live status: rc 22 (EINVAL: "
                          "invalid argument, or a step of the operation failed)\n");
}

TEST(QsfpctlImage, BinaryWithoutSidecarAndHexTextShowTheSame) {
    const fs::path dir = scratch_dir("forms");
    const fs::path original = kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin";
    const auto bytes = file_bytes(original);
    ASSERT_EQ(bytes.size(), 640u);  // lower memory, pages 00h-03h in turn
    qsfpctl::test::write_file(dir / "plain.bin", bytes);
    qsfpctl::test::write_text(dir / "ethtool.txt", ethtool_hex(bytes));
    const auto from_sidecar = run({"--image", original.string(), "show", "1"});
    const auto from_plain = run({"--image", (dir / "plain.bin").string(), "show", "1"});
    const auto from_hex = run({"--image", (dir / "ethtool.txt").string(), "show", "1"});
    ASSERT_EQ(from_sidecar.code, 0);
    EXPECT_EQ(from_plain.code, 0) << from_plain.err;
    EXPECT_EQ(from_hex.code, 0) << from_hex.err;
    EXPECT_EQ(from_plain.out, from_sidecar.out);
    EXPECT_EQ(from_hex.out, from_sidecar.out);
}

TEST(QsfpctlImage, SeveralImagesAreSeveralCages) {
    const auto o = run({"--image", (kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin").string(), "--image",
                        (kImages / "cmis_INNOLIGHT_T-DP4CNH-N00_1.bin").string(), "list", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("list", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    ASSERT_EQ(j["cages"].size(), 2u);
    EXPECT_EQ(j["cages"][0]["part_number"], "MMA1B00-SS1");
    EXPECT_EQ(j["cages"][0]["driver"], "sff8636");
    EXPECT_EQ(j["cages"][1]["vendor"], "INNOLIGHT");
    EXPECT_EQ(j["cages"][1]["driver"], "cmis");
}

TEST(QsfpctlImage, ReadAndDumpOfAnImage) {
    const fs::path image = kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin";
    const auto bytes = file_bytes(image);
    const auto o = run({"--image", image.string(), "read", "1", "3", "128", "8", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("read", o.out), "");
    const auto data = nlohmann::json::parse(o.out)["data"].get<std::vector<int>>();
    ASSERT_EQ(data.size(), 8u);
    for (std::size_t i = 0; i < data.size(); ++i) EXPECT_EQ(data[i], bytes[512 + i]) << i;  // page 03h at 512
    const auto dump = run({"--image", image.string(), "dump", "1"});
    EXPECT_EQ(dump.code, 0) << dump.err;
    EXPECT_NE(dump.out.find("Page = 3, Offset = 0x00000080"), std::string::npos);
}

TEST(QsfpctlImage, MissingFileIsRefused) {
    const auto o = run({"--image", "/nonexistent/module.bin", "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: image /nonexistent/module.bin does not exist\n");
    EXPECT_EQ(o.out, "");
}

TEST(QsfpctlImage, TruncatedImageIsRefused) {
    const fs::path path = scratch_dir("truncated") / "short.bin";
    qsfpctl::test::write_file(path, std::vector<std::uint8_t>(200, 0x11));
    const auto o = run({"--image", path.string(), "show", "1"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: image " + path.string() +
                         ": image of 200 bytes is not lower memory and whole 128-byte pages (truncated or not an "
                         "image)\n");
    EXPECT_EQ(o.out, "");
}

TEST(QsfpctlImage, TruncatedImageWithSidecarIsRefused) {
    const fs::path dir = scratch_dir("truncated_sidecar");
    const fs::path original = kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin";
    auto bytes = file_bytes(original);
    bytes.resize(600);
    qsfpctl::test::write_file(dir / "cut.bin", bytes);
    fs::copy_file(qsfp::sim::sidecar_path(original), dir / "cut.pages.json");
    const auto o = run({"--image", (dir / "cut.bin").string(), "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: image " + (dir / "cut.bin").string() +
                         ": image is truncated: page 03h needs bytes up to 640, the file has 600\n");
}

TEST(QsfpctlImage, MalformedHexDumpIsRefused) {
    const fs::path path = scratch_dir("malformed") / "dump.txt";
    qsfpctl::test::write_text(path, "Offset\t\tValues\n0x0000:\t\t11 07 zz 00\n");
    const auto o = run({"--image", path.string(), "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: image " + path.string() + ": hex dump line 2: \"zz\" is not a hex byte\n");
    qsfpctl::test::write_text(path, "just some words\n");
    const auto words = run({"--image", path.string(), "list"});
    EXPECT_EQ(words.code, qsfpctl::kExitBackend);
    EXPECT_EQ(words.err, "qsfpctl: image " + path.string() + ": no hex dump lines (\"0x0000: ...\") in the text\n");
}

TEST(QsfpctlImage, WriteToAnImageIsRefusedAndWritesNothing) {
    const fs::path dir = scratch_dir("readonly");
    const fs::path path = dir / "module.bin";
    fs::copy_file(kImages / "sff8636_Mellanox_MMA1B00-SS1_1.bin", path);
    const auto before = file_bytes(path);
    const auto o = run({"--image", path.string(), "write", "1", "3", "234", "1", "0x5a"});
    EXPECT_EQ(o.code, qsfpctl::kExitReadOnly);
    EXPECT_EQ(o.err, "qsfpctl: cage 1 is read-only (image " + path.string() + "): nothing written\n");
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(file_bytes(path), before);
}

TEST(QsfpctlImage, OnlyCageOneExists) {
    const auto o = run({"--image", (kImages / "sff8636_DELL_3MFXG_1.bin").string(), "show", "2"});
    EXPECT_EQ(o.code, qsfpctl::kExitNoModule);
    EXPECT_EQ(o.err, "qsfpctl: no cage 2: this backend has cage 1\n");
}

}  // namespace
