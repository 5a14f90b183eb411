// The low-power bit of lower byte 26 (CMIS 4.0 LowPwrAllowRequestHW, CMIS 3.0
// LowPwr): with it set the module drops to low power while LPMode is asserted.
#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

std::uint32_t set_low_power(qsfp_port_ctx *port, bool low_power) {
    std::uint8_t control = 0;
    std::uint32_t rc = qsfp_access(port, kPowerControl, 1, kLower, &control, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read the Power Reset Control Reg. rc %d\n", rc);
        return rc;
    }
    trace_evt(port, "Power Reset Control Reg 0x%x: %s the Low Pwr Down Bit\n", control, low_power ? "set" : "unset");
    control =
        low_power ? static_cast<std::uint8_t>(control | kLowPower) : static_cast<std::uint8_t>(control & ~kLowPower);
    rc = qsfp_access(port, kPowerControl, 1, kLower, &control, QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "failed to write to the power reset control reg. rc %d\n", rc);
    }
    return rc;
}

}  // namespace qsfp::cmis
