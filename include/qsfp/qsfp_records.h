/*
 * Records the library hands to its caller: thresholds, inventory and live
 * status of a module. SFF-8636 and CMIS ports fill the same records so that a
 * port manager reads every kind of module alike.
 */
#ifndef QSFP_QSFP_RECORDS_H
#define QSFP_QSFP_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define QSFP_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define QSFP_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

/*
 * Alarm and warning thresholds in engineering units: powers in dBm, bias in
 * mA, supply voltage in V, temperature in degrees C. Alarms first, then the
 * warnings in the same order.
 */
typedef struct qsfp_threshold_data {
    float rx_power_high_alarm;
    float rx_power_low_alarm;
    float tx_power_high_alarm;
    float tx_power_low_alarm;
    float bias_high_alarm;
    float bias_low_alarm;
    float vcc_high_alarm;
    float vcc_low_alarm;
    float temp_high_alarm;
    float temp_low_alarm;
    float rx_power_high_warning;
    float rx_power_low_warning;
    float tx_power_high_warning;
    float tx_power_low_warning;
    float bias_high_warning;
    float bias_low_warning;
    float vcc_high_warning;
    float vcc_low_warning;
    float temp_high_warning;
    float temp_low_warning;
} qsfp_threshold_data;
QSFP_STATIC_ASSERT(sizeof(qsfp_threshold_data) == 80, "threshold record is 20 floats");

/* Lengths of the inventory's text fields, without their terminators. */
#define QSFP_VENDOR_NAME_LEN 16
#define QSFP_VENDOR_REV_LEN 2
#define QSFP_VID_LEN 4
#define QSFP_PID_LEN 20
#define QSFP_CLEI_LEN 10
#define QSFP_TYPE_STR_LEN 64
#define QSFP_VENDOR_PN_LEN 16
#define QSFP_SERIAL_LEN 16
#define QSFP_DATE_CODE_LEN 8

/*
 * Inventory of a module, kept in the port context and copied whole to the
 * caller. Text fields are NUL-terminated with trailing white space removed.
 */
typedef struct qsfp_hw_info {
    char vendor_name[QSFP_VENDOR_NAME_LEN + 1];
    char vendor_rev[QSFP_VENDOR_REV_LEN + 1];
    char vid[QSFP_VID_LEN + 1];
    char pid[QSFP_PID_LEN + 1];           /* the qualified PID, or a BASIC-... identifier */
    char clei[QSFP_CLEI_LEN + 1];
    uint32_t qsfp_type;                   /* module type code, 0 = unknown */
    char qsfp_type_str[QSFP_TYPE_STR_LEN + 1];
    char vendor_pn[QSFP_VENDOR_PN_LEN + 1];
    char serial_number[QSFP_SERIAL_LEN + 1];
    char module_pid[QSFP_PID_LEN + 1];    /* the module's own PID bytes (non-qualified modules) */
    uint8_t vendor_oui[3];
    uint32_t rev_present;
    char date_code[QSFP_DATE_CODE_LEN + 1];
    uint32_t dwdm_channel;                /* byte 255 of a DWDM module */
    uint32_t reserved;
    uint32_t si_capability;
    uint32_t any_page;
    uint32_t compliance;                  /* 0 good, 1 no image, 3 base or 4 extended checksum wrong */
    uint8_t caller_byte;
} qsfp_hw_info;
QSFP_STATIC_ASSERT(sizeof(qsfp_hw_info) == 228, "inventory record is 228 bytes");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, vendor_rev) == 17, "vendor revision at 17");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, vid) == 20, "VID at 20");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, pid) == 25, "PID at 25");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, clei) == 46, "CLEI at 46");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, qsfp_type) == 60, "type code at 60");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, qsfp_type_str) == 64, "type text at 64");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, vendor_pn) == 129, "vendor part number at 129");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, serial_number) == 146, "serial number at 146");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, module_pid) == 163, "module PID at 163");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, vendor_oui) == 184, "vendor OUI at 184");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, rev_present) == 188, "revision flag at 188");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, date_code) == 192, "date code at 192");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, dwdm_channel) == 204, "DWDM channel at 204");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, reserved) == 208, "reserved word at 208");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, si_capability) == 212, "SI capability at 212");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, any_page) == 216, "any-page flag at 216");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, compliance) == 220, "compliance at 220");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_info, caller_byte) == 224, "caller byte at 224");

/* Entries of the live status record that hold one value per lane. */
#define QSFP_STATUS_LANES 8

/*
 * Live status of a module: 400 32-bit entries (1600 bytes), floats unless a
 * comment says otherwise. Entry numbers are given on the right. Per-lane groups
 * are eight wide; SFF-8636 modules fill the first four lanes.
 */
typedef struct qsfp_hw_status {
    float rx_power_dbm[QSFP_STATUS_LANES];          /* 0-7 */
    float tx_power_dbm[QSFP_STATUS_LANES];          /* 8-15 */
    float tx_bias_ma[QSFP_STATUS_LANES];            /* 16-23 */
    uint32_t tx_disabled[QSFP_STATUS_LANES];        /* 24-31, 0 or 1 */
    float vcc;                                      /* 32, V */
    float temperature;                              /* 33, C */
    float wavelength_nm;                            /* 34 */
    qsfp_threshold_data thresholds;                 /* 35-54 */
    uint32_t rx_los[QSFP_STATUS_LANES];             /* 55-62, 0 or 1 */
    uint32_t tx_los[QSFP_STATUS_LANES];             /* 63-70 */
    uint32_t tx_fault[QSFP_STATUS_LANES];           /* 71-78 */
    uint32_t rx_cdr_lol[QSFP_STATUS_LANES];         /* 79-86 */
    uint32_t tx_cdr_lol[QSFP_STATUS_LANES];         /* 87-94 */
    /* Latched threshold flags, holding the flag bit as masked from its byte
     * (nonzero means set). */
    uint32_t tx_power_high_alarm[QSFP_STATUS_LANES];  /* 95-102 */
    uint32_t tx_power_low_alarm[QSFP_STATUS_LANES];   /* 103-110 */
    uint32_t tx_power_high_warning[QSFP_STATUS_LANES];/* 111-118 */
    uint32_t tx_power_low_warning[QSFP_STATUS_LANES]; /* 119-126 */
    uint32_t rx_power_high_alarm[QSFP_STATUS_LANES];  /* 127-134 */
    uint32_t rx_power_low_alarm[QSFP_STATUS_LANES];   /* 135-142 */
    uint32_t rx_power_high_warning[QSFP_STATUS_LANES];/* 143-150 */
    uint32_t rx_power_low_warning[QSFP_STATUS_LANES]; /* 151-158 */
    uint32_t tx_bias_high_alarm[QSFP_STATUS_LANES];   /* 159-166 */
    uint32_t tx_bias_low_alarm[QSFP_STATUS_LANES];    /* 167-174 */
    uint32_t tx_bias_high_warning[QSFP_STATUS_LANES]; /* 175-182 */
    uint32_t tx_bias_low_warning[QSFP_STATUS_LANES];  /* 183-190 */
    uint32_t temp_flags[4];   /* 191-194: high alarm, low alarm, high warning, low warning */
    uint32_t vcc_flags[4];    /* 195-198: the same four */
    uint32_t media_type;      /* 199: its low byte is the module's media lane count */
    uint32_t is_copper;       /* 200 */
    uint32_t vdm_present;     /* 201: versatile diagnostics present */
    /* Versatile diagnostics (SFF-8636 pages 20h-21h), filled when present. */
    float vdm_laser_temperature;          /* 202, C (parameter type 8) */
    float vdm_tec_current;                /* 203, % (type 6) */
    uint32_t vdm_reserved_204[20];        /* 204-223 */
    /* 224-225: status map, low word first. Bit group * 16 + slot * 4 + flag,
     * flag 0 high alarm, 1 low alarm, 2 high warning, 3 low warning. Group 0
     * module parameters (slot 0 laser temperature, 1 TEC current, 2 laser
     * frequency offset), 1 SNR, 2 pre-FEC BER, 3 frame error rate (slot = lane
     * 1-4 as 0-3). */
    uint32_t vdm_status_map[2];
    uint32_t vdm_reserved_226[2];         /* 226-227 */
    float vdm_snr_db[QSFP_STATUS_LANES];  /* 228-235, per lane (type 1) */
    uint32_t vdm_reserved_236[4];         /* 236-239 */
    float vdm_pre_fec_ber[QSFP_STATUS_LANES]; /* 240-247, current (type 12), else average (type 4) */
    uint32_t vdm_reserved_248[44];        /* 248-291 */
    uint32_t coherent[108];   /* 292-399: coherent section; first byte of 292 marks it present */
} qsfp_hw_status;
QSFP_STATIC_ASSERT(sizeof(qsfp_hw_status) == 1600, "status record is 1600 bytes");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, thresholds) == 35 * 4, "thresholds at entry 35");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, rx_los) == 55 * 4, "Rx LOS at entry 55");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, tx_power_high_alarm) == 95 * 4, "flags at entry 95");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, temp_flags) == 191 * 4, "module flags at entry 191");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, media_type) == 199 * 4, "media type at entry 199");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, vdm_laser_temperature) == 202 * 4, "diagnostics at entry 202");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, vdm_status_map) == 224 * 4, "status map at entry 224");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, vdm_snr_db) == 228 * 4, "lane values at entry 228");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, vdm_pre_fec_ber) == 240 * 4, "lane values at entry 240");
QSFP_STATIC_ASSERT(offsetof(qsfp_hw_status, coherent) == 292 * 4, "coherent section at entry 292");

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_RECORDS_H */
