// Which entries the catalogue holds: every kind as a plain module, a
// maker-qualified twin of every optical kind, and the named variants that
// change one capability (TEC, adaptive CTLE, rate select, Tx disable, Rx output
// disable, squelch disable, flat memory, other makers).
#include "catalogue_recipe.h"

namespace qsfp::sim::catalogue_detail {

namespace {

// Makers. The OUIs are illustrative, except Mellanox's own.
constexpr MakerData kOptics = {"OPTIWAVE", {0x00, 0x17, 0x6A}, "OW-", "OWQ"};
constexpr MakerData kOptics40 = {"LIGHTRAIL", {0x00, 0x21, 0xB4}, "LTR-", "LTQ"};
constexpr MakerData kCables = {"CUPRALINK", {0x00, 0x12, 0x3E}, "CPL-", "CPQ"};
constexpr MakerData kKorva = {"KORVA", {0x00, 0x05, 0x85}, "KV-", "KVQ"};
constexpr MakerData kKorvaLumentum = {"KORVA-LUMENTUM", {0x00, 0x05, 0x85}, "KVL-", "KLQ"};
constexpr MakerData kSourcePhotonics = {"SOURCE PHOTONICS", {0x00, 0x1B, 0x8C}, "SPQ-", "SPH"};
constexpr MakerData kMellanox = {"Mellanox", {0x00, 0x02, 0xC9}, "MLX-", "MT"};

// 193: 3 adaptive Tx EQ, 2 Tx EQ, 1 Rx emphasis, 0 Rx amplitude.
constexpr std::uint8_t kProgrammableSi = 0x07;
constexpr std::uint8_t kAdaptiveSi = 0x0F;
constexpr std::uint8_t kTxEqOnly = 0x04;
// 194: 7-6 CDR on/off control, 5-4 CDR LOL flags, 3 Rx squelch disable,
// 2 Rx output disable, 1 Tx squelch disable, 0 Tx squelch.
constexpr std::uint8_t kCdrOptions = 0xF0;
constexpr std::uint8_t kTxSquelch = 0x01;
constexpr std::uint8_t kRxSquelchDisable = 0x08;
constexpr std::uint8_t kRxOutputDisable = 0x04;
constexpr std::uint8_t kTxSquelchDisable = 0x02;
// 195: 7 page 02h, 6 page 01h, 5 rate select, 4 Tx disable, 3 Tx fault, 1 Tx LOS.
constexpr std::uint8_t kPagesProvided = 0xC0;
constexpr std::uint8_t kRateSelect = 0x20;
constexpr std::uint8_t kTxDisable = 0x10;
constexpr std::uint8_t kOpticalSignals = 0x0A;  // Tx fault, Tx LOS
// 221: 4 initialisation-complete flag, 3-2 rate selection declaration.
constexpr std::uint8_t kInitComplete = 0x10;
constexpr std::uint8_t kRateDeclaration = 0x0C;
constexpr std::uint8_t kExtendedRateSelect = 0x08;
constexpr std::uint8_t kAppSelectRate = 0x04;
// 141: extended rate select versions.
constexpr std::uint8_t kRateSelectV1 = 0x01;
constexpr std::uint8_t kRateSelectV2 = 0x02;

constexpr std::uint8_t kTecSeconds = 5;
constexpr std::uint8_t kCtleSettle = 20;  // 2 s

bool optical(const Kind &k) {
    return k.family == Family::optics || k.family == Family::pam4 || k.family == Family::optics_40g;
}

bool has_twin(const Kind &k) { return optical(k) && k.code != 0; }

Recipe qualified(Recipe r) {
    r.maker = kKorva;
    r.maker_qualified = true;
    r.name = "KORVA-" + r.name;
    r.description = "Maker-qualified " + r.description;
    return r;
}

// A variant of a kind: its base recipe renamed, then changed by `edit`.
template <typename Edit>
Recipe variant(std::string_view stem, std::string_view name, std::string_view description, Edit edit) {
    const Kind *kind = find_kind(stem);
    Recipe r = base_recipe(*kind);
    r.name = std::string(name);
    r.description = std::string(description);
    edit(r);
    return r;
}

void with_rate_select(Recipe &r, std::uint8_t declaration, std::uint8_t versions) {
    r.options3 |= kRateSelect;
    r.enhanced = static_cast<std::uint8_t>((r.enhanced & ~kRateDeclaration) | declaration);
    r.ext_rate = versions;
}

void with_tec(Recipe &r, bool flag, std::uint8_t seconds) {
    r.cooled = true;
    r.tec_flag = flag;
    r.tec_seconds = seconds;
}

void flat(Recipe &r) { r.flat = true; }

std::vector<Recipe> variants() {
    std::vector<Recipe> v;
    // TEC and cooling.
    v.push_back(variant("100G-LR4", "100G-LR4-TEC", "100GBASE-LR4, cooled, TEC-ready flag, 4 s stabilisation",
                        [](Recipe &r) { with_tec(r, true, 4); }));
    v.push_back(variant("100G-LR4", "100G-LR4-COOLED", "100GBASE-LR4, cooled, no TEC-ready flag",
                        [](Recipe &r) { with_tec(r, false, 4); }));
    v.push_back(qualified(variant("100G-LR4", "100G-LR4-TEC", "100GBASE-LR4, cooled, TEC-ready flag, 4 s stabilisation",
                                  [](Recipe &r) { with_tec(r, true, 4); })));
    v.push_back(qualified(variant("100G-LR4", "100G-LR4-COOLED", "100GBASE-LR4, cooled, no TEC-ready flag, 6 s stabilisation",
                                  [](Recipe &r) { with_tec(r, false, 6); })));
    v.push_back(qualified(variant("100G-LR4", "100G-LR4-COOLED-NOWAIT",
                                  "100GBASE-LR4, cooled, no TEC-ready flag, stabilisation time 0",
                                  [](Recipe &r) { with_tec(r, false, 0); })));
    v.push_back(variant("100G-ER4", "100G-ER4-NOTEC", "100GBASE-ER4 without a TEC (uncooled)", [](Recipe &r) {
        r.cooled = false;
        r.tec_flag = false;
        r.tec_seconds = 0;
    }));
    // Signal-integrity capabilities.
    v.push_back(variant("100G-SR4", "100G-SR4-ACTLE", "100GBASE-SR4 with adaptive Tx input equalisation, 2 s settling",
                        [](Recipe &r) { r.options1 = kAdaptiveSi; r.ctle_settle = kCtleSettle; }));
    v.push_back(qualified(variant("100G-SR4", "100G-SR4-ACTLE", "100GBASE-SR4 with adaptive Tx input equalisation, 2 s settling",
                                  [](Recipe &r) { r.options1 = kAdaptiveSi; r.ctle_settle = kCtleSettle; })));
    v.push_back(qualified(variant("100G-SR4", "100G-SR4-ACTLE-NOSETTLE",
                                  "100GBASE-SR4 with adaptive Tx input equalisation, settling time 0",
                                  [](Recipe &r) { r.options1 = kAdaptiveSi; r.ctle_settle = 0; })));
    v.push_back(variant("100G-SR4", "100G-SR4-NOSI", "100GBASE-SR4 without programmable signal integrity",
                        [](Recipe &r) { r.options1 = 0; }));
    v.push_back(variant("100G-CWDM4", "100G-CWDM4-TXEQ", "100G CWDM4 with programmable Tx input equalisation only",
                        [](Recipe &r) { r.options1 = kTxEqOnly; }));
    // Rate select.
    v.push_back(variant("100G-SR4", "100G-SR4-RATESEL-V2", "100GBASE-SR4 with extended rate select, version 2",
                        [](Recipe &r) { with_rate_select(r, kExtendedRateSelect, kRateSelectV2); }));
    v.push_back(variant("100G-SR4", "100G-SR4-RATESEL-V1", "100GBASE-SR4 with extended rate select, version 1 only",
                        [](Recipe &r) { with_rate_select(r, kExtendedRateSelect, kRateSelectV1); }));
    v.push_back(variant("100G-SR4", "100G-SR4-APPSEL", "100GBASE-SR4 selecting rate through the application select table",
                        [](Recipe &r) { with_rate_select(r, kAppSelectRate, 0); }));
    v.push_back(variant("40G-SR4", "40G-SR4-RATESEL-V2", "40GBASE-SR4 with extended rate select, version 2 (multirate)",
                        [](Recipe &r) { with_rate_select(r, kExtendedRateSelect, kRateSelectV2); }));
    // Tx disable, Rx output disable, squelch disable.
    v.push_back(variant("100G-SR4", "100G-SR4-NOTXDIS", "100GBASE-SR4 without Tx disable",
                        [](Recipe &r) { r.options3 &= static_cast<std::uint8_t>(~kTxDisable); }));
    v.push_back(variant("100G-SR4", "100G-SR4-RXDIS", "100GBASE-SR4 with Rx output disable",
                        [](Recipe &r) { r.options2 |= kRxOutputDisable; }));
    v.push_back(qualified(variant("100G-SR4", "100G-SR4-RXDIS", "100GBASE-SR4 with Rx output disable",
                                  [](Recipe &r) { r.options2 |= kRxOutputDisable; })));
    v.push_back(variant("100G-PSM4", "100G-PSM4-NOSQ", "100G PSM4 without squelch disable",
                        [](Recipe &r) { r.options2 &= static_cast<std::uint8_t>(~(kRxSquelchDisable | kTxSquelchDisable)); }));
    v.push_back(variant("100G-PSM4", "100G-PSM4-TXSQ", "100G PSM4 with Tx squelch disable only",
                        [](Recipe &r) { r.options2 &= static_cast<std::uint8_t>(~kRxSquelchDisable); }));
    // Flat-memory cables.
    v.push_back(variant("100G-CR4", "100G-CR4-FLAT", "100GBASE-CR4 passive copper cable, flat memory, 3 m", flat));
    v.push_back(variant("100G-CR4-NOFEC", "100G-CR4-NOFEC-FLAT", "100GBASE-CR4 copper cable without FEC, flat memory, 2 m", flat));
    v.push_back(variant("40G-CR4", "40G-CR4-FLAT", "40GBASE-CR4 passive copper cable, flat memory, 1 m", flat));
    v.push_back(qualified(variant("100G-CR4", "100G-CR4-FLAT", "100GBASE-CR4 copper cable, flat memory, maker data in lower memory", flat)));
    v.push_back(qualified(variant("100G-CR4", "100G-CR4", "100GBASE-CR4 passive copper cable, paged, 3 m", [](Recipe &) {})));
    // Other makers.
    v.push_back(variant("100G-LR4", "100G-LR4-SOURCE-PHOTONICS", "100GBASE-LR4 by SOURCE PHOTONICS", [](Recipe &r) {
        r.maker = kSourcePhotonics;
        r.part = "SPQ-CE-LR-CDFB";
    }));
    v.push_back(variant("40G-SR4", "KORVA-LUMENTUM-40G-SR4", "Maker-qualified 40GBASE-SR4 made by Lumentum", [](Recipe &r) {
        r.maker = kKorvaLumentum;
        r.maker_qualified = true;
    }));
    v.push_back(variant("100G-AOC", "MELLANOX-100G-AOC", "Mellanox 100G active optical cable with Rx output disable, 3 m",
                        [](Recipe &r) {
                            r.maker = kMellanox;
                            r.part = "MFA1A00-C003";
                            r.options2 |= kRxOutputDisable;
                        }));
    v.push_back(variant("100G-SR4", "MELLANOX-100G-SR4", "Mellanox 100GBASE-SR4 with Rx output disable", [](Recipe &r) {
        r.maker = kMellanox;
        r.part = "MMA1B00-C100D";
        r.options2 |= kRxOutputDisable;
    }));
    v.push_back(variant("100G-CR4", "MELLANOX-100G-CR4-FLAT", "Mellanox 100GBASE-CR4 passive copper cable, flat memory, 3 m",
                        [](Recipe &r) {
                            r.maker = kMellanox;
                            r.part = "MCP1600-C003";
                            r.flat = true;
                        }));
    v.push_back(variant("40G-CR4", "MELLANOX-40G-CR4-FLAT", "Mellanox 40GBASE-CR4 passive copper cable, flat memory, 1 m",
                        [](Recipe &r) {
                            r.maker = kMellanox;
                            r.part = "MC2210130-001";
                            r.flat = true;
                        }));
    return v;
}

}  // namespace

Recipe base_recipe(const Kind &kind) {
    Recipe r;
    r.kind = &kind;
    r.name = std::string(kind.stem);
    r.description = std::string(kind.description);
    switch (kind.family) {
    case Family::optics:
    case Family::pam4:
        r.maker = kOptics;
        r.options1 = kProgrammableSi;
        r.options2 = kCdrOptions | kTxSquelch;
        r.options3 = kPagesProvided | kTxDisable | kOpticalSignals;
        r.enhanced = kInitComplete;
        break;
    case Family::optics_40g:
        r.maker = kOptics40;
        r.options2 = kTxSquelch;
        r.options3 = kPagesProvided | kTxDisable | kOpticalSignals;
        break;
    case Family::active_copper:
        r.maker = kCables;
        r.options3 = kPagesProvided | kTxDisable;
        r.enhanced = kInitComplete;
        break;
    case Family::copper:
    case Family::loopback:
    case Family::adapter:
        r.maker = kCables;
        r.options3 = kPagesProvided;
        break;
    }
    if (kind.code == 7) {
        r.options2 |= kRxSquelchDisable | kTxSquelchDisable;  // PSM4 with both squelch disables
    }
    if (kind.profile == Profile::extended_reach || kind.profile == Profile::dwdm) {
        with_tec(r, true, kTecSeconds);
    }
    r.vdm = kind.family == Family::pam4 && kind.profile == Profile::dwdm;
    return r;
}

std::vector<Recipe> recipes() {
    std::vector<Recipe> out;
    for (const Kind &k : kinds()) {
        out.push_back(base_recipe(k));
        if (has_twin(k)) {
            out.push_back(qualified(base_recipe(k)));
        }
    }
    for (Recipe &r : variants()) {
        out.push_back(std::move(r));
    }
    return out;
}

}  // namespace qsfp::sim::catalogue_detail
