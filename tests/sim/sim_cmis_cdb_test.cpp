// The CDB engine of the emulated CMIS module through the bus, in both bus
// modes: command blocks on page 9Fh, check codes, busy time seen with 10 ms
// polls on the virtual clock, the completion flag in lower byte 8, the status
// in lower byte 37, each command's reply, firmware download in EPL and LPL
// blocks, run (with the module unreachable while it resets) and commit, and
// the fault switches. The host side here is written from the CDB register
// layout alone, as small as the tests need.
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <span>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/virtual_clock.h>

#include "sim_bus.h"

namespace {

using namespace std::chrono_literals;
using namespace qsfp::sim;
using namespace qsfp::sim::cmis;
using qsfp::test::BusMode;
using qsfp::test::SimBus;
using Bank = CmisModule::Bank;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kPollUs = 10000;  // a host polls every 10 ms
constexpr int kMaxPolls = 5000;           // and gives up after 50 s
constexpr std::uint8_t kHeader = cdb::kDefaultStartPayloadSize;
constexpr std::size_t kBlock = 2048;

std::uint64_t now_us() { return VirtualClock::instance().now_us(); }

// Bytes 128 onward of a command block with its check code: the ones'
// complement of the 8-bit sum of the block with the check code taken as 0.
Bytes command_block(std::uint16_t id, const Bytes &lpl, std::uint16_t epl_length = 0) {
    Bytes b = {static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id & 0xFF),
               static_cast<std::uint8_t>(epl_length >> 8), static_cast<std::uint8_t>(epl_length & 0xFF),
               static_cast<std::uint8_t>(lpl.size()), 0, 0, 0};
    b.insert(b.end(), lpl.begin(), lpl.end());
    const unsigned sum = std::accumulate(b.begin(), b.end(), 0u);
    b[kCdbCheckCode - kCdbCommandId] = static_cast<std::uint8_t>(~sum & 0xFF);
    return b;
}

Bytes be32(std::uint32_t v) {
    return {static_cast<std::uint8_t>(v >> 24), static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 8),
            static_cast<std::uint8_t>(v)};
}

// An image file of the emulated vendor: the version in the first header bytes.
Bytes image_file(std::size_t size, CmisModule::FirmwareVersion v, std::uint32_t seed) {
    Bytes f(size);
    std::mt19937 rng(seed);
    for (auto &b : f) b = static_cast<std::uint8_t>(rng());
    f[0] = v.major;
    f[1] = v.minor;
    f[2] = static_cast<std::uint8_t>(v.build >> 8);
    f[3] = static_cast<std::uint8_t>(v.build & 0xFF);
    return f;
}

struct Result {
    std::uint8_t status = 0;
    int polls = 0;
    bool completed = false;
};

class CdbTest : public ::testing::TestWithParam<BusMode> {
protected:
    CmisModule &insert(std::string_view name = "400G-FR4") {
        auto module = make_cmis_module(name);
        EXPECT_NE(module, nullptr) << name;
        CmisModule &ref = *module;
        cage_.insert(std::move(module));
        bus_ = std::make_unique<SimBus>(cage_, GetParam());
        bus_->read(kModuleFlags);  // clear the state-changed flag of insertion
        return ref;
    }

    // Writes the block as a host does: everything after the command ID, then
    // the command ID high byte, then the low byte that starts the command.
    void trigger(const Bytes &block) {
        ASSERT_EQ(bus_->write_range(kPage9F, kCdbEplLength, Bytes(block.begin() + 2, block.end())), 0u);
        bus_->write(kPage9F, kCdbCommandId, block[0]);
        bus_->write(kPage9F, kCdbCommandIdLow, block[1]);
    }

    // Polls lower byte 8 every 10 ms until the completion flag shows (failed
    // reads of a module that does not answer count as polls), then reads the status.
    Result wait() {
        Result r;
        for (; r.polls < kMaxPolls; ++r.polls) {
            std::uint8_t flags = 0;
            if (bus_->try_read(0, kModuleFlags, flags) == 0 && (flags & kCdbComplete1)) {
                r.completed = true;
                break;
            }
            usleep(kPollUs);
        }
        r.status = bus_->read(kCdbStatus1);
        return r;
    }

    Result run(std::uint16_t id, const Bytes &lpl = {}, std::uint16_t epl_length = 0) {
        trigger(command_block(id, lpl, epl_length));
        return wait();
    }
    std::uint8_t status_of(std::uint16_t id, const Bytes &lpl = {}, std::uint16_t epl_length = 0) {
        return run(id, lpl, epl_length).status;
    }

    Bytes reply() {
        const std::uint8_t length = bus_->read(kPage9F, kCdbReplyLength);
        return length == 0 ? Bytes{} : bus_->read_range(kPage9F, kCdbLpl, std::min<std::uint8_t>(length, kCdbMaxLpl));
    }

    // Writes `data` (at most 2048 bytes) to pages A0h onward, a page per access.
    void write_epl(std::span<const std::uint8_t> data) {
        for (std::size_t at = 0; at < data.size(); at += kCdbEplPageSize) {
            const std::size_t n = std::min(kCdbEplPageSize, data.size() - at);
            const auto page = static_cast<std::uint8_t>(kPageA0 + at / kCdbEplPageSize);
            ASSERT_EQ(bus_->write_range(page, kHalfPage, Bytes(data.begin() + at, data.begin() + at + n)), 0u);
        }
    }

    std::uint8_t start(const Bytes &file) {
        Bytes lpl = be32(static_cast<std::uint32_t>(file.size()));
        lpl.resize(kStartFixedLength, 0);
        lpl.insert(lpl.end(), file.begin(), file.begin() + kHeader);
        return status_of(kCdbStartDownload, lpl);
    }
    std::uint8_t write_block(std::uint32_t address, std::span<const std::uint8_t> data) {
        write_epl(data);
        return status_of(kCdbWriteBlockEpl, be32(address), static_cast<std::uint16_t>(data.size()));
    }
    // Every block after the header, 2048 bytes each (the last may be shorter).
    void download_blocks(const Bytes &file, std::size_t stop_after = SIZE_MAX) {
        std::size_t n = 0;
        for (std::size_t at = kHeader; at < file.size() && n < stop_after; at += kBlock, ++n) {
            const std::size_t len = std::min(kBlock, file.size() - at);
            ASSERT_EQ(write_block(static_cast<std::uint32_t>(at - kHeader), std::span(file).subspan(at, len)), kCdbSuccess)
                << "block at " << at - kHeader;
        }
    }

    Bytes firmware_info() {
        EXPECT_EQ(status_of(kCdbGetFirmwareInfo), kCdbSuccess);
        return reply();
    }

    Cage cage_;
    std::unique_ptr<SimBus> bus_;
};

std::uint8_t at(const Bytes &reply, std::uint8_t addr) { return reply.at(addr - kCdbLpl); }

// ---- Advertisement -------------------------------------------------------------------------

TEST(CdbAdvertisementTest, FourHundredGFr4AndTheZrModulesAdvertiseOneCdbInstanceWithSixteenEplPages) {
    for (std::string_view name : {"400G-FR4", "400G-ZR", "400G-ZR-ZRP", "400G-ZRP"}) {
        auto m = make_cmis_module(name);
        ASSERT_NE(m, nullptr) << name;
        EXPECT_TRUE(m->cdb_supported()) << name;
        EXPECT_EQ(m->memory().get(kPage01, kCdbSupport), 0x67) << name;  // one instance, background mode, A0h-AFh
        EXPECT_TRUE(m->memory().has_page(kPage9F)) << name;
        for (unsigned p = kPageA0; p <= kPageAF; ++p) {
            EXPECT_TRUE(m->memory().has_page(static_cast<std::uint8_t>(p))) << name << " page " << p;
        }
        EXPECT_EQ(m->memory().get(0, kActiveFirmware), 2) << name;
        EXPECT_EQ(m->memory().get(0, kActiveFirmware + 1), 3) << name;
        EXPECT_EQ(m->memory().get(kPage01, kInactiveFirmware), 2) << name;
        EXPECT_EQ(m->memory().get(kPage01, kInactiveFirmware + 1), 2) << name;
    }
}

TEST(CdbAdvertisementTest, ModulesWithoutCdbAdvertiseNone) {
    for (std::string_view name : {"400G-DR4", "400G-FR4-CMIS3"}) {
        auto m = make_cmis_module(name);
        ASSERT_NE(m, nullptr) << name;
        EXPECT_FALSE(m->cdb_supported()) << name;
        EXPECT_EQ(m->memory().get(kPage01, kCdbSupport), 0) << name;
        EXPECT_FALSE(m->memory().has_page(kPage9F)) << name;
    }
}

// ---- Commands and their replies ---------------------------------------------------------------

TEST_P(CdbTest, QueryStatusRepliesWithItsStatusField) {
    insert();
    const Result r = run(kCdbQueryStatus, {0, 0});
    EXPECT_TRUE(r.completed);
    EXPECT_EQ(r.status, kCdbSuccess);
    EXPECT_EQ(bus_->read(kPage9F, kCdbReplyLength), 2);
    EXPECT_EQ(reply(), (Bytes{1, 0}));
    EXPECT_EQ(bus_->read(kPage9F, kCdbReplyCheckCode), static_cast<std::uint8_t>(~1u & 0xFF));
}

TEST_P(CdbTest, QueryStatusWaitsTheResponseDelayItsPayloadAsksFor) {
    CmisModule &m = insert();
    m.set_cdb_busy_time(kCdbQueryStatus, 0ms);
    const std::uint64_t t0 = now_us();
    const Result r = run(kCdbQueryStatus, {0x00, 0x64});  // 100 ms
    EXPECT_EQ(r.status, kCdbSuccess);
    EXPECT_EQ(r.polls, 10);
    EXPECT_EQ(now_us() - t0, 100000u);
}

TEST_P(CdbTest, FirmwareManagementFeaturesReplyNamesTheVendorHeaderSizeAndBothWriteMechanisms) {
    CmisModule &m = insert();
    m.set_cdb_start_payload_size(112);
    m.set_cdb_busy_time(kCdbStartDownload, 1500ms);
    m.set_cdb_busy_time(kCdbWriteBlockEpl, 30ms);
    ASSERT_EQ(status_of(kCdbFirmwareFeatures), kCdbSuccess);
    const Bytes r = reply();
    ASSERT_EQ(r.size(), kFwFeaturesReplyLength);
    EXPECT_EQ(at(r, kFwStartPayloadSize), 112);
    EXPECT_EQ(at(r, kFwErasedByte), 0xFF);
    EXPECT_EQ(at(r, kFwReadWriteLength), 15);
    EXPECT_EQ(at(r, kFwWriteMechanism), 0x11);
    EXPECT_EQ(at(r, kFwMaxDurationStart) << 8 | at(r, kFwMaxDurationStart + 1), 1500);
    EXPECT_EQ(at(r, kFwMaxDurationAbort) << 8 | at(r, kFwMaxDurationAbort + 1), 20);
    EXPECT_EQ(at(r, kFwMaxDurationWrite) << 8 | at(r, kFwMaxDurationWrite + 1), 30);
    const unsigned sum = std::accumulate(r.begin(), r.end(), 0u);
    EXPECT_EQ(bus_->read(kPage9F, kCdbReplyCheckCode), static_cast<std::uint8_t>(~sum & 0xFF));
}

TEST_P(CdbTest, FirmwareInfoShowsBankARunningAndCommittedAndBankBValid) {
    insert();
    const Bytes r = firmware_info();
    ASSERT_EQ(r.size(), kFwInfoReplyLength);
    EXPECT_EQ(at(r, kFwStatus), kFwRunning | kFwCommitted);
    EXPECT_EQ(at(r, kFwImageInfo), 0x03);
    EXPECT_EQ(Bytes(r.begin() + 2, r.begin() + 6), (Bytes{2, 3, 0, 0}));
    EXPECT_EQ(Bytes(r.begin() + 38, r.begin() + 42), (Bytes{2, 2, 0, 0}));
}

TEST_P(CdbTest, FirmwareInfoFollowsImagesATestSets) {
    CmisModule &m = insert();
    m.set_firmware_image(Bank::b, {true, {7, 1, 0x1234}, {}});
    m.set_firmware_image(Bank::a, {});
    m.set_running_image(Bank::b);
    const Bytes r = firmware_info();
    EXPECT_EQ(at(r, kFwStatus), kFwInvalid | kFwCommitted | kFwRunning << kFwImageBShift);
    EXPECT_EQ(Bytes(r.begin() + 38, r.begin() + 42), (Bytes{7, 1, 0x12, 0x34}));
    EXPECT_EQ(bus_->read(kActiveFirmware), 7);
    EXPECT_EQ(bus_->read(kPage01, kInactiveFirmware), 0);
}

// ---- Checks made when the command is taken ------------------------------------------------------

TEST_P(CdbTest, BadCheckCodeFailsWithCheckCodeError) {
    CmisModule &m = insert();
    Bytes block = command_block(kCdbGetFirmwareInfo, {});
    block[kCdbCheckCode - kCdbCommandId] ^= 0x01;
    trigger(block);
    const Result r = wait();
    EXPECT_EQ(r.status, kCdbCheckCodeError);
    EXPECT_EQ(r.polls, 0);  // found when the command is taken
    EXPECT_EQ(bus_->read(kPage9F, kCdbReplyLength), 0);
    EXPECT_EQ(m.cdb_commands_taken(kCdbGetFirmwareInfo), 1);
}

TEST_P(CdbTest, CheckCodeCoversThePayload) {
    insert();
    Bytes block = command_block(kCdbQueryStatus, {0, 0});
    block.back() = 1;  // payload changed after the check code was made
    trigger(block);
    EXPECT_EQ(wait().status, kCdbCheckCodeError);
}

TEST_P(CdbTest, ReplyFieldsLeftFromAnEarlierReplyDoNotCountInTheCheckCode) {
    insert();
    ASSERT_EQ(status_of(kCdbFirmwareFeatures), kCdbSuccess);
    ASSERT_NE(bus_->read(kPage9F, kCdbReplyLength), 0);
    // Only bytes 128-133 and the payload are written this time.
    Bytes block = command_block(kCdbQueryStatus, {0, 0});
    ASSERT_EQ(bus_->write_range(kPage9F, kCdbLpl, {0, 0}), 0u);
    ASSERT_EQ(bus_->write_range(kPage9F, kCdbEplLength, Bytes(block.begin() + 2, block.begin() + 4 + 2)), 0u);
    bus_->write(kPage9F, kCdbCommandId, block[0]);
    bus_->write(kPage9F, kCdbCommandIdLow, block[1]);
    EXPECT_EQ(wait().status, kCdbSuccess);
}

TEST_P(CdbTest, PayloadLongerThanThePageFailsWithParameterError) {
    insert();
    Bytes block = command_block(kCdbQueryStatus, {});
    block[kCdbLplLength - kCdbCommandId] = 200;
    trigger(block);
    EXPECT_EQ(wait().status, kCdbParameterError);
}

TEST_P(CdbTest, UnknownCommandFails) {
    insert();
    EXPECT_EQ(status_of(0x0777), kCdbUnknownCommand);
}

TEST_P(CdbTest, ExtendedPayloadOnACommandWithoutOneFails) {
    insert();
    EXPECT_EQ(status_of(kCdbGetFirmwareInfo, {}, 128), kCdbParameterError);
}

TEST_P(CdbTest, WrongPayloadLengthsFail) {
    insert();
    EXPECT_EQ(status_of(kCdbQueryStatus, {0}), kCdbParameterError);
    EXPECT_EQ(status_of(kCdbGetFirmwareInfo, {0}), kCdbParameterError);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0}), kCdbParameterError);
    EXPECT_EQ(status_of(kCdbStartDownload, Bytes(8, 0)), kCdbParameterError);  // vendor header missing
}

TEST_P(CdbTest, GarbageCommandBlocksAlwaysEndWithACmisResultCode) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    std::mt19937 rng(7);
    for (int i = 0; i < 200; ++i) {
        Bytes page(128);
        for (auto &b : page) b = static_cast<std::uint8_t>(rng());
        ASSERT_EQ(bus_->write_range(kPage9F, kHalfPage, page), 0u);
        const Result r = wait();
        ASSERT_TRUE(r.completed) << "block " << i;
        EXPECT_TRUE(r.status == kCdbSuccess || r.status == kCdbUnknownCommand || r.status == kCdbParameterError ||
                    r.status == kCdbNotAborted || r.status == kCdbCheckCodeError)
            << "block " << i << " status " << int(r.status);
    }
}

// ---- Busy time and completion ---------------------------------------------------------------------

TEST_P(CdbTest, BusyTimeIsSeenWithTenMillisecondPolls) {
    CmisModule &m = insert();
    m.set_cdb_busy_time(kCdbGetFirmwareInfo, 95ms);
    trigger(command_block(kCdbGetFirmwareInfo, {}));
    EXPECT_EQ(bus_->read(kCdbStatus1), kCdbBusyExecuting);
    const std::uint64_t t0 = now_us();
    const Result r = wait();
    EXPECT_EQ(r.polls, 10);
    EXPECT_EQ(now_us() - t0, 100000u);
    EXPECT_EQ(r.status, kCdbSuccess);
}

TEST_P(CdbTest, StatusReadsBusyUntilTheBusyTimeEnds) {
    CmisModule &m = insert();
    m.set_cdb_busy_time(kCdbCommitImage, 30ms);
    trigger(command_block(kCdbCommitImage, {}));
    usleep(29999);
    EXPECT_EQ(bus_->read(kCdbStatus1), kCdbBusyExecuting);
    EXPECT_EQ(bus_->read(kModuleFlags) & kCdbComplete1, 0);
    usleep(1);
    EXPECT_EQ(bus_->read(kCdbStatus1), kCdbSuccess);
}

TEST_P(CdbTest, CompletionFlagLatchesAndClearsWhenRead) {
    insert();
    trigger(command_block(kCdbFirmwareFeatures, {}));
    usleep(1000000);
    EXPECT_EQ(bus_->read(kModuleFlags) & kCdbComplete1, kCdbComplete1);
    EXPECT_EQ(bus_->read(kModuleFlags) & kCdbComplete1, 0);
    EXPECT_EQ(bus_->read(kCdbStatus1), kCdbSuccess);  // the status stays
}

TEST_P(CdbTest, CompletionFlagRaisesTheInterruptUnlessMasked) {
    CmisModule &m = insert();
    status_of(kCdbFirmwareFeatures);
    bus_->write(kModuleMasks, kCdbComplete1);
    trigger(command_block(kCdbFirmwareFeatures, {}));
    usleep(1000000);
    EXPECT_FALSE(m.intl_asserted());
    bus_->write(kModuleMasks, 0);
    EXPECT_TRUE(m.intl_asserted());
}

TEST_P(CdbTest, ACommandWrittenWhileAnotherRunsIsIgnored) {
    CmisModule &m = insert();
    m.set_cdb_busy_time(kCdbGetFirmwareInfo, 100ms);
    trigger(command_block(kCdbGetFirmwareInfo, {}));
    trigger(command_block(kCdbQueryStatus, {0, 0}));
    EXPECT_EQ(m.cdb_commands_taken(kCdbQueryStatus), 0);
    EXPECT_EQ(wait().status, kCdbSuccess);
    EXPECT_EQ(reply().size(), kFwInfoReplyLength);
}

TEST_P(CdbTest, ModuleSetNotToAnswerWhileBusyRefusesTheBusUntilTheCommandEnds) {
    CmisModule &m = insert();
    m.set_cdb_nack_while_busy(true);
    m.set_cdb_busy_time(kCdbGetFirmwareInfo, 50ms);
    trigger(command_block(kCdbGetFirmwareInfo, {}));
    std::uint8_t b = 0;
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), kNoModuleCode);
    usleep(49000);
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), kNoModuleCode);
    usleep(1000);
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), 0u);
    EXPECT_EQ(b, kCdbSuccess);
}

TEST_P(CdbTest, ModuleInBackgroundModeAnswersWhileBusy) {
    CmisModule &m = insert();
    m.set_cdb_busy_time(kCdbGetFirmwareInfo, 50ms);
    trigger(command_block(kCdbGetFirmwareInfo, {}));
    std::uint8_t b = 0;
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), 0u);
    EXPECT_EQ(b, kCdbBusyExecuting);
}

// ---- Fault switches --------------------------------------------------------------------------------

TEST_P(CdbTest, NeverCompletingCommandStaysBusyPastAFiftySecondWait) {
    CmisModule &m = insert();
    m.set_cdb_fault({CmisModule::CdbFault::Kind::never_complete, kCdbCommitImage, 0});
    const Result r = run(kCdbCommitImage);
    EXPECT_FALSE(r.completed);
    EXPECT_EQ(r.polls, kMaxPolls);
    EXPECT_EQ(r.status, kCdbBusyExecuting);
    EXPECT_EQ(m.committed_image(), Bank::a);
}

TEST_P(CdbTest, FailingCommandReportsTheChosenStatusAndOthersStillWork) {
    CmisModule &m = insert();
    m.set_cdb_fault({CmisModule::CdbFault::Kind::fail, kCdbGetFirmwareInfo, kCdbPasswordError});
    EXPECT_EQ(status_of(kCdbGetFirmwareInfo), kCdbPasswordError);
    EXPECT_EQ(bus_->read(kPage9F, kCdbReplyLength), 0);
    EXPECT_EQ(status_of(kCdbQueryStatus, {0, 0}), kCdbSuccess);
    m.set_cdb_fault({});
    EXPECT_EQ(status_of(kCdbGetFirmwareInfo), kCdbSuccess);
}

// ---- Firmware download ---------------------------------------------------------------------------

TEST_P(CdbTest, FullDownloadOfAOneMebibyteImageRunsAndCommits) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(3s);
    const Bytes file = image_file(1u << 20, {3, 0, 0x0102}, 1);

    ASSERT_EQ(status_of(kCdbFirmwareFeatures), kCdbSuccess);
    ASSERT_EQ(at(reply(), kFwStartPayloadSize), kHeader);
    ASSERT_EQ(status_of(kCdbAbortDownload), kCdbSuccess);
    ASSERT_EQ(start(file), kCdbSuccess);
    EXPECT_EQ(at(firmware_info(), kFwStatus), kFwRunning | kFwCommitted | kFwInvalid << kFwImageBShift);
    download_blocks(file);
    EXPECT_EQ(m.downloaded_image(), file);

    // Run: the module resets into bank B and does not answer for 3 s.
    trigger(command_block(kCdbRunImage, {0, 0, 0, 0}));
    usleep(1000000);
    std::uint8_t b = 0;
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), kNoModuleCode);
    const Result r = wait();
    EXPECT_TRUE(r.completed);
    EXPECT_EQ(r.status, kCdbSuccess);
    EXPECT_EQ(m.running_image(), Bank::b);
    EXPECT_EQ(bus_->read(kActiveFirmware), 3);
    EXPECT_EQ(bus_->read(kActiveFirmware + 1), 0);
    EXPECT_EQ(bus_->read(kPage01, kInactiveFirmware), 2);
    EXPECT_EQ(bus_->read(kPage01, kInactiveFirmware + 1), 3);
    Bytes info = firmware_info();
    EXPECT_EQ(at(info, kFwStatus), kFwCommitted | kFwRunning << kFwImageBShift);
    EXPECT_EQ(Bytes(info.begin() + 38, info.begin() + 42), (Bytes{3, 0, 0x01, 0x02}));

    ASSERT_EQ(status_of(kCdbCommitImage), kCdbSuccess);
    info = firmware_info();
    EXPECT_EQ(at(info, kFwStatus), (kFwRunning | kFwCommitted) << kFwImageBShift);
    EXPECT_EQ(m.firmware_image(Bank::b).contents, file);
}

TEST_P(CdbTest, RunTakesTheModuleThroughAResetForTheSetTime) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(1500ms);
    m.set_cdb_busy_time(kCdbRunImage, 20ms);
    bus_->write(kGlobalControls, 0);  // the host brought the module up
    usleep(1000000);
    ASSERT_EQ(m.module_state(), ModuleState::ready);
    trigger(command_block(kCdbRunImage, {0, kRunInactiveImage, 0, 0}));
    const std::uint64_t t0 = now_us();
    const Result r = wait();
    EXPECT_EQ(r.status, kCdbSuccess);
    EXPECT_EQ(now_us() - t0, 1520000u);
    EXPECT_EQ(m.running_image(), Bank::b);
    EXPECT_EQ(m.module_state(), ModuleState::low_power);  // reset: the host's controls are gone
}

TEST_P(CdbTest, RunWaitsTheDelayToResetItsPayloadAsksFor) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(1s);
    m.set_cdb_busy_time(kCdbRunImage, 0ms);
    trigger(command_block(kCdbRunImage, {0, kRunInactiveImage, 0x01, 0xF4}));  // 500 ms
    usleep(499000);
    std::uint8_t b = 0;
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), 0u);
    usleep(1000);
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), kNoModuleCode);
    usleep(1000000);
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), 0u);
    EXPECT_EQ(b, kCdbSuccess);
}

TEST_P(CdbTest, RunOfTheRunningImageAndAnUnknownModeDiffer) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    EXPECT_EQ(status_of(kCdbRunImage, {0, kRunRunningImage, 0, 0}), kCdbSuccess);
    EXPECT_EQ(m.running_image(), Bank::a);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 4, 0, 0}), kCdbParameterError);
}

TEST_P(CdbTest, PowerCycleAfterRunWithoutCommitStartsTheCommittedImage) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    ASSERT_EQ(status_of(kCdbRunImage, {0, kRunInactiveImage, 0, 0}), kCdbSuccess);
    ASSERT_EQ(m.running_image(), Bank::b);
    m.power_up();
    EXPECT_EQ(m.running_image(), Bank::a);
    EXPECT_EQ(bus_->read(kActiveFirmware + 1), 3);
}

// Sizes: whole blocks after the header (the last block full, none empty), a
// last block that ends inside a page, a last block of a single byte.
TEST_P(CdbTest, DownloadsOfEveryBlockLayoutArriveByteForByte) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    for (const std::size_t size : {kHeader + kBlock * 3, kHeader + kBlock * 2 + 1000, kHeader + kBlock + 1}) {
        SCOPED_TRACE(size);
        const Bank target = m.running_image() == Bank::a ? Bank::b : Bank::a;
        const Bytes file = image_file(size, {4, static_cast<std::uint8_t>(size & 0x7F), 0}, static_cast<std::uint32_t>(size));
        ASSERT_EQ(status_of(kCdbAbortDownload), kCdbSuccess);
        ASSERT_EQ(start(file), kCdbSuccess);
        download_blocks(file);
        ASSERT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbSuccess);
        EXPECT_EQ(m.running_image(), target);
        EXPECT_EQ(m.firmware_image(target).contents, file);
        EXPECT_EQ(m.firmware_image(target).version.minor, size & 0x7F);
    }
}

TEST_P(CdbTest, WrongBlockAddressFailsAndTheRightOneStillFollows) {
    CmisModule &m = insert();
    const Bytes file = image_file(kHeader + kBlock * 2, {5, 0, 0}, 3);
    ASSERT_EQ(start(file), kCdbSuccess);
    const auto first = std::span(file).subspan(kHeader, kBlock);
    const auto second = std::span(file).subspan(kHeader + kBlock, kBlock);
    EXPECT_EQ(write_block(kBlock, first), kCdbParameterError);  // skips a block
    EXPECT_EQ(write_block(0, first), kCdbSuccess);
    EXPECT_EQ(write_block(0, first), kCdbParameterError);       // repeats one
    EXPECT_EQ(write_block(kBlock, second), kCdbSuccess);
    EXPECT_EQ(write_block(2 * kBlock, second), kCdbParameterError);  // past the announced size
    EXPECT_EQ(m.downloaded_image(), file);
}

TEST_P(CdbTest, BlockLongerThanWhatRemainsFails) {
    insert();
    const Bytes file = image_file(kHeader + 1000, {5, 0, 0}, 4);
    ASSERT_EQ(start(file), kCdbSuccess);
    const Bytes longer(kBlock, 0xAB);
    EXPECT_EQ(write_block(0, longer), kCdbParameterError);
    EXPECT_EQ(write_block(0, std::span(file).subspan(kHeader)), kCdbSuccess);
}

TEST_P(CdbTest, BlockWithoutADownloadFails) {
    insert();
    EXPECT_EQ(write_block(0, Bytes(kBlock, 1)), kCdbParameterError);
}

TEST_P(CdbTest, RunOfAnIncompleteImageIsRefused) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    const Bytes file = image_file(kHeader + kBlock * 3, {6, 0, 0}, 5);
    ASSERT_EQ(start(file), kCdbSuccess);
    download_blocks(file, 2);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbParameterError);
    EXPECT_EQ(m.running_image(), Bank::a);
    EXPECT_EQ(status_of(kCdbCompleteDownload), kCdbParameterError);
    // The last block still completes it.
    EXPECT_EQ(write_block(2 * kBlock, std::span(file).subspan(kHeader + 2 * kBlock)), kCdbSuccess);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbSuccess);
    EXPECT_EQ(m.running_image(), Bank::b);
}

TEST_P(CdbTest, ModuleThatRequiresCompleteRefusesToRunWithoutIt) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    m.set_cdb_require_complete(true);
    const Bytes file = image_file(kHeader + kBlock, {6, 1, 0}, 6);
    ASSERT_EQ(start(file), kCdbSuccess);
    download_blocks(file);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbParameterError);
    ASSERT_EQ(status_of(kCdbCompleteDownload), kCdbSuccess);
    EXPECT_EQ(at(firmware_info(), kFwStatus) >> kFwImageBShift, 0);  // B valid, neither running nor committed
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbSuccess);
    EXPECT_EQ(m.running_image(), Bank::b);
}

TEST_P(CdbTest, AbortDropsThePartialImage) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    const Bytes file = image_file(kHeader + kBlock * 2, {7, 0, 0}, 7);
    ASSERT_EQ(start(file), kCdbSuccess);
    download_blocks(file, 1);
    ASSERT_EQ(status_of(kCdbAbortDownload), kCdbSuccess);
    EXPECT_FALSE(m.download_in_progress());
    EXPECT_EQ(write_block(kBlock, std::span(file).subspan(kHeader + kBlock)), kCdbParameterError);
    EXPECT_EQ(at(firmware_info(), kFwStatus) >> kFwImageBShift, kFwInvalid);
    EXPECT_EQ(status_of(kCdbRunImage, {0, 0, 0, 0}), kCdbParameterError);
    // A new download starts from scratch.
    ASSERT_EQ(start(file), kCdbSuccess);
    download_blocks(file);
    EXPECT_EQ(m.downloaded_image(), file);
}

TEST_P(CdbTest, StartWhileADownloadRunsAsksForAnAbortFirst) {
    insert();
    const Bytes file = image_file(kHeader + kBlock, {7, 1, 0}, 8);
    ASSERT_EQ(start(file), kCdbSuccess);
    EXPECT_EQ(start(file), kCdbNotAborted);
}

TEST_P(CdbTest, StartRefusesSizesTheBankCannotHold) {
    CmisModule &m = insert();
    m.set_cdb_bank_capacity(1u << 20);
    EXPECT_EQ(start(image_file((1u << 20) + 1, {}, 9)), kCdbParameterError);
    EXPECT_EQ(start(image_file(kHeader, {}, 9)), kCdbParameterError);  // header only
}

TEST_P(CdbTest, ImageCanBeWrittenInLocalPayloadBlocks) {
    CmisModule &m = insert();
    m.set_cdb_reset_time(0ms);
    const Bytes file = image_file(kHeader + 300, {8, 2, 0}, 10);
    ASSERT_EQ(start(file), kCdbSuccess);
    for (std::size_t at = kHeader; at < file.size(); at += 116) {
        Bytes lpl = be32(static_cast<std::uint32_t>(at - kHeader));
        const std::size_t n = std::min<std::size_t>(116, file.size() - at);
        lpl.insert(lpl.end(), file.begin() + at, file.begin() + at + n);
        ASSERT_EQ(status_of(kCdbWriteBlockLpl, lpl), kCdbSuccess);
    }
    ASSERT_EQ(status_of(kCdbCompleteDownload), kCdbSuccess);
    EXPECT_EQ(m.firmware_image(Bank::b).contents, file);
    EXPECT_EQ(m.firmware_image(Bank::b).version, (CmisModule::FirmwareVersion{8, 2, 0}));
}

TEST_P(CdbTest, PullingTheModuleMidDownloadLosesTheDownloadAndKeepsTheRunningImage) {
    CmisModule &m = insert();
    const Bytes file = image_file(kHeader + kBlock * 4, {9, 0, 0}, 11);
    ASSERT_EQ(start(file), kCdbSuccess);
    download_blocks(file, 2);
    std::unique_ptr<Module> pulled = cage_.pull();
    std::uint8_t b = 0;
    EXPECT_EQ(bus_->try_read(0, kCdbStatus1, b), kNoModuleCode);
    usleep(5000000);
    cage_.insert(std::move(pulled));
    m.power_up();  // inserted again: powered anew
    EXPECT_FALSE(m.download_in_progress());
    EXPECT_EQ(write_block(2 * kBlock, std::span(file).subspan(kHeader + 2 * kBlock, kBlock)), kCdbParameterError);
    EXPECT_EQ(m.running_image(), Bank::a);
    EXPECT_EQ(at(firmware_info(), kFwStatus), kFwRunning | kFwCommitted | kFwInvalid << kFwImageBShift);
    EXPECT_EQ(bus_->read(kPage01, kInactiveFirmware), 0);  // bank B was erased by the start
}

INSTANTIATE_TEST_SUITE_P(BothBusModes, CdbTest, ::testing::Values(BusMode::raw, BusMode::direct), qsfp::test::bus_mode_name);

}  // namespace
