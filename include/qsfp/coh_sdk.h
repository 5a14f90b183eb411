/*
 * The coherent DSP SDK interface: the functions and records through which the
 * coherent module driver (ZR and ZR+ QSFP-DD modules) manages the module's
 * DSP. The SDK is a separate library supplied by the platform: link the
 * vendor's SDK, or the emulator of it in libqsfp_coh_sdk_sim.
 *
 * Every function answers 0 on success and an SDK code otherwise. A device is
 * named by its 16-bit key, (controller << 8) | (port & 0xFF), passed in a
 * 32-bit word. The SDK reaches the module only through the callbacks of the
 * device-create record: a raw access to the module's two-wire address (page
 * selected by the SDK itself through byte 127), and the module's pins.
 *
 * Records are packed; their sizes and offsets are fixed by the SDK.
 */
#ifndef QSFP_COH_SDK_H
#define QSFP_COH_SDK_H

#include <stddef.h>
#include <stdint.h>

#include <qsfp/qsfp_records.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Callbacks the SDK receives ------------------------------------------ */

/* Raw access to the module's two-wire address: register 0-255 of whatever
 * page byte 127 selects. `ctx` is the context of the device-create record. */
typedef uint32_t (*coh_sdk_i2c_read_fn)(void *ctx, uint32_t reg, uint32_t len, uint8_t *buf);
typedef uint32_t (*coh_sdk_i2c_write_fn)(void *ctx, uint32_t reg, uint32_t len, const uint8_t *buf);
typedef uint32_t (*coh_sdk_read_pin_fn)(void *ctx, uint32_t *value);
typedef uint32_t (*coh_sdk_write_pin_fn)(void *ctx, uint32_t value);
/* Log output of the SDK: level 1 errors, 2 periodic, anything else events. */
typedef void (*coh_sdk_print_fn)(uint32_t level, const char *format, ...);

/* ---- Codes of the SDK ----------------------------------------------------- */

#define COH_SDK_OK 0u
#define COH_SDK_ERR_NOT_INITIALISED 0xC0500001u /* no coh_sdk_init yet */
#define COH_SDK_ERR_ALREADY_INITIALISED 0xC0500002u
#define COH_SDK_ERR_UNKNOWN_KEY 0xC0500003u   /* no device registered under the key */
#define COH_SDK_ERR_DUPLICATE_KEY 0xC0500004u /* a device is registered under the key already */
#define COH_SDK_ERR_INVALID_ARG 0xC0500005u   /* null record, bad length, page or operation */
#define COH_SDK_ERR_MODULE_ACCESS 0xC0500006u /* a module callback failed */
#define COH_SDK_ERR_NOT_READY 0xC0500007u     /* the request needs a state the device is not in */
#define COH_SDK_ERR_CDB 0xC0500008u           /* the module's CDB engine refused or failed */
#define COH_SDK_ERR_FILE 0xC0500009u          /* a firmware image could not be read */

/* ---- Records -------------------------------------------------------------- */

#if defined(__GNUC__)
#define COH_SDK_PACKED __attribute__((packed))
#else
#error "the coherent SDK records need a packed attribute"
#endif

/* coh_sdk_device_create. Module kinds: */
#define COH_SDK_MODULE_ZR 1u      /* module type 0xCF */
#define COH_SDK_MODULE_ZR_PLUS 2u /* module type 0xD0 */

typedef struct COH_SDK_PACKED coh_sdk_device_create_record {
    uint32_t version;       /*  0: 1 */
    uint32_t instance;      /*  4: 1 */
    uint32_t lanes;         /*  8: 1 */
    uint32_t reserved;      /* 12: 0 */
    uint32_t module_kind;   /* 16: COH_SDK_MODULE_* */
    uint8_t init_hw;        /* 20: 1 to (re)initialise the DSP, 0 to adopt it */
    coh_sdk_i2c_write_fn i2c_write;             /* 21 */
    coh_sdk_i2c_read_fn i2c_read;               /* 29 */
    void *ctx;                                  /* 37: handed back to every callback */
    uint32_t device_key;                        /* 45 */
    coh_sdk_read_pin_fn read_status_pin;        /* 49 */
    coh_sdk_read_pin_fn read_ctrl_pin;          /* 57 */
    coh_sdk_write_pin_fn write_ctrl_pin;        /* 65 */
    uint8_t coherent;                           /* 73: 1 for a coherent-managed module */
} coh_sdk_device_create_record;

/* coh_sdk_module_config_traffic. Traffic modes (value[2]): */
#define COH_SDK_TRAFFIC_400ZR 1u
#define COH_SDK_TRAFFIC_100G 3u
#define COH_SDK_TRAFFIC_300G 4u
#define COH_SDK_TRAFFIC_200G 5u
#define COH_SDK_TRAFFIC_400G_OFEC 6u
#define COH_SDK_TRAFFIC_VALUES 7

typedef struct COH_SDK_PACKED coh_sdk_traffic_record {
    uint32_t device_key;                     /*  0 */
    uint32_t value[COH_SDK_TRAFFIC_VALUES];  /*  4: value[2] is the traffic mode */
    uint32_t flags;                          /* 32: 0x08 = the traffic mode changes */
} coh_sdk_traffic_record;

/* coh_sdk_module_set_laser. */
#define COH_SDK_LASER_OFF 1u
#define COH_SDK_LASER_ON 2u

typedef struct COH_SDK_PACKED coh_sdk_laser_record {
    uint32_t device_key; /* 0 */
    uint8_t action;      /* 4: COH_SDK_LASER_* */
    uint8_t lanes;       /* 5: 2 */
} coh_sdk_laser_record;

/* coh_sdk_module_config_perf_mon. */
typedef struct COH_SDK_PACKED coh_sdk_perf_mon_record {
    uint32_t device_key; /* 0 */
    uint8_t config[4];   /* 4: config[1] is 1 to enable performance monitoring */
} coh_sdk_perf_mon_record;

/* coh_sdk_handle_cdb_cmd. Operations: */
#define COH_SDK_CDB_QUERY 1u    /* firmware status of the module */
#define COH_SDK_CDB_DOWNLOAD 2u /* download args[0] (a file name) to the inactive image */
#define COH_SDK_CDB_RUN 3u      /* run the inactive image */
#define COH_SDK_CDB_COMMIT 4u   /* commit the running image */

typedef struct COH_SDK_PACKED coh_sdk_cdb_record {
    uint32_t operation; /*  0: COH_SDK_CDB_* */
    uint32_t reserved;  /*  4 */
    /* 8: the caller's values: the firmware file name, a text buffer for the
     * SDK's progress lines, and that buffer's capacity in bytes. */
    uint64_t args[3];
    uint64_t result;    /* 32: filled by the SDK: bytes of text written to the buffer */
} coh_sdk_cdb_record;

/* coh_sdk_get_inventory_info. */
typedef struct COH_SDK_PACKED coh_sdk_inventory_record {
    uint32_t dsp_hw_revision;     /*  0 */
    uint32_t dsp_fw_version;      /*  4: major << 16 | minor << 8 | build */
    uint32_t module_fw_version;   /*  8: the module's running image, major << 8 | minor */
    char dsp_part[8];             /* 12: not terminated */
    uint8_t reserved[256];        /* 20 */
} coh_sdk_inventory_record;

/* coh_sdk_module_cfg_and_thresholds_update: module configuration. */
typedef struct COH_SDK_PACKED coh_sdk_module_cfg {
    int32_t tx_power;          /*  0: 0.01 dBm */
    int32_t cd_min;            /*  4: ps/nm, the chromatic dispersion search range */
    int32_t cd_max;            /*  8 */
    uint32_t frequency;        /* 12: laser frequency, MHz */
    uint8_t opt_lb_internal;   /* 16: loopbacks, 1 = on */
    uint8_t opt_lb_line;       /* 17 */
    uint8_t dsp_lb_internal;   /* 18 */
    uint8_t dsp_lb_line;       /* 19 */
    uint32_t flags;            /* 20: bits 1-8, which fields above apply */
} coh_sdk_module_cfg;

/* Thresholds of the SDK's own alarms. */
typedef struct COH_SDK_PACKED coh_sdk_thresholds {
    int32_t rx_power_th;       /*  0: 0.01 dBm, Rx power low */
    int32_t rx_max_power_th;   /*  4: 0.01 dBm, Rx power high */
    int32_t tx_power_th;       /*  8: 0.01 dBm, Tx power low */
    int32_t tx_high_power_th;  /* 12: 0.01 dBm, Tx power high */
    int32_t lbc_th;            /* 16: laser bias current high, 0.1 % */
    int32_t cd_low_th;         /* 20: ps/nm */
    int32_t cd_high_th;        /* 24: ps/nm */
    int32_t osnr_low_th;       /* 28: 0.1 dB */
    int32_t dgd_high_th;       /* 32: ps */
    uint32_t flags;            /* 36: 0x100 Rx power thresholds apply, 0x200 the others */
} coh_sdk_thresholds;

/* Alarm record of coh_sdk_set_sim_alarms and coh_sdk_get_hw_cfg_alarms_pm_data. */
#define COH_SDK_NTWK_LOF 0x02u          /* network: loss of frame */
#define COH_SDK_NTWK_LOM 0x04u          /* loss of multiframe */
#define COH_SDK_NTWK_SIGNAL_FAIL 0x08u
#define COH_SDK_NTWK_SIGNAL_DEGRADE 0x10u
#define COH_SDK_FLEXO_LOF 0x20u         /* FlexO: loss of frame */
#define COH_SDK_FLEXO_LOM 0x40u
#define COH_SDK_FLEXO_RDI 0x80u         /* remote defect indication */
#define COH_SDK_OPT_RX_LOS 0x02u        /* optical: loss of signal */
#define COH_SDK_OPT_RX_POWER_LOW 0x04u
#define COH_SDK_OPT_RX_POWER_HIGH 0x08u
#define COH_SDK_OPT_TX_POWER_LOW 0x10u
#define COH_SDK_OPT_LBC_HIGH 0x40u
#define COH_SDK_OPT_CD_LOW 0x80u
#define COH_SDK_OPT_CD_HIGH 0x100u
#define COH_SDK_OPT_OSNR_LOW 0x200u
#define COH_SDK_OPT_DGD_HIGH 0x400u
#define COH_SDK_OPT_PRE_FEC_BER_HIGH 0x800u
#define COH_SDK_OPT_FREQ_OFFSET 0x1000u
#define COH_SDK_OPT_TX_POWER_HIGH 0x10000000u
#define COH_SDK_MOD_TEMP_HIGH 0x04u     /* module */
#define COH_SDK_MOD_TEMP_LOW 0x08u
#define COH_SDK_MOD_VCC_HIGH 0x10u
#define COH_SDK_MOD_VCC_LOW 0x20u
#define COH_SDK_MOD_DSP_FAULT 0x40u
#define COH_SDK_MOD_LASER_FAULT 0x80u
#define COH_SDK_MOD_FW_FAULT 0x100u
#define COH_SDK_MOD_POWER_FAULT 0x200u

typedef struct COH_SDK_PACKED coh_sdk_alarms {
    uint32_t ntwk_flexo; /*  0: COH_SDK_FLEXO_* */
    uint32_t ntwk;       /*  4: COH_SDK_NTWK_* */
    uint32_t optical;    /*  8: COH_SDK_OPT_* */
    uint32_t module;     /* 12: COH_SDK_MOD_* */
    uint32_t reserved[24];
} coh_sdk_alarms;

/* coh_sdk_get_hw_cfg_alarms_pm_data: configuration, state, counters and
 * performance data. Word 0 of the first three is the device key. */
typedef struct COH_SDK_PACKED coh_sdk_hw_config {
    uint32_t device_key;      /*  0 */
    uint32_t traffic_mode;    /*  4: COH_SDK_TRAFFIC_*, 0 before any */
    uint32_t frequency;       /*  8: MHz */
    int32_t tx_power;         /* 12: 0.01 dBm set point */
    int32_t cd_min;           /* 16: ps/nm */
    int32_t cd_max;           /* 20: ps/nm */
    uint32_t loopbacks;       /* 24: opt-lb-internal, opt-lb-line, dsp-lb-internal, dsp-lb-line, low byte first */
    uint32_t perf_mon;        /* 28: 1 while performance monitoring runs */
} coh_sdk_hw_config;

#define COH_SDK_STATE_DOWN 0u
#define COH_SDK_STATE_UP 1u
typedef struct COH_SDK_PACKED coh_sdk_hw_state {
    uint32_t device_key;      /*  0 */
    uint32_t module_state;    /*  4: CMIS module state (byte 3 bits 3-1) */
    uint32_t laser;           /*  8: COH_SDK_STATE_* */
    uint32_t rx_signal;       /* 12: COH_SDK_STATE_*, a signal is locked on */
    uint32_t traffic;         /* 16: COH_SDK_STATE_*, frames are aligned */
    uint32_t reserved[3];
} coh_sdk_hw_state;

typedef struct COH_SDK_PACKED coh_sdk_hw_counters {
    uint32_t device_key;             /*  0 */
    uint32_t interval_s;             /*  4: seconds the counters cover */
    uint64_t fec_corrected_bits;     /*  8 */
    uint64_t fec_uncorrected_blocks; /* 16 */
    uint64_t fec_total_blocks;       /* 24 */
    uint64_t reserved;               /* 32 */
} coh_sdk_hw_counters;

/* Performance parameters: the first COH_SDK_PM_CURRENT also have a current value. */
enum coh_sdk_pm_param {
    COH_SDK_PM_RX_TOTAL_POWER = 0, /* dBm */
    COH_SDK_PM_RX_SIGNAL_POWER,    /* dBm */
    COH_SDK_PM_TX_POWER,           /* dBm */
    COH_SDK_PM_OSNR,               /* dB */
    COH_SDK_PM_ESNR,               /* dB */
    COH_SDK_PM_CD,                 /* ps/nm */
    COH_SDK_PM_DGD,                /* ps */
    COH_SDK_PM_PDL,                /* dB */
    COH_SDK_PM_PRE_FEC_BER,        /* ratio */
    COH_SDK_PM_UNCORRECTED_RATIO,  /* uncorrected FEC blocks / blocks */
    COH_SDK_PM_CFO,                /* carrier frequency offset, MHz */
    COH_SDK_PM_Q_FACTOR,           /* dB */
    COH_SDK_PM_SOPMD,              /* ps^2 */
    COH_SDK_PM_SOP_ROC,            /* krad/s */
    COH_SDK_PM_EVM,                /* % */
    COH_SDK_PM_MER,                /* dB */
    COH_SDK_PM_CLOCK_RECOVERY,     /* % */
    COH_SDK_PM_LASER_TEMPERATURE,  /* C */
    COH_SDK_PM_LASER_FREQ_OFFSET,  /* MHz */
    COH_SDK_PM_LBC,                /* laser bias current, % */
    COH_SDK_PM_SNR_MARGIN,         /* dB */
    COH_SDK_PM_POWER_IMBALANCE,    /* dB, X against Y polarisation */
    COH_SDK_PM_PARAMS
};
#define COH_SDK_PM_CURRENT 12

typedef struct COH_SDK_PACKED coh_sdk_pm_stat {
    float avg;
    float min;
    float max;
} coh_sdk_pm_stat;

typedef struct COH_SDK_PACKED coh_sdk_pm_data {
    uint32_t device_key;                      /*   0 */
    uint32_t valid;                           /*   4: 1 when the values below were measured */
    uint32_t interval_ms;                     /*   8: time the statistics cover */
    uint32_t samples;                         /*  12: samples in the statistics */
    float current[COH_SDK_PM_CURRENT];        /*  16: latest sample, coh_sdk_pm_param order */
    coh_sdk_pm_stat stats[COH_SDK_PM_PARAMS]; /*  64 */
    uint8_t sdk_private[5060];                /* 328: the SDK's own history */
} coh_sdk_pm_data;

/* ---- Functions ------------------------------------------------------------ */

uint32_t coh_sdk_init(uint32_t mode, coh_sdk_print_fn print);
uint32_t coh_sdk_device_create(const coh_sdk_device_create_record *record);
uint32_t coh_sdk_device_delete(uint32_t device_key);
/* rw 1 reads, 0 writes `len` bytes at `reg` of `page` (reg < 128 is the lower page). */
uint32_t coh_sdk_read_write_reg(uint32_t device_key, uint32_t bank, uint32_t page, uint32_t reg, uint32_t len,
                                uint8_t *buf, uint32_t rw);
uint32_t coh_sdk_module_config_traffic(const coh_sdk_traffic_record *record);
uint32_t coh_sdk_module_set_laser(const coh_sdk_laser_record *record);
uint32_t coh_sdk_get_inventory_info(uint32_t device_key, coh_sdk_inventory_record *record);
uint32_t coh_sdk_handle_cdb_cmd(uint32_t device_key, coh_sdk_cdb_record *record);
/* Either record may be null: that part is left as it is. */
uint32_t coh_sdk_module_cfg_and_thresholds_update(uint32_t device_key, const coh_sdk_module_cfg *cfg,
                                                  const coh_sdk_thresholds *thresholds);
uint32_t coh_sdk_module_config_perf_mon(const coh_sdk_perf_mon_record *record);
/* Writes the SDK's debug text into `text` (at most `room` bytes, terminated
 * when room allows) and its length to `*used`. */
uint32_t coh_sdk_module_get_debug_info(uint32_t device_key, char *text, uint32_t room, uint32_t *used);
uint32_t coh_sdk_set_sim_alarms(uint32_t device_key, const coh_sdk_alarms *record);
/* Firmware download progress: `percent` (uint32_t *, 0-100), `state`
 * (uint32_t *: 0 idle, 1 downloading, 2 done, 3 failed) and `bytes`
 * (uint32_t *, bytes written so far); any may be null. */
uint32_t coh_sdk_get_firmware_update_progress(uint32_t device_key, void *percent, void *state, void *bytes);
uint32_t coh_sdk_get_hw_cfg_alarms_pm_data(uint32_t device_key, coh_sdk_hw_config *config, coh_sdk_hw_state *state,
                                           coh_sdk_hw_counters *counters, coh_sdk_pm_data *pm,
                                           coh_sdk_alarms *alarms);

/* ---- Sizes and offsets ------------------------------------------------------ */

QSFP_STATIC_ASSERT(sizeof(void *) == 8, "the device-create record carries 64-bit pointers");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_device_create_record) == 74, "device-create record is 74 bytes");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, module_kind) == 16, "module kind at 16");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, init_hw) == 20, "init-hw flag at 20");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, i2c_write) == 21, "write callback at 21");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, i2c_read) == 29, "read callback at 29");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, ctx) == 37, "context at 37");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, device_key) == 45, "device key at 45");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, read_status_pin) == 49, "status pin at 49");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, read_ctrl_pin) == 57, "control pin read at 57");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, write_ctrl_pin) == 65, "control pin write at 65");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_device_create_record, coherent) == 73, "coherent flag at 73");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_traffic_record) == 36, "traffic record is 36 bytes");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_traffic_record, flags) == 32, "traffic flags at 32");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_laser_record) == 6, "laser record is 6 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_perf_mon_record) == 8, "perf-monitor record is 8 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_cdb_record) == 40, "CDB record is 40 bytes");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_cdb_record, result) == 32, "CDB result at 32");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_inventory_record) == 276, "inventory record is 276 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_module_cfg) == 24, "module configuration is 24 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_thresholds) == 40, "thresholds are 40 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_alarms) == 112, "alarm record is 112 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_hw_config) == 32, "configuration record is 32 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_hw_state) == 32, "state record is 32 bytes");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_hw_counters) == 40, "counter record is 40 bytes");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_pm_data, current) == 16, "current values at 16");
QSFP_STATIC_ASSERT(offsetof(coh_sdk_pm_data, stats) == 64, "statistics at 64");
QSFP_STATIC_ASSERT(sizeof(coh_sdk_pm_data) == 5388, "performance-data block is 5388 bytes");

#ifdef __cplusplus
}
#endif

#endif /* QSFP_COH_SDK_H */
