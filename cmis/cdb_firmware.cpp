// CDB status query and module firmware download: the features and image
// versions are read, any earlier download aborted, the download started with
// the image's vendor header, the rest of the image written in EPL blocks of
// 2048 bytes over pages A0h-AFh, then run and commit as asked.
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "cmis/cdb.h"
#include "framework/trace.h"

namespace qsfp::cmis::cdb {

namespace {

constexpr std::uint32_t kQueryPayload = 2;
constexpr std::uint32_t kRunPayload = 4;
constexpr std::uint32_t kReplyCap = 120;
constexpr std::uint32_t kVersionBytes = 4;
constexpr std::uint32_t kStartHeader = 8;  // image size (4, big-endian) and 4 reserved bytes
constexpr std::uint32_t kEplPageBytes = 128;

struct FileCloser {
    void operator()(std::FILE *f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool commits(const Call &call) {
    const std::uint32_t command = call.request->command;
    return command == QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT || command == QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT + 1;
}

bool runs(const Call &call) { return call.request->command >= QSFP_DD_CDB_DOWNLOAD_RUN; }

std::uint32_t read_9f(qsfp_port_ctx *port, std::uint32_t reg, std::uint32_t len, std::uint8_t *out) {
    return qsfp_access(port, reg, len, kPage9F, out, QSFP_ACCESS_READ);
}

std::uint32_t query(const Call &call) {
    if (const std::uint32_t rc = clear_flags(call); rc != QSFP_OK) {
        return rc;
    }
    const std::array<std::uint8_t, kQueryPayload> payload{};
    if (const std::uint32_t rc = send_command(call, kQueryStatus, payload); rc != QSFP_OK) {
        return rc;
    }
    std::uint8_t length = 0;
    if (const std::uint32_t rc = read_9f(call.port, kCdbReplyLength, 1, &length); rc != QSFP_OK) {
        return rc;
    }
    length = static_cast<std::uint8_t>(std::min<std::uint32_t>(length, kReplyCap));
    // The reply from byte 137 on; a length of 0 or 1 leaves nothing to read.
    std::array<std::uint8_t, kReplyCap> reply{};
    if (length > 1) {
        if (const std::uint32_t rc = read_9f(call.port, kCdbReply, length - 1U, reply.data()); rc != QSFP_OK) {
            return rc;
        }
    }
    progress(call, reply[kCdbUnlocked - kCdbReply] != 0 ? "Firmware Download Feature Unlocked."
                                                        : "Firmware Download Feature locked.");
    return QSFP_OK;
}

// Image A and B versions and the status flags, for the log; failures only
// say so.
void report_versions(const Call &call) {
    qsfp_port_ctx *const port = call.port;
    std::uint8_t a[kVersionBytes] = {};
    std::uint8_t b[kVersionBytes] = {};
    if (read_9f(call.port, kCdbImageAVersion, sizeof a, a) != QSFP_OK ||
        read_9f(call.port, kCdbImageBVersion, sizeof b, b) != QSFP_OK) {
        progress(call, "Unable to read module firmware version.");
    } else {
        trace_evt(port, "a-major[%d], a-minor[%d], a-bld[%d], a-bld[%d]\n", a[0], a[1], a[2], a[3]);
        qsfp_dd_cdb_cmd_debug_log_file("a-major[%d], a-minor[%d], a-bld[%d], a-bld[%d]\n", a[0], a[1], a[2], a[3]);
        trace_evt(port, "b-major[%d], b-minor[%d], b-bld[%d], b-bld[%d]\n", b[0], b[1], b[2], b[3]);
        qsfp_dd_cdb_cmd_debug_log_file("b-major[%d], b-minor[%d], b-bld[%d], b-bld[%d]\n", b[0], b[1], b[2], b[3]);
    }
    std::uint8_t info[2] = {};
    if (read_9f(call.port, kCdbInfoStatus, sizeof info, info) != QSFP_OK) {
        progress(call, "Unable to read firmware status flag.");
    } else {
        trace_evt(port, "status-flag [%d], info-block[%d]\n", info[0], info[1]);
        qsfp_dd_cdb_cmd_debug_log_file("status-flag [%d], info-block[%d]\n", info[0], info[1]);
    }
}

// Features, versions and abort before the download starts; answers the
// vendor header length through `header`.
std::uint32_t prepare(const Call &call, std::uint8_t *header) {
    qsfp_port_ctx *const port = call.port;
    const std::uint32_t command = call.request->command;
    if (const std::uint32_t rc = clear_flags(call); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = send_command(call, kFirmwareFeatures, {}); rc != QSFP_OK) {
        progress(call, "Unable to send cdb feature implementation.");
        trace_err(port, "Unable to send cdb feature impl cmd-id:%d\n", command);
        return rc;
    }
    if (const std::uint32_t rc = read_9f(call.port, kCdbVendorHeaderLength, 1, header); rc != QSFP_OK) {
        progress(call, "I2C PAGE0 offset 138 read errors.");
        return rc;
    }
    trace_evt(port, "cdb-cmd-id:%d, vendor payload %d\n", command, *header);
    if (const std::uint32_t rc = send_command(call, kFirmwareInfo, {}); rc != QSFP_OK) {
        progress(call, "Unable to send cdb firmware get.");
        trace_err(port, "Unable to send cdb firmware get cmd-id:%d\n", command);
        return rc;
    }
    report_versions(call);
    if (send_command(call, kAbortDownload, {}) != QSFP_OK) {
        progress(call, "Unable to send cdb abort.");
        trace_err(port, "Unable to send cdb abort cmd-id:%d\n", command);
    }
    return QSFP_OK;
}

std::uint32_t start(const Call &call, std::FILE *file, std::uint32_t size, std::uint8_t header) {
    std::array<std::uint8_t, kBlockBytes> payload{};
    payload[0] = static_cast<std::uint8_t>(size >> 24);
    payload[1] = static_cast<std::uint8_t>(size >> 16);
    payload[2] = static_cast<std::uint8_t>(size >> 8);
    payload[3] = static_cast<std::uint8_t>(size);
    const std::size_t length = kStartHeader + header;
    if (length + kHeaderBytes <= kBlockBytes && std::fread(payload.data() + kStartHeader, 1, header, file) != header) {
        progress(call, "Unable to read vendor payload.");
        return kFailed;
    }
    const std::uint32_t rc =
        send_command(call, kStartDownload, std::span<const std::uint8_t>(payload.data(), std::min(length, payload.size())));
    if (rc != QSFP_OK) {
        progress(call, "Unable to send cdb start download.");
    }
    return rc;
}

// Pages A0h on, 128 bytes each at bytes 128-255, one byte per access.
std::uint32_t write_epl(const Call &call, std::FILE *file, std::uint32_t length) {
    qsfp_port_ctx *const port = call.port;
    std::uint8_t page_bytes[kEplPageBytes];
    for (std::uint32_t page = 0; page * kEplPageBytes < length; ++page) {
        const std::uint32_t count = std::min(kEplPageBytes, length - page * kEplPageBytes);
        if (std::fread(page_bytes, 1, count, file) != count) {
            progress(call, "File read bytes mismatch.");
            trace_err(port, "File read bytes mismatch cmd-id:%d\n", call.request->command);
            return kFailed;
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            if (const std::uint32_t rc = qsfp_access(call.port, kHalfPage + i, 1, kPageA0 + page, &page_bytes[i],
                                                     QSFP_ACCESS_WRITE);
                rc != QSFP_OK) {
                progress(call, "Unable to write EPL pages.");
                trace_err(port, "unable to write EPL pages cmd-id:%d\n", call.request->command);
                return rc;
            }
        }
    }
    return QSFP_OK;
}

std::uint32_t send_block(const Call &call, std::FILE *file, std::uint32_t address, std::uint32_t length) {
    qsfp_port_ctx *const port = call.port;
    qsfp_dd_cdb_cmd_debug_log_file("[Start] Port %d, epl_blk_addr 0x%08x, data_len 0x%x\n", call.port->port, address,
                                   length);
    if (const std::uint32_t rc = write_epl(call, file, length); rc != QSFP_OK) {
        return rc;
    }
    const std::uint32_t block_address = address & ~0xFFU;
    const std::array<std::uint8_t, 4> payload = {static_cast<std::uint8_t>(block_address >> 24),
                                                 static_cast<std::uint8_t>(block_address >> 16),
                                                 static_cast<std::uint8_t>(block_address >> 8), 0};
    if (const std::uint32_t rc = send_command(call, kWriteEplBlock, payload, static_cast<std::uint16_t>(length));
        rc != QSFP_OK) {
        progress(call, "Unable to download EPL.");
        trace_err(port, "unable to download EPL cmd-id:%d,data_len %d, epl_blk_addr 0x%x\n",
                  call.request->command, length, address);
        return rc;
    }
    qsfp_dd_cdb_cmd_debug_log_file("[End] Port %d, epl_blk_addr 0x%08x, data_len 0x%x\n", call.port->port, address,
                                   length);
    return QSFP_OK;
}

std::uint32_t send_blocks(const Call &call, std::FILE *file, std::uint32_t remaining) {
    qsfp_port_ctx *const port = call.port;
    for (std::uint32_t address = 0;; address += kEplBlockBytes) {
        const std::uint32_t length = std::min(kEplBlockBytes, remaining);
        if (length == 0) {
            return QSFP_OK;
        }
        if (const std::uint32_t rc = send_block(call, file, address, length); rc != QSFP_OK) {
            progress(call, "Unable to download epl data.");
            trace_err(port, "Unable to download epl data cmd-id:%d\n", call.request->command);
            return rc;
        }
        if (length < kEplBlockBytes) {
            return QSFP_OK;
        }
        remaining -= length;
    }
}

// The image file, open, and its size; failures are answered with 22.
File open_image(const Call &call, std::uint32_t *size) {
    qsfp_port_ctx *const port = call.port;
    const std::uint32_t command = call.request->command;
    if (call.request->file_name == nullptr) {
        progress(call, "File name unknown.");
        trace_err(port, "File name unknown cmd-id:%d\n", command);
        return nullptr;
    }
    File file(std::fopen(call.request->file_name, "rb"));
    if (!file) {
        progress(call, "File open error.");
        trace_err(port, "File name unknown cmd-id:%d\n", command);
        return nullptr;
    }
    long end = -1;
    if (std::fseek(file.get(), 0, SEEK_END) == 0) {
        end = std::ftell(file.get());
    }
    *size = end > 0 ? static_cast<std::uint32_t>(static_cast<unsigned long>(end)) : 0;
    if (*size == 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
        progress(call, "Invalid image size.");
        trace_err(port, "Invalid image size cmd-id:%d\n", command);
        return nullptr;
    }
    return file;
}

}  // namespace

std::uint32_t query_status(const Call &call) {
    const std::uint32_t rc = query(call);
    progress(call, rc == QSFP_OK ? "Success, CDB query." : "Failed, CDB query.");
    return rc;
}

std::uint32_t commit_image(const Call &call) {
    const std::uint32_t rc = send_command(call, kCommitImage, {});
    progress(call, rc == QSFP_OK ? "CDB command commit executed." : "Error, CDB command commit executed.");
    return rc;
}

std::uint32_t run_image(const Call &call) {
    const std::array<std::uint8_t, kRunPayload> payload{};
    const std::uint32_t rc = send_command(call, kRunImage, payload);
    if (rc != QSFP_OK) {
        progress(call, "Error, CDB command run not executed.");
        return rc;
    }
    progress(call, "CDB command run executed.");
    return commits(call) ? commit_image(call) : QSFP_OK;
}

std::uint32_t download(const Call &call) {
    qsfp_port_ctx *const port = call.port;
    const std::uint32_t command = call.request->command;
    std::uint32_t size = 0;
    const File file = open_image(call, &size);
    if (!file) {
        return kFailed;
    }
    std::uint8_t header = 0;
    if (const std::uint32_t rc = prepare(call, &header); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = start(call, file.get(), size, header); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = send_blocks(call, file.get(), size > header ? size - header : 0); rc != QSFP_OK) {
        return rc;
    }
    progress(call, "Last epl block download success.");
    if (!runs(call)) {
        return QSFP_OK;
    }
    const std::uint32_t rc = run_image(call);
    if (rc != QSFP_OK) {
        trace_err(port, "firmware download-run-cmt failed cmd-id:%d\n", command);
    } else {
        trace_evt(port, "firmware download-run-cmt success cmd-id:%d\n", command);
    }
    return rc;
}

}  // namespace qsfp::cmis::cdb
