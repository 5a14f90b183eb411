// Module type codes of SFF-8636 and SFF-8436 modules, from the compliance
// bytes of upper page 00h. The code alone, not the table it came from, is
// what the rest of the driver switches on.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace qsfp::sff8636 {

enum class TypeFlag : std::uint8_t { none, copper, dwdm };

struct TypeRow {
    std::uint32_t first;  // key range, inclusive
    std::uint32_t last;
    std::uint32_t code;   // 0: the code is the key itself
    const char *text;
    TypeFlag flag;
};

// Byte 192 (extended compliance code) of an SFF-8636 module.
inline constexpr TypeRow kExtendedComplianceTypes[] = {
    {1, 1, 1, "QSFP28 100G AOC", TypeFlag::none},
    {2, 2, 0, "QSFP28 100G SR4", TypeFlag::none},
    {3, 3, 0, "QSFP28 100G LR4", TypeFlag::none},
    {4, 4, 0, "QSFP28 100G ER4", TypeFlag::none},
    {5, 5, 0, "QSFP28 100G SR10", TypeFlag::none},
    {6, 6, 0, "QSFP28 100G CWDM4 MSA WITH FEC", TypeFlag::none},
    {7, 7, 0, "QSFP28 100G PSM4 PARALLEL SMF", TypeFlag::none},
    {9, 9, 0, "QSFP28 100G CWDM4 MSA WITHOUT FEC", TypeFlag::none},
    {11, 11, 0, "QSFP28 100G CR4", TypeFlag::copper},
    {13, 13, 0, "QSFP28 100G CR4 NO FEC", TypeFlag::copper},
    {16, 16, 0, "QSFP+ 40G ER4", TypeFlag::none},
    {17, 17, 0, "4x10G SR", TypeFlag::none},
    {18, 18, 0, "QSFP+ 40G PSM4 PARALLEL SMF", TypeFlag::none},
    {19, 19, 0, "QSFP TYPE G959 1 P1I1 2D1", TypeFlag::none},
    {20, 20, 0, "QSFP TYPE G959 1 P1S1 2D2", TypeFlag::none},
    {21, 21, 0, "QSFP TYPE G959 1 P1L1 2D2", TypeFlag::none},
    {22, 22, 0, "QSFP TYPE 10G BASE T WITH SFI", TypeFlag::none},
    {24, 24, 1, "QSFP28 100G AOC", TypeFlag::none},
    {25, 25, 0, "QSFP28 100G AEC", TypeFlag::none},
    {26, 26, 0, "QSFP28 100G DWDM2", TypeFlag::dwdm},
    {34, 34, 0, "QSFP28 100G 4WDM 10I", TypeFlag::none},
    {36, 36, 0, "QSFP28 100G 4WDM 40I", TypeFlag::none},
    {37, 37, 0, "QSFP28 100G DR-V", TypeFlag::none},
    {38, 38, 0, "QSFP28 100G FR", TypeFlag::none},
    {39, 39, 0, "QSFP28 100G LR", TypeFlag::none},
};
// Byte 192 values from 40 up are never looked up.
inline constexpr std::uint32_t kExtendedComplianceLimit = 40;

// Byte 131 (Ethernet compliance) of an SFF-8436 module, matched exactly.
inline constexpr TypeRow kEthernetComplianceTypes[] = {
    {0x01, 0x01, 374, "QSFP+ 40G AOC", TypeFlag::none},
    {0x02, 0x02, 65, "QSFP+ 40G LR4", TypeFlag::none},
    {0x04, 0x04, 66, "QSFP+ 40G SR4", TypeFlag::none},
    {0x08, 0x08, 67, "QSFP+ 40G CR4", TypeFlag::copper},
    {0x10, 0x10, 68, "QSFP TYPE 10G BASE SR", TypeFlag::none},
    {0x14, 0x14, 66, "QSFP+ 40G SR4", TypeFlag::none},
    {0x15, 0x15, 18, "QSFP+ 40G PSM4 PARALLEL SMF", TypeFlag::none},
    {0x20, 0x20, 238, "QSFP+ 40G 4x10G BASE LR", TypeFlag::none},
    {0x22, 0x22, 98, "QSFP+ 40G PARALLEL LR4", TypeFlag::none},
    {0x23, 0x23, 99, "QSFP+ 40G ESR4", TypeFlag::none},
    {0x40, 0x40, 70, "QSFP TYPE 10G BASE LRM", TypeFlag::none},
};

// Byte 131 zero: the code is vendor byte 224 plus 128.
inline constexpr TypeRow kVendorCodeTypes[] = {
    {129, 129, 0, "QSFP28 100G ER4L", TypeFlag::none},
    {130, 130, 0, "QSFP28 100G ACTIVE LOOPBACK", TypeFlag::none},
    {131, 131, 0, "QSFP28 100G PASSIVE LOOPBACK DMI", TypeFlag::none},
    {132, 132, 0, "QSFP28 100G OCTOPUS PASSIVE COPPER", TypeFlag::copper},
    {133, 133, 0, "QSFP28 100G SM SR", TypeFlag::none},
    {134, 134, 0, "QSFP28 100G SR BD", TypeFlag::none},
    {352, 354, 0, "4x10G COPPER", TypeFlag::copper},
    {355, 359, 0, "4x10G ACTIVE COPPER", TypeFlag::copper},
    {361, 365, 0, "QSFP+ 40G ACTIVE COPPER", TypeFlag::copper},
    {369, 369, 0, "QSFP+ 40G CSR4", TypeFlag::none},
    {371, 371, 0, "4x10G COPPER", TypeFlag::copper},
    {373, 373, 0, "QSFP+ 40G SR BD", TypeFlag::none},
    {374, 374, 0, "QSFP+ 40G AOC", TypeFlag::none},
    {375, 375, 0, "4x10G AOC", TypeFlag::none},
    {376, 376, 0, "QSFP+ 40G ER4", TypeFlag::none},
    {377, 377, 0, "QSFP+ 40G QLR4", TypeFlag::none},
};
inline constexpr std::uint32_t kVendorCodeBase = 128;

static_assert(std::size(kExtendedComplianceTypes) == 25);
static_assert(std::size(kEthernetComplianceTypes) == 11);
static_assert(std::size(kVendorCodeTypes) == 16);

constexpr const TypeRow *find_type(std::span<const TypeRow> table, std::uint32_t key) {
    for (const TypeRow &row : table) {
        if (key >= row.first && key <= row.last) {
            return &row;
        }
    }
    return nullptr;
}

constexpr std::uint32_t code_of(const TypeRow &row, std::uint32_t key) { return row.code != 0 ? row.code : key; }

static_assert(code_of(*find_type(kExtendedComplianceTypes, 24), 24) == 1);
static_assert(find_type(kVendorCodeTypes, 360) == nullptr);
static_assert(code_of(*find_type(kVendorCodeTypes, 357), 357) == 357);

// Type codes other parts of the driver treat specially.
inline constexpr std::uint32_t kTypeUnknown = 0;
inline constexpr std::uint32_t kType100GAoc = 1;
inline constexpr std::uint32_t kType100GLr4 = 3;
inline constexpr std::uint32_t kType100GPsm4 = 7;
inline constexpr std::uint32_t kType100GAec = 25;
inline constexpr std::uint32_t kType100GDwdm2 = 26;
inline constexpr std::uint32_t kType100GDr = 37;   // 37-39: DR, FR, LR, one wavelength
inline constexpr std::uint32_t kType100GLr = 39;
inline constexpr std::uint32_t kType40GSr4 = 66;
inline constexpr std::uint32_t kTypePassiveLoopback = 127;
inline constexpr std::uint32_t kType100GSmSr = 133;
inline constexpr std::uint32_t kTypeQsfpToSfpAdapter = 370;
static_assert(find_type(kEthernetComplianceTypes, 0x04)->code == kType40GSr4);
static_assert(find_type(kExtendedComplianceTypes, kType100GDwdm2)->flag == TypeFlag::dwdm);
static_assert(std::string_view{find_type(kExtendedComplianceTypes, kType100GAec)->text} == "QSFP28 100G AEC");
static_assert(std::string_view{find_type(kExtendedComplianceTypes, kType100GDr)->text} == "QSFP28 100G DR-V");
static_assert(std::string_view{find_type(kExtendedComplianceTypes, kType100GLr)->text} == "QSFP28 100G LR");
inline constexpr std::uint8_t kSr4Compliance = 0x04;    // byte 131: 40GBASE-SR4
inline constexpr std::uint8_t kSr4LoopbackMarker = 3;   // byte 224 of an SR4-coded loopback plug
inline constexpr std::uint8_t kSmSr224 = 5;             // byte 224 of a 100G single-mode SR

inline constexpr const char *kTextUnknown = "QSFP TYPE UNKNOWN";
inline constexpr const char *kTextPassiveLoopback = "QSFP TYPE 100G PASSIVE LOOPBACK";
inline constexpr const char *kTextSr4Loopback = "QSFP TYPE 100G PLPBKE";
inline constexpr const char *kTextVendorPassiveLoopback = "QSFP 100G PASSIVE LB";
inline constexpr const char *kTextSmSr = "QSFP28 100G SM SR";

}  // namespace qsfp::sff8636
