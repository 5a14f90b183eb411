// One fuzz target per page decoder, built once for each: FUZZ_DECODER names
// the decoder and FUZZ_ROWS the rows of its record. The input is the page.
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::vector<std::uint8_t> page = in.bytes(qsfp::fuzz::kPageBytes);
    std::vector<char> rec(FUZZ_ROWS * sizeof(qsfp8636_id_record), '\0');
    if (FUZZ_DECODER(page.data(), rec.data()) != QSFP_OK) {
        std::abort();
    }
    qsfp::fuzz::check_record(rec);
    return 0;
}
