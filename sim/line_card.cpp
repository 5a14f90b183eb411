#include <qsfp/sim/line_card.h>

#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/cmis_catalogue.h>

namespace qsfp::sim {

LineCard::LineCard(std::size_t cages, std::uint32_t controller) : cages_(cages), controller_(controller) {}

bool LineCard::insert(std::size_t index, std::string_view name) {
    if (std::unique_ptr<Module> m = make_module(name)) {
        cage(index).insert(std::move(m));
        return true;
    }
    if (std::unique_ptr<Module> m = make_cmis_module(name)) {
        cage(index).insert(std::move(m));
        return true;
    }
    return false;
}

qsfp_port_create_params LineCard::params(std::size_t index, void *evm) {
    qsfp_port_create_params p{};
    p.opaque = cage(index).opaque();
    p.controller = controller_;
    p.port = static_cast<std::uint32_t>(index + 1);
    p.evm = evm;
    p.read = qsfp_sim_read;
    p.bit_bang_read = qsfp_sim_bit_bang_read;
    p.write = qsfp_sim_write;
    return p;
}

}  // namespace qsfp::sim
