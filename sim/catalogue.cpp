#include <qsfp/sim/catalogue.h>

#include "catalogue_recipe.h"

namespace qsfp::sim {

const std::vector<CatalogueEntry> &catalogue() {
    static const std::vector<CatalogueEntry> entries = [] {
        std::vector<CatalogueEntry> out;
        const std::vector<catalogue_detail::Recipe> recipes = catalogue_detail::recipes();
        out.reserve(recipes.size());
        for (std::size_t i = 0; i < recipes.size(); ++i) {
            out.push_back(catalogue_detail::make_entry(recipes[i], i));
        }
        return out;
    }();
    return entries;
}

const CatalogueEntry *find_entry(std::string_view name) {
    for (const CatalogueEntry &e : catalogue()) {
        if (e.name == name) {
            return &e;
        }
    }
    return nullptr;
}

ModuleMemory build_memory(const CatalogueEntry &entry) {
    ModuleMemory memory = ModuleMemory::from_image(entry.image, entry.pages);
    memory.set_flat(entry.flat);
    return memory;
}

std::unique_ptr<Sff8636Module> make_module(const CatalogueEntry &entry, Sff8636Module::Timing timing) {
    auto module = std::make_unique<Sff8636Module>(build_memory(entry), timing);
    module->set_rx_los_threshold(entry.rx_los_threshold_mw);
    return module;
}

std::unique_ptr<Sff8636Module> make_module(std::string_view name, Sff8636Module::Timing timing) {
    const CatalogueEntry *entry = find_entry(name);
    return entry != nullptr ? make_module(*entry, timing) : nullptr;
}

}  // namespace qsfp::sim
