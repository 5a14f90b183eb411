// Performance monitoring of a coherent module, switched by the caller's
// second configuration byte.
#include <algorithm>
#include <iterator>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

constexpr std::size_t kEnableByte = 1;

}  // namespace

extern "C" uint32_t coherent_module_config_perf_mon(qsfp_port_ctx *port, void *config) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const auto *in = static_cast<const qsfp_coh_perf_mon_config *>(config);
    if (in == nullptr) {
        trace_err(port, "perf-mon config failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    if (in->config[kEnableByte] != 0) {
        trace_evt(port, "module perf-mon enabled\n");
    } else {
        trace_evt(port, "module perf-mon disabled\n");
    }
    coh_sdk_perf_mon_record record{};
    record.device_key = qsfp::coherent::device_key(port);
    std::copy(std::begin(in->config), std::end(in->config), std::begin(record.config));
    const std::uint32_t rc = coh_sdk_module_config_perf_mon(&record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "perf-mon config FAILED, rc = %d\n", rc);
    } else {
        trace_evt(port, "perf-mon config SUCCESS\n");
    }
    return rc;
}
