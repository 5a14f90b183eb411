// Lane texts from an arbitrary live status record (any lane count, any
// float bit patterns).
#include <vector>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    qsfp_hw_status status;
    const std::vector<std::uint8_t> bytes = in.bytes(sizeof status);
    std::memcpy(&status, bytes.data(), sizeof status);
    std::vector<char> lanes(QSFP8636_LANE_RECORD_SIZE + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const std::uint32_t count = qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&status, lanes.data());
    const auto *record = reinterpret_cast<const qsfp8636_lane_record *>(lanes.data());
    if (count > QSFP8636_LANE_TEXTS || record->count != count) {
        std::abort();
    }
    for (std::size_t i = QSFP8636_LANE_RECORD_SIZE; i < lanes.size(); ++i) {
        if (lanes[i] != qsfp::fuzz::kGuard) {
            std::abort();
        }
    }
    return 0;
}
