// CDB (Command Data Block) operations of a CMIS module: the command block
// and its completion wait, the progress texts of a request, and the firmware
// download built on them.
#pragma once

#include <cstdint>
#include <array>
#include <span>

#include <qsfp/qsfp_cmis.h>

#include "cmis/cmis_regs.h"

namespace qsfp::cmis::cdb {

// CDB command IDs.
inline constexpr std::uint16_t kQueryStatus = 0x0000;
inline constexpr std::uint16_t kFirmwareFeatures = 0x0041;
inline constexpr std::uint16_t kFirmwareInfo = 0x0100;
inline constexpr std::uint16_t kStartDownload = 0x0101;
inline constexpr std::uint16_t kAbortDownload = 0x0102;
inline constexpr std::uint16_t kWriteEplBlock = 0x0104;
inline constexpr std::uint16_t kRunImage = 0x0109;
inline constexpr std::uint16_t kCommitImage = 0x010A;

inline constexpr std::uint32_t kBlockBytes = 256;
inline constexpr std::uint32_t kHeaderBytes = 8;
inline constexpr std::uint32_t kEplBlockBytes = 2048;
inline constexpr std::uint32_t kEplPages = 16;  // A0h-AFh
inline constexpr std::uint32_t kFailed = QSFP_ERR_INVALID;

// One request in progress: where its texts go.
struct Call {
    qsfp_port_ctx *port;
    const cdb_cmd_info *request;
};

// A progress text: traced, logged and appended to the response.
void progress(const Call &call, const char *text);

// Sends a command (`payload` is its local payload, `epl_length` the bytes
// already written to pages A0h-AFh) and waits for its completion and status.
std::uint32_t send_command(const Call &call, std::uint16_t id, std::span<const std::uint8_t> payload,
                           std::uint16_t epl_length = 0);
// Reads the latched completion flags once, which clears them.
std::uint32_t clear_flags(const Call &call);

// The check code of a command block: the ones' complement of the 8-bit sum
// of its header and payload, taken while the check code byte is zero.
constexpr std::uint8_t check_code(std::span<const std::uint8_t> block) {
    std::uint32_t sum = 0;
    for (std::uint8_t b : block) sum += b;
    return static_cast<std::uint8_t>(~sum);
}
static_assert(check_code(std::array<std::uint8_t, 8>{0x01, 0x09, 0, 0, 4, 0, 0, 0}) == 0xF1);

std::uint32_t query_status(const Call &call);
std::uint32_t download(const Call &call);
std::uint32_t run_image(const Call &call);
std::uint32_t commit_image(const Call &call);

}  // namespace qsfp::cmis::cdb
