/*
 * Library and port contexts, the driver table, port creation and deletion,
 * locking and paged register access.
 */
#ifndef QSFP_QSFP_PORT_H
#define QSFP_QSFP_PORT_H

#include <pthread.h>
#include <stdint.h>

#include <qsfp/platform.h>
#include <qsfp/qsfp_records.h>
#include <qsfp/qsfp_types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qsfp_port_ctx qsfp_port_ctx;

/* The 31 operations of a driver. Each takes the port context first. */
typedef uint32_t (*qsfp_device_init_fn)(qsfp_port_ctx *port, uint32_t init_arg);
typedef uint32_t (*qsfp_lane_ctrl_fn)(qsfp_port_ctx *port, uint32_t lanes, uint32_t enable);
typedef uint32_t (*qsfp_get_type_fn)(qsfp_port_ctx *port, uint32_t *type, char *name, uint32_t name_len,
                                     uint32_t *flag);
typedef uint32_t (*qsfp_modify_si_fn)(qsfp_port_ctx *port, uint32_t lanes, uint8_t *value);
typedef uint32_t (*qsfp_dom_report_fn)(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len);
typedef uint32_t (*qsfp_get_hw_status_fn)(qsfp_port_ctx *port, qsfp_hw_status *status);
typedef uint32_t (*qsfp_get_hw_info_fn)(qsfp_port_ctx *port, qsfp_hw_info *info);
typedef uint32_t (*qsfp_port_state_fn)(qsfp_port_ctx *port, uint32_t lanes, uint32_t flag);
typedef uint32_t (*qsfp_mode_config_fn)(qsfp_port_ctx *port, uint32_t mode);
typedef uint32_t (*qsfp_modify_si_values_fn)(qsfp_port_ctx *port, uint8_t tx_eq_bitmap, uint8_t *tx_eq,
                                             uint8_t rx_pre_bitmap, uint8_t *rx_pre, uint8_t rx_post_bitmap,
                                             uint8_t *rx_post, uint8_t rx_amp_bitmap, uint8_t *rx_amp);
typedef uint32_t (*qsfp_phy_reg_decode_fn)(qsfp_port_ctx *port, void **text, uint32_t *len, char *buffer);
typedef uint32_t (*qsfp_config_one_fn)(qsfp_port_ctx *port, void *config);
typedef uint32_t (*qsfp_config_update_fn)(qsfp_port_ctx *port, void *config, void *thresholds);
typedef uint32_t (*qsfp_cdb_cmd_fn)(qsfp_port_ctx *port, void *command);
typedef uint32_t (*qsfp_debug_info_fn)(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used);
typedef uint32_t (*qsfp_reg_read_write_fn)(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page,
                                           void *buf, uint32_t rw);
typedef uint32_t (*qsfp_delete_device_fn)(qsfp_port_ctx *port);
typedef uint32_t (*qsfp_fw_progress_fn)(qsfp_port_ctx *port, void *a, void *b, void *c);

/*
 * A driver table. A null slot is an operation the driver does not have: the
 * port operations answer QSFP_ERR_EMPTY_SLOT without calling it.
 */
typedef struct qsfp_drv_fvt {
    qsfp_device_init_fn device_init;                          /* 0 */
    qsfp_lane_ctrl_fn lane_tx_ena_dis;                        /* 1 */
    qsfp_lane_ctrl_fn lane_rx_ena_dis;                        /* 2 */
    qsfp_lane_ctrl_fn lane_tx_cdr_ena;                        /* 3 */
    qsfp_lane_ctrl_fn lane_rx_cdr_ena;                        /* 4 */
    qsfp_get_type_fn get_type;                                /* 5 */
    qsfp_modify_si_fn modify_eq;                              /* 6 */
    qsfp_modify_si_fn modify_deemphasis;                      /* 7 */
    qsfp_modify_si_fn modify_amp;                             /* 8 */
    qsfp_dom_report_fn dom_chan_intr_flags;                   /* 9 */
    qsfp_dom_report_fn dom_module_monitor;                    /* 10 */
    qsfp_dom_report_fn dom_channel_monitor;                   /* 11 */
    qsfp_dom_report_fn dom_alarm_warn_monitor;                /* 12 */
    qsfp_dom_report_fn dom_channel_ctrl_monitor_mask;         /* 13 */
    qsfp_dom_report_fn dom_channel_alarm_warn;                /* 14 */
    qsfp_get_hw_status_fn get_hw_status;                      /* 15 */
    qsfp_get_hw_info_fn get_hw_info;                          /* 16 */
    qsfp_port_state_fn port_disable;                          /* 17 */
    qsfp_port_state_fn port_enable;                           /* 18 */
    qsfp_mode_config_fn mode_config;                          /* 19 */
    qsfp_modify_si_values_fn modify_si_values;                /* 20 */
    qsfp_phy_reg_decode_fn phy_reg_decode;                    /* 21 */
    qsfp_config_one_fn config_traffic;                        /* 22 */
    qsfp_config_one_fn config_perf_mon;                       /* 23 */
    qsfp_config_update_fn config_update;                      /* 24 */
    qsfp_cdb_cmd_fn cdb_cmd_execute;                          /* 25 */
    qsfp_debug_info_fn get_debug_info;                        /* 26 */
    qsfp_reg_read_write_fn reg_read_write;                    /* 27 */
    qsfp_delete_device_fn delete_device;                      /* 28 */
    qsfp_config_one_fn set_sim_alarms;                        /* 29 */
    qsfp_fw_progress_fn get_firmware_update_progress;         /* 30 */
} qsfp_drv_fvt;
#define QSFP_DRV_FVT_SLOTS 31
QSFP_STATIC_ASSERT(sizeof(qsfp_drv_fvt) == QSFP_DRV_FVT_SLOTS * sizeof(void (*)(void)),
                   "driver table has 31 slots");

/* The exported driver tables: SFF-8636, CMIS and coherent DSP modules. */
extern const qsfp_drv_fvt qsfp_fvt;
extern const qsfp_drv_fvt qsfp_dd_fvt;
extern const qsfp_drv_fvt qsfp_dd_coh_dsp_fvt;

/* Number of lanes of the per-lane setting arrays. */
#define QSFP_MAX_LANES 8

/* Library-wide state: one static instance, set up by the first port creation. */
typedef struct qsfp_lib_ctx {
    uint32_t initialized;
    qsfp_port_ctx *ports;
    pthread_mutex_t lock;               /* "qsfp_context_lock" */
    void *evm;
    ztrace_buffer *trace_err;           /* "qsfp_err" */
    ztrace_buffer *trace_evt;           /* "qsfp_evt" */
    ztrace_buffer *trace_periodic;      /* "qsfp_periodic" */
    ztrace_buffer *trace_port_periodic; /* "qsfp_port_periodic" */
    mgd_timer *timer_tree;
} qsfp_lib_ctx;

/* What the caller tells the library about one cage. */
typedef struct qsfp_port_create_params {
    uint64_t opaque;
    uint32_t controller;
    uint32_t port;
    uint32_t port_mode;
    void *evm;
    qsfp_read_fn read;
    qsfp_bit_bang_read_fn bit_bang_read;
    qsfp_write_fn write;
    qsfp_init_done_fn init_done_notify;
    qsfp_update_fn update_func;
    uint32_t init_arg;
    /* Tx input equalisation, Rx output emphasis, two driver bytes, Rx output amplitude */
    uint8_t lane_setting[5];
    uint8_t cfg_byte_a;
    uint8_t cfg_byte_b;
    uint32_t cfg_word[4];
    uint32_t force_non_adaptive_ctle;
    uint32_t is_direct_page_wr_support;
    uint32_t is_direct_page_rd_support;
    uint32_t retimer_port;
    qsfp_admin_state_notify_fn admin_state_notify;
    pthread_mutex_t *port_lock;
    uint32_t multirate_port_speed;      /* kbit/s; 40000000 means 40G */
} qsfp_port_create_params;

typedef struct qsfp_port_create_result {
    qsfp_port_ctx *handle;
    uint32_t not_ready;
    uint32_t init_arg;
    uint32_t rc;
} qsfp_port_create_result;

/*
 * Storage for the private state of the driver bound to a port. Only that
 * driver reads or writes it; the framework zero-fills it with the context.
 */
#define QSFP_DRIVER_STATE_BYTES 1024
typedef union qsfp_driver_state {
    uint64_t align;
    unsigned char bytes[QSFP_DRIVER_STATE_BYTES];
} qsfp_driver_state;

/* Internal driver behaviour the framework's timer handler calls (opaque). */
struct qsfp_drv_hooks;

/* One cage. The fields up to `rate` are the framework's; driver state follows. */
struct qsfp_port_ctx {
    pthread_mutex_t *port_lock;
    uint32_t initialized;
    uint64_t opaque;
    uint32_t controller;
    uint32_t port;
    uint32_t port_mode;
    qsfp_drv_fvt fvt;
    uint32_t cur_page;
    ztrace_buffer *trace_err;
    ztrace_buffer *trace_evt;
    ztrace_buffer *trace_periodic;
    ztrace_buffer *trace_port_periodic;
    qsfp_read_fn read;
    qsfp_bit_bang_read_fn bit_bang_read;
    qsfp_write_fn write;
    qsfp_init_done_fn init_done_notify;
    qsfp_update_fn update_func;
    uint32_t flat_mem;
    uint32_t tec_present;
    uint8_t lane_tx_eq[QSFP_MAX_LANES];
    uint8_t lane_rx_emphasis[QSFP_MAX_LANES];
    uint8_t lane_rx_pre[QSFP_MAX_LANES];
    uint8_t lane_rx_post[QSFP_MAX_LANES];
    uint8_t lane_rx_amp[QSFP_MAX_LANES];
    uint8_t cfg_byte_a;
    uint8_t cfg_byte_b;
    uint32_t cfg_word[4];
    uint32_t cool_expired;
    uint32_t is_copper;
    uint32_t force_non_adaptive_ctle;
    mgd_timer *cool_timer;
    mgd_timer *keepalive_timer;
    uint32_t ready_lanes;       /* lane mask (8 bits) to enable when the cool timer fires */
    uint32_t retimer_port;
    qsfp_port_ctx *next;
    uint32_t rate;              /* 40, 100, 200 or 400 Gb/s; 0 unknown */
    /* Which thread holds port_lock through qsfp_check_and_lock_hdl (0: none),
     * how often, and whether a compound operation keeps it to its end. Read
     * by any thread, written only by the holder. */
    uint64_t lock_owner;
    uint32_t lock_depth;
    uint32_t lock_kept;
    const struct qsfp_drv_hooks *hooks; /* set by the driver that starts timers */

    /* Records every driver fills alike. */
    qsfp_hw_info hw_info;
    qsfp_threshold_data thresholds;
    qsfp_driver_state driver;

    uint32_t any_page;          /* DWDM module: every page number is accepted */
    uint32_t is_direct_page_wr_support;
    uint32_t is_direct_page_rd_support;
    qsfp_admin_state_notify_fn admin_state_notify;
    uint32_t multirate_port_speed;
};

/* Port lifecycle. */
qsfp_lib_ctx *qsfp_get_ctx(void);
uint32_t qsfp_port_create(const qsfp_port_create_params *params, qsfp_port_create_result *result);
uint32_t qsfp_port_delete(qsfp_port_ctx *port);
uint32_t qsfp_port_get_rate(uint8_t identifier);

/* Locking and register access. */
uint32_t qsfp_check_and_lock_hdl(qsfp_port_ctx *port, int caller_line);
uint32_t qsfp_port_unlock(qsfp_port_ctx *port);
uint32_t qsfp_set_page(uint8_t page, qsfp_port_ctx *port);
uint32_t qsfp_access(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page, void *buf, uint32_t rw);
uint32_t qsfp_special_bit_bang_read(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page, void *buf,
                                    uint64_t arg);
uint32_t qsfp_reg_access(qsfp_port_ctx *port, char **text, uint32_t *size, uint32_t rw);
uint32_t qsfp_port_read_reg(qsfp_port_ctx *port, char **text, uint32_t *size);

/* Timer entry: registered with the caller's event manager. */
void qsfp_timer_tree_handler(mgd_timer *tree);
uint32_t qsfp_port_handle_event_irq(qsfp_port_ctx *port);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_PORT_H */
