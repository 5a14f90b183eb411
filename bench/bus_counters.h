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

// Reports the library's CPU per iteration (`cpu_ns` over all iterations),
// the bus time of the traffic one cycle of `cycle` iterations moves, and the
// share of that bus time at 1 MHz the CPU amounts to.
void report_library_cpu(benchmark::State &state, std::uint64_t cpu_ns, const sim::BusStats &one_cycle, unsigned cycle);

}  // namespace qsfp::bench
