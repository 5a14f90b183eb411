// CDB requests of the coherent SDK emulator against the emulated module's CDB
// engine: firmware query, download of an image file in local-payload blocks
// with progress text and figures, run and commit, and the failures: an
// unreadable file, a module without CDB, a command the module fails or never
// completes, a text buffer too small.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "coh_sdk_fixture.h"

namespace {

using namespace qsfp::sim;
using qsfp::test::CohSdkBench;
using Bank = CmisModule::Bank;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kKey = 0x0001;

std::uint64_t arg(const void *p) { return reinterpret_cast<std::uintptr_t>(p); }

class CohSdkCdbTest : public CohSdkBench {
protected:
    void SetUp() override {
        CohSdkBench::SetUp();
        init();
    }
    void TearDown() override {
        std::remove(path_.c_str());
        CohSdkBench::TearDown();
    }

    // An image file of the emulated vendor: its version in the first header bytes.
    Bytes write_image(std::size_t size, CmisModule::FirmwareVersion v) {
        Bytes f(size);
        std::mt19937 rng(7);
        for (auto &b : f) {
            b = static_cast<std::uint8_t>(rng());
        }
        if (size >= 4) {
            f[0] = v.major;
            f[1] = v.minor;
            f[2] = static_cast<std::uint8_t>(v.build >> 8);
            f[3] = static_cast<std::uint8_t>(v.build & 0xFF);
        }
        std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char *>(f.data()), static_cast<std::streamsize>(f.size()));
        return f;
    }

    struct Answer {
        std::uint32_t rc;
        std::string text;
        std::uint64_t result;
    };
    Answer cdb(std::uint32_t operation, const char *file = nullptr) {
        std::vector<char> buf(8192, '#');
        coh_sdk_cdb_record r{operation, 0, {arg(file), arg(buf.data()), buf.size()}, 0xDEAD};
        const std::uint32_t rc = coh_sdk_handle_cdb_cmd(kKey, &r);
        EXPECT_EQ(std::strlen(buf.data()), r.result);
        return {rc, std::string(buf.data()), r.result};
    }
    struct Progress {
        std::uint32_t percent = 0xFF;
        std::uint32_t state = 0xFF;
        std::uint32_t bytes = 0xFF;
    };
    static Progress progress() {
        Progress p;
        EXPECT_EQ(coh_sdk_get_firmware_update_progress(kKey, &p.percent, &p.state, &p.bytes), COH_SDK_OK);
        return p;
    }

    Cage cage_;
    // One file per test process: ctest runs this binary's tests side by side,
    // and a shared name let one test's teardown remove another's image.
    std::string path_ = ::testing::TempDir() + "coh_sdk_cdb_image_" + std::to_string(getpid()) + ".bin";
};

std::size_t count(const std::string &text, const std::string &what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

TEST_F(CohSdkCdbTest, QueryListsBothImages) {
    bring_up(cage_, kKey);
    const Answer a = cdb(COH_SDK_CDB_QUERY);
    EXPECT_EQ(a.rc, COH_SDK_OK);
    EXPECT_EQ(a.text, "Image A: 2.3.0 running committed\nImage B: 2.2.0\n");
}

TEST_F(CohSdkCdbTest, DownloadRunAndCommitPutTheImageInServiceThroughTheCdbEngine) {
    CmisModule &m = bring_up(cage_, kKey);
    const Bytes file = write_image(4096, {3, 0, 5});
    EXPECT_EQ(progress().state, 0u) << "idle";
    const Answer a = cdb(COH_SDK_CDB_DOWNLOAD, path_.c_str());
    ASSERT_EQ(a.rc, COH_SDK_OK) << a.text;
    EXPECT_EQ(a.text.substr(0, a.text.find('\n') + 1), "Downloading " + path_ + " (4096 bytes)\n");
    EXPECT_EQ(count(a.text, "Downloaded "), 10u) << a.text;
    EXPECT_NE(a.text.find("Downloaded 4096 of 4096 bytes (100%)\nDownload complete\n"), std::string::npos) << a.text;
    const CmisModule::FirmwareImage b = m.firmware_image(Bank::b);
    EXPECT_TRUE(b.valid);
    EXPECT_EQ(b.version, (CmisModule::FirmwareVersion{3, 0, 5}));
    EXPECT_EQ(b.contents, file);
    EXPECT_EQ(m.cdb_commands_taken(0x0103), 35) << "4032 bytes after the header in 116-byte blocks";
    EXPECT_EQ(m.cdb_commands_taken(0x0107), 1);
    const Progress p = progress();
    EXPECT_EQ(p.percent, 100u);
    EXPECT_EQ(p.state, 2u);
    EXPECT_EQ(p.bytes, 4096u);

    const Answer run = cdb(COH_SDK_CDB_RUN);
    ASSERT_EQ(run.rc, COH_SDK_OK) << run.text;
    EXPECT_EQ(run.text, "Running the inactive image\n");
    EXPECT_EQ(m.running_image(), Bank::b);
    EXPECT_EQ(cdb(COH_SDK_CDB_QUERY).text, "Image A: 2.3.0 committed\nImage B: 3.0.5 running\n");
    const Answer commit = cdb(COH_SDK_CDB_COMMIT);
    ASSERT_EQ(commit.rc, COH_SDK_OK);
    EXPECT_EQ(commit.text, "Running image committed\n");
    EXPECT_EQ(m.committed_image(), Bank::b);
    EXPECT_EQ(cdb(COH_SDK_CDB_QUERY).text, "Image A: 2.3.0\nImage B: 3.0.5 running committed\n");
}

TEST_F(CohSdkCdbTest, ProgressTextNeverPassesTheCapacity) {
    bring_up(cage_, kKey);
    write_image(1024, {3, 0, 1});
    char buf[64];
    std::memset(buf, '#', sizeof buf);
    coh_sdk_cdb_record r{COH_SDK_CDB_DOWNLOAD, 0, {arg(path_.c_str()), arg(buf), 40}, 0};
    ASSERT_EQ(coh_sdk_handle_cdb_cmd(kKey, &r), COH_SDK_OK);
    EXPECT_LE(r.result, 39u);
    EXPECT_EQ(std::strlen(buf), r.result);
    EXPECT_EQ(std::string(buf), ("Downloading " + path_ + " (1024 bytes)\n").substr(0, r.result));
    for (std::size_t i = 40; i < sizeof buf; ++i) {
        EXPECT_EQ(buf[i], '#') << i;
    }
    coh_sdk_cdb_record quiet{COH_SDK_CDB_QUERY, 0, {0, 0, 100}, 0xDEAD};
    ASSERT_EQ(coh_sdk_handle_cdb_cmd(kKey, &quiet), COH_SDK_OK) << "no buffer: no text";
    EXPECT_EQ(quiet.result, 0u);
}

TEST_F(CohSdkCdbTest, AnUnreadableFileIsAFileError) {
    CmisModule &m = bring_up(cage_, kKey);
    const Answer a = cdb(COH_SDK_CDB_DOWNLOAD, "/nonexistent/image.bin");
    EXPECT_EQ(a.rc, COH_SDK_ERR_FILE);
    EXPECT_EQ(a.text, "Cannot read /nonexistent/image.bin\n");
    EXPECT_EQ(m.cdb_commands_taken(0x0101), 0);
    write_image(0, {});
    EXPECT_EQ(cdb(COH_SDK_CDB_DOWNLOAD, path_.c_str()).rc, COH_SDK_ERR_FILE) << "empty";
    write_image(64, {3, 0, 0});
    EXPECT_EQ(cdb(COH_SDK_CDB_DOWNLOAD, path_.c_str()).rc, COH_SDK_ERR_FILE) << "no more than the vendor header";
    EXPECT_EQ(cdb(COH_SDK_CDB_DOWNLOAD, nullptr).rc, COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(progress().state, 0u);
}

TEST_F(CohSdkCdbTest, UnknownOperationsAreInvalid) {
    bring_up(cage_, kKey);
    cage_.clear_log();
    EXPECT_EQ(cdb(0).rc, COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(cdb(5).rc, COH_SDK_ERR_INVALID_ARG);
    EXPECT_TRUE(cage_.log().empty());
}

TEST_F(CohSdkCdbTest, AModuleWithoutCdbIsRefused) {
    insert(cage_, "400G-DR4");
    const coh_sdk_device_create_record r = record(cage_, kKey, 0);
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    const Answer a = cdb(COH_SDK_CDB_QUERY);
    EXPECT_EQ(a.rc, COH_SDK_ERR_CDB);
    EXPECT_EQ(a.text, "CDB not supported by the module\n");
}

TEST_F(CohSdkCdbTest, ABlockTheModuleFailsEndsTheDownload) {
    CmisModule &m = bring_up(cage_, kKey);
    write_image(2048, {3, 1, 0});
    m.set_cdb_fault({CmisModule::CdbFault::Kind::fail, 0x0103, 0x42});
    const Answer a = cdb(COH_SDK_CDB_DOWNLOAD, path_.c_str());
    EXPECT_EQ(a.rc, COH_SDK_ERR_CDB);
    EXPECT_NE(a.text.find("CDB command 0103h failed, status 0x42\nDownload failed after 64 bytes\n"), std::string::npos)
        << a.text;
    const Progress p = progress();
    EXPECT_EQ(p.state, 3u);
    EXPECT_EQ(p.bytes, 64u);
    EXPECT_EQ(p.percent, 3u);
    EXPECT_FALSE(m.firmware_image(Bank::b).valid);
}

TEST_F(CohSdkCdbTest, ACommandThatNeverCompletesTimesOut) {
    CmisModule &m = bring_up(cage_, kKey);
    m.set_cdb_fault({CmisModule::CdbFault::Kind::never_complete, 0x0100, 0});
    const std::uint64_t before = VirtualClock::instance().now_us();
    const Answer a = cdb(COH_SDK_CDB_QUERY);
    EXPECT_EQ(a.rc, COH_SDK_ERR_CDB);
    EXPECT_EQ(a.text, "CDB command 0100h failed, status 0x00\n");
    EXPECT_EQ(VirtualClock::instance().now_us() - before, 60000000u) << "60 s of 10 ms polls";
}

TEST_F(CohSdkCdbTest, AModuleThatStopsAnsweringIsAModuleAccessFailure) {
    CmisModule &m = bring_up(cage_, kKey);
    m.set_cdb_fault({CmisModule::CdbFault::Kind::never_complete, 0x0100, 0});
    m.set_cdb_nack_while_busy(true);
    EXPECT_EQ(cdb(COH_SDK_CDB_QUERY).rc, COH_SDK_ERR_MODULE_ACCESS);
}

}  // namespace
