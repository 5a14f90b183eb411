// Inside the catalogue: the module kinds (one row per classification the
// driver distinguishes) and the recipe that turns a kind and its variant
// settings into an image.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <qsfp/sim/catalogue.h>

namespace qsfp::sim::catalogue_detail {

// What decides the page 00h options, rates and monitors of a kind.
enum class Family {
    optics,         // 100G over four NRZ lanes (also 100G AOCs)
    pam4,           // 100G over one or two PAM4 lanes
    optics_40g,     // 40G and 4x10G optics and AOCs
    copper,         // passive copper
    active_copper,  // active copper and active electrical cables
    loopback,
    adapter,        // QSFP-to-SFP adapter
};

// Alarm thresholds, nominal monitor values and the Rx LOS level of a kind.
enum class Profile { none, short_reach, long_reach, extended_reach, dwdm };

struct Kind {
    std::string_view stem;
    std::string_view description;
    std::uint32_t code;             // expected type code
    std::string_view type_string;   // expected type string
    std::uint8_t identifier;        // lower 0 / upper 128
    std::uint8_t ethernet;          // 131
    std::uint8_t extended;          // 192
    std::uint8_t vendor_code;       // 224
    std::uint8_t device_tech;       // 147
    std::uint8_t connector;         // 130
    std::uint8_t smf_km;            // 142
    std::uint8_t om3_2m;            // 143
    std::uint8_t om4_or_copper;     // 146: OM4 in 2 m, or cable length in m
    double wavelength_nm;           // 0 for copper
    Family family;
    Profile profile;
};

std::span<const Kind> kinds();
const Kind *find_kind(std::string_view stem);

struct MakerData {
    std::string_view vendor;         // vendor name at 148
    std::array<std::uint8_t, 3> oui;
    std::string_view part_prefix;
    std::string_view serial_prefix;
};

// One catalogue entry to make: a kind and what this variant changes.
struct Recipe {
    const Kind *kind = nullptr;
    std::string name;
    std::string description;
    MakerData maker;
    std::string_view part;           // vendor part number; empty: the maker's prefix and the name
    bool maker_qualified = false;    // the qualifying maker's data on page 02h
    bool flat = false;
    bool vdm = false;                // pages 20h-21h with versatile diagnostics
    std::uint8_t options1 = 0;       // 193
    std::uint8_t options2 = 0;       // 194
    std::uint8_t options3 = 0;       // 195
    std::uint8_t enhanced = 0;       // 221
    std::uint8_t ext_rate = 0;       // 141
    bool cooled = false;             // 147 bit 2
    bool tec_flag = false;           // page 03h 230 bit 0 and 221 bit 1
    std::uint8_t tec_seconds = 0;    // page 03h 228
    std::uint8_t ctle_settle = 0;    // page 03h 229, 100 ms
};

// The recipes of every entry, in catalogue order.
std::vector<Recipe> recipes();
// The defaults a kind's family gives a recipe.
Recipe base_recipe(const Kind &kind);

CatalogueEntry make_entry(const Recipe &recipe, std::size_t index);

}  // namespace qsfp::sim::catalogue_detail
