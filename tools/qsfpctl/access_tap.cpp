#include "access_tap.h"

#include <chrono>

#include <qsfp/sim/virtual_clock.h>

namespace qsfpctl {

namespace {

// CMIS extended payload (EPL) of a CDB command: pages A0h-AFh, bytes 128-255.
// The library passes the page of every access, also when it selects the
// page through byte 127 itself.
constexpr std::uint8_t kFirstEplPage = 0xA0;
constexpr std::uint8_t kLastEplPage = 0xAF;
constexpr std::uint8_t kUpperHalf = 128;

bool payload_write(AccessDirection direction, std::uint8_t reg, std::uint8_t page) {
    return direction == AccessDirection::write && reg >= kUpperHalf && page >= kFirstEplPage && page <= kLastEplPage;
}

// The run's clock: virtual while the library's waits are (the emulated card,
// images), the wall clock once a real module is behind a cage.
std::uint64_t now_us() {
    const auto &clock = qsfp::sim::VirtualClock::instance();
    if (!clock.real_time()) return clock.now_us();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

CageTap &tap_of(uint64_t opaque) { return *reinterpret_cast<CageTap *>(opaque); }

}  // namespace

CageTap::CageTap(std::size_t cage, const CageAccess &inner, AccessLog *log) : cage_(cage), inner_(inner), log_(log) {}

CageAccess CageTap::tapped() {
    CageAccess a = inner_;
    a.opaque = reinterpret_cast<std::uint64_t>(this);
    a.read = inner_.read != nullptr ? read : nullptr;
    a.write = inner_.write != nullptr ? write : nullptr;
    a.bit_bang_read = inner_.bit_bang_read != nullptr ? bit_bang_read : nullptr;
    return a;
}

uint32_t CageTap::read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf) {
    CageTap &self = tap_of(opaque);
    const uint32_t rc = self.inner_.read(self.inner_.opaque, reg, page, len, buf);
    self.note(AccessDirection::read, reg, page, len, buf, rc);
    return rc;
}

uint32_t CageTap::write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf) {
    CageTap &self = tap_of(opaque);
    const uint32_t rc = self.inner_.write(self.inner_.opaque, reg, page, len, buf);
    self.note(AccessDirection::write, reg, page, len, buf, rc);
    return rc;
}

uint32_t CageTap::bit_bang_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf, uint64_t arg) {
    CageTap &self = tap_of(opaque);
    const uint32_t rc = self.inner_.bit_bang_read(self.inner_.opaque, reg, page, len, buf, arg);
    self.note(AccessDirection::bit_bang_read, reg, page, len, buf, rc, arg);
    return rc;
}

void CageTap::note(AccessDirection direction, uint8_t reg, uint8_t page, uint32_t len, const void *buf, uint32_t rc,
                   uint64_t arg) {
    if (rc == 0 && payload_write(direction, reg, page)) {
        payload_bytes_ += len;
    }
    if (log_ == nullptr) {
        return;
    }
    AccessRecord record{cage_, now_us(), direction, page, reg, len, {}, rc, arg};
    // A write's data is what was offered; a read's only what came back.
    if (buf != nullptr && len > 0 && (rc == 0 || direction == AccessDirection::write)) {
        const auto *bytes = static_cast<const std::uint8_t *>(buf);
        record.bytes.assign(bytes, bytes + len);
    }
    log_->access(record);
}

}  // namespace qsfpctl
