// A catalogue of realistic, named CMIS module images: a module for every row
// of the CMIS module types (400G copper, FR4, DR4 and its long-reach variant,
// loopbacks, LR8, the 2x100G kinds, AOC, AEC, ZR and ZR+), modules qualified
// by a maker's extended identifier, flat copper cables, CMIS 3.0 and 4.0
// variants of the 400G optics, the pre-release memory maps some early
// modules shipped with, and a few vendor-specific modules.
//
// Each entry carries, as test data, the module type code (0xC1-0xD0, 0 for
// none) that classification by the application advertisements, the maker's
// extended identifier or the pre-release layout is expected to give it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/module.h>

namespace qsfp::sim {

// The memory map the image follows: CMIS, or one of the pre-release maps
// named by the revision byte they report.
enum class CmisLayout { cmis, pre03, pre04, pre07 };

struct CmisCatalogueEntry {
    std::string name;
    std::string description;
    std::uint32_t type_code = 0;
    CmisLayout layout = CmisLayout::cmis;
    std::uint8_t revision = 0;
    bool flat = false;
    bool maker_qualified = false;  // vendor name beginning "KORVA", extended identifier at page 00h 224
    std::string vendor;            // as the image holds it, without padding
    std::string part;
    // The image: lower memory, then each upper page of `pages` in turn, 128 bytes each.
    std::vector<std::uint8_t> image;
    std::vector<std::uint8_t> pages;
};

const std::vector<CmisCatalogueEntry> &cmis_catalogue();
// nullptr when there is no entry of that name.
const CmisCatalogueEntry *find_cmis_entry(std::string_view name);

ModuleMemory build_memory(const CmisCatalogueEntry &entry);
// A module of the entry, inserted now.
std::unique_ptr<CmisModule> make_cmis_module(const CmisCatalogueEntry &entry);
// nullptr when there is no entry of that name.
std::unique_ptr<CmisModule> make_cmis_module(std::string_view name);

}  // namespace qsfp::sim
