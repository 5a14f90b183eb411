// The CMIS catalogue: a module for every CMIS module type, check codes of
// pages 00h, 01h and 02h (or the SFF-8636 check codes of the revision 07h
// map), identity that the project's CMIS decoders show without complaint,
// the type each entry expects checked against a classification written here
// from the module type and application tables, and every entry, and every
// real CMIS image, loading into the emulated module in both bus modes.
#include <array>
#include <cctype>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>
#include <qsfp/sim/cage.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/image_file.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/sff8636_module.h>

#include "decode/record_view.h"
#include "decode/show_text_port.h"
#include "sim_bus.h"

namespace qsfp::sim {
// Test names and failure messages show an entry by its name.
void PrintTo(const CmisCatalogueEntry &e, std::ostream *os) { *os << e.name; }
}  // namespace qsfp::sim

namespace {

namespace fs = std::filesystem;
using namespace qsfp::sim;
using namespace qsfp::sim::cmis;
using qsfp::test::BusMode;
using qsfp::test::RecordBuffer;
using qsfp::test::SimBus;

// ---- A classification written from the tables, apart from the catalogue -----------------------

struct AppRow {
    std::uint32_t type;
    std::uint8_t media_type, host, media, lanes;  // media 0 matches any
};

constexpr AppRow kAppRows[] = {
    {0xC1, 3, 0x1D, 0x01, 0x88}, {0xC2, 2, 0x11, 0x1D, 0x84}, {0xC3, 2, 0x11, 0x1C, 0x84}, {0xC3, 2, 0x0D, 0x14, 0x21},
    {0xC7, 2, 0x11, 0x1B, 0x88}, {0xC8, 1, 0x0B, 0x09, 0x44}, {0xC8, 1, 0x05, 0x03, 0x11}, {0xC8, 1, 0x07, 0x04, 0x44},
    {0xC8, 1, 0x07, 0x02, 0x11}, {0xC9, 2, 0x0B, 0x0F, 0x44}, {0xC9, 2, 0x05, 0x00, 0x11}, {0xCA, 2, 0x0B, 0x10, 0x44},
    {0xCB, 2, 0x0B, 0x0D, 0x44}, {0xCC, 4, 0x11, 0x03, 0x88}, {0xCC, 4, 0x11, 0x02, 0x88}, {0xCC, 4, 0x11, 0x01, 0x88},
    {0xC4, 3, 0x11, 0x00, 0x88}, {0xD0, 2, 0x11, 0xC5, 0x81}, {0xD0, 2, 0x11, 0xC0, 0x81}, {0xD0, 2, 0x0D, 0xC0, 0x21},
    {0xD0, 2, 0x0D, 0xC1, 0x21}, {0xD0, 2, 0x0D, 0xC2, 0x21}, {0xD0, 2, 0x0D, 0xC4, 0x21}, {0xCF, 2, 0x11, 0x3E, 0x81},
    {0xCF, 2, 0x11, 0x3F, 0x81}, {0xCF, 2, 0x0D, 0x3E, 0x21}, {0xCD, 4, 0x0B, 0x01, 0x88}, {0xCD, 4, 0x11, 0x02, 0x88},
};

std::string text_at(const ModuleMemory &m, std::uint8_t page, std::uint8_t addr, std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s.push_back(static_cast<char>(m.get(page, static_cast<std::uint8_t>(addr + i))));
    return s;
}

std::uint32_t classify(const ModuleMemory &m) {
    const std::uint8_t rev = m.get(0, kRevision);
    if (rev == 0x03) return m.get(0, 34) == 11 ? 0xC1 : 0;
    if (rev == 0x04) return 0xC4;
    if (rev == 0x07) return text_at(m, 0, 148, 5) == "Molex" && m.get(0, 147) == 0xA0 ? 0xC1 : 0;
    const std::string vendor = text_at(m, 0, kVendorName, 16);
    if (rev == 0x30 && vendor.starts_with("MULTILANE")) return 0xC4;
    if (vendor.starts_with("KORVA")) {
        const std::uint8_t ext = m.get(0, kMakerExtendedId);
        return ext >= 5 && ext <= 15 ? 0xC1 + (ext - 5) : 0;
    }
    const std::uint8_t media_type = m.get(0, kMediaType);
    const auto desc = [&](int i, int k) { return m.get(0, static_cast<std::uint8_t>(kAppDescriptors + 4 * i + k)); };
    for (int i = 0; i < kApplications && desc(i, 2) != 0; ++i) {
        for (const AppRow &row : kAppRows) {
            if (row.media_type != media_type || row.host != desc(i, 0) || row.lanes != desc(i, 2) ||
                (row.media != 0 && row.media != desc(i, 1))) {
                continue;
            }
            if (row.type == 0xC3 && m.get(kPage01, kSmfLength) == 0x42) return 0xCE;
            if (row.type != 0xCF) return row.type;
            for (int j = 0; j < kApplications; ++j) {  // a ZR that also offers a ZR+ mode
                for (const AppRow &plus : kAppRows) {
                    if (plus.type == 0xD0 && plus.media_type == media_type && plus.host == desc(j, 0) &&
                        plus.media == desc(j, 1) && plus.lanes == desc(j, 2)) {
                        return 0xD0;
                    }
                }
            }
            return 0xCF;
        }
    }
    return 0;
}

// ---- Check codes -------------------------------------------------------------------------------

std::uint8_t sum(const ModuleMemory &m, std::uint8_t page, unsigned first, unsigned last) {
    unsigned s = 0;
    for (unsigned a = first; a <= last; ++a) s += m.get(page, static_cast<std::uint8_t>(a));
    return static_cast<std::uint8_t>(s);
}

// Lower memory and page 00h as one 256-byte buffer.
std::array<std::uint8_t, 256> identifier_pages(const ModuleMemory &m) {
    std::array<std::uint8_t, 256> b{};
    for (unsigned a = 0; a < 256; ++a) b[a] = m.get(0, static_cast<std::uint8_t>(a));
    return b;
}

TEST(CmisCatalogueTest, NamesAreUniqueAndEveryModuleTypeIsThere) {
    std::set<std::string> names;
    std::set<std::uint32_t> types;
    for (const CmisCatalogueEntry &e : cmis_catalogue()) {
        EXPECT_TRUE(names.insert(e.name).second) << e.name;
        types.insert(e.type_code);
    }
    for (std::uint32_t t = 0xC1; t <= 0xD0; ++t) EXPECT_TRUE(types.count(t)) << std::hex << t;
    EXPECT_TRUE(types.count(0)) << "a module no table knows";
    for (const char *name : {"AOI-2X100G-CWDM4", "KORVA-AVAGO-ALPHA", "FINISAR-400G-FR4", "400G-DR4-DPINIT14",
                             "400G-ZR-ZRP", "PRE03-400G-CU", "PRE04-400G-LB", "PRE07-MOLEX-CU", "PRE07-MOLEX-AOC",
                             "400G-FR4-CMIS3", "400G-CR8-FLAT", "8X50G-CU"}) {
        EXPECT_NE(find_cmis_entry(name), nullptr) << name;
    }
    EXPECT_EQ(find_cmis_entry("no such module"), nullptr);
}

std::string trimmed(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

TEST(CmisCatalogueTest, OpticsAdvertiseWavelengthDurationsAndSiControls) {
    const ModuleMemory fr4 = build_memory(*find_cmis_entry("400G-FR4"));
    EXPECT_EQ(fr4.get(kPage01, kNominalWavelength) << 8 | fr4.get(kPage01, kNominalWavelength + 1), 1301 * 20);  // 0.05 nm
    EXPECT_EQ(fr4.get(kPage01, kDataPathDurations), 0x45);
    EXPECT_EQ(fr4.get(kPage01, kModuleDurations), 0x56);
    EXPECT_EQ(fr4.get(kPage01, kTxSiImplemented), kTxFixedEqImplemented | kTxAdaptiveEqImplemented);
    EXPECT_EQ(fr4.get(kPage01, kRxSiImplemented),
              kRxAmplitudeImplemented | kRxPreCursorImplemented | kRxPostCursorImplemented);
    const ModuleMemory aoi = build_memory(*find_cmis_entry("AOI-2X100G-CWDM4"));
    EXPECT_LT(aoi.get(kPage01, kModuleDurations) & 0x0F, 5);  // short power-up advertised
    EXPECT_EQ(build_memory(*find_cmis_entry("400G-DR4-DPINIT14")).get(kPage01, kDataPathDurations) & 0x0F, 14);
    EXPECT_EQ(build_memory(*find_cmis_entry("KORVA-AVAGO-ALPHA")).get(kPage00, kVendorRev), 'A');
}

class EachEntry : public ::testing::TestWithParam<CmisCatalogueEntry> {};

TEST_P(EachEntry, ImageHoldsItsPagesWithValidCheckCodes) {
    const CmisCatalogueEntry &e = GetParam();
    ASSERT_EQ(e.image.size(), 128 * (e.pages.size() + 1));
    const ModuleMemory m = build_memory(e);
    EXPECT_EQ(m.get(0, kIdentifier), kQsfpDd);
    EXPECT_EQ(m.get(0, kUpperIdentifier), kQsfpDd);
    EXPECT_EQ(m.get(0, kRevision), e.revision);
    EXPECT_EQ(e.flat, m.pages() == std::vector<std::uint8_t>{0});
    if (e.layout == CmisLayout::pre07) {
        const std::array<std::uint8_t, 256> b = identifier_pages(m);
        std::uint8_t stored = 0, computed = 0;
        EXPECT_EQ(qsfp_xcvr_check_compliance_base_chksum(b.data(), &stored, &computed), 0u);
        EXPECT_EQ(qsfp_xcvr_check_compliance_ext_chksum(b.data(), &stored, &computed), 0u);
        return;
    }
    EXPECT_EQ(m.get(kPage00, kPage00Checksum), sum(m, kPage00, 128, 221));
    if (m.has_page(kPage01)) {
        EXPECT_EQ(m.get(kPage01, 255), sum(m, kPage01, 130, 254));
    }
    if (m.has_page(kPage02)) {
        EXPECT_EQ(m.get(kPage02, 255), sum(m, kPage02, 128, 254));
    }
}

TEST_P(EachEntry, ExpectedTypeFollowsTheTables) {
    const CmisCatalogueEntry &e = GetParam();
    EXPECT_EQ(classify(build_memory(e)), e.type_code) << e.name;
    EXPECT_EQ(e.maker_qualified, e.vendor.starts_with("KORVA"));
}

TEST_P(EachEntry, DecodesWithoutComplaint) {
    const CmisCatalogueEntry &e = GetParam();
    const ModuleMemory m = build_memory(e);
    const std::array<std::uint8_t, 256> b = identifier_pages(m);
    RecordBuffer rec(QSFPDD_ID_RECORD_ROWS);
    ASSERT_EQ(qsfpdd_xcvr_decode_id(b.data(), b.data() + 128, rec.data()), 0u);
    constexpr int kConnectorRow = 2, kDevTechRow = 10, kVendorRow = 11, kPartRow = 13, kSerialRow = 15, kDateRow = 16;
    EXPECT_EQ(trimmed(rec[kVendorRow].value), e.vendor);
    EXPECT_EQ(trimmed(rec[kPartRow].value), e.part);
    EXPECT_GT(std::string(rec[kSerialRow].value).size(), 0u);
    EXPECT_EQ(std::string(rec[kDateRow].value).rfind("23", 0), 0u) << rec[kDateRow].value;
    for (int row : {kConnectorRow, kDevTechRow}) {
        const std::string v = rec[row].value;
        EXPECT_EQ(v.find("Reserved"), std::string::npos) << row << ": " << v;
        EXPECT_EQ(v.find("Unknown"), std::string::npos) << row << ": " << v;
    }
    if (e.layout != CmisLayout::pre03) {
        EXPECT_STRNE(rec[kConnectorRow].value, "");  // the revision 03h map has no connector byte
    }
    if (e.flat || e.layout != CmisLayout::cmis) {
        return;
    }
    // The full paged view of a CMIS module: lower memory, pages 00h-03h, 10h, 11h.
    std::vector<std::uint8_t> image(QSFPDD_SHOW_IMAGE_SIZE);
    const std::uint8_t pages[] = {0x00, kPage00, kPage01, kPage02, kPage03, kPage10, kPage11};
    for (std::size_t i = 0; i < std::size(pages); ++i) {
        for (unsigned a = 0; a < 128; ++a) image[128 * i + a] = m.get(pages[i], static_cast<std::uint8_t>(i == 0 ? a : a + 128));
    }
    qsfp_port_ctx port = qsfp::test::show_text_port(1, false);
    std::vector<char> out(9000);
    ASSERT_EQ(qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out.data(), static_cast<std::uint32_t>(out.size()), image.data()), 0);
    const std::string text(out.data());
    EXPECT_EQ(text.find("Reserved"), std::string::npos);
    EXPECT_EQ(text.find("Unknown"), std::string::npos);
    EXPECT_NE(text.find(e.vendor), std::string::npos);
}

// Every page reads back through the bus as the image holds it (flags and
// monitors aside), in both bus modes.
void expect_loads(const ModuleMemory &memory, const std::string &what) {
    for (BusMode mode : {BusMode::raw, BusMode::direct}) {
        Cage cage;
        cage.insert(std::make_unique<CmisModule>(memory));
        SimBus bus(cage, mode);
        for (std::uint8_t a : {kIdentifier, kRevision, kMemoryModel, kMediaType}) {
            EXPECT_EQ(bus.read(a), memory.get(0, a)) << what << " lower " << int(a);
        }
        EXPECT_EQ(bus.read_range(0, kAppDescriptors, 32), memory.get_bytes(0, kAppDescriptors, 32)) << what;
        for (std::uint8_t page : memory.pages()) {
            if (memory.flat() && page != 0) continue;
            if (page == kPage11 || page == kPage10) continue;  // status and controls the module drives
            EXPECT_EQ(bus.read_range(page, 128, 128), memory.get_bytes(page, 128, 128)) << what << " page " << int(page);
        }
    }
}

TEST_P(EachEntry, LoadsIntoTheEmulatedModule) {
    expect_loads(build_memory(GetParam()), GetParam().name);
}

std::string entry_name(const ::testing::TestParamInfo<CmisCatalogueEntry> &info) {
    std::string n;
    for (char c : info.param.name) n.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
    return n;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EachEntry, ::testing::ValuesIn(cmis_catalogue()), entry_name);

TEST(CmisImageFilesTest, EveryRealCmisImageLoadsIntoTheEmulatedModule) {
    const fs::path dir = fs::path(QSFP_TEST_DATA_DIR) / "eeprom";
    int loaded = 0;
    for (const fs::path &sub : {dir, dir / "synthetic"}) {
        for (const fs::directory_entry &f : fs::directory_iterator(sub)) {
            const std::string name = f.path().filename().string();
            if (!name.starts_with("cmis_") || f.path().extension() != ".bin") continue;
            const ImageLoad load = load_image_file(f.path());
            ASSERT_TRUE(load.ok()) << name << ": " << load.error;
            expect_loads(*load.memory, name);
            ++loaded;
        }
    }
    EXPECT_EQ(loaded, 15);
}

TEST(CmisLineCardTest, CagesTakeModulesOfEitherCatalogueByName) {
    LineCard card(3);
    EXPECT_TRUE(card.insert(0, "400G-FR4"));
    EXPECT_TRUE(card.insert(1, "100G-SR4"));
    EXPECT_FALSE(card.insert(2, "no such module"));
    EXPECT_NE(dynamic_cast<CmisModule *>(card.cage(0).module()), nullptr);
    EXPECT_NE(dynamic_cast<Sff8636Module *>(card.cage(1).module()), nullptr);
    EXPECT_EQ(card.cage(2).module(), nullptr);
}

}  // namespace
