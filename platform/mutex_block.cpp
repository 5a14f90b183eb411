// Mutex-block aid: a record of which thread waits on which mutex, with the
// label and number of the place that blocked, for diagnosing stuck threads.
#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include <qsfp/platform_ref.h>

namespace {

struct Registry {
    std::mutex mu;
    std::vector<ptd_ref_block> waiting;
    std::atomic<std::uint64_t> announcements{0};
};

Registry &registry() {
    static Registry r;
    return r;
}

}  // namespace

extern "C" void ptd_set_mutex_block(pthread_mutex_t *mutex, const char *label, uint32_t number) {
    Registry &r = registry();
    const pthread_t self = pthread_self();
    std::lock_guard lock(r.mu);
    ++r.announcements;
    auto it = std::find_if(r.waiting.begin(), r.waiting.end(),
                           [&](const ptd_ref_block &b) { return pthread_equal(b.thread, self) != 0; });
    const ptd_ref_block block{self, mutex, label, number};
    if (it != r.waiting.end()) {
        *it = block;
    } else {
        r.waiting.push_back(block);
    }
}

extern "C" void ptd_unset_mutex_block(void) {
    Registry &r = registry();
    const pthread_t self = pthread_self();
    std::lock_guard lock(r.mu);
    std::erase_if(r.waiting, [&](const ptd_ref_block &b) { return pthread_equal(b.thread, self) != 0; });
}

extern "C" uint32_t ptd_ref_blocked(ptd_ref_block *out, uint32_t max) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    const auto n = static_cast<std::uint32_t>(r.waiting.size());
    if (out != nullptr) {
        std::copy_n(r.waiting.begin(), std::min(n, max), out);
    }
    return n;
}

extern "C" uint64_t ptd_ref_announcements(void) { return registry().announcements.load(); }
