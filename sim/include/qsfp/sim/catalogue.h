// A catalogue of realistic, named SFF-8636 module images: one or more entries
// for every module kind the driver treats differently (each type of the
// SFF-8636 and SFF-8436 compliance codes and of the vendor code at byte 224,
// loopbacks, flat-memory cables, DWDM), optical kinds both plain and
// maker-qualified, and variants with and without TEC, adaptive CTLE, rate
// select, Tx disable and Rx output disable.
//
// Each entry carries, as test data, the type code and type string the driver's
// classification is expected to give it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qsfp/sim/module.h>
#include <qsfp/sim/sff8636_module.h>

namespace qsfp::sim {

struct CatalogueEntry {
    std::string name;
    std::string description;
    std::uint32_t type_code = 0;
    std::string type_string;
    bool flat = false;
    bool dwdm = false;             // DWDM module: pages 20h-21h and the keep-alive byte
    bool vdm = false;              // versatile diagnostics on pages 20h-21h
    bool maker_qualified = false;  // vendor name beginning "KORVA", maker data filled
    bool tec = false;              // advertises a TEC-ready flag
    double rx_los_threshold_mw = 0;
    // The image: lower memory, then each upper page of `pages` in turn, 128 bytes each.
    std::vector<std::uint8_t> image;
    std::vector<std::uint8_t> pages;
};

const std::vector<CatalogueEntry> &catalogue();
// nullptr when there is no entry of that name.
const CatalogueEntry *find_entry(std::string_view name);

ModuleMemory build_memory(const CatalogueEntry &entry);
// A powered-up module of the entry, data ready and TEC ready at once unless
// the timing says otherwise, with the entry's Rx LOS level.
std::unique_ptr<Sff8636Module> make_module(const CatalogueEntry &entry, Sff8636Module::Timing timing = {});
// nullptr when there is no entry of that name.
std::unique_ptr<Sff8636Module> make_module(std::string_view name, Sff8636Module::Timing timing = {});

}  // namespace qsfp::sim
