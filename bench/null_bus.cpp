#include "null_bus.h"

#include <algorithm>

namespace qsfp::bench {

namespace {

// What a replayed access answers when it is not the recorded one (EIO).
constexpr std::uint32_t kMismatchCode = 5;

NullBus *bus_of(std::uint64_t opaque) { return reinterpret_cast<NullBus *>(static_cast<std::uintptr_t>(opaque)); }

}  // namespace

void NullBus::attach(qsfp_port_create_params &params) {
    params.opaque = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(this));
    params.read = read;
    params.write = write;
    params.bit_bang_read = bit_bang_read;
}

void NullBus::record() {
    replaying_ = false;
    accesses_.clear();
    next_ = 0;
}

void NullBus::replay() {
    replaying_ = true;
    next_ = 0;
}

std::uint32_t NullBus::read(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf) {
    return bus_of(opaque)->access(false, reg, page, len, static_cast<std::uint8_t *>(buf), nullptr);
}

std::uint32_t NullBus::write(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len,
                             const void *buf) {
    return bus_of(opaque)->access(true, reg, page, len, nullptr, static_cast<const std::uint8_t *>(buf));
}

// The bit-banged path moves the same bytes; its pacing is bus time, not CPU.
std::uint32_t NullBus::bit_bang_read(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len,
                                     void *buf, std::uint64_t) {
    return read(opaque, reg, page, len, buf);
}

std::uint32_t NullBus::access(bool is_write, std::uint8_t reg, std::uint8_t page, std::uint32_t len,
                              std::uint8_t *in, const std::uint8_t *out) {
    if (!replaying_) {
        Access a{is_write, reg, page, len, 0, {}};
        if (is_write) {
            a.rc = cage_.write(reg, page, len, out);
        } else {
            a.rc = cage_.read(reg, page, len, in);
            if (a.rc == 0 && len > 0) {
                a.bytes.assign(in, in + len);
            }
        }
        accesses_.push_back(std::move(a));
        return accesses_.back().rc;
    }
    if (accesses_.empty()) {
        ++mismatches_;
        return kMismatchCode;
    }
    const Access &a = accesses_[next_];
    next_ = (next_ + 1) % accesses_.size();
    if (a.write != is_write || a.reg != reg || a.page != page || a.len != len) {
        ++mismatches_;
        return kMismatchCode;
    }
    if (!is_write && !a.bytes.empty()) {
        std::copy(a.bytes.begin(), a.bytes.end(), in);
    }
    return a.rc;
}

}  // namespace qsfp::bench
