#include "access_log.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <nlohmann/json.hpp>

namespace qsfpctl {

namespace {

struct DirectionName {
    AccessDirection direction;
    const char *name;
};

constexpr std::array kDirectionNames = {
    DirectionName{AccessDirection::read, "read"},
    DirectionName{AccessDirection::write, "write"},
    DirectionName{AccessDirection::bit_bang_read, "bit_bang_read"},
};

}  // namespace

const char *direction_name(AccessDirection direction) {
    for (const DirectionName &d : kDirectionNames) {
        if (d.direction == direction) return d.name;
    }
    return "read";
}

std::optional<AccessDirection> direction_from_name(const std::string &name) {
    for (const DirectionName &d : kDirectionNames) {
        if (name == d.name) return d.direction;
    }
    return std::nullopt;
}

std::string hex_bytes(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t b : bytes) {
        text += kDigits[b >> 4];
        text += kDigits[b & 0x0F];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> parse_hex_bytes(const std::string &text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned value = 0;
        for (std::size_t k = i; k < i + 2; ++k) {
            const char c = text[k];
            const int digit = c >= '0' && c <= '9'   ? c - '0'
                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                     : -1;
            if (digit < 0) return std::nullopt;
            value = value * 16 + static_cast<unsigned>(digit);
        }
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

std::string AccessLog::open(const std::string &path) {
    out_.open(path, std::ios::out | std::ios::trunc);
    if (!out_) {
        return "cannot write the record log " + path + ": " + std::strerror(errno);
    }
    return "";
}

void AccessLog::cage(const CageRecord &record) {
    const nlohmann::json line = {{"record", "cage"},       {"cage", record.cage},
                                 {"backend", record.backend}, {"direct_page", record.direct_page},
                                 {"writable", record.writable}, {"bring_up", record.bring_up}};
    const std::lock_guard lock(mu_);
    out_ << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void AccessLog::access(const AccessRecord &record) {
    nlohmann::json line = {{"record", "access"},
                           {"cage", record.cage},
                           {"time_us", record.time_us},
                           {"direction", direction_name(record.direction)},
                           {"page", record.page},
                           {"register", record.reg},
                           {"length", record.length},
                           {"bytes", hex_bytes(record.bytes)},
                           {"result", record.result}};
    if (record.direction == AccessDirection::bit_bang_read) {
        line["arg"] = record.bit_bang_arg;
    }
    const std::lock_guard lock(mu_);
    out_ << line.dump() << '\n';
}

}  // namespace qsfpctl
