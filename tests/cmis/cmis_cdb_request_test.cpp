// CDB requests that end before a command reaches the module: the dispatch
// table's refusals, a missing, unopenable or empty image file, the progress
// texts in a response buffer that fills up, and the debug log's records.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

struct Response {
    char text[512] = {};
    std::uint32_t length = 0;
    std::string str() const { return std::string(text, length); }
};

cdb_cmd_info request(std::uint32_t command, const char *file, Response &r, std::uint32_t capacity = 512) {
    return cdb_cmd_info{command, file, r.text, capacity, &r.length};
}

class CmisCdbRequestTest : public CmisPortTest {};

TEST_F(CmisCdbRequestTest, NullRequestIsRefused) {
    qsfp_port_ctx *port = make("400G-FR4");
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Invalid input cdb_cmd_info null\n"}));
    EXPECT_TRUE(writes().empty());
}

TEST_F(CmisCdbRequestTest, CommandsOutsideTheTableSendNothing) {
    qsfp_port_ctx *port = make("400G-FR4");
    for (std::uint32_t command : {1U, 200U, 399U, 408U, 1000U, 0xFFFFFFFFU}) {
        Response r;
        cdb_cmd_info req = request(command, nullptr, r);
        EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &req), QSFP_ERR_INVALID) << command;
        EXPECT_EQ(r.str(), "CDB operation FAILED.") << command;
    }
    EXPECT_TRUE(cage().log().empty());  // not even a read
}

TEST_F(CmisCdbRequestTest, DownloadWithoutAFileName) {
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    cdb_cmd_info req = request(QSFP_DD_CDB_DOWNLOAD, nullptr, r);
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &req), QSFP_ERR_INVALID);
    EXPECT_EQ(r.str(), "File name unknown.CDB operation FAILED.");
    EXPECT_EQ(err(), prefixed({"File name unknown cmd-id:400\n"}));
    EXPECT_TRUE(cage().log().empty());
}

TEST_F(CmisCdbRequestTest, DownloadOfAFileThatDoesNotOpen) {
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    cdb_cmd_info req = request(QSFP_DD_CDB_DOWNLOAD_RUN, "/nonexistent/image.bin", r);
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &req), QSFP_ERR_INVALID);
    EXPECT_EQ(r.str(), "File open error.CDB operation FAILED.");
    // The same words as a missing name, on purpose.
    EXPECT_EQ(err(), prefixed({"File name unknown cmd-id:404\n"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: cdb cmd execute-id: 404,filename /nonexistent/image.bin\n"));
    EXPECT_TRUE(cage().log().empty());
}

TEST_F(CmisCdbRequestTest, DownloadOfAnEmptyFile) {
    qsfp_port_ctx *port = make("400G-FR4");
    const std::string path = ::testing::TempDir() + "cdb_empty_image.bin";
    std::ofstream(path, std::ios::binary).close();
    Response r;
    cdb_cmd_info req = request(QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT, path.c_str(), r);
    const std::size_t fds = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                          std::filesystem::directory_iterator{});
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &req), QSFP_ERR_INVALID);
    EXPECT_EQ(static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                                     std::filesystem::directory_iterator{})),
              fds);  // the empty file was opened and is closed again
    EXPECT_EQ(r.str(), "Invalid image size.CDB operation FAILED.");
    EXPECT_EQ(err(), prefixed({"Invalid image size cmd-id:406\n"}));
    EXPECT_TRUE(cage().log().empty());
    std::filesystem::remove(path);
}

TEST_F(CmisCdbRequestTest, AFullResponseBufferDropsFurtherTextsWithoutError) {
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    // "File name unknown." (18) fits below 20; "CDB operation FAILED." does not.
    cdb_cmd_info req = request(QSFP_DD_CDB_DOWNLOAD, nullptr, r, 20);
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &req), QSFP_ERR_INVALID);
    EXPECT_EQ(r.str(), "File name unknown.");
    EXPECT_EQ(r.length, 18U);
    // Exactly full: a text must leave room below the capacity.
    Response exact;
    cdb_cmd_info req2 = request(QSFP_DD_CDB_DOWNLOAD, nullptr, exact, 18);
    qsfp_module_cdb_cmd_execute(port, &req2);
    EXPECT_EQ(exact.length, 0U);
    // Without a buffer or a length nothing is written, and nothing fails.
    cdb_cmd_info bare{QSFP_DD_CDB_DOWNLOAD, nullptr, nullptr, 0, nullptr};
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &bare), QSFP_ERR_INVALID);
}

TEST_F(CmisCdbRequestTest, ProgressIsTracedAndLoggedAsADateLineAndAMessageLine) {
    // Cage 41 (port 42): records of this test are told from any other's by
    // their port number.
    insert_cmis("400G-FR4", 41);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT, 0, QSFP_OK, 41);
    Response r;
    cdb_cmd_info req = request(QSFP_DD_CDB_DOWNLOAD, nullptr, r);
    qsfp_module_cdb_cmd_execute(port, &req);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 42: cdb - File name unknown.\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 42: cdb - CDB operation FAILED.\n"));
    std::ifstream log("/tmp/cdb_cmd.debug");
    ASSERT_TRUE(log.good());
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    // The last two records of port 42: "usec-N:<date>" (the date text ends in
    // its own newline), then " Port 42 <text>" ended by the message's newline.
    std::vector<std::size_t> mine;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].rfind(" Port 42 ", 0) == 0) mine.push_back(i);
    }
    ASSERT_GE(mine.size(), 2U);
    const std::size_t a = mine[mine.size() - 2];
    const std::size_t b = mine[mine.size() - 1];
    EXPECT_EQ(lines[a], " Port 42 File name unknown.");
    EXPECT_EQ(lines[b], " Port 42 CDB operation FAILED.");
    for (std::size_t i : {a, b}) {
        ASSERT_GE(i, 1U);
        const std::string &date = lines[i - 1];
        EXPECT_EQ(date.rfind("usec-", 0), 0U) << date;
        // "usec-123456:Mon Nov 23 05:51:44 2026": the ctime_r date after the colon.
        const std::size_t colon = date.find(':');
        ASSERT_NE(colon, std::string::npos);
        EXPECT_EQ(date.size() - colon - 1, 24U) << date;
    }
}

}  // namespace
}  // namespace qsfp::test
