#include <qsfp/sim/cmis_catalogue.h>

#include "cmis_catalogue_recipe.h"

namespace qsfp::sim {

const std::vector<CmisCatalogueEntry> &cmis_catalogue() {
    static const std::vector<CmisCatalogueEntry> entries = [] {
        std::vector<CmisCatalogueEntry> out;
        const auto recipes = cmis_catalogue_detail::recipes();
        out.reserve(recipes.size());
        for (std::size_t i = 0; i < recipes.size(); ++i) {
            out.push_back(cmis_catalogue_detail::make_entry(recipes[i], i));
        }
        return out;
    }();
    return entries;
}

const CmisCatalogueEntry *find_cmis_entry(std::string_view name) {
    for (const CmisCatalogueEntry &e : cmis_catalogue()) {
        if (e.name == name) {
            return &e;
        }
    }
    return nullptr;
}

ModuleMemory build_memory(const CmisCatalogueEntry &entry) {
    ModuleMemory memory = ModuleMemory::from_image(entry.image, entry.pages);
    memory.set_flat(entry.flat);
    return memory;
}

std::unique_ptr<CmisModule> make_cmis_module(const CmisCatalogueEntry &entry) {
    return std::make_unique<CmisModule>(build_memory(entry));
}

std::unique_ptr<CmisModule> make_cmis_module(std::string_view name) {
    const CmisCatalogueEntry *entry = find_cmis_entry(name);
    return entry != nullptr ? make_cmis_module(*entry) : nullptr;
}

}  // namespace qsfp::sim
