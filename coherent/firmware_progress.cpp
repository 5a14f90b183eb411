// Firmware download progress of a coherent module, as the SDK counts it.
#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

std::uint32_t get_firmware_update_progress(qsfp_port_ctx *port, void *percent, void *state, void *bytes) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc = coh_sdk_get_firmware_update_progress(device_key(port), percent, state, bytes);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent module firmware update progress get failed, rc 0x%x \n", rc);
    }
    return rc;
}

}  // namespace qsfp::coherent
