// The per-lane datapath states of page 11h bytes 128-131.
#include "cmis/datapath.h"
#include "framework/trace.h"

namespace qsfp::cmis {

std::uint32_t read_datapath_states(qsfp_port_ctx *port, std::span<std::uint8_t, kLanes> states) {
    std::array<std::uint8_t, kDataPathStateBytes> raw{};
    const std::uint32_t rc =
        qsfp_access(port, kDataPathState, kDataPathStateBytes, kPage11, raw.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        // The words of the power-mode read are kept on purpose.
        trace_err(port, "Failed to read the Power Reset Control Reg. rc %d\n", rc);
        return rc;
    }
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        states[lane] = lane_nibble(raw.data(), lane);
    }
    return QSFP_OK;
}

}  // namespace qsfp::cmis
