// qsfpctl on an optoe-style sysfs EEPROM file: one linear file in which upper
// page P byte R (R >= 128) sits at P * 128 + R.
#include <gtest/gtest.h>

#include <algorithm>

#include <nlohmann/json.hpp>

#include <qsfp/sim/catalogue.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

namespace fs = std::filesystem;
using qsfpctl::test::file_bytes;
using qsfpctl::test::run;
using qsfpctl::test::schema_errors;
using qsfpctl::test::scratch_dir;

constexpr std::size_t kHalf = 128;

// The file optoe presents for a catalogue module: lower memory, then every
// page up to the module's highest at page * 128 + 128 (absent ones zero).
fs::path optoe_file(const std::string &module, const std::string &dir) {
    const qsfp::sim::CatalogueEntry *entry = qsfp::sim::find_entry(module);
    EXPECT_NE(entry, nullptr);
    const std::size_t last = *std::max_element(entry->pages.begin(), entry->pages.end());
    std::vector<std::uint8_t> file(kHalf + (last + 1) * kHalf);
    std::copy_n(entry->image.begin(), kHalf, file.begin());
    for (std::size_t i = 0; i < entry->pages.size(); ++i) {
        std::copy_n(entry->image.begin() + static_cast<std::ptrdiff_t>((i + 1) * kHalf), kHalf,
                    file.begin() + static_cast<std::ptrdiff_t>(kHalf + entry->pages[i] * kHalf));
    }
    const fs::path path = scratch_dir(dir) / "eeprom";
    qsfpctl::test::write_file(path, file);
    return path;
}

qsfpctl::RunOptions virtual_time() {
    qsfpctl::RunOptions options;
    options.virtual_time = true;
    return options;
}

TEST(QsfpctlSysfs, ListAndShowTheModule) {
    const fs::path eeprom = optoe_file("100G-SR4", "list");
    const auto list = run({"--sysfs", eeprom.string(), "list", "--json"}, virtual_time());
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_EQ(schema_errors("list", list.out), "");
    const auto j = nlohmann::json::parse(list.out);
    EXPECT_EQ(j["cages"][0]["vendor"], "OPTIWAVE");
    EXPECT_EQ(j["cages"][0]["type"], "QSFP28 100G SR4");
    const auto show = run({"--sysfs", eeprom.string(), "show", "1"}, virtual_time());
    ASSERT_EQ(show.code, 0) << show.err;
    EXPECT_NE(show.out.find("Vendor Part Number: OW-100G-SR4"), std::string::npos);
    const auto status = run({"--sysfs", eeprom.string(), "status", "1", "--json"}, virtual_time());
    ASSERT_EQ(status.code, 0) << status.err;
    EXPECT_EQ(schema_errors("status", status.out), "");
}

TEST(QsfpctlSysfs, ReadFindsUpperPagesAtTheirOffsets) {
    const fs::path eeprom = optoe_file("100G-SR4", "read");
    const auto bytes = file_bytes(eeprom);
    // Real time here: the library's waits are real for a sysfs backend.
    const auto o = run({"--sysfs", eeprom.string(), "read", "1", "3", "128", "16", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    const auto data = nlohmann::json::parse(o.out)["data"].get<std::vector<int>>();
    ASSERT_EQ(data.size(), 16u);
    for (std::size_t i = 0; i < data.size(); ++i) EXPECT_EQ(data[i], bytes[3 * kHalf + 128 + i]) << i;
}

TEST(QsfpctlSysfs, WriteLandsAtPageTimes128PlusRegister) {
    const fs::path eeprom = optoe_file("100G-SR4", "write");
    auto expected = file_bytes(eeprom);
    const auto o = run({"--sysfs", eeprom.string(), "write", "1", "3", "234", "2", "0x5a", "0xa5"}, virtual_time());
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "cage 1: wrote 2 bytes at page 3 register 234\n");
    expected[3 * kHalf + 234] = 0x5a;
    expected[3 * kHalf + 235] = 0xa5;
    EXPECT_EQ(file_bytes(eeprom), expected);  // those two bytes and nothing else
    const auto lower = run({"--sysfs", eeprom.string(), "write", "1", "7", "86", "1", "0x0f"}, virtual_time());
    ASSERT_EQ(lower.code, 0) << lower.err;
    expected[86] = 0x0f;  // lower memory whatever the page
    EXPECT_EQ(file_bytes(eeprom), expected);
}

TEST(QsfpctlSysfs, AReadPastTheFileFails) {
    const fs::path eeprom = optoe_file("100G-SR4", "short_read");
    const auto o = run({"--sysfs", eeprom.string(), "read", "1", "0x20", "128", "4"}, virtual_time());
    EXPECT_EQ(o.code, qsfpctl::kExitLibraryError);
    EXPECT_EQ(o.err, "qsfpctl: cage 1: read of page 0x20 register 128 failed: rc 5 (EIO: the bus transfer failed)\n");
}

TEST(QsfpctlSysfs, MissingFileIsRefused) {
    const auto o = run({"--sysfs", "/nonexistent/eeprom", "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: cannot open sysfs EEPROM file /nonexistent/eeprom: No such file or directory\n");
}

TEST(QsfpctlSysfs, ShortFileIsRefusedUntouched) {
    const fs::path path = scratch_dir("short") / "eeprom";
    const std::vector<std::uint8_t> bytes(100, 0x11);
    qsfpctl::test::write_file(path, bytes);
    const auto o = run({"--sysfs", path.string(), "write", "1", "0", "86", "1", "0"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: sysfs EEPROM file " + path.string() +
                         " holds 100 bytes, fewer than lower memory and page 00h (256)\n");
    EXPECT_EQ(file_bytes(path), bytes);
}

TEST(QsfpctlSysfs, DirectoryIsRefused) {
    const fs::path dir = scratch_dir("directory");
    const auto o = run({"--sysfs", dir.string(), "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: cannot open sysfs EEPROM file " + dir.string() + ": Is a directory\n");
}

}  // namespace
