// Inventory and debug text of the coherent SDK emulator. The emulated DSP has
// fixed identity figures; the module's firmware version is the running
// image's, read from the module (CMIS lower bytes 39-40).
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cmis_addresses.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

// The emulated DSP: hardware revision B (2), firmware 3.1.7.
constexpr std::uint32_t kDspHwRevision = 2;
constexpr std::uint32_t kDspFwVersion = 3u << 16 | 1u << 8 | 7u;
constexpr char kDspPart[] = "EMUCDSP4";
static_assert(sizeof kDspPart - 1 == sizeof coh_sdk_inventory_record{}.dsp_part, "the part number fills its 8 bytes");

const char *on_off(bool on) { return on ? "on" : "off"; }

// The device's state as text lines; snprintf never writes past `room`.
std::size_t describe(const Device &d, char *text, std::size_t room) {
    const coh_sdk_module_cfg &c = d.cfg;
    const int page = d.page ? *d.page : -1;
    const int n = std::snprintf(
        text, room,
        "coh-sdk device 0x%04x: kind %u, init-hw %u, coherent %u\n"
        "laser %s, traffic mode %u, perf-mon %s, samples %u\n"
        "tx power %d, cd %d..%d ps/nm, frequency %u MHz, loopbacks %u/%u/%u/%u\n"
        "selected page %d, firmware download state %u, %u%%, %u bytes\n",
        d.created.device_key, d.created.module_kind, d.created.init_hw, d.created.coherent, on_off(d.laser_on),
        d.traffic_mode, on_off(d.perf_mon), d.stats.samples, c.tx_power, c.cd_min, c.cd_max, c.frequency,
        c.opt_lb_internal, c.opt_lb_line, c.dsp_lb_internal, c.dsp_lb_line, page, d.fw_state.load(),
        d.fw_percent.load(), d.fw_bytes.load());
    if (n < 0 || room == 0) {
        return 0;
    }
    return std::min(static_cast<std::size_t>(n), room - 1);
}

}  // namespace
}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

extern "C" uint32_t coh_sdk_get_inventory_info(uint32_t device_key, coh_sdk_inventory_record *record) {
    return with_record(__func__, device_key, record, [](Device &d, coh_sdk_inventory_record &r) -> std::uint32_t {
        std::uint8_t fw[2] = {};
        if (const std::uint32_t rc = module_read(d, 0, cmis::kActiveFirmware, fw)) {
            return rc;
        }
        std::memset(&r, 0, sizeof r);
        r.dsp_hw_revision = kDspHwRevision;
        r.dsp_fw_version = kDspFwVersion;
        r.module_fw_version = std::uint32_t{fw[0]} << 8 | fw[1];
        std::memcpy(r.dsp_part, kDspPart, sizeof r.dsp_part);
        return COH_SDK_OK;
    });
}

extern "C" uint32_t coh_sdk_module_get_debug_info(uint32_t device_key, char *text, uint32_t room, uint32_t *used) {
    return with_device(__func__, device_key, [&](Device &d) -> std::uint32_t {
        if (used == nullptr || (text == nullptr && room > 0)) {
            return COH_SDK_ERR_INVALID_ARG;
        }
        *used = static_cast<std::uint32_t>(text == nullptr ? 0 : describe(d, text, room));
        return COH_SDK_OK;
    });
}
