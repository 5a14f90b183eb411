#include "support/library_fixture.h"

#include <algorithm>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/virtual_clock.h>

#include "support/trace_reader.h"

namespace qsfp::test {

namespace {
constexpr std::size_t kCardCages = 64;
}

void *test_evm() {
    static void *evm = [] {
        void *em = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        sim::VirtualClock::instance().drive(event_manager_levm_get(em));
        return em;
    }();
    return evm;
}

void LibraryTest::SetUp() {
    test_evm();
    clear_traces();
    sim::VirtualClock::instance().clear_sleeps();
}

void LibraryTest::TearDown() {
    for (qsfp_port_ctx *port : ports_) {
        qsfp_port_delete(port);
    }
    ports_.clear();
    card_.reset();
}

sim::LineCard &LibraryTest::card() {
    if (!card_) {
        card_ = std::make_unique<sim::LineCard>(kCardCages);
    }
    return *card_;
}

sim::Cage &LibraryTest::insert(std::size_t index, sim::ModuleMemory memory) {
    return insert(index, std::make_unique<sim::Module>(std::move(memory)));
}

sim::Cage &LibraryTest::insert(std::size_t index, std::unique_ptr<sim::Module> module) {
    sim::Cage &cage = card().cage(index);
    cage.insert(std::move(module));
    return cage;
}

qsfp_port_create_params LibraryTest::params(std::size_t index) { return card().params(index, test_evm()); }

qsfp_port_ctx *LibraryTest::create(const qsfp_port_create_params &p, std::uint32_t expected_rc) {
    qsfp_port_create_result result{};
    const std::uint32_t rc = qsfp_port_create(&p, &result);
    EXPECT_EQ(rc, expected_rc);
    EXPECT_EQ(result.rc, rc);
    if (result.handle != nullptr && std::find(ports_.begin(), ports_.end(), result.handle) == ports_.end()) {
        ports_.push_back(result.handle);
    }
    return result.handle;
}

qsfp_port_ctx *LibraryTest::create(std::size_t index, std::uint32_t expected_rc) {
    return create(params(index), expected_rc);
}

void LibraryTest::forget(qsfp_port_ctx *port) { std::erase(ports_, port); }

}  // namespace qsfp::test
