// Bus cost per operation, from the emulator's accounting, as benchmark counters.
#pragma once

#include <cstdint>

#include <benchmark/benchmark.h>

#include <qsfp/qsfp.h>
#include <qsfp/sim/cage.h>

namespace qsfp::bench {

// The event manager handle of the benchmark process (virtual time).
void *evm();

// Reports transactions, bytes, page selects and bus time (us at 400 kHz) per
// iteration, and bytes moved over `minimum_bytes`, the least the operation needs.
void report_bus(benchmark::State &state, const sim::BusStats &stats, std::uint64_t minimum_bytes);

}  // namespace qsfp::bench
