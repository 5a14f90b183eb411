#include "framework/lock.h"

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <qsfp/qsfp_port.h>

#include "framework/trace.h"

namespace qsfp::framework {

int take_mutex(pthread_mutex_t *mutex, const char *label, std::uint32_t number) {
    int rc = pthread_mutex_trylock(mutex);
    if (rc == EBUSY) {
        ptd_set_mutex_block(mutex, label, number);
        rc = pthread_mutex_lock(mutex);
        ptd_unset_mutex_block();
    }
    return rc;
}

std::uint32_t lock_library() {
    const int rc = take_mutex(&qsfp_get_ctx()->lock, kGlobalLockLabel, kGlobalLockNumber);
    if (rc != 0) {
        trace_lib_err("mutex_lock(3) failed, rc: %d, errno: %d\n", rc, errno);
        if (rc == EDEADLK) {
            trace_lib_err("locking leads to deadlock, need traceback\n");
        }
    }
    return static_cast<std::uint32_t>(rc);
}

std::uint32_t unlock_library() {
    const int rc = pthread_mutex_unlock(&qsfp_get_ctx()->lock);
    if (rc != 0) {
        trace_lib_err("mutex_unlock(3) failed, rc: %d, errno: %d\n", rc, errno);
    }
    return static_cast<std::uint32_t>(rc);
}

std::uint32_t lock_port_mutex(pthread_mutex_t *mutex, const char *label, std::uint32_t number) {
    const int rc = take_mutex(mutex, label, number);
    if (rc != 0) {
        trace_lib_err("Failed to lock port ctx, rc: %d, errno: %d\n", rc, errno);
        if (rc == EDEADLK) {
            trace_lib_err("Port ctx locking failed.  Deadlock!!\n");
        }
    }
    return static_cast<std::uint32_t>(rc);
}

namespace {

// A number for the calling thread, unique for the life of the process; 0 is
// nobody. Unlike a pthread_t it is never reused by a later thread.
std::uint64_t this_thread_id() {
    static std::atomic<std::uint64_t> next{1};
    thread_local const std::uint64_t id = next.fetch_add(1);
    return id;
}

// Any thread may read the owner; only the thread that holds the mutex writes it.
std::atomic_ref<std::uint64_t> owner_of(qsfp_port_ctx *port) {
    return std::atomic_ref<std::uint64_t>(port->lock_owner);
}

// Called with the port's mutex just taken: the calling thread owns it now.
void note_held(qsfp_port_ctx *port) {
    if (owns_port(port)) {
        ++port->lock_depth;  // a recursive mutex taken again
        return;
    }
    port->lock_depth = 1;
    port->lock_kept = 0;
    owner_of(port).store(this_thread_id());
}

bool port_is_listed(const qsfp_port_ctx *port) {
    for (const qsfp_port_ctx *p = qsfp_get_ctx()->ports; p != nullptr; p = p->next) {
        if (p == port) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool owns_port(qsfp_port_ctx *port) { return owner_of(port).load() == this_thread_id(); }

KeepPortHeld::KeepPortHeld(qsfp_port_ctx *port) : port_(owns_port(port) ? port : nullptr) {
    if (port_ != nullptr) {
        port_->lock_kept = 1;
    }
}

KeepPortHeld::~KeepPortHeld() {
    if (port_ != nullptr) {
        port_->lock_kept = 0;
    }
}

}  // namespace qsfp::framework

extern "C" uint32_t qsfp_check_and_lock_hdl(qsfp_port_ctx *port, int caller_line) {
    using namespace qsfp::framework;
    if (qsfp_get_ctx() == nullptr) {
        std::fprintf(stderr, "QSFP is not initialized");
        return QSFP_ERR_NO_CONTEXT;
    }
    if (port == nullptr) {
        trace_lib_err("NULL Hdl passed in\n");
        return QSFP_ERR_INVALID;
    }
    if (const std::uint32_t rc = lock_library(); rc != 0) {
        return rc;
    }
    if (port->port_lock != nullptr) {
        if (const std::uint32_t rc = lock_port_mutex(port->port_lock, kPortLockLabel, kPortLockNumber); rc != 0) {
            unlock_library();
            return rc;
        }
        if (!port_is_listed(port)) {
            // The port's mutex stays locked on this path: the caller gets 22 and
            // does not unlock. Kept as the port manager expects it. Nothing is
            // written to a handle that is not a listed port.
            trace_lib_err("Failed to find the port ctx\n");
            unlock_library();
            return QSFP_ERR_INVALID;
        }
        note_held(port);
    }
    if (port->initialized == 0) {
        trace_lib_err("Controller %d Port %d: QSFP instance not fully initialized.  Hdl 0x%p  Opaque 0x%p at line %d\n",
                      port->controller, port->port, static_cast<void *>(port),
                      reinterpret_cast<void *>(static_cast<std::uintptr_t>(port->opaque)), caller_line);
        qsfp_port_unlock(port);
        unlock_library();
        return QSFP_ERR_NOT_READY;
    }
    return unlock_library();
}

// Releases the hold the calling thread took through qsfp_check_and_lock_hdl.
// A driver operation may release it before its wrapper does (the SFF-8636
// inventory slot does), so a second release must be harmless: a thread that
// does not hold the port releases nothing, whoever holds it now. Inside an
// operation that keeps the port to its end (the show text, which calls the
// inventory slot mid-way) only the operation's own final release counts.
extern "C" uint32_t qsfp_port_unlock(qsfp_port_ctx *port) {
    using namespace qsfp::framework;
    if (port == nullptr || port->port_lock == nullptr || !owns_port(port) || port->lock_kept != 0) {
        return QSFP_OK;
    }
    if (--port->lock_depth == 0) {
        owner_of(port).store(0);
    }
    pthread_mutex_unlock(port->port_lock);
    return QSFP_OK;
}
