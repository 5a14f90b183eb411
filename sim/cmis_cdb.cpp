// The CDB engine of the emulated CMIS module (CMIS 4.0 CDB, one instance).
//
// The host writes a command block to page 9Fh (CMD ID 128-129, EPL length
// 130-131, LPL length 132, CdbChkCode 133, LPL from 136) and, for 0104h, the
// extended payload to pages A0h-AFh; writing byte 129 starts the command at
// the end of that transaction. The module checks the block at once (LPL
// length, check code), reports busy in lower byte 37 for the command's busy
// time, then writes the reply (RPLLength 134, RPLChkCode 135, reply from 136),
// the result code in byte 37 and latches lower byte 8 bit 6.
//
// Firmware: two banks, A and B. A download goes to the bank that is not
// running: 0101h erases it and announces the size and vendor header, 0103h /
// 0104h add blocks at consecutive addresses, 0107h (or a Run of a fully
// received image) makes it valid. 0109h resets the module into a bank (the
// module does not answer for the reset time), 010Ah commits the running bank,
// the one a power cycle starts.
#include <qsfp/sim/cmis_module.h>

#include <algorithm>
#include <limits>

namespace qsfp::sim {

using namespace cmis;
using namespace std::chrono_literals;

namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

struct BusyDefault {
    std::uint16_t command;
    cdb::Duration time;
};

// How long each command keeps the module busy unless a test sets another
// time: short for queries, longer where a real module erases or copies flash.
constexpr BusyDefault kBusyDefaults[] = {
    {kCdbQueryStatus, 2ms},      {kCdbFirmwareFeatures, 5ms}, {kCdbGetFirmwareInfo, 5ms},
    {kCdbStartDownload, 200ms},  {kCdbAbortDownload, 20ms},   {kCdbWriteBlockLpl, 10ms},
    {kCdbWriteBlockEpl, 20ms},   {kCdbCompleteDownload, 100ms}, {kCdbRunImage, 20ms},
    {kCdbCommitImage, 100ms},
};
constexpr cdb::Duration kOtherBusy = 1ms;

std::uint16_t be16(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint16_t>(b[at] << 8 | b[at + 1]);
}

std::uint32_t be32(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint32_t>(b[at]) << 24 | static_cast<std::uint32_t>(b[at + 1]) << 16 |
           static_cast<std::uint32_t>(b[at + 2]) << 8 | b[at + 3];
}

void put16(std::vector<std::uint8_t> &b, std::size_t at, std::uint16_t v) {
    b[at] = static_cast<std::uint8_t>(v >> 8);
    b[at + 1] = static_cast<std::uint8_t>(v & 0xFF);
}

std::uint8_t ones_complement_sum(std::span<const std::uint8_t> bytes) {
    unsigned sum = 0;
    for (std::uint8_t b : bytes) {
        sum += b;
    }
    return static_cast<std::uint8_t>(~sum & 0xFF);
}

// CdbChkCode: ones' complement of the 8-bit sum of bytes 128 to 135 + LPL
// length, with bytes 133-135 (the check code and the reply fields) counted as 0.
std::uint8_t command_check_code(const ModuleMemory &m, std::uint8_t lpl_length) {
    std::vector<std::uint8_t> block = m.get_bytes(kPage9F, kCdbCommandId, kCdbLpl - kCdbCommandId + lpl_length);
    std::fill(block.begin() + (kCdbCheckCode - kCdbCommandId), block.begin() + (kCdbLpl - kCdbCommandId), 0);
    return ones_complement_sum(block);
}

std::uint64_t to_ns(cdb::Duration d) { return static_cast<std::uint64_t>(std::max<std::int64_t>(d.count(), 0)); }

std::uint16_t to_ms_capped(cdb::Duration d) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(d).count();
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(ms, 0, 0xFFFF));
}

// The emulated vendor's header names the image's version in its first bytes.
cdb::FirmwareVersion version_in_header(std::span<const std::uint8_t> header) {
    if (header.size() < 4) {
        return {};
    }
    return {header[0], header[1], be16(header, 2)};
}

std::size_t bank_index(cdb::Bank b) { return static_cast<std::size_t>(b); }

}  // namespace

// ---- Set-up and test-side calls -------------------------------------------------------

bool CmisModule::cdb_supported_locked() const {
    const ModuleMemory &m = memory();
    return paged() && m.has_page(kPage01) && m.has_page(kPage9F) && (m.get(kPage01, kCdbSupport) >> kCdbInstancesShift) != 0;
}

bool CmisModule::cdb_supported() const {
    std::lock_guard lock(mu_);
    return cdb_supported_locked();
}

void CmisModule::cdb_load_from_image() {
    const ModuleMemory &m = memory();
    cdb::FirmwareImage &a = cdb_.banks[bank_index(Bank::a)];
    cdb::FirmwareImage &b = cdb_.banks[bank_index(Bank::b)];
    a = {true, {m.get(0, kActiveFirmware), m.get(0, kActiveFirmware + 1), 0}, {}};
    b = {};
    if (m.has_page(kPage01)) {
        b.version = {m.get(kPage01, kInactiveFirmware), m.get(kPage01, kInactiveFirmware + 1), 0};
        b.valid = b.version != cdb::FirmwareVersion{};
    }
    cdb_.running = cdb_.committed = Bank::a;
}

// A power cycle or reset: the command and any download are lost, the
// committed bank starts. The banks themselves are non-volatile.
void CmisModule::cdb_power_up() {
    cdb_.download = {};
    cdb_.command.reset();
    cdb_.status = 0;
    cdb_.trigger = false;
    cdb_.complete_event = false;
    cdb_.resetting_into.reset();
    cdb_.running = cdb_.committed;
}

void CmisModule::set_firmware_image(Bank bank, FirmwareImage image) {
    update([&] { cdb_.banks[bank_index(bank)] = std::move(image); });
}

CmisModule::FirmwareImage CmisModule::firmware_image(Bank bank) {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.banks[bank_index(bank)];
}

void CmisModule::set_running_image(Bank bank) {
    update([&] { cdb_.running = bank; });
}

void CmisModule::set_committed_image(Bank bank) {
    update([&] { cdb_.committed = bank; });
}

CmisModule::Bank CmisModule::running_image() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.running;
}

CmisModule::Bank CmisModule::committed_image() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.committed;
}

std::vector<std::uint8_t> CmisModule::downloaded_image() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.download.active ? cdb_.download.contents : cdb_.banks[bank_index(cdb::other(cdb_.running))].contents;
}

bool CmisModule::download_in_progress() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.download.active;
}

void CmisModule::set_cdb_busy_time(std::uint16_t command, Duration t) {
    update([&] { cdb_.busy_times[command] = t; });
}

CmisModule::Duration CmisModule::cdb_busy_time(std::uint16_t command) const {
    std::lock_guard lock(mu_);
    return Duration(cdb_busy_ns(command));
}

std::uint64_t CmisModule::cdb_busy_ns(std::uint16_t command) const {
    if (const auto it = cdb_.busy_times.find(command); it != cdb_.busy_times.end()) {
        return to_ns(it->second);
    }
    for (const BusyDefault &d : kBusyDefaults) {
        if (d.command == command) {
            return to_ns(d.time);
        }
    }
    return to_ns(kOtherBusy);
}

void CmisModule::set_cdb_reset_time(Duration t) {
    update([&] { cdb_.reset_time = t; });
}

void CmisModule::set_cdb_start_payload_size(std::uint8_t bytes) {
    update([&] { cdb_.start_payload_size = std::min(bytes, static_cast<std::uint8_t>(kCdbMaxLpl - kStartFixedLength)); });
}

void CmisModule::set_cdb_bank_capacity(std::uint32_t bytes) {
    update([&] { cdb_.bank_capacity = bytes; });
}

void CmisModule::set_cdb_nack_while_busy(bool nack) {
    update([&] { cdb_.nack_while_busy = nack; });
}

void CmisModule::set_cdb_require_complete(bool require) {
    update([&] { cdb_.require_complete = require; });
}

void CmisModule::set_cdb_fault(CdbFault fault) {
    update([&] { cdb_.fault = fault; });
}

std::uint8_t CmisModule::cdb_status() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return cdb_.status;
}

int CmisModule::cdb_commands_taken(std::uint16_t command) const {
    std::lock_guard lock(mu_);
    const auto it = cdb_.commands_taken.find(command);
    return it == cdb_.commands_taken.end() ? 0 : it->second;
}

// ---- Timing and the bus ------------------------------------------------------------------

// A module resetting after Run answers nothing; one outside background mode
// answers nothing while a command runs. Deadlines are absolute, so the
// answer is right between catch-ups.
bool CmisModule::cdb_refuses_bus(std::uint64_t now) const {
    if (cdb_.resetting_into && now >= cdb_.reset_from_ns && now < cdb_.reset_until_ns) {
        return true;
    }
    return cdb_.nack_while_busy && cdb_.command && now < cdb_.command->done_ns;
}

std::array<std::uint64_t, 3> CmisModule::cdb_deadlines() const {
    std::array<std::uint64_t, 3> at = {kNever, kNever, kNever};
    if (cdb_.command) {
        at[0] = cdb_.command->done_ns;
    }
    if (cdb_.resetting_into) {
        at[1] = cdb_.reset_from_ns;
        at[2] = cdb_.reset_until_ns;
    }
    return at;
}

std::size_t CmisModule::cdb_epl_capacity() const {
    const std::uint8_t code = memory().get(kPage01, kCdbSupport) & kCdbEplPagesMask;
    return code < kCdbEplPages.size() ? kCdbEplPages[code] * kCdbEplPageSize : 0;
}

// Lower 37 (instance 1; instance 2 is not implemented and reads 0), lower
// 39-40 the running bank's version, page 01h 128-129 the other bank's.
void CmisModule::write_cdb_state() {
    if (!cdb_supported_locked()) {
        return;
    }
    ModuleMemory &m = memory();
    m.set(0, kCdbStatus1, cdb_.status);
    m.set(0, kCdbStatus2, 0);
    const cdb::FirmwareImage &running = cdb_.banks[bank_index(cdb_.running)];
    const cdb::FirmwareImage &inactive = cdb_.banks[bank_index(cdb::other(cdb_.running))];
    m.set(0, kActiveFirmware, running.version.major);
    m.set(0, kActiveFirmware + 1, running.version.minor);
    m.set(kPage01, kInactiveFirmware, inactive.valid ? inactive.version.major : 0);
    m.set(kPage01, kInactiveFirmware + 1, inactive.valid ? inactive.version.minor : 0);
}

// ---- Taking and finishing commands ---------------------------------------------------------

// The module checks what it can at once: a payload longer than page 9Fh
// holds, then the check code. A command written while another runs is ignored.
void CmisModule::take_cdb_command() {
    if (!cdb_supported_locked() || cdb_.command || cdb_.resetting_into) {
        return;
    }
    const ModuleMemory &m = memory();
    cdb::Command c;
    c.id = static_cast<std::uint16_t>(m.get(kPage9F, kCdbCommandId) << 8 | m.get(kPage9F, kCdbCommandIdLow));
    c.epl_length = static_cast<std::uint16_t>(m.get(kPage9F, kCdbEplLength) << 8 | m.get(kPage9F, kCdbEplLength + 1));
    const std::uint8_t lpl_length = m.get(kPage9F, kCdbLplLength);
    ++cdb_.commands_taken[c.id];
    if (lpl_length > kCdbMaxLpl) {
        finish_cdb(kCdbParameterError, {});
        return;
    }
    if (m.get(kPage9F, kCdbCheckCode) != command_check_code(m, lpl_length)) {
        finish_cdb(kCdbCheckCodeError, {});
        return;
    }
    c.lpl = m.get_bytes(kPage9F, kCdbLpl, lpl_length);
    const std::size_t epl = std::min<std::size_t>(c.epl_length, cdb_epl_capacity());
    for (std::size_t i = 0; i < epl; ++i) {
        const auto page = static_cast<std::uint8_t>(kPageA0 + i / kCdbEplPageSize);
        c.epl.push_back(m.get(page, static_cast<std::uint8_t>(kHalfPage + i % kCdbEplPageSize)));
    }
    std::uint64_t busy = cdb_busy_ns(c.id);
    if (c.id == kCdbQueryStatus && c.lpl.size() >= 2) {
        busy += std::uint64_t{be16(c.lpl, 0)} * 1000000;  // the response delay the host asked for, in ms
    }
    c.done_ns = t_ns_ + busy;
    const cdb::CdbFault &f = cdb_.fault;
    if (f.kind != cdb::CdbFault::Kind::none && (!f.command || *f.command == c.id)) {
        if (f.kind == cdb::CdbFault::Kind::never_complete) {
            c.done_ns = kNever;
        } else {
            c.forced_status = f.status;
        }
    }
    cdb_.command = std::move(c);
    cdb_.status = kCdbBusyExecuting;
}

void CmisModule::step_cdb() {
    if (cdb_.resetting_into && t_ns_ >= cdb_.reset_until_ns) {
        finish_cdb_reset();
    }
    if (cdb_.command && t_ns_ >= cdb_.command->done_ns) {
        const cdb::Command c = std::move(*cdb_.command);
        cdb_.command.reset();
        execute_cdb(c);
    }
}

void CmisModule::execute_cdb(const cdb::Command &c) {
    using Handler = std::uint8_t (CmisModule::*)(const cdb::Command &, std::vector<std::uint8_t> &);
    struct Entry {
        std::uint16_t id;
        Handler run;
    };
    static constexpr Entry kCommands[] = {
        {kCdbQueryStatus, &CmisModule::cdb_query_status},
        {kCdbFirmwareFeatures, &CmisModule::cdb_firmware_features},
        {kCdbGetFirmwareInfo, &CmisModule::cdb_firmware_info},
        {kCdbStartDownload, &CmisModule::cdb_start_download},
        {kCdbAbortDownload, &CmisModule::cdb_abort_download},
        {kCdbWriteBlockLpl, &CmisModule::cdb_write_block_lpl},
        {kCdbWriteBlockEpl, &CmisModule::cdb_write_block_epl},
        {kCdbCompleteDownload, &CmisModule::cdb_complete_download},
        {kCdbRunImage, &CmisModule::cdb_run_image},
        {kCdbCommitImage, &CmisModule::cdb_commit_image},
    };
    std::vector<std::uint8_t> reply;
    std::uint8_t status = kCdbUnknownCommand;
    if (c.forced_status) {
        status = *c.forced_status;
    } else {
        for (const Entry &e : kCommands) {
            if (e.id == c.id) {
                // Only Write Firmware Block (EPL) carries an extended payload.
                const bool epl_ok = c.id == kCdbWriteBlockEpl || c.epl_length == 0;
                status = epl_ok ? (this->*e.run)(c, reply) : kCdbParameterError;
                break;
            }
        }
    }
    if (status == kCdbSuccess && cdb_.resetting_into) {
        return;  // Run completes when the module is back
    }
    finish_cdb(status, status == kCdbSuccess ? reply : std::vector<std::uint8_t>{});
}

void CmisModule::finish_cdb(std::uint8_t status, const std::vector<std::uint8_t> &reply) {
    ModuleMemory &m = memory();
    const std::size_t length = std::min<std::size_t>(reply.size(), kCdbMaxLpl);
    const std::span<const std::uint8_t> body(reply.data(), length);
    m.set(kPage9F, kCdbReplyLength, static_cast<std::uint8_t>(length));
    m.set(kPage9F, kCdbReplyCheckCode, ones_complement_sum(body));
    m.set_bytes(kPage9F, kCdbLpl, body);
    cdb_.status = status;
    cdb_.complete_event = true;
}

// The module comes back from the reset a Run asked for: a restart, running
// the bank the Run named, with the Run reported successful.
void CmisModule::finish_cdb_reset() {
    const Bank into = *cdb_.resetting_into;
    restart_locked(cdb_.reset_until_ns);
    cdb_.running = into;
    finish_cdb(kCdbSuccess, {});
}

// ---- Commands ----------------------------------------------------------------------------

// 0000h: LPL 2 bytes (response delay in ms). Reply: the length of the status
// field (1) and the status; bit 0 (host password accepted) stays clear, as
// this module has no password.
std::uint8_t CmisModule::cdb_query_status(const cdb::Command &c, std::vector<std::uint8_t> &reply) {
    if (c.lpl.size() != 2) {
        return kCdbParameterError;
    }
    reply = {1, 0};
    return kCdbSuccess;
}

// 0041h: no LPL. Reply 136-153: features, StartCmdPayloadSize, the erased
// byte value, the access length extension, both write mechanisms, no
// readback, no hitless restart, and the maximum durations in ms.
std::uint8_t CmisModule::cdb_firmware_features(const cdb::Command &c, std::vector<std::uint8_t> &reply) {
    if (!c.lpl.empty()) {
        return kCdbParameterError;
    }
    reply.assign(kFwFeaturesReplyLength, 0);
    const auto at = [](std::uint8_t addr) { return static_cast<std::size_t>(addr - kCdbLpl); };
    reply[at(kFwStartPayloadSize)] = cdb_.start_payload_size;
    reply[at(kFwErasedByte)] = 0xFF;
    reply[at(kFwReadWriteLength)] = memory().get(kPage01, kCdbReadWriteLength);
    reply[at(kFwWriteMechanism)] = kFwWriteLplAndEpl;
    put16(reply, at(kFwMaxDurationStart), to_ms_capped(Duration(cdb_busy_ns(kCdbStartDownload))));
    put16(reply, at(kFwMaxDurationAbort), to_ms_capped(Duration(cdb_busy_ns(kCdbAbortDownload))));
    put16(reply, at(kFwMaxDurationWrite), to_ms_capped(Duration(cdb_busy_ns(kCdbWriteBlockEpl))));
    put16(reply, at(kFwMaxDurationComplete), to_ms_capped(Duration(cdb_busy_ns(kCdbCompleteDownload))));
    return kCdbSuccess;
}

// 0100h: no LPL. Reply 136-209: status bits per bank, which images have
// information, then images A and B (major, minor, build, 32-byte extra
// string, left empty). An empty or erased bank reports version 0.0.0.
std::uint8_t CmisModule::cdb_firmware_info(const cdb::Command &c, std::vector<std::uint8_t> &reply) {
    if (!c.lpl.empty()) {
        return kCdbParameterError;
    }
    reply.assign(kFwInfoReplyLength, 0);
    std::uint8_t status = 0;
    for (Bank bank : {Bank::a, Bank::b}) {
        const cdb::FirmwareImage &image = cdb_.banks[bank_index(bank)];
        std::uint8_t bits = 0;
        bits |= cdb_.running == bank ? kFwRunning : 0;
        bits |= cdb_.committed == bank ? kFwCommitted : 0;
        bits |= image.valid ? 0 : kFwInvalid;
        status |= static_cast<std::uint8_t>(bits << (bank == Bank::a ? 0 : kFwImageBShift));
        const std::size_t at = (bank == Bank::a ? kFwImageA : kFwImageB) - kCdbLpl;
        if (image.valid) {
            reply[at] = image.version.major;
            reply[at + 1] = image.version.minor;
            put16(reply, at + 2, image.version.build);
        }
    }
    reply[kFwStatus - kCdbLpl] = status;
    reply[kFwImageInfo - kCdbLpl] = 0x03;  // images A and B, no factory image
    return kCdbSuccess;
}

// 0101h: LPL = image size (the whole file), 4 reserved bytes, then exactly
// StartCmdPayloadSize bytes of vendor header. The bank that is not running is
// erased. A download already under way must be aborted first.
std::uint8_t CmisModule::cdb_start_download(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (c.lpl.size() != std::size_t{kStartFixedLength} + cdb_.start_payload_size) {
        return kCdbParameterError;
    }
    if (cdb_.download.active) {
        return kCdbNotAborted;
    }
    const std::uint32_t size = be32(c.lpl, kStartImageSize - kCdbLpl);
    if (size <= cdb_.start_payload_size || size > cdb_.bank_capacity) {
        return kCdbParameterError;
    }
    cdb_.banks[bank_index(cdb::other(cdb_.running))] = {};
    cdb::Download &d = cdb_.download;
    d = {};
    d.active = true;
    d.size = size;
    d.header = cdb_.start_payload_size;
    d.contents.reserve(size);
    d.contents.assign(c.lpl.begin() + kStartFixedLength, c.lpl.end());
    return kCdbSuccess;
}

// 0102h: the partial image is dropped; its bank stays erased.
std::uint8_t CmisModule::cdb_abort_download(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (!c.lpl.empty()) {
        return kCdbParameterError;
    }
    cdb_.download = {};
    return kCdbSuccess;
}

// 0103h: LPL = block address, then the data.
std::uint8_t CmisModule::cdb_write_block_lpl(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (c.lpl.size() <= kBlockAddressLength) {
        return kCdbParameterError;
    }
    return cdb_write_block(be32(c.lpl, 0), std::span(c.lpl).subspan(kBlockAddressLength));
}

// 0104h: LPL = block address; the data is the extended payload, EPL length
// bytes from page A0h on (at most the pages page 01h byte 163 advertises).
std::uint8_t CmisModule::cdb_write_block_epl(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (c.lpl.size() != kBlockAddressLength || c.epl_length == 0 || c.epl_length > c.epl.size()) {
        return kCdbParameterError;
    }
    return cdb_write_block(be32(c.lpl, 0), c.epl);
}

// Block addresses count from the first byte after the vendor header. Blocks
// come in order, each at the address where the previous one ended, and none
// runs past the announced size.
std::uint8_t CmisModule::cdb_write_block(std::uint32_t address, std::span<const std::uint8_t> data) {
    cdb::Download &d = cdb_.download;
    if (!d.active || data.empty() || address != d.next_address || data.size() > d.body() - d.next_address) {
        return kCdbParameterError;
    }
    d.contents.insert(d.contents.end(), data.begin(), data.end());
    d.next_address += static_cast<std::uint32_t>(data.size());
    return kCdbSuccess;
}

// 0107h: every byte announced must have arrived; the inactive bank then
// holds a valid image.
std::uint8_t CmisModule::cdb_complete_download(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (!c.lpl.empty() || !cdb_.download.active || !cdb_.download.all_received()) {
        return kCdbParameterError;
    }
    cdb_finish_download();
    return kCdbSuccess;
}

// The downloaded image becomes the inactive bank's valid contents.
void CmisModule::cdb_finish_download() {
    cdb::Download &d = cdb_.download;
    const std::span<const std::uint8_t> header(d.contents.data(), d.header);
    cdb_.banks[bank_index(cdb::other(cdb_.running))] = {true, version_in_header(header), std::move(d.contents)};
    d = {};
}

// 0109h: LPL = reserved, mode, delay to reset (ms). Modes 0 and 1 start the
// inactive bank, 2 and 3 the running one again; the hitless modes reset like
// the others, as this module advertises no hitless restart. The inactive bank
// must hold a valid image: a download still missing bytes (or, when the
// module requires it, not completed with 0107h) is refused.
std::uint8_t CmisModule::cdb_run_image(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (c.lpl.size() != kRunLplLength) {
        return kCdbParameterError;
    }
    const std::uint8_t mode = c.lpl[kRunMode - kCdbLpl];
    if (mode > kRunRunningHitless) {
        return kCdbParameterError;
    }
    const Bank into = mode <= kRunInactiveHitless ? cdb::other(cdb_.running) : cdb_.running;
    if (into != cdb_.running && cdb_.download.active) {
        const cdb::Download &d = cdb_.download;
        if (!d.all_received() || cdb_.require_complete) {
            return kCdbParameterError;
        }
        cdb_finish_download();
    }
    if (!cdb_.banks[bank_index(into)].valid) {
        return kCdbParameterError;
    }
    cdb_.resetting_into = into;
    cdb_.reset_from_ns = t_ns_ + std::uint64_t{be16(c.lpl, kRunDelay - kCdbLpl)} * 1000000;
    cdb_.reset_until_ns = cdb_.reset_from_ns + to_ns(cdb_.reset_time);
    return kCdbSuccess;
}

// 010Ah: the running bank becomes the one a power cycle starts.
std::uint8_t CmisModule::cdb_commit_image(const cdb::Command &c, std::vector<std::uint8_t> &) {
    if (!c.lpl.empty()) {
        return kCdbParameterError;
    }
    cdb_.committed = cdb_.running;
    return kCdbSuccess;
}

}  // namespace qsfp::sim
