/* Compiled as C11: the umbrella header, and the layouts a C caller relies on. */
#include <qsfp/qsfp.h>

#include <stddef.h>
#include <stdio.h>

_Static_assert(sizeof(qsfp_hw_status) == 1600, "status record");
_Static_assert(sizeof(qsfp_threshold_data) == 80, "threshold record");
_Static_assert(sizeof(qsfp_drv_fvt) == 31 * sizeof(void *), "driver table slots");
_Static_assert(offsetof(qsfp_drv_fvt, get_firmware_update_progress) == 30 * sizeof(void *), "last slot");
_Static_assert(offsetof(qsfp_port_ctx, port_lock) == 0, "port_lock first");

int main(void) {
    /* The exported symbols link from C. */
    qsfp_lib_ctx *ctx = qsfp_get_ctx();
    if (ctx == NULL || qsfp_port_get_rate(0x11) != 100) {
        fputs("C caller cannot reach the library\n", stderr);
        return 1;
    }
    return 0;
}
