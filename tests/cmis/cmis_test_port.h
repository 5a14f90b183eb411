// QSFP-DD ports on emulated CMIS modules for the CMIS driver's tests.
#pragma once

#include <concepts>
#include <memory>
#include <string_view>
#include <vector>

#include <qsfp/qsfp.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/virtual_clock.h>

#include "cmis/state.h"
#include "support/library_fixture.h"
#include "support/trace_reader.h"

namespace qsfp::test {

using cmis::state;

class CmisPortTest : public LibraryTest {
protected:
    // Inserts the catalogue module `name` in cage `index`.
    sim::CmisModule &insert_cmis(std::string_view name, std::size_t index = 0) {
        auto module = sim::make_cmis_module(name);
        EXPECT_NE(module, nullptr) << name;
        sim::CmisModule &m = *module;
        insert(index, std::move(module));
        return m;
    }
    // The same with its image changed first (as the module would have been made).
    template <std::invocable<sim::ModuleMemory &> Change>
    sim::CmisModule &insert_cmis(std::string_view name, Change &&change, std::size_t index = 0) {
        const sim::CmisCatalogueEntry *entry = sim::find_cmis_entry(name);
        EXPECT_NE(entry, nullptr) << name;
        sim::ModuleMemory memory = sim::build_memory(*entry);
        change(memory);
        auto module = std::make_unique<sim::CmisModule>(std::move(memory));
        sim::CmisModule &m = *module;
        insert(index, std::move(module));
        return m;
    }
    qsfp_port_create_params cmis_params(std::uint32_t init_flag, std::uint32_t oper_mode = 0, std::size_t index = 0) {
        qsfp_port_create_params p = params(index);
        p.init_arg = init_flag;
        p.port_mode = oper_mode;
        return p;
    }
    // Bring-up of the module in cage `index`, answering `expected_rc`.
    qsfp_port_ctx *bring_up(std::uint32_t init_flag, std::uint32_t oper_mode = 0, std::uint32_t expected_rc = QSFP_OK,
                            std::size_t index = 0) {
        return create(cmis_params(init_flag, oper_mode, index), expected_rc);
    }
    void forget_traffic(std::size_t index = 0) {
        card().cage(index).reset_stats();
        card().cage(index).clear_log();
        clear_traces();
        sim::VirtualClock::instance().clear_sleeps();
    }
    sim::Cage &cage(std::size_t index = 0) { return card().cage(index); }
    sim::CmisModule &module(std::size_t index = 0) { return *static_cast<sim::CmisModule *>(cage(index).module()); }
    // The writes that change module bytes, without page selections.
    std::vector<sim::Transaction> data_writes(std::size_t index = 0) {
        std::vector<sim::Transaction> out;
        for (auto &t : cage(index).writes()) {
            if (t.reg != 127) {
                out.push_back(std::move(t));
            }
        }
        return out;
    }
    std::vector<std::uint64_t> sleeps() { return sim::VirtualClock::instance().sleeps_us(); }
    std::uint64_t now_us() { return sim::VirtualClock::instance().now_us(); }
};

}  // namespace qsfp::test
