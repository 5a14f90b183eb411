// CMIS ports for tests of the datapath steps: a catalogue module in cage 0,
// its port created with the adopting init flag, what bring-up would have
// learnt filled in, the module powered up to ModuleReady and its datapaths
// settled, and then the traffic, traces and waits forgotten.
#pragma once

#include <algorithm>
#include <chrono>
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

// What bring-up learns of a module, taken here from the module's memory on
// the emulator side (no bus traffic) and from the catalogue entry of the
// module (found by its serial number) for the type code. It stands in for
// the real bring-up until that is in the library: with the adopting init
// flag a catalogue module keeps its active application 1 and bring-up
// leaves the module untouched.
inline void prime_like_bring_up(qsfp_port_ctx *port) {
    const sim::ModuleMemory &m = sim::Cage::from_opaque(port->opaque)->module()->memory();
    constexpr std::uint8_t kSerial = 166, kSerialWidth = 16;
    const sim::CmisCatalogueEntry *entry = nullptr;
    for (const sim::CmisCatalogueEntry &e : sim::cmis_catalogue()) {
        if (sim::build_memory(e).get_bytes(0, kSerial, kSerialWidth) == m.get_bytes(0, kSerial, kSerialWidth)) {
            entry = &e;
        }
    }
    ASSERT_NE(entry, nullptr) << "not a catalogue module";
    cmis::State &s = state(port);
    s = cmis::State{};
    s.revision = m.get(0, cmis::kRevision);
    s.media_type = m.get(0, cmis::kMediaType);
    for (std::uint32_t i = 0; i < cmis::kApplications * cmis::kAppDescriptorBytes; ++i) {
        s.apps[i / cmis::kAppDescriptorBytes][i % cmis::kAppDescriptorBytes] =
            m.get(0, static_cast<std::uint8_t>(cmis::kAppDescriptors + i));
    }
    if (m.has_page(cmis::kPage01) && !m.flat()) {
        const std::uint8_t durations = m.get(cmis::kPage01, cmis::kDataPathDurations);
        s.dp_deinit_code = durations >> 4;
        s.dp_init_code = durations & 0x0F;
    }
    const std::vector<std::uint8_t> vendor = m.get_bytes(0, cmis::kVendorName, QSFP_VENDOR_NAME_LEN);
    std::string name(vendor.begin(), vendor.end());
    name.erase(name.find_last_not_of(' ') + 1);
    std::snprintf(port->hw_info.vendor_name, sizeof port->hw_info.vendor_name, "%s", name.c_str());
    port->hw_info.qsfp_type = entry->type_code;
    const cmis::TypeRow *row = cmis::find_type(entry->type_code);
    std::snprintf(port->hw_info.qsfp_type_str, sizeof port->hw_info.qsfp_type_str, "%s",
                  row != nullptr ? row->description : "QSFPDD UNKNOWN");
    s.passive = row != nullptr && row->passive ? 1 : 0;
    port->flat_mem = m.flat() ? 1 : 0;
    port->rate = entry->type_code >= QSFP_DD_TYPE_2X100G_SR4 && entry->type_code <= QSFP_DD_TYPE_2X100G_LR4 ? 200 : 400;
    if (m.has_page(cmis::kPage11) && !m.flat()) {
        const std::vector<std::uint8_t> active = m.get_bytes(cmis::kPage11, cmis::kActiveAppSelect, cmis::kLanes);
        if (std::all_of(active.begin(), active.end(), [&](std::uint8_t b) { return b >> 4 == active[0] >> 4; })) {
            s.active_app_code = active[0] >> 4;
        }
    }
    if (s.revision == cmis::kRevision40) {
        port->fvt.port_disable = cmis::port_disable_cmis4;
        port->fvt.port_enable = cmis::port_enable_cmis4;
    }
}

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
        qsfp_port_ctx *port = create(p, QSFP_ERR_EMPTY_SLOT);
        if (port == nullptr) {
            return nullptr;
        }
        prime_like_bring_up(port);
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

    void forget_traffic() {
        cage().reset_stats();
        cage().clear_log();
        clear_traces();
        sim::VirtualClock::instance().clear_sleeps();
    }

    sim::Cage &cage() { return card().cage(0); }
    sim::CmisModule &module() { return *module_; }

    // The module's writes in order, page selections left out: "10h 128: ff"
    // for an upper page, "lower 26: 00" for lower memory, bytes separated by blanks.
    std::vector<std::string> writes() {
        std::vector<std::string> out;
        for (const sim::Transaction &t : cage().writes()) {
            if (t.reg == sim::kPageSelectReg) {
                continue;
            }
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
