// qsfpctl cdb on emulated QSFP-DD modules: the status query, a firmware
// download with run and commit landing in the module's inactive bank,
// several cages at once, the SHA-256 check before anything is sent, and the
// refusals of bad input.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

#include <qsfp/sim/cmis_map.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/line_card.h>

#include "emulated_card.h"
#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

namespace fs = std::filesystem;
using qsfp::sim::CmisModule;
using qsfpctl::test::line_count;
using qsfpctl::test::run;

constexpr std::size_t kFr4Cage = 9;
// The emulated vendor's header: 64 bytes, the version in its first four.
constexpr std::size_t kHeader = 64;

std::vector<std::uint8_t> firmware(std::size_t body, std::uint8_t major, std::uint8_t minor) {
    std::vector<std::uint8_t> bytes(kHeader + body);
    bytes[0] = major;
    bytes[1] = minor;
    for (std::size_t i = kHeader; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return bytes;
}

fs::path write_firmware(const std::string &name, const std::vector<std::uint8_t> &bytes) {
    const fs::path path = qsfpctl::test::scratch_dir("cdb_" + name) / "image.bin";
    qsfpctl::test::write_file(path, bytes);
    return path;
}

CmisModule &cmis(qsfp::sim::LineCard &card, std::size_t cage) {
    auto *module = dynamic_cast<CmisModule *>(card.cage(cage - 1).module());
    if (module == nullptr) throw std::logic_error("no CMIS module in the cage");
    return *module;
}

// Commands of the firmware download the module has taken, whatever they were.
int cdb_commands(const CmisModule &m) {
    int taken = 0;
    for (const std::uint16_t id : {qsfp::sim::cmis::kCdbQueryStatus, qsfp::sim::cmis::kCdbFirmwareFeatures,
                                   qsfp::sim::cmis::kCdbGetFirmwareInfo, qsfp::sim::cmis::kCdbStartDownload,
                                   qsfp::sim::cmis::kCdbAbortDownload, qsfp::sim::cmis::kCdbWriteBlockLpl,
                                   qsfp::sim::cmis::kCdbWriteBlockEpl, qsfp::sim::cmis::kCdbCompleteDownload,
                                   qsfp::sim::cmis::kCdbRunImage, qsfp::sim::cmis::kCdbCommitImage}) {
        taken += m.cdb_commands_taken(id);
    }
    return taken;
}

qsfpctl::RunOptions on(const std::shared_ptr<qsfp::sim::LineCard> &card) {
    qsfpctl::RunOptions options;
    options.card = card;
    return options;
}

void expect_one_line_error(const qsfpctl::test::Outcome &o, int code, const std::string &message) {
    EXPECT_EQ(o.code, code) << o.err;
    EXPECT_EQ(o.err, "qsfpctl: " + message + "\n");
    EXPECT_EQ(line_count(o.err), 1);
}

TEST(QsfpctlCdb, QueryGivesTheLibrarysTexts) {
    const auto o = run({"cdb", "9", "query"});
    EXPECT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.out, "cage 9: Firmware Download Feature locked. Success, CDB query. CDB operation SUCCESS.\n");
    EXPECT_EQ(o.err, "");
}

TEST(QsfpctlCdb, QueryJsonFollowsItsSchema) {
    const auto o = run({"cdb", "9,12", "query", "--json"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(qsfpctl::test::schema_errors("cdb", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_EQ(j["action"], "query");
    ASSERT_EQ(j["cages"].size(), 2u);
    EXPECT_EQ(j["cages"][0], nlohmann::json({{"cage", 9}, {"ok", true}, {"rc", 0},
                                             {"text", "Firmware Download Feature locked. Success, CDB query. "
                                                      "CDB operation SUCCESS."}}));
    EXPECT_EQ(j["cages"][1]["cage"], 12);
    EXPECT_EQ(j["cages"][1]["text"], "Image A: 2.3.0 running committed\nImage B: 2.2.0");
}

TEST(QsfpctlCdb, CoherentQueryNamesTheCageOnEveryLine) {
    // The coherent SDK answers the firmware information as lines of its own;
    // the version numbers keep their dots.
    const auto o = run({"cdb", "12", "query"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.out, "cage 12: Image A: 2.3.0 running committed\ncage 12: Image B: 2.2.0\n");
}

TEST(QsfpctlCdb, DownloadJsonHasEveryCagesResultAndNoProgress) {
    auto card = std::make_shared<qsfp::sim::LineCard>(2);
    for (std::size_t i = 0; i < 2; ++i) ASSERT_TRUE(card->insert(i, "400G-FR4"));
    cmis(*card, 2).set_cdb_fault({CmisModule::CdbFault::Kind::fail, qsfp::sim::cmis::kCdbStartDownload, 0x42});
    const std::vector<std::uint8_t> image = firmware(1024, 6, 1);
    const auto o = run({"cdb", "1-2", "download", write_firmware("json", image).string(), "--json"}, on(card));
    EXPECT_EQ(o.code, qsfpctl::kExitLibraryError);
    EXPECT_EQ(qsfpctl::test::schema_errors("cdb", o.out), "") << o.out;
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_EQ(j["action"], "download");
    EXPECT_FALSE(j["run"].get<bool>());
    ASSERT_EQ(j["cages"].size(), 2u);
    EXPECT_TRUE(j["cages"][0]["ok"].get<bool>());
    EXPECT_EQ(j["cages"][0]["text"], "Last epl block download success. CDB operation SUCCESS.");
    EXPECT_FALSE(j["cages"][1]["ok"].get<bool>());
    EXPECT_NE(j["cages"][1]["rc"], 0);
    EXPECT_NE(j["cages"][1]["text"].get<std::string>().find("Unable to send cdb start download."), std::string::npos);
    // The failing cage still has its one error line.
    EXPECT_EQ(line_count(o.err), 1);
    EXPECT_EQ(o.err.rfind("qsfpctl: cage 2: cdb download failed: rc ", 0), 0u) << o.err;
    EXPECT_EQ(cmis(*card, 1).downloaded_image(), image);
}

TEST(QsfpctlCdb, DownloadRunCommitLandsInTheModule) {
    const auto card = qsfpctl::make_emulated_card();
    CmisModule &m = cmis(*card, kFr4Cage);
    const CmisModule::Bank before = m.running_image();
    const std::vector<std::uint8_t> image = firmware(3000, 7, 2);
    const fs::path path = write_firmware("run_commit", image);
    const auto o = run({"cdb", "9", "download", path.string(), "--run", "--commit"}, on(card));
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.err, "");
    // Plain lines: the 0% line first, the done line before the library's texts.
    std::istringstream lines(o.out);
    std::string first;
    std::getline(lines, first);
    EXPECT_EQ(first, "cage 9 [..............................] 0% 0/3064 bytes");
    EXPECT_NE(o.out.find("cage 9 [##############################] 100% 3000/3064 bytes done\n"
                         "cage 9: Last epl block download success. CDB command run executed. "
                         "CDB command commit executed. CDB operation SUCCESS.\n"),
              std::string::npos)
        << o.out;
    EXPECT_EQ(o.out.find('\r'), std::string::npos);
    const CmisModule::Bank after = m.running_image();
    EXPECT_NE(after, before);
    EXPECT_EQ(m.committed_image(), after);
    const CmisModule::FirmwareImage fw = m.firmware_image(after);
    EXPECT_TRUE(fw.valid);
    EXPECT_EQ(fw.contents, image);
    EXPECT_EQ(fw.version.major, 7);
    EXPECT_EQ(fw.version.minor, 2);
}

TEST(QsfpctlCdb, DownloadOnlyLeavesTheRunningImage) {
    const auto card = qsfpctl::make_emulated_card();
    CmisModule &m = cmis(*card, kFr4Cage);
    const CmisModule::Bank before = m.running_image();
    const std::vector<std::uint8_t> image = firmware(2100, 3, 1);
    const auto o = run({"cdb", "9", "download", write_firmware("only", image).string()}, on(card));
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_NE(o.out.find("cage 9: Last epl block download success. CDB operation SUCCESS.\n"), std::string::npos);
    EXPECT_EQ(m.running_image(), before);
    EXPECT_EQ(m.downloaded_image(), image);
    EXPECT_EQ(m.cdb_commands_taken(qsfp::sim::cmis::kCdbRunImage), 0);
}

TEST(QsfpctlCdb, SeveralCagesDownloadInParallel) {
    // A card of four FR4 modules, each coming back from a Run at once.
    auto card = std::make_shared<qsfp::sim::LineCard>(4);
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(card->insert(i, "400G-FR4"));
        cmis(*card, i + 1).set_cdb_reset_time(std::chrono::nanoseconds(0));
    }
    const std::vector<std::uint8_t> image = firmware(4096, 9, 9);
    const auto o = run({"cdb", "1-4", "download", write_firmware("parallel", image).string(), "--run"}, on(card));
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    for (std::size_t cage = 1; cage <= 4; ++cage) {
        SCOPED_TRACE(cage);
        const std::string c = "cage " + std::to_string(cage);
        EXPECT_NE(o.out.find(c + " [..............................] 0% 0/4160 bytes\n"), std::string::npos) << o.out;
        EXPECT_NE(o.out.find(c + " [##############################] 100% 4096/4160 bytes done\n"), std::string::npos);
        EXPECT_NE(o.out.find(c + ": Last epl block download success. CDB command run executed. CDB operation SUCCESS.\n"),
                  std::string::npos);
        CmisModule &m = cmis(*card, cage);
        EXPECT_EQ(m.firmware_image(m.running_image()).contents, image);
        EXPECT_EQ(m.cdb_commands_taken(qsfp::sim::cmis::kCdbRunImage), 1);
    }
}

TEST(QsfpctlCdb, OneFailingCageDoesNotStopTheOthers) {
    auto card = std::make_shared<qsfp::sim::LineCard>(2);
    for (std::size_t i = 0; i < 2; ++i) ASSERT_TRUE(card->insert(i, "400G-FR4"));
    // Cage 2's module refuses its Start Download.
    cmis(*card, 2).set_cdb_fault({CmisModule::CdbFault::Kind::fail, qsfp::sim::cmis::kCdbStartDownload, 0x42});
    const std::vector<std::uint8_t> image = firmware(2048, 5, 0);
    const auto o = run({"cdb", "1-2", "download", write_firmware("one_fails", image).string()}, on(card));
    EXPECT_EQ(o.code, qsfpctl::kExitLibraryError);
    EXPECT_NE(o.out.find("cage 1: Last epl block download success. CDB operation SUCCESS.\n"), std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("cage 2 [##############################] 100% 0/2112 bytes FAILED\n"), std::string::npos)
        << o.out;
    EXPECT_EQ(line_count(o.err), 1);
    EXPECT_EQ(o.err.rfind("qsfpctl: cage 2: cdb download failed: rc ", 0), 0u) << o.err;
    EXPECT_NE(o.err.find("Unable to send cdb start download."), std::string::npos) << o.err;
    EXPECT_EQ(cmis(*card, 1).downloaded_image(), image);
    EXPECT_EQ(cmis(*card, 2).cdb_commands_taken(qsfp::sim::cmis::kCdbWriteBlockEpl), 0);
}

// The digest as coreutils' sha256sum computes it, independently of the tool.
std::string sha256sum(const fs::path &path) { return qsfpctl::test::shell("sha256sum " + path.string()).out.substr(0, 64); }

TEST(QsfpctlCdb, MatchingSha256LetsTheDownloadGo) {
    const auto card = qsfpctl::make_emulated_card();
    const std::vector<std::uint8_t> image = firmware(700, 4, 4);
    const fs::path path = write_firmware("sha_ok", image);
    std::string digest = sha256sum(path);
    ASSERT_EQ(digest.size(), 64u);
    // Operators paste digests in either case.
    for (char &c : digest) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const auto o = run({"cdb", "9", "download", path.string(), "--sha256", digest}, on(card));
    EXPECT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(cmis(*card, kFr4Cage).downloaded_image(), image);
}

TEST(QsfpctlCdb, KnownSha256OfAKnownFile) {
    // "abc" padded into a file: its SHA-256 is the well-known test vector.
    const fs::path path = qsfpctl::test::scratch_dir("cdb_abc") / "abc.bin";
    qsfpctl::test::write_text(path, "abc");
    const auto card = qsfpctl::make_emulated_card();
    const auto o = run({"cdb", "9", "download", path.string(), "--sha256",
                        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
                       on(card));
    // The digest matches, so the image goes to the module, which is too short
    // for the emulated vendor's 64-byte header: the library's refusal.
    EXPECT_EQ(o.code, qsfpctl::kExitLibraryError) << o.err;
    EXPECT_NE(o.err.find("Unable to read vendor payload."), std::string::npos) << o.err;
    EXPECT_EQ(line_count(o.err), 1);
}

TEST(QsfpctlCdb, Sha256MismatchSendsNothing) {
    const auto card = qsfpctl::make_emulated_card();
    const fs::path path = write_firmware("sha_bad", firmware(512, 1, 1));
    const std::string wrong(64, '0');
    const auto o = run({"cdb", "9", "download", path.string(), "--run", "--sha256", wrong}, on(card));
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(line_count(o.err), 1);
    EXPECT_NE(o.err.find("has SHA-256 "), std::string::npos);
    EXPECT_NE(o.err.find(", not " + wrong + ": nothing sent\n"), std::string::npos) << o.err;
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(cdb_commands(cmis(*card, kFr4Cage)), 0);
}

TEST(QsfpctlCdb, BadInputIsRefusedBeforeAnythingIsSent) {
    const auto card = qsfpctl::make_emulated_card();
    const fs::path dir = qsfpctl::test::scratch_dir("cdb_bad");
    const fs::path empty = dir / "empty.bin";
    qsfpctl::test::write_file(empty, {});
    const std::string good = write_firmware("bad_good", firmware(256, 1, 0)).string();
    expect_one_line_error(run({"cdb", "9", "download", (dir / "missing.bin").string()}, on(card)),
                          qsfpctl::kExitBackend, "firmware image " + (dir / "missing.bin").string() + " does not exist");
    expect_one_line_error(run({"cdb", "9", "download", empty.string()}, on(card)), qsfpctl::kExitBackend,
                          "firmware image " + empty.string() + " is empty");
    expect_one_line_error(run({"cdb", "9", "download"}, on(card)), qsfpctl::kExitUsage,
                          "cdb download needs the firmware image FILE");
    expect_one_line_error(run({"cdb", "9", "download", good, "--commit"}, on(card)), qsfpctl::kExitUsage,
                          "--commit needs --run: only the running image can be committed");
    expect_one_line_error(run({"cdb", "9", "download", good, "--sha256", "xyz"}, on(card)), qsfpctl::kExitUsage,
                          "--sha256 \"xyz\" is not 64 hex digits");
    expect_one_line_error(run({"cdb", "9", "query", good}, on(card)), qsfpctl::kExitUsage,
                          "cdb query takes no FILE, --run, --commit or --sha256");
    expect_one_line_error(run({"cdb", "13", "query"}, on(card)), qsfpctl::kExitNoModule,
                          "no cage 13: this backend has cages 1-12");
    expect_one_line_error(run({"cdb", "10-9", "query"}, on(card)), qsfpctl::kExitUsage,
                          "cage range \"10-9\" runs backwards");
    expect_one_line_error(run({"cdb", "8", "query"}, on(card)), qsfpctl::kExitNoModule,
                          "cage 8 is empty: no module answers");
    expect_one_line_error(run({"cdb", "1", "query"}, on(card)), qsfpctl::kExitNotSupported,
                          "cage 1: CDB is a CMIS feature; this module's driver is sff8636");
    // A list with one SFF-8636 cage: refused before any cage starts.
    expect_one_line_error(run({"cdb", "9,1", "download", good}, on(card)), qsfpctl::kExitNotSupported,
                          "cage 1: CDB is a CMIS feature; this module's driver is sff8636");
    const auto unknown = run({"cdb", "9", "erase"}, on(card));
    EXPECT_EQ(unknown.code, qsfpctl::kExitUsage);
    EXPECT_EQ(line_count(unknown.err), 1);
    EXPECT_EQ(cdb_commands(cmis(*card, kFr4Cage)), 0);
}

}  // namespace
