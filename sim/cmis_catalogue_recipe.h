// Inside the CMIS catalogue: what one entry is made of (its maker, its
// application advertisements, its advertised timing and capabilities) and
// the recipe list itself.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include <qsfp/sim/cmis_catalogue.h>

namespace qsfp::sim::cmis_catalogue_detail {

// An application descriptor as lower bytes 86-117 hold it.
struct App {
    std::uint8_t host = 0;        // host electrical interface code (SFF-8024)
    std::uint8_t media = 0;       // media interface code
    std::uint8_t lanes = 0;       // host lane count bits 7-4, media lane count bits 3-0
    std::uint8_t assignment = 0;  // host lanes a data path may start at
};

// Thresholds and nominal monitor values.
enum class Profile { none, multimode, single_mode, coherent, active_cable };

struct Maker {
    std::string_view vendor;
    std::array<std::uint8_t, 3> oui{};
    std::string_view part_prefix;
    std::string_view serial_prefix;
};

struct Recipe {
    std::string_view name;
    std::string_view description;
    std::uint32_t type_code = 0;       // expected module type
    Maker maker;
    std::uint8_t media_type = 0;       // lower 85
    std::array<App, 4> apps{};         // a zero host code ends the list
    std::uint8_t revision = 0x40;
    CmisLayout layout = CmisLayout::cmis;
    bool flat = false;
    Profile profile = Profile::none;
    std::uint8_t connector = 0x23;     // page 00h 203 (no separable connector)
    std::uint8_t technology = 0;       // page 00h 212; the pre-release maps' device technology byte
    double wavelength_nm = 0;          // page 01h 138-139
    std::uint8_t smf_length = 0;       // page 01h 132
    std::uint8_t om3_length = 0;       // page 01h 135, 2 m
    std::uint8_t cable_length = 0;     // page 00h 202
    std::uint8_t dp_durations = 0x45;  // page 01h 144: DPDeinit 50-100 ms, DPInit 100-500 ms
    std::uint8_t module_durations = 0x56;  // page 01h 167: PwrDn 100-500 ms, PwrUp 500 ms-1 s
    std::uint8_t tx_si = 0;            // page 01h 161
    std::uint8_t rx_si = 0;            // page 01h 162
    std::uint8_t max_power = 0;        // page 00h 201, 0.25 W
    std::uint8_t extended_id = 0;      // a qualifying maker's extended identifier (page 00h 224)
    std::string_view hw_rev = "01";    // page 00h 164-165
    bool cdb = false;                  // pages 9Fh and A0h-AFh
};

std::span<const Recipe> recipes();

CmisCatalogueEntry make_entry(const Recipe &recipe, std::size_t index);

}  // namespace qsfp::sim::cmis_catalogue_detail
