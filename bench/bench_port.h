// One port on one emulated cage, benchmarked in one of two ways: on the
// emulated bus (bus counters from the emulator's accounting) or on the null
// bus (one recorded pass replayed, so the time is the library's alone).
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include <qsfp/qsfp.h>
#include <qsfp/sim/line_card.h>

#include "bus_counters.h"
#include "null_bus.h"

namespace qsfp::bench {

// The benchmark's argument: 0 the emulated bus, 1 the null bus.
inline bool on_null_bus(const benchmark::State &state) { return state.range(0) == 1; }

#define QSFP_BENCH_BOTH_BUSES(fn) BENCHMARK(fn)->ArgName("null_bus")->Arg(0)->Arg(1)

// CPU time of the calling thread, in nanoseconds.
inline std::uint64_t thread_cpu_ns() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000000u + static_cast<std::uint64_t>(ts.tv_nsec);
}

struct BenchPort {
    sim::LineCard card{1};
    NullBus bus{card.cage(0)};
    qsfp_port_ctx *port = nullptr;

    sim::Cage &cage() { return card.cage(0); }

    // The creation record of the cage, its accesses through the null bus
    // (which passes them on while it records).
    qsfp_port_create_params params(std::uint32_t init_arg, std::uint32_t mode) {
        qsfp_port_create_params p = card.params(0, evm());
        bus.attach(p);
        p.init_arg = init_arg;
        p.port_mode = mode;
        return p;
    }
    // Creates the port on the module in the cage; false if that failed.
    bool create(std::uint32_t init_arg, std::uint32_t mode) {
        qsfp_port_create_params p = params(init_arg, mode);
        qsfp_port_create_result r{};
        const std::uint32_t rc = qsfp_port_create(&p, &r);
        port = r.handle;
        return rc == QSFP_OK && port != nullptr;
    }
    ~BenchPort() {
        if (port != nullptr) {
            qsfp_port_delete(port);
        }
    }
};

// Runs `op` as the benchmark's body. On the emulated bus it reports the bus
// counters against `minimum_bytes`; on the null bus it first runs `cycle`
// calls (an operation that alternates between two states has a cycle of 2)
// so that the port's page cache and the module are in the state every later
// cycle starts from, then records one cycle and replays it, and reports the library's CPU per call beside the bus
// time the recorded traffic takes, and their ratio at 1 MHz.
template <typename Op>
void run_op(benchmark::State &state, BenchPort &p, std::uint64_t minimum_bytes, unsigned cycle, Op op) {
    if (!on_null_bus(state)) {
        p.cage().reset_stats();
        for (auto _ : state) {
            op();
        }
        report_bus(state, p.cage().stats(), minimum_bytes);
        return;
    }
    for (unsigned pass = 0; pass < 2; ++pass) {
        p.bus.record();
        p.cage().reset_stats();
        for (unsigned i = 0; i < cycle; ++i) {
            op();
        }
    }
    const sim::BusStats one_cycle = p.cage().stats();
    p.bus.replay();
    const std::uint64_t cpu_start = thread_cpu_ns();
    for (auto _ : state) {
        op();
    }
    report_library_cpu(state, thread_cpu_ns() - cpu_start, one_cycle, cycle);
    if (p.bus.mismatches() != 0) {
        state.SkipWithError("the operation did not repeat its recorded traffic");
    }
}

// Bring-up (create, then delete) of a module `fresh()` makes, each pass from
// a fresh module: on the emulated bus one is inserted outside the timing
// before every pass; on the null bus only the recorded passes need one, the
// replays never reach the module.
template <typename Fresh>
void run_bring_up(benchmark::State &state, BenchPort &p, std::uint32_t init_arg, std::uint32_t mode,
                  std::uint64_t minimum_bytes, Fresh fresh) {
    auto bring_up = [&] {
        p.create(init_arg, mode);
        qsfp_port_delete(p.port);
        p.port = nullptr;
    };
    if (on_null_bus(state)) {
        run_op(state, p, minimum_bytes, 1, [&] {
            if (!p.bus.replaying()) {
                p.cage().insert(fresh());
            }
            bring_up();
        });
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        p.cage().insert(fresh());
        state.ResumeTiming();
        bring_up();
    }
    report_bus(state, p.cage().stats(), minimum_bytes);
}

}  // namespace qsfp::bench
