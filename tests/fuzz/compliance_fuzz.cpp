// The identifier checksums of lower memory and page 00h.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::vector<std::uint8_t> mem = in.bytes(2 * qsfp::fuzz::kPageBytes);
    std::uint32_t result = 0xFF;
    if (qsfp_xcvr_check_compliance(mem.data(), &result) != QSFP_OK) {
        std::abort();
    }
    if (result != QSFP_COMPLIANCE_OK && result != QSFP_COMPLIANCE_BASE_CHECKSUM &&
        result != QSFP_COMPLIANCE_EXT_CHECKSUM) {
        std::abort();
    }
    return 0;
}
