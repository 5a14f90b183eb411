// CMIS operations: bring-up from power-on, a mode change and the live status
// record, with the bus traffic they cost against the least their register
// sequence needs.
#include <memory>

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/line_card.h>

#include "bus_counters.h"

namespace {

using namespace qsfp;

// A 400G FR4 (CMIS 4.0) fresh from power-on, no application active yet.
std::unique_ptr<sim::CmisModule> fr4_from_power_on() {
    sim::ModuleMemory m = sim::build_memory(*sim::find_cmis_entry("400G-FR4"));
    for (std::uint8_t lane = 0; lane < 8; ++lane) m.set(0x11, 206 + lane, 0);
    return std::make_unique<sim::CmisModule>(std::move(m));
}

void add(sim::BusStats &total, const sim::BusStats &s) {
    total.transactions += s.transactions;
    total.bytes_read += s.bytes_read;
    total.bytes_written += s.bytes_written;
    total.page_select_writes += s.page_select_writes;
    total.bits += s.bits;
}

// The least bring-up needs: lower memory and page 00h (256), thresholds (72),
// wavelength (2), duration codes (2), SI controls (2); power-up: datapath
// deinit, byte 26 read and write, one module-state read (4); configuration:
// active set (8), datapath states (4), staged set (8), ApplyDPInit (1),
// configuration status (4), Tx and Rx disable (2), byte 26 (1).
constexpr std::uint64_t kBringUpMinimum = 256 + 72 + 2 + 2 + 2 + 4 + 8 + 4 + 8 + 1 + 4 + 2 + 1;

void BM_CmisBringUp(benchmark::State &state) {
    sim::LineCard card(1);
    sim::BusStats total{};
    for (auto _ : state) {
        state.PauseTiming();
        card.cage(0).insert(fr4_from_power_on());
        card.cage(0).reset_stats();
        state.ResumeTiming();
        qsfp_port_create_params p = card.params(0, bench::evm());
        p.init_arg = QSFP_DD_INIT_FULL;
        p.port_mode = QSFP_DD_OPER_MODE_400G;
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        state.PauseTiming();
        add(total, card.cage(0).stats());
        qsfp_port_delete(r.handle);
        state.ResumeTiming();
    }
    bench::report_bus(state, total, kBringUpMinimum);
}
BENCHMARK(BM_CmisBringUp);

// A DR4 switched between 4 x 100G (application 2) and its default 400G
// (application 1): each change reads the active set (8) and datapath states
// (4), writes the staged set (8) and ApplyDPInit (1), reads the status (4),
// writes Tx and Rx disable (2) and reads byte 26 (1).
constexpr std::uint64_t kModeChangeMinimum = 8 + 4 + 8 + 1 + 4 + 2 + 1;

void BM_CmisModeChange(benchmark::State &state) {
    sim::LineCard card(1);
    card.insert(0, "400G-DR4");
    qsfp_port_create_params p = card.params(0, bench::evm());
    p.init_arg = QSFP_DD_INIT_FULL;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    card.cage(0).reset_stats();
    std::uint32_t mode = QSFP_DD_OPER_MODE_4X100G;
    for (auto _ : state) {
        benchmark::DoNotOptimize(qsfp_port_mode_config(r.handle, mode));
        mode = mode == QSFP_DD_OPER_MODE_4X100G ? QSFP_DD_OPER_MODE_DEFAULT : QSFP_DD_OPER_MODE_4X100G;
    }
    bench::report_bus(state, card.cage(0).stats(), kModeChangeMinimum);
    qsfp_port_delete(r.handle);
}
BENCHMARK(BM_CmisModeChange);

// The live status record of a 400G LR8: the page 11h flag and monitor block
// (67) read twice around the flag observation, temperature (2), supply (2),
// Tx disable (1) and the module flags byte (1), plus the two page selects the
// upper reads need (11h, then 10h); lower memory needs none of its own.
constexpr std::uint64_t kHwStatusMinimum = 2 * 67 + 2 + 2 + 1 + 1 + 2;

void BM_CmisHwStatus(benchmark::State &state) {
    sim::LineCard card(1);
    card.insert(0, "400G-LR8");
    qsfp_port_create_params p = card.params(0, bench::evm());
    p.init_arg = QSFP_DD_INIT_FULL;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    card.cage(0).reset_stats();
    qsfp_hw_status status{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(qsfp_port_hw_status(r.handle, &status));
    }
    bench::report_bus(state, card.cage(0).stats(), kHwStatusMinimum);
    qsfp_port_delete(r.handle);
}
BENCHMARK(BM_CmisHwStatus);

}  // namespace
