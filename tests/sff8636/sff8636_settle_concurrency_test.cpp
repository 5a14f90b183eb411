// SFF-8636 ports whose cool and keep-alive timers fire on the reference event
// manager's own thread, in real time, while other threads enable, disable and
// poll the same ports. The timer handler takes no lock: what it shares with
// the callers (settle state, pending lanes, page cache) is handed over
// atomically, which ThreadSanitizer checks here. Driver waits run on the
// virtual clock, so the soak costs little wall time.
#include <array>
#include <cstdio>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/line_card.h>

#include "sff8636/state.h"

namespace {

using qsfp::sff8636::set_settle;
using qsfp::sff8636::Settle;

constexpr int kPorts = 8;
constexpr int kWorkers = 3;
constexpr int kMinWorkerOps = 300;
constexpr auto kSoak = std::chrono::milliseconds(1500);
constexpr std::uint32_t kTimerNs = 200000;  // 0.2 ms: the timers fire often
constexpr auto kDeadline = std::chrono::seconds(60);

// Expiries handled per port (the init-done callback runs once per cool-timer
// expiry, on the event manager's thread).
std::array<std::atomic<int>, kPorts + 1> g_expiries{};

void init_done(std::uint64_t, std::uint32_t port) { ++g_expiries[port]; }

TEST(SettleConcurrencyTest, TimersFireOnTheEventThreadWhileThreadsEnableDisableAndPoll) {
    void *evm = qsfp_ref_event_manager_new(QSFP_REF_REAL_TIME);
    qsfp::sim::LineCard card(kPorts);
    std::vector<pthread_mutex_t> mutexes(kPorts);
    std::vector<qsfp_port_ctx *> ports;
    for (int i = 0; i < kPorts; ++i) {
        // Every other cage holds a DWDM module, which has a keep-alive leaf.
        card.cage(i).insert(qsfp::sim::make_module(i % 2 == 0 ? "100G-SR4" : "100G-DWDM2"));
        pthread_mutex_init(&mutexes[i], nullptr);
        qsfp_port_create_params p = card.params(i, evm);
        p.port_lock = &mutexes[i];
        p.init_arg = 1;
        p.init_done_notify = init_done;
        qsfp_port_create_result result{};
        ASSERT_EQ(qsfp_port_create(&p, &result), QSFP_OK);
        ports.push_back(result.handle);
    }
    for (qsfp_port_ctx *port : ports) {
        ASSERT_EQ(port->keepalive_timer != nullptr, port->any_page != 0);
        // The soak arms the cool timers itself, starting now.
        mgd_timer_leaf_stop(port->cool_timer);
    }

    // The timer driver: a port re-enters its settle period and its cool timer
    // is armed again once the previous expiry was handled; DWDM keep-alives
    // are brought forward each round.
    std::atomic<bool> stop{false};
    std::array<int, kPorts + 1> armed{};
    std::thread timers([&] {
        while (!stop.load()) {
            for (qsfp_port_ctx *port : ports) {
                const auto n = port->port;
                if (g_expiries[n].load() == armed[n] && mgd_timer_leaf_running(port->cool_timer) == 0) {
                    set_settle(port, Settle::settling);
                    ++armed[n];
                    mgd_timer_leaf_start(port->cool_timer, 0, kTimerNs);
                }
                if (port->keepalive_timer != nullptr) {
                    mgd_timer_leaf_start(port->keepalive_timer, 0, kTimerNs);
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
    });

    std::atomic<int> refused{0};
    std::atomic<int> done{0};
    const auto soak_end = std::chrono::steady_clock::now() + kSoak;
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&, w] {
            std::mt19937 rng(w);
            for (int n = 0; n < kMinWorkerOps || std::chrono::steady_clock::now() < soak_end; ++n, ++done) {
                qsfp_port_ctx *port = ports[rng() % kPorts];
                const std::uint32_t lanes = 1u << (rng() % 4);
                std::uint32_t rc = QSFP_OK;
                switch (rng() % 4) {
                case 0: rc = qsfp_port_admin_state(port, 0, 1, lanes); break;
                case 1: rc = qsfp_port_admin_state(port, 1, 0, lanes); break;
                case 2: {
                    qsfp_hw_status status{};
                    rc = qsfp_port_hw_status(port, &status);
                    break;
                }
                default: {
                    std::vector<char> text(4096);
                    rc = qsfp_port_dom_info(port, text.data(), 1, static_cast<std::uint32_t>(text.size()));
                    break;
                }
                }
                if (rc != QSFP_OK) {
                    ++refused;
                }
            }
        });
    }
    for (auto &t : workers) {
        t.join();
    }
    stop = true;
    timers.join();

    // Every armed expiry is handled, none twice.
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    for (qsfp_port_ctx *port : ports) {
        while (g_expiries[port->port].load() < armed[port->port] && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(g_expiries[port->port].load(), armed[port->port]) << "port " << port->port;
        EXPECT_GT(armed[port->port], 1) << "port " << port->port;
        EXPECT_EQ(std::atomic_ref<std::uint32_t>(port->cool_expired).load(), 1u);
    }
    EXPECT_EQ(refused.load(), 0) << "of " << done.load() << " operations";
    int expiries = 0;
    for (const auto &e : g_expiries) expiries += e.load();
    std::printf("%d operations against %d cool-timer expiries on the event thread\n", done.load(), expiries);

    // Quiet now: a request recorded while settling is applied by the next
    // expiry, exactly once.
    qsfp_port_ctx *port = ports[0];
    card.cage(0).module()->memory().set(0, 86, 0x0F);
    set_settle(port, Settle::settling);
    std::atomic_ref<std::uint32_t>(port->ready_lanes).store(0);
    ASSERT_EQ(qsfp_port_admin_state(port, 0, 1, 0x06), QSFP_OK);
    const int before = g_expiries[port->port].load();
    mgd_timer_leaf_start(port->cool_timer, 0, kTimerNs);
    while (g_expiries[port->port].load() == before && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(card.cage(0).module()->memory().get(0, 86) & 0x0F, 0x09);

    for (int i = 0; i < kPorts; ++i) {
        EXPECT_EQ(qsfp_port_delete(ports[i]), QSFP_OK);
        pthread_mutex_destroy(&mutexes[i]);
    }
}

}  // namespace
