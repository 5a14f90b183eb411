// One CDB command: the block is written to page 9Fh a byte at a time, the
// command ID's low byte last (it starts the command), then the latched
// completion flag (lower byte 8) is polled every 10 ms for up to 50 s and
// the CDB status (lower bytes 37-38) read.
#include <cstring>

#include "cmis/cdb.h"
#include "framework/trace.h"
#include "framework/wait.h"

namespace qsfp::cmis::cdb {

namespace {

constexpr std::uint32_t kPollMs = 10;
constexpr std::uint32_t kPolls = 5000;
// Bytes of the block from the EPL length on: EPL length (2), LPL length,
// check code and two reserved bytes before the payload.
constexpr std::uint32_t kHeaderAfterId = 6;

void append_response(const cdb_cmd_info *request, const char *text) {
    if (request == nullptr || request->response == nullptr || request->response_length == nullptr) {
        return;
    }
    const std::size_t length = std::strlen(text);
    const std::uint32_t used = *request->response_length;
    if (request->response_capacity <= used || request->response_capacity - used <= length) {
        return;  // the text would not fit whole: dropped
    }
    std::memcpy(request->response + used, text, length);
    *request->response_length = used + static_cast<std::uint32_t>(length);
}

std::uint32_t write_byte(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t value) {
    return qsfp_access(port, reg, 1, kPage9F, &value, QSFP_ACCESS_WRITE);
}

std::uint32_t wait_complete(const Call &call, std::uint16_t id) {
    qsfp_port_ctx *const port = call.port;
    std::uint8_t flags = 0;
    for (std::uint32_t poll = 0; poll < kPolls; ++poll) {
        const std::uint32_t rc = qsfp_access(call.port, kCdbCompleteFlags, 1, kLower, &flags, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            progress(call, "I2C PAGE0 offset 8 read errors.");
            return rc;
        }
        if (flags >= kCdbComplete) {
            return QSFP_OK;
        }
        framework::wait_ms(kPollMs);
    }
    progress(call, "CDB complete flag not set.");
    trace_err(port, "CDB-ID %d,complete flag not set reg=0x%x\n", id, flags);
    return kFailed;
}

std::uint32_t read_status(const Call &call, std::uint16_t id) {
    qsfp_port_ctx *const port = call.port;
    framework::wait_ms(kPollMs);
    std::uint8_t status[kCdbStatusBytes] = {};
    const std::uint32_t rc = qsfp_access(call.port, kCdbStatus, sizeof status, kLower, status, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        progress(call, "I2C read PAGE0 offset 0x25 errors.");
        return rc;
    }
    if (status[0] == kCdbStatusSuccess || status[1] == kCdbStatusSuccess) {
        qsfp_dd_cdb_cmd_debug_log_file("Port %d, CDB ID %d,status success set", call.port->port, id);
        return QSFP_OK;
    }
    progress(call, "CDB status not set.");
    trace_err(port, "CDB blk[0]=0x%x, blk[1]=0x%x\n", status[0], status[1]);
    if (status[0] == kCdbStatusCheckCode || status[1] == kCdbStatusCheckCode) {
        progress(call, "CheckCode error.");
    } else {
        progress(call, "Failed, blk status unknown.");
    }
    return kFailed;
}

}  // namespace

void progress(const Call &call, const char *text) {
    qsfp_port_ctx *const port = call.port;
    trace_evt(port, "cdb - %s\n", text);
    qsfp_dd_cdb_cmd_debug_log_file("Port %d %s\n", call.port->port, text);
    append_response(call.request, text);
}

std::uint32_t send_command(const Call &call, std::uint16_t id, std::span<const std::uint8_t> payload,
                           std::uint16_t epl_length) {
    if (payload.size() + kHeaderBytes > kBlockBytes) {
        progress(call, "Cmd buf size error.");
        return kFailed;
    }
    std::uint8_t block[kBlockBytes] = {};
    block[0] = static_cast<std::uint8_t>(id >> 8);
    block[1] = static_cast<std::uint8_t>(id);
    block[2] = static_cast<std::uint8_t>(epl_length >> 8);
    block[3] = static_cast<std::uint8_t>(epl_length);
    block[4] = static_cast<std::uint8_t>(payload.size());
    if (!payload.empty()) {
        std::memcpy(block + kHeaderBytes, payload.data(), payload.size());  // an empty span may hold no pointer
    }
    const std::size_t used = kHeaderBytes + payload.size();
    block[5] = check_code(std::span<const std::uint8_t>(block, used));
    for (std::size_t i = 0; i < kHeaderAfterId + payload.size(); ++i) {
        if (const std::uint32_t rc = write_byte(call.port, kCdbEplLength + i, block[2 + i]); rc != QSFP_OK) {
            progress(call, "CDB send header failed.");
            return rc;
        }
    }
    for (std::uint32_t i = 0; i < 2; ++i) {
        if (const std::uint32_t rc = write_byte(call.port, kCdbCommandId + i, block[i]); rc != QSFP_OK) {
            progress(call, "CDB send cmd ID failed.");
            return rc;
        }
    }
    if (const std::uint32_t rc = wait_complete(call, id); rc != QSFP_OK) {
        return rc;
    }
    return read_status(call, id);
}

std::uint32_t clear_flags(const Call &call) {
    std::uint8_t flags = 0;
    const std::uint32_t rc = qsfp_access(call.port, kCdbCompleteFlags, 1, kLower, &flags, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        progress(call, "Unable to clear CDB status register.");
    }
    return rc;
}

}  // namespace qsfp::cmis::cdb
