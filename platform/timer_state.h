// State shared by the timer tree and the event manager. One mutex guards every
// tree, leaf and event manager; handlers always run without it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include <qsfp/platform.h>

struct mgd_timer {
    bool is_tree = false;
    mgd_timer *tree = nullptr;   // owning tree of a leaf
    std::uint32_t flags = 0;
    std::uint32_t type = 0;
    void *context = nullptr;
    bool running = false;
    std::uint64_t deadline_ns = 0;
    std::vector<mgd_timer *> leaves;  // a tree's leaves
    levm *attached = nullptr;         // a tree's event manager
};

struct levm {
    struct Attachment {
        mgd_timer *tree;
        void (*handler)(mgd_timer *);
        void *cookie;
    };
    bool virtual_time = false;
    std::uint64_t virtual_now_ns = 0;
    bool dispatching = false;
    bool stopping = false;
    std::vector<Attachment> trees;
    std::condition_variable wake;
    std::thread thread;
};

namespace qsfp::platform {

std::mutex &timer_mutex();
std::uint64_t monotonic_ns();
// Time on the clock of `tree`: its event manager's virtual clock, else monotonic.
std::uint64_t tree_now_ns(const mgd_timer *tree);
// The earliest running leaf of `tree` due at or before `now`, or null.
mgd_timer *first_expired_locked(mgd_timer *tree, std::uint64_t now);
bool earliest_deadline_locked(const levm *lv, std::uint64_t *deadline);

}  // namespace qsfp::platform
