// Light event manager: calls the handler of each attached timer tree when one
// of its leaves expires. In real time a thread of its own waits on the
// monotonic clock; in virtual time the owner moves the clock forward.
#include <new>

#include <qsfp/platform_ref.h>

#include "platform/timer_state.h"

namespace {

using qsfp::platform::first_expired_locked;
using qsfp::platform::timer_mutex;
using qsfp::platform::tree_now_ns;

struct EventManager {
    levm lv;
};

// Attachments whose tree has a leaf due now. Called with the timer mutex held.
std::vector<levm::Attachment> due_locked(levm *lv) {
    std::vector<levm::Attachment> due;
    for (const auto &a : lv->trees) {
        if (first_expired_locked(a.tree, tree_now_ns(a.tree)) != nullptr) {
            due.push_back(a);
        }
    }
    return due;
}

// Runs the handlers of every tree with an expired leaf until none is left.
// Enters and leaves with the lock held; handlers run without it.
void dispatch_locked(levm *lv, std::unique_lock<std::mutex> &lock) {
    for (auto due = due_locked(lv); !due.empty(); due = due_locked(lv)) {
        lock.unlock();
        for (const auto &a : due) {
            a.handler(a.tree);
        }
        lock.lock();
    }
}

void run_real_time(levm *lv) {
    std::unique_lock lock(timer_mutex());
    while (!lv->stopping) {
        std::uint64_t deadline = 0;
        const bool pending = qsfp::platform::earliest_deadline_locked(lv, &deadline);
        const std::uint64_t now = qsfp::platform::monotonic_ns();
        if (!pending) {
            lv->wake.wait(lock);
        } else if (deadline > now) {
            lv->wake.wait_for(lock, std::chrono::nanoseconds(deadline - now));
        } else {
            dispatch_locked(lv, lock);
        }
    }
}

}  // namespace

namespace qsfp::platform {

bool earliest_deadline_locked(const levm *lv, std::uint64_t *deadline) {
    bool found = false;
    for (const auto &a : lv->trees) {
        for (const mgd_timer *leaf : a.tree->leaves) {
            if (leaf->running && (!found || leaf->deadline_ns < *deadline)) {
                *deadline = leaf->deadline_ns;
                found = true;
            }
        }
    }
    return found;
}

}  // namespace qsfp::platform

extern "C" void *qsfp_ref_event_manager_new(int mode) {
    auto *em = new (std::nothrow) EventManager;
    if (em == nullptr) {
        return nullptr;
    }
    em->lv.virtual_time = mode == QSFP_REF_VIRTUAL_TIME;
    if (!em->lv.virtual_time) {
        em->lv.thread = std::thread(run_real_time, &em->lv);
    }
    return em;
}

extern "C" void qsfp_ref_event_manager_free(void *event_manager) {
    auto *em = static_cast<EventManager *>(event_manager);
    if (em == nullptr) {
        return;
    }
    {
        std::lock_guard lock(timer_mutex());
        em->lv.stopping = true;
        for (auto &a : em->lv.trees) {
            a.tree->attached = nullptr;
        }
        em->lv.wake.notify_all();
    }
    if (em->lv.thread.joinable()) {
        em->lv.thread.join();
    }
    delete em;
}

extern "C" levm *event_manager_levm_get(void *event_manager) {
    return event_manager != nullptr ? &static_cast<EventManager *>(event_manager)->lv : nullptr;
}

extern "C" int levm_attach_tree_timer(levm *lv, mgd_timer *tree, void (*handler)(mgd_timer *tree), void *cookie) {
    if (lv == nullptr || tree == nullptr || !tree->is_tree || handler == nullptr) {
        return -1;
    }
    std::lock_guard lock(timer_mutex());
    tree->attached = lv;
    lv->trees.push_back({tree, handler, cookie});
    lv->wake.notify_all();
    return 0;
}

extern "C" uint64_t levm_ref_now_ns(levm *lv) {
    if (lv == nullptr) {
        return 0;
    }
    std::lock_guard lock(timer_mutex());
    return lv->virtual_time ? lv->virtual_now_ns : qsfp::platform::monotonic_ns();
}

extern "C" void levm_ref_advance_to(levm *lv, uint64_t now_ns) {
    if (lv == nullptr || !lv->virtual_time) {
        return;
    }
    std::unique_lock lock(timer_mutex());
    if (now_ns > lv->virtual_now_ns) {
        lv->virtual_now_ns = now_ns;
    }
    // One handler at a time, as on a real event-manager thread.
    if (lv->dispatching) {
        return;
    }
    lv->dispatching = true;
    dispatch_locked(lv, lock);
    lv->dispatching = false;
}

extern "C" int levm_ref_next_deadline_ns(levm *lv, uint64_t *deadline_ns) {
    if (lv == nullptr || deadline_ns == nullptr) {
        return 0;
    }
    std::lock_guard lock(timer_mutex());
    return qsfp::platform::earliest_deadline_locked(lv, deadline_ns) ? 1 : 0;
}
