// A port with no driver bound (the module's identifier is unknown), for tests
// of the access layer that must not depend on any driver's bring-up.
#pragma once

#include <qsfp/sim/basic_image.h>

#include "support/library_fixture.h"
#include "support/trace_reader.h"

namespace qsfp::test {

// The recognisable content of upper byte `addr` (129-255) of page `page`.
constexpr std::uint8_t pattern(std::uint8_t page, std::uint32_t addr) {
    return static_cast<std::uint8_t>(page + addr);
}

// Upper pages 00h-03h, 11h and the diagnostics pages 20h-21h (00h only when
// flat), each upper byte holding its pattern().
inline sim::ModuleMemory paged_memory(bool flat = false) {
    sim::ModuleMemory m = sim::basic_image(0x0C, flat);
    if (!flat) {
        for (std::uint8_t p : {0x20, 0x21, 0x11}) {
            m.add_page(p);
        }
    }
    for (std::uint8_t p : m.pages()) {
        for (unsigned a = 129; a < 256; ++a) {
            m.set(p, static_cast<std::uint8_t>(a), pattern(p, a));
        }
    }
    if (!flat) {
        m.set_writable(3, 226, 255);
    }
    return m;
}

// A fixture whose make() gives a driverless port on cage 0 with the chosen
// memory kind and bus modes, its traffic so far forgotten.
class BarePortTest : public LibraryTest {
protected:
    qsfp_port_ctx *make(bool flat = false, bool direct_read = false, bool direct_write = false) {
        sim::Cage &c = insert(0, paged_memory(flat));
        c.set_direct_page(direct_read, direct_write);
        qsfp_port_create_params p = params(0);
        p.is_direct_page_rd_support = direct_read ? 1 : 0;
        p.is_direct_page_wr_support = direct_write ? 1 : 0;
        qsfp_port_ctx *port = create(p, QSFP_ERR_NOT_READY);
        port->flat_mem = flat ? 1 : 0;
        port->rate = 100;
        c.reset_stats();
        c.clear_log();
        clear_traces();
        return port;
    }
    sim::Cage &cage() { return card().cage(0); }
};

}  // namespace qsfp::test
