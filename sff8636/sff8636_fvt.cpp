// The SFF-8636 driver table (QSFP, QSFP+, QSFP28).
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/qsfp_sff8636.h>

#include "sff8636/driver.h"

using namespace qsfp::sff8636;

extern "C" const qsfp_drv_fvt qsfp_fvt = {
    .device_init = qsfp_port_device_init,
    .lane_tx_ena_dis = qsfp_port_lane_tx_ena_dis,
    .lane_rx_ena_dis = qsfp_port_lane_rx_ena_dis,
    .lane_tx_cdr_ena = qsfp_port_lane_tx_cdr_ena,
    .lane_rx_cdr_ena = qsfp_port_lane_rx_cdr_ena,
    .get_type = qsfp_port_get_type,
    .modify_eq = modify_eq,
    .modify_deemphasis = modify_deemphasis,
    .modify_amp = modify_amp,
    .dom_chan_intr_flags = qsfp_dom_chan_intr_flags,
    .dom_module_monitor = qsfp_dom_module_monitor,
    .dom_channel_monitor = qsfp_dom_channel_monitor,
    .dom_alarm_warn_monitor = qsfp_dom_alarm_warn_monitor,
    .dom_channel_ctrl_monitor_mask = qsfp_dom_channel_ctrl_monitor_mask,
    .dom_channel_alarm_warn = qsfp_dom_channel_alarm_warn,
    .get_hw_status = qsfp_port_get_hw_status,
    .get_hw_info = qsfp_port_get_hw_info,
    .port_disable = port_disable,
    .port_enable = port_enable,
    .mode_config = mode_config,
    .modify_si_values = modify_si_values,
    .phy_reg_decode = qsfp_phy_reg_decode,
    .config_traffic = nullptr,
    .config_perf_mon = nullptr,
    .config_update = nullptr,
    .cdb_cmd_execute = nullptr,
    .get_debug_info = qsfp_port_get_debug_info,
    .reg_read_write = nullptr,
    .delete_device = nullptr,
    .set_sim_alarms = nullptr,
    .get_firmware_update_progress = nullptr,
};
