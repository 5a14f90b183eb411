// Driver behaviour the timer handler calls on the event manager's thread.
// A driver that starts a port's timers sets the port's hooks first.
#pragma once

#include <qsfp/qsfp_port.h>

struct qsfp_drv_hooks {
    // The cool timer fired: the module's settle period is over.
    void (*settle_over)(qsfp_port_ctx *port);
    // The keep-alive timer fired: touch the module before it is re-armed.
    void (*keep_alive)(qsfp_port_ctx *port);
};
