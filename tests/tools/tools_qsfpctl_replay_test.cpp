// qsfpctl --record and --replay: a run's bus transactions as JSON lines, and
// a run answered from them gives the same output; a log that is malformed,
// or that the run leaves, ends in one line naming the log line.
#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

namespace fs = std::filesystem;
using qsfpctl::test::line_count;
using qsfpctl::test::run;

const fs::path kImage = fs::path(QSFP_TEST_DATA_DIR) / "eeprom" / "sff8636_3M-Company_9QA0-111-12-1.00_1.bin";

std::vector<std::string> lines_of(const fs::path &path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void write_lines(const fs::path &path, const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) text += line + "\n";
    qsfpctl::test::write_text(path, text);
}

void expect_one_line_error(const qsfpctl::test::Outcome &o, int code, const std::string &message) {
    EXPECT_EQ(o.code, code) << o.err;
    EXPECT_EQ(o.err, "qsfpctl: " + message + "\n");
    EXPECT_EQ(line_count(o.err), 1);
}

TEST(QsfpctlReplay, RecordedShowOfTheCardReplaysIdentically) {
    const fs::path log = qsfpctl::test::scratch_dir("replay_card") / "show.jsonl";
    const auto recorded = run({"--record", log.string(), "show", "2"});
    ASSERT_EQ(recorded.code, qsfpctl::kExitOk) << recorded.err;
    EXPECT_EQ(recorded.out, run({"show", "2"}).out);  // recording changes nothing
    const auto replayed = run({"--replay", log.string(), "show", "2"});
    EXPECT_EQ(replayed.code, qsfpctl::kExitOk) << replayed.err;
    EXPECT_EQ(replayed.err, "");
    EXPECT_EQ(replayed.out, recorded.out);
}

TEST(QsfpctlReplay, RecordedShowOfAQsfpDdReplaysIdentically) {
    const fs::path log = qsfpctl::test::scratch_dir("replay_dd") / "show.jsonl";
    const auto recorded = run({"--record", log.string(), "show", "9"});
    ASSERT_EQ(recorded.code, qsfpctl::kExitOk) << recorded.err;
    const auto replayed = run({"--replay", log.string(), "show", "9"});
    EXPECT_EQ(replayed.code, qsfpctl::kExitOk) << replayed.err;
    EXPECT_EQ(replayed.out, recorded.out);
}

TEST(QsfpctlReplay, RecordedShowOfAnImageReplaysIdentically) {
    const fs::path log = qsfpctl::test::scratch_dir("replay_image") / "show.jsonl";
    const auto recorded = run({"--record", log.string(), "--image", kImage.string(), "show", "1"});
    ASSERT_EQ(recorded.code, qsfpctl::kExitOk) << recorded.err;
    const auto replayed = run({"--replay", log.string(), "show", "1"});
    EXPECT_EQ(replayed.code, qsfpctl::kExitOk) << replayed.err;
    EXPECT_EQ(replayed.out, recorded.out);
    // The image's cage line says how it was reached: direct pages, read-only.
    const nlohmann::json cage = nlohmann::json::parse(lines_of(log).front());
    EXPECT_EQ(cage["record"], "cage");
    EXPECT_EQ(cage["backend"], "image " + kImage.string());
    EXPECT_EQ(cage["direct_page"], true);
    EXPECT_EQ(cage["writable"], false);
}

TEST(QsfpctlReplay, EveryAccessIsOneLineWithItsFields) {
    const fs::path log = qsfpctl::test::scratch_dir("replay_fields") / "read.jsonl";
    ASSERT_EQ(run({"--record", log.string(), "read", "1", "0", "0", "3"}).code, qsfpctl::kExitOk);
    const std::vector<std::string> lines = lines_of(log);
    ASSERT_GT(lines.size(), 12u);
    int cages = 0;
    bool identifier_read = false;
    for (const std::string &line : lines) {
        const nlohmann::json j = nlohmann::json::parse(line);
        if (j["record"] == "cage") {
            ++cages;
            continue;
        }
        for (const char *field : {"cage", "time_us", "direction", "page", "register", "length", "bytes", "result"}) {
            EXPECT_TRUE(j.contains(field)) << field << " in " << line;
        }
        EXPECT_EQ(j["cage"], 1);  // only cage 1 was opened
        if (j["direction"] == "read" && j["register"] == 0 && j["length"] == 3 && j["result"] == 0) {
            // QSFP28 (11h), its revision and status bytes, as the read command prints them.
            EXPECT_EQ(j["bytes"].get<std::string>().substr(0, 2), "11");
            identifier_read = true;
        }
    }
    EXPECT_EQ(cages, 12);
    EXPECT_TRUE(identifier_read);
}

TEST(QsfpctlReplay, ARunThatLeavesTheLogStopsWithTheLogLine) {
    const fs::path dir = qsfpctl::test::scratch_dir("replay_diverge");
    const fs::path log = dir / "show1.jsonl";
    ASSERT_EQ(run({"--record", log.string(), "show", "1"}).code, qsfpctl::kExitOk);
    // Another cage than the one recorded: nothing logged for it.
    expect_one_line_error(run({"--replay", log.string(), "show", "2"}), qsfpctl::kExitBackend,
                          "replay log " + log.string() +
                              ": cage 2 has no more accesses, the run made a read of page 0 register 127 length 1");
    // A logged read changed into a write: the first access already differs.
    std::vector<std::string> lines = lines_of(log);
    std::size_t first_access = 0;
    while (lines[first_access].find("\"record\":\"access\"") == std::string::npos) ++first_access;
    nlohmann::json changed = nlohmann::json::parse(lines[first_access]);
    const std::string original = changed["direction"];
    changed["direction"] = original == "read" ? "write" : "read";
    lines[first_access] = changed.dump();
    const fs::path edited = dir / "edited.jsonl";
    write_lines(edited, lines);
    const auto o = run({"--replay", edited.string(), "show", "1"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(line_count(o.err), 1);
    EXPECT_EQ(o.err.rfind("qsfpctl: replay log " + edited.string() + " line " + std::to_string(first_access + 1) +
                              ": the log has a " + changed["direction"].get<std::string>(),
                          0),
              0u)
        << o.err;
}

TEST(QsfpctlReplay, MalformedLogsAreRefusedWithTheLine) {
    const fs::path dir = qsfpctl::test::scratch_dir("replay_malformed");
    const fs::path good = dir / "good.jsonl";
    ASSERT_EQ(run({"--record", good.string(), "--image", kImage.string(), "show", "1"}).code, qsfpctl::kExitOk);
    const std::vector<std::string> lines = lines_of(good);
    ASSERT_GT(lines.size(), 3u);
    struct Case {
        std::size_t line;  // 1-based line replaced
        std::string text;
        std::string error;
    };
    const std::string access = R"({"record":"access","cage":1,"time_us":0,"direction":"read","page":0,"register":0,"length":2,)";
    const std::vector<Case> cases = {
        {2, "{not json", "not a JSON object"},
        {2, R"({"record":"access","cage":1})", "field \"time_us\" missing or of the wrong type"},
        {2, access + R"("bytes":"zz11","result":0})", "bytes \"zz11\" are not hex pairs"},
        {2, access + R"("bytes":"110","result":0})", "bytes \"110\" are not hex pairs"},
        {2, access + R"("bytes":"112233","result":0})", "bytes hold 3 bytes, length says 2"},
        {2, access + R"("bytes":"","result":0})", "a read that succeeded must hold its bytes"},
        {2, R"({"record":"access","cage":1,"time_us":0,"direction":"sideways","page":0,"register":0,"length":1,"bytes":"11","result":0})",
         "unknown direction \"sideways\""},
        {2, R"({"record":"access","cage":4,"time_us":0,"direction":"read","page":0,"register":0,"length":1,"bytes":"11","result":0})",
         "access of cage 4, which has no cage line before it"},
        {1, R"({"record":"cage","cage":2,"backend":"x","direct_page":true,"writable":false,"bring_up":false})",
         "cage 2 out of order (expected cage 1)"},
        {2, R"({"record":"tape","cage":1})", "unknown record \"tape\""},
        {2, "[1,2,3]", "not a log record"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        std::vector<std::string> edited = lines;
        edited[c.line - 1] = c.text;
        const fs::path path = dir / "bad.jsonl";
        write_lines(path, edited);
        const auto o = run({"--replay", path.string(), "show", "1"});
        expect_one_line_error(o, qsfpctl::kExitBackend,
                              "replay log " + path.string() + " line " + std::to_string(c.line) + ": " + c.error);
        EXPECT_EQ(o.out, "");
    }
}

TEST(QsfpctlReplay, RefusalsOfTheOptions) {
    const fs::path dir = qsfpctl::test::scratch_dir("replay_options");
    expect_one_line_error(run({"--replay", (dir / "missing.jsonl").string(), "list"}), qsfpctl::kExitBackend,
                          "replay log " + (dir / "missing.jsonl").string() +
                              " cannot be read: No such file or directory");
    qsfpctl::test::write_text(dir / "empty.jsonl", "");
    expect_one_line_error(run({"--replay", (dir / "empty.jsonl").string(), "list"}), qsfpctl::kExitBackend,
                          "replay log " + (dir / "empty.jsonl").string() +
                              " holds no cage line: not a qsfpctl --record log");
    expect_one_line_error(run({"--replay", (dir / "empty.jsonl").string(), "--image", kImage.string(), "list"}),
                          qsfpctl::kExitUsage,
                          "--replay answers from its log alone: no --image, --sysfs or --i2c with it");
    const std::string unwritable = (dir / "no" / "dir" / "log.jsonl").string();
    expect_one_line_error(run({"--record", unwritable, "list"}), qsfpctl::kExitBackend,
                          "cannot write the record log " + unwritable + ": No such file or directory");
}

}  // namespace
