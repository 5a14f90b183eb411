// qsfpctl si and watch on the emulated card: SI targets applied through the
// library and read back from the module's active set, and the refreshing
// monitor view as plain repeated blocks when the output is not a terminal.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/line_card.h>

#include "emulated_card.h"
#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

using qsfpctl::test::line_count;
using qsfpctl::test::run;

void expect_one_line_error(const qsfpctl::test::Outcome &o, int code, const std::string &message) {
    EXPECT_EQ(o.code, code) << o.err;
    EXPECT_EQ(o.err, "qsfpctl: " + message + "\n");
    EXPECT_EQ(line_count(o.err), 1);
}

int count_of(const std::string &text, const std::string &what) {
    int n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

TEST(QsfpctlSi, TargetsReachTheModulesActiveSet) {
    auto card = qsfpctl::make_emulated_card();
    qsfpctl::RunOptions options;
    options.card = card;
    const auto o = run({"si", "10", "--lanes", "0x3", "--tx-eq", "3", "--rx-amp", "2"}, options);
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.out,
              "cage 10: active signal-integrity targets (CMIS page 11h)\n"
              "LANE  TX EQ  RX PRE-CURSOR  RX POST-CURSOR  RX AMPLITUDE\n"
              "1     3      0              0               2\n"
              "2     3      0              0               2\n"
              "3     0      0              0               0\n"
              "4     0      0              0               0\n"
              "5     0      0              0               0\n"
              "6     0      0              0               0\n"
              "7     0      0              0               0\n"
              "8     0      0              0               0\n");
    // The module's own bytes: Tx EQ targets at page 11h 217, amplitude at 231.
    auto *module = dynamic_cast<qsfp::sim::CmisModule *>(card->cage(9).module());
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->memory().get(0x11, 217), 0x33);
    EXPECT_EQ(module->memory().get(0x11, 218), 0x00);
    EXPECT_EQ(module->memory().get(0x11, 231), 0x22);
    // The lanes are back in service after the change.
    EXPECT_NE(run({"list"}, options).out.find("application 1, all datapaths activated"), std::string::npos);
}

TEST(QsfpctlSi, JsonGivesEveryLanesTargets) {
    auto card = qsfpctl::make_emulated_card();
    qsfpctl::RunOptions options;
    options.card = card;
    const auto o = run({"si", "10", "--lanes", "0x80", "--rx-pre", "5", "--rx-post", "9", "--json"}, options);
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(qsfpctl::test::schema_errors("si", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_EQ(j["cage"], 10);
    ASSERT_EQ(j["lanes"].size(), 8u);
    EXPECT_EQ(j["lanes"][7], nlohmann::json({{"lane", 8}, {"tx_eq", 0}, {"rx_pre_cursor", 5},
                                              {"rx_post_cursor", 9}, {"rx_amplitude", 0}}));
    EXPECT_EQ(j["lanes"][6]["rx_pre_cursor"], 0);
    // Lane 8 is the high nibble of page 11h bytes 226 (pre-cursor) and 230 (post-cursor).
    auto *module = dynamic_cast<qsfp::sim::CmisModule *>(card->cage(9).module());
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->memory().get(0x11, 226), 0x50);
    EXPECT_EQ(module->memory().get(0x11, 230), 0x90);
}

TEST(QsfpctlSi, WithoutTargetsItShowsTheActiveSet) {
    const auto o = run({"si", "9"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(line_count(o.out), 10);
    EXPECT_NE(o.out.find("8     0      0              0               0\n"), std::string::npos) << o.out;
}

TEST(QsfpctlSi, Refusals) {
    expect_one_line_error(run({"si", "10", "--tx-eq", "16"}), qsfpctl::kExitUsage, "--tx-eq 16 is out of range 0-15");
    expect_one_line_error(run({"si", "10", "--rx-pre", "x"}), qsfpctl::kExitUsage,
                          "--rx-pre \"x\" is not a number (decimal or 0x hex)");
    expect_one_line_error(run({"si", "10", "--lanes", "0", "--tx-eq", "1"}), qsfpctl::kExitUsage,
                          "lane mask 0 is out of range 1-255");
    expect_one_line_error(run({"si", "1", "--tx-eq", "1"}), qsfpctl::kExitNotSupported,
                          "cage 1: SI targets are a CMIS feature; this module's driver is sff8636");
    expect_one_line_error(run({"si", "13"}), qsfpctl::kExitNoModule, "no cage 13: this backend has cages 1-12");
    // The passive cable: the library has no SI settings for it.
    const auto copper = run({"si", "11", "--tx-eq", "1"});
    EXPECT_EQ(copper.code, qsfpctl::kExitNotSupported) << copper.err;
    EXPECT_EQ(line_count(copper.err), 1);
}

TEST(QsfpctlWatch, PlainBlocksWhenNotATerminal) {
    const auto o = run({"watch", "2", "--count", "3", "--interval", "0"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.out.rfind("cage 2 (emulated KORVA-100G-LR4-TEC), view 1 at ", 0), 0u) << o.out;
    EXPECT_EQ(count_of(o.out, "cage 2 (emulated KORVA-100G-LR4-TEC), view "), 3);
    EXPECT_NE(o.out.find("view 3 at "), std::string::npos);
    EXPECT_EQ(count_of(o.out, "lane 3  rx_power dBm   -40.00  -13.60     -10.60    4.50       5.50        low alarm, low warning\n"), 3)
        << o.out;
    EXPECT_EQ(o.out.find('\x1b'), std::string::npos);  // no colour, no clearing
}

TEST(QsfpctlWatch, Refusals) {
    expect_one_line_error(run({"watch", "4", "--count", "1"}), qsfpctl::kExitNotSupported,
                          "cage 4 holds a flat-memory module (a passive cable): it has no monitors");
    expect_one_line_error(run({"watch", "8", "--count", "1"}), qsfpctl::kExitNoModule,
                          "cage 8 is empty: no module answers");
    const auto negative = run({"watch", "2", "--interval", "-1"});
    EXPECT_EQ(negative.code, qsfpctl::kExitUsage);
    EXPECT_EQ(line_count(negative.err), 1);
}

}  // namespace
