// Module access of the coherent SDK emulator: the device's raw two-wire
// callbacks reach registers 0-255 of whatever page byte 127 selects, so the
// SDK selects upper pages itself, only when the page it last selected differs,
// and forgets the page after any failure (the module may or may not have
// taken the select). coh_sdk_read_write_reg is the caller's door to the same path.
#include <algorithm>

#include "cmis_addresses.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

enum class Dir { read, write };

const char *name(Dir dir) { return dir == Dir::read ? "read" : "write"; }

// The bytes of a read (in) or a write (out).
struct Bytes {
    std::uint8_t *in = nullptr;
    const std::uint8_t *out = nullptr;
    Bytes from(std::size_t n) const { return {in ? in + n : nullptr, out ? out + n : nullptr}; }
};

std::uint32_t failed(Device &d, Dir dir, std::uint8_t page, std::uint32_t reg, std::size_t len, std::uint32_t rc) {
    forget_page(d);
    log(kLogError, "coh-sdk: device 0x%04x %s of page %02Xh byte %u (%zu bytes) failed, rc %u\n", d.created.device_key,
        name(dir), page, reg, len, rc);
    return COH_SDK_ERR_MODULE_ACCESS;
}

std::uint32_t select_page(Device &d, std::uint8_t page) {
    if (d.page == page) {
        return 0;
    }
    const std::uint32_t rc = d.created.i2c_write(d.created.ctx, cmis::kPageSelect, 1, &page);
    if (rc != 0) {
        return failed(d, Dir::write, page, cmis::kPageSelect, 1, rc);
    }
    d.page = page;
    return 0;
}

// One callback access that stays on one side of byte 128.
std::uint32_t access(Device &d, Dir dir, std::uint8_t page, std::uint32_t reg, Bytes buf, std::size_t len) {
    if (reg >= cmis::kLowerEnd) {
        if (const std::uint32_t rc = select_page(d, page)) {
            return rc;
        }
    }
    const auto n = static_cast<std::uint32_t>(len);
    const std::uint32_t rc = dir == Dir::read ? d.created.i2c_read(d.created.ctx, reg, n, buf.in)
                                              : d.created.i2c_write(d.created.ctx, reg, n, buf.out);
    if (rc != 0) {
        return failed(d, dir, page, reg, len, rc);
    }
    if (dir == Dir::write && reg <= cmis::kPageSelect && reg + len > cmis::kPageSelect) {
        forget_page(d);  // the caller wrote byte 127 itself
    }
    return 0;
}

// A range across byte 128 is two accesses: lower memory, then the page.
std::uint32_t transfer(Device &d, Dir dir, std::uint8_t page, std::uint32_t reg, Bytes buf, std::size_t len) {
    if (reg < cmis::kLowerEnd && reg + len > cmis::kLowerEnd) {
        const std::size_t lower = cmis::kLowerEnd - reg;
        if (const std::uint32_t rc = access(d, dir, page, reg, buf, lower)) {
            return rc;
        }
        return access(d, dir, page, cmis::kLowerEnd, buf.from(lower), len - lower);
    }
    return access(d, dir, page, reg, buf, len);
}

bool in_page(std::uint32_t reg, std::size_t len) { return len > 0 && reg < cmis::kPageEnd && len <= cmis::kPageEnd - reg; }

}  // namespace

std::uint32_t module_read(Device &d, std::uint8_t page, std::uint32_t reg, std::span<std::uint8_t> buf) {
    if (!in_page(reg, buf.size())) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return transfer(d, Dir::read, page, reg, {buf.data(), nullptr}, buf.size());
}

std::uint32_t module_write(Device &d, std::uint8_t page, std::uint32_t reg, std::span<const std::uint8_t> buf) {
    if (!in_page(reg, buf.size())) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return transfer(d, Dir::write, page, reg, {nullptr, buf.data()}, buf.size());
}

}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

extern "C" uint32_t coh_sdk_read_write_reg(uint32_t device_key, uint32_t bank, uint32_t page, uint32_t reg,
                                           uint32_t len, uint8_t *buf, uint32_t rw) {
    return with_device(__func__, device_key, [&](Device &d) -> std::uint32_t {
        if (bank != 0 || page > 0xFF || buf == nullptr || rw > 1 || !(len > 0 && reg < 256 && len <= 256 - reg)) {
            return COH_SDK_ERR_INVALID_ARG;
        }
        const auto p = static_cast<std::uint8_t>(page);
        return rw == 1 ? module_read(d, p, reg, std::span(buf, len)) : module_write(d, p, reg, std::span(buf, len));
    });
}
