#include "bus_counters.h"

#include <qsfp/platform_ref.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::bench {

void *evm() {
    static void *em = [] {
        void *e = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        sim::VirtualClock::instance().drive(event_manager_levm_get(e));
        return e;
    }();
    return em;
}

void report_bus(benchmark::State &state, const sim::BusStats &stats, std::uint64_t minimum_bytes) {
    const double n = static_cast<double>(state.iterations());
    const double bytes = static_cast<double>(stats.bytes_read + stats.bytes_written);
    state.counters["transactions"] = static_cast<double>(stats.transactions) / n;
    state.counters["bytes"] = bytes / n;
    state.counters["page_selects"] = static_cast<double>(stats.page_select_writes) / n;
    state.counters["bus_us_400k"] = stats.seconds_at(sim::kBus400kHz) * 1e6 / n;
    state.counters["bus_us_1M"] = stats.seconds_at(sim::kBus1MHz) * 1e6 / n;
    if (minimum_bytes != 0) {
        state.counters["bytes_over_min"] = bytes / n / static_cast<double>(minimum_bytes);
    }
}

void report_library_cpu(benchmark::State &state, std::uint64_t cpu_ns, const sim::BusStats &one_cycle, unsigned cycle) {
    const double n = static_cast<double>(state.iterations());
    const double lib_us = static_cast<double>(cpu_ns) / 1e3 / n;
    const double bus_us_1m = one_cycle.seconds_at(sim::kBus1MHz) * 1e6 / cycle;
    state.counters["lib_cpu_us"] = lib_us;
    state.counters["bus_us_400k"] = one_cycle.seconds_at(sim::kBus400kHz) * 1e6 / cycle;
    state.counters["bus_us_1M"] = bus_us_1m;
    if (bus_us_1m > 0) {
        state.counters["cpu_pct_of_bus_1M"] = 100.0 * lib_us / bus_us_1m;
    }
}

}  // namespace qsfp::bench
