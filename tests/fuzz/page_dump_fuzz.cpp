// The page dump. Input: start offset (10 bits), area size (signed 16 bits),
// length (32 bits), then the memory image, which is made long enough for
// the dump to read 128 bytes from the start offset.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::uint32_t start = in.u16() & 0x3FF;
    const auto out_size = static_cast<std::int16_t>(in.u16());
    const std::uint32_t length = in.u32();
    std::vector<std::uint8_t> mem = in.rest();
    mem.resize(std::max<std::size_t>(mem.size(), start + qsfp::fuzz::kPageBytes));
    const std::size_t area = out_size > 0 ? static_cast<std::size_t>(out_size) : 0;
    std::vector<char> out(area + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const std::uint32_t rc = varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), start, out.data(), out_size, length);
    if ((rc == QSFP_OK) != (out_size > 0)) {
        std::abort();
    }
    qsfp::fuzz::check_text(out, area, rc == QSFP_OK ? 0 : QSFP_ERR_INVALID);
    return 0;
}
