// What the fuzz targets that bring ports up share: the process's event
// manager on virtual time, and the check that an operation left the port's
// lock free.
#pragma once

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::fuzz {

inline void *evm() {
    static void *em = [] {
        void *e = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        qsfp::sim::VirtualClock::instance().drive(event_manager_levm_get(e));
        return e;
    }();
    return em;
}

inline bool lock_free(qsfp_port_ctx *port) {
    if (qsfp_check_and_lock_hdl(port, __LINE__) != QSFP_OK) return false;
    qsfp_port_unlock(port);
    return true;
}

}  // namespace qsfp::fuzz
