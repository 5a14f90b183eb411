// Identifier checksums: an 8-bit sum of a run of bytes compared with the
// byte that closes the run.
#include <cstddef>
#include <cstdint>

#include <qsfp/qsfp_compliance.h>
#include <qsfp/qsfp_types.h>

namespace {

constexpr std::size_t kBaseFirst = 128;
constexpr std::size_t kBaseChecksum = 191;
constexpr std::size_t kExtFirst = 192;
constexpr std::size_t kExtChecksum = 223;

std::uint8_t sum(const std::uint8_t *mem, std::size_t first, std::size_t end) {
    std::uint8_t total = 0;
    for (std::size_t i = first; i < end; ++i) {
        total = static_cast<std::uint8_t>(total + mem[i]);
    }
    return total;
}

std::uint32_t check(const std::uint8_t *mem, std::size_t first, std::size_t checksum, std::uint8_t *stored,
                    std::uint8_t *computed, std::uint32_t mismatch) {
    if (mem == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint8_t s = mem[checksum];
    const std::uint8_t c = sum(mem, first, checksum);
    if (stored != nullptr) {
        *stored = s;
    }
    if (computed != nullptr) {
        *computed = c;
    }
    return s == c ? QSFP_COMPLIANCE_OK : mismatch;
}

}  // namespace

extern "C" uint32_t qsfp_xcvr_check_compliance_base_chksum(const uint8_t *mem, uint8_t *stored, uint8_t *computed) {
    return check(mem, kBaseFirst, kBaseChecksum, stored, computed, QSFP_COMPLIANCE_BASE_CHECKSUM);
}

extern "C" uint32_t qsfp_xcvr_check_compliance_ext_chksum(const uint8_t *mem, uint8_t *stored, uint8_t *computed) {
    return check(mem, kExtFirst, kExtChecksum, stored, computed, QSFP_COMPLIANCE_EXT_CHECKSUM);
}

extern "C" uint32_t qsfp_xcvr_check_compliance(const uint8_t *mem, uint32_t *result) {
    if (result == nullptr) {
        return QSFP_ERR_INVALID;
    }
    std::uint32_t r = QSFP_COMPLIANCE_NO_IMAGE;
    if (mem != nullptr) {
        std::uint8_t stored = 0;
        std::uint8_t computed = 0;
        r = qsfp_xcvr_check_compliance_base_chksum(mem, &stored, &computed);
        if (r == QSFP_COMPLIANCE_OK) {
            r = qsfp_xcvr_check_compliance_ext_chksum(mem, &stored, &computed);
        }
    }
    *result = r;
    return QSFP_OK;
}
