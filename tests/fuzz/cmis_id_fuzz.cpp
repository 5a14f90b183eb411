// The QSFP-DD identifier record by revision: lower memory, then page 00h.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::vector<std::uint8_t> lower = in.bytes(qsfp::fuzz::kPageBytes);
    const std::vector<std::uint8_t> page00 = in.bytes(qsfp::fuzz::kPageBytes);
    std::vector<char> rec(QSFPDD_ID_RECORD_SIZE, '\x01');
    if (qsfpdd_xcvr_decode_id(lower.data(), page00.data(), rec.data()) != QSFP_OK) {
        std::abort();
    }
    qsfp::fuzz::check_record(rec);
    return 0;
}
