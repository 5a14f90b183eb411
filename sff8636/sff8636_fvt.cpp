// The SFF-8636 driver table (QSFP, QSFP+, QSFP28).
#include <qsfp/qsfp_port.h>

extern "C" const qsfp_drv_fvt qsfp_fvt = {};
