/*
 * Module memory decoding: value formatters, decoders that turn SFF-8636 and
 * CMIS memory pages into records of labelled text rows, the hex dump of a
 * page, and the builders of the show text.
 *
 * Decoders are pure functions of the page buffers they are given; none of
 * them touches a module. The show-text builders of SFF-8636 ports also ask
 * the port's driver for its live status and inventory records.
 */
#ifndef QSFP_QSFP_DECODE_H
#define QSFP_QSFP_DECODE_H

#include <stddef.h>
#include <stdint.h>

#include <qsfp/qsfp_compliance.h>
#include <qsfp/qsfp_port.h>
#include <qsfp/qsfp_records.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Decoded records ------------------------------------------------------ */

/* Sizes of the three NUL-terminated texts of a row. The decoders write at most
 * one byte less than each size (labels 32, values 160, hex columns 64). */
#define QSFP_DECODE_LABEL_SIZE 33
#define QSFP_DECODE_VALUE_SIZE 161
#define QSFP_DECODE_HEX_SIZE 65
#define QSFP_DECODE_ROW_SIZE 259

/*
 * One row of a decoded record. A record is a caller-allocated array of rows:
 * `label` is the row's key, `value` the decoded text, `hex` the raw bytes as
 * "%02x " groups.
 */
typedef struct qsfp8636_id_record {
    char label[QSFP_DECODE_LABEL_SIZE];
    char value[QSFP_DECODE_VALUE_SIZE];
    char hex[QSFP_DECODE_HEX_SIZE];
} qsfp8636_id_record;
QSFP_STATIC_ASSERT(sizeof(qsfp8636_id_record) == QSFP_DECODE_ROW_SIZE, "a decoded row is 259 bytes");

/* Rows of each record, and the record sizes in bytes. */
#define QSFP8636_ID_RECORD_ROWS 38
#define QSFP8636_STATUS_RECORD_ROWS 51
#define QSFP28_FLAT_STATUS_RECORD_ROWS 10
#define QSFP8636_INFO_RECORD_ROWS 26
#define QSFP8636_THRESHOLD_RECORD_ROWS 22
#define QSFPDD_STATUS_RECORD_ROWS 6
#define QSFPDD_ID_RECORD_ROWS 20
#define QSFPDD_INFO_RECORD_ROWS 3
#define QSFPDD_THRESHOLD_RECORD_ROWS 20
#define QSFPDD_LANE_RECORD_ROWS 24

#define QSFP8636_ID_RECORD_SIZE (QSFP8636_ID_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFP8636_STATUS_RECORD_SIZE (QSFP8636_STATUS_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFP28_FLAT_STATUS_RECORD_SIZE (QSFP28_FLAT_STATUS_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFP8636_INFO_RECORD_SIZE (QSFP8636_INFO_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFP8636_THRESHOLD_RECORD_SIZE (QSFP8636_THRESHOLD_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFPDD_STATUS_RECORD_SIZE (QSFPDD_STATUS_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFPDD_ID_RECORD_SIZE (QSFPDD_ID_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFPDD_INFO_RECORD_SIZE (QSFPDD_INFO_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFPDD_THRESHOLD_RECORD_SIZE (QSFPDD_THRESHOLD_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)
#define QSFPDD_LANE_RECORD_SIZE (QSFPDD_LANE_RECORD_ROWS * QSFP_DECODE_ROW_SIZE)

QSFP_STATIC_ASSERT(QSFP8636_ID_RECORD_SIZE == 9842, "SFF-8636 identifier record");
QSFP_STATIC_ASSERT(QSFP8636_STATUS_RECORD_SIZE == 13209, "SFF-8636 status record");
QSFP_STATIC_ASSERT(QSFP28_FLAT_STATUS_RECORD_SIZE == 2590, "flat-memory status record");
QSFP_STATIC_ASSERT(QSFP8636_INFO_RECORD_SIZE == 6734, "SFF-8636 information record");
QSFP_STATIC_ASSERT(QSFP8636_THRESHOLD_RECORD_SIZE == 5698, "SFF-8636 threshold record");
QSFP_STATIC_ASSERT(QSFPDD_STATUS_RECORD_SIZE == 1554, "CMIS status record");
QSFP_STATIC_ASSERT(QSFPDD_ID_RECORD_SIZE == 5180, "CMIS identifier record");
QSFP_STATIC_ASSERT(QSFPDD_INFO_RECORD_SIZE == 777, "CMIS information record");
QSFP_STATIC_ASSERT(QSFPDD_THRESHOLD_RECORD_SIZE == 5180, "CMIS threshold record");
QSFP_STATIC_ASSERT(QSFPDD_LANE_RECORD_SIZE == 6216, "CMIS lane monitor record");

/* The per-lane texts of an SFF-8636 port's live status: the lane count, then
 * received power, transmitted power and bias texts of up to eight lanes. */
#define QSFP8636_LANE_TEXTS 8
typedef struct qsfp8636_lane_record {
    uint8_t count;
    char rx_power[QSFP8636_LANE_TEXTS][QSFP_DECODE_VALUE_SIZE];
    char tx_power[QSFP8636_LANE_TEXTS][QSFP_DECODE_VALUE_SIZE];
    char bias[QSFP8636_LANE_TEXTS][QSFP_DECODE_VALUE_SIZE];
} qsfp8636_lane_record;
#define QSFP8636_LANE_RECORD_SIZE 3865
QSFP_STATIC_ASSERT(sizeof(qsfp8636_lane_record) == QSFP8636_LANE_RECORD_SIZE, "lane record is 3865 bytes");
QSFP_STATIC_ASSERT(offsetof(qsfp8636_lane_record, rx_power) == 1, "Rx power texts at byte 1");
QSFP_STATIC_ASSERT(offsetof(qsfp8636_lane_record, tx_power) == 1289, "Tx power texts at byte 1289");
QSFP_STATIC_ASSERT(offsetof(qsfp8636_lane_record, bias) == 2577, "bias texts at byte 2577");

/* ---- Value formatting --------------------------------------------------------- */

/*
 * A row of a bit-decode table: it matches a byte when byte AND mask equals
 * value.
 */
typedef struct xcvr_bit_decode_row {
    uint32_t value;
    uint32_t mask;
    const char *text;
} xcvr_bit_decode_row;

/*
 * Each formatter appends its text to `field`, a NUL-terminated text, taking at
 * most `size` less the field's current length characters; the field must hold
 * `size` + 1 bytes. A field already `size` long (or longer) receives nothing.
 * A single rendered value is cut at 79 characters. The formatters answer the
 * field, or NULL (and write nothing) when a pointer they need is null or the
 * value cannot be rendered (a zero wavelength divisor).
 */
char *xcvr_oui_to_string(const uint8_t *oui, char *field, int size);
/* Appends "<text>, " for every matching row, in table order. */
void xcvr_decode_uint8_to_string(uint8_t byte, char *field, int size, int rows, const xcvr_bit_decode_row *table);
/* High byte integer part, low byte 1/256 fraction. Answer 1 for the word
 * 0x0100 (stored as 1.0), else 0; -1 for a null `out`. */
int xcvr_id_signed_fixed_point16_to_float(uint16_t raw, float *out);
char *xcvr_id_signed_fixed_point16_to_string(uint16_t raw, char *field, int size);
int xcvr_id_unsigned_fixed_point16_to_float(uint16_t raw, float *out);
char *xcvr_id_unsigned_fixed_point16_to_string(uint16_t raw, char *field, int size);
/* Laser bias in 2 uA units: "%3.3f mAmps". */
char *xcvr_curr_bias_uint16_to_string(uint16_t raw, char *field, int size);
/* Supply voltage in 100 uV units: "%1.3f Volt". */
char *xcvr_voltage_to_string(uint16_t raw, char *field, int size);
/* Optical power in 0.1 uW units: "%u uWatt", truncated. */
char *xcvr_id_power_to_string(uint16_t raw, char *field, int size);
/* Optical power in 0.1 uW units: " %0.5f mW (%2.5f dBm)", or
 * " 0.000 mW (<-40.00 dBm)" at -40 dBm and below. */
char *xcvr_pwr_uint16_to_dbm_string(uint16_t raw, char *field, int size);
/* Nominal bit rate in 100 Mb/s units: "%u00 Mbps"; nothing for 0. */
char *qsfp8636_id_bitRate_to_string(uint8_t raw, char *field, unsigned size);
/* len times unit, then the suffix: "%u%s". */
char *qsfp8636_id_length_to_string(uint8_t len, uint16_t unit, const char *suffix, char *field, unsigned size);
/* raw / divisor in single precision: "%.3f nm". */
char *qsfp8636_waveLength_to_string(uint16_t raw, uint8_t divisor, char *field, unsigned size);
/* Eight characters: "yy/mm/dd  lot code: ll". */
char *qsfp8636_date_code_to_string(const uint8_t *code, char *field, unsigned size);
/* Temperature in 1/256 C: sign, signed high byte, thousandths of the low
 * byte, " C". */
char *qsfp8636_id_temp_threshold_to_string(uint16_t raw, char *field, int size);

/* ---- SFF-8636 decoders -------------------------------------------------------- */

/*
 * Each decoder clears the caller's record and fills its rows from one memory
 * page (128 bytes; an upper page is given from its byte 128). Answer 0, or
 * QSFP_ERR_INVALID for a null pointer (nothing is written then).
 */
uint32_t qsfp8636_xcvr_decode_qsfp8636_id(const uint8_t *page00, char *rec);          /* 38 rows */
uint32_t qsfp8636_xcvr_decode_qsfp8636_status(const uint8_t *lower, char *rec);       /* 51 rows */
uint32_t qsfp28_xcvr_decode_qsfp28_status(const uint8_t *lower, char *rec);           /* 10 rows */
uint32_t qsfp8636_xcvr_decode_qsfp8636_korva_info(const uint8_t *page02, char *rec);  /* 26 rows */
uint32_t qsfp8636_xcvr_decode_qsfp8636_threshold(const uint8_t *page03, char *rec);   /* 22 rows */
/*
 * Lane texts of the live status record into a qsfp8636_lane_record. The lane
 * count is the low byte of `media_type`, at most 8. Answers the lane count
 * (0-8), or QSFP_ERR_INVALID for a null pointer.
 */
uint32_t qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(const qsfp_hw_status *status, char *lanes);

/* ---- CMIS decoders ------------------------------------------------------------ */

/* These fill value fields only. Answer 0, or QSFP_ERR_INVALID for a null
 * pointer. */
uint32_t qsfpdd_xcvr_decode_status(const uint8_t *lower, char *rec, const qsfp_port_ctx *port); /* 6 rows */
/* Identifier record (20 rows) by the revision in lower byte 1: 4 selects the
 * v0_4 layout, 7 the v0_2 (SFF-8636 page 00h) layout, 3 the v0_3 layout, any
 * other the CMIS layout. */
uint32_t qsfpdd_xcvr_decode_id(const uint8_t *lower, const uint8_t *page00, char *rec);
uint32_t qsfpdd_xcvr_v0_2_decode_id(const uint8_t *page00, char *rec);
uint32_t qsfpdd_xcvr_v0_3_decode_id(const uint8_t *page00, char *rec);
uint32_t qsfpdd_xcvr_v0_4_decode_id(const uint8_t *page00, char *rec);
uint32_t qsfpdd_xcvr_def_decode_id(const uint8_t *page00, char *rec);
/* Page 03h, the maker's layout (3 rows). Appends to the record as it is. */
uint32_t qsfpdd_xcvr_decode_korva_info(const uint8_t *page03, char *rec);
uint32_t qsfpdd_xcvr_decode_threshold(const uint8_t *page02, char *rec);       /* 20 rows */
uint32_t qsfpdd_xcvr_decode_chnl_interrupt(const uint8_t *page11, char *rec);  /* 24 rows */

/* ---- Page dump ----------------------------------------------------------------- */

/*
 * Hex dump of up to 128 bytes from mem + start as lines of 16 bytes, each
 * labelled with its address ("0x%04x: "): whole lines, at least one, at most
 * eight. `out` (of `out_size` bytes) is cleared first and receives as much of
 * the text as fits, always NUL-terminated. Answers 0, or QSFP_ERR_INVALID for
 * a null pointer or an `out_size` below 1.
 */
uint32_t varnel_phy_qsfp_plug_eeprom_page_to_ascii(const uint8_t *mem, uint32_t start, char *out, int out_size,
                                                   uint32_t length);

/* ---- Show text --------------------------------------------------------------------- */

/* Results of the show-text builders besides 0 and the decoders' codes. */
#define QSFP_SHOW_TEXT_OVERFLOW (-1)

/*
 * Show text of an SFF-8636 port into `out` (`size` bytes; at most 9000 are
 * used). `pages` is lower memory and upper pages 00h-03h (640 bytes), or, when
 * the port has flat memory, lower memory and page 00h (256 bytes). Answers 0;
 * QSFP_ERR_NO_MEMORY (nothing written); QSFP_SHOW_TEXT_OVERFLOW when a line
 * does not fit (the text so far is copied and the overflow is reported on
 * standard error); QSFP_ERR_INVALID for a null pointer or a zero size.
 */
int qsfp_drv_qsfp8636_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *pages);
/* CMIS identifier view: lower memory and page 00h (128 bytes each). */
int qsfp_drv_qsfpdd_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *lower,
                                   const uint8_t *page00);
/* CMIS full view: lower memory, then pages 00h, 01h, 02h, 03h, 10h and 11h
 * (896 bytes). */
#define QSFPDD_SHOW_IMAGE_SIZE 896
int qsfp_drv_op_qsfpdd_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *pages);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_DECODE_H */
