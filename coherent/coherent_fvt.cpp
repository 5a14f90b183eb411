// The coherent DSP driver table (QSFP-DD ZR and ZR+). Lane, equaliser, DOM
// report and SI-value slots are stubs: the DSP SDK manages those itself. The
// register decode stays empty: the module's pages are the SDK's to read.
#include <qsfp/qsfp_port.h>

#include "coherent/coherent.h"
#include "framework/driver_stub.h"

namespace {

using qsfp::framework::StubTable;
using qsfp::framework::unsupported;

constexpr StubTable kTable = StubTable::coherent;

}  // namespace

extern "C" const qsfp_drv_fvt qsfp_dd_coh_dsp_fvt = {
    .device_init = qsfp::coherent::device_init,
    .lane_tx_ena_dis = unsupported<kTable, 1>,
    .lane_rx_ena_dis = unsupported<kTable, 2>,
    .lane_tx_cdr_ena = unsupported<kTable, 3>,
    .lane_rx_cdr_ena = unsupported<kTable, 4>,
    .get_type = qsfp::coherent::get_type,
    .modify_eq = unsupported<kTable, 6>,
    .modify_deemphasis = unsupported<kTable, 7>,
    .modify_amp = unsupported<kTable, 8>,
    .dom_chan_intr_flags = unsupported<kTable, 9>,
    .dom_module_monitor = unsupported<kTable, 10>,
    .dom_channel_monitor = unsupported<kTable, 11>,
    .dom_alarm_warn_monitor = unsupported<kTable, 12>,
    .dom_channel_ctrl_monitor_mask = unsupported<kTable, 13>,
    .dom_channel_alarm_warn = unsupported<kTable, 14>,
    .get_hw_status = qsfp::coherent::get_hw_status,
    .get_hw_info = qsfp::coherent::get_hw_info,
    .port_disable = qsfp::coherent::port_disable,
    .port_enable = qsfp::coherent::port_enable,
    .mode_config = qsfp::coherent::mode_config,
    .modify_si_values = unsupported<kTable, 20>,
    .phy_reg_decode = nullptr,
    .config_traffic = coherent_module_config_traffic,
    .config_perf_mon = coherent_module_config_perf_mon,
    .config_update = coherent_module_config_update,
    .cdb_cmd_execute = coherent_module_cdb_cmd_execute,
    .get_debug_info = coherent_module_get_debug_info,
    .reg_read_write = coherent_module_reg_read_write,
    .delete_device = coherent_module_delete_device,
    .set_sim_alarms = qsfp::coherent::set_sim_alarms,
    .get_firmware_update_progress = qsfp::coherent::get_firmware_update_progress,
};
