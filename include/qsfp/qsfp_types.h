/*
 * Basic types of the transceiver driver library: return codes and the
 * functions a caller hands to the library for each cage.
 */
#ifndef QSFP_QSFP_TYPES_H
#define QSFP_QSFP_TYPES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Return codes. Every library function answers an unsigned 32-bit status:
 * 0 or an errno value. Codes that come from the caller's access functions or
 * from the coherent SDK are passed up unchanged.
 */
#define QSFP_OK 0u
#define QSFP_ERR_NOT_FOUND 2u         /* ENOENT: port context not in the list */
#define QSFP_ERR_NOT_READY 11u        /* EAGAIN: module not ready, or of unknown kind */
#define QSFP_ERR_NO_MEMORY 12u        /* ENOMEM */
#define QSFP_ERR_NO_CONTEXT 14u       /* EFAULT: no library context, or no trace buffer */
#define QSFP_ERR_BUSY 16u             /* EBUSY, from the mutex calls */
#define QSFP_ERR_INVALID 22u          /* EINVAL: bad argument or a failed step */
#define QSFP_ERR_DEADLOCK 35u         /* EDEADLK, from the mutex calls */
#define QSFP_ERR_CONFIG_TIMEOUT 62u   /* ETIME: a CMIS configuration timed out */
#define QSFP_ERR_NOT_SUPPORTED 95u    /* EOPNOTSUPP: the bound driver lacks the operation */
#define QSFP_ERR_EMPTY_SLOT 0xFFFFFFFFu /* the driver table has no function in the slot */
#define QSFP_ERR_REFUSED 0xFFFFFFFFu  /* -1: a CMIS request the module or mode cannot take */

/* Direction argument of the register access functions. */
#define QSFP_ACCESS_WRITE 0u
#define QSFP_ACCESS_READ 1u

/*
 * The caller's functions. `opaque` is the caller's handle for the cage, given
 * at port creation. `reg` is the module register (0-255) and `page` the upper
 * page; a function without direct page support ignores `page` and relies on
 * the library writing the page-select byte (127). Each answers 0 on success.
 */
typedef uint32_t (*qsfp_read_fn)(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf);
typedef uint32_t (*qsfp_write_fn)(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf);
typedef uint32_t (*qsfp_bit_bang_read_fn)(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf,
                                          uint64_t arg);
typedef void (*qsfp_init_done_fn)(uint64_t opaque, uint32_t port);
typedef uint32_t (*qsfp_update_fn)(const void *query, void *answer);
typedef void (*qsfp_admin_state_notify_fn)(uint32_t controller, uint32_t port, uint32_t kind, uint32_t *answer);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_TYPES_H */
