// Port enable and disable of a coherent module: the SDK turns the laser on
// or off. Both answer 0; the trace carries the SDK's answer.
#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

namespace {

constexpr std::uint8_t kLaserLanes = 2;

std::uint32_t set_laser(qsfp_port_ctx *port, std::uint8_t action) {
    coh_sdk_laser_record record{};
    record.device_key = device_key(port);
    record.action = action;
    record.lanes = kLaserLanes;
    return coh_sdk_module_set_laser(&record);
}

}  // namespace

std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t, std::uint32_t) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Entry coherent port enable\n");
    const std::uint32_t rc = set_laser(port, COH_SDK_LASER_ON);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent port enable done, rc 0x%x \n", rc);
    } else {
        trace_evt(port, "coherent port enable done, rc 0x%x \n", rc);
    }
    return QSFP_OK;
}

std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t, std::uint32_t) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Entry coherent port disable\n");
    const std::uint32_t rc = set_laser(port, COH_SDK_LASER_OFF);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent port disable done, rc 0x%x \n", rc);
    } else {
        trace_evt(port, "coherent port disable done, rc 0x%x \n", rc);
    }
    return QSFP_OK;
}

}  // namespace qsfp::coherent
