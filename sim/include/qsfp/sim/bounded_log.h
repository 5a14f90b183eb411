// A record of the most recent entries, for emulator logs that would otherwise
// grow for as long as a benchmark or a long-running tool keeps the bus busy:
// the oldest entry goes when the log is full, and the count of everything ever
// recorded stays exact.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace qsfp::sim {

inline constexpr std::size_t kDefaultLogCapacity = 65536;

template <typename T>
class BoundedLog {
public:
    explicit BoundedLog(std::size_t capacity = kDefaultLogCapacity) : capacity_(capacity) {}

    void push(T entry) {
        ++recorded_;
        if (capacity_ == 0) {
            return;
        }
        if (entries_.size() == capacity_) {
            entries_.pop_front();
        }
        entries_.push_back(std::move(entry));
    }

    // Keeps the newest `capacity` entries; 0 keeps none (counting goes on).
    void set_capacity(std::size_t capacity) {
        capacity_ = capacity;
        while (entries_.size() > capacity_) {
            entries_.pop_front();
        }
    }
    std::size_t capacity() const { return capacity_; }

    // Entries still held, oldest first.
    std::vector<T> entries() const { return {entries_.begin(), entries_.end()}; }
    bool empty() const { return entries_.empty(); }
    // Every entry pushed since the last clear, held or dropped.
    std::uint64_t recorded() const { return recorded_; }

    void clear() {
        entries_.clear();
        recorded_ = 0;
    }

private:
    std::size_t capacity_;
    std::deque<T> entries_;
    std::uint64_t recorded_ = 0;
};

}  // namespace qsfp::sim
