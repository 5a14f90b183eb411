// QSFP-DD ports on emulated CMIS modules for the CMIS driver's tests. make():
// a catalogue module in cage 0, its port brought up with the adopting init
// flag (a catalogue module keeps its running application 1, untouched), the
// module powered up to ModuleReady and its datapaths settled, and then the
// traffic, traces and waits forgotten. insert_cmis() and bring_up(): the
// bring-up itself, with the init flag and mode a test chooses.
#pragma once

#include <algorithm>
#include <chrono>
#include <concepts>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qsfp/qsfp_cmis.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/virtual_clock.h>

#include "cmis/driver.h"
#include "cmis/state.h"
#include "cmis/type_tables.h"
#include "support/library_fixture.h"
#include "support/trace_reader.h"

namespace qsfp::test {

using cmis::state;
using DpState = sim::CmisModule::DataPathState;
using namespace std::chrono_literals;

// "Controller 0 Port 1: " before each text.
inline std::vector<std::string> prefixed(std::initializer_list<std::string> texts) {
    std::vector<std::string> out;
    for (const std::string &t : texts) {
        out.push_back("Controller 0 Port 1: " + t);
    }
    return out;
}

class CmisPortTest : public LibraryTest {
protected:
    qsfp_port_ctx *make(std::string_view name) {
        std::unique_ptr<sim::CmisModule> module = sim::make_cmis_module(name);
        EXPECT_NE(module, nullptr) << name;
        return make(std::move(module));
    }

    // A module made by the test (a catalogue image it changed).
    qsfp_port_ctx *make(std::unique_ptr<sim::CmisModule> module) {
        module_ = module.get();
        insert(0, std::move(module));
        qsfp_port_create_params p = params(0);
        if (direct_page_) {
            cage().set_direct_page(true, true);
            p.is_direct_page_rd_support = 1;
            p.is_direct_page_wr_support = 1;
        }
        p.port_mode = QSFP_DD_OPER_MODE_DEFAULT;
        p.init_arg = QSFP_DD_INIT_ADOPT;
        qsfp_port_ctx *port = create(p, QSFP_OK);
        if (port == nullptr) {
            return nullptr;
        }
        power_up();
        forget_traffic();
        return port;
    }

    // LPMode released; ModuleReady, then every datapath in a steady state.
    void power_up() {
        module_->set_lpmode_pin(false);
        for (int ms = 0; ms < 60000 && !steady(); ++ms) {
            sim::VirtualClock::instance().advance_ns(1000000);
        }
        ASSERT_TRUE(steady());
    }

    bool steady() {
        if (!module_->memory().flat() && module_->module_state() != sim::CmisModule::ModuleState::ready) {
            return false;
        }
        for (int lane = 0; lane < 8; ++lane) {
            const DpState s = module_->data_path_state(lane);
            if (s != DpState::deactivated && s != DpState::activated) {
                return false;
            }
        }
        return true;
    }

    // Inserts the catalogue module `name` in cage `index`.
    sim::CmisModule &insert_cmis(std::string_view name, std::size_t index = 0) {
        return insert_cmis(name, [](sim::ModuleMemory &) {}, index);
    }
    // The same with its image changed first (as the module would have been made).
    template <std::invocable<sim::ModuleMemory &> Change>
    sim::CmisModule &insert_cmis(std::string_view name, Change &&change, std::size_t index = 0) {
        sim::ModuleMemory memory = image(name);
        change(memory);
        auto module = module_of(std::move(memory));
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
        cage(index).reset_stats();
        cage(index).clear_log();
        clear_traces();
        sim::VirtualClock::instance().clear_sleeps();
    }

    sim::Cage &cage(std::size_t index = 0) { return card().cage(index); }
    // The module make() made, or the one in cage `index`.
    sim::CmisModule &module() { return *module_; }
    sim::CmisModule &module(std::size_t index) { return *static_cast<sim::CmisModule *>(cage(index).module()); }

    // The writes that change module bytes, in order, without page selections.
    std::vector<sim::Transaction> data_writes(std::size_t index = 0) {
        std::vector<sim::Transaction> out;
        for (sim::Transaction &t : cage(index).writes()) {
            if (t.reg != sim::kPageSelectReg) {
                out.push_back(std::move(t));
            }
        }
        return out;
    }

    // The same as text: "10h 128: ff" for an upper page, "lower 26: 00" for
    // lower memory, bytes separated by blanks.
    std::vector<std::string> writes(std::size_t index = 0) {
        std::vector<std::string> out;
        for (const sim::Transaction &t : data_writes(index)) {
            char head[32];
            if (t.reg >= 128) {
                std::snprintf(head, sizeof head, "%02xh %u:", t.page, t.reg);
            } else {
                std::snprintf(head, sizeof head, "lower %u:", t.reg);
            }
            std::string line = head;
            for (std::uint8_t b : t.data) {
                char byte[8];
                std::snprintf(byte, sizeof byte, " %02x", b);
                line += byte;
            }
            out.push_back(line);
        }
        return out;
    }

    // Reads and writes in order, as "R 11h 128 x4" or "W 10h 128".
    std::vector<std::string> accesses() {
        std::vector<std::string> out;
        for (const sim::Transaction &t : cage().log()) {
            if (t.reg == sim::kPageSelectReg) {
                continue;
            }
            char line[48];
            if (t.reg >= 128) {
                std::snprintf(line, sizeof line, "%c %02xh %u x%u", t.op == sim::Op::read ? 'R' : 'W', t.page, t.reg, t.len);
            } else {
                std::snprintf(line, sizeof line, "%c lower %u x%u", t.op == sim::Op::read ? 'R' : 'W', t.reg, t.len);
            }
            out.push_back(line);
        }
        return out;
    }

    std::vector<std::uint64_t> sleeps_us() { return sim::VirtualClock::instance().sleeps_us(); }
    std::uint64_t now_us() { return sim::VirtualClock::instance().now_us(); }
    std::uint64_t slept_ms() {
        std::uint64_t total = 0;
        for (std::uint64_t us : sleeps_us()) {
            total += us;
        }
        return total / 1000;
    }

    // The lanes (bit i: lane i + 1) whose datapath the module reports in `s`.
    std::uint8_t lanes_in(DpState s) {
        std::uint8_t out = 0;
        for (int lane = 0; lane < 8; ++lane) {
            if (module_->data_path_state(lane) == s) {
                out = static_cast<std::uint8_t>(out | 1U << lane);
            }
        }
        return out;
    }

    // A catalogue image to change before the module is made of it.
    static sim::ModuleMemory image(std::string_view name) {
        const sim::CmisCatalogueEntry *entry = sim::find_cmis_entry(name);
        EXPECT_NE(entry, nullptr) << name;
        return entry != nullptr ? sim::build_memory(*entry) : sim::ModuleMemory{};
    }
    static std::unique_ptr<sim::CmisModule> module_of(sim::ModuleMemory memory) {
        return std::make_unique<sim::CmisModule>(std::move(memory));
    }

    std::vector<std::string> evt() { return trace_texts(kEvt); }
    std::vector<std::string> err() { return trace_texts(kErr); }

    // Set before make(): the port selects pages itself (one transaction per access).
    bool direct_page_ = false;

private:
    sim::CmisModule *module_ = nullptr;
};

}  // namespace qsfp::test
