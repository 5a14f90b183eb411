// Status polling across a 64-port line card from several threads, each
// transaction holding its own cage's bus for its real bus time at 400 kHz,
// and the latency of a trivial query on an idle port while other threads
// crowd one busy port.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <pthread.h>
#include <thread>
#include <vector>

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/line_card.h>

#include "bus_counters.h"
#include "sff8636/sff_port.h"

namespace {

using namespace qsfp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPorts = 64;

// 64 QSFP28 SR4 ports, each with its own lock as a port manager gives it,
// brought up without bus time, then every cage's bus running at 400 kHz.
struct Card {
    sim::LineCard card{kPorts};
    std::vector<pthread_mutex_t> locks = std::vector<pthread_mutex_t>(kPorts);
    std::vector<qsfp_port_ctx *> ports;
    Card() {
        for (std::size_t i = 0; i < kPorts; ++i) {
            pthread_mutex_init(&locks[i], nullptr);
            card.cage(i).insert(std::make_unique<sim::Module>(test::qsfp28_memory()));
            qsfp_port_create_params p = card.params(i, bench::evm());
            p.port_lock = &locks[i];
            qsfp_port_create_result r{};
            qsfp_port_create(&p, &r);
            ports.push_back(r.handle);
            card.cage(i).set_real_bus_clock(sim::kBus400kHz);
        }
    }
    ~Card() {
        for (std::size_t i = 0; i < kPorts; ++i) {
            qsfp_port_delete(ports[i]);
            pthread_mutex_destroy(&locks[i]);
        }
    }
};

// One sweep per iteration: every port's status once, the ports dealt out to
// the threads round-robin.
void BM_StatusPolling64Ports(benchmark::State &state) {
    Card c;
    const auto threads = static_cast<std::size_t>(state.range(0));
    std::atomic<std::uint64_t> failures{0};
    for (auto _ : state) {
        std::vector<std::thread> pool;
        for (std::size_t t = 0; t < threads; ++t) {
            pool.emplace_back([&, t] {
                qsfp_hw_status status{};
                for (std::size_t i = t; i < kPorts; i += threads) {
                    if (qsfp_port_hw_status(c.ports[i], &status) != QSFP_OK) {
                        ++failures;
                    }
                }
            });
        }
        for (std::thread &th : pool) {
            th.join();
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kPorts));
    if (failures != 0) {
        state.SkipWithError("a status call failed");
    }
}
BENCHMARK(BM_StatusPolling64Ports)->ArgName("threads")->Arg(1)->Arg(2)->Arg(4)->Arg(8)->UseRealTime()->Unit(benchmark::kMillisecond);

// The latency of qsfp_port_rate on an idle port while `crowd` threads poll
// the status of one hot port: a thread that waits for the hot port waits
// holding the library lock, so the idle port's query waits too.
void BM_IdleQueryBesideHotPort(benchmark::State &state) {
    Card c;
    const auto crowd = static_cast<std::size_t>(state.range(0));
    std::atomic<bool> stop{false};
    std::vector<std::thread> pool;
    for (std::size_t t = 0; t < crowd; ++t) {
        pool.emplace_back([&] {
            qsfp_hw_status status{};
            while (!stop) {
                qsfp_port_hw_status(c.ports[0], &status);
            }
        });
    }
    std::vector<double> latencies_us;
    for (auto _ : state) {
        std::uint32_t rate = 0;
        const Clock::time_point start = Clock::now();
        benchmark::DoNotOptimize(qsfp_port_rate(c.ports[1], &rate));
        latencies_us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    stop = true;
    for (std::thread &th : pool) {
        th.join();
    }
    std::sort(latencies_us.begin(), latencies_us.end());
    auto at = [&](double q) { return latencies_us[static_cast<std::size_t>(q * static_cast<double>(latencies_us.size() - 1))]; };
    state.counters["p50_us"] = at(0.50);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = latencies_us.back();
}
BENCHMARK(BM_IdleQueryBesideHotPort)->ArgName("crowd")->Arg(1)->Arg(7)->Iterations(2000)->UseRealTime();

}  // namespace
