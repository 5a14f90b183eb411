// SFF-8636 ports for unit tests of single driver steps: a QSFP28 whose
// capability bytes the test sets, brought up without touching the hardware.
#pragma once

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/qsfp_sff8636.h>
#include <qsfp/sim/basic_image.h>
#include <qsfp/sim/virtual_clock.h>

#include "sff8636/state.h"
#include "support/library_fixture.h"
#include "support/trace_reader.h"

namespace qsfp::test {

// The driver's private state, which white-box tests set and read.
using sff8636::is_ready;
using sff8636::set_settle;
using sff8636::Settle;
using sff8636::settle_of;
using sff8636::state;

// Recomputes the identifier checksums of upper page 00h (bytes 191 and 223).
inline void fix_checksums(sim::ModuleMemory &m) {
    auto sum = [&](int first, int last) {
        unsigned total = 0;
        for (int a = first; a <= last; ++a) total += m.get(0, static_cast<std::uint8_t>(a));
        return static_cast<std::uint8_t>(total);
    };
    m.set(0, 191, sum(128, 190));
    m.set(0, 223, sum(192, 222));
}

// A QSFP28 with the host-writable page 03h controls of SFF-8636 (and the
// vendor CTLE byte 223).
inline sim::ModuleMemory qsfp28_memory() {
    sim::ModuleMemory m = sim::basic_image(0x11);
    m.set(0, 131, 0x80);  // extended compliance in byte 192
    m.set(0, 192, 0x02);  // 100G SR4
    m.set_writable(3, 223, 223);
    m.set_writable(3, 226, 255);
    m.add_page(0x20);
    m.add_page(0x21);
    m.set_writable(0x20, 0xFA, 0xFA);
    fix_checksums(m);
    return m;
}

class SffPortTest : public LibraryTest {
protected:
    // Identification only (init flag 0): the port is ready at once.
    qsfp_port_ctx *make(sim::ModuleMemory memory = qsfp28_memory()) {
        insert(0, std::move(memory));
        qsfp_port_ctx *port = create(0, QSFP_OK);
        forget_traffic();
        return port;
    }
    void forget_traffic() {
        cage().reset_stats();
        cage().clear_log();
        clear_traces();
        sim::VirtualClock::instance().clear_sleeps();
    }
    sim::Cage &cage() { return card().cage(0); }
    // The writes that change module bytes, without page selections.
    std::vector<sim::Transaction> data_writes() {
        std::vector<sim::Transaction> out;
        for (auto &t : cage().writes()) {
            if (t.reg != sim::kPageSelectReg) {
                out.push_back(std::move(t));
            }
        }
        return out;
    }
    sim::Module &module() { return *cage().module(); }
    std::uint8_t byte(std::uint8_t page, std::uint8_t addr) { return module().memory().get(page, addr); }
    std::vector<std::uint64_t> sleeps() { return sim::VirtualClock::instance().sleeps_us(); }
};

}  // namespace qsfp::test
