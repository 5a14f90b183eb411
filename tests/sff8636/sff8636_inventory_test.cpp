// The inventory of every catalogue module and every real module image,
// field by field against the bytes of the module's memory.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_compliance.h>
#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/image_file.h>

#include "sff8636/real_images.h"
#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::ModuleMemory;

// A fixed-width text field as the inventory should hold it: up to the first
// NUL, trailing white space removed.
std::string field(const ModuleMemory &m, std::uint8_t page, std::uint8_t addr, int width) {
    std::string s;
    for (int i = 0; i < width; ++i) {
        const char c = static_cast<char>(m.get(page, static_cast<std::uint8_t>(addr + i)));
        if (c == '\0') break;
        s += c;
    }
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.pop_back();
    return s;
}

// Checks the port's inventory against the module bytes; `pid_basic` is the
// identifier a module of another maker must get.
void check_inventory(const qsfp_port_ctx *port, const ModuleMemory &m, const std::string &what) {
    const qsfp_hw_info &i = port->hw_info;
    const bool flat = port->flat_mem != 0;
    const std::string vendor = field(m, 0, 148, 16);
    EXPECT_EQ(i.vendor_name, vendor) << what;
    EXPECT_EQ(i.vendor_pn, field(m, 0, 168, 16)) << what;
    EXPECT_EQ(i.vendor_rev, field(m, 0, 184, 2)) << what;
    EXPECT_EQ(i.serial_number, field(m, 0, 196, 16)) << what;
    EXPECT_EQ(i.date_code, field(m, 0, 212, 8)) << what;
    EXPECT_EQ(i.vendor_oui[0], m.get(0, 165)) << what;
    EXPECT_EQ(i.vendor_oui[1], m.get(0, 166)) << what;
    EXPECT_EQ(i.vendor_oui[2], m.get(0, 167)) << what;
    EXPECT_EQ(i.rev_present, (m.get(0, 184) != 0 || m.get(0, 185) != 0) ? 1u : 0u) << what;
    const std::uint8_t info_page = flat ? 0 : 2;
    EXPECT_EQ(i.vid, field(m, info_page, flat ? 54 : 148, 4)) << what;
    std::string clei;
    if (flat) {
        clei = field(m, 0, 34, 10);
    } else if ((m.get(0, 129) & 0x10) != 0) {
        clei = field(m, 2, 128, 10);
    }
    EXPECT_EQ(i.clei, clei) << what;
    const std::string own_pid = field(m, info_page, flat ? 58 : 192, 20);
    if (vendor.rfind("KORVA", 0) == 0) {
        EXPECT_EQ(i.pid, own_pid) << what;
    } else {
        EXPECT_EQ(std::string(i.pid).rfind("BASIC-", 0), 0u) << what;
        EXPECT_EQ(i.module_pid, own_pid) << what;
    }
}

class InventoryTest : public SffPortTest {};

TEST_F(InventoryTest, EveryCatalogueModule) {
    for (const auto &e : qsfp::sim::catalogue()) {
        const ModuleMemory memory = qsfp::sim::build_memory(e);
        if (memory.get(0, 0) != 0x0D && memory.get(0, 0) != 0x11) continue;
        insert(0, qsfp::sim::make_module(e));
        qsfp_port_create_params p = params(0);
        qsfp_port_create_result r{};
        ASSERT_EQ(qsfp_port_create(&p, &r), QSFP_OK) << e.name;
        check_inventory(r.handle, memory, e.name);
        EXPECT_EQ(r.handle->hw_info.compliance, 0u) << e.name;
        qsfp_port_delete(r.handle);
    }
}

TEST_F(InventoryTest, EveryRealSff8636Image) {
    const auto files = sff8636_image_files();
    ASSERT_GE(files.size(), 25u);
    for (const auto &file : files) {
        auto memory = real_module_memory(file);
        ASSERT_TRUE(memory.has_value()) << file;
        const ModuleMemory &m = *memory;
        insert(0, std::make_unique<qsfp::sim::Module>(ModuleMemory(m)));
        qsfp_port_create_params p = params(0);
        qsfp_port_create_result r{};
        ASSERT_EQ(qsfp_port_create(&p, &r), QSFP_OK) << file;
        check_inventory(r.handle, m, file.filename().string());
        EXPECT_EQ(r.handle->hw_info.compliance, 0u) << file;
        EXPECT_EQ(state(r.handle).hw_info_saved, 1u) << file;
        qsfp_port_delete(r.handle);
    }
}

TEST_F(InventoryTest, BrokenImagesFailTheirChecksums) {
    // The synthetic fixtures had their vendor changed without the checksum.
    const std::pair<const char *, std::uint32_t> broken[] = {
        {"synthetic/sff8636_FACETEST_2058986017_1.bin", 3},
        {"synthetic/sff8636_FACETEST_FTL410QE2C-fixture_1.bin", 0},
        {"anomalous/sff8636_OEM_QSFP-40G-SR4_1.bin", 0},
    };
    for (const auto &[name, expected] : broken) {
        const auto load = qsfp::sim::load_image_file(std::filesystem::path(QSFP_TEST_DATA_DIR) / "eeprom" / name);
        ASSERT_TRUE(load.memory.has_value()) << name << ": " << load.error;
        const ModuleMemory &m = *load.memory;
        std::vector<std::uint8_t> image = m.get_bytes(0, 0, 128);
        const auto upper = m.get_bytes(0, 128, 128);
        image.insert(image.end(), upper.begin(), upper.end());
        std::uint32_t result = 99;
        qsfp_xcvr_check_compliance(image.data(), &result);
        EXPECT_EQ(result, expected) << name;
        if (m.get(0, 0) == 0x0D || m.get(0, 0) == 0x11) {
            insert(0, std::make_unique<qsfp::sim::Module>(ModuleMemory(m)));
            qsfp_port_create_params p = params(0);
            qsfp_port_create_result r{};
            ASSERT_EQ(qsfp_port_create(&p, &r), QSFP_OK) << name;
            EXPECT_EQ(r.handle->hw_info.compliance, expected) << name;
            qsfp_port_delete(r.handle);
        }
    }
    // A checksum broken on purpose in a catalogue image: base gives 3, extended 4.
    for (const auto &[addr, expected] : {std::pair{191, 3u}, std::pair{223, 4u}}) {
        ModuleMemory m = qsfp::sim::build_memory(*qsfp::sim::find_entry("100G-LR4"));
        m.set(0, static_cast<std::uint8_t>(addr), static_cast<std::uint8_t>(m.get(0, addr) ^ 0x5A));
        insert(0, std::make_unique<qsfp::sim::Module>(std::move(m)));
        qsfp_port_create_params p = params(0);
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        EXPECT_EQ(r.handle->hw_info.compliance, expected);
        EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Init: optics cache HWIFNO, error 0x" + std::to_string(expected)));
        qsfp_port_delete(r.handle);
    }
}

}  // namespace
