/*
 * The CMIS driver (QSFP-DD): module type codes, operating modes and the
 * exported identification functions. Bring-up, datapath control and the
 * other operations are reached through the driver table `qsfp_dd_fvt` and
 * the port operations of qsfp_port_ops.h.
 */
#ifndef QSFP_QSFP_CMIS_H
#define QSFP_QSFP_CMIS_H

#include <stdint.h>

#include <qsfp/qsfp_port.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Module type codes of CMIS modules (the inventory's qsfp_type); 0 is unknown. */
#define QSFP_DD_TYPE_400G_COPPER 0xC1u
#define QSFP_DD_TYPE_400G_FR4 0xC2u
#define QSFP_DD_TYPE_400G_DR4 0xC3u
#define QSFP_DD_TYPE_400G_PASSIVE_LOOPBACK 0xC4u
#define QSFP_DD_TYPE_8X50G_CU_BREAKOUT 0xC5u
#define QSFP_DD_TYPE_400G_ACTIVE_LOOPBACK 0xC6u
#define QSFP_DD_TYPE_400G_LR8 0xC7u
#define QSFP_DD_TYPE_2X100G_SR4 0xC8u
#define QSFP_DD_TYPE_2X100G_PSM4 0xC9u
#define QSFP_DD_TYPE_2X100G_CWDM4 0xCAu
#define QSFP_DD_TYPE_2X100G_LR4 0xCBu
#define QSFP_DD_TYPE_400G_AOC 0xCCu
#define QSFP_DD_TYPE_400G_AEC 0xCDu
#define QSFP_DD_TYPE_400G_DR4_2KM 0xCEu /* a DR4 with 2 km single-mode reach; no type-table row */
#define QSFP_DD_TYPE_400G_ZR 0xCFu
#define QSFP_DD_TYPE_400G_ZRP 0xD0u

/* Operating modes of a QSFP-DD port (the creation record's port_mode). 0
 * means the module type's default. */
#define QSFP_DD_OPER_MODE_DEFAULT 0u
#define QSFP_DD_OPER_MODE_400G 7u     /* 400G on all lanes */
#define QSFP_DD_OPER_MODE_8X50G 13u   /* 8 x 50G */
#define QSFP_DD_OPER_MODE_4X100G 14u  /* 4 x 100G, one media lane each */
#define QSFP_DD_OPER_MODE_2X100G 15u  /* 2 x 100G, four media lanes each */

/* The init flag of bring-up (the creation record's init_arg): 0 adopts an
 * application the module already runs on all eight lanes; any other value
 * forces the full power-up and configuration. */
#define QSFP_DD_INIT_ADOPT 0u
#define QSFP_DD_INIT_FULL 1u

/*
 * Classifies the module from `id_memory`: lower memory (bytes 0-127) followed
 * by upper page 00h (128-255). Sets the inventory's type code, description,
 * PID and VID and the port's media type, flags and application copy; a
 * module of no known kind gets type 0.
 */
void qsfp_dd_port_identify_type(qsfp_port_ctx *port, const uint8_t *id_memory);

/* The default operating mode of the port's module type: 0, or 22 for a type
 * without one. */
uint32_t qsfp_dd_port_get_default_oper_mode(qsfp_port_ctx *port, uint32_t *mode);

/*
 * The application select code (1-8) that realises `oper_mode` on this module,
 * or 255 when none does. Answers 0 (also for a module of unknown type or a
 * mode without an application, leaving `app_code` untouched) or
 * QSFP_ERR_REFUSED (-1) for a request the module cannot take.
 */
uint32_t qsfp_dd_port_oper_mode_2_app_sel_code(qsfp_port_ctx *port, uint32_t oper_mode, uint32_t *app_code);

/* Promotes a ZR module to ZR+ when one of its advertised applications is a
 * ZR+ application. */
void qsfp_dd_port_update_coherent_moudle_type(qsfp_port_ctx *port);

/*
 * CDB (Command Data Block) operations of a CMIS module: a status query and a
 * module firmware download, reached through qsfp_module_cdb_cmd_execute with
 * a cdb_cmd_info request.
 */
#define QSFP_DD_CDB_QUERY_STATUS 0u
#define QSFP_DD_CDB_DOWNLOAD 400u            /* 400 and 401: download only */
#define QSFP_DD_CDB_RUN 402u                 /* run the inactive image, nothing downloaded */
#define QSFP_DD_CDB_COMMIT 403u              /* commit the running image */
#define QSFP_DD_CDB_DOWNLOAD_RUN 404u        /* 404 and 405 */
#define QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT 406u /* 406 and 407 */

/*
 * A CDB request. Progress texts are appended to `response` at
 * `*response_length` (which they advance), without a terminator, as long as
 * each fits whole below `response_capacity`; either pointer may be null.
 */
typedef struct cdb_cmd_info {
    uint32_t command;
    const char *file_name;     /* the firmware image of a download */
    char *response;
    uint32_t response_capacity;
    uint32_t *response_length;
} cdb_cmd_info;

uint32_t qsfp_dd_cdb_cmd_execute(qsfp_port_ctx *port, cdb_cmd_info *request);

/*
 * Appends one record to /tmp/cdb_cmd.debug: a line with the microseconds and
 * the date, then a line of one space and the message. A weak symbol: a
 * platform may supply its own.
 */
void qsfp_dd_cdb_cmd_debug_log_file(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_CMIS_H */
