// Simulated alarms of a coherent module: the caller's network, optical and
// module alarm bitmaps become the bits of the SDK's alarm record.
#include <span>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

namespace {

// One caller bit and where the SDK's record has it.
struct BitMove {
    std::uint32_t from;
    std::uint32_t coh_sdk_alarms::*word;
    std::uint32_t to;
};

constexpr BitMove kNetwork[] = {
    {0x002, &coh_sdk_alarms::ntwk, COH_SDK_NTWK_LOF},
    {0x004, &coh_sdk_alarms::ntwk, COH_SDK_NTWK_LOM},
    {0x008, &coh_sdk_alarms::ntwk, COH_SDK_NTWK_SIGNAL_FAIL},
    {0x010, &coh_sdk_alarms::ntwk, COH_SDK_NTWK_SIGNAL_DEGRADE},
    {0x400, &coh_sdk_alarms::ntwk_flexo, COH_SDK_FLEXO_LOF},
    {0x800, &coh_sdk_alarms::ntwk_flexo, COH_SDK_FLEXO_LOM},
    {0x1000, &coh_sdk_alarms::ntwk_flexo, COH_SDK_FLEXO_RDI},
};

// The caller's 0x20 is the Tx power high alarm, which the SDK keeps apart.
constexpr BitMove kOptical[] = {
    {0x002, &coh_sdk_alarms::optical, COH_SDK_OPT_RX_LOS},
    {0x004, &coh_sdk_alarms::optical, COH_SDK_OPT_RX_POWER_LOW},
    {0x008, &coh_sdk_alarms::optical, COH_SDK_OPT_RX_POWER_HIGH},
    {0x010, &coh_sdk_alarms::optical, COH_SDK_OPT_TX_POWER_LOW},
    {0x020, &coh_sdk_alarms::optical, COH_SDK_OPT_TX_POWER_HIGH},
    {0x040, &coh_sdk_alarms::optical, COH_SDK_OPT_LBC_HIGH},
    {0x080, &coh_sdk_alarms::optical, COH_SDK_OPT_CD_LOW},
    {0x100, &coh_sdk_alarms::optical, COH_SDK_OPT_CD_HIGH},
    {0x200, &coh_sdk_alarms::optical, COH_SDK_OPT_OSNR_LOW},
    {0x400, &coh_sdk_alarms::optical, COH_SDK_OPT_DGD_HIGH},
    {0x800, &coh_sdk_alarms::optical, COH_SDK_OPT_PRE_FEC_BER_HIGH},
    {0x1000, &coh_sdk_alarms::optical, COH_SDK_OPT_FREQ_OFFSET},
};

constexpr BitMove kModule[] = {
    {0x004, &coh_sdk_alarms::module, COH_SDK_MOD_TEMP_HIGH},
    {0x008, &coh_sdk_alarms::module, COH_SDK_MOD_TEMP_LOW},
    {0x010, &coh_sdk_alarms::module, COH_SDK_MOD_VCC_HIGH},
    {0x020, &coh_sdk_alarms::module, COH_SDK_MOD_VCC_LOW},
    {0x040, &coh_sdk_alarms::module, COH_SDK_MOD_DSP_FAULT},
    {0x080, &coh_sdk_alarms::module, COH_SDK_MOD_LASER_FAULT},
    {0x100, &coh_sdk_alarms::module, COH_SDK_MOD_FW_FAULT},
    {0x200, &coh_sdk_alarms::module, COH_SDK_MOD_POWER_FAULT},
};

// The caller's bitmaps each hold one alarm set.
constexpr std::uint32_t kIndex = 0;

void move_bits(std::uint32_t bitmap, std::span<const BitMove> moves, coh_sdk_alarms &record) {
    for (const BitMove &m : moves) {
        if ((bitmap & m.from) != 0) {
            record.*m.word |= m.to;
        }
    }
}

coh_sdk_alarms record_of(const qsfp_coh_sim_alarms &in) {
    coh_sdk_alarms record{};
    move_bits(in.network, kNetwork, record);
    move_bits(in.optical, kOptical, record);
    move_bits(in.module, kModule, record);
    return record;
}

}  // namespace

std::uint32_t set_sim_alarms(qsfp_port_ctx *port, void *alarms) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const auto *in = static_cast<const qsfp_coh_sim_alarms *>(alarms);
    if (in == nullptr) {
        trace_err(port, "Coherent module sim alarms failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    const coh_sdk_alarms record = record_of(*in);
    trace_evt(port, "Coherent module sim ntwk alarms Index[%d] src-sim-ntwk-alarms-bmp[0x%x] dst-sim-ntwk-alarms-bmp[0x%x] dst-sim-ntwk-flexo-alarms-bmp[0x%x] \n", kIndex, in->network, record.ntwk, record.ntwk_flexo);
    trace_evt(port, "Coherent module sim optical alarms Index[%d] src-sim-optical-alarms-bmp[0x%x] dst-sim-optical-alarms-bmp[0x%x] \n", kIndex, in->optical, record.optical);
    trace_evt(port, "Coherent module sim module alarms Index[%d] src-sim-module-alarms-bmp[0x%x] dst-sim-module-alarms-bmp[0x%x] \n", kIndex, in->module, record.module);
    const std::uint32_t rc = coh_sdk_set_sim_alarms(device_key(port), &record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "Coherent module sim alarms set failed, rc 0x%x \n", rc);
    }
    return rc;
}

}  // namespace qsfp::coherent
