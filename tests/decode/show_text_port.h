// A port context for the show-text builders, as a driver would hand it over:
// zero-filled, with a port number, the flat-memory flag, and driver slots that
// report fixed live status and inventory records.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <qsfp/qsfp_decode.h>

namespace qsfp::test {

inline qsfp_hw_status fixed_hw_status() {
    qsfp_hw_status s{};
    s.media_type = 4;
    const float rx[] = {-1.25f, -3.5f, 0.75f, -40.0f};
    const float tx[] = {0.5f, -0.25f, 1.5f, -2.0f};
    const float bias[] = {6.5f, 7.25f, 0.0f, 12.002f};
    for (int lane = 0; lane < 4; ++lane) {
        s.rx_power_dbm[lane] = rx[lane];
        s.tx_power_dbm[lane] = tx[lane];
        s.tx_bias_ma[lane] = bias[lane];
    }
    return s;
}

inline qsfp_hw_info fixed_hw_info() {
    qsfp_hw_info info{};
    std::strcpy(info.serial_number, "FIXEDSN00001");
    std::memcpy(info.date_code, "24031501", 8);
    std::strcpy(info.clei, "CLEI000001");
    std::strcpy(info.vendor_pn, "TEST-PN-0001");
    std::strcpy(info.vid, "V01");
    std::strcpy(info.pid, "QSFP-100G-TEST");
    return info;
}

struct SlotCalls {
    int hw_status = 0;
    int hw_info = 0;
};
inline SlotCalls &slot_calls() {
    static SlotCalls calls;
    return calls;
}

inline std::uint32_t report_fixed_hw_status(qsfp_port_ctx *, qsfp_hw_status *status) {
    ++slot_calls().hw_status;
    *status = fixed_hw_status();
    return 0;
}

inline std::uint32_t report_fixed_hw_info(qsfp_port_ctx *, qsfp_hw_info *info) {
    ++slot_calls().hw_info;
    *info = fixed_hw_info();
    return 0;
}

// SFF-8636 lower byte 2 bit 2: the module has flat memory.
inline bool flat_memory(const std::vector<std::uint8_t> &lower) {
    return (lower.at(2) & 0x04) != 0;
}

inline qsfp_port_ctx show_text_port(std::uint32_t number, bool flat) {
    qsfp_port_ctx port{};
    port.port = number;
    port.flat_mem = flat ? 1 : 0;
    port.fvt.get_hw_status = report_fixed_hw_status;
    port.fvt.get_hw_info = report_fixed_hw_info;
    return port;
}

// Text of a builder run into an area of `size` bytes followed by guard bytes
// that must come back untouched.
struct BuiltText {
    int rc;
    std::string text;
    bool guard_intact;
};
constexpr char kGuard = '\x7F';
constexpr std::size_t kGuardBytes = 32;

template <typename Build>
BuiltText build_text(std::uint32_t size, Build build) {
    std::vector<char> out(size + kGuardBytes, kGuard);
    const int rc = build(out.data(), size);
    BuiltText r{rc, {}, true};
    for (std::size_t i = size; i < out.size(); ++i) {
        r.guard_intact = r.guard_intact && out[i] == kGuard;
    }
    const auto end = std::find(out.begin(), out.begin() + size, '\0');
    r.text.assign(out.begin(), end);
    return r;
}

inline bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// Occurrences of `part` in `text`, overlapping ones included.
inline std::size_t count(const std::string &text, const std::string &part) {
    std::size_t n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

}  // namespace qsfp::test
