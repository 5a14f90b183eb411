// Port mode of a coherent module: the port's oper mode as the SDK's traffic
// mode, sent as a traffic change.
#include <iterator>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

namespace {

// The ZR+ rates beyond the CMIS table's modes, run only through the SDK.
constexpr std::uint32_t kOperMode300G = 16;
constexpr std::uint32_t kOperMode400GOfec = 17;

struct ModeMap {
    std::uint32_t oper_mode;
    std::uint32_t traffic_mode;
};
constexpr ModeMap kModes[] = {
    {QSFP_DD_OPER_MODE_400G, COH_SDK_TRAFFIC_400ZR},
    {QSFP_DD_OPER_MODE_4X100G, COH_SDK_TRAFFIC_100G},
    {QSFP_DD_OPER_MODE_2X100G, COH_SDK_TRAFFIC_200G},
    {kOperMode300G, COH_SDK_TRAFFIC_300G},
    {kOperMode400GOfec, COH_SDK_TRAFFIC_400G_OFEC},
};
static_assert(std::size(kModes) == 5);

constexpr std::uint32_t kTrafficModeValue = 2;
constexpr std::uint32_t kTrafficModeChange = 0x08;

const ModeMap *find_mode(std::uint32_t mode) {
    for (const ModeMap &m : kModes) {
        if (m.oper_mode == mode) {
            return &m;
        }
    }
    return nullptr;
}

}  // namespace

std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const ModeMap *m = find_mode(mode);
    if (m == nullptr) {
        trace_err(port, "Unknown port mode %d \n", mode);
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "update port mode to %d \n", mode);
    coh_sdk_traffic_record record{};
    record.device_key = device_key(port);
    record.value[kTrafficModeValue] = m->traffic_mode;
    record.flags = kTrafficModeChange;
    const std::uint32_t rc = coh_sdk_module_config_traffic(&record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent traffic cfg update FAILED, rc = %d\n", rc);
    } else {
        trace_evt(port, "coherent traffic cfg update SUCCESS\n");
    }
    return rc;
}

}  // namespace qsfp::coherent
