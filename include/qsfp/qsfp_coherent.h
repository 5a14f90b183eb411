/*
 * The coherent DSP driver (QSFP-DD ZR and ZR+ modules): the records a caller
 * hands to the coherent port operations, the callbacks the driver gives the
 * coherent DSP SDK, and the layout of the coherent section of the live status
 * record. CMIS bring-up hands ZR and ZR+ modules to the table
 * `qsfp_dd_coh_dsp_fvt`; the port operations of qsfp_port_ops.h reach it.
 */
#ifndef QSFP_QSFP_COHERENT_H
#define QSFP_QSFP_COHERENT_H

#include <stdint.h>

#include <qsfp/coh_sdk.h>
#include <qsfp/qsfp_cmis.h>
#include <qsfp/qsfp_port.h>
#include <qsfp/qsfp_records.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Records of the callers ------------------------------------------------ */

/* qsfp_module_config_traffic: the seven SDK traffic values (value[2] is the
 * traffic mode, COH_SDK_TRAFFIC_*) and the flags; only flag bits 1-7
 * (0x02-0x80) are passed on. */
#define QSFP_COH_TRAFFIC_FLAGS 0xFEu
typedef struct qsfp_coh_traffic_config {
    uint32_t value[COH_SDK_TRAFFIC_VALUES];
    uint32_t flags;
} qsfp_coh_traffic_config;

/* qsfp_module_config_perf_mon: four configuration bytes; config[1] non-zero
 * enables performance monitoring. */
typedef struct qsfp_coh_perf_mon_config {
    uint8_t config[4];
} qsfp_coh_perf_mon_config;

/* qsfp_module_config_update, first record (may be null): the module
 * configuration in the units of coh_sdk_module_cfg. Only flag bits 1-8
 * (0x1FE), which say which fields apply, are passed on. */
#define QSFP_COH_CONFIG_FLAGS 0x1FEu
typedef struct qsfp_coh_module_config {
    int32_t tx_power;   /* 0.01 dBm */
    int32_t cd_min;     /* ps/nm */
    int32_t cd_max;     /* ps/nm */
    uint32_t frequency; /* MHz */
    uint8_t opt_lb_internal;
    uint8_t opt_lb_line;
    uint8_t dsp_lb_internal;
    uint8_t dsp_lb_line;
    uint32_t flags;
} qsfp_coh_module_config;

/* qsfp_module_config_update, second record (may be null): the SDK's alarm
 * thresholds in the units of coh_sdk_thresholds. Only flags 0x100 (Rx power
 * thresholds apply) and 0x200 (the others apply) are passed on. */
#define QSFP_COH_THRESHOLD_FLAGS 0x300u
typedef struct qsfp_coh_thresholds {
    int32_t rx_power_th;
    int32_t rx_max_power_th;
    int32_t tx_power_th;
    int32_t tx_high_power_th;
    int32_t lbc_th;
    int32_t cd_low_th;
    int32_t cd_high_th;
    int32_t osnr_low_th;
    int32_t dgd_high_th;
    uint32_t flags;
} qsfp_coh_thresholds;

/* qsfp_port_set_sim_alarms: three alarm bitmaps to simulate. The bits the
 * SDK's alarm record has are passed on:
 *   network: 0x02, 0x04, 0x08, 0x10 as COH_SDK_NTWK_* (same bits);
 *            0x400, 0x800, 0x1000 as COH_SDK_FLEXO_LOF, _LOM, _RDI (0x20, 0x40, 0x80);
 *   optical: 0x02-0x1000 as COH_SDK_OPT_* (same bits), except 0x20, which is
 *            COH_SDK_OPT_TX_POWER_HIGH (0x10000000);
 *   module:  0x04-0x200 as COH_SDK_MOD_* (same bits).
 * Every other bit is dropped. */
typedef struct qsfp_coh_sim_alarms {
    uint32_t network;
    uint32_t optical;
    uint32_t module;
} qsfp_coh_sim_alarms;

/* qsfp_module_cdb_cmd_execute takes a cdb_cmd_info (qsfp_cmis.h). Commands 0
 * (status query), 400 (download), 402 (run) and 403 (commit) are SDK
 * operations COH_SDK_CDB_QUERY to COH_SDK_CDB_COMMIT; the SDK writes its
 * progress text at the start of `response` (at most `response_capacity`
 * bytes) and the count of bytes written goes to `*response_length` when that
 * pointer is set. Any other command answers 22. */

/* ---- Coherent section of the live status record -----------------------------
 *
 * qsfp_port_hw_status of a coherent port fills entries 292-399 (the record's
 * `coherent` array; entry N is coherent[QSFP_COH_ENTRY(N)]) from the SDK's
 * configuration, state, alarm and performance-data records:
 *
 *   entry    type    field
 *   292      u32     first byte 1: the section is present
 *   293      u32     coh_sdk_pm_data.valid (1: the values below were measured)
 *   294-305  float   coh_sdk_pm_data.current[0-11], coh_sdk_pm_param order
 *   306-371  float   coh_sdk_pm_data.stats[p].avg, .min, .max for parameter
 *                    p = 0-21: entry 306 + 3p + {0 avg, 1 min, 2 max}
 *   372      u32     coh_sdk_hw_config.traffic_mode
 *   373      u32     coh_sdk_hw_config.frequency (MHz)
 *   374      i32     coh_sdk_hw_config.tx_power (0.01 dBm)
 *   375      i32     coh_sdk_hw_config.cd_min (ps/nm)
 *   376      i32     coh_sdk_hw_config.cd_max (ps/nm)
 *   377      u32     coh_sdk_hw_config.loopbacks
 *   378      u32     coh_sdk_hw_config.perf_mon
 *   379      -       0
 *   380      u32     coh_sdk_hw_state.module_state
 *   381      u32     coh_sdk_hw_state.laser (COH_SDK_STATE_*)
 *   382      u32     coh_sdk_hw_state.rx_signal
 *   383      u32     coh_sdk_hw_state.traffic
 *   384      u32     coh_sdk_alarms.ntwk_flexo (COH_SDK_FLEXO_*)
 *   385      u32     coh_sdk_alarms.ntwk (COH_SDK_NTWK_*)
 *   386      u32     coh_sdk_alarms.optical (COH_SDK_OPT_*)
 *   387      u32     coh_sdk_alarms.module (COH_SDK_MOD_*)
 *   388-399  -       0
 *
 * i32 entries hold the signed value's bits; float entries a single-precision
 * value's bits (read them with memcpy or through a float pointer).
 */
#define QSFP_COH_SECTION_FIRST 292u
#define QSFP_COH_ENTRY(entry) ((entry) - QSFP_COH_SECTION_FIRST)
#define QSFP_COH_STATUS_PRESENT 292u
#define QSFP_COH_STATUS_PM_VALID 293u
#define QSFP_COH_STATUS_PM_CURRENT 294u /* 12 entries */
#define QSFP_COH_STATUS_PM_STATS 306u   /* 66 entries: avg, min, max per parameter */
#define QSFP_COH_STATUS_CONFIG 372u     /* 7 entries: coh_sdk_hw_config words 1-7 */
#define QSFP_COH_STATUS_STATE 380u      /* 4 entries: coh_sdk_hw_state words 1-4 */
#define QSFP_COH_STATUS_ALARMS 384u     /* 4 entries: coh_sdk_alarms words 0-3 */
#define QSFP_COH_STATUS_CONFIG_WORDS 7u
#define QSFP_COH_STATUS_STATE_WORDS 4u
#define QSFP_COH_STATUS_ALARM_WORDS 4u
QSFP_STATIC_ASSERT(QSFP_COH_STATUS_PM_CURRENT + COH_SDK_PM_CURRENT == QSFP_COH_STATUS_PM_STATS,
                   "current values end where the statistics begin");
QSFP_STATIC_ASSERT(QSFP_COH_STATUS_PM_STATS + 3 * COH_SDK_PM_PARAMS == QSFP_COH_STATUS_CONFIG,
                   "statistics end where the configuration begins");
QSFP_STATIC_ASSERT(QSFP_COH_STATUS_STATE * 4 == 1520, "state values at byte 1520");
QSFP_STATIC_ASSERT(QSFP_COH_STATUS_ALARMS + QSFP_COH_STATUS_ALARM_WORDS <= 400, "alarms inside the record");

/* Fills the coherent section of `status` (entries 292-399) as the table above
 * says, from the SDK's answer to coh_sdk_get_hw_cfg_alarms_pm_data. Answers 22
 * for a null pointer (nothing written), else 0. */
uint32_t coherent_module_copy_hw_config_alarms_pm_data(qsfp_hw_status *status, const coh_sdk_hw_config *config,
                                                       const coh_sdk_hw_state *state, const coh_sdk_pm_data *pm,
                                                       const coh_sdk_alarms *alarms);

/* ---- Operations of the coherent table ------------------------------------------
 * Reached through the port operations; callable directly under the port lock. */
uint32_t coherent_module_init(qsfp_port_ctx *port);
uint32_t coherent_module_config_traffic(qsfp_port_ctx *port, void *config);  /* qsfp_coh_traffic_config */
uint32_t coherent_module_config_perf_mon(qsfp_port_ctx *port, void *config); /* qsfp_coh_perf_mon_config */
uint32_t coherent_module_config_update(qsfp_port_ctx *port, void *config,     /* qsfp_coh_module_config */
                                       void *thresholds);                     /* qsfp_coh_thresholds */
uint32_t coherent_module_cdb_cmd_execute(qsfp_port_ctx *port, void *request); /* cdb_cmd_info */
/* A page dump (lower memory, upper pages 00h-03h, 10h and 11h) read through
 * the SDK, followed by the SDK's own debug text. */
uint32_t coherent_module_get_debug_info(qsfp_port_ctx *port, char *text, uint32_t room, uint32_t *used);
uint32_t coherent_module_reg_read_write(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page, void *buf,
                                        uint32_t rw);
uint32_t coherent_module_delete_device(qsfp_port_ctx *port);

/* ---- Callbacks the SDK receives (ctx is the port context) ------------------------
 * The two-wire access goes straight to the caller's read and write functions
 * at page 0: the SDK selects pages itself through byte 127, so the library's
 * paged access and page cache are bypassed. */
uint32_t coherent_module_i2c_read(void *ctx, uint32_t reg, uint32_t len, uint8_t *buf);
uint32_t coherent_module_i2c_write(void *ctx, uint32_t reg, uint32_t len, const uint8_t *buf);
/* The pins read as fixed values: status 5, control 4. */
uint32_t coherent_module_read_status_pin(void *ctx, uint32_t *value);
uint32_t coherent_module_read_ctrl_pin(void *ctx, uint32_t *value);
uint32_t coherent_module_write_ctrl_pin(void *ctx, uint32_t value);
/* SDK log lines (at most 511 characters) to the library's error buffer for
 * level 1, its periodic buffer for level 2 and its event buffer otherwise. */
void coherent_module_print(uint32_t level, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_COHERENT_H */
