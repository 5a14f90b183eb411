// The pass-through port operations: one slot each. The line numbers name the
// operation in the "not fully initialized" trace.
#include <qsfp/qsfp_port_ops.h>

#include "framework/slot_call.h"

using namespace qsfp::framework;

extern "C" uint32_t qsfp_port_lane_tx_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    return call_slot<&qsfp_drv_fvt::lane_tx_ena_dis>(port, 760, kReadCheckFailed, low_byte(lanes), enable);
}

extern "C" uint32_t qsfp_port_lane_rx_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    return call_slot<&qsfp_drv_fvt::lane_rx_ena_dis>(port, 780, kReadCheckFailed, low_byte(lanes), enable);
}

extern "C" uint32_t qsfp_port_lane_tx_cdr_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    return call_slot<&qsfp_drv_fvt::lane_tx_cdr_ena>(port, 800, kReadCheckFailed, low_byte(lanes), enable);
}

extern "C" uint32_t qsfp_port_lane_rx_cdr_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable) {
    return call_slot<&qsfp_drv_fvt::lane_rx_cdr_ena>(port, 821, kReadCheckFailed, low_byte(lanes), enable);
}

extern "C" uint32_t qsfp_port_type(qsfp_port_ctx *port, uint32_t *type, char *name, uint32_t name_len, uint32_t *flag) {
    return call_slot<&qsfp_drv_fvt::get_type>(port, 953, kTypeCheckFailed, type, name, name_len, flag);
}

extern "C" uint32_t qsfp_modify_eq(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value) {
    return call_slot<&qsfp_drv_fvt::modify_eq>(port, 976, kTypeCheckFailed, low_byte(lanes), value);
}

extern "C" uint32_t qsfp_modify_deemphasis(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value) {
    return call_slot<&qsfp_drv_fvt::modify_deemphasis>(port, 999, kTypeCheckFailed, low_byte(lanes), value);
}

extern "C" uint32_t qsfp_modify_amp(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value) {
    return call_slot<&qsfp_drv_fvt::modify_amp>(port, 1022, kTypeCheckFailed, low_byte(lanes), value);
}

extern "C" uint32_t qsfp_modify_si_values(qsfp_port_ctx *port, uint32_t tx_eq_bitmap, uint8_t *tx_eq,
                                          uint32_t rx_pre_bitmap, uint8_t *rx_pre, uint32_t rx_post_bitmap,
                                          uint8_t *rx_post, uint32_t rx_amp_bitmap, uint8_t *rx_amp) {
    return call_slot<&qsfp_drv_fvt::modify_si_values>(
        port, 1052, nullptr, static_cast<std::uint8_t>(tx_eq_bitmap), tx_eq, static_cast<std::uint8_t>(rx_pre_bitmap),
        rx_pre, static_cast<std::uint8_t>(rx_post_bitmap), rx_post, static_cast<std::uint8_t>(rx_amp_bitmap), rx_amp);
}

extern "C" uint32_t qsfp_port_set_sim_alarms(qsfp_port_ctx *port, void *alarms) {
    return call_slot<&qsfp_drv_fvt::set_sim_alarms>(port, 1106, kThresholdsCheckFailed, alarms);
}

extern "C" uint32_t qsfp_port_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status) {
    return call_slot<&qsfp_drv_fvt::get_hw_status>(port, 1128, kHwStatusCheckFailed, status);
}

// The SFF-8636 inventory slot releases the port lock itself; the wrapper's
// own release is then a no-op.
extern "C" uint32_t qsfp_port_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info) {
    return call_slot<&qsfp_drv_fvt::get_hw_info>(port, 1152, kHwInfoCheckFailed, info);
}

// Every driver table fills this slot; a table still without one answers as
// an empty slot rather than crash.
extern "C" uint32_t qsfp_port_mode_config(qsfp_port_ctx *port, uint32_t mode) {
    return call_slot<&qsfp_drv_fvt::mode_config>(port, 1474, kTypeCheckFailed, mode);
}

extern "C" uint32_t qsfp_module_config_traffic(qsfp_port_ctx *port, void *config) {
    return call_slot<&qsfp_drv_fvt::config_traffic>(port, 1685, kTypeCheckFailed, config);
}

extern "C" uint32_t qsfp_module_config_perf_mon(qsfp_port_ctx *port, void *config) {
    return call_slot<&qsfp_drv_fvt::config_perf_mon>(port, 1709, kTypeCheckFailed, config);
}

extern "C" uint32_t qsfp_module_config_update(qsfp_port_ctx *port, void *config, void *thresholds) {
    return call_slot<&qsfp_drv_fvt::config_update>(port, 1734, kTypeCheckFailed, config, thresholds);
}

extern "C" uint32_t qsfp_module_cdb_cmd_execute(qsfp_port_ctx *port, void *command) {
    return call_slot<&qsfp_drv_fvt::cdb_cmd_execute>(port, 1758, kTypeCheckFailed, command);
}

extern "C" uint32_t qsfp_module_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used) {
    return call_slot<&qsfp_drv_fvt::get_debug_info>(port, 1789, nullptr, text, room, used);
}

extern "C" uint32_t qsfp_port_get_firmware_update_progress(qsfp_port_ctx *port, void *a, void *b, void *c) {
    return call_slot<&qsfp_drv_fvt::get_firmware_update_progress>(port, 1815, kTypeCheckFailed, a, b, c);
}
