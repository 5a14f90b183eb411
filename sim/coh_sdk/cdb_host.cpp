// The CDB host of the coherent SDK emulator: firmware query, download, run
// and commit as CMIS 4.0 firmware management commands sent through the
// device's callbacks to the module's CDB instance 1 (command block and local
// payload on page 9Fh, status in lower byte 37), with progress text for the
// caller and progress figures for coh_sdk_get_firmware_update_progress.
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <numeric>
#include <vector>

#include "cmis_addresses.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The module is asked for the status every 10 ms, for at most 60 s: longer
// than any command of a firmware download takes, the reset of a Run included.
constexpr useconds_t kPollUs = 10000;
constexpr int kMaxPolls = 6000;
constexpr std::uint32_t kProgressStepPercent = 10;

// The caller's text buffer: lines are appended while they fit, the text
// stays terminated, and nothing is written beyond the capacity.
class Text {
public:
    Text(char *buf, std::uint64_t capacity) : buf_(buf), cap_(buf ? static_cast<std::size_t>(capacity) : 0) {
        if (cap_ > 0) {
            buf_[0] = '\0';
        }
    }
    __attribute__((format(printf, 2, 3))) void line(const char *format, ...) {
        if (cap_ == 0 || used_ + 1 >= cap_) {
            return;
        }
        va_list args;
        va_start(args, format);
        const int n = std::vsnprintf(buf_ + used_, cap_ - used_, format, args);
        va_end(args);
        if (n > 0) {
            used_ = std::min(cap_ - 1, used_ + static_cast<std::size_t>(n));
        }
    }
    std::size_t used() const { return used_; }

private:
    char *buf_;
    std::size_t cap_;
    std::size_t used_ = 0;
};

void put32(Bytes &b, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        b.push_back(static_cast<std::uint8_t>(v >> shift));
    }
}

// Bytes 128-135 of the command block and the local payload, with the check
// code: the ones' complement of the 8-bit sum of the block (check code 0).
Bytes command_block(std::uint16_t id, std::span<const std::uint8_t> lpl) {
    Bytes b = {static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id & 0xFF), 0, 0,
               static_cast<std::uint8_t>(lpl.size()), 0, 0, 0};
    b.insert(b.end(), lpl.begin(), lpl.end());
    const unsigned sum = std::accumulate(b.begin(), b.end(), 0u);
    b[cmis::kCdbCheckCode - cmis::kCdbCommandId] = static_cast<std::uint8_t>(~sum & 0xFF);
    return b;
}

struct Outcome {
    std::uint32_t rc = 0;
    std::uint8_t status = 0;
};

// Waits while the module reports the command busy. A module that does not
// answer (busy without background mode, or resetting after a Run) is asked
// again; one that never answers is a module access failure.
Outcome wait_for(Device &d) {
    Outcome o;
    bool answered = false;
    for (int i = 0; i < kMaxPolls; ++i) {
        usleep(kPollUs);
        std::uint8_t status = 0;
        answered = d.created.i2c_read(d.created.ctx, cmis::kCdbStatus, 1, &status) == 0;
        if (answered && !(status & cmis::kCdbBusy)) {
            o.status = status;
            return o;
        }
    }
    o.rc = answered ? COH_SDK_ERR_CDB : COH_SDK_ERR_MODULE_ACCESS;
    return o;
}

// Sends one command: everything after the command ID first, then the ID,
// whose second byte starts the command. Answers 0 when the module reports success.
std::uint32_t run(Device &d, Text &text, std::uint16_t id, std::span<const std::uint8_t> lpl, Bytes *reply = nullptr) {
    const Bytes block = command_block(id, lpl);
    const std::size_t after_id = cmis::kCdbEplLength - cmis::kCdbCommandId;
    if (const std::uint32_t rc = module_write(d, cmis::kPage9F, cmis::kCdbEplLength, std::span(block).subspan(after_id))) {
        return rc;
    }
    if (const std::uint32_t rc = module_write(d, cmis::kPage9F, cmis::kCdbCommandId, std::span(block).first(after_id))) {
        return rc;
    }
    const Outcome o = wait_for(d);
    if (o.rc == 0 && (o.status & cmis::kCdbFailed) == 0) {
        if (reply == nullptr) {
            return 0;
        }
        std::uint8_t length = 0;
        if (const std::uint32_t rc = module_read(d, cmis::kPage9F, cmis::kCdbReplyLength, std::span(&length, 1))) {
            return rc;
        }
        reply->assign(std::min<std::uint32_t>(length, cmis::kCdbMaxLpl), 0);
        return reply->empty() ? 0 : module_read(d, cmis::kPage9F, cmis::kCdbLpl, *reply);
    }
    log(kLogError, "coh-sdk: device 0x%04x CDB command %04Xh failed, status 0x%02x, rc 0x%x\n", d.created.device_key, id,
        o.status, o.rc);
    text.line("CDB command %04Xh failed, status 0x%02x\n", id, o.status);
    return o.rc != 0 ? o.rc : COH_SDK_ERR_CDB;
}

std::uint32_t require_cdb(Device &d, Text &text) {
    std::uint8_t support = 0;
    if (const std::uint32_t rc = module_read(d, cmis::kPage01, cmis::kCdbSupport, std::span(&support, 1))) {
        return rc;
    }
    if ((support >> 6) == 0) {
        text.line("CDB not supported by the module\n");
        return COH_SDK_ERR_CDB;
    }
    return 0;
}

std::uint8_t reply_at(const Bytes &reply, std::uint32_t addr) {
    const std::size_t i = addr - cmis::kCdbLpl;
    return i < reply.size() ? reply[i] : 0;
}

void image_line(Text &text, const Bytes &reply, char name, std::uint32_t at, std::uint8_t bits) {
    text.line("Image %c: %u.%u.%u%s%s%s\n", name, reply_at(reply, at), reply_at(reply, at + 1),
              reply_at(reply, at + 2) << 8 | reply_at(reply, at + 3), bits & cmis::kFwRunning ? " running" : "",
              bits & cmis::kFwCommitted ? " committed" : "", bits & cmis::kFwInvalid ? " invalid" : "");
}

std::uint32_t query(Device &d, Text &text) {
    Bytes reply;
    if (const std::uint32_t rc = run(d, text, cmis::kCmdGetFirmwareInfo, {}, &reply)) {
        return rc;
    }
    const std::uint8_t status = reply_at(reply, cmis::kFwStatus);
    image_line(text, reply, 'A', cmis::kFwImageA, status & 0x07);
    image_line(text, reply, 'B', cmis::kFwImageB, (status >> cmis::kFwImageBShift) & 0x07);
    return 0;
}

void set_progress(Device &d, FirmwareState state, std::uint32_t bytes, std::uint32_t size) {
    d.fw_state = static_cast<std::uint32_t>(state);
    d.fw_bytes = bytes;
    d.fw_percent = size == 0 ? 0 : static_cast<std::uint32_t>(std::uint64_t{bytes} * 100 / size);
}

bool read_file(const char *path, Bytes &out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Start (size and vendor header), the rest in LPL blocks, then Complete.
std::uint32_t send_image(Device &d, Text &text, const Bytes &file, std::uint32_t header) {
    const auto size = static_cast<std::uint32_t>(file.size());
    Bytes start;
    put32(start, size);
    put32(start, 0);
    start.insert(start.end(), file.begin(), file.begin() + header);
    if (const std::uint32_t rc = run(d, text, cmis::kCmdStartDownload, start)) {
        return rc;
    }
    set_progress(d, FirmwareState::downloading, header, size);
    std::uint32_t reported = 0;
    for (std::uint32_t at = header; at < size;) {
        const std::uint32_t n = std::min(cmis::kMaxBlockData, size - at);
        Bytes block;
        put32(block, at - header);
        block.insert(block.end(), file.begin() + at, file.begin() + at + n);
        if (const std::uint32_t rc = run(d, text, cmis::kCmdWriteBlockLpl, block)) {
            return rc;
        }
        at += n;
        set_progress(d, FirmwareState::downloading, at, size);
        if (d.fw_percent >= reported + kProgressStepPercent) {
            reported = d.fw_percent - d.fw_percent % kProgressStepPercent;
            text.line("Downloaded %u of %u bytes (%u%%)\n", at, size, d.fw_percent.load());
        }
    }
    return run(d, text, cmis::kCmdCompleteDownload, {});
}

std::uint32_t download(Device &d, Text &text, const char *path) {
    if (path == nullptr) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    Bytes file;
    if (!read_file(path, file) || file.empty()) {
        log(kLogError, "coh-sdk: device 0x%04x cannot read firmware file %s\n", d.created.device_key, path);
        text.line("Cannot read %s\n", path);
        return COH_SDK_ERR_FILE;
    }
    Bytes features;
    if (const std::uint32_t rc = run(d, text, cmis::kCmdFirmwareFeatures, {}, &features)) {
        return rc;
    }
    const std::uint32_t header = reply_at(features, cmis::kFwStartPayloadSize);
    if (!(reply_at(features, cmis::kFwWriteMechanism) & cmis::kFwWriteLpl) ||
        header > cmis::kCdbMaxLpl - cmis::kStartFixedLength) {
        text.line("The module takes no firmware blocks in the local payload\n");
        return COH_SDK_ERR_CDB;
    }
    if (file.size() <= header || file.size() > UINT32_MAX) {
        text.line("%s is no firmware image of this module (%zu bytes)\n", path, file.size());
        return COH_SDK_ERR_FILE;
    }
    text.line("Downloading %s (%zu bytes)\n", path, file.size());
    set_progress(d, FirmwareState::downloading, 0, static_cast<std::uint32_t>(file.size()));
    const std::uint32_t rc = send_image(d, text, file, header);
    if (rc != 0) {
        d.fw_state = static_cast<std::uint32_t>(FirmwareState::failed);
        text.line("Download failed after %u bytes\n", d.fw_bytes.load());
        return rc;
    }
    set_progress(d, FirmwareState::done, static_cast<std::uint32_t>(file.size()), static_cast<std::uint32_t>(file.size()));
    text.line("Download complete\n");
    return 0;
}

// Reset to the inactive image now: the module does not answer while it
// restarts, and comes back with byte 127 selecting page 00h.
std::uint32_t run_image(Device &d, Text &text) {
    const Bytes lpl(cmis::kRunLplLength, 0);
    const std::uint32_t rc = run(d, text, cmis::kCmdRunImage, lpl);
    forget_page(d);
    if (rc == 0) {
        text.line("Running the inactive image\n");
    }
    return rc;
}

std::uint32_t commit_image(Device &d, Text &text) {
    const std::uint32_t rc = run(d, text, cmis::kCmdCommitImage, {});
    if (rc == 0) {
        text.line("Running image committed\n");
    }
    return rc;
}

std::uint32_t dispatch(Device &d, Text &text, const coh_sdk_cdb_record &r) {
    if (const std::uint32_t rc = require_cdb(d, text)) {
        return rc;
    }
    switch (r.operation) {
    case COH_SDK_CDB_QUERY:
        return query(d, text);
    case COH_SDK_CDB_DOWNLOAD:
        return download(d, text, reinterpret_cast<const char *>(static_cast<std::uintptr_t>(r.args[0])));
    case COH_SDK_CDB_RUN:
        return run_image(d, text);
    case COH_SDK_CDB_COMMIT:
        return commit_image(d, text);
    }
    return COH_SDK_ERR_INVALID_ARG;
}

bool known_operation(std::uint32_t op) { return op >= COH_SDK_CDB_QUERY && op <= COH_SDK_CDB_COMMIT; }

}  // namespace
}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

extern "C" uint32_t coh_sdk_handle_cdb_cmd(uint32_t device_key, coh_sdk_cdb_record *record) {
    return with_record(__func__, device_key, record, [](Device &d, coh_sdk_cdb_record &r) -> std::uint32_t {
        Text text(reinterpret_cast<char *>(static_cast<std::uintptr_t>(r.args[1])), r.args[2]);
        const std::uint32_t rc = known_operation(r.operation) ? dispatch(d, text, r) : COH_SDK_ERR_INVALID_ARG;
        r.result = text.used();
        return rc;
    });
}

// Reads the progress figures without the device's mutex, so another thread
// can follow a download under way.
extern "C" uint32_t coh_sdk_get_firmware_update_progress(uint32_t device_key, void *percent, void *state, void *bytes) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    const std::shared_ptr<Device> d = find(device_key);
    if (!d) {
        return COH_SDK_ERR_UNKNOWN_KEY;
    }
    if (percent) {
        *static_cast<std::uint32_t *>(percent) = d->fw_percent;
    }
    if (state) {
        *static_cast<std::uint32_t *>(state) = d->fw_state;
    }
    if (bytes) {
        *static_cast<std::uint32_t *>(bytes) = d->fw_bytes;
    }
    return COH_SDK_OK;
}
