// The CMIS driver table (QSFP-DD). The lane, equaliser and DOM-report slots
// of SFF-8636 have no CMIS counterpart and answer as stubs.
#include <qsfp/qsfp_port.h>

#include "cmis/driver.h"
#include "framework/driver_stub.h"

namespace {

using qsfp::framework::StubTable;
using qsfp::framework::unsupported;

constexpr StubTable kTable = StubTable::cmis;

}  // namespace

extern "C" const qsfp_drv_fvt qsfp_dd_fvt = {
    .device_init = qsfp::cmis::device_init,
    .lane_tx_ena_dis = unsupported<kTable, 1>,
    .lane_rx_ena_dis = unsupported<kTable, 2>,
    .lane_tx_cdr_ena = unsupported<kTable, 3>,
    .lane_rx_cdr_ena = unsupported<kTable, 4>,
    .get_type = qsfp::cmis::get_type,
    .modify_eq = unsupported<kTable, 6>,
    .modify_deemphasis = unsupported<kTable, 7>,
    .modify_amp = unsupported<kTable, 8>,
    .dom_chan_intr_flags = unsupported<kTable, 9>,
    .dom_module_monitor = unsupported<kTable, 10>,
    .dom_channel_monitor = unsupported<kTable, 11>,
    .dom_alarm_warn_monitor = unsupported<kTable, 12>,
    .dom_channel_ctrl_monitor_mask = unsupported<kTable, 13>,
    .dom_channel_alarm_warn = unsupported<kTable, 14>,
    .get_hw_status = qsfp::cmis::get_hw_status,
    .get_hw_info = qsfp::cmis::get_hw_info,
    .port_disable = qsfp::cmis::port_disable,
    .port_enable = qsfp::cmis::port_enable,
    .mode_config = qsfp::cmis::mode_config,
    .modify_si_values = qsfp::cmis::modify_si_values,
    .phy_reg_decode = qsfp::cmis::phy_reg_decode,
    .config_traffic = nullptr,
    .config_perf_mon = nullptr,
    .config_update = nullptr,
    .cdb_cmd_execute = qsfp::cmis::cdb_cmd_execute,
    .get_debug_info = nullptr,
    .reg_read_write = nullptr,
    .delete_device = nullptr,
    .set_sim_alarms = nullptr,
    .get_firmware_update_progress = nullptr,
};
