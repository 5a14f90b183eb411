// Paged register access: a read of an upper page, repeated on the same page
// (the page-select byte is written once) and alternating between pages.
#include <memory>

#include <qsfp/sim/basic_image.h>
#include <qsfp/sim/line_card.h>

#include "bus_counters.h"

namespace {

using namespace qsfp;

struct Port {
    sim::LineCard card{1};
    qsfp_port_ctx *port = nullptr;
    Port() {
        card.cage(0).insert(std::make_unique<sim::Module>(sim::basic_image(0x0C)));
        qsfp_port_create_params p = card.params(0, bench::evm());
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        port = r.handle;
        port->rate = 100;
        card.cage(0).reset_stats();
    }
    ~Port() { qsfp_port_delete(port); }
};

void BM_ReadSameUpperPage(benchmark::State &state) {
    Port p;
    std::uint8_t buf[128];
    for (auto _ : state) {
        benchmark::DoNotOptimize(qsfp_access(p.port, 128, 128, 3, buf, QSFP_ACCESS_READ));
    }
    bench::report_bus(state, p.card.cage(0).stats(), 128);
}
BENCHMARK(BM_ReadSameUpperPage);

void BM_ReadAlternatingPages(benchmark::State &state) {
    Port p;
    std::uint8_t buf[128];
    std::uint32_t page = 0;
    for (auto _ : state) {
        page ^= 1;
        benchmark::DoNotOptimize(qsfp_access(p.port, 128, 128, page + 2, buf, QSFP_ACCESS_READ));
    }
    bench::report_bus(state, p.card.cage(0).stats(), 128);
}
BENCHMARK(BM_ReadAlternatingPages);

void BM_RegisterDump(benchmark::State &state) {
    Port p;
    for (auto _ : state) {
        char *text = nullptr;
        std::uint32_t size = 0;
        qsfp_reg_access(p.port, &text, &size, QSFP_ACCESS_READ);
        std::free(text);
    }
    bench::report_bus(state, p.card.cage(0).stats(), 22);
}
BENCHMARK(BM_RegisterDump);

}  // namespace
