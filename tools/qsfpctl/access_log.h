// The bus-transaction log: every access the library makes through a cage's
// access functions, one JSON line each, so a problem seen on a real switch
// can be carried here and replayed (`--record FILE`, `--replay FILE`).
//
// A log starts with one "cage" line per cage (what the backend was and how
// the library reached it), then one "access" line per transfer:
//   {"record":"access","cage":1,"time_us":12,"direction":"read","page":0,
//    "register":0,"length":1,"bytes":"11","result":0}
// `bytes` is the data read or written, hex, empty when the transfer failed
// before data moved; `time_us` is the run's clock (virtual for emulated
// cages).
#pragma once

#include <cstdint>
#include <fstream>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cage_backend.h"

namespace qsfpctl {

enum class AccessDirection { read, write, bit_bang_read };
const char *direction_name(AccessDirection direction);
std::optional<AccessDirection> direction_from_name(const std::string &name);

struct AccessRecord {
    std::size_t cage = 0;
    std::uint64_t time_us = 0;
    AccessDirection direction = AccessDirection::read;
    std::uint8_t page = 0;
    std::uint8_t reg = 0;
    std::uint32_t length = 0;
    std::vector<std::uint8_t> bytes;
    std::uint32_t result = 0;
    std::uint64_t bit_bang_arg = 0;
};

// How a cage was reached when it was recorded; a replay reaches it the same way.
struct CageRecord {
    std::size_t cage = 0;
    std::string backend;
    bool direct_page = false;
    bool writable = true;
    bool bring_up = false;
};

std::string hex_bytes(std::span<const std::uint8_t> bytes);
// Lower- or upper-case hex pairs without separators; nullopt when malformed.
std::optional<std::vector<std::uint8_t>> parse_hex_bytes(const std::string &text);

// The writer of a log. Cages run in threads of their own (parallel CDB
// downloads), so lines are written whole under a lock.
class AccessLog {
public:
    // Answers "" or why the file cannot be written.
    std::string open(const std::string &path);
    void cage(const CageRecord &record);
    void access(const AccessRecord &record);

private:
    std::mutex mu_;
    std::ofstream out_;
};

}  // namespace qsfpctl
