// The catalogue of SFF-8636 module images: check codes, identifiers, padded
// vendor strings, maker data, page sets, and the bytes that give each entry
// its type, checked against a classification written here from the driver's
// type tables independently of the catalogue's own expectations.
#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/catalogue.h>

namespace {

using qsfp::sim::CatalogueEntry;
using qsfp::sim::catalogue;
using qsfp::sim::find_entry;

struct Type {
    std::uint32_t code;
    std::string text;
    bool operator==(const Type &) const = default;
};

std::ostream &operator<<(std::ostream &os, const Type &t) { return os << t.code << " \"" << t.text << "\""; }

const std::map<int, std::string> kExtendedCodes = {
    {1, "QSFP28 100G AOC"},
    {2, "QSFP28 100G SR4"},
    {3, "QSFP28 100G LR4"},
    {4, "QSFP28 100G ER4"},
    {5, "QSFP28 100G SR10"},
    {6, "QSFP28 100G CWDM4 MSA WITH FEC"},
    {7, "QSFP28 100G PSM4 PARALLEL SMF"},
    {9, "QSFP28 100G CWDM4 MSA WITHOUT FEC"},
    {11, "QSFP28 100G CR4"},
    {13, "QSFP28 100G CR4 NO FEC"},
    {16, "QSFP+ 40G ER4"},
    {17, "4x10G SR"},
    {18, "QSFP+ 40G PSM4 PARALLEL SMF"},
    {19, "QSFP TYPE G959 1 P1I1 2D1"},
    {20, "QSFP TYPE G959 1 P1S1 2D2"},
    {21, "QSFP TYPE G959 1 P1L1 2D2"},
    {22, "QSFP TYPE 10G BASE T WITH SFI"},
    {24, "QSFP28 100G AOC"},
    {25, "QSFP28 100G AEC"},
    {26, "QSFP28 100G DWDM2"},
    {34, "QSFP28 100G 4WDM 10I"},
    {36, "QSFP28 100G 4WDM 40I"},
    {37, "QSFP28 100G DR-V"},
    {38, "QSFP28 100G FR"},
    {39, "QSFP28 100G LR"},
};

const std::map<int, Type> kEthernetCodes = {
    {0x01, {374, "QSFP+ 40G AOC"}},        {0x02, {65, "QSFP+ 40G LR4"}},
    {0x04, {66, "QSFP+ 40G SR4"}},         {0x08, {67, "QSFP+ 40G CR4"}},
    {0x10, {68, "QSFP TYPE 10G BASE SR"}}, {0x14, {66, "QSFP+ 40G SR4"}},
    {0x15, {18, "QSFP+ 40G PSM4 PARALLEL SMF"}}, {0x20, {238, "QSFP+ 40G 4x10G BASE LR"}},
    {0x22, {98, "QSFP+ 40G PARALLEL LR4"}}, {0x23, {99, "QSFP+ 40G ESR4"}},
    {0x40, {70, "QSFP TYPE 10G BASE LRM"}},
};

std::string vendor_code_text(int code) {
    static const std::map<int, std::string> single = {
        {129, "QSFP28 100G ER4L"},  {130, "QSFP28 100G ACTIVE LOOPBACK"}, {131, "QSFP28 100G PASSIVE LOOPBACK DMI"},
        {132, "QSFP28 100G OCTOPUS PASSIVE COPPER"}, {133, "QSFP28 100G SM SR"}, {134, "QSFP28 100G SR BD"},
        {369, "QSFP+ 40G CSR4"}, {371, "4x10G COPPER"}, {373, "QSFP+ 40G SR BD"}, {374, "QSFP+ 40G AOC"},
        {375, "4x10G AOC"}, {376, "QSFP+ 40G ER4"}, {377, "QSFP+ 40G QLR4"},
    };
    if (auto it = single.find(code); it != single.end()) {
        return it->second;
    }
    if (code >= 352 && code <= 354) {
        return "4x10G COPPER";
    }
    if (code >= 355 && code <= 359) {
        return "4x10G ACTIVE COPPER";
    }
    if (code >= 361 && code <= 365) {
        return "QSFP+ 40G ACTIVE COPPER";
    }
    return "";
}

const Type kUnknown = {0, "QSFP TYPE UNKNOWN"};

// `up` is upper page 00h, indexed by byte address.
Type classify(const std::array<std::uint8_t, 256> &up) {
    const int b131 = up[131], b192 = up[192], b224 = up[224];
    const bool copper_bit = (up[147] & 0x80) != 0;
    if (b131 & 0x80) {
        if (b192 < 40 && kExtendedCodes.count(b192)) {
            return {static_cast<std::uint32_t>(b192 == 24 ? 1 : b192), kExtendedCodes.at(b192)};
        }
        Type t = b224 == 5 ? Type{133, "QSFP28 100G SM SR"} : kUnknown;
        if (copper_bit && up[146] == 0) {
            t = {127, "QSFP TYPE 100G PASSIVE LOOPBACK"};
        }
        return t;
    }
    if (b131 != 0) {
        if (b131 == 0x04 && b224 == 3) {
            return {127, "QSFP TYPE 100G PLPBKE"};
        }
        auto it = kEthernetCodes.find(b131);
        return it != kEthernetCodes.end() ? it->second : kUnknown;
    }
    const int code = b224 + 128;
    const std::string text = vendor_code_text(code);
    if (!text.empty()) {
        return {static_cast<std::uint32_t>(code), text};
    }
    if (copper_bit && up[142] == 0 && up[146] == 0) {
        return {127, "QSFP 100G PASSIVE LB"};
    }
    return kUnknown;
}

std::array<std::uint8_t, 256> page00(const CatalogueEntry &e) {
    std::array<std::uint8_t, 256> up{};
    std::copy(e.image.begin(), e.image.begin() + 256, up.begin());
    return up;
}

// The 128 bytes of upper page `page` in the entry's image, indexed from 128.
std::array<std::uint8_t, 256> upper(const CatalogueEntry &e, std::uint8_t page) {
    std::array<std::uint8_t, 256> out{};
    for (std::size_t i = 0; i < e.pages.size(); ++i) {
        if (e.pages[i] == page) {
            std::copy_n(e.image.begin() + 128 * (i + 1), 128, out.begin() + 128);
        }
    }
    return out;
}

std::string text(const std::array<std::uint8_t, 256> &b, int at, int width) {
    return std::string(b.begin() + at, b.begin() + at + width);
}

bool space_padded_ascii(const std::string &field) {
    const auto last = field.find_last_not_of(' ');
    return last != std::string::npos &&
           std::all_of(field.begin(), field.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

int sum(const std::array<std::uint8_t, 256> &b, int first, int last) {
    int s = 0;
    for (int a = first; a <= last; ++a) {
        s += b[a];
    }
    return s & 0xFF;
}

TEST(CatalogueTest, HasManyUniquelyNamedEntries) {
    std::set<std::string> names;
    for (const CatalogueEntry &e : catalogue()) {
        EXPECT_FALSE(e.name.empty());
        EXPECT_FALSE(e.description.empty()) << e.name;
        EXPECT_TRUE(names.insert(e.name).second) << "duplicate " << e.name;
    }
    EXPECT_GE(names.size(), 100u);
}

TEST(CatalogueTest, EveryEntryHasCorrectCheckCodes) {
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        EXPECT_EQ(up[191], sum(up, 128, 190)) << e.name;
        EXPECT_EQ(up[223], sum(up, 192, 222)) << e.name;
    }
}

TEST(CatalogueTest, EveryEntryHasItsIdentifierInBothPlaces) {
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        EXPECT_EQ(up[0], up[128]) << e.name;
        EXPECT_TRUE(up[0] == 0x0C || up[0] == 0x0D || up[0] == 0x11) << e.name;
    }
}

TEST(CatalogueTest, EveryEntryClassifiesAsItsExpectedType) {
    for (const CatalogueEntry &e : catalogue()) {
        EXPECT_EQ(classify(page00(e)), (Type{e.type_code, e.type_string})) << e.name;
    }
}

TEST(CatalogueTest, VendorStringsArePaddedWithSpaces) {
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        EXPECT_TRUE(space_padded_ascii(text(up, 148, 16))) << e.name << " name";
        EXPECT_TRUE(space_padded_ascii(text(up, 168, 16))) << e.name << " part";
        EXPECT_TRUE(space_padded_ascii(text(up, 184, 2))) << e.name << " revision";
        EXPECT_TRUE(space_padded_ascii(text(up, 196, 16))) << e.name << " serial";
        EXPECT_TRUE(space_padded_ascii(text(up, 212, 8))) << e.name << " date";
    }
}

TEST(CatalogueTest, FlatEntriesHavePage00hOnlyAndSayItInByte2) {
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        EXPECT_EQ((up[2] & 0x04) != 0, e.flat) << e.name;
        if (e.flat) {
            EXPECT_EQ(e.pages, std::vector<std::uint8_t>{0}) << e.name;
        } else {
            for (std::uint8_t p : {0, 1, 2, 3}) {
                EXPECT_NE(std::find(e.pages.begin(), e.pages.end(), p), e.pages.end()) << e.name << " page " << int(p);
            }
            EXPECT_EQ(up[195] & 0xC0, 0xC0) << e.name;  // pages 01h and 02h provided
        }
        EXPECT_EQ(e.image.size(), 128 * (e.pages.size() + 1)) << e.name;
    }
}

TEST(CatalogueTest, MakerQualifiedEntriesCarryTheMakersData) {
    int count = 0;
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        const bool korva = text(up, 148, 5) == "KORVA";
        EXPECT_EQ(korva, e.maker_qualified) << e.name;
        if (!korva) {
            continue;
        }
        ++count;
        EXPECT_NE(up[106], 0) << e.name;
        EXPECT_EQ(up[129] & 0x10, 0x10) << e.name;
        if (e.flat) {
            EXPECT_TRUE(space_padded_ascii(text(up, 34, 10))) << e.name;  // CLEI
            EXPECT_TRUE(space_padded_ascii(text(up, 54, 4))) << e.name;   // VID
            EXPECT_EQ(text(up, 58, 5), "QSFP-") << e.name;                // PID
        } else {
            const auto p2 = upper(e, 2);
            EXPECT_TRUE(space_padded_ascii(text(p2, 128, 10))) << e.name;  // CLEI
            EXPECT_TRUE(space_padded_ascii(text(p2, 148, 4))) << e.name;   // VID
            EXPECT_EQ(text(p2, 192, 5), "QSFP-") << e.name;                // PID
            EXPECT_TRUE(space_padded_ascii(text(p2, 192, 20))) << e.name;
            EXPECT_GE(p2[152] & 0x0F, 1) << e.name;
        }
    }
    EXPECT_GE(count, 40);
}

TEST(CatalogueTest, EveryOpticalTypeComesPlainAndMakerQualified) {
    std::map<std::uint32_t, std::pair<bool, bool>> seen;  // code -> (plain, qualified)
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        const bool optical = up[186] != 0 && (up[147] & 0x80) == 0 && e.type_code != 0;
        if (optical) {
            (e.maker_qualified ? seen[e.type_code].second : seen[e.type_code].first) = true;
        }
    }
    EXPECT_GE(seen.size(), 30u);
    for (const auto &[code, both] : seen) {
        EXPECT_TRUE(both.first && both.second) << "type " << code;
    }
}

TEST(CatalogueTest, CoversEveryTypeOfTheTables) {
    std::set<std::uint32_t> codes;
    for (const CatalogueEntry &e : catalogue()) {
        codes.insert(e.type_code);
    }
    const std::uint32_t expected[] = {0,   1,   2,   3,   4,   5,   6,   7,   9,   11,  13,  16,  17,  18,  19,  20,
                                      21,  22,  25,  26,  34,  36,  37,  38,  39,  65,  66,  67,  68,  70,  98,  99,
                                      127, 129, 130, 131, 132, 133, 134, 238, 352, 353, 354, 355, 356, 357, 358, 359,
                                      361, 362, 363, 364, 365, 369, 371, 373, 374, 375, 376, 377};
    for (std::uint32_t code : expected) {
        EXPECT_TRUE(codes.count(code)) << "no entry of type " << code;
    }
}

const CatalogueEntry &entry(std::string_view name) {
    const CatalogueEntry *e = find_entry(name);
    EXPECT_NE(e, nullptr) << name;
    static const CatalogueEntry empty = [] {
        CatalogueEntry blank;
        blank.image.resize(256);
        return blank;
    }();
    return e != nullptr ? *e : empty;
}

TEST(CatalogueTest, NamedKindsHaveTheirDistinguishingBytes) {
    EXPECT_EQ(page00(entry("100G-AOC"))[192], 1);
    EXPECT_EQ(page00(entry("100G-AOC-LOWBER"))[192], 24);
    EXPECT_EQ(text(page00(entry("100G-LR4-SOURCE-PHOTONICS")), 148, 16), "SOURCE PHOTONICS");
    EXPECT_EQ(page00(entry("100G-PSM4"))[194] & 0x0A, 0x0A);
    EXPECT_EQ(page00(entry("100G-PSM4-NOSQ"))[194] & 0x0A, 0x00);
    EXPECT_EQ(page00(entry("100G-PSM4-TXSQ"))[194] & 0x0A, 0x02);
    const auto lumentum = page00(entry("KORVA-LUMENTUM-40G-SR4"));
    EXPECT_EQ(text(lumentum, 148, 16), "KORVA-LUMENTUM  ");
    EXPECT_EQ(lumentum[131], 0x04);
    EXPECT_EQ(entry("KORVA-LUMENTUM-40G-SR4").type_code, 66u);
    const auto qsa = page00(entry("QSA"));
    EXPECT_EQ(qsa[131], 0);
    EXPECT_EQ(qsa[224], 242);  // code 370
    const auto plpbke = page00(entry("40G-PLPBKE"));
    EXPECT_EQ(plpbke[131], 0x04);
    EXPECT_EQ(plpbke[224], 3);
    const auto plb = page00(entry("100G-PLB"));
    EXPECT_EQ(plb[147] & 0x80, 0x80);
    EXPECT_EQ(plb[146], 0);
    EXPECT_FALSE(kExtendedCodes.count(plb[192]));
    const auto plb_vc = page00(entry("100G-PLB-VC"));
    EXPECT_EQ(plb_vc[131], 0);
    EXPECT_EQ(plb_vc[142], 0);
    EXPECT_EQ(plb_vc[146], 0);
    EXPECT_TRUE(entry("100G-CR4-FLAT").flat);
    EXPECT_FALSE(entry("100G-CR4").flat);
    EXPECT_TRUE(entry("100G-CR4-NOFEC-FLAT").flat);
    EXPECT_EQ(page00(entry("100G-CR4-NOFEC-FLAT"))[192], 13);
    EXPECT_EQ(text(page00(entry("MELLANOX-100G-AOC")), 148, 8), "Mellanox");
    EXPECT_EQ(page00(entry("MELLANOX-100G-AOC"))[194] & 0x04, 0x04);
}

TEST(CatalogueTest, CapabilityVariants) {
    const auto tec = page00(entry("100G-LR4-TEC"));
    EXPECT_EQ(tec[147] & 0x04, 0x04);
    EXPECT_EQ(upper(entry("100G-LR4-TEC"), 3)[230] & 0x01, 0x01);
    EXPECT_EQ(upper(entry("100G-LR4-TEC"), 3)[228], 4);
    EXPECT_TRUE(entry("100G-LR4-TEC").tec);
    EXPECT_EQ(page00(entry("100G-LR4-COOLED"))[147] & 0x04, 0x04);
    EXPECT_EQ(upper(entry("100G-LR4-COOLED"), 3)[230] & 0x01, 0x00);
    EXPECT_EQ(upper(entry("KORVA-100G-LR4-COOLED-NOWAIT"), 3)[228], 0);
    EXPECT_EQ(page00(entry("100G-LR4"))[147] & 0x04, 0x00);
    EXPECT_EQ(page00(entry("100G-SR4-ACTLE"))[193], 0x0F);
    EXPECT_EQ(upper(entry("KORVA-100G-SR4-ACTLE-NOSETTLE"), 3)[229], 0);
    EXPECT_NE(upper(entry("KORVA-100G-SR4-ACTLE"), 3)[229], 0);
    EXPECT_EQ(page00(entry("100G-SR4"))[193], 0x07);
    EXPECT_EQ(page00(entry("100G-SR4-NOSI"))[193], 0x00);
    const auto v2 = page00(entry("100G-SR4-RATESEL-V2"));
    EXPECT_EQ(v2[195] & 0x20, 0x20);
    EXPECT_EQ(v2[221] & 0x0C, 0x08);
    EXPECT_EQ(v2[141] & 0x03, 0x02);
    EXPECT_EQ(page00(entry("100G-SR4-RATESEL-V1"))[141] & 0x03, 0x01);
    EXPECT_EQ(page00(entry("100G-SR4-APPSEL"))[221] & 0x0C, 0x04);
    EXPECT_EQ(page00(entry("100G-SR4"))[195] & 0x10, 0x10);
    EXPECT_EQ(page00(entry("100G-SR4-NOTXDIS"))[195] & 0x10, 0x00);
    EXPECT_EQ(page00(entry("100G-SR4-RXDIS"))[194] & 0x04, 0x04);
    EXPECT_EQ(page00(entry("100G-SR4"))[194] & 0x04, 0x00);
}

TEST(CatalogueTest, DwdmEntriesHavePages20hAnd21h) {
    int dwdm = 0;
    for (const CatalogueEntry &e : catalogue()) {
        const auto up = page00(e);
        EXPECT_EQ(e.dwdm, up[192] == 26 && (up[131] & 0x80)) << e.name;
        if (!e.dwdm) {
            continue;
        }
        ++dwdm;
        EXPECT_NE(std::find(e.pages.begin(), e.pages.end(), 0x20), e.pages.end()) << e.name;
        EXPECT_NE(std::find(e.pages.begin(), e.pages.end(), 0x21), e.pages.end()) << e.name;
        EXPECT_EQ(up[195] & 0x01, 0x01) << e.name;
    }
    EXPECT_GE(dwdm, 2);
}

TEST(CatalogueTest, FindByName) {
    EXPECT_EQ(find_entry("no such module"), nullptr);
    EXPECT_EQ(qsfp::sim::make_module("no such module"), nullptr);
    ASSERT_NE(find_entry("100G-SR4"), nullptr);
    EXPECT_EQ(find_entry("100G-SR4")->type_code, 2u);
}

TEST(CatalogueTest, BuiltMemoryMatchesTheImage) {
    for (const CatalogueEntry &e : catalogue()) {
        const qsfp::sim::ModuleMemory m = qsfp::sim::build_memory(e);
        EXPECT_EQ(m.flat(), e.flat) << e.name;
        EXPECT_EQ(m.pages(), e.pages) << e.name;
        EXPECT_EQ(m.get_bytes(0, 0, 128), std::vector<std::uint8_t>(e.image.begin(), e.image.begin() + 128)) << e.name;
        for (std::size_t i = 0; i < e.pages.size(); ++i) {
            const auto from = e.image.begin() + 128 * (i + 1);
            EXPECT_EQ(m.get_bytes(e.pages[i], 128, 128), std::vector<std::uint8_t>(from, from + 128)) << e.name;
        }
    }
}

// Every catalogue module, made and read through a cage: ready at once, and at
// its nominal values (high power class enabled, earlier flags read away) no
// alarm or warning latches, so thresholds and monitor values agree; only a
// TEC-ready flag may assert IntL.
TEST(CatalogueTest, ModulesAreReadyAndQuietAtTheirNominalValues) {
    for (const CatalogueEntry &e : catalogue()) {
        qsfp::sim::Cage cage;
        cage.insert(qsfp::sim::make_module(e));
        const std::uint8_t high_power = 0x04;
        ASSERT_EQ(cage.write(93, 0, 1, &high_power), 0u) << e.name;
        std::array<std::uint8_t, 128> lower{};
        ASSERT_EQ(cage.read(0, 0, 128, lower.data()), 0u) << e.name;
        ASSERT_EQ(cage.read(0, 0, 128, lower.data()), 0u) << e.name;
        EXPECT_EQ(lower[2] & 0x01, 0) << e.name << ": data not ready";
        for (int b = 3; b <= 14; ++b) {
            const std::uint8_t allowed = b == 6 ? 0x03 : b == 8 ? 0x01 : 0x00;  // init complete, TEC readiness
            EXPECT_EQ(lower[b] & ~allowed, 0) << e.name << " byte " << b;
        }
        EXPECT_EQ((lower[2] & 0x02) == 0, e.tec) << e.name << ": IntL";
    }
}

}  // namespace
