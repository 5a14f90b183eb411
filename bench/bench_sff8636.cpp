// SFF-8636 operations: bring-up, the live status record and a port enable.
#include <memory>

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/line_card.h>

#include "bus_counters.h"
#include "sff8636/sff_port.h"

namespace {

using namespace qsfp;

// Bring-up of a QSFP28 SR4 with hardware initialisation: the least it needs
// is the status byte and the 640-byte image.
void BM_BringUp(benchmark::State &state) {
    sim::LineCard card(1);
    sim::BusStats total{};
    for (auto _ : state) {
        card.cage(0).insert(std::make_unique<sim::Module>(test::qsfp28_memory()));
        card.cage(0).reset_stats();
        qsfp_port_create_params p = card.params(0, bench::evm());
        p.init_arg = 1;
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        const sim::BusStats s = card.cage(0).stats();
        total.transactions += s.transactions;
        total.bytes_read += s.bytes_read;
        total.bytes_written += s.bytes_written;
        total.page_select_writes += s.page_select_writes;
        total.bits += s.bits;
        state.PauseTiming();
        qsfp_port_delete(r.handle);
        state.ResumeTiming();
    }
    bench::report_bus(state, total, 1 + 640);
}
BENCHMARK(BM_BringUp);

struct ReadyPort {
    sim::LineCard card{1};
    qsfp_port_ctx *port = nullptr;
    ReadyPort() {
        card.cage(0).insert(std::make_unique<sim::Module>(test::qsfp28_memory()));
        qsfp_port_create_params p = card.params(0, bench::evm());
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        port = r.handle;
        card.cage(0).reset_stats();
    }
    ~ReadyPort() { qsfp_port_delete(port); }
};

// Tx disable, status, monitors, and the flags: bytes 2, 3-14, 22-23, 26-27, 34-57, 86.
void BM_HwStatus(benchmark::State &state) {
    ReadyPort p;
    qsfp_hw_status status{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(qsfp_port_hw_status(p.port, &status));
    }
    bench::report_bus(state, p.card.cage(0).stats(), 1 + 12 + 2 + 2 + 24 + 1);
}
BENCHMARK(BM_HwStatus);

void BM_PortEnable(benchmark::State &state) {
    ReadyPort p;
    for (auto _ : state) {
        qsfp_port_admin_state(p.port, 0, 1, 0x0F);
        qsfp_port_admin_state(p.port, 1, 0, 0x0F);
    }
    bench::report_bus(state, p.card.cage(0).stats(), 0);
}
BENCHMARK(BM_PortEnable);

}  // namespace
