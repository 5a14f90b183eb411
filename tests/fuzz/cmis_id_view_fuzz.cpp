// The QSFP-DD identifier view. Input: the flat-memory flag, the caller's size
// (16 bits), lower memory, page 00h.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    qsfp_port_ctx port = qsfp::fuzz::port_with_flat_flag(in);
    const std::uint32_t out_size = in.u16();
    const std::vector<std::uint8_t> lower = in.bytes(qsfp::fuzz::kPageBytes);
    const std::vector<std::uint8_t> page00 = in.bytes(qsfp::fuzz::kPageBytes);
    std::vector<char> out(out_size + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const int rc = qsfp_drv_qsfpdd_get_eeprom_str(&port, out.data(), out_size, lower.data(), page00.data());
    qsfp::fuzz::check_text(out, out_size, rc);
    return 0;
}
