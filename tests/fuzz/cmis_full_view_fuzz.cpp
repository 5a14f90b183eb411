// The QSFP-DD full view. Input: the flat-memory flag, the caller's size (16
// bits), the 896-byte page image.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    qsfp_port_ctx port = qsfp::fuzz::port_with_flat_flag(in);
    const std::uint32_t out_size = in.u16();
    const std::vector<std::uint8_t> pages = in.bytes(QSFPDD_SHOW_IMAGE_SIZE);
    std::vector<char> out(out_size + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const int rc = qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out.data(), out_size, pages.data());
    // Only a complete text is copied: on overflow the area stays as it was.
    if (rc == QSFP_SHOW_TEXT_OVERFLOW && out_size != 0 && out[0] != qsfp::fuzz::kGuard) {
        std::abort();
    }
    qsfp::fuzz::check_text(out, out_size, rc == 0 ? 0 : QSFP_ERR_INVALID);
    return 0;
}
