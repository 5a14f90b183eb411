#include <qsfp/sim/virtual_clock.h>

#include <algorithm>

#include <qsfp/platform_ref.h>

namespace qsfp::sim {

VirtualClock &VirtualClock::instance() {
    static VirtualClock clock;
    return clock;
}

void VirtualClock::sleep_us(std::uint64_t us) {
    {
        std::lock_guard lock(mu_);
        sleeps_us_.push(us);
    }
    advance_ns(us * 1000);
}

void VirtualClock::advance_ns(std::uint64_t ns) {
    const std::uint64_t target = now_ns() + ns;
    for (;;) {
        std::uint64_t next = target;
        {
            std::lock_guard lock(mu_);
            for (levm *lv : driven_) {
                std::uint64_t deadline = 0;
                if (levm_ref_next_deadline_ns(lv, &deadline) != 0 && deadline > now_ns() && deadline < next) {
                    next = deadline;
                }
            }
        }
        move_to(next);
        if (next == target) {
            return;
        }
    }
}

void VirtualClock::move_to(std::uint64_t ns) {
    std::uint64_t current = now_ns_.load();
    while (current < ns && !now_ns_.compare_exchange_weak(current, ns)) {
    }
    std::vector<levm *> driven;
    {
        std::lock_guard lock(mu_);
        driven = driven_;
    }
    // Handlers run here, on the sleeping thread, without the clock's lock:
    // they may sleep themselves.
    for (levm *lv : driven) {
        levm_ref_advance_to(lv, now_ns());
    }
}

void VirtualClock::drive(levm *lv) {
    if (lv == nullptr) {
        return;
    }
    {
        std::lock_guard lock(mu_);
        if (std::find(driven_.begin(), driven_.end(), lv) == driven_.end()) {
            driven_.push_back(lv);
        }
    }
    levm_ref_advance_to(lv, now_ns());
}

void VirtualClock::stop_driving(levm *lv) {
    std::lock_guard lock(mu_);
    std::erase(driven_, lv);
}

std::vector<std::uint64_t> VirtualClock::sleeps_us() const {
    std::lock_guard lock(mu_);
    return sleeps_us_.entries();
}

std::uint64_t VirtualClock::sleep_count() const {
    std::lock_guard lock(mu_);
    return sleeps_us_.recorded();
}

void VirtualClock::set_sleep_log_capacity(std::size_t capacity) {
    std::lock_guard lock(mu_);
    sleeps_us_.set_capacity(capacity);
}

void VirtualClock::clear_sleeps() {
    std::lock_guard lock(mu_);
    sleeps_us_.clear();
}

}  // namespace qsfp::sim
