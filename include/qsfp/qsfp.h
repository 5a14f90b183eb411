/*
 * Driver library for pluggable QSFP-family transceivers (SFF-8636 and CMIS
 * modules, coherent ZR/ZR+). Include this header for the whole C interface.
 */
#ifndef QSFP_QSFP_H
#define QSFP_QSFP_H

#include <qsfp/qsfp_types.h>
#include <qsfp/qsfp_records.h>
#include <qsfp/platform.h>
#include <qsfp/qsfp_port.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/qsfp_sff8636.h>
#include <qsfp/qsfp_cmis.h>
#include <qsfp/qsfp_compliance.h>
#include <qsfp/qsfp_decode.h>
#include <qsfp/coh_sdk.h>
#include <qsfp/qsfp_coherent.h>

#endif /* QSFP_QSFP_H */
