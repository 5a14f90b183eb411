/*
 * The exported per-port operations. Each validates the handle, locks the port,
 * reaches one slot of the port's driver table (or decides from the port
 * context) and unlocks. An empty slot answers QSFP_ERR_EMPTY_SLOT.
 */
#ifndef QSFP_QSFP_PORT_OPS_H
#define QSFP_QSFP_PORT_OPS_H

#include <stdint.h>

#include <qsfp/qsfp_port.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Lanes: a bitmap of lanes (bit n = lane n); only the low 8 bits count. */
uint32_t qsfp_port_lane_tx_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_rx_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_tx_cdr_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_rx_cdr_enable(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);

/* Identity and signal integrity. */
uint32_t qsfp_port_type(qsfp_port_ctx *port, uint32_t *type, char *name, uint32_t name_len, uint32_t *flag);
uint32_t qsfp_modify_eq(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value);
uint32_t qsfp_modify_deemphasis(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value);
uint32_t qsfp_modify_amp(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value);
uint32_t qsfp_modify_si_values(qsfp_port_ctx *port, uint32_t tx_eq_bitmap, uint8_t *tx_eq, uint32_t rx_pre_bitmap,
                               uint8_t *rx_pre, uint32_t rx_post_bitmap, uint8_t *rx_post, uint32_t rx_amp_bitmap,
                               uint8_t *rx_amp);
uint32_t qsfp_port_mode_config(qsfp_port_ctx *port, uint32_t mode);

/* Status, inventory, thresholds and reports. */
uint32_t qsfp_port_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status);
uint32_t qsfp_port_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info);
uint32_t qsfp_port_hw_thresholds(qsfp_port_ctx *port, qsfp_threshold_data *out);
uint32_t qsfp_port_set_sim_alarms(qsfp_port_ctx *port, void *alarms);
/* kind 0-5: one report; 6: reports 0-4 one after the other; 7 and up: nothing. */
uint32_t qsfp_port_dom_info(qsfp_port_ctx *port, char *buf, uint32_t kind, uint32_t len);
uint32_t qsfp_port_phy_reg_decode(qsfp_port_ctx *port, void **text, uint32_t *len);

/* Register access, with page before length. */
uint32_t qsfp_port_read(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t len, void *buf);
uint32_t qsfp_port_write(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t len, void *buf);

/* Port state: pre and state are the previous and the requested state. */
uint32_t qsfp_port_admin_state(qsfp_port_ctx *port, uint32_t pre, uint32_t state, uint32_t lanes);
uint32_t qsfp_port_tx_disable(qsfp_port_ctx *port, uint32_t pre, uint32_t state, uint32_t lanes);

/* What the port context says about the module. */
uint32_t qsfp_port_rate(qsfp_port_ctx *port, uint32_t *rate);
uint32_t qsfp_get_module_type(qsfp_port_ctx *port);           /* 0 failed, 1 copper, 2 other */
uint32_t qsfp_is_active_copper_type(qsfp_port_ctx *port);     /* 1 active copper cable */
uint32_t qsfp_port_get_default_fec(qsfp_port_ctx *port, uint32_t *fec);
uint32_t qsfp_port_get_default_autoneg(qsfp_port_ctx *port, uint32_t *autoneg);
uint32_t qsfp_port_qsa_sfp_inserted(qsfp_port_ctx *port, uint32_t *inserted);
uint32_t is_qsfp_multirate(qsfp_port_ctx *port, uint8_t *answer);

/* Coherent and CDB pass-through. */
uint32_t qsfp_module_config_traffic(qsfp_port_ctx *port, void *config);
uint32_t qsfp_module_config_perf_mon(qsfp_port_ctx *port, void *config);
uint32_t qsfp_module_config_update(qsfp_port_ctx *port, void *config, void *thresholds);
uint32_t qsfp_module_cdb_cmd_execute(qsfp_port_ctx *port, void *command);
uint32_t qsfp_module_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used);
uint32_t qsfp_port_get_firmware_update_progress(qsfp_port_ctx *port, void *a, void *b, void *c);

/* Page dump: slot get_debug_info of the SFF-8636 and CMIS tables, and its
 * formatter of one 128-byte page. */
uint32_t qsfp_port_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used);
uint32_t qsfp_debug_copy_page_info(char *out, uint32_t offset, uint32_t page, const uint8_t *bytes, uint32_t room,
                                   uint32_t *written);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_PORT_OPS_H */
