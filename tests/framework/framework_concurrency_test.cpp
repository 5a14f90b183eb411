// Many threads on many ports while other ports come and go: the locks keep
// every port's traffic serialised and the port list consistent.
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "framework/bare_port.h"

namespace {

using namespace qsfp::test;

constexpr int kStablePorts = 32;
constexpr int kHammerThreads = 8;
constexpr int kChurnThreads = 2;
constexpr int kChurnCagesEach = 4;
constexpr int kIterations = 400;

class ConcurrencyTest : public LibraryTest {};

TEST_F(ConcurrencyTest, EightThreadsHammer32PortsWhilePortsAreCreatedAndDeleted) {
    std::vector<pthread_mutex_t> mutexes(kStablePorts);
    std::vector<qsfp_port_ctx *> stable;
    for (int i = 0; i < kStablePorts; ++i) {
        pthread_mutex_init(&mutexes[i], nullptr);
        insert(i, paged_memory());
        qsfp_port_create_params p = params(i);
        p.port_lock = &mutexes[i];
        stable.push_back(create(p, QSFP_ERR_NOT_READY));
        stable.back()->rate = 100;
    }
    const int churn_base = kStablePorts;
    for (int i = 0; i < kChurnThreads * kChurnCagesEach; ++i) {
        insert(churn_base + i, paged_memory());
    }

    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kHammerThreads; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 rng(t);
            for (int n = 0; n < kIterations; ++n) {
                qsfp_port_ctx *port = stable[rng() % kStablePorts];
                if (qsfp_check_and_lock_hdl(port, __LINE__) != QSFP_OK) {
                    ++failures;
                    continue;
                }
                std::uint8_t page = static_cast<std::uint8_t>(rng() % 4);
                const std::uint32_t reg = 0x80 + 8 * (rng() % 8);
                std::uint8_t b[8];
                if (qsfp_access(port, reg, 8, page, b, 1) != QSFP_OK || b[1] != pattern(page, reg + 1)) {
                    ++failures;
                }
                qsfp_port_unlock(port);
            }
        });
    }
    for (int t = 0; t < kChurnThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int n = 0; n < kIterations / 4; ++n) {
                for (int c = 0; c < kChurnCagesEach; ++c) {
                    qsfp_port_create_params p = card().params(churn_base + t * kChurnCagesEach + c, test_evm());
                    qsfp_port_create_result result{};
                    if (qsfp_port_create(&p, &result) != QSFP_ERR_NOT_READY || result.handle == nullptr ||
                        qsfp_port_delete(result.handle) != QSFP_OK) {
                        ++failures;
                    }
                }
            }
        });
    }
    for (auto &th : threads) {
        th.join();
    }
    EXPECT_EQ(failures.load(), 0);
    int listed = 0;
    for (const qsfp_port_ctx *p = qsfp_get_ctx()->ports; p != nullptr; p = p->next) {
        ++listed;
    }
    EXPECT_EQ(listed, kStablePorts);
    TearDown();
    for (auto &m : mutexes) {
        pthread_mutex_destroy(&m);
    }
}

}  // namespace
