// Virtual time for tests, benchmarks and the demo. The library waits only with
// usleep(); a binary that links the virtual usleep makes every wait advance
// this clock instead, runs the timers that fall due on the way, and records
// the wait, so a ten-second settle costs microseconds and can be asserted.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include <qsfp/platform.h>
#include <qsfp/sim/bounded_log.h>

namespace qsfp::sim {

class VirtualClock {
public:
    static VirtualClock &instance();

    std::uint64_t now_ns() const { return now_ns_.load(); }
    std::uint64_t now_us() const { return now_ns() / 1000; }

    // A wait of the library: recorded, then the clock advances.
    void sleep_us(std::uint64_t us);
    // Moves time forward, stopping at every timer deadline on the way so that
    // each handler runs at its own time.
    void advance_ns(std::uint64_t ns);

    // Keeps a virtual-time event manager in step with this clock.
    void drive(levm *lv);
    void stop_driving(levm *lv);

    // The newest waits recorded by sleep_us (kDefaultLogCapacity unless set),
    // in microseconds, in order; sleep_count() counts every wait since the
    // last clear.
    std::vector<std::uint64_t> sleeps_us() const;
    std::uint64_t sleep_count() const;
    void set_sleep_log_capacity(std::size_t capacity);
    void clear_sleeps();

    // Real time: usleep sleeps for real and the clock is not moved.
    void set_real_time(bool real) { real_time_ = real; }
    bool real_time() const { return real_time_.load(); }

private:
    VirtualClock() = default;
    void move_to(std::uint64_t ns);

    std::atomic<std::uint64_t> now_ns_{0};
    std::atomic<bool> real_time_{false};
    mutable std::mutex mu_;
    BoundedLog<std::uint64_t> sleeps_us_;
    std::vector<levm *> driven_;
};

}  // namespace qsfp::sim
