// The state of the CDB engine of an emulated CMIS module (CMIS 4.0 CDB, one
// instance): the two firmware banks, a download under way, the command in
// progress and the settings and fault switches tests use. The engine itself
// is in sim/cmis_cdb.cpp; CmisModule holds one CdbState and exposes the
// test-side calls.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace qsfp::sim::cdb {

using Duration = std::chrono::nanoseconds;

enum class Bank : std::uint8_t { a = 0, b = 1 };

inline constexpr Bank other(Bank b) { return b == Bank::a ? Bank::b : Bank::a; }

struct FirmwareVersion {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint16_t build = 0;
    friend auto operator<=>(const FirmwareVersion &, const FirmwareVersion &) = default;
};

// What one bank holds. An invalid bank is empty or erased (CMIS: "empty or
// invalid"); `contents` is the file as the host sent it, vendor header first.
struct FirmwareImage {
    bool valid = false;
    FirmwareVersion version;
    std::vector<std::uint8_t> contents;
};

// What the next commands do instead of running normally; `command` limits
// the fault to one command ID (all commands when empty).
struct CdbFault {
    enum class Kind { none, never_complete, fail };
    Kind kind = Kind::none;
    std::optional<std::uint16_t> command;
    std::uint8_t status = 0x42;  // the result a failing command reports
};

// The emulated vendor's image file: the first StartCmdPayloadSize bytes are
// the vendor header the host sends with 0101h; its first four bytes carry
// the image's version (major, minor, build big-endian) when it has four.
inline constexpr std::uint8_t kDefaultStartPayloadSize = 64;
// Largest image the inactive bank takes.
inline constexpr std::uint32_t kDefaultBankCapacity = 16u << 20;
// Time from the end of a Run command to the module answering again.
inline constexpr Duration kDefaultResetTime = std::chrono::seconds(2);

struct Download {
    bool active = false;
    std::uint32_t size = 0;         // the whole file, vendor header included
    std::uint32_t header = 0;       // vendor header bytes, sent with 0101h
    std::uint32_t next_address = 0; // block address the next write must carry
    std::vector<std::uint8_t> contents;  // header, then the blocks in order
    std::uint32_t body() const { return size - header; }
    bool all_received() const { return next_address == body(); }
};

// A command taken from page 9Fh, with its payloads copied when it was taken.
struct Command {
    std::uint16_t id = 0;
    std::uint16_t epl_length = 0;   // as the host declared it
    std::vector<std::uint8_t> lpl;
    std::vector<std::uint8_t> epl;
    std::uint64_t done_ns = 0;
    std::optional<std::uint8_t> forced_status;  // from a fault switch
};

struct CdbState {
    FirmwareImage banks[2];
    Bank running = Bank::a;
    Bank committed = Bank::a;
    Download download;
    std::optional<Command> command;
    std::uint8_t status = 0;             // lower 37
    bool trigger = false;                // 9Fh byte 129 written, taken at the end of the transaction
    bool complete_event = false;         // until latched into lower 8
    std::optional<Bank> resetting_into;  // a Run under way: the bank the module comes back with
    std::uint64_t reset_from_ns = 0;     // after the delay to reset the Run asked for
    std::uint64_t reset_until_ns = 0;
    // Settings.
    std::map<std::uint16_t, Duration> busy_times;
    Duration reset_time = kDefaultResetTime;
    std::uint8_t start_payload_size = kDefaultStartPayloadSize;
    std::uint32_t bank_capacity = kDefaultBankCapacity;
    bool nack_while_busy = false;
    bool require_complete = false;
    CdbFault fault;
    std::map<std::uint16_t, int> commands_taken;
};

}  // namespace qsfp::sim::cdb
