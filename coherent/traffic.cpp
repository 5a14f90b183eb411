// Traffic configuration of a coherent module: the caller's seven SDK values
// and the flags it may set.
#include <cstddef>

#include "coherent/coherent.h"
#include "framework/trace.h"

extern "C" uint32_t coherent_module_config_traffic(qsfp_port_ctx *port, void *config) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const auto *in = static_cast<const qsfp_coh_traffic_config *>(config);
    if (in == nullptr) {
        trace_err(port, "coherent traffic config failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    coh_sdk_traffic_record record{};
    record.device_key = qsfp::coherent::device_key(port);
    for (std::size_t i = 0; i < COH_SDK_TRAFFIC_VALUES; ++i) {
        record.value[i] = in->value[i];
    }
    // Bit 0 and the bits above 7 are the driver's own (the mode change is 0x08,
    // set by the mode configuration with the mode it maps).
    record.flags = in->flags & QSFP_COH_TRAFFIC_FLAGS;
    const std::uint32_t rc = coh_sdk_module_config_traffic(&record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent traffic config FAILED, rc = %d\n", rc);
    } else {
        trace_evt(port, "coherent traffic config SUCCESS\n");
    }
    return rc;
}
