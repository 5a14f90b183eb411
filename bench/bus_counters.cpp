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

}  // namespace qsfp::bench
