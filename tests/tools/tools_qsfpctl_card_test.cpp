// qsfpctl on the built-in emulated line card: every command end to end, the
// card's raised conditions as the library reports them, and the refusals.
#include <gtest/gtest.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include <qsfp/sim/catalogue.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

using qsfpctl::test::line_count;
using qsfpctl::test::run;
using qsfpctl::test::schema_errors;

// The row of `cage` in a list table.
std::string list_row(const std::string &table, int cage) {
    std::istringstream in(table);
    std::string line;
    const std::string prefix = std::to_string(cage) + " ";
    while (std::getline(in, line)) {
        if (line.rfind(prefix, 0) == 0) return line;
    }
    return "";
}

void expect_one_line_error(const qsfpctl::test::Outcome &o, int code, const std::string &message) {
    EXPECT_EQ(o.code, code);
    EXPECT_EQ(o.err, "qsfpctl: " + message + "\n");
    EXPECT_EQ(line_count(o.err), 1);
}

TEST(QsfpctlCard, ListShowsEveryCageWithItsCondition) {
    const auto o = run({"list"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(line_count(o.out), 13);  // heading and twelve cages
    EXPECT_EQ(o.out.rfind("CAGE  TYPE ", 0), 0u);
    const std::string sr4 = list_row(o.out, 1);
    EXPECT_NE(sr4.find("QSFP28 100G SR4"), std::string::npos) << sr4;
    EXPECT_NE(sr4.find("OPTIWAVE"), std::string::npos) << sr4;
    EXPECT_NE(sr4.find("OW-100G-SR4"), std::string::npos) << sr4;
    EXPECT_NE(sr4.find("100G"), std::string::npos) << sr4;
    EXPECT_EQ(sr4.substr(sr4.size() - 7), "  ready") << sr4;
    EXPECT_NE(list_row(o.out, 2).find("Rx LOS"), std::string::npos);       // dark Rx lane 3
    EXPECT_NE(list_row(o.out, 3).find("ALARM"), std::string::npos);        // hot module
    EXPECT_NE(list_row(o.out, 4).find("no monitors: flat memory"), std::string::npos);
    EXPECT_NE(list_row(o.out, 5).find("ALARM"), std::string::npos);        // Tx fault on lane 2
    EXPECT_NE(list_row(o.out, 6).find("ALARM"), std::string::npos);        // low supply
    EXPECT_EQ(list_row(o.out, 7).find("ALARM"), std::string::npos);
    EXPECT_NE(list_row(o.out, 8).find("empty"), std::string::npos);
    EXPECT_NE(list_row(o.out, 9).find("QSFPDD 400G FR4"), std::string::npos);
    EXPECT_NE(list_row(o.out, 10).find("QSFPDD 400G DR4"), std::string::npos);
    EXPECT_NE(list_row(o.out, 11).find("QSFPDD 400G PASSIVE COPPER"), std::string::npos);
    EXPECT_NE(list_row(o.out, 12).find("QSFPDD 400G ZR"), std::string::npos);
    // Brought up for their default mode (400G, application 1) and enabled.
    EXPECT_NE(list_row(o.out, 9).find("application 1, all datapaths activated"), std::string::npos);
    EXPECT_NE(list_row(o.out, 10).find("application 1, all datapaths activated"), std::string::npos);
    EXPECT_NE(list_row(o.out, 11).find("ready (passive cable: nothing to configure)"), std::string::npos);
    // The ZR module is handed to the coherent driver; admin-up switched its
    // laser on and its datapath came up, so the DSP locks to the far end's
    // signal and no alarm stands.
    EXPECT_EQ(list_row(o.out, 12).substr(list_row(o.out, 12).find("400G  ")),
              "400G  coherent DSP, laser on, signal locked, frames aligned")
        << list_row(o.out, 12);
}

TEST(QsfpctlCard, ListColumnsAreAligned) {
    const auto o = run({"list"});
    ASSERT_EQ(o.code, 0);
    std::istringstream in(o.out);
    std::string heading;
    std::getline(in, heading);
    const std::size_t vendor_at = heading.find("VENDOR");
    const std::size_t state_at = heading.find("STATE");
    std::string line;
    while (std::getline(in, line)) {
        ASSERT_GT(line.size(), state_at) << line;
        EXPECT_EQ(line[vendor_at - 1], ' ') << line;
        EXPECT_NE(line[vendor_at], ' ') << line;
        EXPECT_NE(line[state_at], ' ') << line;
        EXPECT_EQ(line.substr(state_at - 2, 2), "  ") << line;
    }
}

TEST(QsfpctlCard, ListJsonFollowsItsSchema) {
    const auto o = run({"list", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("list", o.out), "");
    EXPECT_NE(o.out.find("\"part_number\": \"OW-100G-SR4\""), std::string::npos);
    EXPECT_NE(o.out.find("\"state\": \"empty\""), std::string::npos);
}

TEST(QsfpctlCard, SchemaRejectsWrongOutput) {
    // The validation itself can fail: a list without its cages is refused.
    EXPECT_NE(schema_errors("list", "{\"cage\": []}"), "");
    EXPECT_NE(schema_errors("read", "{\"cage\": 1, \"page\": 0, \"register\": 0, \"length\": 1, \"data\": [300]}"), "");
}

TEST(QsfpctlCard, ShowPrintsTheLibraryShowText) {
    const auto o = run({"show", "1"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("QSFP8636 EEPROM port: 1"), std::string::npos);
    EXPECT_NE(o.out.find("Vendor Name: OPTIWAVE"), std::string::npos);
    EXPECT_NE(o.out.find("Vendor Serial Number: OWQ23000004"), std::string::npos);
}

// The CMIS driver has its own show text now: no fallback banner.
TEST(QsfpctlCard, ShowOfACmisCageIsTheDriversText) {
    const auto o = run({"show", "9"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.find("whose driver has no show text yet"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("MSA Data (Upper Memory Page 11h)"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("QSFP EEPROM port: 9"), std::string::npos);
    EXPECT_NE(o.out.find("Xcvr Type: QSFP-DD"), std::string::npos);
}

TEST(QsfpctlCard, StatusPutsThresholdsAndFlagsBesideValues) {
    const auto o = run({"status", "3"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("module  temperature C  78.00"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("high alarm, high warning"), std::string::npos) << o.out;
    const auto dark = run({"status", "2"});
    ASSERT_EQ(dark.code, 0);
    EXPECT_NE(dark.out.find("lane 3  rx_power dBm   -40.00"), std::string::npos) << dark.out;
    EXPECT_NE(dark.out.find("low alarm, low warning"), std::string::npos) << dark.out;
    EXPECT_NE(dark.out.find("3     no           yes"), std::string::npos) << dark.out;  // lane 3 Rx LOS
}

TEST(QsfpctlCard, StatusOfTheTxFaultCage) {
    const auto o = run({"status", "5", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("status", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_TRUE(j["lanes"][1]["tx_fault"].get<bool>());
    EXPECT_FALSE(j["lanes"][0]["tx_fault"].get<bool>());
}

TEST(QsfpctlCard, StatusJsonOfEveryTransmittingCageFollowsTheSchema) {
    for (const char *cage : {"1", "2", "3", "6", "7"}) {
        const auto o = run({"status", cage, "--json"});
        ASSERT_EQ(o.code, 0) << cage << ": " << o.err;
        EXPECT_EQ(schema_errors("status", o.out), "") << cage;
    }
}

TEST(QsfpctlCard, StatusJsonNumbersAreTheFloatsShortestDecimals) {
    // Supply 8084h is 3.29 V in the status record's float, and the JSON says
    // 3.29, not the widened 3.2899999618530273. The high alarm 8DCCh
    // (36,300 x 100 uV) comes out of the library's float arithmetic one step
    // below 3.63f; the JSON gives that float's shortest form, not 3.63.
    const auto o = run({"status", "1", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("\"value\": 3.29\n"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("\"high_alarm\": 3.6299999,\n"), std::string::npos) << o.out;
    const auto parsed = nlohmann::json::parse(o.out);
    EXPECT_EQ(parsed["module"]["vcc"]["value"].get<double>(), 3.29);
}

TEST(QsfpctlCard, DomPrintsEveryReport) {
    const auto o = run({"dom", "2"});
    ASSERT_EQ(o.code, 0) << o.err;
    for (const char *heading : {"=== channel interrupt flags ===", "=== module monitors ===",
                                "=== channel monitors ===",
                                "=== alarm and warning monitors ===", "=== channel controls and masks ===",
                                "=== channel values against thresholds ==="}) {
        EXPECT_NE(o.out.find(heading), std::string::npos) << heading;
    }
    EXPECT_NE(o.out.find("L-RX3 LOS     \t\t\t   YES"), std::string::npos);
    const auto j = run({"dom", "2", "--json"});
    ASSERT_EQ(j.code, 0);
    EXPECT_EQ(schema_errors("dom", j.out), "");
}

TEST(QsfpctlCard, DomOfACmisCageIsNotSupportedYet) {
    const auto o = run({"dom", "9"});
    expect_one_line_error(o, qsfpctl::kExitNotSupported,
                          "cage 9: report \"channel interrupt flags\" came back empty: not supported by this "
                          "module's driver yet");
}

TEST(QsfpctlCard, DisableTurnsTheTransmittersOff) {
    const auto o = run({"disable", "1", "--lanes", "0x3"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "cage 1: lanes 0x03 disabled\ntransmitters by lane: off off on on\n");
    const auto all = run({"disable", "1", "--json"});
    ASSERT_EQ(all.code, 0);
    EXPECT_EQ(schema_errors("lanes", all.out), "");
    EXPECT_NE(all.out.find("\"tx_on\": [\n    false,\n    false,\n    false,\n    false\n  ]"), std::string::npos)
        << all.out;
}

TEST(QsfpctlCard, EnableOfACmisCageGoesThroughItsDriver) {
    const auto o = run({"enable", "10"});
    EXPECT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.err, "");
    // The coherent driver's enable turns the laser on through the DSP SDK.
    const auto zr = run({"enable", "12"});
    EXPECT_EQ(zr.code, qsfpctl::kExitOk) << zr.err;
    EXPECT_EQ(zr.out.rfind("cage 12: lanes 0xff enabled\n", 0), 0u) << zr.out;
}

TEST(QsfpctlCard, StatusOfTheCoherentCageShowsTheDspInsteadOfLaneMonitors) {
    const auto o = run({"status", "12"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("module  temperature C  51.00"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("lane 1"), std::string::npos) << o.out;  // no per-lane optical monitors
    EXPECT_NE(o.out.find("coherent DSP: module state 3, laser on, signal locked, frames aligned, Tx enabled\n"
                         "alarms: flexo 0x00000000 network 0x00000000 optical 0x00000000 module 0x00000000\n"),
              std::string::npos)
        << o.out;
    // The DSP's readings follow the module's: Tx power word 1 of page 11h
    // (-9.87 dBm), the far end's light on Rx (-13.01 dBm), and a link whose
    // error ratio the FEC corrects.
    EXPECT_NE(o.out.find("rx_total_power          dBm     -13.01    -13.01    -13.01    -13.01"), std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("tx_power                dBm     -9.87     -9.87     -9.87     -9.87"), std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("pre_fec_ber                     1.92e-05"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("uncorrected_ratio               0.00e+00"), std::string::npos) << o.out;
    const auto j = run({"status", "12", "--json"});
    ASSERT_EQ(j.code, 0) << j.err;
    EXPECT_EQ(schema_errors("status", j.out), "");
    const auto parsed = nlohmann::json::parse(j.out);
    EXPECT_TRUE(parsed["lanes"].empty());
    EXPECT_TRUE(parsed["coherent"]["laser_on"].get<bool>());
    EXPECT_EQ(parsed["coherent"]["performance"].size(), 22u);
    EXPECT_EQ(parsed["coherent"]["performance"][0]["name"], "rx_total_power");
}

TEST(QsfpctlCard, ModeIsCheckedByTheDriver) {
    const auto ok = run({"mode", "1", "10"});
    EXPECT_EQ(ok.code, 0);
    EXPECT_EQ(ok.out, "cage 1: mode 10 accepted (100G module)\n");
    expect_one_line_error(run({"mode", "1", "8"}), qsfpctl::kExitLibraryError,
                          "cage 1: mode 8 is not accepted for this 100G module");
    EXPECT_EQ(run({"mode", "5", "8"}).code, 0);  // a 40G mode on the 40G module
    expect_one_line_error(run({"mode", "9", "1"}), qsfpctl::kExitLibraryError,
                          "cage 9: mode 1 is not accepted for this 400G module");
    const auto dr4 = run({"mode", "10", "14"});  // the DR4 as 4 x 100G
    EXPECT_EQ(dr4.code, 0) << dr4.err;
    EXPECT_EQ(dr4.out, "cage 10: mode 14 accepted (400G module)\n");
}

TEST(QsfpctlCard, ModeJsonFollowsItsSchema) {
    const auto o = run({"mode", "10", "14", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("mode", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_EQ(j, nlohmann::json({{"cage", 10}, {"mode", 14}, {"accepted", true}, {"rate_gbps", 400}}));
    // A refusal stays an error line, with nothing on standard output.
    const auto refused = run({"mode", "1", "8", "--json"});
    EXPECT_EQ(refused.code, qsfpctl::kExitLibraryError);
    EXPECT_EQ(refused.out, "");
    EXPECT_NE(schema_errors("mode", "{\"cage\": 1, \"mode\": 8, \"accepted\": false, \"rate_gbps\": 100}"), "");
}

TEST(QsfpctlCard, DumpPrintsTheLibraryPageDump) {
    const auto o = run({"dump", "1"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("Page = 0, Offset = 0x00000000 :  0x11"), std::string::npos);
    EXPECT_NE(o.out.find("Page = 3, Offset = 0x000000f0"), std::string::npos);
    const auto page = run({"dump", "1", "--page", "3"});
    ASSERT_EQ(page.code, 0);
    EXPECT_NE(page.out.find("Page = 3, Offset = 0x00000080"), std::string::npos);
    EXPECT_EQ(page.out.find("Page = 0,"), std::string::npos);
    const auto cmis = run({"dump", "9"});
    ASSERT_EQ(cmis.code, 0);
    EXPECT_EQ(cmis.out.rfind("(this module's driver has no page dump yet", 0), 0u);
    EXPECT_NE(cmis.out.find("Page = 0, Offset = 0x00000080 :  0x18"), std::string::npos);
}

TEST(QsfpctlCard, ReadAnswersTheModuleBytes) {
    const qsfp::sim::CatalogueEntry *entry = qsfp::sim::find_entry("100G-SR4");
    ASSERT_NE(entry, nullptr);
    const auto o = run({"read", "1", "0", "148", "16", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("read", o.out), "");
    const auto data = nlohmann::json::parse(o.out)["data"].get<std::vector<int>>();
    ASSERT_EQ(data.size(), 16u);
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_EQ(data[i], entry->image[148 + i]) << i;  // page 00h follows lower memory in the image
    }
    const auto text = run({"read", "1", "0", "0", "3"});
    EXPECT_EQ(text.out, "0x00: 11 08 02\n");
}

TEST(QsfpctlCard, AReadAcrossRegister127GoesInTwoParts) {
    const qsfp::sim::CatalogueEntry *entry = qsfp::sim::find_entry("100G-SR4");
    ASSERT_NE(entry, nullptr);
    const auto o = run({"read", "1", "0", "120", "16", "--json"});
    ASSERT_EQ(o.code, 0) << o.err;
    const auto data = nlohmann::json::parse(o.out)["data"].get<std::vector<int>>();
    ASSERT_EQ(data.size(), 16u);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(data[i], entry->image[120 + i]) << i;  // lower memory
    for (std::size_t i = 8; i < 16; ++i) EXPECT_EQ(data[i], entry->image[120 + i]) << i;  // page 00h
    EXPECT_EQ(data[8], 0x11);  // page 00h starts with the identifier again
}

TEST(QsfpctlCard, AFlatMemoryCableHasNoStatus) {
    expect_one_line_error(run({"status", "4"}), qsfpctl::kExitNotSupported,
                          "cage 4 holds a flat-memory module (a passive cable): it has no monitors");
}

TEST(QsfpctlCard, WriteReachesTheModule) {
    const auto o = run({"write", "1", "3", "234", "2", "0x55", "0x55"});
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "cage 1: wrote 2 bytes at page 3 register 234\n");
}

TEST(QsfpctlCard, TraceShowsTheBringUp) {
    const auto o = run({"trace", "qsfp_evt", "--cage", "1"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.rfind("=== qsfp_evt (", 0), 0u);
    EXPECT_NE(o.out.find("Controller 0 Port 1: Init done"), std::string::npos);
    EXPECT_EQ(o.out.find("=== qsfp_err"), std::string::npos);
}

TEST(QsfpctlCard, BadInputGetsOneLineAndItsExitCode) {
    expect_one_line_error(run({"show", "13"}), qsfpctl::kExitNoModule, "no cage 13: this backend has cages 1-12");
    expect_one_line_error(run({"show", "0"}), qsfpctl::kExitNoModule, "no cage 0: this backend has cages 1-12");
    expect_one_line_error(run({"status", "8"}), qsfpctl::kExitNoModule, "cage 8 is empty: no module answers");
    expect_one_line_error(run({"show", "one"}), qsfpctl::kExitUsage, "cage \"one\" is not a number");
    expect_one_line_error(run({"read", "1", "0", "300", "1"}), qsfpctl::kExitUsage,
                          "register 300 is out of range 0-255");
    expect_one_line_error(run({"read", "1", "256", "128", "1"}), qsfpctl::kExitUsage, "page 256 is out of range 0-255");
    expect_one_line_error(run({"read", "1", "0", "250", "10"}), qsfpctl::kExitUsage,
                          "register 250 plus length 10 runs past register 255");
    expect_one_line_error(run({"write", "1", "3", "234", "2", "0x55"}), qsfpctl::kExitUsage,
                          "length 2 needs 2 data bytes, 1 given");
    expect_one_line_error(run({"write", "1", "3", "234", "1", "0x155"}), qsfpctl::kExitUsage,
                          "data byte 0x155 is out of range 0-255");
    expect_one_line_error(run({"disable", "1", "--lanes", "0x100"}), qsfpctl::kExitUsage,
                          "lane mask 0x100 is out of range 1-255");
    expect_one_line_error(run({"dump", "1", "--page", "x"}), qsfpctl::kExitUsage,
                          "page \"x\" is not a number (decimal or 0x hex)");
    expect_one_line_error(run({"trace", "nope"}), qsfpctl::kExitUsage,
                          "no trace buffer \"nope\": the buffers are qsfp_err, qsfp_evt, qsfp_periodic, "
                          "qsfp_port_periodic");
    expect_one_line_error(run({"frobnicate"}), qsfpctl::kExitUsage,
                          "unknown command \"frobnicate\" (see qsfpctl --help)");
    expect_one_line_error(run({"--image", "x.bin", "frobnicate", "1"}), qsfpctl::kExitUsage,
                          "unknown command \"frobnicate\" (see qsfpctl --help)");
    expect_one_line_error(run({}), qsfpctl::kExitUsage, "A subcommand is required (see qsfpctl --help)");
    expect_one_line_error(run({"list", "--frob"}), qsfpctl::kExitUsage,
                          "The following argument was not expected: --frob (see qsfpctl --help)");
    const auto missing = run({"show"});
    EXPECT_EQ(missing.code, qsfpctl::kExitUsage);
    EXPECT_EQ(missing.err, "qsfpctl: CAGE is required (see qsfpctl --help)\n");
}

TEST(QsfpctlCard, EveryCommandHasHelp) {
    for (const char *command : {"list", "show", "dom", "status", "enable", "disable", "mode", "dump", "read", "write",
                                "trace"}) {
        const auto o = run({command, "--help"});
        EXPECT_EQ(o.code, 0) << command;
        EXPECT_NE(o.out.find("Usage:"), std::string::npos) << command << ": " << o.out;
        EXPECT_EQ(o.err, "") << command;
    }
    const auto top = run({"--help"});
    EXPECT_EQ(top.code, 0);
    EXPECT_NE(top.out.find("Exit codes:"), std::string::npos);
}

}  // namespace
