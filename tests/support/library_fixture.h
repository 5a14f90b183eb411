// The test process's event manager (virtual time, driven by the virtual
// clock) and a fixture that gives each test a fresh line card and empty traces.
#pragma once

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/module.h>

namespace qsfp::test {

// Created once per process in virtual-time mode; the first port creation
// hands it to the library, which keeps it for the life of the process.
void *test_evm();

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Puts a module in cage `index` of a card of `cages` cages (made on first use).
    sim::Cage &insert(std::size_t index, sim::ModuleMemory memory);
    sim::Cage &insert(std::size_t index, std::unique_ptr<sim::Module> module);
    qsfp_port_create_params params(std::size_t index);
    // Creates the port and remembers it for deletion at the end of the test.
    qsfp_port_ctx *create(const qsfp_port_create_params &params, std::uint32_t expected_rc = QSFP_OK);
    qsfp_port_ctx *create(std::size_t index, std::uint32_t expected_rc = QSFP_OK);
    // Forgets a port the test deleted itself.
    void forget(qsfp_port_ctx *port);

    sim::LineCard &card();

    std::vector<qsfp_port_ctx *> ports_;

private:
    std::unique_ptr<sim::LineCard> card_;
};

}  // namespace qsfp::test
