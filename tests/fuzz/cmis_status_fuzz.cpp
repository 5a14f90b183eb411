// The QSFP-DD status record: a flat-memory flag, then lower memory.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    qsfp_port_ctx port{};
    port.flat_mem = in.u8() & 1;
    const std::vector<std::uint8_t> lower = in.bytes(qsfp::fuzz::kPageBytes);
    std::vector<char> rec(QSFPDD_STATUS_RECORD_SIZE, '\0');
    if (qsfpdd_xcvr_decode_status(lower.data(), rec.data(), &port) != QSFP_OK) {
        std::abort();
    }
    qsfp::fuzz::check_record(rec);
    return 0;
}
