/*
 * Identifier checksums of SFF-8636 upper page 00h: the base checksum (byte
 * 191 over bytes 128-190) and the extended checksum (byte 223 over 192-222).
 */
#ifndef QSFP_QSFP_COMPLIANCE_H
#define QSFP_QSFP_COMPLIANCE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Compliance results. */
#define QSFP_COMPLIANCE_OK 0u
#define QSFP_COMPLIANCE_NO_IMAGE 1u
#define QSFP_COMPLIANCE_BASE_CHECKSUM 3u
#define QSFP_COMPLIANCE_EXT_CHECKSUM 4u

/* `mem` is lower memory followed by upper page 00h. Each check stores the
 * stored and the computed byte and answers 0 when they match, its mismatch
 * code when they do not, and QSFP_ERR_INVALID (storing nothing) for a null
 * image. */
uint32_t qsfp_xcvr_check_compliance_base_chksum(const uint8_t *mem, uint8_t *stored, uint8_t *computed);
uint32_t qsfp_xcvr_check_compliance_ext_chksum(const uint8_t *mem, uint8_t *stored, uint8_t *computed);
/* 0, with the result (one of the codes above) in `result`; QSFP_ERR_INVALID
 * for a null `result`. */
uint32_t qsfp_xcvr_check_compliance(const uint8_t *mem, uint32_t *result);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_QSFP_COMPLIANCE_H */
