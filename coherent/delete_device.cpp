// Deleting a coherent port makes the SDK forget its module; the SDK itself
// stays set up for the other ports.
#include "coherent/coherent.h"
#include "framework/trace.h"

extern "C" uint32_t coherent_module_delete_device(qsfp_port_ctx *port) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t rc = coh_sdk_device_delete(qsfp::coherent::device_key(port));
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent module device delete failed \n");
    } else {
        trace_evt(port, "coherent module device delete success \n");
    }
    return rc;
}
