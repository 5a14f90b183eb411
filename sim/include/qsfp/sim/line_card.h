// An emulated line card: a row of cages and the creation records a port
// manager would hand the library for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>

#include <qsfp/qsfp_port.h>
#include <qsfp/sim/cage.h>

namespace qsfp::sim {

class LineCard {
public:
    explicit LineCard(std::size_t cages, std::uint32_t controller = 0);

    std::size_t size() const { return cages_.size(); }
    Cage &cage(std::size_t index) { return cages_.at(index); }
    std::uint32_t controller() const { return controller_; }

    // Inserts the named module of the SFF-8636 catalogue or, failing that,
    // of the CMIS catalogue; false (the cage left as it was) when neither
    // has the name.
    bool insert(std::size_t index, std::string_view name);

    // The creation record of cage `index` (port number index + 1): the
    // emulator's access functions, raw two-wire unless the cage was set to
    // direct-page, no callbacks, zero settings.
    qsfp_port_create_params params(std::size_t index, void *evm);

private:
    std::deque<Cage> cages_;
    std::uint32_t controller_;
};

}  // namespace qsfp::sim
