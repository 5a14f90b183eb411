// The six monitoring reports and their chain (kind 6), as golden texts, for
// three catalogue modules with set monitor values.
#include <unistd.h>

#include <gtest/gtest.h>

#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/sff8636_module.h>

#include "sff8636/sff_port.h"
#include "support/golden.h"

namespace {

using namespace qsfp::test;

class DomGoldenTest : public SffPortTest, public ::testing::WithParamInterface<const char *> {};

TEST_P(DomGoldenTest, ReportsOfAllKinds) {
    auto module = qsfp::sim::make_module(GetParam());
    qsfp::sim::Sff8636Module *m = module.get();
    insert(0, std::move(module));
    qsfp_port_create_params p = params(0);
    p.init_arg = 1;
    qsfp_port_ctx *port = create(p, QSFP_OK);
    qsfp_port_admin_state(port, 0, 1, 0x0F);
    usleep(11000000);
    m->set_temperature(41.25);
    m->set_vcc(3.301);
    for (int lane = 0; lane < 4; ++lane) {
        m->set_rx_power(lane, 0.4 + 0.1 * lane);
        m->set_tx_power(lane, 0.8 - 0.1 * lane);
        m->set_tx_bias(lane, 6.0 + lane);
    }
    m->set_rx_power(3, 0.0);  // a dark lane
    m->set_tx_fault(1, true);
    std::string text;
    for (std::uint32_t kind = 0; kind <= 6; ++kind) {
        std::vector<char> buf(20000, '\0');
        ASSERT_EQ(qsfp_port_dom_info(port, buf.data(), kind, static_cast<std::uint32_t>(buf.size())), QSFP_OK);
        text += "==== kind " + std::to_string(kind) + " ====\n";
        text += buf.data();
        text += "\n";
    }
    expect_golden(std::string("sff8636/golden/dom_") + GetParam() + ".txt", text);
}

INSTANTIATE_TEST_SUITE_P(CatalogueModules, DomGoldenTest,
                         ::testing::Values("100G-SR4", "KORVA-100G-LR4-TEC", "40G-SR4"),
                         [](const auto &info) {
                             std::string n = info.param;
                             for (char &c : n) if (c == '-') c = '_';
                             return n;
                         });

}  // namespace
