/*
 * The SFF-8636 driver (QSFP, QSFP+, QSFP28): its exported functions and the
 * records of the signal-integrity override exchange with the platform.
 */
#ifndef QSFP_QSFP_SFF8636_H
#define QSFP_QSFP_SFF8636_H

#include <stdint.h>

#include <qsfp/qsfp_port.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Override exchange. At device init the driver hands the platform's
 * `update_func` a query naming the module; an answer of 0 accepts the reply,
 * whose values then replace the per-lane defaults.
 */
#define QSFP_SI_QUERY_TYPE_STR_LEN 40

typedef struct qsfp_sff8636_si_query {
    uint32_t controller;
    uint32_t port;
    uint32_t qsfp_type;
    char qsfp_type_str[QSFP_SI_QUERY_TYPE_STR_LEN];
} qsfp_sff8636_si_query;

typedef struct qsfp_sff8636_si_reply {
    uint8_t tx_eq;                      /* Tx input equalisation, all lanes */
    uint8_t rx_emphasis;                /* Rx output emphasis, all lanes */
    uint8_t rx_amplitude;               /* Rx output amplitude, all lanes */
    uint32_t skip_tx_eq;                /* OR-ed into the port's flags */
    uint32_t skip_rx_eq;
    uint32_t unused[2];
    uint32_t skip_amp;
    uint32_t rx_squelch_disable_absent;
    uint32_t tx_squelch_disable_absent;
    uint32_t force_non_adaptive_ctle;   /* replaces the port's flag */
} qsfp_sff8636_si_reply;

/* Bring-up and identification. */
uint32_t qsfp_port_device_init(qsfp_port_ctx *port, uint32_t hw_init);
uint32_t qsfp_port_get_type(qsfp_port_ctx *port, uint32_t *type, char *name, uint32_t name_len, uint32_t *korva);
uint32_t qsfp_identify_type(qsfp_port_ctx *port, const uint8_t *page00);
uint32_t qsfp_set_clear_bits(qsfp_port_ctx *port, uint32_t reg, uint32_t page, uint32_t operation, uint8_t mask);
uint32_t qsfp_check_multirate(qsfp_port_ctx *port, uint8_t *multirate);

/* Operations of qsfp_set_clear_bits. */
#define QSFP_SET_BITS 0u
#define QSFP_CLEAR_BITS 1u

/* Lane control. */
uint32_t qsfp_port_lane_tx_ena_dis(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_rx_ena_dis(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_tx_cdr_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_rx_cdr_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_ctle_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
uint32_t qsfp_port_lane_rx_output_ena(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);

/* Monitoring reports: text into `buf` of `len` bytes; `written` (may be null)
 * receives the whole text's length, which exceeds `len` when it was cut. */
uint32_t qsfp_dom_chan_intr_flags(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
uint32_t qsfp_dom_module_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
uint32_t qsfp_dom_channel_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
uint32_t qsfp_dom_alarm_warn_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
uint32_t qsfp_dom_channel_ctrl_monitor_mask(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
uint32_t qsfp_dom_channel_alarm_warn(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);

/* Monitoring: the alarm and warning thresholds of upper page 03h. */
uint32_t qsfp_port_save_threshold_data(qsfp_port_ctx *port, const uint8_t *page03);

/* Inventory and live status. `image` is lower memory and upper pages
 * 00h-03h (640 bytes), or lower memory and page 00h (256) for flat memory.
 * qsfp_port_get_hw_info is called with the port locked and unlocks it. */
uint32_t qsfp_port_save_hw_info(qsfp_port_ctx *port, const uint8_t *image);
uint32_t qsfp_port_get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info);
uint32_t qsfp_port_get_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status);
void trim_trailing_spaces(char *text, int length);

/* Register decode: the module's memory as show text in `buffer`, which holds
 * 9000 characters; the second and third arguments are not used. */
uint32_t qsfp_phy_reg_decode(qsfp_port_ctx *port, void **text, uint32_t *len, char *buffer);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_SFF8636_H */
