// A line card of 64 ports under load: eight threads run mixed operations
// (status, DOM reports, enable and disable, mode changes, SI values, show
// text, CDB queries) on 56 ports of SFF-8636 and CMIS modules, while the
// reference event manager fires the SFF-8636 cool and keep-alive timers on
// its own thread, and another thread deletes and creates the ports of the
// remaining eight cages. Every operation must come back with a code its
// path gives, every armed expiry must be handled once, nothing may deadlock
// (a watchdog bounds the run), and afterwards every port enables all its
// lanes on request. Run under ThreadSanitizer in CI; driver waits run on the
// virtual clock, so the soak costs little wall time.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/line_card.h>

#include "sff8636/state.h"

namespace {

using namespace qsfp;
using Clock = std::chrono::steady_clock;

constexpr int kPorts = 64;
constexpr int kChurnPorts = 8;  // the last eight cages
constexpr int kStablePorts = kPorts - kChurnPorts;
constexpr int kWorkers = 8;
constexpr int kMinWorkerOps = 150;
constexpr auto kSoak = std::chrono::milliseconds(2000);
constexpr std::uint32_t kTimerNs = 300000;  // 0.3 ms: the timers fire often
constexpr auto kWatchdog = std::chrono::seconds(240);

enum class Family { sff8636, cmis };

struct Slot {
    const char *module;
    Family family;
    bool cdb;  // the module has a CDB engine (without one a query waits out 5,000 polls)
};

// Cage i holds kModules[i % 8]: SFF-8636 SR4 and DWDM (which has a
// keep-alive timer), CMIS FR4 (with CDB) and DR4 (which changes between two
// modes).
constexpr Slot kModules[] = {
    {"100G-SR4", Family::sff8636, false}, {"100G-DWDM2", Family::sff8636, false}, {"400G-FR4", Family::cmis, true},
    {"400G-DR4", Family::cmis, false},    {"100G-SR4", Family::sff8636, false},   {"100G-DWDM2", Family::sff8636, false},
    {"400G-DR4", Family::cmis, false},    {"400G-FR4", Family::cmis, true},
};

std::array<std::atomic<int>, kPorts + 1> g_expiries{};

void init_done(std::uint64_t, std::uint32_t port) { ++g_expiries[port]; }

enum Op { kStatus, kDom, kEnable, kDisable, kMode, kSi, kShow, kCdbQuery, kOps };
constexpr const char *kOpNames[kOps] = {"status", "dom", "enable", "disable", "mode", "si", "show", "cdb"};

// The codes an operation may answer on a healthy module, beside 0. The
// SFF-8636 table has no mode, SI-values or CDB operation; a CMIS module
// refuses a mode it has no application for (the FR4 has no 4 x 100G), and
// rejects SI values applied through DPInit while its data paths run
// ("Config Error", 22): a port manager disables the port first.
bool expected(Op op, Family family, std::uint32_t rc) {
    if (rc == QSFP_OK) {
        return true;
    }
    switch (op) {
    case kMode:
        return family == Family::sff8636 ? rc == QSFP_ERR_EMPTY_SLOT : rc == QSFP_ERR_REFUSED;
    case kCdbQuery:
        return family == Family::sff8636 && rc == QSFP_ERR_EMPTY_SLOT;
    case kSi:
        return family == Family::sff8636 ? rc == QSFP_ERR_EMPTY_SLOT : rc == QSFP_ERR_INVALID;
    default:
        return false;
    }
}

// SFF-8636 lanes are enabled one by one; a QSFP-DD port is enabled whole,
// as a port manager does: enabling some lanes of a data path leaves the
// module rejecting the next configuration as "in use", which is the
// module's answer to a host that asked for half a data path.
std::uint32_t run(Op op, qsfp_port_ctx *port, Family family, std::mt19937 &rng) {
    const std::uint32_t lanes = family == Family::sff8636 ? 1u << (rng() % 4) : 0xFFu;
    switch (op) {
    case kStatus: {
        qsfp_hw_status status{};
        return qsfp_port_hw_status(port, &status);
    }
    case kDom: {
        std::vector<char> text(8192);
        return qsfp_port_dom_info(port, text.data(), rng() % 5, static_cast<std::uint32_t>(text.size()));
    }
    case kEnable:
        return qsfp_port_admin_state(port, 0, 1, lanes);
    case kDisable:
        return qsfp_port_admin_state(port, 1, 0, lanes);
    case kMode:
        return qsfp_port_mode_config(port, rng() % 2 == 0 ? QSFP_DD_OPER_MODE_4X100G : QSFP_DD_OPER_MODE_DEFAULT);
    case kSi: {
        std::uint8_t values[8];
        for (std::uint8_t &v : values) {
            v = static_cast<std::uint8_t>(rng() % 4);
        }
        return qsfp_modify_si_values(port, 0xFF, values, 0, nullptr, 0, nullptr, 0, nullptr);
    }
    case kShow: {
        void *text = nullptr;
        std::uint32_t len = 0;
        const std::uint32_t rc = qsfp_port_phy_reg_decode(port, &text, &len);
        std::free(text);
        return rc;
    }
    default: {
        char response[256];
        std::uint32_t length = 0;
        cdb_cmd_info request{QSFP_DD_CDB_QUERY_STATUS, nullptr, response, sizeof response, &length};
        return qsfp_module_cdb_cmd_execute(port, &request);
    }
    }
}

class SoakTest : public ::testing::Test {
protected:
    void SetUp() override {
        evm_ = qsfp_ref_event_manager_new(QSFP_REF_REAL_TIME);
        for (int i = 0; i < kPorts; ++i) {
            pthread_mutex_init(&locks_[i], nullptr);
        }
    }
    void TearDown() override {
        for (int i = 0; i < kPorts; ++i) {
            pthread_mutex_destroy(&locks_[i]);
        }
    }

    void insert(int i) {
        const Slot &slot = kModules[i % std::size(kModules)];
        if (slot.family == Family::sff8636) {
            card_.cage(i).insert(sim::make_module(slot.module));
        } else {
            card_.cage(i).insert(sim::make_cmis_module(slot.module));
        }
    }

    qsfp_port_ctx *create(int i, std::uint32_t *rc_out = nullptr) {
        qsfp_port_create_params p = card_.params(i, evm_);
        p.port_lock = &locks_[i];
        p.init_arg = 1;
        p.init_done_notify = init_done;
        qsfp_port_create_result r{};
        const std::uint32_t rc = qsfp_port_create(&p, &r);
        if (rc_out != nullptr) {
            *rc_out = rc;
        }
        return r.handle;
    }

    static Family family(int i) { return kModules[i % std::size(kModules)].family; }

    void *evm_ = nullptr;
    sim::LineCard card_{kPorts};
    std::array<pthread_mutex_t, kPorts> locks_{};
};

TEST_F(SoakTest, SixtyFourPortsEightThreadsTimersAndChurn) {
    std::atomic<bool> finished{false};
    std::thread watchdog([&] {
        const auto end = Clock::now() + kWatchdog;
        while (!finished.load() && Clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (!finished.load()) {
            std::fprintf(stderr, "soak: no progress within the watchdog's time, a deadlock\n");
            std::abort();
        }
    });

    std::vector<qsfp_port_ctx *> ports(kStablePorts);
    for (int i = 0; i < kPorts; ++i) {
        insert(i);
    }
    for (int i = 0; i < kStablePorts; ++i) {
        std::uint32_t rc = 0;
        ports[i] = create(i, &rc);
        ASSERT_NE(ports[i], nullptr) << "cage " << i << " answered 0x" << std::hex << rc;
        if (family(i) == Family::sff8636) {
            // The soak arms the cool timers itself, starting now.
            mgd_timer_leaf_stop(ports[i]->cool_timer);
        }
    }

    std::atomic<bool> stop{false};
    std::array<int, kPorts + 1> armed{};
    std::thread timers([&] {
        while (!stop.load()) {
            for (int i = 0; i < kStablePorts; ++i) {
                qsfp_port_ctx *port = ports[i];
                if (family(i) != Family::sff8636) {
                    continue;
                }
                const auto n = port->port;
                if (g_expiries[n].load() == armed[n] && mgd_timer_leaf_running(port->cool_timer) == 0) {
                    sff8636::set_settle(port, sff8636::Settle::settling);
                    ++armed[n];
                    mgd_timer_leaf_start(port->cool_timer, 0, kTimerNs);
                }
                if (port->keepalive_timer != nullptr) {
                    mgd_timer_leaf_start(port->keepalive_timer, 0, kTimerNs);
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });

    std::atomic<int> churned{0};
    std::atomic<int> churn_failures{0};
    std::thread churn([&] {
        for (int round = 0; !stop.load() || round < 4; ++round) {
            for (int i = kStablePorts; i < kPorts; ++i) {
                std::uint32_t rc = 0;
                qsfp_port_ctx *port = create(i, &rc);
                if (port == nullptr || qsfp_port_delete(port) != QSFP_OK) {
                    ++churn_failures;
                }
                ++churned;
            }
        }
    });

    std::array<std::atomic<int>, kOps> started{};
    std::array<std::atomic<int>, kOps> returned{};
    std::atomic<int> unexpected{0};
    const auto soak_end = Clock::now() + kSoak;
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&, w] {
            std::mt19937 rng(static_cast<unsigned>(w) + 1);
            for (int n = 0; n < kMinWorkerOps || Clock::now() < soak_end; ++n) {
                const int i = static_cast<int>(rng() % kStablePorts);
                auto op = static_cast<Op>(rng() % kOps);
                if (op == kCdbQuery && family(i) == Family::cmis && !kModules[i % std::size(kModules)].cdb) {
                    op = kStatus;
                }
                ++started[op];
                const std::uint32_t rc = run(op, ports[i], family(i), rng);
                ++returned[op];
                if (!expected(op, family(i), rc)) {
                    ++unexpected;
                    std::fprintf(stderr, "soak: %s on cage %d answered 0x%x\n", kOpNames[op], i, rc);
                }
            }
        });
    }
    for (std::thread &t : workers) {
        t.join();
    }
    stop = true;
    timers.join();
    churn.join();

    // Every armed expiry is handled, none twice.
    const auto quiet_end = Clock::now() + std::chrono::seconds(60);
    for (int i = 0; i < kStablePorts; ++i) {
        const auto n = ports[i]->port;
        while (g_expiries[n].load() < armed[n] && Clock::now() < quiet_end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(g_expiries[n].load(), armed[n]) << "cage " << i;
    }

    // No lane left half-enabled: every port enables all its lanes on request.
    for (int i = 0; i < kStablePorts; ++i) {
        ASSERT_EQ(qsfp_port_admin_state(ports[i], 0, 1, 0xFF), QSFP_OK) << "cage " << i;
        const sim::ModuleMemory &memory = card_.cage(i).module()->memory();
        if (family(i) == Family::sff8636) {
            EXPECT_EQ(memory.get(0, 86) & 0x0F, 0) << "cage " << i << ": Tx disable bits left set";
        } else {
            EXPECT_EQ(memory.get(0x10, 130), 0) << "cage " << i << ": Tx disable bits left set";
        }
    }

    int total = 0;
    std::string per_op;
    for (int op = 0; op < kOps; ++op) {
        EXPECT_EQ(started[op].load(), returned[op].load()) << kOpNames[op];
        total += returned[op].load();
        per_op += std::string(" ") + kOpNames[op] + " " + std::to_string(returned[op].load());
    }
    int expiries = 0;
    for (const auto &e : g_expiries) {
        expiries += e.load();
    }
    std::printf("soak: %d operations (%s), %d cool-timer expiries, %d ports created and deleted\n", total,
                per_op.c_str(), expiries, churned.load());
    EXPECT_EQ(unexpected.load(), 0);
    EXPECT_EQ(churn_failures.load(), 0);
    EXPECT_GE(total, kWorkers * kMinWorkerOps);

    for (qsfp_port_ctx *port : ports) {
        EXPECT_EQ(qsfp_port_delete(port), QSFP_OK);
    }
    finished = true;
    watchdog.join();
    qsfp_ref_event_manager_free(evm_);
}

}  // namespace
