// CDB through the emulated module's CDB engine: the status query, firmware
// downloads of whole and partial block counts run and committed into the
// inactive bank, run and commit alone, and the failure paths with their
// progress texts, traces and codes, the image file closed on every path.
#include <dirent.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cmis/cdb.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

using namespace std::chrono_literals;
using Bank = sim::CmisModule::Bank;

constexpr std::uint32_t kHeader = sim::cdb::kDefaultStartPayloadSize;  // the vendor header the module asks for
constexpr std::uint32_t kBlock = 2048;

struct Response {
    std::vector<char> text = std::vector<char>(64 * 1024);
    std::uint32_t length = 0;
    std::string str() const { return std::string(text.data(), length); }
};

std::size_t open_descriptors() {
    std::size_t n = 0;
    for ([[maybe_unused]] const auto &e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
    return n;
}

// An image file as the emulated vendor makes them: a vendor header whose
// first four bytes are the version (major, minor, build), then the body.
std::vector<std::uint8_t> image_bytes(std::uint32_t size, std::uint8_t major, std::uint8_t minor, std::uint16_t build) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint32_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    bytes[0] = major;
    bytes[1] = minor;
    bytes[2] = static_cast<std::uint8_t>(build >> 8);
    bytes[3] = static_cast<std::uint8_t>(build);
    return bytes;
}

class CmisCdbTest : public CmisPortTest {
protected:
    void TearDown() override {
        for (const std::string &f : files_) std::filesystem::remove(f);
        CmisPortTest::TearDown();
    }
    std::string write_image(const std::vector<std::uint8_t> &bytes) {
        const std::string path = ::testing::TempDir() + "cdb_image_" + std::to_string(files_.size()) + "_" +
                                 std::to_string(::getpid()) + ".bin";
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(bytes.data()),
                                                    static_cast<std::streamsize>(bytes.size()));
        files_.push_back(path);
        return path;
    }
    // A module that comes back from the reset of a Run at once: the driver
    // polls the completion flag straight after the command and takes a
    // module that does not answer as a failure.
    qsfp_port_ctx *make_instant_reset(std::string_view name) {
        qsfp_port_ctx *port = make(name);
        module().set_cdb_reset_time(0ns);
        return port;
    }
    std::uint32_t execute(qsfp_port_ctx *port, std::uint32_t command, const char *file, Response &r) {
        cdb_cmd_info req{command, file, r.text.data(), static_cast<std::uint32_t>(r.text.size()), &r.length};
        return qsfp_module_cdb_cmd_execute(port, &req);
    }
    // Pages written by the host, in order of first write, for one EPL block.
    std::vector<std::uint32_t> epl_pages_written() {
        std::vector<std::uint32_t> pages;
        for (const auto &t : data_writes()) {
            if (t.page >= 0xA0 && t.page <= 0xAF && (pages.empty() || pages.back() != t.page)) pages.push_back(t.page);
        }
        return pages;
    }
    std::vector<std::string> files_;
};

// The progress texts of a download that goes through run and commit.
std::string download_texts(bool run, bool commit) {
    std::string s = "Last epl block download success.";
    if (run) s += "CDB command run executed.";
    if (commit) s += "CDB command commit executed.";
    return s + "CDB operation SUCCESS.";
}

TEST_F(CmisCdbTest, StatusQuery) {
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_QUERY_STATUS, nullptr, r), QSFP_OK) << r.str();
    EXPECT_EQ(module().cdb_commands_taken(cmis::cdb::kQueryStatus), 1);
    EXPECT_NE(r.str().find("Success, CDB query.CDB operation SUCCESS."), std::string::npos) << r.str();
}

TEST_F(CmisCdbTest, FullDownloadOfOneMebibyteRunAndCommit) {
    qsfp_port_ctx *port = make_instant_reset("400G-FR4");
    sim::CmisModule &m = module();
    const Bank before = m.running_image();
    const std::vector<std::uint8_t> image = image_bytes(1u << 20, 2, 7, 0x0123);
    const std::string path = write_image(image);
    const std::size_t fds = open_descriptors();
    Response r;
    ASSERT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT, path.c_str(), r), QSFP_OK) << r.str() << "\n"
                                                                                        << err().back();
    EXPECT_EQ(open_descriptors(), fds);
    EXPECT_EQ(r.str(), download_texts(true, true));
    const Bank after = m.running_image();
    EXPECT_NE(after, before);
    EXPECT_EQ(m.committed_image(), after);
    const sim::CmisModule::FirmwareImage fw = m.firmware_image(after);
    EXPECT_TRUE(fw.valid);
    EXPECT_EQ(fw.contents, image);
    EXPECT_EQ(fw.version, (sim::CmisModule::FirmwareVersion{2, 7, 0x0123}));
    // (1 MiB - 64) bytes: 511 full blocks and one of 1984.
    EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kWriteEplBlock), 512);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: firmware download-run-cmt success cmd-id:406\n"));
}

TEST_F(CmisCdbTest, ImageOfWholeBlocksSendsNoShortBlock) {
    qsfp_port_ctx *port = make_instant_reset("400G-FR4");
    const std::vector<std::uint8_t> image = image_bytes(kHeader + 8 * kBlock, 3, 1, 9);
    Response r;
    ASSERT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT, write_image(image).c_str(), r), QSFP_OK) << r.str();
    EXPECT_EQ(module().cdb_commands_taken(cmis::cdb::kWriteEplBlock), 8);
    EXPECT_EQ(module().firmware_image(module().running_image()).contents, image);
}

TEST_F(CmisCdbTest, ShortLastBlockOf1024BytesFillsPagesA0ToA7) {
    qsfp_port_ctx *port = make("400G-FR4");
    const std::vector<std::uint8_t> image = image_bytes(kHeader + 1024, 3, 2, 1);
    Response r;
    ASSERT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD, write_image(image).c_str(), r), QSFP_OK) << r.str();
    EXPECT_EQ(r.str(), download_texts(false, false));
    EXPECT_EQ(epl_pages_written(), (std::vector<std::uint32_t>{0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7}));
    // Download only: nothing runs, the download is complete in the inactive bank.
    EXPECT_EQ(module().cdb_commands_taken(cmis::cdb::kRunImage), 0);
    EXPECT_EQ(module().downloaded_image(), image);
    // Every write is a one-byte access.
    for (const auto &t : data_writes()) EXPECT_EQ(t.len, 1U);
}

TEST_F(CmisCdbTest, DebugLogRecordsEachEplBlock) {
    // Cage 43 (port 44): this test's records are told apart by the port.
    insert_cmis("400G-FR4", 43);
    qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT, 0, QSFP_OK, 43);
    Response r;
    ASSERT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD, write_image(image_bytes(kHeader + kBlock + 300, 1, 2, 3)).c_str(), r),
              QSFP_OK);
    std::ifstream log("/tmp/cdb_cmd.debug");
    std::vector<std::string> lines;
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    std::vector<std::string> blocks;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (lines[i].find("Port 44, epl_blk_addr") != std::string::npos) {
            // Each record's date line; after a message logged without a line end
            // (the "status success set" records) it follows on that line.
            EXPECT_NE(lines[i - 1].find("usec-"), std::string::npos) << lines[i - 1];
            blocks.push_back(lines[i]);
        }
    }
    ASSERT_GE(blocks.size(), 4U);
    const std::vector<std::string> last(blocks.end() - 4, blocks.end());
    EXPECT_EQ(last, (std::vector<std::string>{" [Start] Port 44, epl_blk_addr 0x00000000, data_len 0x800",
                                              " [End] Port 44, epl_blk_addr 0x00000000, data_len 0x800",
                                              " [Start] Port 44, epl_blk_addr 0x00000800, data_len 0x12c",
                                              " [End] Port 44, epl_blk_addr 0x00000800, data_len 0x12c"}));
}

TEST_F(CmisCdbTest, RunAloneNeverCommitsAndCommitAloneOnlyCommits) {
    qsfp_port_ctx *port = make_instant_reset("400G-FR4");
    Response r;
    ASSERT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD, write_image(image_bytes(kHeader + 3 * kBlock, 4, 0, 2)).c_str(), r),
              QSFP_OK);
    sim::CmisModule &m = module();
    const Bank first = m.running_image();
    Response run;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_RUN, nullptr, run), QSFP_OK) << run.str();
    EXPECT_EQ(run.str(), "CDB command run executed.CDB operation SUCCESS.");
    EXPECT_NE(m.running_image(), first);
    EXPECT_EQ(m.committed_image(), first);
    EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kCommitImage), 0);
    Response commit;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_COMMIT, nullptr, commit), QSFP_OK) << commit.str();
    EXPECT_EQ(commit.str(), "CDB command commit executed.CDB operation SUCCESS.");
    EXPECT_EQ(m.committed_image(), m.running_image());
    EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kStartDownload), 1);  // the commit sent no download
}

TEST_F(CmisCdbTest, EveryDownloadCommandOfTheTable) {
    for (std::uint32_t command = 400; command <= 407; ++command) {
        SCOPED_TRACE(command);
        const std::size_t cage_index = command - 400 + 1;
        insert_cmis("400G-FR4", cage_index);
        qsfp_port_ctx *port = bring_up(QSFP_DD_INIT_ADOPT, 0, QSFP_OK, cage_index);
        sim::CmisModule &m = module(cage_index);
        m.set_cdb_reset_time(0ns);
        Response r;
        const std::uint32_t rc = execute(port, command, write_image(image_bytes(kHeader + kBlock, 5, 0, 0)).c_str(), r);
        if (command == 402) {
            // Run alone: the other bank's image (the module ships with one) runs, uncommitted.
            EXPECT_EQ(rc, QSFP_OK) << r.str();
            EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kStartDownload), 0);
            EXPECT_NE(m.running_image(), m.committed_image());
            continue;
        }
        if (command == 403) {
            EXPECT_EQ(rc, QSFP_OK) << r.str();  // commits the running image again
            EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kStartDownload), 0);
            continue;
        }
        ASSERT_EQ(rc, QSFP_OK) << r.str();
        EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kStartDownload), 1);
        EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kRunImage), command >= 404 ? 1 : 0);
        EXPECT_EQ(m.cdb_commands_taken(cmis::cdb::kCommitImage), command >= 406 ? 1 : 0);
        EXPECT_EQ(r.str(), download_texts(command >= 404, command >= 406));
    }
}

TEST_F(CmisCdbTest, ModuleUnreachableDuringTheResetOfRunFailsTheRun) {
    // A module that takes 2 s to come back from the reset into the new
    // image does not answer the completion poll: the run step fails on it.
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT,
                      write_image(image_bytes(kHeader + kBlock, 7, 0, 0)).c_str(), r),
              sim::kNoModuleCode);
    EXPECT_EQ(r.str(), "Last epl block download success.I2C PAGE0 offset 8 read errors.Error, CDB command run not "
                       "executed.CDB operation FAILED.");
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: firmware download-run-cmt failed cmd-id:406\n"));
    EXPECT_EQ(module().cdb_commands_taken(cmis::cdb::kCommitImage), 0);
}

TEST_F(CmisCdbTest, BadCheckCodeReportedByTheModule) {
    qsfp_port_ctx *port = make("400G-FR4");
    module().set_cdb_fault({sim::CmisModule::CdbFault::Kind::fail, std::nullopt, cmis::kCdbStatusCheckCode});
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_QUERY_STATUS, nullptr, r), QSFP_ERR_INVALID);
    EXPECT_EQ(r.str(), "CDB status not set.CheckCode error.Failed, CDB query.CDB operation FAILED.");
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: CDB blk[0]=0x45, blk[1]=0x0\n"));
}

TEST_F(CmisCdbTest, ModuleThatNeverCompletesTimesOutAfter50Seconds) {
    qsfp_port_ctx *port = make("400G-FR4");
    module().set_cdb_fault({sim::CmisModule::CdbFault::Kind::never_complete, std::nullopt, 0});
    const std::uint64_t start = now_us();
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_QUERY_STATUS, nullptr, r), QSFP_ERR_INVALID);
    EXPECT_EQ(now_us() - start, 50000000U);
    EXPECT_EQ(r.str(), "CDB complete flag not set.Failed, CDB query.CDB operation FAILED.");
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: CDB-ID 0,complete flag not set reg=0x0\n"));
}

TEST_F(CmisCdbTest, WriteFailureInTheMiddleOfAnEplBlock) {
    qsfp_port_ctx *port = make("400G-FR4");
    cage().fail_range(sim::Op::write, 0xA5, 200, 200, 5, 1);
    const std::string path = write_image(image_bytes(kHeader + 2 * kBlock, 6, 0, 0));
    const std::size_t fds = open_descriptors();
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT, path.c_str(), r), 5U);
    EXPECT_EQ(open_descriptors(), fds);
    EXPECT_EQ(r.str(), "Unable to write EPL pages.Unable to download epl data.CDB operation FAILED.");
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: unable to write EPL pages cmd-id:406\n"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Unable to download epl data cmd-id:406\n"));
    EXPECT_EQ(module().cdb_commands_taken(cmis::cdb::kWriteEplBlock), 0);
}

TEST_F(CmisCdbTest, ModulePulledDuringTheDownload) {
    qsfp_port_ctx *port = make("400G-FR4");
    const std::string path = write_image(image_bytes(kHeader + 4 * kBlock, 6, 1, 0));
    const std::size_t fds = open_descriptors();
    // From the 3000th transaction on the module never acknowledges again:
    // it is gone, in the middle of the second block.
    int accesses = 0;
    module().set_busy_hook([&accesses] { return ++accesses > 3000; });
    Response r;
    const std::uint32_t rc = execute(port, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT, path.c_str(), r);
    EXPECT_NE(rc, QSFP_OK);
    EXPECT_EQ(open_descriptors(), fds);
    EXPECT_NE(r.str().find("Unable to download epl data.CDB operation FAILED."), std::string::npos) << r.str();
}

TEST_F(CmisCdbTest, VendorHeaderTooLongForTheCommandBlock) {
    qsfp_port_ctx *port = make("400G-FR4");
    // A module answering a vendor header of 241 bytes (page 9Fh byte 138
    // stuck there): 241 + 8 payload + 8 header > 256.
    module().stick(0x9F, 138, 241);
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD, write_image(image_bytes(4096, 1, 0, 0)).c_str(), r),
              QSFP_ERR_INVALID);
    EXPECT_NE(r.str().find("Cmd buf size error.Unable to send cdb start download."), std::string::npos) << r.str();
}

TEST_F(CmisCdbTest, CheckCodeOfTheCommandBlock) {
    // The module accepts what the driver computes: every command of a
    // download passed its check (one bad code would have failed the call).
    qsfp_port_ctx *port = make("400G-FR4");
    Response r;
    EXPECT_EQ(execute(port, QSFP_DD_CDB_DOWNLOAD, write_image(image_bytes(kHeader + 100, 1, 1, 1)).c_str(), r),
              QSFP_OK);
    EXPECT_EQ(cmis::cdb::check_code(std::array<std::uint8_t, 8>{0x01, 0x04, 0x00, 0x64, 4, 0, 0, 0}), 0x92);
}

}  // namespace
}  // namespace qsfp::test
