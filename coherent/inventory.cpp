// Inventory of a coherent port: the record bring-up filled, after the SDK
// was asked for the DSP's revision, firmware versions and part.
#include <algorithm>
#include <iterator>

#include "cmis/driver.h"
#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

namespace {

void keep_inventory(qsfp_port_ctx *port, const coh_sdk_inventory_record &record) {
    Inventory &kept = state(port).inventory;
    kept.dsp_hw_revision = record.dsp_hw_revision;
    kept.dsp_fw_version = record.dsp_fw_version;
    kept.module_fw_version = record.module_fw_version;
    std::copy(std::begin(record.dsp_part), std::end(record.dsp_part), std::begin(kept.dsp_part));
}

}  // namespace

// The module's own inventory is handed out also when the SDK fails.
std::uint32_t get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    coh_sdk_inventory_record record{};
    const std::uint32_t rc = coh_sdk_get_inventory_info(device_key(port), &record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent module inventory info get failed, rc 0x%x \n", rc);
    } else {
        keep_inventory(port, record);
    }
    return cmis::get_hw_info(port, info);
}

}  // namespace qsfp::coherent
