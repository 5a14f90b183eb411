// The entries of the CMIS catalogue. Type codes: the first advertised
// application that matches a known application row decides (a DR4 whose page
// 01h byte 132 is 42h is the long-reach variant 0xCE, a ZR that also
// advertises a ZR+ application counts as ZR+); a qualifying maker's extended
// identifier 5-15 gives 0xC1-0xCB whatever is advertised; the pre-release maps
// decide by their own bytes.
#include "cmis_catalogue_recipe.h"

#include <iterator>

namespace qsfp::sim::cmis_catalogue_detail {

namespace {

// Makers. The OUIs are illustrative.
constexpr Maker kOptics = {"OPTIWAVE", {0x00, 0x17, 0x6A}, "OWD-", "OWD"};
constexpr Maker kCables = {"CUPRALINK", {0x00, 0x12, 0x3E}, "CPL-", "CPD"};
constexpr Maker kCoherent = {"OPTIWAVE", {0x00, 0x17, 0x6A}, "OWZ-", "OWZ"};
constexpr Maker kKorva = {"KORVA", {0x00, 0x05, 0x85}, "KV-", "KVD"};
constexpr Maker kKorvaAvago = {"KORVA-AVAGO", {0x00, 0x05, 0x85}, "KVA-", "KVA"};
constexpr Maker kAoi = {"AOI", {0x00, 0x1A, 0xA4}, "AOI-", "AOD"};
constexpr Maker kFinisar = {"FINISAR CORP.", {0x00, 0x90, 0x65}, "FTCD-", "FND"};
constexpr Maker kMultilane = {"MULTILANE", {0x00, 0x2B, 0x11}, "ML-", "MLD"};
constexpr Maker kMolex = {"Molex", {0x00, 0x09, 0x3A}, "MX-", "MXD"};

// Host electrical interface codes (SFF-8024).
constexpr std::uint8_t kCaui4 = 0x0B;       // 100G, four lanes
constexpr std::uint8_t k100Gaui2 = 0x0D;    // 100G, two lanes
constexpr std::uint8_t k400Gaui8 = 0x11;    // 400G, eight lanes
constexpr std::uint8_t k400GCr8 = 0x1D;     // 400G copper, eight lanes
constexpr std::uint8_t k50Gaui1 = 0x0A;     // 50G, one lane

// Media interface codes, by media type.
constexpr std::uint8_t kMm100GSr4 = 0x09;
constexpr std::uint8_t kMm400GSr8 = 0x10;
constexpr std::uint8_t kSm100GLr4 = 0x0D;
constexpr std::uint8_t kSm100GPsm4 = 0x0F;
constexpr std::uint8_t kSm100GCwdm4 = 0x10;
constexpr std::uint8_t kSm100GDr = 0x14;
constexpr std::uint8_t kSm400GLr8 = 0x1B;
constexpr std::uint8_t kSm400GDr4 = 0x1C;
constexpr std::uint8_t kSm400GFr4 = 0x1D;
constexpr std::uint8_t kSm400Zr = 0x3E;         // DWDM, amplified
constexpr std::uint8_t kSm400ZrUnamp = 0x3F;    // single wavelength, unamplified
constexpr std::uint8_t kSmZrPlus = 0xC0;        // vendor-specific codes of ZR+ modes
constexpr std::uint8_t kSmZrPlus400 = 0xC5;
constexpr std::uint8_t kCopperCable = 0x01;
constexpr std::uint8_t kAocLowBer = 0x01;
constexpr std::uint8_t kAnyMedia = 0x00;

// Host lanes x media lanes, and where data paths may start.
constexpr std::uint8_t k8x8 = 0x88, k8x4 = 0x84, k8x1 = 0x81, k4x4 = 0x44, k2x1 = 0x21, k1x1 = 0x11;
constexpr std::uint8_t kLane1 = 0x01, kLanes1and5 = 0x11, kOddLanes = 0x55, kEveryLane = 0xFF;

constexpr std::uint8_t kLc = 0x07, kMpo = 0x0C, kMpo2 = 0x0D;

// Media interface technology (page 00h 212).
constexpr std::uint8_t kVcsel850 = 0x00, kDfb1310 = 0x04, kEml1310 = 0x06, kTunableCBand = 0x10, kCopperUnequalised = 0x0A,
                       kCopperActive = 0x0E;

// SI controls implemented: Tx fixed and adaptive input EQ; Rx pre, post and amplitude.
constexpr std::uint8_t kTxEqBoth = 0x0C, kTxEqFixed = 0x04, kRxAll = 0x1C, kRxAmplitude = 0x04;

constexpr App kFr4 = {k400Gaui8, kSm400GFr4, k8x4, kLane1};
constexpr App kDr4 = {k400Gaui8, kSm400GDr4, k8x4, kLane1};
constexpr App kDr4Breakout = {k100Gaui2, kSm100GDr, k2x1, kOddLanes};
constexpr App kLr8 = {k400Gaui8, kSm400GLr8, k8x8, kLane1};

// Page 01h byte 132: 500 m (0.1 km units), and 2 km in 1 km units (42h).
constexpr std::uint8_t k500m = 0x05, k2km = 0x42, k10km = 0x4A, k120km = 0x78;
// Page 00h byte 202: 2 m and 3 m (multiplier 1 m).
constexpr std::uint8_t k2m = 0x42, k3m = 0x43;

// The 400G optics, one per kind; the CMIS 3.0 variants reuse them.
constexpr Recipe kFr4Recipe = {.name = "400G-FR4", .description = "400GBASE-FR4, four CWDM lanes, LC, 2 km", .type_code = 0xC2,
                               .maker = kOptics, .media_type = 0x02, .apps = {kFr4}, .profile = Profile::single_mode,
                               .connector = kLc, .technology = kEml1310, .wavelength_nm = 1301, .smf_length = k2km,
                               .tx_si = kTxEqBoth, .rx_si = kRxAll, .max_power = 48, .cdb = true};
constexpr Recipe kDr4Recipe = {.name = "400G-DR4", .description = "400GBASE-DR4, four parallel lanes, MPO, 500 m; also 4 x 100G-DR",
                               .type_code = 0xC3, .maker = kOptics, .media_type = 0x02, .apps = {kDr4, kDr4Breakout},
                               .profile = Profile::single_mode, .connector = kMpo, .technology = kEml1310,
                               .wavelength_nm = 1311, .smf_length = k500m, .tx_si = kTxEqBoth, .rx_si = kRxAll, .max_power = 40};
constexpr Recipe kLr8Recipe = {.name = "400G-LR8", .description = "400GBASE-LR8, eight LAN-WDM lanes, LC, 10 km", .type_code = 0xC7,
                               .maker = kOptics, .media_type = 0x02, .apps = {kLr8}, .profile = Profile::single_mode,
                               .connector = kLc, .technology = kDfb1310, .wavelength_nm = 1296, .smf_length = k10km,
                               .tx_si = kTxEqFixed, .rx_si = kRxAll, .max_power = 56};


constexpr Recipe renamed(Recipe r, std::string_view name, std::string_view description) {
    r.name = name;
    r.description = description;
    return r;
}

constexpr Recipe made_by(Recipe r, Maker maker) {
    r.maker = maker;
    return r;
}

constexpr Recipe typed(Recipe r, std::uint32_t type_code) {
    r.type_code = type_code;
    return r;
}

constexpr Recipe with_apps(Recipe r, App first, App second) {
    r.apps = {first, second};
    return r;
}

constexpr Recipe cmis3(Recipe r, std::string_view name, std::string_view description) {
    r = renamed(r, name, description);
    r.revision = 0x30;
    r.module_durations = 0;  // not advertised before CMIS 4.0
    r.cdb = false;           // the catalogue's CMIS 3.0 modules have no CDB
    return r;
}

// A maker-qualified module: identified by its extended identifier alone.
constexpr Recipe qualified(Recipe r, std::string_view name, std::uint8_t extended_id, std::uint32_t type_code) {
    r = typed(made_by(renamed(r, name, r.description), kKorva), type_code);
    r.extended_id = extended_id;
    return r;
}

constexpr Recipe kCopperRecipe = {.name = "400G-CR8-FLAT", .description = "400GBASE-CR8 passive copper cable, flat memory, 2 m",
                                  .type_code = 0xC1, .maker = kCables, .media_type = 0x03,
                                  .apps = {App{k400GCr8, kCopperCable, k8x8, kLane1}}, .flat = true,
                                  .technology = kCopperUnequalised, .cable_length = k2m};
constexpr Recipe kLoopbackRecipe = {.name = "400G-PLB", .description = "400G passive loopback plug", .type_code = 0xC4,
                                    .maker = kCables, .media_type = 0x03, .apps = {App{k400Gaui8, kAnyMedia, k8x8, kLane1}},
                                    .technology = kCopperUnequalised};
constexpr Recipe kBreakoutRecipe = {.name = "8X50G-CU", .description = "8 x 50G passive copper breakout cable, flat memory, 3 m; no module type row lists its application",
                                    .type_code = 0, .maker = kCables, .media_type = 0x03,
                                    .apps = {App{k50Gaui1, kCopperCable, k1x1, kEveryLane}}, .flat = true,
                                    .technology = kCopperUnequalised, .cable_length = k3m};
constexpr Recipe kActiveLoopbackRecipe = {.name = "400G-ALB", .description = "400G active loopback module with monitors",
                                          .type_code = 0, .maker = kCables, .media_type = 0x04,
                                          .apps = {App{k400Gaui8, 0x00, k8x8, kLane1}}, .profile = Profile::active_cable,
                                          .technology = kCopperActive, .max_power = 12};

constexpr App k2x100(std::uint8_t media) { return {kCaui4, media, k4x4, kLanes1and5}; }

constexpr Recipe kTwoBy100(std::string_view name, std::string_view description, std::uint32_t type_code, std::uint8_t media_type,
                           std::uint8_t media, Profile profile, std::uint8_t connector, std::uint8_t technology,
                           double wavelength) {
    return {.name = name, .description = description, .type_code = type_code, .maker = kOptics, .media_type = media_type,
            .apps = {k2x100(media)}, .profile = profile, .connector = connector, .technology = technology,
            .wavelength_nm = wavelength, .smf_length = media_type == 0x02 ? k2km : std::uint8_t{0},
            .om3_length = media_type == 0x01 ? std::uint8_t{35} : std::uint8_t{0}, .tx_si = kTxEqFixed, .rx_si = kRxAmplitude,
            .max_power = 40};
}

constexpr Recipe kSr4x2 = kTwoBy100("2X100G-SR4", "2 x 100GBASE-SR4, 850 nm, MPO-24, 70 m OM3", 0xC8, 0x01, kMm100GSr4,
                                    Profile::multimode, kMpo2, kVcsel850, 850);
constexpr Recipe kPsm4x2 = kTwoBy100("2X100G-PSM4", "2 x 100G PSM4, 1310 nm, MPO-24, 500 m", 0xC9, 0x02, kSm100GPsm4,
                                     Profile::single_mode, kMpo2, kDfb1310, 1310);
constexpr Recipe kCwdm4x2 = kTwoBy100("2X100G-CWDM4", "2 x 100G CWDM4, duplex LC pair, 2 km", 0xCA, 0x02, kSm100GCwdm4,
                                      Profile::single_mode, kLc, kDfb1310, 1301);
constexpr Recipe kLr4x2 = kTwoBy100("2X100G-LR4", "2 x 100GBASE-LR4, duplex LC pair, 10 km", 0xCB, 0x02, kSm100GLr4,
                                    Profile::single_mode, kLc, kDfb1310, 1304.5);

constexpr Recipe kZrRecipe = {.name = "400G-ZR", .description = "400ZR coherent DWDM, C band, amplified and unamplified modes",
                              .type_code = 0xCF, .maker = kCoherent, .media_type = 0x02,
                              .apps = {App{k400Gaui8, kSm400Zr, k8x1, kLane1}, App{k400Gaui8, kSm400ZrUnamp, k8x1, kLane1}},
                              .profile = Profile::coherent, .connector = kLc, .technology = kTunableCBand,
                              .wavelength_nm = 1547.72, .smf_length = k120km, .dp_durations = 0x79, .module_durations = 0x68,
                              .max_power = 76, .cdb = true};

constexpr Recipe kRecipes[] = {
    // ---- One per module type, identified by its applications ----
    kCopperRecipe,
    kFr4Recipe,
    kDr4Recipe,
    [] {
        Recipe r = typed(renamed(kDr4Recipe, "400G-XDR4", "400G DR4 for 2 km (page 01h byte 132 = 42h)"), 0xCE);
        r.smf_length = k2km;
        return r;
    }(),
    kLoopbackRecipe,
    kLr8Recipe,
    kSr4x2,
    kPsm4x2,
    kCwdm4x2,
    kLr4x2,
    {.name = "400G-AOC", .description = "400G active optical cable, 3 m", .type_code = 0xCC, .maker = kCables, .media_type = 0x04,
     .apps = {App{k400Gaui8, kAocLowBer, k8x8, kLane1}}, .profile = Profile::active_cable, .technology = kVcsel850,
     .cable_length = k3m, .max_power = 40},
    {.name = "400G-AEC", .description = "400G active electrical cable, 2 m", .type_code = 0xCD, .maker = kCables, .media_type = 0x04,
     .apps = {App{kCaui4, 0x01, k8x8, kLane1}}, .profile = Profile::active_cable, .technology = kCopperActive,
     .cable_length = k2m, .max_power = 48},
    kZrRecipe,
    with_apps(typed(renamed(kZrRecipe, "400G-ZR-ZRP", "400ZR that also advertises a ZR+ mode"), 0xD0),
              App{k400Gaui8, kSm400Zr, k8x1, kLane1}, App{k400Gaui8, kSmZrPlus, k8x1, kLane1}),
    with_apps(typed(renamed(kZrRecipe, "400G-ZRP", "400G ZR+ coherent, also 4 x 100G"), 0xD0),
              App{k400Gaui8, kSmZrPlus400, k8x1, kLane1}, App{k100Gaui2, kSmZrPlus, k2x1, kOddLanes}),
    // ---- CMIS 3.0 variants of the 400G optics ----
    cmis3(kFr4Recipe, "400G-FR4-CMIS3", "400GBASE-FR4, CMIS 3.0"),
    cmis3(kDr4Recipe, "400G-DR4-CMIS3", "400GBASE-DR4, CMIS 3.0"),
    cmis3(kLr8Recipe, "400G-LR8-CMIS3", "400GBASE-LR8, CMIS 3.0"),
    // ---- Flat copper and breakout ----
    kBreakoutRecipe,
    // ---- Maker-qualified, by extended identifier 5-15 ----
    qualified(kCopperRecipe, "KORVA-400G-CR8-FLAT", 5, 0xC1),
    qualified(kFr4Recipe, "KORVA-400G-FR4", 6, 0xC2),
    qualified(kDr4Recipe, "KORVA-400G-DR4", 7, 0xC3),
    qualified(kLoopbackRecipe, "KORVA-400G-PLB", 8, 0xC4),
    qualified(kBreakoutRecipe, "KORVA-8X50G-CU", 9, 0xC5),
    qualified(kActiveLoopbackRecipe, "KORVA-400G-ALB", 10, 0xC6),
    qualified(kLr8Recipe, "KORVA-400G-LR8", 11, 0xC7),
    qualified(kSr4x2, "KORVA-2X100G-SR4", 12, 0xC8),
    qualified(kPsm4x2, "KORVA-2X100G-PSM4", 13, 0xC9),
    qualified(kCwdm4x2, "KORVA-2X100G-CWDM4", 14, 0xCA),
    qualified(kLr4x2, "KORVA-2X100G-LR4", 15, 0xCB),
    // ---- Vendor-specific modules ----
    [] {
        Recipe r = made_by(renamed(kCwdm4x2, "AOI-2X100G-CWDM4", "AOI 2 x 100G CWDM4 advertising short module power-up and power-down times"),
                           kAoi);
        r.module_durations = 0x33;  // 10-50 ms each
        return r;
    }(),
    [] {
        Recipe r = made_by(qualified(kDr4Recipe, "KORVA-AVAGO-ALPHA", 7, 0xC3), kKorvaAvago);
        r.description = "Pre-production (hardware revision A0) maker-qualified 400G DR4";
        r.hw_rev = "A0";
        return r;
    }(),
    made_by(cmis3(kFr4Recipe, "FINISAR-400G-FR4", "FINISAR 400G FR4, CMIS 3.0"), kFinisar),
    made_by(cmis3(kLoopbackRecipe, "MULTILANE-400G-PLB", "MULTILANE 400G loopback, CMIS 3.0"), kMultilane),
    [] {
        Recipe r = renamed(kDr4Recipe, "400G-DR4-DPINIT14", "400G DR4 advertising the reserved DPInit duration code 14");
        r.dp_durations = 0x4E;  // DPDeinit code 4, DPInit code 14
        return r;
    }(),
    {.name = "400G-SR8", .description = "400GBASE-SR8, 850 nm, MPO-16: an application no module type row lists",
     .type_code = 0, .maker = kOptics, .media_type = 0x01, .apps = {App{k400Gaui8, kMm400GSr8, k8x8, kLane1}},
     .profile = Profile::multimode, .connector = kMpo2, .technology = kVcsel850, .wavelength_nm = 850, .om3_length = 35,
     .tx_si = kTxEqFixed, .rx_si = kRxAll, .max_power = 40},
    // ---- Pre-release memory maps ----
    {.name = "PRE03-400G-CU", .description = "Pre-release map (revision 03h) passive copper cable, 1 m", .type_code = 0xC1,
     .maker = kCables, .media_type = 0x03, .revision = 0x03, .layout = CmisLayout::pre03, .flat = true,
     .technology = 0xA0, .cable_length = 1},
    {.name = "PRE04-400G-LB", .description = "Pre-release map (revision 04h) loopback module", .type_code = 0xC4,
     .maker = kCables, .media_type = 0x03, .revision = 0x04, .layout = CmisLayout::pre04, .profile = Profile::active_cable},
    {.name = "PRE07-MOLEX-CU", .description = "Pre-release map (revision 07h) Molex passive copper cable, 2 m", .type_code = 0xC1,
     .maker = kMolex, .media_type = 0x03, .revision = 0x07, .layout = CmisLayout::pre07, .flat = true, .technology = 0xA0,
     .cable_length = 2},
    {.name = "PRE07-MOLEX-AOC", .description = "Pre-release map (revision 07h) Molex active optical cable (not copper)",
     .type_code = 0, .maker = kMolex, .media_type = 0x04, .revision = 0x07, .layout = CmisLayout::pre07, .flat = true,
     .technology = 0x00, .cable_length = 3},
};

}  // namespace

std::span<const Recipe> recipes() { return kRecipes; }

}  // namespace qsfp::sim::cmis_catalogue_detail
