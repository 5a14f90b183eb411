// The module kinds of the catalogue: one row per way the driver classifies an
// SFF-8636 module, with the bytes that give that classification and the
// expected type code and string. Codes: byte 131 bit 7 set -> byte 192 (1 and
// 24 both 1) with fall-backs on byte 224 and the passive-loopback test; byte
// 131 another nonzero value -> the SFF-8436 code table; byte 131 zero -> byte
// 224 + 128.
#include "catalogue_recipe.h"

#include <array>

namespace qsfp::sim::catalogue_detail {

namespace {

constexpr std::uint8_t kQsfp = 0x0C;
constexpr std::uint8_t kQsfpPlus = 0x0D;
constexpr std::uint8_t kQsfp28 = 0x11;

// Connectors (SFF-8024).
constexpr std::uint8_t kLc = 0x07;
constexpr std::uint8_t kMpo = 0x0C;
constexpr std::uint8_t kAdapterCage = 0x00;  // no connector code: an SFP cage inside
constexpr std::uint8_t kRj45 = 0x22;
constexpr std::uint8_t kNoSeparable = 0x23;

// Device technology, byte 147 bits 7-4, and APD (bit 1).
constexpr std::uint8_t kVcsel850 = 0x00;
constexpr std::uint8_t kFp1310 = 0x30;
constexpr std::uint8_t kDfb1310 = 0x40;
constexpr std::uint8_t kDfb1550 = 0x50;
constexpr std::uint8_t kEml1310 = 0x60;
constexpr std::uint8_t kEml1550 = 0x70;
constexpr std::uint8_t kOther = 0x80;
constexpr std::uint8_t kCopperUnequalised = 0xA0;
constexpr std::uint8_t kCopperActive = 0xE0;  // near-end limiting active equalisers
constexpr std::uint8_t kApd = 0x02;
constexpr std::uint8_t kWavelengthControl = 0x08;

constexpr std::uint8_t kExt = 0x80;  // byte 131 bit 7: the code is in byte 192

using F = Family;
using P = Profile;

// stem, description, code, type string,
// identifier, 131, 192, 224, 147, connector, 142 km, 143 (2 m), 146, wavelength, family, profile
constexpr Kind kKinds[] = {
    // ---- Byte 131 bit 7: extended codes in byte 192 ----
    {"100G-AOC", "100G active optical cable, 850 nm VCSEL, 3 m", 1, "QSFP28 100G AOC",
     kQsfp28, kExt, 0x01, 0, kVcsel850, kNoSeparable, 0, 0, 3, 850, F::optics, P::short_reach},
    {"100G-AOC-LOWBER", "100G active optical cable, the lower-BER extended code (24), 5 m", 1, "QSFP28 100G AOC",
     kQsfp28, kExt, 0x18, 0, kVcsel850, kNoSeparable, 0, 0, 5, 850, F::optics, P::short_reach},
    {"100G-SR4", "100GBASE-SR4, 850 nm, MPO, 70 m OM3 / 100 m OM4", 2, "QSFP28 100G SR4",
     kQsfp28, kExt, 0x02, 0, kVcsel850, kMpo, 0, 35, 50, 850, F::optics, P::short_reach},
    {"100G-LR4", "100GBASE-LR4, LAN-WDM around 1310 nm, LC, 10 km", 3, "QSFP28 100G LR4",
     kQsfp28, kExt, 0x03, 0, kDfb1310, kLc, 10, 0, 0, 1304.5, F::optics, P::long_reach},
    {"100G-ER4", "100GBASE-ER4, 1310 nm EML and APD, cooled, LC, 40 km", 4, "QSFP28 100G ER4",
     kQsfp28, kExt, 0x04, 0, kEml1310 | kApd, kLc, 40, 0, 0, 1304.5, F::optics, P::extended_reach},
    {"100G-SR10", "100GBASE-SR10, 850 nm, MPO-24", 5, "QSFP28 100G SR10",
     kQsfp28, kExt, 0x05, 0, kVcsel850, kMpo, 0, 50, 75, 850, F::optics, P::short_reach},
    {"100G-CWDM4-FEC", "100G CWDM4 MSA (with FEC), 1271-1331 nm, LC, 2 km", 6, "QSFP28 100G CWDM4 MSA WITH FEC",
     kQsfp28, kExt, 0x06, 0, kDfb1310, kLc, 2, 0, 0, 1301, F::optics, P::long_reach},
    {"100G-PSM4", "100G PSM4 MSA, 1310 nm over parallel single-mode fibre, MPO, 500 m", 7, "QSFP28 100G PSM4 PARALLEL SMF",
     kQsfp28, kExt, 0x07, 0, kDfb1310, kMpo, 1, 0, 0, 1310, F::optics, P::long_reach},
    {"100G-CWDM4", "100G CWDM4 MSA without FEC, LC, 2 km", 9, "QSFP28 100G CWDM4 MSA WITHOUT FEC",
     kQsfp28, kExt, 0x09, 0, kDfb1310, kLc, 2, 0, 0, 1301, F::optics, P::long_reach},
    {"100G-CR4", "100GBASE-CR4 passive copper cable, 3 m", 11, "QSFP28 100G CR4",
     kQsfp28, kExt, 0x0B, 0, kCopperUnequalised, kNoSeparable, 0, 0, 3, 0, F::copper, P::none},
    {"100G-CR4-NOFEC", "100GBASE-CR4 passive copper cable for use without FEC, 2 m", 13, "QSFP28 100G CR4 NO FEC",
     kQsfp28, kExt, 0x0D, 0, kCopperUnequalised, kNoSeparable, 0, 0, 2, 0, F::copper, P::none},
    {"40G-ER4-EXT", "40GBASE-ER4 by the extended code (16), 1310 nm, LC, 40 km", 16, "QSFP+ 40G ER4",
     kQsfpPlus, kExt, 0x10, 0, kDfb1310 | kApd, kLc, 40, 0, 0, 1310, F::optics_40g, P::extended_reach},
    {"4X10G-SR-EXT", "4 x 10GBASE-SR by the extended code (17), 850 nm, MPO", 17, "4x10G SR",
     kQsfpPlus, kExt, 0x11, 0, kVcsel850, kMpo, 0, 150, 200, 850, F::optics_40g, P::short_reach},
    {"40G-PSM4-EXT", "40G PSM4 by the extended code (18), 1310 nm, MPO, 2 km", 18, "QSFP+ 40G PSM4 PARALLEL SMF",
     kQsfpPlus, kExt, 0x12, 0, kDfb1310, kMpo, 2, 0, 0, 1310, F::optics_40g, P::long_reach},
    {"G959-P1I1-2D1", "ITU-T G.959.1 P1I1-2D1, 4 x 10G, 1310 nm, 2 km", 19, "QSFP TYPE G959 1 P1I1 2D1",
     kQsfpPlus, kExt, 0x13, 0, kDfb1310, kLc, 2, 0, 0, 1310, F::optics_40g, P::long_reach},
    {"G959-P1S1-2D2", "ITU-T G.959.1 P1S1-2D2, 4 x 10G, 1550 nm, 40 km", 20, "QSFP TYPE G959 1 P1S1 2D2",
     kQsfpPlus, kExt, 0x14, 0, kDfb1550, kLc, 40, 0, 0, 1550, F::optics_40g, P::extended_reach},
    {"G959-P1L1-2D2", "ITU-T G.959.1 P1L1-2D2, 4 x 10G, 1550 nm EML and APD, 80 km", 21, "QSFP TYPE G959 1 P1L1 2D2",
     kQsfpPlus, kExt, 0x15, 0, kEml1550 | kApd, kLc, 80, 0, 0, 1550, F::optics_40g, P::extended_reach},
    {"10GBASE-T-SFI", "10GBASE-T with SFI electrical interface, RJ45", 22, "QSFP TYPE 10G BASE T WITH SFI",
     kQsfpPlus, kExt, 0x16, 0, kOther, kRj45, 0, 0, 0, 0, F::active_copper, P::none},
    {"100G-AEC", "100G active electrical cable, 2 m", 25, "QSFP28 100G AEC",
     kQsfp28, kExt, 0x19, 0, kCopperActive, kNoSeparable, 0, 0, 2, 0, F::active_copper, P::none},
    {"100G-DWDM2", "100G DWDM2, two 50G PAM4 lanes, C band 1550.12 nm, 80 km, pages 20h-21h", 26, "QSFP28 100G DWDM2",
     kQsfp28, kExt, 0x1A, 0, kDfb1550 | kWavelengthControl, kLc, 80, 0, 0, 1550.12, F::pam4, P::dwdm},
    {"100G-4WDM-10", "100G 4WDM-10 MSA, LAN-WDM, LC, 10 km", 34, "QSFP28 100G 4WDM 10I",
     kQsfp28, kExt, 0x22, 0, kDfb1310, kLc, 10, 0, 0, 1304.5, F::optics, P::long_reach},
    {"100G-4WDM-40", "100G 4WDM-40 MSA, EML and APD, cooled, LC, 40 km", 36, "QSFP28 100G 4WDM 40I",
     kQsfp28, kExt, 0x24, 0, kEml1310 | kApd, kLc, 40, 0, 0, 1304.5, F::optics, P::extended_reach},
    {"100G-DR", "100GBASE-DR, one PAM4 lane at 1310 nm, LC, 500 m", 37, "QSFP28 100G DR-V",
     kQsfp28, kExt, 0x25, 0, kEml1310, kLc, 1, 0, 0, 1310, F::pam4, P::long_reach},
    {"100G-FR", "100G-FR, one PAM4 lane at 1310 nm, LC, 2 km", 38, "QSFP28 100G FR",
     kQsfp28, kExt, 0x26, 0, kEml1310, kLc, 2, 0, 0, 1310, F::pam4, P::long_reach},
    {"100G-LR", "100G-LR, one PAM4 lane at 1310 nm, LC, 10 km", 39, "QSFP28 100G LR",
     kQsfp28, kExt, 0x27, 0, kEml1310, kLc, 10, 0, 0, 1310, F::pam4, P::long_reach},
    // Byte 192 not in the driver's table: byte 224 = 5 names single-mode SR.
    {"100G-SM-SR-EXT", "100G single-mode short reach: byte 192 zero, vendor code 5, LC, 2 km", 133, "QSFP28 100G SM SR",
     kQsfp28, kExt, 0x00, 5, kDfb1310, kLc, 2, 0, 0, 1310, F::optics, P::long_reach},
    // Byte 192 not in the table, copper with no length: a passive loopback.
    {"100G-PLB", "100G passive loopback plug: byte 192 8 (not in the table), copper, length 0", 127, "QSFP TYPE 100G PASSIVE LOOPBACK",
     kQsfp28, kExt, 0x08, 0, kCopperUnequalised, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
    {"100G-PLB-VC5", "100G passive loopback plug with vendor code 5: the loopback test wins", 127, "QSFP TYPE 100G PASSIVE LOOPBACK",
     kQsfp28, kExt, 0x08, 5, kCopperUnequalised, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
    {"UNKNOWN-EXT-40H", "QSFP28 with extended code 40h, beyond the driver's table (an unknown module)", 0, "QSFP TYPE UNKNOWN",
     kQsfp28, kExt, 0x40, 0, kVcsel850, kMpo, 0, 35, 50, 850, F::optics, P::short_reach},

    // ---- Byte 131 another nonzero value: the SFF-8436 code table ----
    {"40G-AOC", "40G active optical cable, 850 nm, 5 m", 374, "QSFP+ 40G AOC",
     kQsfpPlus, 0x01, 0, 0, kVcsel850, kNoSeparable, 0, 0, 5, 850, F::optics_40g, P::short_reach},
    {"40G-LR4", "40GBASE-LR4, CWDM 1271-1331 nm, LC, 10 km", 65, "QSFP+ 40G LR4",
     kQsfpPlus, 0x02, 0, 0, kDfb1310, kLc, 10, 0, 0, 1301, F::optics_40g, P::long_reach},
    {"40G-SR4", "40GBASE-SR4, 850 nm, MPO, 100 m OM3 / 150 m OM4", 66, "QSFP+ 40G SR4",
     kQsfpPlus, 0x04, 0, 0, kVcsel850, kMpo, 0, 50, 75, 850, F::optics_40g, P::short_reach},
    {"40G-PLPBKE", "QSFP+ loopback plug: 40GBASE-SR4 code with vendor code 3", 127, "QSFP TYPE 100G PLPBKE",
     kQsfpPlus, 0x04, 0, 3, kCopperUnequalised, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
    {"40G-CR4", "40GBASE-CR4 passive copper cable, 1 m", 67, "QSFP+ 40G CR4",
     kQsfpPlus, 0x08, 0, 0, kCopperUnequalised, kNoSeparable, 0, 0, 1, 0, F::copper, P::none},
    {"10G-SR", "10GBASE-SR code alone, 850 nm, MPO breakout", 68, "QSFP TYPE 10G BASE SR",
     kQsfpPlus, 0x10, 0, 0, kVcsel850, kMpo, 0, 150, 200, 850, F::optics_40g, P::short_reach},
    {"40G-SR4-10GSR", "40GBASE-SR4 and 10GBASE-SR codes together (14h)", 66, "QSFP+ 40G SR4",
     kQsfpPlus, 0x14, 0, 0, kVcsel850, kMpo, 0, 50, 75, 850, F::optics_40g, P::short_reach},
    {"40G-PSM4", "40G PSM4 by byte 131 code 15h, 1310 nm, MPO, 2 km", 18, "QSFP+ 40G PSM4 PARALLEL SMF",
     kQsfpPlus, 0x15, 0, 0, kDfb1310, kMpo, 2, 0, 0, 1310, F::optics_40g, P::long_reach},
    {"4X10G-LR", "4 x 10GBASE-LR, 1310 nm, MPO, 10 km", 238, "QSFP+ 40G 4x10G BASE LR",
     kQsfpPlus, 0x20, 0, 0, kDfb1310, kMpo, 10, 0, 0, 1310, F::optics_40g, P::long_reach},
    {"40G-PLR4", "40G parallel LR4 (22h: 10GBASE-LR and 40GBASE-LR4 codes), MPO, 10 km", 98, "QSFP+ 40G PARALLEL LR4",
     kQsfpPlus, 0x22, 0, 0, kDfb1310, kMpo, 10, 0, 0, 1310, F::optics_40g, P::long_reach},
    {"40G-ESR4", "40G extended-reach SR4 (23h), 850 nm, MPO, 300 m OM3", 99, "QSFP+ 40G ESR4",
     kQsfpPlus, 0x23, 0, 0, kVcsel850, kMpo, 0, 150, 200, 850, F::optics_40g, P::short_reach},
    {"10G-LRM", "10GBASE-LRM code alone, 1310 nm Fabry-Perot, LC, 220 m", 70, "QSFP TYPE 10G BASE LRM",
     kQsfpPlus, 0x40, 0, 0, kFp1310, kLc, 0, 110, 0, 1310, F::optics_40g, P::long_reach},
    {"40G-UNLISTED", "QSFP (identifier 0Ch) whose byte 131 (05h) is not in the code table", 0, "QSFP TYPE UNKNOWN",
     kQsfp, 0x05, 0, 0, kVcsel850, kMpo, 0, 50, 75, 850, F::optics_40g, P::short_reach},

    // ---- Byte 131 zero: code = byte 224 + 128 ----
    {"100G-ER4L", "100G ER4-lite by vendor code 1, cooled, LC, 30 km", 129, "QSFP28 100G ER4L",
     kQsfp28, 0, 0, 1, kEml1310 | kApd, kLc, 30, 0, 0, 1304.5, F::optics, P::extended_reach},
    {"100G-ALB", "100G active loopback module by vendor code 2", 130, "QSFP28 100G ACTIVE LOOPBACK",
     kQsfp28, 0, 0, 2, kCopperActive, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
    {"100G-PLB-DMI", "100G passive loopback with diagnostics by vendor code 3", 131, "QSFP28 100G PASSIVE LOOPBACK DMI",
     kQsfp28, 0, 0, 3, kCopperUnequalised, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
    {"100G-OCTOPUS", "100G octopus passive copper breakout by vendor code 4, 3 m", 132, "QSFP28 100G OCTOPUS PASSIVE COPPER",
     kQsfp28, 0, 0, 4, kCopperUnequalised, kNoSeparable, 0, 0, 3, 0, F::copper, P::none},
    {"100G-SM-SR", "100G single-mode short reach by vendor code 5, LC, 2 km", 133, "QSFP28 100G SM SR",
     kQsfp28, 0, 0, 5, kDfb1310, kLc, 2, 0, 0, 1310, F::optics, P::long_reach},
    {"100G-SR-BD", "100G short-reach bidirectional by vendor code 6, 850/910 nm, LC", 134, "QSFP28 100G SR BD",
     kQsfp28, 0, 0, 6, kVcsel850, kLc, 0, 35, 50, 850, F::optics, P::short_reach},
    {"4X10G-CU-352", "4 x 10G passive copper breakout by vendor code 224, 1 m", 352, "4x10G COPPER",
     kQsfpPlus, 0, 0, 224, kCopperUnequalised, kNoSeparable, 0, 0, 1, 0, F::copper, P::none},
    {"4X10G-CU-353", "4 x 10G passive copper breakout by vendor code 225, 3 m", 353, "4x10G COPPER",
     kQsfpPlus, 0, 0, 225, kCopperUnequalised, kNoSeparable, 0, 0, 3, 0, F::copper, P::none},
    {"4X10G-CU-354", "4 x 10G passive copper breakout by vendor code 226, 5 m", 354, "4x10G COPPER",
     kQsfpPlus, 0, 0, 226, kCopperUnequalised, kNoSeparable, 0, 0, 5, 0, F::copper, P::none},
    {"4X10G-ACU-355", "4 x 10G active copper breakout by vendor code 227, 7 m", 355, "4x10G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 227, kCopperActive, kNoSeparable, 0, 0, 7, 0, F::active_copper, P::none},
    {"4X10G-ACU-356", "4 x 10G active copper breakout by vendor code 228, 8 m", 356, "4x10G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 228, kCopperActive, kNoSeparable, 0, 0, 8, 0, F::active_copper, P::none},
    {"4X10G-ACU-357", "4 x 10G active copper breakout by vendor code 229, 10 m", 357, "4x10G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 229, kCopperActive, kNoSeparable, 0, 0, 10, 0, F::active_copper, P::none},
    {"4X10G-ACU-358", "4 x 10G active copper breakout by vendor code 230, 12 m", 358, "4x10G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 230, kCopperActive, kNoSeparable, 0, 0, 12, 0, F::active_copper, P::none},
    {"4X10G-ACU-359", "4 x 10G active copper breakout by vendor code 231, 15 m", 359, "4x10G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 231, kCopperActive, kNoSeparable, 0, 0, 15, 0, F::active_copper, P::none},
    // Code 360 sits between the two active-copper ranges and is not in the table.
    {"ACU-360", "active copper cable by vendor code 232 (code 360, not in the type table), 5 m", 0, "QSFP TYPE UNKNOWN",
     kQsfpPlus, 0, 0, 232, kCopperActive, kNoSeparable, 0, 0, 5, 0, F::active_copper, P::none},
    {"40G-ACU-361", "40G active copper cable by vendor code 233, 7 m", 361, "QSFP+ 40G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 233, kCopperActive, kNoSeparable, 0, 0, 7, 0, F::active_copper, P::none},
    {"40G-ACU-362", "40G active copper cable by vendor code 234, 8 m", 362, "QSFP+ 40G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 234, kCopperActive, kNoSeparable, 0, 0, 8, 0, F::active_copper, P::none},
    {"40G-ACU-363", "40G active copper cable by vendor code 235, 10 m", 363, "QSFP+ 40G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 235, kCopperActive, kNoSeparable, 0, 0, 10, 0, F::active_copper, P::none},
    {"40G-ACU-364", "40G active copper cable by vendor code 236, 12 m", 364, "QSFP+ 40G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 236, kCopperActive, kNoSeparable, 0, 0, 12, 0, F::active_copper, P::none},
    {"40G-ACU-365", "40G active copper cable by vendor code 237, 15 m", 365, "QSFP+ 40G ACTIVE COPPER",
     kQsfpPlus, 0, 0, 237, kCopperActive, kNoSeparable, 0, 0, 15, 0, F::active_copper, P::none},
    {"40G-CSR4", "40G extended SR4 (CSR4) by vendor code 241, 850 nm, MPO, 400 m OM4", 369, "QSFP+ 40G CSR4",
     kQsfpPlus, 0, 0, 241, kVcsel850, kMpo, 0, 150, 200, 850, F::optics_40g, P::short_reach},
    // Code 370 is not in the driver's table, so the adapter classifies as unknown.
    {"QSA", "QSFP-to-SFP adapter by vendor code 242 (code 370, not in the type table)", 0, "QSFP TYPE UNKNOWN",
     kQsfpPlus, 0, 0, 242, kVcsel850, kAdapterCage, 0, 0, 0, 0, F::adapter, P::none},
    {"4X10G-CU-371", "4 x 10G passive copper breakout by vendor code 243, 2 m", 371, "4x10G COPPER",
     kQsfpPlus, 0, 0, 243, kCopperUnequalised, kNoSeparable, 0, 0, 2, 0, F::copper, P::none},
    {"40G-SR-BD", "40G short-reach bidirectional by vendor code 245, LC", 373, "QSFP+ 40G SR BD",
     kQsfpPlus, 0, 0, 245, kVcsel850, kLc, 0, 50, 75, 850, F::optics_40g, P::short_reach},
    {"40G-AOC-VC", "40G active optical cable by vendor code 246, 10 m", 374, "QSFP+ 40G AOC",
     kQsfpPlus, 0, 0, 246, kVcsel850, kNoSeparable, 0, 0, 10, 850, F::optics_40g, P::short_reach},
    {"4X10G-AOC", "4 x 10G breakout active optical cable by vendor code 247, 5 m", 375, "4x10G AOC",
     kQsfpPlus, 0, 0, 247, kVcsel850, kNoSeparable, 0, 0, 5, 850, F::optics_40g, P::short_reach},
    {"40G-ER4-VC", "40GBASE-ER4 by vendor code 248, cooled, LC, 40 km", 376, "QSFP+ 40G ER4",
     kQsfpPlus, 0, 0, 248, kDfb1310 | kApd, kLc, 40, 0, 0, 1310, F::optics_40g, P::extended_reach},
    {"40G-QLR4", "40G QLR4 (4 x 10GBASE-LR over parallel fibre) by vendor code 249, MPO, 10 km", 377, "QSFP+ 40G QLR4",
     kQsfpPlus, 0, 0, 249, kDfb1310, kMpo, 10, 0, 0, 1310, F::optics_40g, P::long_reach},
    // Code 128 is not in the table; copper with both lengths 0: the passive loopback.
    {"100G-PLB-VC", "100G passive loopback plug: vendor code 0 (code 128), copper, lengths 0", 127, "QSFP 100G PASSIVE LB",
     kQsfp28, 0, 0, 0, kCopperUnequalised, kNoSeparable, 0, 0, 0, 0, F::loopback, P::none},
};

}  // namespace

std::span<const Kind> kinds() { return kKinds; }

const Kind *find_kind(std::string_view stem) {
    for (const Kind &k : kKinds) {
        if (k.stem == stem) {
            return &k;
        }
    }
    return nullptr;
}

}  // namespace qsfp::sim::catalogue_detail
