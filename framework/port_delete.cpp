// Port deletion: timers first (without locks, so that a firing timer never
// waits on a lock held here), then the port is unlinked under both locks.
#include <cstdio>
#include <cstdlib>

#include <qsfp/qsfp_port.h>

#include "framework/lock.h"
#include "framework/trace.h"

namespace {

void release_timer(mgd_timer **leaf) {
    if (*leaf == nullptr) {
        return;
    }
    if (mgd_timer_leaf_running(*leaf) != 0) {
        mgd_timer_leaf_stop(*leaf);
    }
    mgd_timer_leaf_free(*leaf);
    *leaf = nullptr;
}

bool unlink_port(qsfp_lib_ctx *ctx, const qsfp_port_ctx *port) {
    for (qsfp_port_ctx **link = &ctx->ports; *link != nullptr; link = &(*link)->next) {
        if (*link == port) {
            *link = port->next;
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" uint32_t qsfp_port_delete(qsfp_port_ctx *port) {
    using namespace qsfp::framework;
    if (port == nullptr) {
        std::fputs("qsfp port delete failed \n", stderr);
        return QSFP_ERR_INVALID;
    }
    if (port->cool_timer != nullptr && mgd_timer_leaf_running(port->cool_timer) != 0) {
        trace_evt(port, "Stopping the timer\n");
    }
    release_timer(&port->cool_timer);
    release_timer(&port->keepalive_timer);

    if (const std::uint32_t rc = lock_library(); rc != QSFP_OK) {
        return rc;
    }
    // The mutex belongs to the caller and outlives the context.
    pthread_mutex_t *port_lock = port->port_lock;
    const bool port_locked = port_lock != nullptr && lock_port_mutex(port_lock, kDeleteLockLabel, kDeleteLockNumber) == 0;

    std::uint32_t rc = QSFP_OK;
    if (unlink_port(qsfp_get_ctx(), port)) {
        if (port->fvt.delete_device != nullptr) {
            port->fvt.delete_device(port);
        }
        std::free(port);
    } else {
        std::fputs("qsfp port context find and delete : NULL port \n", stderr);
        rc = QSFP_ERR_NOT_FOUND;
    }
    if (port_locked) {
        if (const int unlock_rc = pthread_mutex_unlock(port_lock); unlock_rc != 0) {
            rc = static_cast<std::uint32_t>(unlock_rc);
        }
    }
    if (const std::uint32_t unlock_rc = unlock_library(); unlock_rc != QSFP_OK) {
        rc = unlock_rc;
    }
    return rc;
}
